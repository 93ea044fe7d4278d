// What an XDCAM device tells of a clip.
#include "FtpSessionFixture.h"

#include <array>
#include <utility>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kNoType = 77;

// What nobody has told is what it was.
struct Told {
    int result = -1;
    int type = kNoType;
    uint32 length = 101;
    uint32 audio = 102;
    uint32 rate = 103;
    uint32 scale = 104;

    bool operator==(const Told&) const = default;
};
void PrintTo(const Told& info, std::ostream* out) {
    *out << info.result << ": type " << info.type << ", length " << info.length << ", audio " << std::hex
         << info.audio << std::dec << ", rate " << info.rate << "/" << info.scale;
}
Told Nothing(int result) {
    Told info;
    info.result = result;
    return info;
}

class XdcamInfoTest : public FtpSessionFixture {
protected:
    XdcamInfoTest() { ftp.Logon("u", "p"); }

    Told Ask(const wchar_t* path = L"/clip") {
        Told info;
        auto type = static_cast<PLUG_VIDEO_TYPE_>(info.type);
        info.result = io->GetXDCAMMXFInfo(path, type, info.length, info.audio, info.rate, info.scale);
        info.type = static_cast<int>(type);
        return info;
    }
    // Adds an answer in which these lines follow the first.
    FtpScript& Answer(const std::vector<std::string>& lines) {
        ftp.Expect("STAT /clip").Say("213-a");
        for (const std::string& line : lines) {
            ftp.Say(line);
        }
        return ftp;
    }
};

const std::vector<std::string> kLines = {"l0", "l1", "IMX40", "59.94i", " 8 ch", "2904 fr", "213 end"};

} // namespace

// ---- Other modes --------------------------------------------------------------------------------------

