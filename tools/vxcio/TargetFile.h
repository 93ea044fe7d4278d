// TargetFile.h - what the tool asks of the system about the file that a copy makes, beside writing it.
//
// Everything here may wait for a disk: see Guarded.h. Nothing throws but std::bad_alloc. A text that a
// function gives is empty when all went well, else the system's reason.
#pragma once

#include "frame/Types.h"

#include <memory>
#include <string>

namespace vxcio::tool {

enum class NameKind { Missing, File, Folder, Other, Unknown };

struct NameFacts {
    NameKind kind = NameKind::Unknown;
    std::string reason; // of Unknown
    std::string place;  // for what is there: its name, that behind all links where it is one
    uint64 device = 0;  // with `number` the identity of what is there
    uint64 number = 0;
    uint64 bytes = 0;          // of a file
    bool leadsNowhere = false; // a link to what is not there
};

// Links are followed.
NameFacts LookAt(const std::string& name);

bool AreSame(const NameFacts& left, const NameFacts& right);

// Forces the entries of the folder in which `name` lies to the disk.
std::string SyncFolderOf(const std::string& name);

// A file that the tool holds open beside the library, so that it knows it again whatever happens to its name.
// Held by shared pointers: one that waits for a dead disk keeps its own.
class TargetFile {
public:
    using Pointer = std::shared_ptr<TargetFile>;

    // A new, empty file in the folder of `target`, under its name with kPartSuffix, and a number where that
    // is taken. `target` is the place of a file, or not there; one that may not be written is refused. Null
    // with a reason when it cannot be made.
    static Pointer MakeBeside(const std::string& target, std::string& reason);
    // The file that is there, to be written at its end.
    static Pointer Open(const std::string& name, std::string& reason);

    explicit TargetFile(int descriptor, std::string name)
        : m_nDescriptor(descriptor), m_strName(std::move(name)) {}
    ~TargetFile();
    TargetFile(const TargetFile&) = delete;
    TargetFile& operator=(const TargetFile&) = delete;

    const std::string& Name() const { return m_strName; }

    struct Standing {
        bool isKnown = false;
        bool isThere = false; // the name still leads to this very file
        bool isOther = false; // it leads to another one
        uint64 bytes = 0;
    };
    Standing Look() const;

    // Sends a range of it to the disk and waits; then all that there is to know of the file.
    std::string SyncRange(uint64 from, uint64 bytes) const;
    std::string Sync() const;
    // The system keeps nothing of it in memory any more, as far as it can be asked.
    void DropFromMemory() const;
    // Whether reads of it can go past the system's cache, or nothing of it is in there.
    bool IsReadFromDisk() const;

    // Gives it the name of `target`, in place of a file that has it, and that one's permissions.
    std::string RenameTo(const std::string& target) const;
    std::string CutTo(uint64 bytes) const;
    std::string Remove() const;

private:
    const int m_nDescriptor;
    const std::string m_strName;
};

inline constexpr const char* kPartSuffix = ".vxcio-part";

} // namespace vxcio::tool
