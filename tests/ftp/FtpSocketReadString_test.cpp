// Lines that come whole, in pieces, too late or never.
#include "ftp/FtpSocket.h"

#include "ftp/SocketSeam.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

constexpr std::size_t kPacketMost = 1024; // that one receive asks for
constexpr std::size_t kTextMost = 64u << 20;

class FtpSocketReadStringTest : public ::testing::Test {
protected:
    FtpSocketReadStringTest() { socket.Create(); }

    // The next line, or what was in the string before where none came.
    std::wstring Line(unsigned timeOut = 0) {
        CVXCString line(L"none");
        m_result = socket.ReadString(line, timeOut);
        EXPECT_EQ(m_result, line.GetLength() == 4 && std::wstring(line) == L"none" ? 0 : 1);
        return line.c_str();
    }
    void Send(const std::string& bytes, uint64 at = 0) { seam.packets.push_back({.bytes = bytes, .at = at}); }

    SocketSeam seam;
    CFTPSocket socket;

private:
    int m_result = 0;
};

} // namespace

// ---- Lines ----------------------------------------------------------------------------------------------

TEST_F(FtpSocketReadStringTest, ALineHasNoLineEnd) {
    Send("220 hello\r\n");
    EXPECT_EQ(Line(), L"220 hello");
    EXPECT_THAT(seam.Sleeps(), IsEmpty());
}

TEST_F(FtpSocketReadStringTest, TwoLinesOfOnePacketComeOneAfterTheOther) {
    Send("first\r\nsecond\r\n");
    EXPECT_EQ(Line(15000), L"first");
    const int looks = seam.looks;
    EXPECT_EQ(Line(15000), L"second");
    EXPECT_EQ(seam.looks, looks + 1);
    EXPECT_EQ(seam.receives, 1);
    EXPECT_EQ(Line(), L"none");
}

TEST_F(FtpSocketReadStringTest, ALineThatIsThereIsGivenThoughTheTimeIsZero) {
    Send("a\r\n\r\nb\r\n");
    EXPECT_EQ(Line(), L"a");
    EXPECT_EQ(Line(), L"");
    EXPECT_EQ(Line(), L"b");
    EXPECT_THAT(seam.Sleeps(), IsEmpty());
}

TEST_F(FtpSocketReadStringTest, OnlyCrLfEndsALine) {
    Send("a\rb\nc\n\rd\r\re\r\r\n\n\r\n");
    EXPECT_EQ(Line(), L"a\rb\nc\n\rd\r\re\r");
    EXPECT_EQ(Line(), L"\n");
    EXPECT_EQ(Line(), L"none");
}

TEST_F(FtpSocketReadStringTest, ALineIsJoinedFromItsPieces) {
    for (const char* piece : {"2", "20 ", "hello\r", "\nSTR", "AY\r", "\n"}) {
        Send(piece);
    }
    EXPECT_EQ(Line(), L"220 hello");
    EXPECT_EQ(Line(), L"STRAY");
}

TEST_F(FtpSocketReadStringTest, EveryCutOfALineGivesTheSameLines) {
    const std::string text = "220-a\r\n\r\n220 b\r\n";
    for (std::size_t cut = 1; cut < text.size(); ++cut) {
        CFTPSocket fresh;
        Send(text.substr(0, cut));
        Send(text.substr(cut));
        CVXCString line;
        std::wstring all;
        while (fresh.ReadString(line, 0) == 1) {
            all += std::wstring(line) + L"|";
        }
        EXPECT_EQ(all, L"220-a||220 b|") << cut;
        seam.packets.clear();
    }
}

TEST_F(FtpSocketReadStringTest, WhatFollowsAZeroInAPacketIsLost) {
    Send(std::string("ab\0cd\r\n", 7));
    Send("ef\r\n");
    Send(std::string("\0gh\r\n", 5));
    Send("ij\r\n");
    EXPECT_EQ(Line(), L"abef");
    EXPECT_EQ(Line(), L"ij");
}

TEST_F(FtpSocketReadStringTest, APacketThatIsFullIsTakenWhole) {
    Send(std::string(kPacketMost, 'x') + std::string(kPacketMost, 'y') + "\r\n");
    EXPECT_EQ(Line(), std::wstring(kPacketMost, L'x') + std::wstring(kPacketMost, L'y'));
    EXPECT_EQ(seam.receives, 3);
}

TEST_F(FtpSocketReadStringTest, LettersOutsideAsciiAreRead) {
    Send("250 M\xC3\xBCll \xE2\x82\xAC\r\n");
    EXPECT_EQ(Line(), L"250 M\x00FCll \x20AC");
}

