// The program as somebody starts it by hand.
#include "support/TempFolder.h"
#include "tool/ToolProcess.h"
#include "xdcam/posix/PlainClient.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <vector>

using namespace vxcio::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

const std::string kProgram = VXC_TEST_PROGRAM_DIR "/vxcio-xdcam-sim";

} // namespace

class XdcamProgramTest : public testing::Test {
protected:
    const TempFolder m_folder;

    // Its standard input does not end.
    std::vector<std::string> WithLife(const std::string& options) {
        ::mkfifo(m_folder.Name("life").c_str(), 0600);
        return {"bash", "-c",
                "exec '" + kProgram + "' " + options + " '" + m_folder.Path().string() + "' 0<>'" +
                    m_folder.Name("life") + "'"};
    }
    static int PortIn(ToolProcess& process) {
        EXPECT_EQ(process.ReadOutput(6), "ready ");
        std::string port;
        for (std::string digit = process.ReadOutput(1); digit != "\n" && !digit.empty();
             digit = process.ReadOutput(1)) {
            port += digit;
        }
        return std::atoi(port.c_str());
    }
};

TEST_F(XdcamProgramTest, EndsWithItsInput) {
    const Outcome outcome = RunProgram({kProgram, m_folder.Path().string()});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, testing::MatchesRegex("ready [0-9]+\n"));
    EXPECT_EQ(outcome.error, "");
}

TEST_F(XdcamProgramTest, ServesUntilItIsEnded) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        ToolProcess process(
            WithLife("--verbose --user u --password p --delay NOOP=1 --refuse 'STAT=550 gone' "
                     "--stall RETR=1 --cut LIST=1 --reset NLST=1 --split SITE-DF=3,1 "
                     "--closing SITE-DF='226 told' --space 5"),
            {});
        PlainClient client("127.0.0.1", PortIn(process));
        client.LogOn("u", "p");
        EXPECT_EQ(client.Ask("STAT x"), "550 gone");
        client.Ask("PORT " + client.Listen());
        client.Ask("SITE DF");
        EXPECT_THAT(client.Data(), HasSubstr(" others 5 "));
        EXPECT_EQ(client.Reply(), "226 told");
        process.Signal(signal);
        const Outcome outcome = process.Finish();
        EXPECT_EQ(outcome.exitCode, 0) << signal;
        EXPECT_THAT(outcome.error,
                    AllOf(HasSubstr("> STAT x\n< 550 gone\n"), testing::Not(HasSubstr("PASS p"))));
        EXPECT_EQ(client.Reply(), "");
    }
}

TEST_F(XdcamProgramTest, AWrongWordEndsItWithTheUsage) {
    const std::string folder = m_folder.Path().string();
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {},
             {folder, folder},
             {folder, "--port"},
             {folder, "--port", "65536"},
             {folder, "--port", "x"},
             {folder, "--unknown", "STAT=1"},
             {folder, "--delay", "STAT"},
             {folder, "--delay", "STAT=-1"},
             {folder, "--stall", "=1"},
             {folder, "--split", "SITE-DF=1"},
         }) {
        std::vector<std::string> command = {kProgram};
        command.insert(command.end(), words.begin(), words.end());
        const Outcome outcome = RunProgram(command);
        EXPECT_EQ(outcome.exitCode, 2) << testing::PrintToString(words);
        EXPECT_THAT(outcome.error, AllOf(StartsWith("vxcio-xdcam-sim: "), HasSubstr("usage: ")));
        EXPECT_EQ(outcome.out, "");
    }
    EXPECT_EQ(RunProgram({kProgram, "--help"}).exitCode, 0);
}

TEST_F(XdcamProgramTest, WhatCannotBeServedEndsItWithAReason) {
    EXPECT_EQ(RunProgram({kProgram, m_folder.Name("none")}).exitCode, 1);
    ToolProcess process(WithLife(""), {});
    const int port = PortIn(process);
    const Outcome outcome = RunProgram({kProgram, m_folder.Path().string(), "--port", std::to_string(port)});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, HasSubstr("cannot listen"));
}
