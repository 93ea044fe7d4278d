// SettingsStore.h - the values of the two settings files, kept as they were last read.
//
// Any thread. Each look asks the system for the versions of the files and reads only what changed; the
// files are read outside the lock, and the result is published as one unchanging map. Functions may throw
// std::bad_alloc; nothing is changed then.
#pragma once

#include "sysu/HostControl.h"
#include "sysu/SettingsFiles.h"
#include "sysu/SettingsText.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace vxcio::sysu {

class SettingsStore {
public:
    // An empty name means that there is no such file. `missing`: what writing does about folders.
    SettingsStore(std::string machineFile, std::string userFile, MissingFolders missing);

    const std::string& FileName(SettingsFile which) const noexcept;

    struct Value {
        std::string text;
        SettingsFile from;
    };
    // The user's value where there is one, whatever it holds, else the machine's.
    std::optional<Value> Read(const std::string& section, const std::string& name);

    // All values that Read gives, by section and name, each once. Ends when `visit` gives false.
    void Visit(const std::function<bool(const SettingKeyLess::Key& key, const Value& value)>& visit);

    // Change the user's file. 0 or a last-error number.
    uint32 Write(const std::string& section, const std::string& name, const std::string& value);
    uint32 Remove(const std::string& section, const std::string& name);

private:
    // One file as it was last read.
    struct Seen {
        FileContents contents;
        SettingsMap values;
    };
    struct File {
        std::string name;
        std::shared_ptr<const Seen> seen; // guarded by m_mutex; null before the first look
    };

    std::shared_ptr<const Seen> Look(File& file);

    std::mutex m_mutex;
    File m_machine;
    File m_user;
    const MissingFolders m_missing;
};

} // namespace vxcio::sysu
