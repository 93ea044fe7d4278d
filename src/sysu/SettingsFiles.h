// SettingsFiles.h - how settings files lie on this system: where, when they changed, how one is read and
// replaced. Names are UTF-8 (Utf8.h).
//
// Any thread; the functions may block on a dead disk, hold no lock and may throw std::bad_alloc.
#pragma once

#include "frame/Types.h"

#include <functional>
#include <string>

namespace vxcio::sysu {

// A larger file is no settings file.
inline constexpr uint64 kSettingsFileLimit = 1024 * 1024;

// What tells one version of a file from the next.
struct FileVersion {
    bool exists = false;
    uint64 device = 0;
    uint64 identity = 0;
    uint64 size = 0;
    int64 seconds = 0; // of the last change
    int64 nanoseconds = 0;
    bool operator==(const FileVersion&) const = default;
};

enum class FileState {
    Absent,     // there is none
    Good,       // read whole
    NoText,     // holds a zero byte, is longer than the limit, or is no plain file
    Unreadable, // the system refused
};

struct FileContents {
    FileState state = FileState::Absent;
    FileVersion version;
    std::string text; // only when Good
    uint32 error = 0; // last-error number when Unreadable
    // The clock by which files are dated is so coarse that the file may still change without a new version.
    bool mayChangeUnseen = false;
};

// The standard places. Empty when the account has no home folder.
std::string MachineSettingsFile();
std::string UserSettingsFile();

// The name with the present folder in front where it is relative.
std::string AbsoluteName(const std::string& name);

FileVersion VersionOf(const std::string& name) noexcept;
FileContents ReadContents(const std::string& name);

enum class MissingFolders { Make, Refuse };

// Replaces the file by what `change` makes of its contents (empty where there is none), whole or not at all;
// keeps its mode and owner and follows links. `change` gives false for "nothing to do" and sets the error.
// Writers of one folder wait for each other, across processes. 0 or a last-error number: 3 where folders are
// missing and not to be made.
uint32 ReplaceContents(const std::string& name, MissingFolders missing,
                       const std::function<bool(std::string& text, uint32& error)>& change);

} // namespace vxcio::sysu
