#include "sysu/SettingsStore.h"

#include "frame/SystemLayer.h"
#include "sysu/LayerName.h"
#include "text/Utf8.h"

#include <utility>

namespace vxcio::sysu {

namespace {

void NoteBadFile(const std::string& name, const FileContents& contents) {
    const std::wstring wide = FromUtf8(name);
    if (contents.state == FileState::NoText) {
        VXC_OutputW(kLayerName, INFOTYPE_ERROR, L"Settings file %s is no text of at most %d bytes, ignored",
                    wide.c_str(), static_cast<int>(kSettingsFileLimit));
    } else if (contents.state == FileState::Unreadable) {
        VXC_OutputW(kLayerName, INFOTYPE_ERROR, L"Settings file %s cannot be read (error %u), ignored",
                    wide.c_str(), contents.error);
    }
}

} // namespace

SettingsStore::SettingsStore(std::string machineFile, std::string userFile, MissingFolders missing)
    : m_machine{std::move(machineFile), nullptr}, m_user{std::move(userFile), nullptr}, m_missing(missing) {}

const std::string& SettingsStore::FileName(SettingsFile which) const noexcept {
    return which == SETTINGS_FILE_MACHINE ? m_machine.name : m_user.name;
}

std::shared_ptr<const SettingsStore::Seen> SettingsStore::Look(File& file) {
    std::shared_ptr<const Seen> known;
    {
        const std::lock_guard lock(m_mutex);
        known = file.seen;
    }
    const FileVersion version = file.name.empty() ? FileVersion{} : VersionOf(file.name);
    if (known != nullptr && known->contents.version == version && !known->contents.mayChangeUnseen) {
        return known;
    }
    const auto fresh = std::make_shared<Seen>();
    if (version.exists) {
        fresh->contents = ReadContents(file.name);
    }
    fresh->values = ParseSettings(fresh->contents.text);
    bool isNews = false;
    {
        const std::lock_guard lock(m_mutex);
        isNews = file.seen == nullptr || file.seen->contents.state != fresh->contents.state ||
                 file.seen->contents.version != fresh->contents.version;
        file.seen = fresh;
    }
    if (isNews) {
        NoteBadFile(file.name, fresh->contents);
    }
    return fresh;
}

std::optional<SettingsStore::Value> SettingsStore::Read(const std::string& section, const std::string& name) {
    const SettingKeyLess::Key key(section, name);
    for (const auto& [file, from] :
         {std::pair(&m_user, SETTINGS_FILE_USER), std::pair(&m_machine, SETTINGS_FILE_MACHINE)}) {
        const std::shared_ptr<const Seen> seen = Look(*file);
        const auto found = seen->values.find(key);
        if (found != seen->values.end()) {
            return Value{found->second, from};
        }
    }
    return std::nullopt;
}

void SettingsStore::Visit(
    const std::function<bool(const SettingKeyLess::Key& key, const Value& value)>& visit) {
    std::map<SettingKeyLess::Key, Value, SettingKeyLess> all;
    for (const auto& [key, text] : Look(m_user)->values) {
        all.emplace(key, Value{text, SETTINGS_FILE_USER});
    }
    for (const auto& [key, text] : Look(m_machine)->values) {
        all.emplace(key, Value{text, SETTINGS_FILE_MACHINE}); // does nothing where the user has a value
    }
    for (const auto& [key, value] : all) {
        if (!visit(key, value)) {
            return;
        }
    }
}

uint32 SettingsStore::Write(const std::string& section, const std::string& name, const std::string& value) {
    if (!IsSectionWritable(section) || !IsNameWritable(name) || !IsValueWritable(value)) {
        return VXC_ERROR_INVALID_PARAMETER;
    }
    return ReplaceContents(m_user.name, m_missing, [&](std::string& text, uint32&) {
        text = WithSetting(text, section, name, value);
        return true;
    });
}

uint32 SettingsStore::Remove(const std::string& section, const std::string& name) {
    if (!IsSectionWritable(section) || !IsNameWritable(name)) {
        return VXC_ERROR_INVALID_PARAMETER;
    }
    if (!VersionOf(m_user.name).exists) {
        return VXC_ERROR_FILE_NOT_FOUND; // and no folder is made for it
    }
    return ReplaceContents(m_user.name, m_missing, [&](std::string& text, uint32& error) {
        std::string without = WithoutSetting(text, section, name);
        error = without.size() == text.size() ? VXC_ERROR_FILE_NOT_FOUND : VXC_ERROR_SUCCESS;
        text = std::move(without);
        return error == VXC_ERROR_SUCCESS;
    });
}

} // namespace vxcio::sysu
