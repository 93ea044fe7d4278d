// vxcio plug, with the frame statistics plug-in and with plug-ins and servers that fail.
#include "support/TempFolder.h"
#include "tool/PlugRun.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <filesystem>
#include <sstream>

using namespace vxcio::test;
using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

const std::string kServer = VXC_TEST_LIBRARY_DIR "/VXC32/VXC32ServU.exe";
const std::string kPlug = VXC_TEST_LIBRARY_DIR "/VXC32/plugs/FrameStats.so";

std::vector<json> Lines(const std::string& text) {
    std::vector<json> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(json::parse(line));
    }
    return lines;
}

std::vector<std::string> CallOf(const std::string& plug, const std::string& file, const Frames& frames) {
    return {"plug",  "call", plug, file, std::to_string(frames.width), std::to_string(frames.height),
            "--json"};
}

void ExpectCounted(const std::vector<json>& lines, const Frames& frames) {
    ASSERT_EQ(lines.size(), frames.count + 1);
    for (uint32 frame = 0; frame < frames.count; ++frame) {
        EXPECT_EQ(lines[frame]["event"], "frame");
        EXPECT_EQ(lines[frame]["frame"], frame);
        EXPECT_EQ(lines[frame]["histogram"], json(frames.histograms[frame])) << frame;
        EXPECT_EQ(lines[frame]["pixels"], frames.width * frames.height);
    }
    EXPECT_EQ(lines.back()["event"], "total");
    EXPECT_EQ(lines.back()["frames"], frames.count);
    EXPECT_EQ(lines.back()["histogram"], json(frames.Total()));
}

// A call of the tool that a plug-in keeps from its end.
class HungCall {
public:
    explicit HungCall(const std::string& timeOut)
        : m_frames(16, 16, false, 1, 7), m_file(m_folder.Write("frames.yuv", m_frames.Text())),
          m_tool({ToolName(), "plug", "call", TestPlug("HangPlug"), m_file, "16", "16", "--timeout", timeOut},
                 {}),
          server(std::stoi(m_tool.ReadOutput(9))) {}

    void Signal(int number) { m_tool.Signal(number); }
    Outcome Finish() { return m_tool.Finish(); }

private:
    const TempFolder m_folder;
    const Frames m_frames;
    const std::string m_file;
    ToolProcess m_tool;

public:
    const pid_t host = m_tool.Id();
    const pid_t server; // by now the call is under way
};

} // namespace

TEST(ToolPlugTest, LoadTellsTheHandleTheServerAndItsWidth) {
    ToolProcess tool({ToolName(), "plug", "load", kPlug, "--json"}, {});
    const pid_t host = tool.Id();
    const Outcome outcome = tool.Finish();
    ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.error, "");
    const json facts = json::parse(outcome.out);
    EXPECT_EQ(facts["plug"], kPlug);
    EXPECT_NE(std::stoull(facts["handle"].get<std::string>(), nullptr, 16), 0u);
    EXPECT_EQ(facts["server"]["bits"], BitsOf(kServer));
    EXPECT_EQ(facts["server"]["program"], std::filesystem::canonical(kServer).string());
    EXPECT_TRUE(EndsSoon(facts["server"]["process"].get<pid_t>()));
    EXPECT_THAT(NamesOf(host), IsEmpty());
}

