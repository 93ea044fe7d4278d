// Read-ahead of a file source: what callers ask for and what they get.
#include "sources/PreReadSourceFixture.h"

#include "support/LeakChecks.h"
#include "support/MemoryLack.h"

#include <gmock/gmock.h>

#include <random>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using Inspector = FileSourceInspector;

TEST_F(FileSourcePreReadTest, SizesAreRoundedToSectorsAndBlocks) {
    struct {
        int buffer;
        int minimum;
        uint32 sector;
        uint32 block;
        uint32 size;
    } const cases[] = {
        {100, 4096, 512, 1 << 20, 2 << 20},        // twice the minimum, one block: two it is
        {1, 0, 512, 4096, 8192},                   //
        {8192, 0, 512, 4096, 8192},                //
        {8193, 0, 512, 4096, 12288},               //
        {8192, 8192, 512, 4096, 8192},             // not below the minimum
        {8191, 8192, 512, 4096, 16384},            //
        {8192, -1, 512, 4096, 8192},               // no minimum
        {9000, 0, 4096, 3000, 15000},              // sectors first: 12288
        {1, 0x7FFFFFFF, 512, 0x40000000, 0},       // twice that, rounded, does not fit 32 bits
        {1, 0x70000000, 512, 1 << 20, 0xE0000000}, //
    };
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    for (const auto& entry : cases) {
        Inspector::SetSectorSize(source, entry.sector);
        Inspector::SetReadBlockSize(source, entry.block);
        source.EnablePreRead(entry.buffer, entry.minimum);
        EXPECT_EQ(Inspector::PreReadSize(source), entry.size) << entry.buffer << " " << entry.minimum;
        EXPECT_EQ(source.IsPreReadMode(), entry.size == 0 ? 0U : 1U);
        source.DisablePreRead();
    }
}

TEST_F(FileSourcePreReadTest, ASizeOfZeroDoesNothing) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FaultPlan plan;
    source.EnablePreRead(0, 4096);
    EXPECT_EQ(source.IsPreReadMode(), 0U);
    EXPECT_EQ(plan.Calls(), 0);
}

TEST_F(FileSourcePreReadTest, ReadsDeliverTheRestAndThenNothing) {
    Start();
    EXPECT_EQ(Read(100), Bytes(0, 100));
    EXPECT_EQ(Read(6000), Bytes(100, 6000));
    EXPECT_EQ(Read(6000), Bytes(6100, kSize - 6100));
    EXPECT_TRUE(Read(6000).empty());
    EXPECT_EQ(Inspector::ReadPos(source), int64{kSize});
    EXPECT_EQ(source.Read(nullptr, 10), 0);
}

TEST_F(FileSourcePreReadTest, WithoutItReadAtGivesNothingAndLeavesTheAddress) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    uint8 byte = 0;
    uint8* data = &byte;
    EXPECT_EQ(source.ReadAt(0, &data, 10), 0);
    EXPECT_EQ(source.ReadPtr(&data, 10), 0);
    EXPECT_EQ(data, &byte);
    LogCapture log;
    source.DisablePreRead();
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_EQ(Read(10), Bytes(0, 10));
}

TEST_F(FileSourcePreReadTest, ReadAtMovesThePositionByItsCountFromWhereItStood) {
    Start();
    Read(10);
    EXPECT_EQ(ReadAt(5000, 100), Bytes(5000, 100));
    EXPECT_EQ(Inspector::ReadPos(source), 110);
    EXPECT_EQ(ReadAt(kSize - 3, 100), Bytes(kSize - 3, 3));
    EXPECT_EQ(Inspector::ReadPos(source), 113);
    EXPECT_EQ(Read(10), Bytes(113, 10));
}

TEST_F(FileSourcePreReadTest, ReadPtrReadsAtThePosition) {
    Start();
    Read(50);
    uint8* data = nullptr;
    ASSERT_EQ(source.ReadPtr(&data, 20), 20);
    EXPECT_EQ(std::vector<uint8>(data, data + 20), Bytes(50, 20));
    EXPECT_EQ(Inspector::ReadPos(source), 70);
}

