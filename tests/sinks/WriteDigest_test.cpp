// The digest that rides on what is written: each byte once, in order, from the file's start.
#include "sinks/HostSinkFixture.h"

#include <algorithm>
#include <memory>
#include <optional>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class WriteDigestTest : public HostSinkFixture, public ::testing::WithParamInterface<WritePath> {
protected:
    void Start() {
        ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
        ASSERT_EQ(sink.EnableMD5_Check(0), 1);
        ASSERT_EQ(sink.BeginMD5_Check(0), 1);
    }
    // Nothing where there is no check.
    std::optional<Digest> Told() {
        uint8* bytes = nullptr;
        int length = -1;
        EXPECT_EQ(sink.GetMD5_check(0, bytes, length), 0);
        if (bytes == nullptr) {
            EXPECT_EQ(length, -1);
            return std::nullopt;
        }
        const std::unique_ptr<uint8[]> owned(bytes);
        EXPECT_EQ(length, 16);
        Digest digest;
        std::copy_n(bytes, digest.size(), digest.begin());
        return digest;
    }
    uint64 Fed() { return Inspector::Inner(sink).MD5State()->Position(); }
};

INSTANTIATE_TEST_SUITE_P(Sinks, WriteDigestTest, ::testing::ValuesIn(kWritePaths),
                         [](const auto& param) { return param.param.name; });

} // namespace

TEST_P(WriteDigestTest, ItIsThatOfAllBytesWhateverTheirPieces) {
    Start();
    const auto content = Pattern(3 * kNode + 77, 1);
    std::size_t at = 0;
    for (const std::size_t piece :
         {std::size_t{1}, std::size_t{511}, std::size_t{700}, std::size_t{2 * kNode}, content.size()}) {
        const auto bytes = Slice(content, at, std::min(piece, content.size() - at));
        EXPECT_EQ(Write(bytes), static_cast<int>(bytes.size()));
        at += bytes.size();
        EXPECT_EQ(Fed(), at);
    }
    ASSERT_EQ(at, content.size());
    EXPECT_EQ(Told(), DigestOf(content));
}

TEST_P(WriteDigestTest, AFlushBetweenTwoWritesChangesNothing) {
    Start();
    const auto content = Pattern(5000, 1);
    EXPECT_EQ(Write(Slice(content, 0, 700)), 700);
    EXPECT_EQ(sink.Seek(0, 1), 0);
    std::vector<uint8> head(700);
    EXPECT_EQ(sink.ReadBack(head.data(), 700), 700);
    EXPECT_EQ(head, Slice(content, 0, 700));
    EXPECT_EQ(Write(Slice(content, 700, 4300)), 4300); // the sector that is taken up is not fed again
    EXPECT_EQ(Told(), DigestOf(content));
}

TEST_P(WriteDigestTest, RewritingBytesThatItHadDropsItWhole) {
    Start();
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    sink.Seek(999, 1);
    EXPECT_EQ(Write(Pattern(10, 2)), 10);
    EXPECT_EQ(Inspector::Inner(sink).MD5State(), nullptr);
    EXPECT_EQ(Inspector::Inner(sink).RunningMD5State(), nullptr);
    EXPECT_EQ(Told(), std::nullopt);
    EXPECT_EQ(sink.EnableMD5_Check(0), 1); // and it does not go on by itself
    EXPECT_EQ(Inspector::Inner(sink).RunningMD5State(), nullptr);
}

TEST_P(WriteDigestTest, BytesBehindAGapAreNotForIt) {
    Start();
    const auto head = Pattern(1000, 1);
    EXPECT_EQ(Write(head), 1000);
    sink.Seek(1001, 1);
    EXPECT_EQ(Write(Pattern(10, 2)), 10);
    EXPECT_EQ(Write(Pattern(kNode, 2)), static_cast<int>(kNode));
    EXPECT_EQ(Fed(), 1000U);
    sink.Seek(1000, 1); // fills the gap
    EXPECT_EQ(Write(Pattern(1, 3)), 1);
    EXPECT_EQ(Fed(), 1001U);
    auto content = head;
    content.push_back(Pattern(1, 3)[0]);
    EXPECT_EQ(Told(), DigestOf(content));
}

TEST_P(WriteDigestTest, WhileItDoesNotRunNothingIsFedAndNothingDropped) {
    Start();
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    EXPECT_EQ(sink.StopMD5_Check(0), 1);
    EXPECT_EQ(Write(Pattern(1000, 2)), 1000);
    sink.Seek(0, 1);
    EXPECT_EQ(Write(Pattern(10, 3)), 10);
    EXPECT_EQ(Fed(), 1000U);
    EXPECT_EQ(Told(), DigestOf(Pattern(1000, 1)));
}

TEST_P(WriteDigestTest, BytesOfAWriteThatFailsAreFedFirst) {
    Start();
    host.Fail(HostFunction::Write, 112);
    Write(Pattern(1000, 1));
    EXPECT_EQ(Fed(), 1000U);
}

TEST_P(WriteDigestTest, BytesThatAreNotTakenInAreNotFed) {
    Start();
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    EXPECT_EQ(sink.Write(nullptr, 10, nullptr), 0);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(10, 2)), 0);
    EXPECT_EQ(Fed(), 1000U);
    EXPECT_EQ(Told(), DigestOf(Pattern(1000, 1))); // stays after the close
}

// Without a ring the rule is asked for each write, with one for each piece that is taken in.
TEST_P(WriteDigestTest, AnEmptyWriteInARunIsNoPieceForTheRing) {
    Start();
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    EXPECT_EQ(sink.StopMD5_Check(0), 1);
    sink.Seek(0, 1);
    EXPECT_EQ(Write(Pattern(10, 2)), 10);
    EXPECT_EQ(sink.BeginMD5_Check(0), 1);
    EXPECT_EQ(Write({}), 0);
    EXPECT_EQ(Inspector::Inner(sink).MD5State() == nullptr, GetParam().bufferBytes == 0);
}
