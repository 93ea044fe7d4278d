// SettingsScope.h - the settings that a test runs under.
#pragma once

#include "support/TempFolder.h"

#include <initializer_list>
#include <map>
#include <string>
#include <utility>

namespace vxcio::test {

// While it lives the settings store consists of one file of the test's own: what neither the constructor nor
// Set named is not set, whatever the machine's settings say. One at a time; used by one thread at a time,
// while any thread may read settings.
//
//   SettingsScope settings({{L"HandleTimeOut", L"999"}});
class SettingsScope {
public:
    using Pairs = std::initializer_list<std::pair<const wchar_t*, const wchar_t*>>;

    // Names and values of the section Software\Norvex\SoftCodec.
    SettingsScope(Pairs values = {});
    ~SettingsScope();
    SettingsScope(const SettingsScope&) = delete;
    SettingsScope& operator=(const SettingsScope&) = delete;

    // `section` is the whole path; without it that of the constructor. The file is replaced as a whole, so
    // that a reader sees the old settings or the new ones.
    void Set(const std::wstring& section, const std::wstring& name, const std::wstring& value);
    void Set(const std::wstring& name, const std::wstring& value);
    void Remove(const std::wstring& section, const std::wstring& name);
    void Remove(const std::wstring& name);

    // Puts this text in the place of all settings; for files with garbage. Set and Remove start from what
    // they knew before.
    void WriteRaw(const std::string& text);

    std::wstring FileName() const { return m_folder.Wide("settings.conf"); }

private:
    void Write();

    TempFolder m_folder{TempFolder::Kind::Memory};
    std::map<std::wstring, std::map<std::wstring, std::wstring>> m_values;
};

} // namespace vxcio::test
