// Two copies in CFileSource: opening the second one, and the reads that go to either.
#include "sources/FileSource.h"

#include "frame/InnerSoftDataIO.h"
#include "frame/Log.h"
#include "frame/ReadSetting.h"
#include "frame/RoundUp.h"
#include "frame/Status.h"
#include "frame/TransferDefaults.h"
#include "sources/DiskProbes.h"
#include "sources/DroppedHandles.h"

#include <algorithm>
#include <cstring>
#include <utility>

using namespace vxcio;

namespace {

constexpr uint32 kDefaultThreshold = 2000; // milliseconds
constexpr uint64 kSizesMayDiffer = 4096;   // bytes

} // namespace

// Asks for the size of a file that was opened; one that holds nothing counts as failed.
uint64 CFileSource::SizeOfCopy(int which, uint32& status) {
    if (status != VXC_STATUS_OK) {
        return 0;
    }
    const uint64 size = m_pFile[which]->GetFileSize();
    if (size == 0) {
        LogTrace(L"this->0x%x:CFileSource: File Size of %s is Zero !!!\n", Low32(this),
                 m_strFile[which].c_str());
        status = VXC_STATUS_EMPTY_FILE;
    }
    return size;
}

uint32 CFileSource::OpenSecondFile(uint32 firstStatus) {
    m_dwDoubleRdThreshold = kDefaultThreshold;
    uint32 threshold = 0;
    if (ReadSetting(L"DoubleRdThreshold", &threshold) != 0 && threshold != 0) {
        m_dwDoubleRdThreshold = threshold;
    }
    const uint32 secondOpened = OpenHandle(1);
    const uint32 secondSector =
        secondOpened == VXC_STATUS_OK ? GetDiskSectorSize(m_strFile[1]) : kDefaultSectorSize;
    m_dwSectorSize = std::max(m_dwSectorSize, secondSector);

    uint32 first = firstStatus;
    uint32 second = secondOpened;
    const uint64 firstSize = SizeOfCopy(0, first);
    m_pInner->m_qwFileSize = firstSize;
    const uint64 secondSize = SizeOfCopy(1, second);
    const uint64 difference = firstSize > secondSize ? firstSize - secondSize : secondSize - firstSize;
    if (firstStatus == VXC_STATUS_OK && secondOpened == VXC_STATUS_OK && difference > kSizesMayDiffer) {
        LogTrace(L"this->0x%x:CFileSource::OpenFile()--Two File Size not same, double file mode may be wrong",
                 Low32(this));
    }
    return Decide(first, second);
}

// What becomes of the two copies once both were tried.
uint32 CFileSource::Decide(uint32 first, uint32 second) {
    const wchar_t* const name1 = m_strFile[0].c_str();
    const wchar_t* const name2 = m_strFile[1].c_str();
    if (first != VXC_STATUS_OK && second != VXC_STATUS_OK) {
        // Both stay, and m_bTwoHandle too: CloseFile names both, reads give 0 as no reader is there.
        LogTrace(L"this->0x%x:CFileSource: DoubleHandleMode OpenFile(File1:%s, File2:%s) all failed",
                 Low32(this), name1, name2);
        return first;
    }
    if (first != VXC_STATUS_OK) {
        m_bTwoHandle = 0;
        LogTrace(L"this->0x%x:CFileSource::OpenFile() two file but only one is OK: File1:%s(Error), "
                 L"File2:%s(OK)",
                 Low32(this), name1, name2);
        if (m_pFile[0]) {
            DropHandle(std::move(m_pFile[0]));
        }
        m_pFile[0] = std::move(m_pFile[1]);
        m_strFile[0] = m_strFile[1];
        return VXC_STATUS_OK;
    }
    if (second != VXC_STATUS_OK) {
        // File2 stays, unused, until CloseFile.
        m_bTwoHandle = 0;
        LogTrace(L"this->0x%x:CFileSource::OpenFile() two file but only one is OK: File1:%s(OK), "
                 L"File2:%s(error)",
                 Low32(this), name1, name2);
        return VXC_STATUS_OK;
    }
    LogTrace(L"this->0x%x:CFileSource: DoubleHandleMode OpenFile(File1:%s, File2:%s) Sucessed", Low32(this),
             name1, name2);
    const TwoCopies copies = {{m_pFile[0].get(), m_pFile[1].get()},
                              {m_strFile[0], m_strFile[1]},
                              m_dwFlags,
                              m_dwDoubleRdThreshold,
                              this};
    m_pTwoHandle = TwoHandleReading::Start(copies, m_ReadRate);
    if (!m_pTwoHandle) {
        LogError(L"this->0x%x:CFileSource::OpenFile(): the readers of two copies could not be started",
                 Low32(this));
        return VXC_STATUS_OPEN_READ;
    }
    return VXC_STATUS_OK;
}

