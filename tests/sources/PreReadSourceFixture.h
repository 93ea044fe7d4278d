// PreReadSourceFixture.h - a file source with read-ahead in small blocks.
#pragma once

#include "sources/SourceFixture.h"

#include <algorithm>

namespace vxcio::test {

inline constexpr uint32 kPreReadBlock = 4096;

class FileSourcePreReadTest : public FileSourceFixture {
protected:
    // Small blocks, so that a small file has many.
    void Start(uint32 flags = 0, int bufferBytes = 2 * kPreReadBlock) {
        ASSERT_EQ(Open(flags), VXC_STATUS_OK);
        UseSmallBlocks();
        source.EnablePreRead(bufferBytes, 0);
        ASSERT_EQ(source.IsPreReadMode(), 1U);
    }
    void UseSmallBlocks() {
        FileSourceInspector::SetSectorSize(source, 512);
        FileSourceInspector::SetReadBlockSize(source, kPreReadBlock);
    }
    std::vector<uint8> ReadAt(uint64 position, int bytes) {
        uint8* data = nullptr;
        const int got = source.ReadAt(position, &data, bytes);
        return std::vector<uint8>(data, data + got);
    }
    std::vector<uint8> Expected(uint64 position, uint64 bytes) const {
        const uint64 from = std::min<uint64>(position, kSize);
        return Bytes(from, std::min<uint64>(bytes, kSize - from));
    }
    std::wstring This() const {
        wchar_t text[32];
        std::swprintf(text, 32, L"this->0x%x",
                      static_cast<uint32>(reinterpret_cast<std::uintptr_t>(&source)));
        return text;
    }
};

} // namespace vxcio::test
