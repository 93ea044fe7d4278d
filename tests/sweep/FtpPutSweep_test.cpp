// Every way in which the sockets, the system or memory may fail a session that lists a folder, writes a file
// and deletes one: the scenario runs once clean, then with the first call failing, with the second, and so on
// until a run in which nothing failed. Whatever happens, it ends, nothing is left behind, no name is one that
// the server did not send, and what was reported as written stands on the server.
#include "frame/FindData.h"
#include "frame/InnerSoftDataIO.h"
#include "ftp/InnerLook.h"
#include "ftp/WriteToFtp.h"
#include "support/FaultPlan.h"
#include "support/LeakChecks.h"
#include "support/MemoryLack.h"
#include "support/TempFolder.h"
#include "sweep/FtpFake.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <set>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kMostRuns = 2000;

struct PutOutcome {
    uint32 connected = 0;
    int listed = 0;
    std::vector<std::wstring> names;
    uint32 opened = 0;
    bool allWritten = true;
    uint32 closed = 0;
    int deleted = 0;
};

// What a session is about.
struct Way {
    const char* name;
    FTPMODE mode;
    int passive;
};
void PrintTo(const Way& way, std::ostream* out) {
    *out << way.name;
}
const Way kWays[] = {
    {"Passive", FTPMODE_NORMAL, 1}, {"Active", FTPMODE_NORMAL, 0}, {"Device", FTPMODE_EXPLODED, 0}};

const std::string kContent = "what is to stand in the file, written in three pieces";
const std::vector<std::wstring> kNames = {L"one", L"two", L"three"};

// Lists, writes, deletes.
PutOutcome RunSession(CWriteToFtpEx1& sink, const Way& way) {
    PutOutcome outcome;
    outcome.connected = static_cast<uint32>(sink.Connect(way.mode, L"server", L"u", L"p", FtpFake::kPort, 0));
    sink.SetPASVMode(way.passive);
    outcome.listed = sink.SetFindPath(L"/x");
    WIN32_FIND_DATAW record;
    for (int i = 0; outcome.listed != 0 && i < 10 && sink.FindNextFile1(&record) != 0; ++i) {
        outcome.names.emplace_back(record.cFileName);
    }
    sink.FindFileClose();
    outcome.opened = sink.OpenFile(L"/clip", 0, 0, 0, 0, 0, 0, 0, 0, nullptr);
    for (std::size_t at = 0; at < kContent.size(); at += 20) {
        const std::string piece = kContent.substr(at, 20);
        const auto size = static_cast<uint32>(piece.size());
        const int written = sink.Write(reinterpret_cast<const uint8*>(piece.data()), size, nullptr);
        outcome.allWritten = outcome.allWritten && written == static_cast<int>(size);
    }
    // Of a file that could not be opened nobody may ever tell the end.
    outcome.closed = outcome.opened == 0 ? sink.CloseFile() : 0;
    outcome.deleted = sink.DeleteFile1(L"/old");
    EXPECT_EQ(sink.Close(), 1);
    return outcome;
}

bool IsSubsequence(const std::vector<std::wstring>& part, const std::vector<std::wstring>& whole) {
    auto at = whole.begin();
    for (const std::wstring& one : part) {
        at = std::find(at, whole.end(), one);
        if (at == whole.end()) {
            return false;
        }
        ++at;
    }
    return true;
}

// Nothing when the outcome is one that a failure may have, else what is wrong with it.
std::string Judge(const PutOutcome& outcome, const FtpFake& fake) {
    static const std::set<uint32> kStatuses = {0,          0x80000700, 0x80000701, 0x80000702, 0x80000703,
                                               0x80000705, 0x80000707, 0x80000708, 0x80000709, 0x80000710};
    if (kStatuses.count(outcome.connected) == 0 || kStatuses.count(outcome.opened) == 0) {
        return "a status that is none of a session's";
    }
    if (outcome.closed != 0 && outcome.closed != 0x80000108) {
        return "a status that is none of a close";
    }
    if (!IsSubsequence(outcome.names, kNames)) {
        return "a name that the server did not send";
    }
    if (outcome.opened == 0 && outcome.allWritten && outcome.closed == 0 && fake.File() != kContent) {
        return "a file that is not what was reported as written";
    }
    if (fake.Tokens() != 0) {
        return "sockets are left";
    }
    if (fake.Hangs() != 0) {
        return "it waits for what can never come";
    }
    return "";
}

std::string JudgeClean(const PutOutcome& outcome, const FtpFake& fake) {
    const bool isGood = outcome.connected == 0 && outcome.listed == 1 && outcome.names == kNames &&
                        outcome.opened == 0 && outcome.allWritten && outcome.closed == 0 &&
                        fake.File() == kContent && outcome.deleted == 1;
    return isGood ? Judge(outcome, fake) : "a clean run failed";
}

