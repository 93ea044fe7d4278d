// vxcio xdcam fetch: stretches of clips, whole or not at all.
#include "tool/XdcamDevice.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <filesystem>
#include <sstream>

using namespace vxcio::test;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr const char* kCommand = "SITE REPF clip 100 50";
constexpr std::size_t kGate = 300'000; // where the device stands still, within the frames

std::string BigEndian(uint64 number, int bytes) {
    std::string text;
    for (int i = bytes - 1; i >= 0; --i) {
        text += static_cast<char>(number >> (8 * i) & 0xFFu);
    }
    return text;
}

std::string Item(const std::string& key, const std::string& value) {
    return key + '\x83' + BigEndian(value.size(), 3) + value;
}

// An MXF file: a block with the Partition Pack, a header with the Origin of its track, and frames.
std::string Mxf(uint64 origin, std::size_t headerBytes, std::size_t frames) {
    const std::string filler("\x06\x0E\x2B\x34\x01\x01\x01\x02\x03\x01\x02\x10\x01\x00\x00\x00", 16);
    const std::string track("\x06\x0E\x2B\x34\x02\x53\x01\x01\x0D\x01\x01\x01\x01\x01\x3B\x00", 16);
    std::string pack("\x06\x0E\x2B\x34\x02\x05\x01\x01\x0D\x01\x02\x01\x01\x02\x04\x00", 16);
    pack += std::string("\x83\x00\x00\x64", 4) + std::string(492, '\0');
    pack.replace(52, 8, BigEndian(headerBytes, 8));
    std::string header = Item(filler, std::string(10, 'x')) +
                         Item(track, BigEndian(0x4B01, 2) + BigEndian(8, 2) + BigEndian(25, 8) +
                                         BigEndian(0x4B02, 2) + BigEndian(8, 2) + BigEndian(origin, 8));
    header += Item(filler, std::string(std::max(headerBytes, header.size() + 20) - header.size() - 20, 'y'));
    const std::vector<uint8> pattern = Pattern(frames, 11);
    return pack + header + std::string(pattern.begin(), pattern.end());
}

class ToolXdcamFetchTest : public ToolXdcamTest {
protected:
    Outcome Fetch(const OddFtpServer& server, const std::vector<std::string>& more = {}) const {
        std::vector<std::string> words = {"--from", "100", "--to", "150", server.Url("clip"), "to"};
        words.insert(words.end(), more.begin(), more.end());
        return Run("fetch", words);
    }
    static OddFtpServer::Ways Sends(const std::string& content) { return {.reports = {{kCommand, content}}}; }
    std::string Digest(const std::string& content) const {
        return RunProgram({"md5sum", m_Folder.Write("digested", content)}).out.substr(0, 32);
    }
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_Folder.Path())) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }
    // The last lines of the output as JSON, by their events.
    static json Event(const Outcome& outcome, const std::string& event) {
        std::istringstream lines(outcome.out);
        json found;
        for (std::string line; std::getline(lines, line);) {
            const json one = json::parse(line);
            found = one["event"] == event ? one : found;
        }
        return found;
    }
    // By turns with a file under the name of the target, and without one.
    void ExpectNothing(const OddFtpServer::Ways& ways, const std::string& reason,
                       const std::vector<std::string>& more = {}) {
        m_bThere = !m_bThere;
        if (m_bThere) {
            m_Folder.Write("to", "as before");
        }
        const OddFtpServer server(Ways(ways));
        std::vector<std::string> words = {"--discard"};
        words.insert(words.end(), more.begin(), more.end());
        const Outcome outcome = Fetch(server, words);
        EXPECT_EQ(outcome.exitCode, 1) << reason;
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.error, AllOf(HasSubstr("xdcam fetch: "), HasSubstr(reason)));
        if (m_bThere) {
            EXPECT_EQ(m_Folder.Read("to"), "as before") << reason;
            std::filesystem::remove(m_Folder.Name("to"));
        }
        EXPECT_THAT(Names(), testing::IsEmpty()) << reason;
    }

    bool m_bThere = false;
};

} // namespace

