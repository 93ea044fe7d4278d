// With read-ahead, what was read last stays in its block until that is left. The way back must not show it.
#include "FtpSourceFixture.h"

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kBlock = 65536;
constexpr uint64 kSize = 1048576;

class FtpSourceNotedTest : public FtpSourceFixture {
protected:
    static std::string Content(uint64 from, uint64 bytes) { return FtpScript::Pattern(bytes, 0, from); }
    void OpenAhead() {
        Transfer(std::to_string(kSize)).DSendPattern(kSize).DFin();
        Connect();
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        source->EnablePreRead(kBlock, 1000);
    }
    // The last `bytes` bytes once more.
    std::string Again(int bytes) {
        source->Seek(-bytes, kFromCurrent);
        return Read(bytes);
    }
};

} // namespace

TEST_F(FtpSourceNotedTest, ItOutlivesTheBlocks) {
    OpenAhead();
    EXPECT_EQ(Read(1000), Content(0, 1000));
    // Pointers into the blocks do not count for the way back, and leave the first block behind.
    uint8* data = nullptr;
    for (int at = 1000; at < 4 * kBlock; at += 1000) {
        ASSERT_EQ(source->ReadPtr(&data, 1000), 1000);
    }
    EXPECT_EQ(Again(1000), Content(0, 1000));
    ftp.Finish();
}

TEST_F(FtpSourceNotedTest, ItOutlivesTheReadAhead) {
    OpenAhead();
    EXPECT_EQ(Read(1000), Content(0, 1000));
    source->DisablePreRead();
    EXPECT_EQ(Again(1000), Content(0, 1000));
    ftp.Finish();
}

TEST_F(FtpSourceNotedTest, ASmallerReadLeavesTheRestOfALargerOneInTheBackBuffer) {
    OpenAhead();
    EXPECT_EQ(Read(1000), Content(0, 1000));
    EXPECT_EQ(Read(10), Content(1000, 10));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(Inspector::Back(*source)), 1000),
              Content(1000, 10) + Content(10, 990));
    ftp.Finish();
}
