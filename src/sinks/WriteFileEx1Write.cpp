// The sink's four ways of writing, and the flush of the staging area.
#include "frame/BulkCopy.h"
#include "frame/InnerSoftDataIO.h"
#include "frame/Log.h"
#include "frame/PlatformTypes.h"
#include "frame/RoundUp.h"
#include "frame/Status.h"
#include "frame/SystemLayer.h"
#include "frame/TransferDefaults.h"
#include "sinks/HandleMoves.h"
#include "sinks/WriteFileEx1.h"

#include <algorithm>
#include <cstring>
#include <utility>

using namespace vxcio;

int CWriteFileEx1::Write(const uint8* buffer, uint32 bytes, uint32* wentOut) {
    if (m_bStatusOK == 0 || !m_pMediaFile) {
        return 0;
    }
    uint32 ignored = 0;
    uint32& out = wentOut == nullptr ? ignored : *wentOut;
    out = 0;
    if (buffer == nullptr && bytes > 0) {
        return 0;
    }
    const bool resync = m_nLastOperation != kWrite;
    m_nLastOperation = kWrite;
    uint32 result = 0;
    if (m_pWriteRing) {
        result = WriteThreaded(buffer, bytes, out, resync);
    } else if (IsUnbuffered()) {
        result = WriteStaged(buffer, bytes, out, resync);
    } else {
        result = WriteThrough(buffer, bytes, out, resync);
    }
    return static_cast<int>(result);
}

void CWriteFileEx1::RaiseSize() {
    m_pInner->m_qwFileSize = std::max(m_pInner->m_qwFileSize, m_nCurPos);
}

// Feeds the digest with bytes that are about to be taken in at the position. Bytes that it had already are
// being written anew, so it is worth nothing any more; bytes behind a gap are not for it.
void CWriteFileEx1::FeedDigest(const uint8* data, uint32 bytes) {
    const auto check = m_pInner->RunningMD5State();
    if (!check) {
        return;
    }
    if (m_nCurPos == check->Position()) {
        check->Feed(data, bytes);
    } else if (m_nCurPos < check->Position()) {
        m_pInner->DropMD5();
    }
}

uint32 CWriteFileEx1::WriteThrough(const uint8* buffer, uint32 bytes, uint32& wentOut, bool resync) {
    // Without its place it would go over other bytes of the file: it stays off the disk, and the next call
    // tells, unless the handle is good for nothing any more.
    const bool hasPlace = !resync || MoveTo(*m_pMediaFile, m_nCurPos) || m_nOpenMode > kModeUpdate;
    if (!hasPlace) {
        m_bStatusOK = 0;
    }
    FeedDigest(buffer, bytes);
    uint32 result = bytes;
    uint32 written = 0;
    if (m_pMediaFile->WriteFile(buffer, hasPlace ? bytes : 0, &written, nullptr) != VXC_STATUS_OK) {
        m_bStatusOK = 0;
        result = 0;
    } else if (!hasPlace) {
        written = bytes;
    }
    m_nCurPos += written;
    RaiseSize();
    wentOut = 1;
    return result;
}

uint32 CWriteFileEx1::WriteStaged(const uint8* buffer, uint32 bytes, uint32& wentOut, bool resync) {
    if ((resync && !ResyncStage()) || !GrowStage(uint64{m_dwStageFill} + bytes)) {
        m_bStatusOK = 0;
        return 0;
    }
    FeedDigest(buffer, bytes);
    CopyBulk(m_pStageBuffer.Data() + m_dwStageFill, buffer, bytes);
    m_dwStageFill += bytes;
    const uint32 whole = m_dwStageFill / m_dwSectorSize * m_dwSectorSize;
    if (m_bStatusOK != 0 && whole > 0) {
        if (!WriteOut(*m_pMediaFile, m_pStageBuffer.Data(), whole)) {
            m_bStatusOK = 0;
        }
        m_dwStageFill -= whole;
        std::memmove(m_pStageBuffer.Data(), m_pStageBuffer.Data() + whole, m_dwStageFill);
        wentOut = 1;
    }
    m_nCurPos += bytes;
    RaiseSize();
    return bytes;
}

// Takes up in the sector that holds the position. False when the file could not be moved there.
bool CWriteFileEx1::ResyncStage() {
    m_dwStageFill = static_cast<uint32>(m_nCurPos % m_dwSectorSize);
    const uint64 start = m_nCurPos - m_dwStageFill;
    if (!MoveTo(*m_pMediaFile, start)) {
        return false;
    }
    if (m_dwStageFill > 0) {
        const bool isRead = ReadSector(*m_pMediaFile, m_pStageBuffer.Data(), m_dwSectorSize);
        if (!MoveTo(*m_pMediaFile, start) || !isRead) {
            m_bStatusOK = 0;
        }
    }
    return true;
}