class FtpPutSweepTest : public ::testing::TestWithParam<Way> {
protected:
    // Runs with each call failing in turn.
    static void Sweep(SocketFault fault) {
        const NoLeakScope leaks;
        for (fault.nth = 1; fault.nth < kMostRuns; ++fault.nth) {
            FtpFake fake(fault);
            PutOutcome outcome;
            {
                CWriteToFtpEx1 sink;
                outcome = RunSession(sink, GetParam());
                const InnerLook look(sink);
                ASSERT_EQ(look->m_Ctrlsok, nullptr);
                ASSERT_EQ(look->m_DataChannel, nullptr);
                ASSERT_EQ(look->m_SockSvr, nullptr);
            }
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

INSTANTIATE_TEST_SUITE_P(Ways, FtpPutSweepTest, ::testing::ValuesIn(kWays),
                         [](const auto& way) { return std::string(way.param.name); });

TEST_P(FtpPutSweepTest, WhateverCallOfASocketFails) {
    Sweep({SocketFault::Kind::Fails, 1, false});
}

TEST_P(FtpPutSweepTest, WhicheverCallIsTheLastThatWorks) {
    Sweep({SocketFault::Kind::Fails, 1, true});
}

TEST_P(FtpPutSweepTest, WhicheverTransferIsShort) {
    Sweep({SocketFault::Kind::Short, 1, false});
}

TEST_P(FtpPutSweepTest, WhereMemoryLacksNothingElseIsAskedForThanWhatWasMeant) {
    std::set<std::string> lines;
    {
        FtpFake fake;
        CWriteToFtpEx1 sink;
        ASSERT_EQ(JudgeClean(RunSession(sink, GetParam()), fake), "");
        lines.insert(fake.Lines().begin(), fake.Lines().end());
    }
    for (int nth = 1; nth < kMostRuns; ++nth) {
        FtpFake fake;
        CWriteToFtpEx1 sink;
        bool came = false;
        PutOutcome outcome;
        {
            const MemoryLack lack(nth);
            outcome = RunSession(sink, GetParam());
            came = lack.Came();
        }
        ASSERT_EQ(Judge(outcome, fake), "") << "allocation " << nth;
        for (const std::string& line : fake.Lines()) {
            // Of the logon and of a port a part may be missing, which servers refuse; never of what is to be
            // written or deleted.
            const std::string verb = line.substr(0, 5);
            const bool isOwn =
                verb == "USER " || verb == "PASS " || verb == "PORT " || line == "REIN" || line == "ABOR";
            ASSERT_TRUE(isOwn || lines.count(line) != 0) << line << ", allocation " << nth;
        }
        if (!came) {
            ASSERT_EQ(JudgeClean(outcome, fake), "");
            ASSERT_GT(nth, 60);
            return;
        }
    }
    FAIL() << "it never ran clean";
}

TEST_P(FtpPutSweepTest, ASessionNeedsNothingOfTheSystemThatCanFail) {
    FtpFake fake;
    FaultPlan plan;
    plan.Add(FailAny().FromThenOn());
    CWriteToFtpEx1 sink;
    EXPECT_EQ(JudgeClean(RunSession(sink, GetParam()), fake), "");
    EXPECT_EQ(plan.Fired(), 0);
    EXPECT_GT(plan.Calls(Op::VXC_Sleep), 0);
    EXPECT_EQ(plan.Calls(), plan.Calls(Op::VXC_Sleep));
}

// ---- Without a session ----

TEST(LocalFilesSweepTest, WhateverOperationFails) {
    for (int n = 1; n < kMostRuns; ++n) {
        const NoLeakScope leaks;
        const TempFolder folder{TempFolder::Kind::Memory};
        folder.Write("clip", "bytes");
        folder.Write("old", "bytes");
        FaultPlan plan;
        plan.Add(FailAny().Nth(n));
        CSoftDataIO io;
        const int isThere = io.IsFileExist(folder.Wide("clip").c_str());
        const int isDeleted = io.DeleteFile1(folder.Wide("old").c_str());
        const bool wasDeleted = !std::filesystem::exists(folder.Path() / "old");
        const int isMade = io.MakeFolder(folder.Wide("sub").c_str());
        ASSERT_EQ(io.RenameFile(folder.Wide("clip").c_str(), folder.Wide("to").c_str()), 1);
        const std::string account = plan.Account().empty() ? "clean" : plan.Account().front();
        ASSERT_TRUE(isDeleted == 0 || wasDeleted) << account;
        ASSERT_EQ(isMade != 0, std::filesystem::exists(folder.Path() / "sub")) << account;
        ASSERT_NE(std::filesystem::exists(folder.Path() / "clip"),
                  std::filesystem::exists(folder.Path() / "to"))
            << account;
        if (plan.Fired() == 0) {
            ASSERT_EQ(isThere, 1);
            ASSERT_EQ(isDeleted, 1);
            ASSERT_EQ(isMade, 1);
            ASSERT_TRUE(std::filesystem::exists(folder.Path() / "to"));
            ASSERT_GT(n, 8);
            return;
        }
    }
    FAIL() << "it never ran clean";
}
