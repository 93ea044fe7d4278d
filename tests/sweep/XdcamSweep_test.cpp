// Every way in which the sockets or memory may fail a session with an XDCAM device: it asks for a clip and
// for the space, opens a stretch, reads and closes it. The scenario runs once clean, then with the first call
// failing, with the second, and so on until a run in which nothing failed. Whatever happens, it ends, what is
// told is what the device has told, each byte is the stretch's, and nothing is left behind.
#include "frame/SoftDataIO.h"
#include "ftp/InnerLook.h"
#include "ftp/StretchHead.h"
#include "support/LeakChecks.h"
#include "support/MemoryLack.h"
#include "support/SettingsScope.h"
#include "sweep/FtpFake.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <set>
#include <string>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kMostRuns = 2000;
constexpr int64 kMostTime = 60 * 60 * 1000; // of the test clock
constexpr uint32 kUntold = 4711;

struct Outcome {
    bool isMade = false;
    uint32 connected = 0;
    int isTold = 0;
    int type = kUntold;
    uint32 length = kUntold;
    uint32 audio = kUntold;
    uint32 rate = kUntold;
    uint32 scale = kUntold;
    uint64 space = 0;
    uint32 opened = 0;
    uint32 start = 100;
    uint32 end = 150;
    std::string bytes;
    bool isLost = false;
};

Outcome RunSession() {
    Outcome outcome;
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FTP));
    if (!source) {
        return outcome;
    }
    outcome.isMade = true;
    outcome.connected =
        static_cast<uint32>(source->Connect(FTPMODE_XDCAM, L"device", L"u", L"p", FtpFake::kPort, 0));
    auto type = static_cast<PLUG_VIDEO_TYPE_>(outcome.type);
    outcome.isTold =
        source->GetXDCAMMXFInfo(L"/clip", type, outcome.length, outcome.audio, outcome.rate, outcome.scale);
    outcome.type = type;
    outcome.space = source->GetXDCAMFreeSpace();
    outcome.opened =
        static_cast<uint32>(source->OpenXDCAMFtpMXF(L"/clip", outcome.start, outcome.end, nullptr));
    uint8 piece[700];
    for (int got = 1; got > 0;) {
        got = StretchHead(*source, outcome.bytes.size(), piece, sizeof piece);
        outcome.bytes.append(reinterpret_cast<char*>(piece), static_cast<std::size_t>(got));
    }
    for (int got = 1; outcome.opened == 0 && got > 0;) {
        got = source->Read(piece, sizeof piece);
        outcome.bytes.append(reinterpret_cast<char*>(piece), static_cast<std::size_t>(got));
    }
    outcome.isLost = outcome.opened == 0 && InnerLook(*source)->m_DataChannel == nullptr;
    EXPECT_EQ(source->CloseFile(), 0u);
    EXPECT_EQ(source->Close(), 1);
    return outcome;
}

template <class Number>
bool IsOneOf(Number number, std::initializer_list<Number> all) {
    return std::find(all.begin(), all.end(), number) != all.end();
}

// Nothing when the outcome is one that a failure may have, else what is wrong with it.
std::string Judge(const Outcome& outcome, const FtpFake& fake) {
    static const std::set<uint32> kStatuses = {0,          0x80000100, 0x80000700, 0x80000701,
                                               0x80000702, 0x80000703, 0x80000704, 0x80000707,
                                               0x80000708, 0x80000709, 0x80000710, 0x80000711};
    if (kStatuses.count(outcome.connected) == 0 || kStatuses.count(outcome.opened) == 0) {
        return "a status that is none of a session's";
    }
    if (!IsOneOf<int>(outcome.type, {kUntold, 3}) || !IsOneOf(outcome.rate, {kUntold, 30000u}) ||
        !IsOneOf(outcome.scale, {kUntold, 1001u}) || !IsOneOf(outcome.audio, {kUntold, 0x00080010u}) ||
        !IsOneOf(outcome.length, {kUntold, 2904u})) {
        return "a fact that the device did not tell";
    }
    if (!IsOneOf(outcome.space, {uint64{0}, uint64{0x80000708}, FtpFake::kSpace})) {
        return "a space that the device did not tell";
    }
    if (!IsOneOf(outcome.start, {100u, 100u - FtpFake::kOrigin}) || outcome.end != 150) {
        return "frames that the device did not tell";
    }
    if (!FtpFake::Stretch().starts_with(outcome.bytes)) {
        return "bytes that the device did not send";
    }
    // The connection of a transfer that was lost stays, as a thread may stand in it.
    if (fake.Tokens() > (outcome.isLost ? 1 : 0)) {
        return "sockets are left";
    }
    if (fake.Hangs() != 0) {
        return "it waits for what can never come";
    }
    if (fake.Spent() > kMostTime) {
        return "it takes too long";
    }
    return "";
}