bool CFileSource::IsFile1Free(uint32 milliseconds) const {
    return !m_pTwoHandle || m_pTwoHandle->WaitForIdle(0, milliseconds);
}

// Whether a read of `bytes` at the position must be widened: the caller's memory does not matter, as no
// copy is read into it.
bool CFileSource::IsAligned(uint32 bytes) const noexcept {
    const auto pos = static_cast<uint64>(m_qwFilePos.load(std::memory_order_relaxed));
    return !IsUnbuffered() || (pos % m_dwSectorSize == 0 && bytes % m_dwSectorSize == 0);
}

// Reads at the position, which stays, widened to whole sectors where it must be. False when no copy could be
// asked.
bool CFileSource::TakeFromCopies(uint8* buffer, uint32 bytes, uint32& count) {
    count = 0;
    const auto pos = static_cast<uint64>(m_qwFilePos.load(std::memory_order_relaxed));
    const bool widened = !IsAligned(bytes);
    const uint32 s = m_dwSectorSize;
    const uint32 head = widened ? static_cast<uint32>(pos % s) : 0;
    uint64 want = uint64{bytes} + head;
    if (widened) {
        want = RoundUp(want, s);
    }
    if (!m_pTwoHandle || want > 0xFFFFFFFFu) {
        return false;
    }
    if (m_pAlignBuffer.Size() < want) {
        m_pAlignBuffer.Reset();
        m_pAlignBuffer = AlignedBuffer(BounceSizeFor(want), kTransferAlignment);
    }
    uint32 got = 0;
    if (!m_pTwoHandle->Read(pos - head, static_cast<uint32>(want), bytes, m_pAlignBuffer, &got)) {
        return false;
    }
    count = got > head ? std::min(got - head, bytes) : 0;
    if (count > 0) {
        std::memcpy(buffer, m_pAlignBuffer.Data() + head, count);
    }
    return true;
}

uint32 CFileSource::ReadTwoFiles(uint8* buffer, uint32 bytes) {
    uint32 count = 0;
    if (!TakeFromCopies(buffer, bytes, count)) {
        return 0;
    }
    if (count < bytes && !IsAligned(bytes)) {
        // A widened read always reports its full size, as callers of unbuffered reads are used to. What did
        // not come is no one's old memory.
        std::memset(buffer + count, 0, bytes - count);
        count = bytes;
    }
    m_qwFilePos.fetch_add(count, std::memory_order_relaxed);
    return count;
}

// A ring is told what came, also of a widened read: it takes a short block for the end of the file.
uint32 CFileSource::ReadTwoFilesInto(AlignedBuffer& block, uint32 bytes) {
    const std::lock_guard lock(m_FileMutex);
    uint32 count = 0;
    if (!IsAligned(bytes)) {
        if (block.Size() < bytes) {
            block = AlignedBuffer(bytes, kTransferAlignment);
        }
        if (block.Size() >= bytes) {
            TakeFromCopies(block.Data(), bytes, count);
        }
    } else if (m_pTwoHandle) {
        const auto pos = static_cast<uint64>(m_qwFilePos.load(std::memory_order_relaxed));
        m_pTwoHandle->Read(pos, bytes, bytes, block, &count);
    }
    m_qwFilePos.fetch_add(count, std::memory_order_relaxed);
    return count;
}
