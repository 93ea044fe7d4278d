// Reading and seeking in a remote source: what of it reaches the object of the module, and what the object
// gives.
#include "sources/RemoteFixture.h"

#include "frame/AlignedBlock.h"

#include <algorithm>
#include <cstring>
#include <memory>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Inspector = RemoteSourceInspector;

namespace {

class RemoteReadTest : public RemoteSourceFixture {
protected:
    void SetUp() override { Start(0); }
    void Start(uint32 flags) {
        ASSERT_EQ(Open(flags), VXC_STATUS_OK);
        Calls();
    }
    // Memory at a multiple of 512.
    static std::unique_ptr<uint8, void (*)(uint8*)> Block(std::size_t bytes) {
        return {AlignedAlloc(bytes, 512), AlignedFree};
    }
};

} // namespace

TEST_F(RemoteReadTest, EveryReadSeeksAndReads) {
    EXPECT_EQ(Read(4000), Bytes(0, 4000));
    EXPECT_EQ(Read(4000), Bytes(4000, 4000));
    EXPECT_EQ(Read(4000), Bytes(8000, 2000));
    EXPECT_TRUE(Read(4000).empty());
    EXPECT_THAT(Calls(), ElementsAre("seek 0", "read 4000", "seek 4000", "read 4000", "seek 8000",
                                     "read 4000", "seek 10000", "read 4000"));
    EXPECT_EQ(Inspector::FilePos(source), int64{kSize});
    EXPECT_EQ(Inspector::ReadPos(source), int64{kSize});
}

