// What else callers ask of a source with two copies while one of them is busy.
#include "sources/RingFixture.h"
#include "sources/TwoCopiesFixture.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using Inspector = FileSourceInspector;

namespace {

using FileSourceTwoTest = TwoCopiesClockFixture;

} // namespace

TEST_F(FileSourceTwoTest, TheSizeIsAskedOfTheFirstCopyWhenItIsIdle) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    folder.WritePattern("copy1", kSize + 1, kSeed);
    EXPECT_EQ(source.GetFileSize(), kSize + 1);
    EXPECT_EQ(Inspector::Inner(source).m_qwFileSize, kSize + 1);
    EXPECT_EQ(plan.CallsOn(Op::VXC_GetFileSize, L"copy2"), 1); // at the open alone
}

TEST_F(FileSourceTwoTest, TheSizeIsTheOneThatIsKnownWhileTheFirstCopyIsBusy) {
    Gate gate;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ASSERT_EQ(MakeFirstBusy(gate).size(), 100U);
    folder.WritePattern("copy1", kSize + 1, kSeed);
    const int asked = plan.Calls(Op::VXC_GetFileSize);
    EXPECT_EQ(source.GetFileSize(), kSize);
    EXPECT_EQ(source.Seek(-10, 2), int64{kSize} - 10);
    EXPECT_EQ(plan.Calls(Op::VXC_GetFileSize), asked);
    gate.Open();
    ASSERT_TRUE(BecomesIdle(0));
    EXPECT_EQ(source.GetFileSize(), kSize + 1);
}

TEST_F(FileSourceTwoTest, TheSizeDoesNotWaitForAReadInProgress) {
    std::future<std::vector<uint8>> read;
    Gate gate;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    HoldReads(gate, L"copy1");
    read = ReadLater(100); // as the thread of read-ahead does
    ASSERT_TRUE(gate.WaitUntilReached());
    EXPECT_EQ(source.GetFileSize(), kSize);
    EXPECT_FALSE(IsReady(read));
    gate.Open();
    EXPECT_EQ(read.get(), Bytes(0, 100));
}

TEST_F(FileSourceTwoTest, RepeatIsSetWhileACopyIsBusy) {
    Gate gate;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ASSERT_EQ(MakeFirstBusy(gate).size(), 100U);
    EXPECT_EQ(source.SetReadRepeat(3), 0U);
    EXPECT_EQ(source.SetReadRepeat(0), 3U);
}

TEST_F(FileSourceTwoTest, TheDigestIsReadAtItsEndFromTheFirstCopy) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    source.EnableMD5_Check(0);
    source.BeginMD5_Check(0);
    EXPECT_EQ(Read(kSize), content);
    EXPECT_EQ(Inspector::Inner(source).MD5State()->Position(), 0U); // nothing rode on the read
    const int reads = plan.CallsOn(Op::VXC_ReadFile, L"copy1");
    EXPECT_EQ(DigestOf(source), DigestOf(content));
    EXPECT_GT(plan.CallsOn(Op::VXC_ReadFile, L"copy1"), reads);
    EXPECT_EQ(plan.CallsOn(Op::VXC_ReadFile, L"copy2"), 0);
    EXPECT_EQ(Read(10), std::vector<uint8>()); // the position is the caller's still
}