TEST_F(FileSourcePreReadTest, TheBufferOfReadAtGrowsInWholeMebibytes) {
    Start();
    uint8* data = nullptr;
    EXPECT_EQ(source.ReadAt(0, &data, 0), 0);
    EXPECT_EQ(Inspector::ReadAtBufferSize(source), 0U);
    EXPECT_EQ(source.ReadAt(0, &data, -5), 0);
    EXPECT_EQ(source.ReadAt(0, &data, -0x7FFFFFFF - 1), 0);
    EXPECT_EQ(Inspector::ReadAtBufferSize(source), 0U);
    EXPECT_EQ(source.ReadAt(0, &data, 10), 10);
    EXPECT_EQ(Inspector::ReadAtBufferSize(source), 0x100000U);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % 64, 0U);
    const uint8* const first = data;
    EXPECT_EQ(source.ReadAt(0, &data, 0x100000), static_cast<int>(kSize));
    EXPECT_EQ(data, first);
    EXPECT_EQ(source.ReadAt(0, &data, 0x100001), static_cast<int>(kSize));
    EXPECT_EQ(Inspector::ReadAtBufferSize(source), 0x200000U);
    EXPECT_EQ(source.ReadAt(0, &data, 0x300000), static_cast<int>(kSize));
    EXPECT_EQ(Inspector::ReadAtBufferSize(source), 0x400000U); // whole mebibytes get one more
    EXPECT_EQ(source.ReadAt(0, nullptr, 10), 0);
    source.DisablePreRead();
    EXPECT_EQ(Inspector::ReadAtBufferSize(source), 0U);
}

TEST_F(FileSourcePreReadTest, SeekTakesOriginTwoForTheReadersPosition) {
    Start();
    Read(500);
    EXPECT_EQ(source.Seek(-100, 2), 400);
    EXPECT_EQ(Read(10), Bytes(400, 10));
    EXPECT_EQ(source.Seek(-10, 3), 400);
    EXPECT_EQ(source.Seek(0, 2), 400);
    EXPECT_EQ(Read(10), Bytes(400, 10));
    for (const uint32 origin : {0U, 1U, 4U, 7U}) {
        EXPECT_EQ(source.Seek(300, origin), 300);
        EXPECT_EQ(Read(10), Bytes(300, 10));
    }
}

TEST_F(FileSourcePreReadTest, SumsOfSeekWrapInsteadOfOverflowing) {
    Start();
    const int64 largest = 0x7FFFFFFFFFFFFFFF;
    EXPECT_EQ(source.Seek(largest, 1), largest);
    EXPECT_EQ(source.Seek(largest, 3), -2);
    EXPECT_TRUE(Read(10).empty());
    EXPECT_EQ(source.Seek(20, 1), 20);
    EXPECT_EQ(Read(10), Bytes(20, 10));
}

TEST_F(FileSourcePreReadTest, ASeekKeepsWhatReadAtGaveOut) {
    Start();
    uint8* data = nullptr;
    ASSERT_EQ(source.ReadAt(100, &data, 50), 50);
    source.Seek(9000, 1);
    EXPECT_EQ(std::vector<uint8>(data, data + 50), Bytes(100, 50));
}

TEST_F(FileSourcePreReadTest, ASecondCallWithTheSameSizeChangesNothing) {
    Start();
    Read(100);
    const void* const ring = Inspector::Ring(source);
    LogCapture log;
    source.EnablePreRead(5000, 0);
    EXPECT_EQ(Inspector::Ring(source), ring);
    EXPECT_FALSE(log.Contains(L"DisablePreRead"));
    EXPECT_EQ(Read(100), Bytes(100, 100));
}

TEST_F(FileSourcePreReadTest, AnotherSizeStartsAgainWithoutAPosition) {
    Start();
    Read(100);
    LogCapture log;
    source.EnablePreRead(4 * kPreReadBlock, 0);
    EXPECT_EQ(Inspector::PreReadSize(source), 4 * kPreReadBlock);
    EXPECT_TRUE(log.Contains(L"DisablePreRead() End"));
    EXPECT_EQ(Inspector::ReadPos(source), -1);
    EXPECT_TRUE(Read(10).empty()); // in front of the file
    EXPECT_EQ(source.Seek(100, 1), 100);
    EXPECT_EQ(Read(100), Bytes(100, 100));
}

TEST_F(FileSourcePreReadTest, AfterARestartASeekCountsFromWhereTheReaderStood) {
    Start();
    Read(100);
    source.EnablePreRead(4 * kPreReadBlock, 0);
    EXPECT_EQ(source.Seek(5, 3), 105);
    EXPECT_EQ(Read(10), Bytes(105, 10));
}

TEST_F(FileSourcePreReadTest, ASizeThatDoesNotFitLeavesARunningRingAlone) {
    Start();
    Read(100);
    const void* const ring = Inspector::Ring(source);
    Inspector::SetReadBlockSize(source, 0x40000000);
    source.EnablePreRead(1, 0x7FFFFFFF);
    EXPECT_EQ(Inspector::Ring(source), ring);
    EXPECT_EQ(Read(100), Bytes(100, 100));
}

