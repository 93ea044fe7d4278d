// The digest that a sink gives out.
#include "sinks/SinkFixture.h"
#include "support/SettingsScope.h"

using namespace vxcio;
using namespace vxcio::test;

namespace {

class WriteFileGetMD5Test : public SinkFixture {
protected:
    // Empty where the sink gives none; it must leave its arguments alone then.
    std::vector<uint8> GetDigest() {
        uint8 mark = 0;
        uint8* digest = &mark;
        int length = 7;
        EXPECT_EQ(sink.GetMD5_check(1, digest, length), 0);
        if (digest == &mark) {
            EXPECT_EQ(length, 7);
            return {};
        }
        EXPECT_EQ(length, 16);
        const std::vector<uint8> copy(digest, digest + length);
        delete[] digest; // it is the caller's
        return copy;
    }
    static std::vector<uint8> Expected(const std::vector<uint8>& bytes) {
        const Digest digest = DigestOf(bytes);
        return {digest.begin(), digest.end()};
    }

    SettingsScope settings;
};

} // namespace

TEST_F(WriteFileGetMD5Test, WithoutACheckThereIsNone) {
    EXPECT_TRUE(GetDigest().empty());
    ASSERT_EQ(Open(0), VXC_STATUS_OK);
    EXPECT_EQ(sink.BeginMD5_Check(0), 1);
    EXPECT_EQ(Write(Pattern(100, 1)), 100);
    EXPECT_TRUE(GetDigest().empty());
}

TEST_F(WriteFileGetMD5Test, OfACheckThatSawNothingItIsThatOfNothing) {
    EXPECT_EQ(sink.EnableMD5_Check(0), 1);
    EXPECT_EQ(GetDigest(), Expected({}));
}

TEST_F(WriteFileGetMD5Test, ItIsThatOfWhatWasWrittenAlsoAfterTheClose) {
    for (const WritePath& path : kWritePaths) {
        ASSERT_EQ(Open(path), VXC_STATUS_OK);
        EXPECT_EQ(sink.EnableMD5_Check(0), 1);
        EXPECT_EQ(sink.BeginMD5_Check(0), 1);
        EXPECT_EQ(Write(Pattern(700'001, 5)), 700'001);
        sink.CloseFile();
        EXPECT_EQ(GetDigest(), Expected(Pattern(700'001, 5))) << path.name;
        sink.Close();
        EXPECT_TRUE(GetDigest().empty());
    }
}

TEST_F(WriteFileGetMD5Test, ReadingBackFeedsNothing) {
    ASSERT_EQ(Open(0), VXC_STATUS_OK);
    sink.EnableMD5_Check(0);
    sink.BeginMD5_Check(0);
    EXPECT_EQ(Write(Pattern(1000, 5)), 1000);
    sink.Seek(0, 1);
    EXPECT_EQ(ReadBack(1000), Pattern(1000, 5));
    EXPECT_EQ(GetDigest(), Expected(Pattern(1000, 5)));
}

TEST_F(WriteFileGetMD5Test, OfBytesThatAreWrittenAnewThereIsNone) {
    ASSERT_EQ(Open(0), VXC_STATUS_OK);
    sink.EnableMD5_Check(0);
    sink.BeginMD5_Check(0);
    EXPECT_EQ(Write(Pattern(1000, 5)), 1000);
    sink.Seek(999, 1);
    EXPECT_EQ(Write(Pattern(1, 5)), 1);
    EXPECT_TRUE(GetDigest().empty());
}
