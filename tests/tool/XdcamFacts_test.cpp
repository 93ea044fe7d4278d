// vxcio xdcam info and space: what a device tells, and what it does not tell.
#include "tool/XdcamDevice.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>

using namespace vxcio::test;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::vector<std::string> kLines = {"clip", "more", "IMX40", "59.94i", " 8 ch", "2904 fr"};

std::string Reply(const std::vector<std::string>& lines) {
    std::string reply = "213-status";
    for (const std::string& line : lines) {
        reply += "\r\n" + line;
    }
    return reply + "\r\n213 end";
}

class ToolXdcamFactsTest : public ToolXdcamTest {
protected:
    // Of a clip for which the device says this.
    json Info(const std::string& reply) const {
        const OddFtpServer server(Ways({.replies = {{"STAT clip", reply}}}));
        const Outcome outcome = Run("info", {"--json", server.Url("clip")});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
        const json all = json::parse(outcome.out);
        EXPECT_EQ(all.size(), 1u);
        EXPECT_EQ(all[0]["name"], server.Shown("clip"));
        return all[0];
    }
    Outcome Space(const OddFtpServer::Ways& ways, const std::vector<std::string>& words = {}) const {
        const OddFtpServer server(Ways(ways));
        std::vector<std::string> all = {server.Url("")};
        all.insert(all.end(), words.begin(), words.end());
        return Run("space", all);
    }
    void ExpectNoSpace(const OddFtpServer::Ways& ways, const std::string& reason,
                       const std::vector<std::string>& words = {}) const {
        const Outcome outcome = Space(ways, words);
        EXPECT_EQ(outcome.exitCode, 1) << reason;
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.error, HasSubstr(reason));
    }
};

} // namespace

TEST_F(ToolXdcamFactsTest, AClipIsToldFactByFact) {
    const OddFtpServer server(Ways({.replies = {{"STAT clip", Reply(kLines)}}}));
    const Outcome outcome = Run("info", {server.Url("clip")});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.out, server.Shown("clip") + "\n"
                                                  "  video    3 (IMX)\n"
                                                  "  rate     29.97 (30000/1001) frames a second\n"
                                                  "  sound    8 channels of 16 bits\n"
                                                  "  frames   2,904\n"
                                                  "  length   0:01:36.897\n");
    EXPECT_THAT(server.Commands(), testing::Contains("STAT clip"));
    const json facts = Info(Reply(kLines));
    EXPECT_EQ(facts["videoType"], 3);
    EXPECT_EQ(facts["videoTypeText"], "IMX");
    EXPECT_EQ(facts["rate"], 30000);
    EXPECT_EQ(facts["scale"], 1001);
    EXPECT_NEAR(facts["framesPerSecond"].get<double>(), 29.97, 0.001);
    EXPECT_EQ(facts["channels"], 8);
    EXPECT_EQ(facts["bitsPerSample"], 16);
    EXPECT_EQ(facts["frames"], 2904);
    EXPECT_DOUBLE_EQ(facts["seconds"].get<double>(), 96.897);
    EXPECT_EQ(facts["notTold"], json::array());
}

TEST_F(ToolXdcamFactsTest, EachKindOfVideoHasItsWord) {
    const std::vector<std::pair<std::string, std::string>> kinds = {
        {"IMX50", "3 (IMX)"}, {"MXF  DV25", "6 (DV)"}, {"  MPEG2HD50CBR_1920_1080_422P@HL", "2 (MPEG HD)"}};
    for (const auto& [line, word] : kinds) {
        const OddFtpServer server(
            Ways({.replies = {{"STAT clip", Reply({"", "", line, "24p", "1 ch", "86400"})}}}));
        EXPECT_THAT(Run("info", {server.Url("clip")}).out,
                    AllOf(HasSubstr("  video    " + word + "\n"),
                          HasSubstr("  rate     24 frames a second\n"), HasSubstr("  sound    1 channel of "),
                          HasSubstr("  length   1:00:00.000\n")));
    }
}

TEST_F(ToolXdcamFactsTest, FactsThatTheDeviceDoesNotTellAreNamedAndNotMadeUp) {
    const std::vector<std::string> facts = {"videoType", "rate", "channels", "frames"};
    for (std::size_t lines = 3; lines < kLines.size(); ++lines) {
        const json told = Info(Reply({kLines.begin(), kLines.begin() + static_cast<std::ptrdiff_t>(lines)}));
        const auto missing = static_cast<std::ptrdiff_t>(lines) - 2;
        EXPECT_EQ(told["notTold"], json(std::vector<std::string>(facts.begin() + missing, facts.end())));
        for (std::size_t i = 0; i < facts.size(); ++i) {
            EXPECT_EQ(told.contains(facts[i]), static_cast<std::ptrdiff_t>(i) < missing) << lines << facts[i];
        }
        EXPECT_FALSE(told.contains("seconds"));
    }
    // A clip has no number of frames below zero.
    EXPECT_EQ(Info(Reply({"", "", "IMX50", "50i", "4", "-7"}))["notTold"], json::array({"frames"}));
    // Numbers at the start of a line make no end of the reply.
    EXPECT_EQ(Info(Reply({"213-", "550 x", "999 y", "50i", "100 ch", "200 frames"}))["frames"], 200);
    const OddFtpServer server(Ways({.replies = {{"STAT clip", Reply({"", "", "IMX50"})}}}));
    const Outcome outcome = Run("info", {server.Url("clip")});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.out, server.Shown("clip") + "\n"
                                                  "  video    3 (IMX)\n"
                                                  "  rate     the device does not tell it\n"
                                                  "  sound    the device does not tell it\n"
                                                  "  frames   the device does not tell it\n"
                                                  "  length   not known\n");
}