TEST_F(FileSourcePreReadTest, PlainReadsGoOnWhereTheReaderStoodAndCountFromMinusOne) {
    Start();
    Read(100);
    source.DisablePreRead();
    EXPECT_EQ(source.IsPreReadMode(), 0U);
    EXPECT_EQ(Inspector::ReadPos(source), -1);
    EXPECT_EQ(Inspector::FilePos(source), 100);
    EXPECT_EQ(Read(50), Bytes(100, 50));
    EXPECT_EQ(Inspector::ReadPos(source), 49);
    EXPECT_EQ(source.Seek(0, 3), 150);
    EXPECT_EQ(Inspector::ReadPos(source), 150);
}

TEST_F(FileSourcePreReadTest, ItsEndIsToldWithTheThreadsBetween) {
    Start();
    Read(1);
    LogCapture log;
    source.DisablePreRead();
    std::vector<std::wstring> texts;
    for (const LogLine& line : log.Lines()) {
        if (line.text.find(L"CFileSource") != std::wstring::npos) {
            EXPECT_EQ(line.level, INFOTYPE_TRACE);
            texts.push_back(line.text);
        }
    }
    EXPECT_THAT(texts, ElementsAre(This() + L":CFileSource::DisablePreRead() Begin",
                                   This() + L":CFileSource: ReadThread Quit!",
                                   This() + L":CFileSource::DisablePreRead() End"));
}

TEST_F(FileSourcePreReadTest, CloseEndsItAndOpensAgainWithoutIt) {
    const NoLeakScope leaks;
    Start();
    Read(100);
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(source.IsPreReadMode(), 0U);
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source.IsPreReadMode(), 0U);
    EXPECT_EQ(Read(10), Bytes(0, 10));
    source.CloseFile();
}

TEST_F(FileSourcePreReadTest, WithoutAFileItRunsAndGivesNothing) {
    const NoLeakScope leaks;
    LogCapture log;
    {
        CFileSource closed;
        closed.EnablePreRead(1, 0);
        EXPECT_EQ(closed.IsPreReadMode(), 1U);
        uint8 byte = 0;
        EXPECT_EQ(closed.Read(&byte, 1), 0);
        ASSERT_EQ(closed.OpenFile(Clip().c_str(), 0, nullptr, 0), VXC_STATUS_OK);
        EXPECT_EQ(closed.IsPreReadMode(), 0U);
        closed.CloseFile();
        log.Clear();
        closed.EnablePreRead(1, 0); // left to the destructor
    }
    EXPECT_EQ(log.Count(L"DisablePreRead() End"), 1U);
}

TEST_F(FileSourcePreReadTest, WhatLacksLeavesItOff) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    UseSmallBlocks();
    Read(10);
    const NoLeakScope leaks;
    for (const Op op : {Op::VXC_CreateEventW, Op::VXC_CreateThread, Op::VXC_ResumeThread}) {
        FaultPlan plan;
        plan.Add(Fail(op));
        source.EnablePreRead(1, 0);
        EXPECT_EQ(plan.Fired(), 1);
        EXPECT_EQ(source.IsPreReadMode(), 0U);
    }
    const MemoryLack lack(1);
    source.EnablePreRead(1, 0);
    EXPECT_TRUE(lack.Came());
    EXPECT_EQ(source.IsPreReadMode(), 0U);
    EXPECT_EQ(Read(10), Bytes(10, 10));
    EXPECT_EQ(source.Seek(-5, 2), int64{kSize - 5}); // with the meaning it has without
}

TEST_F(FileSourcePreReadTest, EachFailureOfTheSystemEndsInFewerBytes) {
    for (int nth = 1;; ++nth) {
        const NoLeakScope leaks;
        CFileSource scoped;
        ASSERT_EQ(scoped.OpenFile(Clip().c_str(), 0, nullptr, 0), VXC_STATUS_OK);
        Inspector::SetReadBlockSize(scoped, kPreReadBlock);
        FaultPlan plan;
        plan.Add(FailAny().Nth(nth));
        scoped.EnablePreRead(3 * kPreReadBlock, 0);
        for (const int64 position : {0, 3000, 9000, 100}) {
            scoped.Seek(position, 1);
            std::vector<uint8> buffer(5000);
            const int got = scoped.Read(buffer.data(), 5000);
            buffer.resize(static_cast<std::size_t>(got));
            const auto expected = Expected(static_cast<uint64>(position), buffer.size());
            ASSERT_EQ(buffer, expected) << nth;
        }
        scoped.CloseFile();
        if (plan.Fired() == 0) {
            EXPECT_GT(nth, 20);
            break;
        }
        ASSERT_LT(nth, 1000);
    }
}