TEST_F(XdcamInfoTest, OutsideTheModeOfDevicesNothingIsAsked) {
    BeLoggedOn();
    for (const int mode : {0, 1, 2, 3, 8, 10, -9}) {
        io->m_nFtpMode = static_cast<FTPMODE>(mode);
        EXPECT_EQ(Ask(), (Told{1, 6, 2904, 4, 25, 1})) << mode;
    }
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(XdcamInfoTest, OutsideTheModeNoSessionIsNeeded) {
    EXPECT_EQ(Ask(nullptr), (Told{1, 6, 2904, 4, 25, 1}));
    io->m_nFtpMode = FTPMODE_XDCAM;
    EXPECT_EQ(Ask(), Nothing(0));
}

// ---- Answers ------------------------------------------------------------------------------------------

TEST_F(XdcamInfoTest, AClipIsToldInTheLinesOfOneReply) {
    Answer(kLines);
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(Ask(), (Told{1, 3, 2904, 0x00080010, 30000, 1001}));
    EXPECT_EQ(LastReply(), L"213 end");
    EXPECT_EQ(io->m_nReplyClass, 2);
    EXPECT_EQ(Info(), L"213 end");
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
    EXPECT_EQ(ftp.Lines().back(), "STAT /clip");
}

TEST_F(XdcamInfoTest, TheDepthOfTheSoundIsThatOfTheCodec) {
    Answer({"l0", "l1", "x  MPEG2HD50CBR_1920_1080_422P@HL", "50i", "8", "1", "213 end"});
    Answer({"l0", "l1", "x  Undefined CODEC type.", "24p", "4 channels", "1", "213 end"});
    Answer({"l0", "l1", "  DV25", "25p", "2", "1", "213 end"});
    Answer({"l0", "l1", "another", "", "2", "1", "213 end"});
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(Ask(), (Told{1, 2, 1, 0x00080018, 25, 1}));
    EXPECT_EQ(Ask(), (Told{1, 2, 1, 0x00040018, 24, 1}));
    EXPECT_EQ(Ask(), (Told{1, 6, 1, 0x00020010, 25, 1}));
    EXPECT_EQ(Ask(), (Told{1, 2, 1, 0x00020010, 25, 1}));
    ftp.Finish();
}

TEST_F(XdcamInfoTest, AReplyOfOneLineTellsNothing) {
    const std::vector<std::string> replies = {"213 all", "550 no such clip", "213", "2", "", "213x-", "21-3"};
    for (const std::string& reply : replies) {
        ftp.Expect("STAT /clip").Say(reply);
    }
    BeLoggedOn(FTPMODE_XDCAM);
    for (const std::string& reply : replies) {
        EXPECT_EQ(Ask(), Nothing(1)) << reply;
    }
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(XdcamInfoTest, TheClassOfTheReplyIsNotLookedAt) {
    ftp.Expect("STAT /clip").Say("550-a");
    for (const char* line : {"l0", "l1", "IMX50", "50i", "2", "30", "213 no end", "550 end"}) {
        ftp.Say(line);
    }
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(Ask(), (Told{1, 3, 30, 0x00020010, 25, 1}));
    ftp.Finish();
}

// The closing line is read as the line in whose place it stands.
TEST_F(XdcamInfoTest, WithFewerLinesTheClosingOneIsAField) {
    for (std::size_t lines = 0; lines < kLines.size(); ++lines) {
        Answer({kLines.begin(), kLines.begin() + static_cast<std::ptrdiff_t>(lines)}).Say("213 24p");
    }
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(Ask(), Nothing(1));
    EXPECT_EQ(Ask(), Nothing(1));
    EXPECT_EQ(Ask(), (Told{1, 2, 101, 102, 103, 104}));
    EXPECT_EQ(Ask(), (Told{1, 3, 101, 102, 24, 1}));
    EXPECT_EQ(Ask(), (Told{1, 3, 101, 213 << 16 | 16, 30000, 1001}));
    EXPECT_EQ(Ask(), (Told{1, 3, 213, 0x00080010, 30000, 1001}));
    EXPECT_EQ(Ask(), (Told{1, 3, 2904, 0x00080010, 30000, 1001}));
    ftp.Finish();
}

TEST_F(XdcamInfoTest, FurtherLinesAreSkipped) {
    Answer({"IMX50", "IMX50", "IMX30", "24p", "2", "7", "IMX50", "50i", "4", "9", "213-9", "213 end"});
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(Ask(), (Told{1, 3, 7, 0x00020010, 24, 1}));
    ftp.Finish();
}

TEST_F(XdcamInfoTest, OnlyTheSameNumberAndABlankEndTheReply) {
    Answer({"214 x", "213", "213-IMX40", "213x", "2130 2", "21 3", "2", "", "213 end"});
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(Ask(), (Told{1, 3, 21, (2130 << 16) + 16, 25, 1}));
    ftp.Finish();
}

TEST_F(XdcamInfoTest, TheFirstLineNeedNotSayMoreThanThatOthersFollow) {
    ftp.Expect("STAT /clip").Say("213-").Say("l0").Say("l1").Say("IMX30").Say("213 ");
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(Ask(), (Told{1, 3, 101, 102, 25, 1}));
    ftp.Finish();
}

TEST_F(XdcamInfoTest, NumbersOfRepliesAreComparedAsNumbers) {
    ftp.Expect("STAT /clip").Say(" 13-a").Say("l0").Say("+13 end");
    ftp.Expect("STAT /clip").Say("abc-a").Say("213 x").Say("xyz end");
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(Ask(), Nothing(1));
    EXPECT_EQ(Ask(), Nothing(1));
    ftp.Finish();
}

TEST_F(XdcamInfoTest, NumbersOfAnySizeAreTaken) {
    Answer({"", "", "IMX50", "", "-1", "-5", "213 end"});
    Answer({"", "", "IMX50", "", "99999999999", "99999999999", "213 end"});
    Answer({"", "", "IMX50", "", "65537 ch", "x", "213 end"});
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(Ask(), (Told{1, 3, 0xFFFFFFFB, 0xFFFF0010, 25, 1}));
    EXPECT_EQ(Ask(), (Told{1, 3, 0x7FFFFFFF, 0xFFFF0010, 25, 1}));
    EXPECT_EQ(Ask(), (Told{1, 3, 0, 0x00010010, 25, 1}));
    ftp.Finish();
}

TEST_F(XdcamInfoTest, ThePathGoesOutAsItIs) {
    ftp.Expect("STAT ").Say("213 x").Expect("STAT /Clip/\xC3\xA4 %d.MXF").Say("213 x");
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(Ask(nullptr), Nothing(1));
    EXPECT_EQ(Ask(L"/Clip/\u00E4 %d.MXF"), Nothing(1));
    ftp.Finish();
}

// ---- Time ---------------------------------------------------------------------------------------------

TEST_F(XdcamInfoTest, TheDelayOfRepliesStandsInFrontOfTheFirstLineAlone) {
    Answer(kLines);
    BeLoggedOn(FTPMODE_XDCAM);
    io->m_nReplyDelay = 300;
    EXPECT_EQ(Ask(), (Told{1, 3, 2904, 0x00080010, 30000, 1001}));
    EXPECT_EQ(ftp.Spent(), 300);
    ftp.Finish();
}

TEST_F(XdcamInfoTest, EachLineHasItsOwnTime) {
    ftp.Expect("STAT /clip").After(14900).Say("213-a");
    for (const std::string& line : kLines) {
        ftp.After(14900).Say(line);
    }
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(Ask(), (Told{1, 3, 2904, 0x00080010, 30000, 1001}));
    EXPECT_EQ(ftp.Spent(), 8 * 14900);
    ftp.Finish();
}

TEST_F(XdcamInfoTest, ADeviceThatDoesNotAnswerIsGivenUpAfter15Seconds) {
    ftp.Expect("STAT /clip");
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(Ask(), Nothing(0));
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

// ---- Failures -----------------------------------------------------------------------------------------

TEST_F(XdcamInfoTest, WhatADeviceHasToldBeforeItFallsSilentStays) {
    const Told wanted[] = {Nothing(0),
                           Nothing(0),
                           Nothing(0),
                           {0, 3, 101, 102, 103, 104},
                           {0, 3, 101, 102, 30000, 1001},
                           {0, 3, 101, 0x00080010, 30000, 1001},
                           {0, 3, 2904, 0x00080010, 30000, 1001}};
    for (std::size_t lines = 0; lines < std::size(wanted); ++lines) {
        Answer({kLines.begin(), kLines.begin() + static_cast<std::ptrdiff_t>(lines)});
    }
    BeLoggedOn(FTPMODE_XDCAM);
    for (const Told& one : wanted) {
        EXPECT_EQ(Ask(), one);
    }
    EXPECT_EQ(ftp.Spent(), std::ssize(wanted) * 15000);
    ftp.Finish();
}

TEST_F(XdcamInfoTest, AServerThatClosesWithinAReplyEndsIt) {
    ftp.Expect("STAT /clip").Say("421 closing");
    Answer({"l0", "l1", "IMX40", "421-closing"});
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(Ask(), Nothing(0));
    EXPECT_EQ(Ask(), (Told{0, 3, 101, 102, 103, 104}));
    EXPECT_EQ(log.Count(L"421 Connection timed out - closing! \n"), 2u);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(XdcamInfoTest, AQuestionThatCannotBeSentIsNotWaitedFor) {
    BeLoggedOn(FTPMODE_XDCAM);
    ftp.FailNext(SocketCall::Send, 10054);
    EXPECT_EQ(Ask(), Nothing(0));
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(XdcamInfoTest, AReplyThatCannotBeReceivedIsAFailure) {
    Answer({"l0"}).Quiet();
    BeLoggedOn(FTPMODE_XDCAM);
    ftp.FailNext(SocketCall::Receive, 10054);
    EXPECT_EQ(Ask(), Nothing(0));
    ftp.Finish();
}
