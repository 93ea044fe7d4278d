#include "sysu/posix/DirectNeeds.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace vxcio::sysu {

namespace {

// The newest members of the record are younger than the system headers that this is to be built with, so
// they are named here, by their fixed places.
constexpr unsigned kMountIdMask = 0x1000;
constexpr unsigned kDirectMask = 0x2000;
constexpr std::size_t kMountIdPlace = 0x90;
constexpr std::size_t kDirectMemoryPlace = 0x98;
constexpr std::size_t kDirectOffsetPlace = 0x9C;
static_assert(sizeof(struct statx) == 0x100);

constexpr uint32 kPage = 4096;

template <class Number>
Number Member(const struct statx& record, std::size_t place) {
    Number number = 0;
    std::memcpy(&number, reinterpret_cast<const char*>(&record) + place, sizeof number);
    return number;
}

} // namespace

int ReadFileFacts(int descriptor, const std::string& path, FileFacts* facts) noexcept {
    struct statx record {};
    const int flags = path.empty() ? AT_EMPTY_PATH : 0;
    const unsigned mask = STATX_BASIC_STATS | kMountIdMask | kDirectMask;
    if (::statx(descriptor, path.c_str(), flags, mask, &record) != 0) {
        return errno;
    }
    facts->isBlockDevice = S_ISBLK(record.stx_mode);
    facts->major = facts->isBlockDevice ? record.stx_rdev_major : record.stx_dev_major;
    facts->minor = facts->isBlockDevice ? record.stx_rdev_minor : record.stx_dev_minor;
    if ((record.stx_mask & kMountIdMask) != 0) {
        facts->mountId = Member<uint64>(record, kMountIdPlace);
    }
    if ((record.stx_mask & kDirectMask) != 0) {
        facts->isDirectTold = true;
        facts->directMemory = Member<uint32>(record, kDirectMemoryPlace);
        facts->directOffset = Member<uint32>(record, kDirectOffsetPlace);
    }
    return 0;
}

BlockDevice DeviceOf(const FileFacts& facts) {
    return ReadBlockDevice("/sys/dev/block", facts.major, facts.minor);
}

DirectNeeds DirectNeedsOf(int descriptor) {
    FileFacts facts;
    if (ReadFileFacts(descriptor, {}, &facts) != 0) {
        return {kPage, 0};
    }
    if (facts.isDirectTold) {
        return {std::max(facts.directMemory, 1u), facts.directOffset};
    }
    return {kPage, DeviceOf(facts).sectorSize};
}

} // namespace vxcio::sysu
