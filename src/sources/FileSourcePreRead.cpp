// Read-ahead in CFileSource: what callers ask for, and what the ring reads through.
#include "sources/FileSource.h"

#include "frame/Log.h"
#include "frame/RoundUp.h"
#include "frame/TransferDefaults.h"

#include <algorithm>
#include <optional>
#include <utility>

using namespace vxcio;

namespace {

constexpr uint32 kSizeBits = 0x7FFFFFFF; // the sign asks for the whole file in memory
constexpr std::size_t kMemoryAlignment = 512;
constexpr std::size_t kReadAtAlignment = 64;
constexpr uint64 kLargestFile = uint64{1} << 62; // more is nonsense, and must not wrap when it is rounded

} // namespace

int64 CFileSource::FeedPosition() noexcept {
    return m_qwFilePos.load(std::memory_order_relaxed);
}

void CFileSource::SetFeedPosition(int64 position) noexcept {
    m_qwFilePos.store(position, std::memory_order_relaxed);
}

uint32 CFileSource::Fill(AlignedBuffer& block, uint32 bytes) noexcept {
    try {
        if (m_bTwoHandle != 0 && !m_pWholeFile) {
            return ReadTwoFilesInto(block, bytes); // makes the block large enough by itself
        }
        if (block.Size() < bytes) {
            block = AlignedBuffer(bytes, kTransferAlignment);
        }
        return block ? ReadFileWithTwoHandle(block.Data(), bytes) : 0;
    } catch (...) {
        return 0;
    }
}

// What the ring for these arguments looks like; bufferBytes is not 0. False when it would not fit 32 bits.
bool CFileSource::ShapeOfRing(int bufferBytes, int minimumBytes, RingShape& shape) const {
    uint64 size = static_cast<uint32>(bufferBytes) & kSizeBits;
    if (minimumBytes > 0 && size < static_cast<uint64>(minimumBytes)) {
        size = 2 * static_cast<uint64>(minimumBytes);
    }
    size = RoundUp(RoundUp(size, m_dwSectorSize), m_dwReadBlockSize);
    size = std::max(size, 2 * uint64{m_dwReadBlockSize});
    if (size > 0xFFFFFFFFu) {
        return false;
    }
    shape = {static_cast<uint32>(size), m_dwReadBlockSize, m_dwSectorSize, m_bKeepWindow != 0,
             m_pTwoHandle != nullptr};
    return true;
}

// Reads File1 from its start with reads of at most `most` bytes, until one comes up short. False when the
// start cannot be sought.
bool CFileSource::ReadFromStart(uint8* buffer, uint64 bytes, uint32 most, uint64& done) {
    const std::lock_guard lock(m_FileMutex);
    done = 0;
    if (!m_pFile[0] || !IsFile1Free(kFile1Wait) || m_pFile[0]->SetFilePointer(0, VXC_FILE_BEGIN) < 0) {
        return false;
    }
    while (done < bytes) {
        const auto piece = static_cast<uint32>(std::min<uint64>(bytes - done, most));
        const uint32 got = ReadFile1(buffer + done, piece);
        done += got;
        if (got < piece) {
            break;
        }
    }
    return true;
}

// Takes the whole file into memory; from then on every read is served from there. Nothing changes when memory
// lacks or the start cannot be sought.
void CFileSource::LoadWholeFile() {
    // Meanwhile the thread of a ring that runs already has to keep away from File1.
    std::optional<PreReadRing::Standstill> standstill;
    if (m_pRing) {
        standstill.emplace(*m_pRing);
    }
    const uint64 size = CFileSource::GetFileSize();
    if (size > kLargestFile) {
        return;
    }
    // Whole sectors: the file may have grown, and a host may deliver what lies behind its end.
    const uint64 rounded = RoundUp(size, m_dwSectorSize);
    AlignedBuffer memory(rounded, kMemoryAlignment);
    if (!memory) {
        return;
    }
    uint64 got = 0;
    if (!ReadFromStart(memory.Data(), rounded, 0xFFFFFFFFu / m_dwSectorSize * m_dwSectorSize, got)) {
        return;
    }
    m_qwWholeFileSize = got; // what came counts, also where it is less than the size told
    m_pWholeFile = std::move(memory);
}

void CFileSource::EnablePreRead(int bufferBytes, int minimumBytes) {
    RingShape shape;
    if (bufferBytes == 0 || m_pWholeFile || !ShapeOfRing(bufferBytes, minimumBytes, shape)) {
        return;
    }
    if (bufferBytes < 0) {
        LoadWholeFile();
    }
    if (m_pRing && m_pRing->PreReadSize() == shape.preReadSize) {
        return;
    }
    CFileSource::DisablePreRead();
    m_pAlignBuffer.Reset();
    m_pRing = PreReadRing::Start(*this, shape, this);
    if (!m_pRing) {
        ForgetWholeFile(); // so that another attempt starts from the beginning
    }
}

