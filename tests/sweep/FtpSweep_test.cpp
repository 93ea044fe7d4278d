// Every socket call of an FTP session that may fail: the scenario runs once clean, then with the first call
// failing, with the second, and so on until a run in which nothing failed. Whatever happens, it ends in a
// bounded time, what it tells is one of its own statuses, no byte is one that the server did not send, and no
// socket, thread or descriptor is left.
#include "frame/FindData.h"
#include "frame/InnerSoftDataIO.h"
#include "frame/Status.h"
#include "ftp/FtpSocket.h"
#include "support/FtpScript.h"
#include "support/LeakChecks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kMostRuns = 1000;
constexpr int64 kMostTime = 20 * 60 * 1000; // of the test clock
constexpr int kInjected = 10777;            // no real error has this number

struct Fault {
    const char* name;
    bool afterEffect;
    bool fromThenOn;
};
constexpr Fault kFaults[] = {{"OnceBefore", false, false},
                             {"OnceAfter", true, false},
                             {"FromThenOnBefore", false, true},
                             {"FromThenOnAfter", true, true}};
void PrintTo(const Fault& fault, std::ostream* out) {
    *out << fault.name;
}

// ---- Calls that fail ------------------------------------------------------------------------------------

// What lies over the table of the script. The scenario has one thread.
struct Plan {
    SocketTable below;
    Fault fault = kFaults[0];
    int nth = 0; // 0: none
    int calls = 0;
    int fired = 0;
    const char* where = "nowhere";
    bool isLastErrorInjected = false;
};
Plan g_plan;

bool IsHit(const char* name) {
    ++g_plan.calls;
    const bool isHit = g_plan.nth != 0 &&
                       (g_plan.fault.fromThenOn ? g_plan.calls >= g_plan.nth : g_plan.calls == g_plan.nth);
    if (isHit) {
        ++g_plan.fired;
        g_plan.where = g_plan.fired == 1 ? name : g_plan.where;
    }
    return isHit;
}

// One call by its name; -1 is its failure. What a socket that nobody hears of would cost is not asked for:
// calls that give one fail before their effect.
template <class Result, class Call>
Result Make(const char* name, bool givesSocket, Call call) {
    const bool isHit = IsHit(name);
    const Result failure = static_cast<Result>(-1);
    Result result = failure;
    if (!isHit || (g_plan.fault.afterEffect && !givesSocket)) {
        result = call(g_plan.below);
    }
    if (isHit) {
        g_plan.isLastErrorInjected = true;
        return failure;
    }
    g_plan.isLastErrorInjected = g_plan.isLastErrorInjected && result != failure;
    return result;
}

class FaultyCalls {
public:
    FaultyCalls(const Fault& fault, int nth) {
        g_plan = {.below = Sockets(), .fault = fault, .nth = nth};
        SocketTable& table = Sockets();
        table.startup = [](uint16 wanted, uint16* version) {
            return Make<int>("startup", true, [=](auto& below) { return below.startup(wanted, version); });
        };
        table.open = [] { return Make<SocketToken>("open", true, [](auto& below) { return below.open(); }); };
        table.accept = [](SocketToken socket) {
            return Make<SocketToken>("accept", true, [=](auto& below) { return below.accept(socket); });
        };
        table.connect = [](SocketToken socket, uint32 address, uint16 port) {
            return Make<int>("connect", false,
                             [=](auto& below) { return below.connect(socket, address, port); });
        };
        table.bind = [](SocketToken socket, uint32 address, uint16 port) {
            return Make<int>("bind", false, [=](auto& below) { return below.bind(socket, address, port); });
        };
        table.listen = [](SocketToken socket, int backlog) {
            return Make<int>("listen", false, [=](auto& below) { return below.listen(socket, backlog); });
        };
        table.send = [](SocketToken socket, const void* data, uint32 bytes) {
            return Make<int>("send", false, [=](auto& below) { return below.send(socket, data, bytes); });
        };
        table.receive = [](SocketToken socket, void* buffer, uint32 bytes) {
            return Make<int>("receive", false,
                             [=](auto& below) { return below.receive(socket, buffer, bytes); });
        };
        table.readable = [](SocketToken socket, uint32* bytes) {
            return Make<int>("readable", false, [=](auto& below) { return below.readable(socket, bytes); });
        };
        table.name = [](SocketToken socket, uint32* address, uint16* port) {
            return Make<int>("name", false, [=](auto& below) { return below.name(socket, address, port); });
        };
        table.lastError = [] { return g_plan.isLastErrorInjected ? kInjected : g_plan.below.lastError(); };
    }
    ~FaultyCalls() { Sockets() = g_plan.below; }
    FaultyCalls(const FaultyCalls&) = delete;
    FaultyCalls& operator=(const FaultyCalls&) = delete;
};

// ---- What is done ---------------------------------------------------------------------------------------

const std::string kListing = "-rw-r--r--   1 user     group          12 Nov 21 10:20 first.mxf\r\n"
                             "drwxr-xr-x   2 user     group        4096 Nov 21 10:20 folder\r\n";
const std::vector<std::wstring> kNames = {L"first.mxf", L"folder"};

struct Outcome {
    uint32 connected = 0;
    bool listed = false;
    std::vector<std::wstring> names;
    uint32 prepared = 0;
    std::string data;
    int64 time = 0;
};

