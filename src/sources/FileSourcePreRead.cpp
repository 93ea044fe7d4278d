// Read-ahead in CFileSource: what callers ask for, and what the ring reads through.
#include "sources/FileSource.h"

using namespace vxcio;

namespace {

// Origins of Seek.
constexpr uint32 kFromStart = 1;
constexpr uint32 kFromEnd = 2;
constexpr uint32 kFromCurrent = 3;

} // namespace

int64 CFileSource::FeedPosition() noexcept {
    return m_qwFilePos.load(std::memory_order_relaxed);
}

void CFileSource::SetFeedPosition(int64 position) noexcept {
    m_qwFilePos.store(position, std::memory_order_relaxed);
}

uint32 CFileSource::Fill(AlignedBuffer& block, uint32 bytes) noexcept {
    if (m_bTwoHandle != 0 && !m_pWholeFile) {
        return ReadTwoFilesInto(block, bytes);
    }
    return ReadFileWithTwoHandle(block.Data(), bytes);
}

void CFileSource::LoadWholeFile() {}

void CFileSource::EnablePreRead(int /*bufferBytes*/, int /*minimumBytes*/) {}

void CFileSource::DisablePreRead() {}

uint32 CFileSource::IsPreReadMode() {
    return m_pRing != nullptr ? 1 : 0;
}

int CFileSource::ReadAt(uint64 /*position*/, uint8** /*data*/, int /*bytes*/) {
    return 0;
}

int CFileSource::ReadPtr(uint8** /*data*/, int /*bytes*/) {
    return 0;
}

int64 CFileSource::Seek(int64 offset, uint32 origin) {
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
    const uint32 got = ReadFileWithTwoHandle(buffer, bytes);
    m_qwReadPos = static_cast<int64>(static_cast<uint64>(m_qwReadPos) + got);
    return static_cast<int>(got); // negative from 2 GiB on
}