// Room for so many bytes; those that are staged stay. False when there is none.
bool CWriteFileEx1::GrowStage(uint64 bytes) {
    if (bytes <= m_pStageBuffer.Size()) {
        return true;
    }
    const uint64 rounded = RoundUp(bytes, m_dwSectorSize);
    if (rounded > 0xFFFFFFFFu) {
        return false;
    }
    AlignedBuffer grown(static_cast<std::size_t>(rounded), kTransferAlignment);
    if (!grown) {
        return false;
    }
    std::memcpy(grown.Data(), m_pStageBuffer.Data(), m_dwStageFill);
    m_pStageBuffer = std::move(grown);
    return true;
}

// Less than a sector is staged: it goes out with the rest of the sector as the disk holds it, or not at all
// where that is not to be had.
void CWriteFileEx1::FlushStage() {
    const uint32 rem = m_dwStageFill % m_dwSectorSize;
    if ((rem != 0 && !PadStage(rem)) || !WriteOut(*m_pMediaFile, m_pStageBuffer.Data(), m_dwStageFill)) {
        m_bStatusOK = 0;
    }
    m_dwStageFill = 0;
}

// Fills the staged bytes up to whole sectors; the last one holds `rem`. False when the file could not be
// moved back to where they belong, or when zeros would go over bytes that could not be read.
bool CWriteFileEx1::PadStage(uint32 rem) {
    const uint32 s = m_dwSectorSize;
    m_pMediaFile->SetFilePointer(0, VXC_FILE_CURRENT);
    const int64 tail = m_pMediaFile->SetFilePointer(m_dwStageFill - rem, VXC_FILE_CURRENT);
    const bool isRead = ReadSector(*m_pMediaFile, m_pSectorBuffer.Data(), s);
    CopyBulk(m_pStageBuffer.Data() + m_dwStageFill, m_pSectorBuffer.Data() + rem, s - rem);
    m_dwStageFill += s - rem;
    // A host's move that fails may give 0xFFFFFFFF, which is no place of a sector.
    if (tail < 0 || tail % s != 0 || !MoveTo(*m_pMediaFile, static_cast<uint64>(tail))) {
        return false;
    }
    if (!isRead) {
        m_bStatusOK = 0;
    }
    const bool isAtTheEnd = static_cast<uint64>(tail) + rem >= m_pInner->m_qwFileSize;
    return isRead || isAtTheEnd;
}

uint32 CWriteFileEx1::WriteThreaded(const uint8* buffer, uint32 bytes, uint32& wentOut, bool resync) {
    if (resync && !ResyncNode()) {
        m_bStatusOK = 0;
        return 0;
    }
    if (m_bStatusOK == 0) {
        // The sector is not as the disk holds it, or the file stands elsewhere: a node that goes out now
        // would spoil bytes that are written already.
        FeedDigest(buffer, bytes);
        m_nCurPos += bytes;
        RaiseSize();
        return bytes;
    }
    uint32 result = bytes;
    // The node of a resync goes out at once, so that the disk has work; later ones go in rows.
    auto order = resync ? WriteBufferRing::Order::HandOverFirst : WriteBufferRing::Order::WaitFirst;
    for (uint32 left = bytes; left > 0 || order == WriteBufferRing::Order::HandOverFirst;) {
        WriteBufferNode& node = m_pWriteRing->Node();
        const uint32 count = std::min(left, node.dwCapacity - node.dwUsed);
        FeedDigest(buffer, count);
        CopyBulk(node.pBuffer.Data() + node.dwUsed, buffer, count);
        node.dwUsed += count;
        m_nCurPos += count;
        buffer += count;
        left -= count;
        if (node.dwUsed == node.dwCapacity) {
            const auto outcome = m_pWriteRing->Advance(order);
            if (outcome != WriteBufferRing::Outcome::Good) {
                m_bStatusOK = 0;
                result = 0;
            }
            if (outcome == WriteBufferRing::Outcome::NoNode) {
                return 0;
            }
            m_pWriteRing->Node().nFilePos = static_cast<int64>(m_nCurPos);
            wentOut = 1;
        }
        order = WriteBufferRing::Order::WaitFirst;
    }
    RaiseSize();
    return result;
}

// The caller's node takes up at the position: past the cache in the sector that holds it. False when the file
// could not be moved there.
bool CWriteFileEx1::ResyncNode() {
    const uint32 rem = IsUnbuffered() ? static_cast<uint32>(m_nCurPos % m_dwSectorSize) : 0;
    const uint64 start = m_nCurPos - rem;
    if (!MoveTo(*m_pMediaFile, start)) {
        return false;
    }
    WriteBufferNode& node = m_pWriteRing->Node();
    if (node.dwUsed != 0) { // cannot be: whatever ends a run of writes has flushed
        VXCMSGW(kModuleName, L"Find error size11111111111111111111111\n");
    }
    if (m_bStatusOK != 0 && rem != 0) {
        const bool isRead = ReadSector(*m_pMediaFile, node.pBuffer.Data(), m_dwSectorSize);
        node.dwUsed = rem;
        if (!MoveTo(*m_pMediaFile, start) || !isRead) {
            m_bStatusOK = 0;
        }
    }
    node.nFilePos = static_cast<int64>(start);
    return true;
}