class FtpSweepTest : public ::testing::TestWithParam<std::tuple<bool, Fault>> {
protected:
    static bool IsPassive() { return std::get<0>(GetParam()); }

    static std::string Data() { return FtpScript::Pattern(100'000, 7); }

    static void Write(FtpScript& ftp) {
        const auto transfer = [&](const char* command, const std::string& data) {
            if (IsPassive()) {
                ftp.Passive().Expect(command).AcceptData().Say("150 here");
            } else {
                ftp.Active().Expect(command).Say("150 here").Dial();
            }
            ftp.DSend(data).DFin().Say("226 done");
        };
        ftp.Logon("u", "p").Expect("NOOP").Say("200").Expect("CWD /d").Say("250");
        transfer("LIST ", kListing);
        transfer("RETR f", Data());
        ftp.Expect("QUIT").Say("221");
    }

    static std::string Receive(CInnerSoftDataIO& io) {
        std::string all;
        std::string piece(30'000, '\0');
        for (int got = 1; got > 0;) {
            got = io.m_DataChannel->Receive(piece.data(), static_cast<unsigned>(piece.size()), 0);
            all.append(piece, 0, got > 0 ? static_cast<std::size_t>(got) : 0);
        }
        return all;
    }

    // Goes on after each failure as a host may.
    static Outcome Run(CInnerSoftDataIO& io, FtpScript& ftp) {
        Outcome outcome;
        outcome.connected =
            static_cast<uint32>(io.Connect(FTPMODE_NORMAL, ftp.Host(), L"u", L"p", ftp.Port(), 0));
        if (outcome.connected == 0) {
            io.SetPASVMode(IsPassive() ? 1 : 0);
            outcome.listed = io.SetFindPath(L"/d") != 0;
            WIN32_FIND_DATAW record;
            while (outcome.listed && io.FindNextFile1(&record) != 0) {
                outcome.names.emplace_back(record.cFileName);
            }
            outcome.prepared = io.CreateDataChannel();
            if (outcome.prepared == 0 && (!io.m_bPASV || io.ConnectDataChannel() != 0)) {
                const bool isPassive = io.m_bPASV != 0;
                if (io.SendCommand(L"RETR ", L"f") != 0 && io.ReadStr(io.m_retmsg, 15000) != 0 &&
                    io.m_nReplyClass == 1 && (isPassive || io.AcceptDataChannel() != 0)) {
                    outcome.data = Receive(io);
                }
            }
        }
        EXPECT_EQ(io.Close(), 1);
        outcome.time = ftp.Spent();
        return outcome;
    }

    static void ExpectAllowed(const Outcome& outcome) {
        EXPECT_THAT(outcome.connected,
                    ::testing::AnyOf(0u, VXC_STATUS_FTP_CONNECT, VXC_STATUS_FTP_SOCKET, VXC_STATUS_FTP_SEND,
                                     VXC_STATUS_FTP_REPLY, VXC_STATUS_FTP_USER, VXC_STATUS_FTP_PASSWORD));
        EXPECT_THAT(outcome.prepared,
                    ::testing::AnyOf(0u, VXC_STATUS_FTP_PORT, VXC_STATUS_FTP_SOCKET, VXC_STATUS_FTP_TYPE));
        EXPECT_LE(outcome.names.size(), kNames.size());
        EXPECT_TRUE(std::equal(outcome.names.begin(), outcome.names.end(), kNames.begin()));
        EXPECT_TRUE(Data().starts_with(outcome.data));
        EXPECT_LE(outcome.time, kMostTime);
        EXPECT_EQ(OpenSocketCount(), 0);
    }
    static void ExpectClean(const Outcome& outcome) {
        EXPECT_EQ(outcome.connected, 0u);
        EXPECT_TRUE(outcome.listed);
        EXPECT_EQ(outcome.names, kNames);
        EXPECT_EQ(outcome.prepared, 0u);
        EXPECT_TRUE(outcome.data == Data());
        EXPECT_EQ(outcome.time, 0);
    }
};

} // namespace

TEST_P(FtpSweepTest, WhateverSocketCallFails) {
    const Fault& fault = std::get<1>(GetParam());
    for (int n = 1;; ++n) {
        const NoLeakScope leaks;
        FtpScript ftp;
        Write(ftp);
        ftp.Start();
        Outcome outcome;
        {
            const auto io = Ref<CInnerSoftDataIO>::Adopt(new CInnerSoftDataIO(nullptr));
            const FaultyCalls calls(fault, n);
            outcome = Run(*io, ftp);
        }
        ExpectAllowed(outcome);
        // A client that has met a failure need not follow the script.
        const std::string failure = ftp.End();
        ASSERT_FALSE(HasFailure()) << g_plan.where << ", call " << n << ": " << failure;
        if (g_plan.fired == 0) {
            EXPECT_EQ(failure, "");
            ExpectClean(outcome);
            EXPECT_GT(n, 30); // the faults really met something
            return;
        }
        ASSERT_LT(n, kMostRuns);
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, FtpSweepTest,
                         ::testing::Combine(::testing::Bool(), ::testing::ValuesIn(kFaults)),
                         [](const auto& entry) {
                             return std::string(std::get<0>(entry.param) ? "Passive" : "Active") +
                                    std::get<1>(entry.param).name;
                         });
