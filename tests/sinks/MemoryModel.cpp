#include "sinks/MemoryModel.h"

#include <algorithm>
#include <utility>

namespace vxcio::test {

namespace {

constexpr uint32 kCacheCapacity = 524288;

std::vector<uint8> Part(const std::vector<uint8>& bytes, uint64 from, uint64 most) {
    if (from >= bytes.size()) {
        return {};
    }
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(from);
    return {first, first + static_cast<std::ptrdiff_t>(std::min(most, bytes.size() - from))};
}

} // namespace

void MemoryModel::Open(const WritingSetup& setup, uint32 mode, bool hostKeepsContent) {
    m_setup = setup;
    if (mode == 0 && !hostKeepsContent) {
        m_disk.clear();
    }
    m_size = mode == 0 ? 0 : m_disk.size();
    m_position = mode == 1 ? m_size : 0;
    m_last = Last::None;
    m_inNode = 0;
}

void MemoryModel::Close() {
    constexpr uint64 kLargest = uint64{1} << 62; // no disk takes more: there the file keeps its length
    if (m_setup.unbuffered && m_size % m_setup.sectorSize != 0 && m_size < kLargest) {
        m_disk.resize(m_size);
    }
    TurnCacheOff();
}

int64 MemoryModel::Seek(int64 offset, uint32 origin) {
    auto target = static_cast<uint64>(offset);
    if (origin == 2) {
        target += m_size;
    } else if (origin == 3) {
        target += m_position;
    }
    if (target != m_position) {
        m_position = target;
        m_size = std::max(m_size, target);
        m_last = Last::Seek;
    }
    return static_cast<int64>(m_position);
}

void MemoryModel::Reach(uint64 end) {
    if (end > m_disk.size()) {
        m_disk.resize(end);
    }
}

// A digest gets each byte once, in order; bytes that come again make it worthless, also when they are none.
void MemoryModel::Feed(const uint8* data, uint32 bytes) {
    if (!m_hasDigest || !m_isDigestRunning) {
        return;
    }
    if (m_position == m_digested.size()) {
        m_digested.insert(m_digested.end(), data, data + bytes);
    } else if (m_position < m_digested.size()) {
        m_hasDigest = false;
        m_isDigestRunning = false;
        m_digested.clear();
    }
}

uint32 MemoryModel::Write(const uint8* data, uint32 bytes) {
    Feed(data, bytes);
    const auto inSector = static_cast<uint32>(m_position % m_setup.sectorSize);
    uint32 wentOut = 1;
    if (m_setup.threaded) {
        if (m_last != Last::Write) {
            m_inNode = m_setup.unbuffered ? inSector : 0;
        }
        wentOut = m_inNode + bytes >= m_setup.blockSize ? 1 : 0;
        m_inNode = (m_inNode + bytes) % m_setup.blockSize;
    } else if (m_setup.unbuffered) {
        wentOut = inSector + bytes >= m_setup.sectorSize ? 1 : 0;
    }
    const uint64 end = m_position + bytes;
    if (m_setup.unbuffered && (bytes > 0 || inSector != 0)) {
        Reach(RoundUp(end)); // the sector that was taken up goes out again, even if nothing came to it
    } else if (bytes > 0) {
        Reach(end);
    }
    std::copy(data, data + bytes, m_disk.begin() + static_cast<std::ptrdiff_t>(bytes > 0 ? m_position : 0));
    m_position = end;
    m_size = std::max(m_size, end);
    m_last = Last::Write;
    return wentOut;
}

ExpectedRead MemoryModel::FromCache(uint64 inside, uint32 bytes) const {
    ExpectedRead read{Part(m_cache, inside, bytes), true};
    return read;
}

void MemoryModel::FillCache(uint64 position) {
    m_cache = Part(m_disk, position, kCacheCapacity);
    m_cachePosition = position;
}

ExpectedRead MemoryModel::ReadBack(uint32 bytes) {
    m_last = Last::Read;
    const uint64 position = m_position;
    m_position += bytes;
    if (m_isCacheOn && position >= m_cachePosition && position + bytes < m_cachePosition + m_cache.size()) {
        return FromCache(position - m_cachePosition, bytes); // what was written since is not in it
    }
    const uint64 offset = m_setup.unbuffered ? position % m_setup.sectorSize : 0;
    if (m_isCacheOn && bytes < kCacheCapacity && offset + bytes <= kCacheCapacity) {
        FillCache(position - offset);
        return FromCache(offset, bytes);
    }
    ExpectedRead read{Part(m_disk, position, bytes), false};
    if (m_setup.unbuffered) {
        read.bytes.resize(bytes);
    } else {
        m_position = position + read.bytes.size();
    }
    return read;
}

void MemoryModel::TurnCacheOn() {
    m_isCacheOn = true;
    m_cache.clear();
    m_cachePosition = 0;
}

void MemoryModel::TurnCacheOff() {
    m_isCacheOn = false;
    m_cache.clear();
    m_cachePosition = 0;
}

void MemoryModel::EnableDigest() {
    m_hasDigest = true;
    m_isDigestRunning = false;
    m_digested.clear();
}

} // namespace vxcio::test
