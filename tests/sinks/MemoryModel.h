// MemoryModel.h - a file sink of nothing but memory: what a caller and a disk must see of a CWriteFileEx1
// when nothing fails.
#pragma once

#include "frame/Types.h"

#include <vector>

namespace vxcio::test {

// How the file is written.
struct WritingSetup {
    bool threaded;
    bool unbuffered;
    uint32 sectorSize;
    uint32 blockSize; // of a node of the ring
};

// What a read back must give.
struct ExpectedRead {
    std::vector<uint8> bytes; // from the start of the caller's buffer on
    bool restIsOpen;          // what follows is not told; otherwise the buffer stays as it was
};

// One thread.
class MemoryModel {
public:
    // What was in the file before the first open.
    void SetDisk(std::vector<uint8> content) { m_disk = std::move(content); }
    // What must stand in the file; while it is open, after whatever ends a run of writes.
    const std::vector<uint8>& Disk() const { return m_disk; }

    // An open in mode 0 empties the file, unless a host keeps it as it is.
    void Open(const WritingSetup& setup, uint32 mode, bool hostKeepsContent);
    void Close();

    uint64 Position() const { return m_position; }
    uint64 Size() const { return m_size; }
    // After this the position may be anything, and so may the size; then only Close can follow.
    int64 Seek(int64 offset, uint32 origin);
    // Gives what the flag of bytes that went out must be.
    uint32 Write(const uint8* data, uint32 bytes);
    ExpectedRead ReadBack(uint32 bytes);
    void TurnCacheOn();
    void TurnCacheOff();

    void EnableDigest();
    void RunDigest(bool on) { m_isDigestRunning = on; }
    bool HasDigest() const { return m_hasDigest; }
    // The bytes that it is of.
    const std::vector<uint8>& Digested() const { return m_digested; }

private:
    enum class Last { None, Write, Read, Seek };

    uint64 RoundUp(uint64 value) const {
        return (value + m_setup.sectorSize - 1) / m_setup.sectorSize * m_setup.sectorSize;
    }
    void Reach(uint64 end);
    void Feed(const uint8* data, uint32 bytes);
    ExpectedRead FromCache(uint64 inside, uint32 bytes) const;
    void FillCache(uint64 position);

    WritingSetup m_setup{};
    std::vector<uint8> m_disk;
    uint64 m_position = 0;
    uint64 m_size = 0;
    Last m_last = Last::None;
    uint32 m_inNode = 0; // bytes in the caller's node of the ring
    bool m_isCacheOn = false;
    std::vector<uint8> m_cache; // of its last fill
    uint64 m_cachePosition = 0;
    bool m_hasDigest = false;
    bool m_isDigestRunning = false;
    std::vector<uint8> m_digested;
};

} // namespace vxcio::test
