#include "frame/MD5Check.h"

#include "frame/AlignedBlock.h"

#include <algorithm>
#include <new>

namespace vxcio {

namespace {
constexpr uint32 kBufferSize = 0x100000;
constexpr std::size_t kBufferAlignment = 4096;
// One Update takes 32 bits of length; a multiple of the digest's block goes through without a copy.
constexpr uint64 kLargestUpdate = 0x100000;
} // namespace

MD5Check::MD5Check() noexcept : m_pMD5Buffer(AlignedAlloc(kBufferSize, kBufferAlignment)) {
    m_nMD5BufferSize = m_pMD5Buffer == nullptr ? 0 : kBufferSize;
}

MD5Check::~MD5Check() {
    AlignedFree(m_pMD5Buffer);
}

std::shared_ptr<MD5Check> MD5Check::Make() noexcept {
    try {
        std::shared_ptr<MD5Check> check(new (std::nothrow) MD5Check);
        if (check == nullptr || check->m_pMD5Buffer == nullptr) {
            return nullptr;
        }
        return check;
    } catch (...) {
        return nullptr;
    }
}

void MD5Check::Feed(const uint8* data, uint64 bytes) noexcept {
    m_qwMD5Pos += bytes;
    while (bytes > 0) {
        const uint64 piece = std::min(bytes, kLargestUpdate);
        m_MD5.Update(data, static_cast<unsigned int>(piece));
        data += piece;
        bytes -= piece;
    }
}

void MD5Check::RideAlong(const uint8* data, uint64 position, uint64 bytes) noexcept {
    if (position <= m_qwMD5Pos && m_qwMD5Pos < position + bytes) {
        const uint64 seen = m_qwMD5Pos - position;
        Feed(data + seen, bytes - seen);
    }
}

} // namespace vxcio
