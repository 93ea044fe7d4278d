// The digest that rides on a file source's reads.
#include "sources/SourceFixture.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;
using Inspector = FileSourceInspector;

namespace {

class FileSourceMD5Test : public FileSourceFixture {
protected:
    void Start(uint32 flags = 0) {
        ASSERT_EQ(Open(flags), VXC_STATUS_OK);
        source.EnableMD5_Check(0);
        source.BeginMD5_Check(0);
    }
    uint64 Fed() { return Inspector::Inner(source).MD5State()->Position(); }
    Digest Whole() const { return DigestOf(content); }
};

} // namespace

TEST_F(FileSourceMD5Test, WithoutAStateTheReferencesAreLeftAlone) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    uint8 byte = 0;
    uint8* digest = &byte;
    int length = 5;
    EXPECT_EQ(source.GetMD5_check(1, digest, length), 0);
    EXPECT_EQ(digest, &byte);
    EXPECT_EQ(length, 5);
}

TEST_F(FileSourceMD5Test, DigestOfAFileReadInOrderNeedsNoFurtherRead) {
    Start();
    while (!Read(777).empty()) {
    }
    EXPECT_EQ(Fed(), kSize);
    FaultPlan plan;
    EXPECT_EQ(DigestOf(source), Whole());
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 0);
    EXPECT_EQ(plan.Calls(Op::VXC_SetFilePointer), 0);
}

TEST_F(FileSourceMD5Test, DigestCoversTheWholeFileWhateverWasRead) {
    for (const bool unbuffered : {false, true}) {
        const uint32 flags = unbuffered ? VXC_FILE_FLAG_NO_BUFFERING : 0;
        Start(flags);
        EXPECT_EQ(DigestOf(source), Whole()) << "nothing";
        Start(flags);
        Read(700);
        EXPECT_EQ(DigestOf(source), Whole()) << "the start";
        Start(flags);
        source.Seek(5000, 1);
        Read(100);
        source.Seek(200, 1);
        Read(50);
        source.Seek(9000, 1);
        Read(5000);
        EXPECT_EQ(DigestOf(source), Whole()) << "here and there";
    }
}

TEST_F(FileSourceMD5Test, DigestGivesItselfAgain) {
    Start();
    EXPECT_EQ(DigestOf(source), Whole());
    EXPECT_EQ(DigestOf(source), Whole());
}

TEST_F(FileSourceMD5Test, AForwardJumpReadsTheSkippedBytesFirst) {
    Start();
    Read(100);
    source.Seek(3000, 1);
    FaultPlan plan;
    EXPECT_EQ(Read(100), Bytes(3000, 100));
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 2);
    EXPECT_EQ(Fed(), 3100U);
}

TEST_F(FileSourceMD5Test, SkippedBytesAreReadInPiecesOfTheWorkBuffer) {
    folder.WritePattern("big", 3 << 20, 5);
    ASSERT_EQ(source.OpenFile(folder.Wide("big").c_str(), 0, nullptr, 0), VXC_STATUS_OK);
    source.EnableMD5_Check(0);
    source.BeginMD5_Check(0);
    source.Seek((5 << 19) + 1, 1); // two and a half mebibytes and a byte
    FaultPlan plan;
    Read(10);
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 4);
    EXPECT_EQ(Fed(), static_cast<uint64>((5 << 19) + 11));
    EXPECT_EQ(DigestOf(source), DigestOf(Pattern(3 << 20, 5)));
}

TEST_F(FileSourceMD5Test, ABackwardJumpFeedsNothing) {
    Start();
    Read(1000);
    source.Seek(100, 1);
    Read(200);
    EXPECT_EQ(Fed(), 1000U);
    Read(1000); // 300 to 1300: the last 300 are new
    EXPECT_EQ(Fed(), 1300U);
    EXPECT_EQ(DigestOf(source), Whole());
}

TEST_F(FileSourceMD5Test, NothingIsFedBeforeBeginAndAfterStop) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    source.EnableMD5_Check(0);
    Read(100);
    EXPECT_EQ(Fed(), 0U);
    source.BeginMD5_Check(0);
    Read(100); // catches up
    EXPECT_EQ(Fed(), 200U);
    source.StopMD5_Check(0);
    Read(100);
    EXPECT_EQ(Fed(), 200U);
    EXPECT_EQ(DigestOf(source), Whole()); // the rest is read for it all the same
}

TEST_F(FileSourceMD5Test, UnbufferedReadsFeedTheirWholeSectorsOnce) {
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    Inspector::SetSectorSize(source, 512);
    source.Seek(700, 1);
    EXPECT_EQ(Read(10), Bytes(700, 10));
    EXPECT_EQ(Fed(), 1024U); // the first sector caught up, the second rode along
    source.Seek(10, 1);
    EXPECT_EQ(Read(2000), Bytes(10, 2000));
    EXPECT_EQ(Fed(), 2048U);
    EXPECT_EQ(DigestOf(source), Whole());
}

