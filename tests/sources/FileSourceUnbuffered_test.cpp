// Unbuffered reads: how a request is widened to whole sectors, and what of it the caller gets.
#include "sources/SourceFixture.h"

#include "filehandle/CallerFileFunctions.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>

using namespace vxcio;
using namespace vxcio::test;
using Inspector = FileSourceInspector;

namespace {

// What the file was asked for: notes every read and seek of a host's functions over a file in memory.
struct Asked {
    uint64 position;
    uint32 bytes;
    void* target;
};

using UnbufferedDiskTest = FileSourceFixture;

class UnbufferedTest : public FileSourceFixture {
protected:
    void SetUp() override {
        s_content = &content;
        s_position = 0;
        s_size = content.size();
        s_asked.clear();
        table.pfnOpen = [](const wchar_t*, uint32, uint32* error) {
            *error = 0;
            return static_cast<void*>(&s_position);
        };
        table.pfnRead = [](void*, void* buffer, uint32 bytes, uint32* done) -> uint64 {
            s_asked.push_back({s_position, bytes, buffer});
            const uint64 size = s_content->size();
            const uint64 from = std::min(s_position, size);
            *done = static_cast<uint32>(std::min<uint64>(bytes, size - from));
            std::memcpy(buffer, s_content->data() + from, *done);
            s_position += *done;
            return 0;
        };
        table.pfnSetFilePointer = [](void*, uint32 low, int32* high, uint32, uint32* error) {
            *error = 0;
            s_position = uint64{static_cast<uint32>(*high)} << 32 | low;
            return low;
        };
        table.pfnGetFileSize = [](void*, uint32* error) {
            *error = 0;
            return s_size;
        };
        table.pfnCloseFile = [](void*) -> uint64 { return 0; };
        ASSERT_EQ(source.OpenFile(ADDVXCIOID(L"clip", &table), VXC_FILE_FLAG_NO_BUFFERING, nullptr, 0),
                  VXC_STATUS_OK);
        Inspector::SetSectorSize(source, 512);
    }

    IOCallbackSet table = {};
    static const std::vector<uint8>* s_content;
    static uint64 s_position;
    static uint64 s_size; // what the host tells
    static std::vector<Asked> s_asked;
};

const std::vector<uint8>* UnbufferedTest::s_content = nullptr;
uint64 UnbufferedTest::s_position = 0;
uint64 UnbufferedTest::s_size = 0;
std::vector<Asked> UnbufferedTest::s_asked;

} // namespace

TEST_F(UnbufferedTest, TenBytesAtSevenHundredReadTheirSector) {
    source.Seek(700, 1);
    EXPECT_EQ(Read(10), Bytes(700, 10));
    ASSERT_EQ(s_asked.size(), 1U);
    EXPECT_EQ(s_asked[0].position, 512U);
    EXPECT_EQ(s_asked[0].bytes, 512U);
    EXPECT_EQ(Inspector::FilePos(source), 710);
    EXPECT_EQ(Inspector::ReadPos(source), 710);
}

TEST_F(UnbufferedTest, AtTheEndTheSameReadDeliversWhatIsLeft) {
    source.Seek(kSize - 5, 1);
    EXPECT_EQ(Read(10), Bytes(kSize - 5, 5));
    EXPECT_EQ(Inspector::FilePos(source), int64{kSize});
    EXPECT_EQ(Inspector::ReadPos(source), int64{kSize});
    EXPECT_TRUE(Read(10).empty());
    EXPECT_EQ(Inspector::FilePos(source), int64{kSize});
}

TEST_F(UnbufferedTest, AlignedReadsGoStraightIntoTheCallersBuffer) {
    const std::unique_ptr<uint8, void (*)(uint8*)> block(AlignedAlloc(2048, 512), AlignedFree);
    source.Seek(1024, 1);
    EXPECT_EQ(source.Read(block.get(), 2048), 2048);
    EXPECT_EQ(s_asked.at(0).target, block.get());
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0U);
    EXPECT_TRUE(std::equal(block.get(), block.get() + 2048, content.begin() + 1024));
}

TEST_F(UnbufferedTest, MisalignedMemorySizeOrPositionGoesThroughTheBounceBuffer) {
    const std::unique_ptr<uint8, void (*)(uint8*)> block(AlignedAlloc(4096, 512), AlignedFree);
    source.Seek(512, 1);
    EXPECT_EQ(source.Read(block.get() + 256, 512), 512); // memory
    EXPECT_EQ(source.Read(block.get(), 100), 100);       // size
    EXPECT_EQ(source.Read(block.get(), 512), 512);       // position
    ASSERT_EQ(s_asked.size(), 3U);
    for (const Asked& asked : s_asked) {
        EXPECT_NE(asked.target, block.get());
        EXPECT_EQ(asked.position % 512, 0U);
        EXPECT_EQ(asked.bytes % 512, 0U);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(asked.target) % 512, 0U);
    }
    EXPECT_EQ(s_asked[0].bytes, 512U);
    EXPECT_EQ(s_asked[1].bytes, 512U);
    EXPECT_EQ(s_asked[2].bytes, 1024U);
    EXPECT_TRUE(std::equal(block.get(), block.get() + 512, content.begin() + 1124));
}

