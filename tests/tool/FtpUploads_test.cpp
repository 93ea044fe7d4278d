// vxcio copy to FTP servers that stand still, refuse, or leave it open what they have done.
#include "real/posix/FtpServers.h"
#include "real/posix/LocalPorts.h"
#include "support/Bounded.h"
#include "support/Gate.h"
#include "support/TempFolder.h"
#include "tool/OddFtpServer.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

using namespace vxcio::test;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr std::size_t kBlock = 16 << 20; // far more than the system keeps on the way

// Its main thread has found nothing to do for a while. Where it is busy for good, the test takes longer.
void WaitUntilAsleep(pid_t process) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    for (int looks = 0; looks < 200 && std::chrono::steady_clock::now() < end;) {
        std::ifstream file("/proc/" + std::to_string(process) + "/stat");
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        looks = text.find(") S ") != std::string::npos ? looks + 1 : 0;
    }
}

class ToolFtpUploadTest : public testing::Test {
protected:
    Outcome Run(const std::vector<std::string>& words) const {
        return RunTool(words, {.folder = m_Folder.Path().string()});
    }
    static std::string Text(std::size_t bytes) {
        const std::vector<uint8> pattern = Pattern(bytes, 9);
        return {pattern.begin(), pattern.end()};
    }

    TempFolder m_Folder;
};

} // namespace

// ---- Broken off ----

TEST_F(ToolFtpUploadTest, TheWishToStopBetweenTwoBlocksEndsTheUploadBehindTheOneThatGoesOut) {
    Gate within;
    Gate before;
    const OddFtpServer from(
        {.files = {{"clip", Text(2 * kBlock + 1)}}, .withinFile = &within, .gateAt = kBlock});
    const OddFtpServer to({.files = {{"to", "as before"}}, .beforeUpload = &before});
    ToolProcess tool({ToolName(), "copy", "--block", "16M", from.Url("clip"), to.Url("to")}, {});
    ASSERT_TRUE(within.WaitUntilReached());
    ASSERT_TRUE(before.WaitUntilReached()); // by a byte of the first block
    tool.Signal(SIGINT);
    within.Open();
    before.Open();
    const Outcome outcome = tool.Finish();
    EXPECT_EQ(outcome.exitCode, 130) << outcome.error;
    EXPECT_EQ(outcome.out, "");
    // The server has the file when the connection has ended: the first block, and the second one where that
    // was being read.
    const std::string part = to.Files().at("to.vxcio-part");
    EXPECT_TRUE(part == Text(part.size()));
    EXPECT_THAT(part.size(), testing::AnyOf(kBlock, 2 * kBlock));
    EXPECT_THAT(outcome.error,
                AllOf(HasSubstr("was interrupted"),
                      HasSubstr(to.Shown("to.vxcio-part") +
                                (part.size() == kBlock ? "' holds 16,777,216" : "' holds 33,554,432"))));
    EXPECT_EQ(to.Files().at("to"), "as before");
}

TEST_F(ToolFtpUploadTest, TheWishToStopEndsAWaitForAServerThatTakesNothing) {
    for (const std::size_t bytes : {kBlock, 3 * kBlock}) { // at the end, and at a block
        Gate before;
        const OddFtpServer to({.beforeUpload = &before});
        m_Folder.Write("from", Text(bytes));
        ToolProcess tool(
            {ToolName(), "copy", "--time-out", "5000", "--block", "16M", m_Folder.Name("from"), to.Url("")},
            {});
        ASSERT_TRUE(before.WaitUntilReached());
        WaitUntilAsleep(tool.Id());
        tool.Signal(SIGINT);
        const Outcome outcome = tool.Finish();
        EXPECT_EQ(outcome.exitCode, 130) << outcome.error;
        EXPECT_THAT(outcome.error, HasSubstr("the copy to '" + to.Shown("from") + "' was interrupted"));
    }
}

