// The control connection of a scripted server, and its time.
#include "support/FtpScript.h"

#include "ftp/ScriptClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

class FtpScriptTest : public ScriptTalk {};

} // namespace

TEST_F(FtpScriptTest, LinesGoBothWaysInNoTime) {
    ftp.Logon("u", "p");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    EXPECT_EQ(client.Line(), "220 ready");
    EXPECT_EQ(Ask(client, "USER u"), "331 password");
    EXPECT_EQ(Ask(client, "PASS p"), "230 logged on");
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
    EXPECT_THAT(ftp.Lines(), ElementsAre("USER u", "PASS p"));
    client.Close();
    EXPECT_THAT(ftp.Story(), ElementsAre("control open", "control connect", "control send USER u",
                                         "control send PASS p", "control shutdown", "control close"));
}

TEST_F(FtpScriptTest, SilenceCostsWhatTheClientWaits) {
    ftp.Say("220").Expect("NOOP");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    EXPECT_EQ(Ask(client, "NOOP"), "220");
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(client.Line(), std::nullopt);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Mark();
    EXPECT_EQ(client.Line(2000), std::nullopt);
    EXPECT_EQ(ftp.Spent(), 2000);
    ftp.Finish();
}

TEST_F(FtpScriptTest, AReplyComesWithTheFirstLookAfterItsTime) {
    ftp.Expect("A").After(60).Say("1").Expect("B").After(100).Say("2").Expect("C").After(101).Say("3");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    const auto asked = [&](const std::string& line) {
        ftp.Mark();
        const auto reply = Ask(client, line);
        return reply.value_or("none") + " after " + std::to_string(ftp.Spent());
    };
    EXPECT_EQ(asked("A"), "1 after 100");
    EXPECT_EQ(asked("B"), "2 after 100");
    EXPECT_EQ(asked("C"), "3 after 200");
    ftp.Finish();
}

TEST_F(FtpScriptTest, TheTimeOfAReplyBeginsWithTheCommandAndNotWithTheLook) {
    for (int i = 0; i < 20; ++i) {
        ftp.Expect("A").After(300).Say("1");
    }
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    for (int i = 0; i < 20; ++i) {
        ftp.Mark();
        client.SendLine("A");
        VXC_Sleep(300);
        EXPECT_EQ(client.Line(), "1");
        EXPECT_EQ(ftp.Spent(), 300);
    }
    ftp.Finish();
}

TEST_F(FtpScriptTest, ALineComesInPieces) {
    ftp.Split({"22", "0 hi\r", "\nSTRAY\r\n"}, 60);
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    EXPECT_EQ(client.Line(), "220 hi");
    EXPECT_EQ(ftp.Spent(), 200);
    EXPECT_EQ(client.Line(), "STRAY");
    EXPECT_EQ(ftp.Spent(), 200);
    ftp.Finish();
}

TEST_F(FtpScriptTest, AQuietTimeEndsInTheNextStep) {
    ftp.Quiet(1000).Say("220").Quiet();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    EXPECT_EQ(client.Line(), "220");
    EXPECT_EQ(ftp.Spent(), 1000);
    EXPECT_EQ(ftp.End(), "");
}

TEST_F(FtpScriptTest, AByteInAQuietTimeIsAFailure) {
    ftp.Quiet(1000).Say("220");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    client.SendLine("X");
    EXPECT_THAT(ftp.TakeFailure(), HasSubstr("Quiet: got \"X\\r\\n\""));
}

TEST_F(FtpScriptTest, ByteAfterTheEndIsAFailure) {
    ftp.Say("220");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    client.Send("Q");
    EXPECT_EQ(ftp.End(), "at the end of the script: got \"Q\"");
}

TEST_F(FtpScriptTest, AFinLooksLikeSilenceAndTheClientIsStillHeard) {
    ftp.Say("220").Fin().Expect("QUIT").ExpectClosed();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    EXPECT_EQ(client.Line(), "220");
    EXPECT_EQ(Ask(client, "QUIT"), std::nullopt);
    EXPECT_EQ(ftp.Spent(), 15000);
    EXPECT_EQ(client.Receive(1), "");
    EXPECT_EQ(client.Result(), 0);
    client.Close();
    ftp.Finish();
}