TEST(ToolPlugTest, WithoutANameThePlugInBesideTheServerIsMeant) {
    const Outcome outcome = RunTool({"plug", "load"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(outcome.out,
                StartsWith(std::filesystem::canonical(kPlug).string() + "\n  handle       0x0001"));
    EXPECT_THAT(outcome.out,
                HasSubstr("\n  server       " + std::to_string(BitsOf(kServer)) + " bits, process "));
    EXPECT_THAT(outcome.out,
                HasSubstr("\n  program      " + std::filesystem::canonical(kServer).string() + "\n"));
}

TEST(ToolPlugTest, ANameWithoutAFolderIsAFileOfThisFolder) {
    const Outcome outcome =
        RunTool({"plug", "load", "FrameStats.so"}, {.folder = VXC_TEST_LIBRARY_DIR "/VXC32/plugs"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
}

TEST(ToolPlugTest, EachFrameIsCounted) {
    const TempFolder folder;
    const Frames frames(31, 17, false, 3, 1);
    const Outcome outcome = RunTool(CallOf(kPlug, folder.Write("frames.yuv", frames.Text()), frames));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
    ExpectCounted(Lines(outcome.out), frames);
    EXPECT_EQ(Lines(outcome.out)[2]["timeCode"], "00:00:00:02");
}

TEST(ToolPlugTest, TheOtherFormatHasMoreRowsOfColour) {
    const TempFolder folder;
    const Frames frames(9, 5, true, 4, 2);
    std::vector<std::string> call = CallOf(kPlug, folder.Write("frames.yuv", frames.Text()), frames);
    call.insert(call.end(), {"--format", "422", "--fps", "3"});
    const Outcome outcome = RunTool(call);
    ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
    ExpectCounted(Lines(outcome.out), frames);
    EXPECT_EQ(Lines(outcome.out)[3]["timeCode"], "00:00:01:00");
}

TEST(ToolPlugTest, PeopleGetALineForEachFrame) {
    const TempFolder folder;
    const Frames frames(16, 16, false, 2, 3);
    const Outcome outcome = RunTool({"plug", "call", folder.Write("frames.yuv", frames.Text()), "16", "16"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.out, "frame 0  00:00:00:00  " + InWords(frames.histograms[0]) +
                               "\nframe 1  00:00:00:01  " + InWords(frames.histograms[1]) +
                               "\ntotal 2  00:00:00:01  " + InWords(frames.Total()) + "\n");
}

TEST(ToolPlugTest, ServersOfEitherWidthCountTheSame) {
    const TempFolder folder;
    const Frames frames(40, 30, false, 2, 4);
    const std::string file = folder.Write("frames.yuv", frames.Text());
    for (const std::string& servers : ServerFolders()) {
        const OtherPlace place(servers);
        std::vector<std::string> call = CallOf(servers + "/plugs/FrameStats.so", file, frames);
        call.insert(call.begin(), ToolName());
        const Outcome outcome = place.Run(call);
        ASSERT_EQ(outcome.exitCode, 0) << servers << ": " << outcome.error;
        const std::vector<json> lines = Lines(outcome.out);
        ExpectCounted(lines, frames);
        EXPECT_EQ(lines.back()["server"]["bits"], BitsOf(servers + "/VXC32ServU.exe"));
    }
}

TEST(ToolPlugTest, AFileOfTheWrongSizeIsRefused) {
    const TempFolder folder;
    const Frames frames(16, 16, false, 2, 5);
    const std::string whole = folder.Write("frames.yuv", frames.Text());
    const std::string cut = folder.Write("cut.yuv", frames.Text().substr(1));
    const Outcome wrong = RunTool({"plug", "call", whole, "16", "17"});
    EXPECT_EQ(wrong.exitCode, 1);
    EXPECT_THAT(wrong.error, HasSubstr("frames of 416 bytes and 352 bytes more"));
    const Outcome shorter = RunTool({"plug", "call", cut, "16", "16"});
    EXPECT_EQ(shorter.exitCode, 1);
    EXPECT_EQ(shorter.out, "");
    EXPECT_THAT(shorter.error, HasSubstr("holds 1 frames of 384 bytes and 383 bytes more"));
    EXPECT_EQ(RunTool({"plug", "call", folder.Write("empty.yuv", ""), "16", "16"}).exitCode, 1);
    const Outcome missing = RunTool({"plug", "call", folder.Name("missing.yuv"), "16", "16"});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_THAT(missing.error, HasSubstr("No such file"));
}

TEST(ToolPlugTest, WhatIsNoPlugInOfThisServerIsToldApart) {
    const TempFolder folder;
    const std::vector<std::pair<std::string, std::string>> bad = {
        {folder.Name("missing.so"), "there is no file"},
        {folder.Write("text.so", "no module"), "is no module"},
        {kServer.substr(0, kServer.rfind('/')) + "/../VXC32", "there is no file"},
        {BitsOf(kServer) == 32 ? VXC_TEST_LIBRARY_DIR "/VXC32/libVXC32Bridge.so"
                               : VXC_TEST_LIBRARY_DIR "/libVXCSoftCodecIO.so",
         "could not load it"}};
    for (const auto& [name, reason] : bad) {
        const Outcome outcome = RunTool({"plug", "load", name});
        EXPECT_EQ(outcome.exitCode, 1) << name;
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.error, HasSubstr("vxcio: plug load: "));
        EXPECT_THAT(outcome.error, HasSubstr(reason)) << name;
    }
}

TEST(ToolPlugTest, APlugInOfTheOtherWidthIsToldByItsWidth) {
    const std::string other = VXC_TEST_LIBRARY_DIR "/libVXCSoftCodecIO.so";
    const Outcome outcome = RunTool({"plug", "load", other});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error,
                HasSubstr(BitsOf(kServer) == BitsOf(other) ? "could not load it"
                                                           : "has 64 bits, and the plug-in server has 32"));
}

TEST(ToolPlugTest, AMissingServerIsTold) {
    const OtherPlace place("");
    const Outcome outcome = place.Run({ToolName(), "plug", "load", kPlug});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, StartsWith("vxcio: plug load: the plug-in server could not be started: "));
    EXPECT_THAT(outcome.error, HasSubstr("VXC32ServU.exe  doesn't exist!"));
}

TEST(ToolPlugTest, AServerThatDiesInACallCostsACodeAndLeavesNoName) {
    HungCall call("200");
    ASSERT_EQ(kill(call.server, SIGKILL), 0);
    const Outcome outcome = call.Finish();
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.error, "vxcio: plug call: the plug-in server has ended\n");
    EXPECT_THAT(NamesOf(call.host), IsEmpty());
}

TEST(ToolPlugTest, APlugInThatHangsCostsACodeAndItsServerEndsWithTheTool) {
    HungCall call("50");
    const Outcome outcome = call.Finish();
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.error, "vxcio: plug call: the plug-in server gave no answer in time\n");
    EXPECT_TRUE(EndsSoon(call.server));
    EXPECT_THAT(NamesOf(call.host), IsEmpty());
}