TEST_F(FileSourceMD5Test, UnbufferedDigestBeginsInTheSectorOfItsPosition) {
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    Inspector::SetSectorSize(source, 512);
    const auto state = Inspector::Inner(source).MD5State();
    state->Feed(content.data(), 700); // as a buffered reader leaves it
    EXPECT_EQ(DigestOf(source), Whole());
}

TEST_F(FileSourceMD5Test, UnbufferedDigestInTheLastSectorEndsAtTheFilesSize) {
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    Inspector::SetSectorSize(source, 4096);
    const auto state = Inspector::Inner(source).MD5State();
    state->Feed(content.data(), 9000); // 8192 is the last sector's start, the file ends within it
    FaultPlan plan;
    EXPECT_EQ(DigestOf(source), Whole());
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 1);
    EXPECT_EQ(state->Position(), kSize);
}

TEST_F(FileSourceMD5Test, ASectorThatDoesNotDivideTheWorkBufferIsSafe) {
    folder.WritePattern("big", (2 << 20) + 77, 5);
    ASSERT_EQ(source.OpenFile(folder.Wide("big").c_str(), VXC_FILE_FLAG_NO_BUFFERING, nullptr, 0),
              VXC_STATUS_OK);
    source.EnableMD5_Check(0);
    Inspector::SetSectorSize(source, 3 * 4096);
    EXPECT_EQ(DigestOf(source), DigestOf(Pattern((2 << 20) + 77, 5)));
}

TEST_F(FileSourceMD5Test, ASectorAboveTheWorkBufferGivesNoDigest) {
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    Inspector::SetSectorSize(source, 2 << 20);
    EXPECT_EQ(DigestOf(source), Digest{});
}

TEST_F(FileSourceMD5Test, AFailedSeekLeavesTheDigestAllocatedAndZero) {
    Start();
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_SetFilePointer));
    uint8* digest = nullptr;
    int length = 0;
    EXPECT_EQ(source.GetMD5_check(1, digest, length), 0);
    ASSERT_NE(digest, nullptr);
    EXPECT_EQ(length, 16);
    EXPECT_EQ(std::vector<uint8>(digest, digest + 16), std::vector<uint8>(16));
    delete[] digest;
    EXPECT_EQ(Fed(), 0U);
}

TEST_F(FileSourceMD5Test, AFailedSeekOfTheCatchUpGivesNothing) {
    Start();
    source.Seek(5000, 1);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_SetFilePointer));
    EXPECT_TRUE(Read(10).empty());
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 0);
    EXPECT_EQ(Fed(), 0U);
}

TEST_F(FileSourceMD5Test, AShortPieceOfTheCatchUpIsShownAndTheReadGoesOn) {
    Start();
    source.Seek(5000, 1);
    FaultPlan plan;
    plan.Add(CutShort(Op::VXC_ReadFile, 60));
    LogCapture log;
    EXPECT_EQ(Read(10), Bytes(5000, 10));
    EXPECT_EQ(Fed(), 60U); // the gap stays, and nothing behind it is fed
    ASSERT_FALSE(log.Lines().empty());
    EXPECT_EQ(log.Lines().at(0).level, INFOTYPE_TRACE);
    EXPECT_EQ(DigestOf(source), Whole());
}

TEST_F(FileSourceMD5Test, AFailedPieceAtTheEndIsShownAndLeavesThePositionAtTheSize) {
    Start();
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_ReadFile));
    LogCapture log;
    EXPECT_NE(DigestOf(source), Whole());
    EXPECT_EQ(log.Texts().back(), L"injected error");
    EXPECT_EQ(Fed(), kSize);
}

TEST_F(FileSourceMD5Test, AJumpFarBeyondTheFileComesBack) {
    Start();
    source.Seek(int64{1} << 62, 1);
    EXPECT_TRUE(Read(10).empty());
    EXPECT_EQ(Fed(), kSize); // all there is
    EXPECT_EQ(DigestOf(source), Whole());
}

TEST_F(FileSourceMD5Test, AfterTheCloseThereIsNothingToReadTheRestFrom) {
    Start();
    EXPECT_EQ(source.GetFileSize(), kSize);
    source.CloseFile();
    EXPECT_EQ(DigestOf(source), Digest{}); // allocated, and zero
}

TEST_F(FileSourceMD5Test, EnableAgainStartsAtTheFilesBeginning) {
    Start();
    Read(5000);
    source.EnableMD5_Check(0);
    EXPECT_EQ(Fed(), 0U);
    source.BeginMD5_Check(0);
    EXPECT_EQ(DigestOf(source), Whole());
}