TEST_F(ToolFtpUploadTest, ASourceThatEndsEarlyLeavesWhatItGave) {
    const OddFtpServer from({.files = {{"clip", Text(300'000)}}, .sendsMost = 100'000});
    const OddFtpServer to({.files = {{"to", "as before"}}});
    const Outcome outcome = Run({"copy", from.Url("clip"), to.Url("to")});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.error, AllOf(HasSubstr("only 100,000 of 300,000 bytes could be read"),
                                     HasSubstr(to.Shown("to.vxcio-part") + "' holds 100,000 bytes")));
    EXPECT_TRUE(to.Files().at("to.vxcio-part") == Text(100'000));
    EXPECT_EQ(to.Files().at("to"), "as before");
    const OddFtpServer other({.files = {{"to", "as before"}}});
    EXPECT_EQ(Run({"copy", "--discard", from.Url("clip"), other.Url("to")}).exitCode, 1);
    EXPECT_EQ(other.Files(), (std::map<std::string, std::string>{{"to", "as before"}}));
}

TEST_F(ToolFtpUploadTest, AServerThatStopsInMidUploadCostsTheTimeThatIsTold) {
    FtpServer server(FtpServer::Kind::PyFtpdLib);
    VXC_NEEDS_FTP_SERVER(server);
    const SparseFile from(m_Folder, "from", uint64{6} << 30); // of which the server gets but a start
    std::string name = server.Url("to");
    name.insert(6, server.User() + ":" + server.Password() + "@");
    ToolProcess up({ToolName(), "copy", "--time-out", "1000", m_Folder.Name("from"), name}, {});
    const auto start = std::chrono::steady_clock::now();
    // The file is there before the server has said so.
    while (server.Size("to.vxcio-part") == 0 && std::chrono::steady_clock::now() - start < kHangLimit) {
        std::this_thread::yield();
    }
    server.Stop();
    const auto stopped = std::chrono::steady_clock::now();
    const Outcome outcome = up.Finish();
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.error,
                AllOf(HasSubstr("cannot write '"), HasSubstr("the server does not answer within 1000 ms"),
                      HasSubstr("to.vxcio-part' cannot be told")));
    EXPECT_LT(std::chrono::steady_clock::now() - stopped, std::chrono::seconds(12));
}

// ---- The name ----

TEST_F(ToolFtpUploadTest, AServerThatMayNotBeAskedForANewNameKeepsTheFormerFile) {
    const OddFtpServer server({.files = {{"to", "as before"}}, .replies = {{"RNFR", "550 no"}}});
    m_Folder.Write("from", "new");
    const Outcome outcome = Run({"copy", "from", server.Url("to")});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error, AllOf(HasSubstr("cannot get its name"), HasSubstr("550 no"),
                                     HasSubstr("to.vxcio-part' holds 3 bytes")));
    EXPECT_EQ(server.Files(),
              (std::map<std::string, std::string>{{"to", "as before"}, {"to.vxcio-part", "new"}}));
}

// Nobody knows whether the name was given.
TEST_F(ToolFtpUploadTest, WhereTheLastWordOnTheNewNameIsMissingNothingIsDeleted) {
    for (const char* const reply : {"150 soon", "350 once more", "421 good bye"}) {
        const OddFtpServer server({.files = {{"to", "as before"}}, .answers = {{"RNTO", reply}}});
        m_Folder.Write("from", "new");
        const Outcome outcome = Run({"copy", "from", server.Url("to")});
        EXPECT_EQ(outcome.exitCode, 4);
        EXPECT_THAT(outcome.error, AllOf(HasSubstr("cannot get its name"), HasSubstr(std::string(reply, 4))));
        EXPECT_EQ(server.Files(), (std::map<std::string, std::string>{{"to", "new"}}));
        EXPECT_THAT(server.Commands(), Not(Contains(StartsWith("DELE")))) << reply;
    }
}

// The library waits for 15 seconds.
TEST_F(ToolFtpUploadTest, WhereTheNewNameIsNotAnsweredNothingIsDeleted) {
    const OddFtpServer server({.files = {{"to", "as before"}}, .answers = {{"RNTO", ""}}});
    m_Folder.Write("from", "new");
    const Outcome outcome = Run({"copy", "from", server.Url("to")});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error, HasSubstr("cannot get its name: the server does not answer"));
    EXPECT_EQ(server.Files(), (std::map<std::string, std::string>{{"to", "new"}}));
    EXPECT_THAT(server.Commands(), Not(Contains(StartsWith("DELE"))));
}

TEST_F(ToolFtpUploadTest, AnAnswerToTheQuestionForTheSizeThatMakesNoSenseIsToldAndNothingSent) {
    const OddFtpServer server(
        {.files = {{"to", "as before"}}, .replies = {{"RETR to.vxcio-part", "150 x (100)"}}});
    m_Folder.Write("from", "new");
    const Outcome outcome = Run({"copy", "from", server.Url("to")});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error, HasSubstr("150 x (100)"));
    EXPECT_THAT(server.Commands(), Not(Contains(StartsWith("STOR"))));
    EXPECT_EQ(server.Files(), (std::map<std::string, std::string>{{"to", "as before"}}));
}

TEST_F(ToolFtpUploadTest, DevicesGetAFileUnderItsOwnNameAtOnce) {
    const std::string address = AddressForActive();
    if (address.empty()) {
        GTEST_SKIP() << "this machine has only the loopback interface";
    }
    const std::string from = m_Folder.Write("from", "new");
    const OddFtpServer good({.files = {{"to", "as before"}}, .address = address});
    const OddFtpServer cutting({.files = {{"to", "as before"}}, .keepsMost = 1, .address = address});
    // At one time, as each reply costs 300 ms in this mode.
    ToolProcess copied({ToolName(), "copy", "--mode", "exploded", from, good.Url("to")}, {});
    ToolProcess cut({ToolName(), "copy", "--mode", "exploded", "--discard", from, cutting.Url("to")}, {});
    const Outcome outcome = copied.Finish();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(good.Files(), (std::map<std::string, std::string>{{"to", "new"}}));
    EXPECT_THAT(good.Commands(), AllOf(Contains("USER MOVIE"), Contains("STOR /explodedFile/EXT:/to"),
                                       Not(Contains(StartsWith("RNFR"))), Not(Contains("PASV"))));
    EXPECT_EQ(cut.Finish().exitCode, 4);
    EXPECT_TRUE(cutting.Files().empty());
    EXPECT_THAT(cutting.Commands(), Contains("DELE /explodedFile/EXT:/to"));
}

// ---- Blocks ----

TEST_F(ToolFtpUploadTest, BlocksHaveTheSizeThatIsAskedFor) {
    const OddFtpServer server({.takesMost = 1000});
    m_Folder.Write("from", Text(10'000'000));
    const Outcome outcome = Run({"copy", "--block", "3000000", "from", server.Url("to")});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error, HasSubstr(" of 3,000,000 bytes"));
}