TEST(ToolPlugTest, CtrlCInACallThatHangsEndsTheTool) {
    HungCall call("200");
    call.Signal(SIGINT);
    const Outcome outcome = call.Finish();
    EXPECT_EQ(outcome.exitCode, 130);
    EXPECT_EQ(outcome.error, "");
    EXPECT_TRUE(EndsSoon(call.server));
    EXPECT_THAT(NamesOf(call.host), IsEmpty());
}

TEST(ToolPlugTest, ACtrlCThatTookTheServerTooEndsTheTool) {
    HungCall call("200");
    call.Signal(SIGINT);
    ASSERT_EQ(kill(call.server, SIGKILL), 0);
    const Outcome outcome = call.Finish();
    EXPECT_EQ(outcome.exitCode, 130);
    EXPECT_EQ(outcome.error, "");
    EXPECT_THAT(NamesOf(call.host), IsEmpty());
}

TEST(ToolPlugTest, BenchTellsTheTimesOfItsCalls) {
    const json facts = json::parse(RunTool({"plug", "bench", "--calls", "5", "--json"}).out);
    for (const char* const kind : {"busy", "afterIdle", "payload"}) {
        EXPECT_EQ(facts[kind]["calls"], 5) << kind;
        EXPECT_GT(facts[kind]["median"], 0.0);
        EXPECT_GE(facts[kind]["percentile99"], facts[kind]["median"]);
        EXPECT_GE(facts[kind]["percentile99.9"], facts[kind]["percentile99"]);
    }
    EXPECT_EQ(facts["payload"]["bytes"], 1u << 20);
    EXPECT_EQ(facts["server"]["bits"], BitsOf(kServer));
    const Outcome text = RunTool({"plug", "bench", kPlug, "--calls", "2"});
    EXPECT_EQ(text.exitCode, 0) << text.error;
    EXPECT_THAT(text.out, HasSubstr("empty call, busy "));
    EXPECT_THAT(text.out, HasSubstr(" MB/s\n"));
}

TEST(ToolPlugTest, WrongUsageOfPlugEndsWithTwo) {
    const std::vector<std::vector<std::string>> bad = {{"plug"},
                                                       {"plug", "dance"},
                                                       {"plug", "load", "a", "b"},
                                                       {"plug", "call"},
                                                       {"plug", "call", "f", "16"},
                                                       {"plug", "call", "p", "f", "16", "16", "16"},
                                                       {"plug", "call", "f", "0", "16"},
                                                       {"plug", "call", "f", "16", "16385"},
                                                       {"plug", "call", "f", "16", "1x"},
                                                       {"plug", "call", "f", "16", ""},
                                                       {"plug", "call", "f", "16", "16", "--fps", "31"},
                                                       {"plug", "call", "f", "16", "16", "--fps", "0"},
                                                       {"plug", "call", "f", "16", "16", "--format", "444"},
                                                       {"plug", "call", "f", "16", "16", "--timeout", "0"},
                                                       {"plug", "bench", "--calls", "0"},
                                                       {"plug", "bench", "a", "b"}};
    for (const std::vector<std::string>& arguments : bad) {
        const Outcome outcome = RunTool(arguments);
        EXPECT_EQ(outcome.exitCode, 2) << testing::PrintToString(arguments);
        EXPECT_THAT(outcome.error, StartsWith("vxcio: "));
        EXPECT_EQ(outcome.out, "");
    }
}
