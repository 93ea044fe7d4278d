// The digest that rides on a remote source's reads.
#include "sources/RemoteFixture.h"

#include "support/MemoryLack.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Inspector = RemoteSourceInspector;

namespace {

constexpr uint32 kWorkBuffer = 0x100000;

class RemoteMD5Test : public RemoteSourceFixture {
protected:
    void Start(uint32 flags = 0) {
        ASSERT_EQ(Open(flags), VXC_STATUS_OK);
        source.EnableMD5_Check(0);
        source.BeginMD5_Check(0);
        Calls();
    }
    uint64 Fed() { return Inspector::Inner(source).MD5State()->Position(); }
    Digest Whole() const { return DigestOf(content); }
};

} // namespace

TEST_F(RemoteMD5Test, WithoutAStateTheReferencesAreLeftAlone) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Calls();
    uint8 byte = 0;
    uint8* digest = &byte;
    int length = 5;
    EXPECT_EQ(source.GetMD5_check(1, digest, length), 0);
    EXPECT_EQ(digest, &byte);
    EXPECT_EQ(length, 5);
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(RemoteMD5Test, WithoutMemoryForTheDigestTheReferencesAreLeftAlone) {
    Start();
    uint8* digest = nullptr;
    int length = 5;
    const MemoryLack lack(1);
    EXPECT_EQ(source.GetMD5_check(1, digest, length), 0);
    EXPECT_TRUE(lack.Came());
    EXPECT_EQ(digest, nullptr);
    EXPECT_EQ(length, 5);
}