TEST_F(ToolXdcamFetchTest, AStretchIsTheFileThatTheDeviceSendsWithTheFramesThatItHolds) {
    const std::string sent = Mxf(12, 4096, 3'000'000);
    const OddFtpServer server(Ways(Sends(sent)));
    const Outcome outcome = Fetch(server);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.error, "");
    EXPECT_TRUE(m_Folder.Read("to") == sent);
    EXPECT_EQ(outcome.out, Digest(sent) +
                               "  to\n# frames 88 to 149: a picture can be decoded from frame 88 on, "
                               "and frame 100 is number 13 of them\n");
    m_Folder.Write("sums", outcome.out);
    EXPECT_EQ(RunProgram({"md5sum", "-c", "sums"}, {.folder = m_Folder.Path().string()}).out, "to: OK\n");
    EXPECT_THAT(Names(), testing::UnorderedElementsAre("to", "digested", "sums"));
    EXPECT_THAT(server.Commands(),
                AllOf(testing::Contains(kCommand), testing::Contains(StartsWith("PORT ")),
                      Not(testing::Contains("PASV")), Not(testing::Contains(StartsWith("RETR")))));
}

TEST_F(ToolXdcamFetchTest, EveryHeaderAndEveryWayOfWritingMakesTheFileThatTheDeviceSends) {
    for (const std::size_t header :
         {std::size_t{0}, std::size_t{100}, std::size_t{512}, std::size_t{3} << 20}) {
        for (const std::size_t frames : {0ul, 1ul, 700'001ul}) {
            const std::string sent = Mxf(0, header, frames);
            const OddFtpServer server(Ways(Sends(sent)));
            for (const std::vector<std::string>& way : std::vector<std::vector<std::string>>{
                     {}, {"--buffer", "0"}, {"--unbuffered", "--sync"}, {"--block", "777"}}) {
                const Outcome outcome = Fetch(server, way);
                EXPECT_EQ(outcome.exitCode, 0) << outcome.error << header << testing::PrintToString(way);
                EXPECT_TRUE(m_Folder.Read("to") == sent) << header << testing::PrintToString(way);
            }
        }
    }
}

TEST_F(ToolXdcamFetchTest, TheFramesOfAStretchAreToldAsItsHeaderHasThem) {
    const auto line = [this](uint64 origin) {
        const std::string out = Fetch(OddFtpServer(Ways(Sends(Mxf(origin, 600, 10))))).out;
        return out.substr(std::min(out.find('\n'), out.size() - 1) + 1);
    };
    EXPECT_EQ(line(0), "# frames 100 to 149\n");
    EXPECT_THAT(line(100), StartsWith("# frames 0 to 149: "));
    EXPECT_EQ(
        line(101),
        "# frames 100 to 149, and 101 in front of them, as the file says; the clip has only 100 there\n");
}

TEST_F(ToolXdcamFetchTest, LinesOfJsonTellTheFileAndItsFrames) {
    const std::string sent = Mxf(4, 512, 5000);
    const OddFtpServer server(Ways(Sends(sent)));
    const Outcome outcome = Fetch(server, {"--json", "--verify"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    const json copied = Event(outcome, "copied");
    EXPECT_EQ(copied["from"], server.Shown("clip"));
    EXPECT_EQ(copied["to"], "to");
    EXPECT_EQ(copied["bytes"], sent.size());
    EXPECT_EQ(copied["md5"], Digest(sent));
    EXPECT_EQ(copied["verified"], true);
    const json frames = Event(outcome, "stretch");
    EXPECT_EQ(frames["from"], server.Shown("clip"));
    EXPECT_EQ(frames["to"], "to");
    EXPECT_EQ(frames["asked"], json({{"from", 100}, {"to", 150}}));
    EXPECT_EQ(frames["frames"], json({{"from", 96}, {"to", 150}}));
    EXPECT_EQ(frames["before"], 4);
    const OddFtpServer odd(Ways(Sends(Mxf(400, 512, 5000))));
    const json beyond = Event(Fetch(odd, {"--json"}), "stretch");
    EXPECT_EQ(beyond["before"], 400);
    EXPECT_FALSE(beyond.contains("frames"));
    const OddFtpServer none(Ways({.replies = {{"SITE", "550 no such clip"}}}));
    const Outcome refused = Fetch(none, {"--json"});
    EXPECT_EQ(Event(refused, "failed")["exitCode"], 1);
    EXPECT_THAT(Event(refused, "failed")["error"].get<std::string>(), HasSubstr("550 no such clip"));
    EXPECT_TRUE(Event(refused, "stretch").is_null());
}

TEST_F(ToolXdcamFetchTest, TheTargetIsOneFileOrAFolderThatIsThere) {
    const std::string sent = Mxf(0, 512, 5000);
    const OddFtpServer server(Ways(Sends(sent)));
    const auto fetch = [&](const std::string& target) {
        return Run("fetch", {"--from=100", "--to=150", server.Url("clip"), target});
    };
    std::filesystem::create_directory(m_Folder.Name("folder"));
    EXPECT_EQ(fetch("folder").exitCode, 0);
    EXPECT_TRUE(m_Folder.Read("folder/clip") == sent);
    m_Folder.Write("to", "as before");
    EXPECT_EQ(fetch("to").exitCode, 0);
    EXPECT_TRUE(m_Folder.Read("to") == sent);
    for (const char* const target : {"nowhere/to", "nowhere/", "/dev/null"}) {
        const Outcome outcome = fetch(target);
        EXPECT_EQ(outcome.exitCode, 4) << target;
        EXPECT_THAT(outcome.error, HasSubstr(std::string("xdcam fetch: cannot write '") + target));
        EXPECT_EQ(outcome.out, "");
    }
}

TEST_F(ToolXdcamFetchTest, AStretchThatIsRefusedIsNoFile) {
    ExpectNothing({.replies = {{"SITE", "550 no such clip"}}}, "550 no such clip");
    ExpectNothing({.replies = {{"SITE", "421 I am tired"}}}, "421");
    ExpectNothing({.replies = {{"PORT", "500 never"}}}, "500 never");
    ExpectNothing({.replies = {{"PASS", "530 who"}}}, "530 who");
}

TEST_F(ToolXdcamFetchTest, AStretchThatBreaksOffIsNoFile) {
    const std::string sent = Mxf(12, 4096, 400'000);
    // In the first block, in the header, among the frames.
    for (const std::size_t most : {std::size_t{0}, std::size_t{10}, std::size_t{2000}, kGate}) {
        OddFtpServer::Ways ways = Sends(sent);
        ways.sendsMost = most;
        ExpectNothing(ways, "426 broken off");
        ways.resetsFiles = true;
        ExpectNothing(ways, "Socket Error");
        ways.lastWord = "226 all is well";
        ExpectNothing(ways, "Socket Error");
    }
}

TEST_F(ToolXdcamFetchTest, AStretchIsWholeOnlyWhereTheDeviceSaysSo) {
    OddFtpServer::Ways ways = Sends(Mxf(12, 4096, 400'000));
    for (const char* const word : {"426 the tape is torn", "451 cannot read on", "550-one\r\n550 two"}) {
        ways.lastWord = word;
        ExpectNothing(ways,
                      "the server says '" + std::string(word).substr(std::string(word).rfind('\n') + 1));
    }
    ways.lastWord = "421 I am tired";
    ExpectNothing(ways, "421");
    ways.lastWord = "-";
    ExpectNothing(ways, "the server does not say that this is all");
    ways.lastWord = "226-one\r\n226 two";
    const OddFtpServer server(Ways(ways));
    EXPECT_EQ(Fetch(server).exitCode, 0);
}

TEST_F(ToolXdcamFetchTest, WhatIsNoMxfFileIsNoStretchWhateverTheDeviceSays) {
    const std::string sent = Mxf(12, 4096, 400'000);
    for (const std::string& content :
         {std::string(), sent.substr(0, 10), sent.substr(0, 119), std::string(5000, 'x'), sent.substr(1)}) {
        ExpectNothing(Sends(content), "it is no whole MXF file: its ");
    }
    const OddFtpServer server(Ways(Sends(sent.substr(0, 120))));
    EXPECT_EQ(Fetch(server).exitCode, 0);
    EXPECT_EQ(m_Folder.Read("to").size(), 120u);
}

TEST_F(ToolXdcamFetchTest, AFileThatEndsBeforeItsFooterIsNoStretchWhateverTheDeviceSays) {
    std::string sent = Mxf(12, 4096, 400'000);
    sent.replace(44, 8, BigEndian(404'000, 8)); // where the footer begins
    ExpectNothing(Sends(sent.substr(0, 404'000)),
                  "it ends at byte 404,000, and its footer would begin at 404,000");
    const OddFtpServer server(Ways(Sends(sent)));
    EXPECT_EQ(Fetch(server).exitCode, 0);
}

TEST_F(ToolXdcamFetchTest, ADeviceThatFallsSilentCostsTheTimeThatIsTold) {
    const std::string reason = "does not answer within 1000 ms";
    ExpectNothing({.replies = {{"SITE", ""}}}, reason, {"--time-out", "1000"});
    for (const std::size_t at : {std::size_t{0}, std::size_t{700}, kGate}) {
        Gate gate;
        OddFtpServer::Ways ways = Sends(Mxf(12, 4096, 400'000));
        ways.withinFile = &gate;
        ways.gateAt = at;
        ExpectNothing(ways, reason, {"--time-out", "1000"});
    }
}

TEST_F(ToolXdcamFetchTest, TheWishToStopEndsItWithNothingUnderTheName) {
    for (const std::size_t at : {std::size_t{0}, kGate}) {
        Gate gate;
        OddFtpServer::Ways ways = Sends(Mxf(12, 4096, 400'000));
        ways.withinFile = &gate;
        ways.gateAt = at;
        const OddFtpServer server(Ways(ways));
        std::vector<std::string> words =
            Words("fetch", {"--from", "100", "--to", "150", "--discard", server.Url("clip"), "to"});
        words.insert(words.begin(), ToolName());
        ToolProcess tool(words, {.folder = m_Folder.Path().string()});
        ASSERT_TRUE(gate.WaitUntilReached());
        tool.Signal(SIGINT);
        const Outcome outcome = tool.Finish();
        EXPECT_EQ(outcome.exitCode, 130);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(Names(), testing::IsEmpty());
    }
}

TEST_F(ToolXdcamFetchTest, ThePasswordIsShownNowhere) {
    const OddFtpServer server(Ways(Sends(Mxf(12, 4096, 400))));
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"fetch", "--from=100", "--to=150", server.Url("clip"), "to"},
                                               {"fetch", "--from=1", "--to=2", server.Url("clip"), "to"},
                                               {"fetch", "--from=2", "--to=1", server.Url("clip"), "to"},
                                               {"fetch", "--from=1", "--to=2", "to", server.Url("clip")},
                                               {"info", "--json", server.Url("clip")},
                                               {"info", server.Url("%zz")},
                                               {"space", server.Url("")},
                                               {"space", server.Url("clip")}}) {
        std::vector<std::string> all(words.begin() + 1, words.end());
        all.insert(all.end(), {"-v", "--time-out", "5000"});
        const Outcome outcome = Run(words.front(), all);
        for (const char* const text : {"Ka:ppe", "Ka%3Appe"}) {
            EXPECT_THAT(outcome.out + outcome.error, Not(HasSubstr(text))) << testing::PrintToString(words);
        }
    }
}

TEST_F(ToolXdcamFetchTest, WhatCannotBeMeantIsWrongUsage) {
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {},
             {"dance"},
             {"info"},
             {"info", "clip"},
             {"info", "ftp://h/a", "clip"},
             {"info", "ftp://h/%00"},
             {"info", "--mode", "xdcam", "ftp://h/a"},
             {"space"},
             {"space", "ftp://h/clip"},
             {"space", "ftp://h/", "ftp://g/"},
             {"space", "--mode", "normal", "ftp://h/"},
             {"fetch", "ftp://h/a", "to"},
             {"fetch", "--from", "1", "ftp://h/a", "to"},
             {"fetch", "--from", "1", "--to", "1", "ftp://h/a", "to"},
             {"fetch", "--from", "2", "--to", "1", "ftp://h/a", "to"},
             {"fetch", "--from", "-1", "--to", "1", "ftp://h/a", "to"},
             {"fetch", "--from", "0", "--to", "2147483648", "ftp://h/a", "to"},
             {"fetch", "--from", "0", "--to", "4294967297", "ftp://h/a", "to"},
             {"fetch", "--from", "x", "--to", "1", "ftp://h/a", "to"},
             {"fetch", "--from", "0", "--to", "1", "ftp://h/a"},
             {"fetch", "--from", "0", "--to", "1", "ftp://h/a", "b", "to"},
             {"fetch", "--from", "0", "--to", "1", "a", "to"},
             {"fetch", "--from", "0", "--to", "1", "ftp://h/a", "ftp://h/b"},
             {"fetch", "--from", "0", "--to", "1", "--append", "ftp://h/a", "to"},
             {"fetch", "--from", "0", "--to", "1", "--mode", "9", "ftp://h/a", "to"}}) {
        std::vector<std::string> all = {"xdcam"};
        all.insert(all.end(), words.begin(), words.end());
        const Outcome outcome = RunTool(all, {.folder = m_Folder.Path().string()});
        EXPECT_EQ(outcome.exitCode, 2) << testing::PrintToString(words);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.error, StartsWith("vxcio: "));
    }
    EXPECT_THAT(Names(), testing::IsEmpty());
    for (const char* const verb : {"info", "space", "fetch"}) {
        EXPECT_THAT(Run(verb, {"--help"}).out, HasSubstr("Usage: vxcio xdcam"));
    }
    EXPECT_THAT(Run("space", {"--help"}).out, HasSubstr("which is not known"));
}
