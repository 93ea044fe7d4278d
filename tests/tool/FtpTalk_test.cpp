// What the tool hears of a talk with a server, by which it tells a refusal from silence.
#include "FtpTalk.h"

#include <gtest/gtest.h>

#include <thread>

using vxcio::tool::FtpTalk;
using vxcio::tool::IsRefusal;

TEST(ToolFtpTalkTest, EachReplyBelongsToTheCommandBeforeIt) {
    FtpTalk talk;
    const FtpTalk::Hearing hearing(talk);
    EXPECT_EQ(talk.LastReply(), "");
    FtpTalk::HearOther("RNFR a b\r\n");
    FtpTalk::HearReply("350 to");
    FtpTalk::HearOther("RNTO c\r\n");
    EXPECT_EQ(talk.ReplyTo("RNFR"), "350 to");
    EXPECT_EQ(talk.ReplyTo("RNTO"), "");
    EXPECT_EQ(talk.LastReply(), "");
    EXPECT_EQ(talk.Words(), "the server does not answer");
    FtpTalk::HearReply("553 no");
    EXPECT_EQ(talk.ReplyTo("RNTO"), "553 no");
    EXPECT_EQ(talk.ReplyTo("DELE"), "");
    EXPECT_EQ(talk.Words(), "the server says '553 no'");
    FtpTalk::HearOther("NOOP\r\n");
    FtpTalk::HearReply("150 wait");
    EXPECT_EQ(talk.ReplyTo("NOOP"), "150 wait");
    EXPECT_EQ(talk.Words(), "the server says no more than '150 wait'");
}

TEST(ToolFtpTalkTest, AReplyOfSeveralLinesIsOneOnlyWhenItEnds) {
    FtpTalk talk;
    const FtpTalk::Hearing hearing(talk);
    FtpTalk::HearOther("DELE a\r\n");
    FtpTalk::HearReply("250-first");
    FtpTalk::HearReply("550 other");
    FtpTalk::HearReply("550-other");
    FtpTalk::HearOther("RNTO in between\r\n");
    EXPECT_EQ(talk.LastReply(), "");
    FtpTalk::HearReply("250 done");
    EXPECT_EQ(talk.ReplyTo("DELE"), "250 done");
    EXPECT_EQ(talk.ReplyTo("RNTO"), "");
    FtpTalk::HearOther("MKD a\r\n");
    FtpTalk::HearReply("250-first");
    FtpTalk::HearReply("421 good bye"); // behind which nothing comes
    EXPECT_EQ(talk.ReplyTo("MKD"), "421 good bye");
}

TEST(ToolFtpTalkTest, TheLinesWithinAReplyAreCounted) {
    FtpTalk talk;
    const FtpTalk::Hearing hearing(talk);
    FtpTalk::HearReply("220-before any command");
    FtpTalk::HearOther("one\n");
    FtpTalk::HearReply("220 there");
    EXPECT_EQ(talk.LinesOfReplyTo("STAT"), 0u);
    EXPECT_EQ(talk.LinesOfReplyTo(""), 1u);
    FtpTalk::HearOther("STAT a\r\n");
    FtpTalk::HearReply("213-first");
    FtpTalk::HearOther("one\n");
    FtpTalk::HearOther("what is no line of the reply");
    FtpTalk::HearReply("100 two");
    FtpTalk::HearReply("213-three");
    FtpTalk::HearReply("213 end");
    FtpTalk::HearOther("behind it\n");
    EXPECT_EQ(talk.LinesOfReplyTo("STAT"), 3u);
    FtpTalk::HearReply("213-and once more");
    FtpTalk::HearReply("213 end");
    EXPECT_EQ(talk.LinesOfReplyTo("STAT"), 0u);
}

TEST(ToolFtpTalkTest, OnlyWhatIsSaidOnItsThreadBelongsToIt) {
    FtpTalk talk;
    FtpTalk::HearReply("220 before");
    {
        const FtpTalk::Hearing hearing(talk);
        FtpTalk::HearOther("DELE a\r\n");
        std::thread([] {
            FtpTalk::HearReply("550 elsewhere");
            FtpTalk::HearOther("CFTPSocket:: recv() err: 1");
        }).join();
    }
    FtpTalk::HearReply("250 behind");
    EXPECT_EQ(talk.ReplyTo("DELE"), "");
    EXPECT_FALSE(talk.IsCut());
}

TEST(ToolFtpTalkTest, OnlyAFinalWordOfRefusalIsOne) {
    EXPECT_TRUE(IsRefusal("550 no"));
    EXPECT_TRUE(IsRefusal("450 not now"));
    for (const char* const reply : {"", "150 wait", "250 done", "350 to", "421 good bye"}) {
        EXPECT_FALSE(IsRefusal(reply)) << reply;
    }
}