TEST_F(FileSourceTwoTest, TheDigestOfUnbufferedCopiesIsWhole) {
    ASSERT_EQ(Open(VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    source.EnableMD5_Check(0);
    source.BeginMD5_Check(0);
    Read(700);
    EXPECT_EQ(DigestOf(source), DigestOf(content));
}

TEST_F(FileSourceTwoTest, TheDigestWaitsTenSecondsForACopyThatIsBusy) {
    std::future<Digest> digest;
    Gate gate;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    source.EnableMD5_Check(0);
    source.BeginMD5_Check(0);
    ASSERT_EQ(MakeFirstBusy(gate).size(), 100U);
    const auto ask = [&] { return DigestOf(source); };
    digest = std::async(std::launch::async, ask);
    ASSERT_TRUE(PassWait(10000));
    EXPECT_EQ(digest.get(), Digest{}); // as after a failed seek
    digest = std::async(std::launch::async, ask);
    ASSERT_TRUE(clock.WaitForSleepers(1));
    clock.Advance(9999);
    gate.Open(); // in time
    EXPECT_EQ(digest.get(), DigestOf(content));
}

TEST_F(FileSourceTwoTest, OneOfTwoCopiesHasItsDigestRidingOnReads) {
    ASSERT_EQ(Open(Copy1(), folder.Wide("none")), VXC_STATUS_OK);
    source.EnableMD5_Check(0);
    source.BeginMD5_Check(0);
    EXPECT_EQ(Read(kSize), content);
    EXPECT_EQ(Inspector::Inner(source).MD5State()->Position(), kSize);
    EXPECT_EQ(DigestOf(source), DigestOf(content));
}

TEST_F(FileSourceTwoTest, ReadAheadReadsFromTwoCopies) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Inspector::SetReadBlockSize(source, 1024);
    source.EnablePreRead(4096, 0);
    ASSERT_EQ(source.IsPreReadMode(), 1U);
    EXPECT_EQ(Read(kSize), content);
    source.Seek(1234, 1);
    EXPECT_EQ(Read(2000), Bytes(1234, 2000));
    EXPECT_EQ(plan.CallsOn(Op::VXC_ReadFile, L"copy2"), 0);
    EXPECT_EQ(Two::TravellingMemory(source), nullptr); // the ring's blocks travelled themselves
}

// A copy that hangs keeps the block it was given, and no more than that.
TEST_F(FileSourceTwoTest, TheRingOfTwoCopiesKeepsNoMoreBlocksTogetherThanALargePageHolds) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    constexpr uint32 kMebibyte = 1 << 20;
    for (const bool two : {true, false}) {
        Inspector::SetReadBlockSize(source, kMebibyte);
        source.EnablePreRead(5 * kMebibyte, 0);
        for (uint32 i = 0; i < 5; ++i) {
            for (uint32 j = 0; j < i; ++j) {
                const PreReadRing& ring = *Inspector::Ring(source);
                const bool together = AlignedBufferInspector::AreTogether(
                    PreReadRingInspector::Block(ring, i).data, PreReadRingInspector::Block(ring, j).data);
                EXPECT_EQ(together, !two || i / 2 == j / 2) << i << " " << j;
            }
        }
        ASSERT_EQ(source.OpenFile(Copy1().c_str(), 0, nullptr, 0), VXC_STATUS_OK);
    }
}

TEST_F(FileSourceTwoTest, ReadAheadChangesOverWhenACopyIsSlow) {
    std::future<std::vector<uint8>> read;
    Gate gate;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Inspector::SetReadBlockSize(source, 1024);
    source.EnablePreRead(2048, 0);
    plan.Add(Hold(Op::VXC_ReadFile, gate).OnFile(L"copy1").Nth(3));
    read = ReadLater(kSize);
    ASSERT_TRUE(gate.WaitUntilReached());
    EXPECT_EQ(source.IsPreReadMode(), 1U);
    ASSERT_TRUE(PassWait(kThreshold));
    EXPECT_EQ(read.get(), content);
    EXPECT_GT(plan.CallsOn(Op::VXC_ReadFile, L"copy2"), 0);
    gate.Open();
    source.Seek(0, 1); // whichever copy serves
    EXPECT_EQ(Read(kSize), content);
}

TEST_F(FileSourceTwoTest, UnbufferedReadAheadAgreesWithTheFile) {
    ASSERT_EQ(Open(VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    Inspector::SetReadBlockSize(source, 1024);
    source.EnablePreRead(4096, 0);
    EXPECT_EQ(Read(kSize), content);
}

TEST_F(FileSourceTwoTest, TheRingIsToldWhatCameAlsoOfAReadThatHadToBeWidened) {
    ASSERT_EQ(Open(VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    AlignedBuffer block(1024, 512);
    source.Seek(9728, 1);
    EXPECT_EQ(Two::ReadInto(source, block, 1024), 272U);
    EXPECT_EQ(Inspector::FilePos(source), 10000);
    EXPECT_EQ(Two::ReadInto(source, block, 1024), 0U); // in mid-sector now, and at the end
    EXPECT_EQ(Inspector::FilePos(source), 10000);
    source.Seek(700, 1);
    EXPECT_EQ(Two::ReadInto(source, block, 1024), 1024U);
    EXPECT_TRUE(std::equal(block.Data(), block.Data() + 1024, content.begin() + 700));
}

TEST_F(FileSourceTwoTest, TheWholeFileIsLoadedFromTheFirstCopyOnceItIsIdle) {
    Gate gate;
    std::future<void> load;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Inspector::SetReadBlockSize(source, 1024);
    ASSERT_EQ(MakeFirstBusy(gate).size(), 100U);
    const auto whole = [&] { source.EnablePreRead(static_cast<int>(0x80001000), 0); };
    load = std::async(std::launch::async, whole);
    ASSERT_TRUE(PassWait(10000));
    load.get();
    EXPECT_FALSE(Inspector::HasWholeFile(source)); // as after a failed seek: the ring runs without it
    EXPECT_EQ(source.IsPreReadMode(), 1U);
    source.DisablePreRead();
    load = std::async(std::launch::async, whole);
    ASSERT_TRUE(clock.WaitForSleepers(1));
    gate.Open();
    load.get();
    EXPECT_TRUE(Inspector::HasWholeFile(source));
    source.Seek(0, 1);
    const int reads = plan.Calls(Op::VXC_ReadFile);
    EXPECT_EQ(Read(kSize), content);
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), reads);
}
