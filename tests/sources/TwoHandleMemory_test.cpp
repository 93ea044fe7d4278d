// What of a read from two copies goes to the file: whole sectors where it is unbuffered, and whose memory.
#include "filehandle/HandleFixture.h"
#include "sources/TwoCopiesFixture.h"

using namespace vxcio;
using namespace vxcio::test;
using Inspector = FileSourceInspector;

namespace {

using TwoHandleMemoryTest = TwoCopiesClockFixture;

} // namespace

TEST_F(TwoHandleMemoryTest, UnbufferedReadsGoToWholeSectors) {
    ASSERT_EQ(Open(VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    Inspector::SetSectorSize(source, 512);
    struct {
        int64 position;
        uint32 bytes;
        uint64 end; // of what the file was asked for
    } const cases[] = {{700, 10, 1024}, {700, 512, 1536}, {512, 10, 1024}, {512, 512, 1024}};
    for (const auto& entry : cases) {
        source.Seek(entry.position, 1);
        EXPECT_EQ(Read(entry.bytes), Bytes(static_cast<std::size_t>(entry.position), entry.bytes));
        EXPECT_EQ(SoftFileHandleInspector::Record(*Two::File(source, 0))->qwPosition, entry.end);
    }
}

TEST_F(TwoHandleMemoryTest, AnUnalignedUnbufferedReadReportsItsFullSize) {
    ASSERT_EQ(Open(VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    source.Seek(700, 1);
    EXPECT_EQ(Read(10), Bytes(700, 10));
    EXPECT_EQ(Inspector::FilePos(source), 710);
    source.Seek(kSize - 10, 1);
    std::vector<uint8> expected = Bytes(kSize - 10, 10);
    expected.resize(100, 0); // what did not come
    EXPECT_EQ(Read(100), expected);
    EXPECT_EQ(Inspector::FilePos(source), kSize + 90);
    EXPECT_EQ(Read(10), std::vector<uint8>(10, 0)); // and beyond the end too
}

TEST_F(TwoHandleMemoryTest, AnAlignedUnbufferedReadReportsWhatCame) {
    ASSERT_EQ(Open(VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    const uint32 s = Inspector::SectorSize(source);
    const uint32 last = kSize / s * s;
    source.Seek(last, 1);
    // The caller's memory does not matter.
    std::vector<uint8> buffer(s + 1);
    EXPECT_EQ(source.Read(buffer.data() + 1, s), static_cast<int>(kSize - last));
    EXPECT_EQ(std::vector<uint8>(buffer.begin() + 1, buffer.begin() + 1 + kSize - last),
              Bytes(last, kSize - last));
    EXPECT_EQ(Inspector::FilePos(source), kSize);
}

TEST_F(TwoHandleMemoryTest, AnUnalignedUnbufferedReadThatTimesOutReportsZeros) {
    std::future<std::vector<uint8>> read;
    Gate gate;
    ASSERT_EQ(Open(VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    HoldReads(gate, L"copy1");
    HoldReads(gate, L"copy2");
    read = ReadLater(100);
    ASSERT_TRUE(gate.WaitUntilReached());
    ASSERT_TRUE(PassWait(kThreshold));
    ASSERT_TRUE(gate.WaitUntilReached(2));
    ASSERT_TRUE(PassWait(10000));
    EXPECT_EQ(read.get(), std::vector<uint8>(100, 0));
    EXPECT_EQ(Inspector::FilePos(source), 100);
    EXPECT_TRUE(Read(100).empty()); // both busy: nothing was asked
    EXPECT_EQ(Inspector::FilePos(source), 100);
}

TEST_F(TwoHandleMemoryTest, AReadThatGrowsBeyond32BitsGivesNothing) {
    ASSERT_EQ(Open(VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    source.Seek(1, 1);
    uint8 byte = kUntouched;
    EXPECT_EQ(source.Read(&byte, 0xFFFFFFFF), 0);
    EXPECT_EQ(byte, kUntouched);
    EXPECT_EQ(Inspector::FilePos(source), 1);
}

TEST_F(TwoHandleMemoryTest, AlignedReadsTakeTheMemoryOfABlock) {
    std::future<uint32> read;
    Gate gate;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    AlignedBuffer block(1000, 4096);
    const uint8* const memory = block.Data();
    ASSERT_EQ(Two::ReadInto(source, block, 1000), 1000U);
    EXPECT_EQ(block.Data(), memory); // it travelled and came back
    EXPECT_EQ(std::vector<uint8>(memory, memory + 1000), Bytes(0, 1000));
    EXPECT_EQ(Two::TravellingMemory(source), nullptr); // no memory beside it

    HoldReads(gate, L"copy1");
    read = std::async(std::launch::async, [&] { return Two::ReadInto(source, block, 1000); });
    ASSERT_TRUE(gate.WaitUntilReached());
    ASSERT_TRUE(PassWait(kThreshold));
    ASSERT_EQ(read.get(), 1000U);
    EXPECT_NE(block.Data(), memory); // that stayed with the slow copy
    EXPECT_EQ(std::vector<uint8>(block.Data(), block.Data() + 1000), Bytes(1000, 1000));
    gate.Open();
    ASSERT_TRUE(BecomesIdle(0));
    EXPECT_EQ(std::vector<uint8>(block.Data(), block.Data() + 1000), Bytes(1000, 1000));
}

TEST_F(TwoHandleMemoryTest, ABlockThatLostItsMemoryGetsNew) {
    std::future<uint32> read;
    Gate gate;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    HoldReads(gate, L"copy1");
    HoldReads(gate, L"copy2");
    AlignedBuffer block(1000, 4096);
    read = std::async(std::launch::async, [&] { return Two::ReadInto(source, block, 1000); });
    ASSERT_TRUE(gate.WaitUntilReached());
    ASSERT_TRUE(PassWait(kThreshold));
    ASSERT_TRUE(gate.WaitUntilReached(2));
    ASSERT_TRUE(PassWait(10000));
    ASSERT_EQ(read.get(), 0U);
    EXPECT_EQ(block.Size(), 0U);
    gate.Open();
    ASSERT_TRUE(BecomesIdle(0));
    ASSERT_EQ(Two::ReadInto(source, block, 1000), 1000U);
    EXPECT_EQ(std::vector<uint8>(block.Data(), block.Data() + 1000), Bytes(0, 1000));
}

TEST_F(TwoHandleMemoryTest, UnalignedReadsIntoABlockGoThroughTheBounceBuffer) {
    ASSERT_EQ(Open(VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    source.Seek(700, 1);
    AlignedBuffer block;
    ASSERT_EQ(Two::ReadInto(source, block, 100), 100U);
    EXPECT_EQ(std::vector<uint8>(block.Data(), block.Data() + 100), Bytes(700, 100));
    EXPECT_NE(Two::TravellingMemory(source), nullptr);
    EXPECT_EQ(Inspector::FilePos(source), 800);
}
