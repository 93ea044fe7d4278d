#include "support/SettingsScope.h"

#include "sysu/HostControl.h"
#include "text/Utf8.h"

#include <filesystem>
#include <stdexcept>

namespace vxcio::test {

namespace {

constexpr const wchar_t* kSection = L"Software\\Norvex\\SoftCodec";

} // namespace

SettingsScope::SettingsScope(Pairs values) {
    for (const auto& [name, value] : values) {
        m_values[kSection][name] = value;
    }
    Write();
    if (UseSettingsFile(FileName().c_str()) == 0) {
        throw std::runtime_error("the settings file was not taken");
    }
}

SettingsScope::~SettingsScope() {
    UseSettingsFile(nullptr);
}

void SettingsScope::Set(const std::wstring& section, const std::wstring& name, const std::wstring& value) {
    m_values[section][name] = value;
    Write();
}

void SettingsScope::Set(const std::wstring& name, const std::wstring& value) {
    Set(kSection, name, value);
}

void SettingsScope::Remove(const std::wstring& section, const std::wstring& name) {
    m_values[section].erase(name);
    Write();
}

void SettingsScope::Remove(const std::wstring& name) {
    Remove(kSection, name);
}

void SettingsScope::WriteRaw(const std::string& text) {
    // A new file under the old name: a store that looks at its age or number sees a change at once.
    m_folder.Write("settings.new", text);
    std::filesystem::rename(m_folder.Path() / "settings.new", m_folder.Path() / "settings.conf");
}

void SettingsScope::Write() {
    std::wstring text;
    for (const auto& [section, values] : m_values) {
        text += L"[" + section + L"]\n";
        for (const auto& [name, value] : values) {
            text += name + L" = " + value + L"\n";
        }
    }
    WriteRaw(ToUtf8(text));
}

} // namespace vxcio::test