std::string JudgeClean(const Outcome& outcome, const FtpFake& fake) {
    const bool isGood = outcome.isMade && outcome.connected == 0 && outcome.isTold == 1 &&
                        outcome.type == 3 && outcome.length == 2904 && outcome.audio == 0x00080010 &&
                        outcome.rate == 30000 && outcome.scale == 1001 && outcome.space == FtpFake::kSpace &&
                        outcome.opened == 0 && outcome.start == 100 - FtpFake::kOrigin &&
                        outcome.bytes == FtpFake::Stretch() && !outcome.isLost;
    return isGood ? Judge(outcome, fake) : "a clean run failed";
}

class XdcamSweepTest : public ::testing::Test {
protected:
    // Runs with each call failing in turn.
    static void Sweep(SocketFault fault) {
        const SettingsScope settings;
        const NoLeakScope leaks;
        for (fault.nth = 1; fault.nth < kMostRuns; ++fault.nth) {
            FtpFake fake(fault);
            const Outcome outcome = RunSession();
            ASSERT_EQ(Judge(outcome, fake), "") << "call " << fault.nth << " failed";
            if (fake.Fired() == 0) {
                ASSERT_EQ(JudgeClean(outcome, fake), "");
                ASSERT_GT(fault.nth, 60) << "the faults have really met something";
                return;
            }
        }
        FAIL() << "it never ran clean";
    }
};

} // namespace

TEST_F(XdcamSweepTest, WhateverCallOfASocketFails) {
    Sweep({SocketFault::Kind::Fails, 1, false});
}

TEST_F(XdcamSweepTest, WhicheverCallIsTheLastThatWorks) {
    Sweep({SocketFault::Kind::Fails, 1, true});
}

TEST_F(XdcamSweepTest, WhicheverTransferIsShort) {
    Sweep({SocketFault::Kind::Short, 1, false});
}

TEST_F(XdcamSweepTest, WhereMemoryLacksNothingElseIsAskedForThanWhatWasMeant) {
    const SettingsScope settings;
    std::set<std::string> lines;
    {
        FtpFake fake;
        ASSERT_EQ(JudgeClean(RunSession(), fake), "");
        lines.insert(fake.Lines().begin(), fake.Lines().end());
    }
    int uncorrected = 0; // opens that have worked and had no memory for the head
    for (int nth = 1; nth < kMostRuns; ++nth) {
        FtpFake fake;
        bool came = false;
        Outcome outcome;
        {
            const MemoryLack lack(nth);
            outcome = RunSession();
            came = lack.Came();
        }
        ASSERT_EQ(Judge(outcome, fake), "") << "allocation " << nth;
        uncorrected += outcome.isMade && outcome.opened == 0 && outcome.start == 100 ? 1 : 0;
        for (const std::string& line : fake.Lines()) {
            // Of the logon and of a port a part may be missing, which servers refuse; never of a clip.
            const std::string verb = line.substr(0, 5);
            const bool isOwn = verb == "USER " || verb == "PASS " || verb == "PORT " || line == "REIN";
            ASSERT_TRUE(isOwn || lines.count(line) != 0) << line << ", allocation " << nth;
        }
        if (!came) {
            ASSERT_EQ(JudgeClean(outcome, fake), "");
            ASSERT_GT(nth, 60);
            EXPECT_GT(uncorrected, 0);
            return;
        }
    }
    FAIL() << "it never ran clean";
}
