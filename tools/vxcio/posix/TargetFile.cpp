#include "../TargetFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace vxcio::tool {

namespace {

constexpr mode_t kNewFile = 0666; // less the umask
constexpr mode_t kPermissions = 07777;
constexpr int kMostParts = 10000; // names that are tried
constexpr std::size_t kLongestName = 255;

std::string Reason(int error) {
    return std::strerror(error);
}

std::string ReasonUnless(bool good) {
    return good ? std::string() : Reason(errno);
}

std::string FolderOf(const std::string& name) {
    const std::size_t slash = name.rfind('/');
    return slash == std::string::npos ? "." : name.substr(0, slash + 1);
}

std::string RealPlace(const std::string& name) {
    char* const whole = ::realpath(name.c_str(), nullptr);
    std::string text = whole == nullptr ? name : whole;
    std::free(whole);
    return text;
}

NameFacts FactsOf(const struct stat& status) {
    NameFacts facts;
    facts.kind = S_ISREG(status.st_mode)   ? NameKind::File
                 : S_ISDIR(status.st_mode) ? NameKind::Folder
                                           : NameKind::Other;
    facts.device = status.st_dev;
    facts.number = status.st_ino;
    facts.bytes = facts.kind == NameKind::File ? static_cast<uint64>(status.st_size) : 0;
    return facts;
}

// "folder/name.vxcio-part" or "folder/name.vxcio-part.1"; a long name gives way to what stands behind it,
// without a character being cut in two.
std::string PartName(const std::string& target, int number) {
    std::string suffix = kPartSuffix;
    if (number > 0) {
        suffix += '.';
        suffix += std::to_string(number);
    }
    const std::size_t start = target.rfind('/') + 1; // 0 without one
    std::size_t length = std::min(target.size() - start, kLongestName - suffix.size());
    while (length > 0 && start + length < target.size() &&
           (static_cast<unsigned char>(target[start + length]) & 0xC0u) == 0x80u) {
        --length;
    }
    return target.substr(0, start + length) + suffix;
}

} // namespace

NameFacts LookAt(const std::string& name) {
    struct stat status {};
    NameFacts facts;
    if (::stat(name.c_str(), &status) == 0) {
        facts = FactsOf(status);
        struct stat named {};
        const bool isLink = ::lstat(name.c_str(), &named) == 0 && S_ISLNK(named.st_mode);
        facts.place = isLink ? RealPlace(name) : name;
        return facts;
    }
    const int error = errno;
    if (error == ENOENT) {
        facts.kind = NameKind::Missing;
        facts.leadsNowhere = ::lstat(name.c_str(), &status) == 0;
        return facts;
    }
    facts.reason = Reason(error);
    return facts;
}

bool AreSame(const NameFacts& left, const NameFacts& right) {
    const auto isThere = [](const NameFacts& facts) {
        return facts.kind != NameKind::Missing && facts.kind != NameKind::Unknown;
    };
    return isThere(left) && isThere(right) && left.device == right.device && left.number == right.number;
}

std::string SyncFolderOf(const std::string& name) {
    const int folder = ::open(FolderOf(name).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) {
        return Reason(errno);
    }
    std::string reason = ReasonUnless(::fsync(folder) == 0);
    ::close(folder);
    return reason;
}

TargetFile::Pointer TargetFile::MakeBeside(const std::string& target, std::string& reason) {
    // Whoever may write the folder could put a file in the place of one that may not be written.
    if (::access(target.c_str(), W_OK) != 0 && errno != ENOENT) {
        reason = Reason(errno);
        return nullptr;
    }
    for (int number = 0; number < kMostParts; ++number) {
        std::string name = PartName(target, number);
        const int descriptor = ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kNewFile);
        if (descriptor >= 0) {
            return std::make_shared<TargetFile>(descriptor, std::move(name));
        }
        if (errno != EEXIST) {
            break;
        }
    }
    reason = Reason(errno);
    return nullptr;
}

TargetFile::Pointer TargetFile::Open(const std::string& name, std::string& reason) {
    const int descriptor = ::open(name.c_str(), O_RDWR | O_CLOEXEC);
    if (descriptor < 0) {
        reason = Reason(errno);
        return nullptr;
    }
    auto file = std::make_shared<TargetFile>(descriptor, name);
    // The library opens it for itself alone, and could not tell why it is refused.
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        reason = "another program has it open";
        return nullptr;
    }
    ::flock(descriptor, LOCK_UN);
    return file;
}

TargetFile::~TargetFile() {
    ::close(m_nDescriptor);
}

TargetFile::Standing TargetFile::Look() const {
    struct stat open {};
    struct stat named {};
    Standing standing;
    if (::fstat(m_nDescriptor, &open) != 0) {
        return standing;
    }
    const bool isNamed = ::stat(m_strName.c_str(), &named) == 0;
    standing.isKnown = isNamed || errno == ENOENT || errno == ENOTDIR;
    standing.isThere = isNamed && named.st_dev == open.st_dev && named.st_ino == open.st_ino;
    standing.isOther = isNamed && !standing.isThere;
    standing.bytes = static_cast<uint64>(open.st_size);
    return standing;
}

std::string TargetFile::SyncRange(uint64 from, uint64 bytes) const {
    constexpr unsigned kWhole =
        SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
    if (::sync_file_range(m_nDescriptor, static_cast<off64_t>(from), static_cast<off64_t>(bytes), kWhole) ==
        0) {
        return {};
    }
    // Where there are no ranges, Sync does it all.
    const int error = errno;
    return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == ESPIPE ? "" : Reason(error);
}

std::string TargetFile::Sync() const {
    return ReasonUnless(::fsync(m_nDescriptor) == 0);
}

void TargetFile::DropFromMemory() const {
    ::posix_fadvise(m_nDescriptor, 0, 0, POSIX_FADV_DONTNEED);
}

bool TargetFile::IsReadFromDisk() const {
    const int direct = ::open(m_strName.c_str(), O_RDONLY | O_DIRECT | O_CLOEXEC);
    if (direct >= 0) {
        ::close(direct);
        return true;
    }
    const auto size = static_cast<std::size_t>(Look().bytes);
    if (size == 0) {
        return true;
    }
    void* const mapped = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, m_nDescriptor, 0);
    if (mapped == MAP_FAILED) {
        return false;
    }
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    std::vector<unsigned char> pages((size + page - 1) / page);
    const bool isTold = ::mincore(mapped, size, pages.data()) == 0;
    ::munmap(mapped, size);
    return isTold &&
           std::none_of(pages.begin(), pages.end(), [](unsigned char one) { return (one & 1u) != 0; });
}

std::string TargetFile::RenameTo(const std::string& target) const {
    struct stat former {};
    if (::stat(target.c_str(), &former) == 0) {
        if (S_ISDIR(former.st_mode)) {
            return Reason(EISDIR);
        }
        // One who owns the folder but not the file may lack the right; the copy is whole all the same.
        static_cast<void>(::fchmod(m_nDescriptor, former.st_mode & kPermissions));
    }
    return ReasonUnless(std::rename(m_strName.c_str(), target.c_str()) == 0);
}

std::string TargetFile::CutTo(uint64 bytes) const {
    return ReasonUnless(::ftruncate(m_nDescriptor, static_cast<off_t>(bytes)) == 0);
}

std::string TargetFile::Remove() const {
    return ReasonUnless(::unlink(m_strName.c_str()) == 0);
}

} // namespace vxcio::tool
