// MD5Check.h - the digest that rides on the bytes a source reads: each byte of the file once, in order, from
// the file's start.
#pragma once

#include "frame/MD5.h"
#include "frame/Types.h"

#include <memory>

namespace vxcio {

inline constexpr int kDigestSize = 16;

// The state of one check. Shared: the object that is read and whoever reads for it hold it, so an owner that
// starts a new check or closes never frees what a read still feeds. Fed by one thread at a time.
class MD5Check {
public:
    // A state at position 0 with its buffer; null when memory lacks.
    static std::shared_ptr<MD5Check> Make() noexcept;

    MD5Check() noexcept;
    ~MD5Check();
    MD5Check(const MD5Check&) = delete;
    MD5Check& operator=(const MD5Check&) = delete;

    // Number of bytes of the file that have passed.
    uint64 Position() const noexcept { return m_qwMD5Pos; }
    void SetPosition(uint64 position) noexcept { m_qwMD5Pos = position; }

    // Work memory for bytes that nobody asked for but the digest; aligned for unbuffered transfer.
    uint8* Buffer() noexcept { return m_pMD5Buffer; }
    uint32 BufferSize() const noexcept { return m_nMD5BufferSize; }

    // Feeds the next bytes of the file.
    void Feed(const uint8* data, uint64 bytes) noexcept;

    // Feeds of `bytes` bytes read at `position` those that have not passed yet. Nothing is fed when some
    // byte before them is missing, or when all have passed.
    void RideAlong(const uint8* data, uint64 position, uint64 bytes) noexcept;

    void Final(uint8* digest) noexcept { m_MD5.Final(digest); }

private:
    MD5_CTX m_MD5;
    uint64 m_qwMD5Pos = 0;
    uint8* m_pMD5Buffer = nullptr;
    uint32 m_nMD5BufferSize = 0;
};

} // namespace vxcio
