// Reading back what the sink wrote, and the cache of it.
#include "frame/BulkCopy.h"
#include "frame/InnerSoftDataIO.h"
#include "frame/RoundUp.h"
#include "frame/TransferDefaults.h"
#include "sinks/HandleMoves.h"
#include "sinks/WriteFileEx1.h"

#include <cstring>

using namespace vxcio;

namespace {

// Lengths that switch the cache, with a null buffer.
constexpr uint32 kCacheOn = 0xFFFFFFFF;
constexpr uint32 kCacheOff = 0xFFFFFFFE;

constexpr uint32 kCacheCapacity = 524288;

// Without a buffer everything is done but the copy.
void CopyOut(uint8* buffer, const uint8* data, uint32 bytes) noexcept {
    if (buffer != nullptr) {
        CopyBulk(buffer, data, bytes);
    }
}

} // namespace

int CWriteFileEx1::ReadBack(uint8* buffer, uint32 bytes) {
    if (m_bStatusOK == 0 || !m_pMediaFile) {
        return 0;
    }
    if (buffer == nullptr && (bytes == kCacheOn || bytes == kCacheOff)) {
        SwitchReadCache(bytes);
        return 0;
    }
    Flush();
    m_nLastOperation = kRead;
    // Of a position before the cache it is huge.
    const uint64 inside = m_nCurPos - m_nReadCachePos;
    if (m_pReadCache && inside < m_dwReadCacheFill && bytes < m_dwReadCacheFill - inside) {
        CopyOut(buffer, m_pReadCache.Data() + inside, bytes);
        m_nCurPos += bytes;
    } else if (IsUnbuffered()) {
        ReadUnbuffered(buffer, bytes);
    } else {
        ReadOrdinary(buffer, bytes);
    }
    return static_cast<int>(bytes);
}

void CWriteFileEx1::SwitchReadCache(uint32 command) {
    if (command == kCacheOff) {
        m_pReadCache.Reset();
    } else if (!m_pReadCache) {
        m_pReadCache = AlignedBuffer(kCacheCapacity, kTransferAlignment);
    }
    m_dwReadCacheFill = 0;
    m_nReadCachePos = 0;
}

// Whether so many bytes are read through the cache: its capacity is filled from `offset` bytes before them,
// and past the system's cache that must be whole sectors.
bool CWriteFileEx1::IsForReadCache(uint32 offset, uint32 bytes) const {
    const uint64 capacity = m_pReadCache.Size();
    return bytes < capacity && uint64{offset} + bytes <= capacity &&
           (!IsUnbuffered() || capacity % m_dwSectorSize == 0);
}

// Reads the cache's whole capacity where the file stands, which is `position`.
void CWriteFileEx1::FillReadCache(uint64 position) {
    m_dwReadCacheFill = ReadInto(m_pReadCache.Data(), static_cast<uint32>(m_pReadCache.Size()));
    m_nReadCachePos = position;
}

void CWriteFileEx1::ReadUnbuffered(uint8* buffer, uint32 bytes) {
    const auto offset = static_cast<uint32>(m_nCurPos % m_dwSectorSize);
    const uint64 start = m_nCurPos - offset;
    const uint64 span = RoundUp(uint64{offset} + bytes, m_dwSectorSize);
    // The flush has emptied the staging area.
    const bool hasRoom = GrowStage(span);
    if (!hasRoom || !MoveTo(*m_pMediaFile, start)) {
        m_bStatusOK = 0;
    }
    if (IsForReadCache(offset, bytes)) {
        FillReadCache(start);
        CopyOut(buffer, m_pReadCache.Data() + offset, bytes);
    } else if (hasRoom) {
        const uint32 got = ReadInto(m_pStageBuffer.Data(), static_cast<uint32>(span));
        std::memset(m_pStageBuffer.Data() + got, 0, span - got); // nothing of older use
        CopyOut(buffer, m_pStageBuffer.Data() + offset, bytes);
    }
    m_nCurPos += bytes;
}

void CWriteFileEx1::ReadOrdinary(uint8* buffer, uint32 bytes) {
    if (!MoveTo(*m_pMediaFile, m_nCurPos)) {
        m_bStatusOK = 0;
    }
    if (IsForReadCache(0, bytes)) {
        FillReadCache(m_nCurPos);
        CopyOut(buffer, m_pReadCache.Data(), bytes);
        m_nCurPos += bytes;
    } else if (buffer != nullptr || bytes == 0) {
        m_nCurPos += ReadInto(buffer, bytes);
    } else {
        m_bStatusOK = 0;
    }
}

// What came.
uint32 CWriteFileEx1::ReadInto(uint8* target, uint32 bytes) {
    uint32 got = 0;
    if (m_pMediaFile->ReadFile(target, bytes, &got, nullptr) != VXC_STATUS_OK) {
        m_bStatusOK = 0;
    }
    return got;
}