TEST_F(RemoteReadTest, AReadOfNothingIsNotLogged) {
    source.Seek(0, 2);
    LogCapture log;
    EXPECT_TRUE(Read(10).empty());
    EXPECT_TRUE(Read(0).empty());
    companion.Break("read", false);
    source.Seek(0, 1);
    EXPECT_TRUE(Read(10).empty());
    EXPECT_EQ(companion.Broken(), 1);
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(RemoteReadTest, AShortReadMovesByWhatCame) {
    companion.told = [](uint32, uint32 got) { return got < 3 ? got : 3; };
    EXPECT_EQ(Read(10), Bytes(0, 3));
    EXPECT_EQ(Inspector::FilePos(source), 3);
    EXPECT_EQ(Inspector::ReadPos(source), 3);
    EXPECT_EQ(Read(10), Bytes(3, 3));
    EXPECT_THAT(Calls(), ElementsAre("seek 0", "read 10", "seek 3", "read 10"));
}

TEST_F(RemoteReadTest, OnlyTheCountOfAReadTells) {
    for (const int result : {0, -1, 77}) {
        companion.readResult = result;
        source.Seek(20, 1);
        EXPECT_EQ(Read(10), Bytes(20, 10)) << result;
    }
}

TEST_F(RemoteReadTest, AFailedReadDoesNotHideLaterBytes) {
    for (const bool throws : {false, true}) {
        source.Seek(0, 1);
        companion.Break("read", throws, 2);
        EXPECT_EQ(Read(10), Bytes(0, 10));
        EXPECT_TRUE(Read(10).empty());
        EXPECT_EQ(Inspector::FilePos(source), 10);
        EXPECT_EQ(Read(10), Bytes(10, 10));
    }
}

TEST_F(RemoteReadTest, AFailedSeekGivesNothingAndReadsNothing) {
    for (const bool throws : {false, true}) {
        source.Seek(50, 1);
        companion.Break("seek", throws);
        EXPECT_TRUE(Read(10).empty());
        EXPECT_THAT(Calls(), ElementsAre("seek 50"));
        EXPECT_EQ(Inspector::FilePos(source), 50);
        EXPECT_EQ(Inspector::ReadPos(source), 50);
        EXPECT_EQ(Read(10), Bytes(50, 10));
        Calls();
    }
}

TEST_F(RemoteReadTest, ACountAboveWhatWasAskedForIsNotBelieved) {
    for (const uint32 flags : {0U, uint32{VXC_FILE_FLAG_NO_BUFFERING}}) {
        for (const uint32 lie : {11U, 512U, 0x80000000U, 0xFFFFFFFFU}) {
            Start(flags);
            companion.told = [lie](uint32, uint32) { return lie; };
            const auto block = Block(1024);
            std::memset(block.get(), 0xEE, 1024);
            EXPECT_EQ(source.Read(block.get() + 1, 10), 10);
            EXPECT_EQ(block.get()[0], 0xEE);
            EXPECT_EQ(std::memcmp(block.get() + 1, content.data(), 10), 0);
            EXPECT_EQ(block.get()[11], 0xEE) << lie;
            EXPECT_EQ(Inspector::FilePos(source), 10);
            EXPECT_EQ(Inspector::ReadPos(source), 10);
        }
    }
}

// ---- Seek ----

TEST_F(RemoteReadTest, SeekKnowsThreeOriginsAndTouchesNoObject) {
    EXPECT_EQ(source.Seek(1000, 1), 1000);
    EXPECT_EQ(source.Seek(-1, 3), 999);
    EXPECT_EQ(source.Seek(-10, 2), int64{kSize - 10});
    EXPECT_EQ(source.Seek(5, 2), int64{kSize + 5});
    EXPECT_EQ(source.Seek(-10, 2), int64{kSize - 10});
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(Read(100), Bytes(kSize - 10, 10));
    EXPECT_THAT(Calls(), ElementsAre("seek 9990", "read 100"));
}

TEST_F(RemoteReadTest, SeekWithAnyOtherOriginKeepsThePosition) {
    Read(70);
    for (const uint32 origin : {0U, 4U, 7U, 0xFFFFFFFFU}) {
        EXPECT_EQ(source.Seek(1000, origin), 70);
    }
    EXPECT_EQ(Inspector::ReadPos(source), 70);
    EXPECT_EQ(Inspector::FilePos(source), 70);
}

TEST_F(RemoteReadTest, SumsOfSeekWrapInsteadOfOverflowing) {
    const int64 largest = 0x7FFFFFFFFFFFFFFF;
    EXPECT_EQ(source.Seek(largest, 1), largest);
    EXPECT_EQ(source.Seek(largest, 3), -2);
    EXPECT_TRUE(Read(10).empty());
    EXPECT_EQ(source.Seek(largest, 2), static_cast<int64>(static_cast<uint64>(largest) + kSize));
}

TEST_F(RemoteReadTest, PositionsOutsideTheFileAreTheModulesAffair) {
    EXPECT_EQ(source.Seek(-5, 1), -5);
    EXPECT_TRUE(Read(10).empty());
    EXPECT_THAT(Calls(), ElementsAre("seek 18446744073709551611", "read 10"));
    EXPECT_EQ(Inspector::FilePos(source), -5);
    source.Seek(kSize + 1, 1);
    EXPECT_TRUE(Read(10).empty());
    EXPECT_EQ(Inspector::FilePos(source), int64{kSize + 1});
}

TEST_F(RemoteReadTest, TheSizeIsThatOfTheOpen) {
    companion.content = Pattern(kSize + 500, 3); // it has grown
    EXPECT_EQ(source.GetFileSize(), kSize);
    EXPECT_EQ(source.Seek(0, 2), int64{kSize});
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(Read(1000).size(), 500U);
    EXPECT_EQ(source.GetFileSize(), kSize);
    Start(0);
    EXPECT_EQ(source.GetFileSize(), kSize + 500);
}

TEST_F(RemoteReadTest, ASizeOfAllOnesIsTakenAsItIs) {
    companion.size = ~uint64{0};
    Start(0);
    EXPECT_EQ(source.GetFileSize(), ~uint64{0});
    EXPECT_EQ(source.Seek(11, 2), 10);
    EXPECT_EQ(Read(10), Bytes(10, 10));
}

// ---- Unbuffered ----

TEST_F(RemoteReadTest, UnbufferedReadsIntoAlignedMemoryGoStraightAtAnyPositionAndSize) {
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    const auto block = Block(4096);
    for (const uint32 bytes : {1U, 511U, 512U, 4095U}) {
        source.Seek(701, 1);
        EXPECT_EQ(source.Read(block.get(), bytes), static_cast<int>(bytes));
        EXPECT_THAT(Calls(), ElementsAre("seek 701", "read " + std::to_string(bytes)));
        EXPECT_EQ(std::memcmp(block.get(), content.data() + 701, bytes), 0);
    }
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0U);
}