TEST_F(FtpSocketReadStringTest, ALetterThatIsCutByAPacketIsReplacedOnBothSides) {
    Send("\xE2\x82");
    Send("\xAC\r\n");
    const std::wstring line = Line();
    EXPECT_THAT(line, SizeIs(3)); // a character for each byte
    EXPECT_EQ(line.find(L'\x20AC'), std::wstring::npos);
}

// ---- Time -----------------------------------------------------------------------------------------------

TEST_F(FtpSocketReadStringTest, AMultipleOf100IsWaitedExactly) {
    EXPECT_EQ(Line(15000), L"none");
    EXPECT_THAT(seam.Sleeps(), SizeIs(150));
    EXPECT_THAT(seam.Sleeps(), Each(100u));
    EXPECT_EQ(seam.looks, 150);
}

TEST_F(FtpSocketReadStringTest, ALastShortStepComesOnTop) {
    EXPECT_EQ(Line(250), L"none");
    EXPECT_THAT(seam.Sleeps(), ElementsAre(100u, 100u, 100u, 50u));
}

TEST_F(FtpSocketReadStringTest, AShortTimeIsOneSleep) {
    EXPECT_EQ(Line(99), L"none");
    EXPECT_THAT(seam.Sleeps(), ElementsAre(99u));
}

TEST_F(FtpSocketReadStringTest, NoTimeIsOneSleepOfNone) {
    EXPECT_EQ(Line(0), L"none");
    EXPECT_THAT(seam.Sleeps(), ElementsAre(0u));
    EXPECT_EQ(seam.looks, 1);
}

TEST_F(FtpSocketReadStringTest, OtherTimes) {
    const auto sleepsOf = [this](unsigned timeOut) {
        const std::size_t before = seam.Sleeps().size();
        EXPECT_EQ(Line(timeOut), L"none");
        std::vector<uint32> sleeps = seam.Sleeps();
        sleeps.erase(sleeps.begin(), sleeps.begin() + static_cast<std::ptrdiff_t>(before));
        return sleeps;
    };
    EXPECT_THAT(sleepsOf(1), ElementsAre(1u));
    EXPECT_THAT(sleepsOf(100), ElementsAre(100u));
    EXPECT_THAT(sleepsOf(101), ElementsAre(100u, 100u, 1u));
    EXPECT_THAT(sleepsOf(199), ElementsAre(100u, 100u, 99u));
    EXPECT_THAT(sleepsOf(200), ElementsAre(100u, 100u));
}

TEST_F(FtpSocketReadStringTest, TheFirstLookLasts20MillisecondsWhereNoLineIsThere) {
    Send("a\r\nb\r\n");
    EXPECT_EQ(Line(15000), L"a");
    EXPECT_EQ(Line(15000), L"b"); // was there
    EXPECT_EQ(Line(15000), L"none");
    EXPECT_EQ(Line(15), L"none");
    EXPECT_EQ(Line(0), L"none");
    EXPECT_THAT(seam.firstLooks, ElementsAre(20u, 20u, 15u, 0u));
}

TEST_F(FtpSocketReadStringTest, ALineIsSeenAtMostOneStepAfterItCame) {
    Send("a\r\n", 101);
    EXPECT_EQ(Line(15000), L"a");
    EXPECT_EQ(seam.Spent(), 200u);
}

TEST_F(FtpSocketReadStringTest, TheTimeIsThatOfTheWholeLine) {
    Send("a", 100);
    Send("b", 200);
    Send("c", 300);
    EXPECT_EQ(Line(400), L"none");
    EXPECT_EQ(seam.Spent(), 400u);
    // What has come stays for the next call, whose time is its own.
    Send("d\r\n", 600);
    EXPECT_EQ(Line(400), L"abcd");
    EXPECT_EQ(seam.Spent(), 600u);
}

TEST_F(FtpSocketReadStringTest, AFailedLookIsNoEnd) {
    seam.Fail("readable", 10038);
    seam.Fail("readable", 10038);
    Send("late\r\n");
    EXPECT_EQ(Line(15000), L"late");
    EXPECT_THAT(seam.Sleeps(), ElementsAre(100u, 100u));
    EXPECT_EQ(socket.m_nErr, 10038);
}

