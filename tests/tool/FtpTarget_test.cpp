// The parts of an upload that need no process: when the connection ends, and which size is the right one.
#include "support/Gate.h"
#include "tool/OddFtpServer.h"

#include "FtpTarget.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>

using namespace vxcio;
using namespace vxcio::test;
using namespace vxcio::tool;

namespace {

constexpr std::size_t kBlock = 16 << 20; // far more than the system keeps on the way

std::optional<uint32> NobodyAsks() {
    ADD_FAILURE() << "the listing does not decide here";
    return std::nullopt;
}

} // namespace

TEST(ToolFtpTargetTest, AnUploadThatIsAbandonedEndsBehindTheBlockThatIsUnderWay) {
    Gate gate;
    const OddFtpServer server({.beforeUpload = &gate});
    LogView log(false, std::nullopt, INFOTYPE_TRACE);
    std::vector<std::string> said;
    log.Listen([&](INFOTYPE, std::string_view line) { said.emplace_back(line); });
    std::string reason;
    CopyJob job;
    job.target = server.Shown("to");
    job.place = "to";
    job.ftp = std::make_shared<const FtpName>(ParseFtpName(server.Url("to"), reason).value());
    job.part = "to.vxcio-part";
    const Options options;
    const std::unique_ptr<FtpTarget> target = FtpTarget::Open(job, options, log, reason);
    ASSERT_TRUE(target) << reason;
    const std::vector<uint8> block(kBlock, 7);
    ASSERT_TRUE(target->Write(block.data(), kBlock));
    ASSERT_TRUE(gate.WaitUntilReached());
    std::promise<void> begun;
    auto abandoning = std::async(std::launch::async, [&] {
        begun.set_value();
        return target->Abandon();
    });
    begun.get_future().wait();
    gate.Open();
    EXPECT_EQ(abandoning.get().bytes, kBlock);
    log.Listen(nullptr);
    EXPECT_EQ(server.Files().at("to.vxcio-part"), std::string(kBlock, 7));
    // The sink hears what became of the file before the session ends.
    const auto stored = std::find(said.begin(), said.end(), "226 stored\n");
    EXPECT_NE(stored, said.end());
    EXPECT_EQ(std::find(said.begin(), stored, "QUIT\r\n"), stored);
}

TEST(ToolFtpTargetTest, AFileOfTheSizeThatWasSentIsWhole) {
    for (const uint64 size : {uint64{0}, uint64{5000}, uint64{1} << 32, (uint64{5} << 32) + 1}) {
        EXPECT_EQ(SizeTrouble(size, size, NobodyAsks), "") << size;
    }
    EXPECT_EQ(SizeTrouble(5000, 1000, NobodyAsks), "the server holds 1,000 bytes instead of 5,000");
    EXPECT_EQ(SizeTrouble(0, 1000, NobodyAsks), "the server holds 1,000 bytes instead of 0");
    EXPECT_NE(SizeTrouble((uint64{1} << 32) + 5, 5, NobodyAsks), "");
}

TEST(ToolFtpTargetTest, WithoutASizeAListingTellsThatOfFilesBelow4GiB) {
    const auto lists = [](std::optional<uint32> size) { return [size] { return size; }; };
    EXPECT_EQ(SizeTrouble(5000, 0, lists(5000)), "");
    EXPECT_EQ(SizeTrouble(UINT32_MAX, 0, lists(UINT32_MAX)), "");
    EXPECT_EQ(SizeTrouble(5000, 0, lists(0)), "the server holds 0 bytes instead of 5,000");
    EXPECT_NE(SizeTrouble(5000, 0, lists(std::nullopt)), "");
}

TEST(ToolFtpTargetTest, WithoutASizeNoneOf4GiBOrMoreIsKnown) {
    EXPECT_EQ(SizeTrouble(uint64{1} << 32, 0, NobodyAsks),
              "the server tells no size, and a listing none of 4 GiB or more: whether it holds all "
              "4,294,967,296 bytes cannot be known");
    EXPECT_NE(SizeTrouble((uint64{1} << 32) + 5, 0, NobodyAsks), "");
}