void CFileSource::ForgetWholeFile() {
    m_pWholeFile.Reset();
    m_qwWholeFileSize = 0;
}

void CFileSource::DisablePreRead() {
    if (!m_pRing) {
        return;
    }
    LogTrace(L"this->0x%x:CFileSource::DisablePreRead() Begin", Low32(this));
    m_pRing.reset();
    // Plain reads go on where the reader stood; the next Seek or EnablePreRead gives callers a position
    // again.
    m_qwFilePos.store(m_qwReadPos, std::memory_order_relaxed);
    m_qwReadPos = -1;
    m_pReadAtBuffer.Reset();
    ForgetWholeFile();
    LogTrace(L"this->0x%x:CFileSource::DisablePreRead() End", Low32(this));
}

uint32 CFileSource::IsPreReadMode() {
    return m_pRing != nullptr ? 1 : 0;
}

// A fetch moves the position of callers by what it gave, wherever it took that from. Only while read-ahead
// is on.
uint32 CFileSource::FetchAhead(uint64 position, uint8* target, uint32 bytes) {
    const uint32 got = m_pRing->Fetch(position, target, bytes);
    m_qwReadPos = static_cast<int64>(static_cast<uint64>(m_qwReadPos) + got);
    return got;
}

int CFileSource::ReadAt(uint64 position, uint8** data, int bytes) {
    if (!m_pRing || data == nullptr || bytes < 0) {
        return 0;
    }
    const auto wanted = static_cast<std::size_t>(bytes);
    if (wanted > m_pReadAtBuffer.Size()) {
        m_pReadAtBuffer.Reset();
        m_pReadAtBuffer = AlignedBuffer(BounceSizeFor(wanted), kReadAtAlignment);
    }
    *data = m_pReadAtBuffer.Data();
    if (*data == nullptr && bytes > 0) {
        return 0;
    }
    return static_cast<int>(FetchAhead(position, *data, static_cast<uint32>(bytes)));
}

int CFileSource::ReadPtr(uint8** data, int bytes) {
    return CFileSource::ReadAt(static_cast<uint64>(m_qwReadPos), data, bytes);
}

// The end of the file is no origin here: 2 means the reader's position, as 3 does.
int64 CFileSource::SeekAhead(int64 offset, uint32 origin) {
    if (m_qwReadPos < 0) {
        m_qwReadPos = m_qwFilePos.load(std::memory_order_relaxed);
    }
    if (origin == kFromCurrent && offset == 0) {
        return m_qwReadPos;
    }
    auto target = static_cast<uint64>(offset);
    if (origin == kFromEnd || origin == kFromCurrent) {
        target += static_cast<uint64>(m_qwReadPos); // sums wrap instead of overflowing
    }
    // One byte brings the ring there. Not through the buffer of ReadAt: what that gave out stays as it is.
    uint8 byte = 0;
    m_pRing->Fetch(target, &byte, 1);
    m_qwReadPos = static_cast<int64>(target);
    return m_qwReadPos;
}

int64 CFileSource::Seek(int64 offset, uint32 origin) {
    if (m_pRing) {
        return SeekAhead(offset, origin);
    }
    // Sums wrap instead of overflowing.
    uint64 position = static_cast<uint64>(m_qwFilePos.load(std::memory_order_relaxed));
    if (origin == kFromStart) {
        position = static_cast<uint64>(offset);
    } else if (origin == kFromEnd) {
        position = CFileSource::GetFileSize() + static_cast<uint64>(offset);
    } else if (origin == kFromCurrent) {
        position += static_cast<uint64>(offset);
    }
    m_qwFilePos.store(static_cast<int64>(position), std::memory_order_relaxed);
    m_qwReadPos = static_cast<int64>(position);
    return m_qwReadPos;
}

int CFileSource::Read(uint8* buffer, uint32 bytes) {
    if (m_pRing) {
        return buffer == nullptr
                   ? 0
                   : static_cast<int>(FetchAhead(static_cast<uint64>(m_qwReadPos), buffer, bytes));
    }
    const uint32 got = ReadFileWithTwoHandle(buffer, bytes);
    m_qwReadPos = static_cast<int64>(static_cast<uint64>(m_qwReadPos) + got);
    return static_cast<int>(got); // negative from 2 GiB on
}