TEST_F(UnbufferedTest, TheSectorIsThatOfTheDisk) {
    Inspector::SetSectorSize(source, 4096);
    const std::unique_ptr<uint8, void (*)(uint8*)> block(AlignedAlloc(512, 512), AlignedFree);
    source.Seek(5000, 1);
    EXPECT_EQ(source.Read(block.get(), 512), 512);
    EXPECT_EQ(s_asked.at(0).position, 4096U);
    EXPECT_EQ(s_asked.at(0).bytes, 4096U);
    EXPECT_TRUE(std::equal(block.get(), block.get() + 512, content.begin() + 5000));
}

TEST_F(UnbufferedTest, BounceBufferGrowsInWholeMebibytesAndIsKept) {
    Read(10);
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0x100000U);
    source.Seek(1, 1);
    Read(0x100000 - 512); // one mebibyte with its sector around it
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0x100000U);
    source.Seek(1, 1);
    Read(0x100000);
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0x200000U);
    source.Seek(1, 1);
    Read(0x200000 - 512); // whole mebibytes get one more
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0x200000U);
    source.Seek(1, 1);
    Read(0x200000);
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0x300000U);
    Read(10);
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0x300000U);
    source.CloseFile();
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0U);
}

TEST_F(UnbufferedTest, AFirstRequestOfOneMebibyteGetsABufferOfOne) {
    source.Seek(512, 1);
    const std::unique_ptr<uint8, void (*)(uint8*)> block(AlignedAlloc(0x100000 + 1, 512), AlignedFree);
    source.Read(block.get() + 1, 0x100000);
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0x100000U);
}

TEST_F(UnbufferedTest, MemoryIsAlignedTo512WhateverTheSector) {
    Inspector::SetSectorSize(source, 4096);
    const std::unique_ptr<uint8, void (*)(uint8*)> block(AlignedAlloc(3 * 4096, 4096), AlignedFree);
    source.Seek(4096, 1);
    EXPECT_EQ(source.Read(block.get() + 512, 4096), 4096);
    EXPECT_EQ(s_asked.at(0).target, block.get() + 512);
}

TEST_F(UnbufferedTest, DigestReadsWholeSectorsFromTheOneOfItsPositionAndStopsAtTheSize) {
    for (const uint32 size : {900U, kSize}) { // with 900 the file has grown since
        for (const uint32 fed : {0U, 700U}) {
            s_size = size;
            source.EnableMD5_Check(0);
            Inspector::Inner(source).MD5State()->Feed(content.data(), fed);
            s_asked.clear();
            EXPECT_EQ(DigestOf(source), DigestOf(Bytes(0, size))) << size << " " << fed;
            ASSERT_FALSE(s_asked.empty());
            EXPECT_EQ(s_asked[0].position, fed / 512 * 512);
            for (const Asked& asked : s_asked) {
                EXPECT_EQ(asked.position % 512, 0U);
                EXPECT_EQ(asked.bytes % 512, 0U);
            }
        }
    }
}

TEST_F(UnbufferedTest, ARequestThatCannotBeWidenedGivesNothing) {
    source.Seek(1, 1);
    std::vector<uint8> buffer(2 * kSize);
    // None is carried out. The last two would fit if head, or the whole mebibytes of the buffer, were left
    // out.
    EXPECT_EQ(source.Read(buffer.data(), 0xFFFFFFFFU), 0);
    EXPECT_EQ(source.Read(buffer.data(), 0xFFFFFE00U), 0);
    EXPECT_EQ(source.Read(buffer.data(), 0xFFF00000U), 0);
    source.Seek(511, 1);
    EXPECT_EQ(source.Read(buffer.data(), 0xFFFFFFFEU), 0);
    source.Seek(1, 1);
    EXPECT_TRUE(s_asked.empty());
    EXPECT_EQ(Inspector::FilePos(source), 1);
    EXPECT_EQ(Read(10), Bytes(1, 10)); // and the source goes on
}

TEST_F(UnbufferedTest, EveryPositionAndSizeDeliversTheFilesBytes) {
    for (const uint32 sector : {512U, 4096U}) {
        Inspector::SetSectorSize(source, sector);
        for (uint32 position = 0; position < kSize + 600; position += 397) {
            for (const uint32 bytes : {1U, 511U, 512U, 513U, 1000U, 4096U, 9999U}) {
                source.Seek(position, 1);
                const std::size_t left = position < kSize ? kSize - position : 0;
                const std::size_t expected = std::min<std::size_t>(bytes, left);
                ASSERT_EQ(Read(bytes), Bytes(std::min(position, kSize), expected))
                    << position << " " << bytes << " " << sector;
                ASSERT_EQ(Inspector::FilePos(source), static_cast<int64>(position + expected));
            }
        }
    }
}

TEST_F(UnbufferedDiskTest, RealDiskDeliversTheSameBytesUnbuffered) {
    const TempFolder disk(TempFolder::Kind::Disk);
    disk.WritePattern("clip", kSize, kSeed);
    ASSERT_EQ(source.OpenFile(disk.Wide("clip").c_str(), VXC_FILE_FLAG_NO_BUFFERING, nullptr, 0),
              VXC_STATUS_OK);
    for (uint32 position = 0; position < kSize + 600; position += 1009) {
        for (const uint32 bytes : {1U, 512U, 700U, 4096U, 9999U}) {
            source.Seek(position, 1);
            const std::size_t left = position < kSize ? kSize - position : 0;
            ASSERT_EQ(Read(bytes), Bytes(std::min(position, kSize), std::min<std::size_t>(bytes, left)))
                << position << " " << bytes;
        }
    }
}