TEST_F(RemoteReadTest, TargetsOfUnbufferedReadsAreTheCallersOrTheBounceBuffer) {
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    const auto block = Block(4096);
    companion.Clear();
    EXPECT_EQ(source.Read(block.get() + 512, 100), 100);
    EXPECT_THAT(companion.Targets(), ElementsAre(block.get() + 512));
    for (const uint32 odd : {1U, 8U, 256U, 511U}) {
        Calls();
        source.Seek(701, 1);
        EXPECT_EQ(source.Read(block.get() + odd, 100), 100);
        ASSERT_EQ(companion.Targets().size(), 1U);
        const uint8* const target = companion.Targets()[0];
        EXPECT_TRUE(target < block.get() || target >= block.get() + 4096) << odd;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(target) % 512, 0U);
        EXPECT_THAT(Calls(), ElementsAre("seek 701", "read 100")); // neither head nor tail
        EXPECT_EQ(std::memcmp(block.get() + odd, content.data() + 701, 100), 0);
        EXPECT_EQ(Inspector::FilePos(source), 801);
        EXPECT_EQ(Inspector::ReadPos(source), 801);
    }
}

TEST_F(RemoteReadTest, WithoutTheBitNoMemoryIsOdd) {
    const auto block = Block(1024);
    EXPECT_EQ(source.Read(block.get() + 1, 100), 100);
    EXPECT_THAT(companion.Targets(), ElementsAre(block.get() + 1));
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0U);
}

TEST_F(RemoteReadTest, AtTheEndTheBounceBufferGivesWhatIsThere) {
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    const auto block = Block(1024);
    std::memset(block.get(), 0xEE, 1024);
    source.Seek(-5, 2);
    EXPECT_EQ(source.Read(block.get() + 1, 100), 5);
    EXPECT_EQ(std::memcmp(block.get() + 1, content.data() + kSize - 5, 5), 0);
    EXPECT_EQ(block.get()[6], 0xEE);
    EXPECT_EQ(Inspector::FilePos(source), int64{kSize});
    EXPECT_EQ(source.Read(block.get() + 1, 100), 0);
    EXPECT_EQ(Inspector::FilePos(source), int64{kSize});
}

TEST_F(RemoteReadTest, BounceBufferGrowsInWholeMebibytesAndIsKept) {
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    const auto block = Block(0x200000 + 512);
    source.Read(block.get() + 1, 0x100000); // just fits
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0x100000U);
    source.CloseFile();
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    source.Read(block.get() + 1, 10);
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0x100000U);
    source.Read(block.get() + 1, 0x100001);
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0x200000U);
    source.Read(block.get() + 1, 10);
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0x200000U);
}

TEST_F(RemoteReadTest, WithoutABounceBufferTheReadGivesNothing) {
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    const auto block = Block(1024);
    EXPECT_EQ(source.Read(block.get() + 1, 10), 10);
    Calls();
    // A buffer of whole mebibytes for so many bytes does not fit 32 bits.
    EXPECT_EQ(source.Read(block.get() + 1, 0xFFF00001U), 0);
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0U);
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(Inspector::FilePos(source), 10);
    EXPECT_EQ(source.Read(block.get() + 1, 10), 10); // and the source goes on
    EXPECT_EQ(std::memcmp(block.get() + 1, content.data() + 10, 10), 0);
}

TEST_F(RemoteReadTest, EveryPositionSizeAndMemoryDeliversTheFilesBytes) {
    companion.told = [](uint32, uint32 got) { return got > 4000 ? 4000 : got; }; // a server that stops early
    const auto block = Block(16384);
    for (const uint32 flags : {0U, uint32{VXC_FILE_FLAG_NO_BUFFERING}}) {
        Start(flags);
        for (uint32 position = 0; position < kSize + 600; position += 397) {
            for (const uint32 bytes : {1U, 511U, 512U, 513U, 4096U, 9999U}) {
                uint8* const to = block.get() + (position + bytes) % 3 * 256;
                source.Seek(position, 1);
                const uint32 left = position < kSize ? kSize - position : 0;
                const uint32 expected = std::min({bytes, left, 4000U});
                ASSERT_EQ(source.Read(to, bytes), static_cast<int>(expected)) << position << " " << bytes;
                ASSERT_EQ(std::memcmp(to, content.data() + std::min(position, kSize), expected), 0)
                    << position << " " << bytes;
                ASSERT_EQ(Inspector::FilePos(source), int64{position + expected});
                ASSERT_EQ(source.Seek(0, 3), int64{position + expected});
            }
        }
    }
}