TEST_F(FtpScriptTest, AResetShowsBehindWhatWasSaid) {
    ftp.Say("220").Expect("NOOP").Say("200").Rst();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    EXPECT_EQ(client.Line(), "220");
    EXPECT_EQ(Ask(client, "NOOP"), "200");
    EXPECT_EQ(client.Line(), std::nullopt);
    EXPECT_EQ(ftp.Spent(), 15000);
    EXPECT_EQ(client.Receive(1), "");
    EXPECT_EQ(client.Result(), -1);
    EXPECT_EQ(Sockets().lastError(), kSocketReset);
    ftp.Finish();
}

TEST_F(FtpScriptTest, AWrongByteEndsTheScriptAndTellsWhere) {
    ftp.Say("220").Expect("USER u");
    const int line = __LINE__ - 1;
    ftp.Say("331");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    EXPECT_EQ(client.Line(), "220");
    EXPECT_EQ(Ask(client, "USER x"), std::nullopt);
    EXPECT_EQ(client.Receive(1), "");
    EXPECT_EQ(ftp.TakeFailure(), "step 3 of 4 (FtpScript_test.cpp:" + std::to_string(line) +
                                     "), Expect \"USER u\\r\\n\": got \"USER x\\r\\n\"");
    EXPECT_EQ(ftp.End(), "");
}

TEST_F(FtpScriptTest, AHalfLineIsWaitedForAndAClientThatGoesIsNot) {
    ftp.ExpectRaw("ab").ExpectAny().Expect("USER u");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    client.Send("abany");
    client.Send("thing\r");
    client.Send("\nUSER");
    EXPECT_EQ(ftp.TakeFailure(), "");
    client.Close();
    EXPECT_THAT(ftp.End(), HasSubstr("Expect \"USER u\\r\\n\": the client has closed after \"USER\""));
}

TEST_F(FtpScriptTest, StepsThatAreLeftOverAreAFailure) {
    ftp.Say("220").Expect("USER u").Say("331");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    EXPECT_THAT(ftp.End(), HasSubstr("step 3 of 4"));
}

TEST_F(FtpScriptTest, ASecondControlConnectionIsAStep) {
    ftp.Say("220 one").AcceptControl().Say("220 two").Expect("NOOP").Say("200");
    ftp.Start();
    ScriptClient first(ftp);
    ASSERT_TRUE(first.Connect());
    EXPECT_EQ(first.Line(), "220 one");
    ScriptClient second(ftp);
    ASSERT_TRUE(second.Connect());
    EXPECT_EQ(second.Line(), "220 two");
    first.Close();
    EXPECT_EQ(Ask(second, "NOOP"), "200");
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(ftp.Count(Verb::Connect), 2);
    EXPECT_EQ(ftp.Count(Verb::Connect, second.Token()), 1);
    EXPECT_THAT(ftp.Story(), ::testing::Contains("control2 send NOOP"));
    ftp.Finish();
}

TEST_F(FtpScriptTest, AConnectionThatNoStepAcceptsIsAFailure) {
    ftp.Say("220");
    ftp.Start();
    ScriptClient first(ftp);
    ScriptClient second(ftp);
    ASSERT_TRUE(first.Connect());
    ASSERT_TRUE(second.Connect());
    EXPECT_EQ(ftp.End(), "at the end of the script: a control connection that no step accepts");
}

TEST_F(FtpScriptTest, ARefusedPortIsRefused) {
    ftp.RefuseControl();
    ftp.Start();
    ScriptClient client(ftp);
    EXPECT_FALSE(client.Connect());
    EXPECT_EQ(Sockets().lastError(), 10061);
    EXPECT_THAT(ftp.Story(), ElementsAre("control open", "control connect failed"));
    ftp.Finish();
}

TEST_F(FtpScriptTest, StepsMayBeAddedWhileItRuns) {
    ftp.Say("220");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    EXPECT_EQ(client.Line(), "220");
    ftp.Say("more");
    EXPECT_EQ(client.Line(), "more");
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}