TEST_F(FtpSocketReadStringTest, ALineThatIsThereNeedsNoLook) {
    Send("a\r\nb\r\n");
    EXPECT_EQ(Line(), L"a");
    seam.Fail("readable", 10038);
    EXPECT_EQ(Line(15000), L"b");
    EXPECT_THAT(seam.Sleeps(), IsEmpty());
}

TEST_F(FtpSocketReadStringTest, AFailedReceiveIsTheEndAndKeepsWhatCame) {
    Send("a");
    seam.packets.push_back({.bytes = "lost", .error = 10054});
    EXPECT_EQ(Line(15000), L"none");
    EXPECT_EQ(socket.m_nErr, 10054);
    EXPECT_THAT(seam.Sleeps(), IsEmpty());
    Send("b\r\n");
    EXPECT_EQ(Line(), L"ab");
    EXPECT_EQ(socket.m_nErr, 10054);
}

TEST_F(FtpSocketReadStringTest, AFailedReceiveHidesTheLineThatIsThere) {
    Send("a\r\nb\r\n");
    EXPECT_EQ(Line(), L"a");
    seam.packets.push_back({.bytes = "lost", .error = 10054});
    EXPECT_EQ(Line(), L"none");
    EXPECT_EQ(Line(), L"b");
}

TEST_F(FtpSocketReadStringTest, BytesThatAreToldButDoNotComeCostTimeToo) {
    for (int i = 0; i < 10; ++i) {
        seam.packets.push_back({.bytes = {}, .claimed = 5});
    }
    EXPECT_EQ(Line(300), L"none");
    EXPECT_THAT(seam.Sleeps(), ElementsAre(100u, 100u, 100u));
    EXPECT_EQ(seam.receives, 3);
}

// ---- Too much -------------------------------------------------------------------------------------------

TEST_F(FtpSocketReadStringTest, ATextThatNeverEndsIsGivenUpAt64Megabytes) {
    seam.onReceive = [this] {
        if (seam.packets.size() < 2) {
            seam.packets.push_back({.bytes = std::string(kPacketMost, 'x')});
        }
    };
    Send("x");
    socket.m_nErr = 7;
    const LogCapture log;
    EXPECT_EQ(Line(15000), L"none");
    EXPECT_THAT(log.Texts(), ElementsAre(L"m_nErr = 7 CFTPSocket::ReadString line:234",
                                         L"m_nErr = 7 CFTPSocket::ReadString line:305"));
    EXPECT_THAT(seam.Sleeps(), IsEmpty());
    EXPECT_NEAR(seam.receives, kTextMost / kPacketMost, 2);
    // What follows is a text of its own.
    seam.onReceive = nullptr;
    seam.packets.clear();
    Send("end\r\n");
    EXPECT_EQ(Line(), L"end");
}

TEST_F(FtpSocketReadStringTest, LinesThatComeFasterThanTheyAreReadAreLeftWithThePeerFrom64MegabytesOn) {
    std::string packet;
    while (packet.size() < kPacketMost) {
        packet += "\r\n";
    }
    seam.onReceive = [this, &packet] { seam.packets.push_back({.bytes = packet}); };
    Send(packet);
    // Each call takes a packet and gives one of its lines out.
    CVXCString line;
    for (std::size_t calls = 0; calls < kTextMost / kPacketMost + 200; ++calls) {
        ASSERT_EQ(socket.ReadString(line, 0), 1);
    }
    const int received = seam.receives;
    EXPECT_LE(received, static_cast<int>(kTextMost / kPacketMost) + 150);
    for (int calls = 0; calls < 100; ++calls) {
        ASSERT_EQ(socket.ReadString(line, 0), 1);
        ASSERT_TRUE(line.IsEmpty());
    }
    EXPECT_EQ(seam.receives, received);
}

TEST_F(FtpSocketReadStringTest, ManyLinesTakeTimeInProportion) {
    // Nearly all of them are there before the first ones are given out. Were the rest moved up for each line,
    // that would be some terabytes, and the run of the tests would give this one up.
    constexpr int kPackets = 16384;
    const std::wstring text(30, L'x');
    std::string packet;
    while (packet.size() < kPacketMost) {
        packet += std::string(30, 'x') + "\r\n";
    }
    int left = kPackets - 1;
    seam.onReceive = [&] {
        if (left-- > 0) {
            Send(packet);
        }
    };
    Send(packet);
    int count = 0;
    CVXCString line;
    while (socket.ReadString(line, 0) == 1) {
        ASSERT_STREQ(line, text.c_str());
        ++count;
    }
    EXPECT_EQ(count, kPackets * 32);
    EXPECT_EQ(seam.receives, kPackets);
}