TEST_F(FileSourcePreReadTest, TheBounceBufferGoesWhenItStarts) {
    // Of whole sectors: behind an end in mid-sector the thread's reads need it again.
    folder.WritePattern("sectors", 8192, kSeed);
    ASSERT_EQ(source.OpenFile(folder.Wide("sectors").c_str(), VXC_FILE_FLAG_NO_BUFFERING, nullptr, 0),
              VXC_STATUS_OK);
    Read(10);
    EXPECT_TRUE(Inspector::HasBounceBuffer(source));
    source.EnablePreRead(1, 0);
    EXPECT_FALSE(Inspector::HasBounceBuffer(source));
    source.Seek(700, 1);
    EXPECT_EQ(Read(10), Bytes(700, 10));
    EXPECT_FALSE(Inspector::HasBounceBuffer(source)); // blocks are aligned
}

TEST_F(FileSourcePreReadTest, ABlockGetsMemoryWhereItHasNoneOrTooLittle) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    AlignedBuffer block;
    EXPECT_EQ(Inspector::Fill(source, block, 1000), 1000U);
    EXPECT_GE(block.Size(), 1000U);
    EXPECT_TRUE(std::equal(block.Data(), block.Data() + 1000, content.begin()));
    EXPECT_EQ(Inspector::Fill(source, block, 2000), 2000U);
    EXPECT_TRUE(std::equal(block.Data(), block.Data() + 2000, content.begin() + 1000));
    const uint8* const memory = block.Data();
    EXPECT_EQ(Inspector::Fill(source, block, 10), 10U);
    EXPECT_EQ(block.Data(), memory);
}

TEST_F(FileSourcePreReadTest, TheDigestRidesOnTheThreadsReads) {
    Start();
    source.EnableMD5_Check(0);
    source.BeginMD5_Check(0);
    while (!Read(700).empty()) {
    }
    FaultPlan plan;
    EXPECT_EQ(DigestOf(source), DigestOf(content));
    EXPECT_EQ(source.IsPreReadMode(), 0U); // the digest ends it
    Start();
    source.EnableMD5_Check(0);
    source.BeginMD5_Check(0);
    source.Seek(7000, 1);
    Read(100);
    source.Seek(10, 1);
    Read(100);
    EXPECT_EQ(DigestOf(source), DigestOf(content));
}

TEST_F(FileSourcePreReadTest, AnySequenceOfCallsDeliversTheFilesBytes) {
    const TempFolder disk(TempFolder::Kind::Disk);
    disk.WritePattern("clip", kSize, kSeed);
    for (const uint32 flags :
         {uint32{0}, uint32{VXC_FILE_FLAG_KEEP_WINDOW}, uint32{VXC_FILE_FLAG_NO_BUFFERING},
          uint32{VXC_FILE_FLAG_NO_BUFFERING | VXC_FILE_FLAG_KEEP_WINDOW}}) {
        for (const uint32 block : {uint32{4096}, uint32{8192}, uint32{4096 + 512}, uint32{1000}}) {
            ASSERT_EQ(source.OpenFile(disk.Wide("clip").c_str(), flags, nullptr, 0), VXC_STATUS_OK);
            Inspector::SetReadBlockSize(source, block);
            source.EnablePreRead(static_cast<int>(3 * block), 0);
            std::mt19937 random(block);
            int64 position = 0;
            for (int i = 0; i < 300; ++i) {
                const auto bytes = static_cast<uint32>(random() % (i % 7 == 0 ? 9000 : 300));
                const auto place = static_cast<int64>(random() % (kSize + 50));
                std::vector<uint8> got;
                switch (random() % 4) {
                case 0:
                    position = source.Seek(place, 1);
                    ASSERT_EQ(position, place);
                    continue;
                case 1:
                    got = ReadAt(static_cast<uint64>(place), static_cast<int>(bytes));
                    ASSERT_EQ(got, Expected(static_cast<uint64>(place), bytes)) << i;
                    break;
                default:
                    got = Read(bytes);
                    ASSERT_EQ(got, Expected(static_cast<uint64>(position), bytes)) << i;
                    break;
                }
                position += static_cast<int64>(got.size());
                ASSERT_EQ(Inspector::ReadPos(source), position);
            }
            source.CloseFile();
        }
    }
}