TEST_F(RemoteMD5Test, DigestOfAFileReadInOrderAsksTheObjectNothingMore) {
    Start();
    while (!Read(777).empty()) {
    }
    EXPECT_EQ(Fed(), kSize);
    Calls();
    EXPECT_EQ(DigestOf(source), Whole());
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(RemoteMD5Test, DigestCoversTheWholeFileWhateverWasRead) {
    for (const uint32 flags : {0U, uint32{VXC_FILE_FLAG_NO_BUFFERING}}) {
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

TEST_F(RemoteMD5Test, TheRestIsReadFromWhereTheDigestStandsAlsoUnbuffered) {
    for (const uint32 flags : {0U, uint32{VXC_FILE_FLAG_NO_BUFFERING}}) {
        Start(flags);
        Read(701);
        Calls();
        EXPECT_EQ(DigestOf(source), Whole());
        EXPECT_THAT(Calls(), ElementsAre("seek 701", "read 9299"));
    }
}

TEST_F(RemoteMD5Test, SkippedBytesAreReadInPiecesOfTheWorkBuffer) {
    const std::vector<uint8> big = Pattern(3 * kWorkBuffer, 5);
    companion.content = big;
    Start();
    source.Seek(5 * (kWorkBuffer / 2) + 1, 1);
    Read(10);
    EXPECT_THAT(Calls(), ElementsAre("seek 0", "read 1048576", "read 1048576", "read 524289", "seek 2621441",
                                     "read 10"));
    EXPECT_EQ(Fed(), 2621451U);
    EXPECT_EQ(DigestOf(source), DigestOf(big));
    EXPECT_THAT(Calls(), ElementsAre("seek 2621451", "read 524277"));
}

TEST_F(RemoteMD5Test, ABackwardJumpFeedsNothing) {
    Start();
    Read(1000);
    source.Seek(100, 1);
    Read(200);
    EXPECT_EQ(Fed(), 1000U);
    Read(1000); // 300 to 1300: the last 300 are new
    EXPECT_EQ(Fed(), 1300U);
    EXPECT_EQ(DigestOf(source), Whole());
}

TEST_F(RemoteMD5Test, NothingIsFedBeforeBeginAndAfterStop) {
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

// ---- Failures ----

TEST_F(RemoteMD5Test, AFailedSeekOfTheCatchUpGivesNothing) {
    for (const bool throws : {false, true}) {
        Start();
        source.Seek(5000, 1);
        companion.Break("seek", throws);
        EXPECT_TRUE(Read(10).empty());
        EXPECT_THAT(Calls(), ElementsAre("seek 0"));
        EXPECT_EQ(Fed(), 0U);
    }
}

TEST_F(RemoteMD5Test, AFailedSeekLeavesTheDigestAllocatedAndZero) {
    Start();
    companion.Break("seek", false);
    uint8* digest = nullptr;
    int length = 0;
    EXPECT_EQ(source.GetMD5_check(1, digest, length), 0);
    ASSERT_NE(digest, nullptr);
    EXPECT_EQ(length, 16);
    EXPECT_EQ(std::vector<uint8>(digest, digest + 16), std::vector<uint8>(16));
    delete[] digest;
    EXPECT_EQ(Fed(), 0U);
}

TEST_F(RemoteMD5Test, AfterTheCloseThereIsNothingToReadTheRestFrom) {
    Start();
    source.CloseFile();
    EXPECT_EQ(DigestOf(source), Digest{}); // allocated, and zero
}

TEST_F(RemoteMD5Test, AShortPieceOfTheCatchUpIsShownAndTheReadGoesOn) {
    Start();
    source.Seek(5000, 1);
    companion.told = [](uint32 bytes, uint32 got) { return bytes == 5000 ? 60 : got; };
    LogCapture log;
    EXPECT_EQ(Read(10), Bytes(5000, 10));
    EXPECT_EQ(Fed(), 60U); // the gap stays, and nothing behind it is fed
    ASSERT_EQ(log.Lines().size(), 1U);
    EXPECT_EQ(log.Lines()[0].level, INFOTYPE_TRACE);
    companion.told = {};
    EXPECT_EQ(DigestOf(source), Whole());
}

TEST_F(RemoteMD5Test, AServerThatGivesNothingIsAskedOnceForTheDigest) {
    companion.content = Pattern(5 * kWorkBuffer, 5);
    Start();
    source.Seek(4 * kWorkBuffer, 1);
    companion.Break("read", false, 1, true);
    LogCapture log;
    EXPECT_TRUE(Read(10).empty());
    EXPECT_THAT(Calls(), ElementsAre("seek 0", "read 1048576", "seek 4194304", "read 10"));
    EXPECT_EQ(Fed(), 0U);
    EXPECT_EQ(log.Lines().size(), 1U);
    EXPECT_NE(DigestOf(source), DigestOf(companion.content));
    EXPECT_THAT(Calls(), ElementsAre("seek 0", "read 1048576"));
    EXPECT_EQ(Fed(), 5U * kWorkBuffer); // as after a file that was read whole
    EXPECT_EQ(log.Lines().size(), 2U);
}

TEST_F(RemoteMD5Test, AJumpFarBeyondTheFileComesBack) {
    Start();
    source.Seek(int64{1} << 62, 1);
    EXPECT_TRUE(Read(10).empty());
    EXPECT_EQ(Fed(), kSize); // all there is
    EXPECT_EQ(DigestOf(source), Whole());
}

TEST_F(RemoteMD5Test, ASizeThatIsNotThereComesBack) {
    companion.size = ~uint64{0};
    Start();
    DigestOf(source);
    EXPECT_EQ(Fed(), ~uint64{0});
    EXPECT_EQ(Calls().size(), 3U); // a seek, the file, and nothing
}

TEST_F(RemoteMD5Test, ACountAboveThePieceFeedsThePieceAlone) {
    Start();
    source.Seek(5000, 1);
    companion.told = [](uint32, uint32) { return 0xFFFFFFFFU; };
    EXPECT_EQ(Read(10), Bytes(5000, 10));
    EXPECT_EQ(Fed(), 5010U);
    EXPECT_EQ(DigestOf(source), Whole());
}

TEST_F(RemoteMD5Test, EnableAgainStartsAtTheFilesBeginning) {
    Start();
    Read(5000);
    source.EnableMD5_Check(0);
    EXPECT_EQ(Fed(), 0U);
    source.BeginMD5_Check(0);
    EXPECT_EQ(DigestOf(source), Whole());
}