TEST_F(ToolXdcamFactsTest, AReplyThatTellsNothingOfAClipIsARefusal) {
    const std::vector<std::pair<std::string, std::string>> replies = {
        {"550 no such clip", "the server says '550 no such clip'"},
        {"213 busy", "the server says no more than '213 busy'"},
        {Reply({}), "the server says no more than '213 end'"},
        {Reply({"a", "b"}), "the server says no more than '213 end'"},
        {"550-first\r\n\r\n\r\nIMX40\r\n50i\r\n8\r\n100\r\n550 last", "the server says '550 last'"},
        {"421 I am tired", "421"},
        {"213-first\r\na\r\nb\r\nIMX40\r\n421 I am tired", "421"}};
    for (const auto& [reply, reason] : replies) {
        const OddFtpServer server(Ways({.replies = {{"STAT", reply}}}));
        const Outcome outcome = Run("info", {server.Url("clip"), "--json"});
        EXPECT_EQ(outcome.exitCode, 1) << reply;
        EXPECT_THAT(outcome.error,
                    AllOf(HasSubstr("xdcam info: '" + server.Shown("clip")), HasSubstr(reason)));
        const json all = json::parse(outcome.out);
        EXPECT_THAT(all[0]["error"].get<std::string>(), HasSubstr(reason));
        EXPECT_FALSE(all[0].contains("videoType"));
    }
}

TEST_F(ToolXdcamFactsTest, OneClipThatIsRefusedDoesNotKeepTheOthersFromBeingTold) {
    const OddFtpServer server(
        Ways({.replies = {{"STAT a", Reply(kLines)}, {"STAT b", "550 none"}, {"STAT c", Reply(kLines)}}}));
    const Outcome outcome = Run("info", {server.Url("a"), server.Url("b"), server.Url("c"), server.Url("")});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr(server.Shown("a")), HasSubstr(server.Shown("c")),
                                   Not(HasSubstr(server.Shown("b")))));
    EXPECT_THAT(outcome.error, AllOf(HasSubstr("550 none"), HasSubstr("it names a folder")));
    const std::vector<std::string> commands = server.Commands();
    EXPECT_EQ(std::count(commands.begin(), commands.end(), "USER norvex"), 1); // all in one session
}

TEST_F(ToolXdcamFactsTest, ADeviceThatFallsSilentCostsTheTimeThatIsTold) {
    for (const char* const reply : {"", "213-first\r\na"}) {
        const OddFtpServer server(Ways({.replies = {{"STAT", reply}}}));
        const Outcome outcome = Run("info", {"--time-out", "1000", server.Url("clip")});
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.error, HasSubstr("does not answer within 1000 ms"));
    }
    ExpectNoSpace({.replies = {{"SITE", ""}}}, "does not answer within 1000 ms", {"--time-out", "1000"});
    Gate gate;
    ExpectNoSpace({.reports = {{"SITE DF", "others 5 "}}, .withinFile = &gate},
                  "does not answer within 1000 ms", {"--time-out", "1000"});
}

TEST_F(ToolXdcamFactsTest, TheWishToStopEndsAWaitForADevice) {
    for (const char* const command : {"STAT", "SITE"}) {
        const bool isInfo = command == std::string("STAT");
        const OddFtpServer server(Ways({.replies = {{command, ""}}}));
        std::vector<std::string> words = Words(isInfo ? "info" : "space", {server.Url(isInfo ? "clip" : "")});
        words.insert(words.begin(), ToolName());
        ToolProcess tool(words, {});
        ASSERT_TRUE(server.WaitFor(isInfo ? "STAT clip" : "SITE DF"));
        tool.Signal(SIGINT);
        EXPECT_EQ(tool.Finish().exitCode, 130);
    }
}

TEST_F(ToolXdcamFactsTest, TheFreeSpaceIsTheNumberThatTheDeviceTells) {
    // The second is the status of a command that could not be sent.
    for (const char* const number : {"123456789", "2147485448", "9223372036854775807", "-5"}) {
        const OddFtpServer server(
            Ways({.reports = {{"SITE DF", "total 100 others " + std::string(number) + " x"}}}));
        const Outcome outcome = Run("space", {server.Url("")});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
        EXPECT_EQ(outcome.out, number + std::string("\n"));
        EXPECT_EQ(outcome.error, "");
        const json told = json::parse(Run("space", {"--json", server.Url("")}).out);
        EXPECT_EQ(told["name"], server.Shown(""));
        EXPECT_EQ(told["space"].dump(), number);
        EXPECT_THAT(server.Commands(), Not(testing::Contains("PASV")));
    }
}

TEST_F(ToolXdcamFactsTest, ADeviceThatTellsNoFreeSpaceIsAFailureInItsOwnWords) {
    const std::string none = "the device reports no free space, or 0: the server says no more than ";
    for (const char* const report : {"total 100 free 5 x", "others 5", "others x y", "others 0 x", "",
                                     "others 1234567890123456789012345678901 x"}) {
        ExpectNoSpace({.reports = {{"SITE DF", report}}}, none);
    }
    ExpectNoSpace({.replies = {{"SITE DF", "550 no disc"}}}, "the server says '550 no disc'");
    ExpectNoSpace({.replies = {{"SITE DF", "421 I am tired"}}}, "421");
    ExpectNoSpace({.replies = {{"PORT", "500 never"}}}, "the server says '500 never'");
    ExpectNoSpace({.replies = {{"PASS", "530 who"}}}, "the server refuses the password: '530 who'");
    const Outcome outcome = Space({.replies = {{"SITE DF", "550 no disc"}}}, {"--json"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(json::parse(outcome.out)["error"].get<std::string>(), HasSubstr("550 no disc"));
}
