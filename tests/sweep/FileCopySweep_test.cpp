// Every way in which the sockets, the system or memory may fail a copy from a server to a local file: it runs
// once clean, then with the first call failing, with the second, and so on until a run in which nothing
// failed. Whatever happens, it ends, nothing is left behind, and a report of success means the whole file,
// but for what is listed at MayBeLost.
#include "frame/Status.h"
#include "ftp/FileCopyReports.h"
#include "platform/Sockets.h"
#include "support/FaultPlan.h"
#include "support/FtpScript.h"
#include "support/FtpWire.h"
#include "support/LeakChecks.h"
#include "support/MemoryLack.h"
#include "support/Prompts.h"
#include "support/SettingsScope.h"
#include "support/TempFolder.h"
#include "support/TestClock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kMostRuns = 2000;
constexpr std::size_t kSize = 2'500'000;

// ---- Sockets that fail ----

// The n-th call of the sockets of a copy fails, and with `fromThenOn` all behind it. Calls that close have
// their effect all the same.
class FailingSockets {
public:
    FailingSockets(int nth, bool fromThenOn) : m_former(Sockets()) {
        s_former = &m_former;
        s_nth = nth;
        s_fromThenOn = fromThenOn;
        s_calls = 0;
        SocketTable& table = Sockets();
        table.open = [] { return Fails() ? kNoSocket : s_former->open(); };
        table.connect = [](SocketToken token, uint32 address, uint16 port) {
            return Fails() ? -1 : s_former->connect(token, address, port);
        };
        table.send = [](SocketToken token, const void* data, uint32 bytes) {
            return Fails() ? -1 : s_former->send(token, data, bytes);
        };
        table.receive = [](SocketToken token, void* buffer, uint32 bytes) {
            return Fails() ? -1 : s_former->receive(token, buffer, bytes);
        };
        table.receiveNow = [](SocketToken token, void* buffer, uint32 bytes) {
            return Fails() ? -1 : s_former->receiveNow(token, buffer, bytes);
        };
        table.waitReadable = [](SocketToken token) { return Fails() ? -1 : s_former->waitReadable(token); };
        table.readable = [](SocketToken token, uint32* bytes) {
            return Fails() ? -1 : s_former->readable(token, bytes);
        };
        table.close = [](SocketToken token) {
            const int result = s_former->close(token);
            return Fails() ? -1 : result;
        };
        table.lastError = [] { return kSocketReset; };
    }
    ~FailingSockets() { Sockets() = m_former; }
    FailingSockets(const FailingSockets&) = delete;
    FailingSockets& operator=(const FailingSockets&) = delete;

    static bool Came() { return s_calls >= s_nth; }

private:
    static bool Fails() {
        const int call = ++s_calls;
        return call == s_nth || (s_fromThenOn && call > s_nth);
    }

    const SocketTable m_former;
    static inline const SocketTable* s_former = nullptr;
    static inline int s_nth = 0;
    static inline bool s_fromThenOn = false;
    static inline std::atomic<int> s_calls = 0;
};

// What can fail so. A wait that failed has not taken the signal, a signal not been set and a thread not been
// started, so those have no failure after their effect.
std::vector<Op> OpsThatFail(bool isAfter) {
    std::vector<Op> ops;
    for (const Op op : AllOps()) {
        const bool isSignal = op == Op::VXC_SetEvent || op == Op::VXC_ResetEvent ||
                              op == Op::VXC_WaitForSingleObject || op == Op::VXC_WaitForMultipleObjects;
        if (CanFail(op) && !(isAfter && (isSignal || op == Op::VXC_ResumeThread))) {
            ops.push_back(op);
        }
    }
    return ops;
}

// ---- The scenario ----

class FileCopySweepTest : public ::testing::TestWithParam<bool> {
protected:
    FileCopySweepTest() { clock.AutoAdvanceSleeps(true); }

    static const std::string& File() {
        static const std::string file = FtpScript::Pattern(kSize);
        return file;
    }

    // A copy over a file that is there.
    uint32 Run() {
        folder.Write("clip", "what was there");
        std::filesystem::remove(folder.Path() / "clip.qlqlql");
        copy.local = folder.Wide("clip");
        copy.host = FtpWire::kHost;
        copy.port = FtpWire::kPort;
        copy.resume = GetParam() ? 1 : 0;
        prompts.SetAnswers({kPromptYes, kPromptYes});
        return copy.Run();
    }
    bool IsTold() const { return !copy.Reports().empty() && copy.Reports().back().text == kCopied; }
    bool IsWhole() const {
        return std::filesystem::exists(folder.Path() / "clip") && folder.Read("clip") == File();
    }

    // Whether all is there and nothing behind it but the zeros of a sector that was not cut.
    bool IsUncutAtMost() const {
        constexpr std::size_t kLargestSector = 4096;
        if (!std::filesystem::exists(folder.Path() / "clip")) {
            return false;
        }
        const std::string content = folder.Read("clip");
        return content.starts_with(File()) && content.size() < kSize + kLargestSector &&
               content.find_first_not_of('\0', kSize) == std::string::npos;
    }

    // Nothing when the outcome is one that a failure may have, else what is wrong with it.
    std::string Judge(uint32 result) const {
        static const std::set<uint32> kStatuses = {
            VXC_STATUS_OK,         VXC_STATUS_OPEN_READ,    VXC_STATUS_OPEN_WRITE, VXC_STATUS_FTP_CONNECT,
            VXC_STATUS_FTP_USER,   VXC_STATUS_FTP_PASSWORD, VXC_STATUS_FTP_PORT,   VXC_STATUS_FTP_RETR,
            VXC_STATUS_FTP_SOCKET, VXC_STATUS_FTP_SEND,     VXC_STATUS_FTP_REPLY,  VXC_STATUS_FTP_TYPE};
        if (kStatuses.count(result) == 0) {
            return "a status that is none of a copy's";
        }
        const bool isEnded = !copy.Reports().empty() && copy.Reports().back().code == VXC_COPY_ENDED;
        if ((result == VXC_STATUS_OK) != isEnded) {
            return "a result that is not that of the reports";
        }
        int64 last = 0;
        for (const CopyReport& report : copy.Reports()) {
            if (report.code == VXC_COPY_PROGRESS && report.done <= last) {
                return "progress that does not go on";
            }
            last = report.code == VXC_COPY_PROGRESS ? report.done : last;
        }
        if (IsTold() && copy.Reports().back().total != static_cast<int64>(kSize)) {
            return "success of another size";
        }
        return "";
    }

    // Whether success may be told of a file that is not whole behind this failure: the sink's close gives 0
    // whatever became of its writes, so one that no later write meets is told by the log alone, as is a file
    // that could not be opened again to be cut to its size; and a rename that failed leaves the whole file
    // under its temporary name.
    static bool MayBeLost(const std::string& account) {
        for (const char* const op :
             {"VXC_WriteFile #", "VXC_SetFilePointer #", "VXC_ReadFile #", "VXC_CloseFile #",
              "VXC_CreateFileW #2", "VXC_SetEndOfFile #", "VXC_RenameFileW #"}) {
            if (account.starts_with(op)) {
                return true;
            }
        }
        return false;
    }

    SettingsScope settings;
    TempFolder folder{TempFolder::Kind::Memory};
    TestClock clock;
    FtpWire wire{File()};
    Prompts prompts;
    CopyCall copy;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Ways, FileCopySweepTest, ::testing::Values(false, true),
                         [](const auto& entry) { return entry.param ? "Resumed" : "Anew"; });

TEST_P(FileCopySweepTest, WhateverCallOfASocketFails) {
    for (const bool fromThenOn : {false, true}) {
        for (int nth = 1;; ++nth) {
            const NoLeakScope leaks;
            const int tokens = wire.OpenSockets();
            bool came = false;
            uint32 result = 0;
            {
                const FailingSockets failing(nth, fromThenOn);
                result = Run();
                came = failing.Came();
            }
            ASSERT_EQ(Judge(result), "") << "call " << nth << ", " << fromThenOn << ", " << result;
            ASSERT_TRUE(!IsTold() || IsWhole()) << "call " << nth << ", " << fromThenOn;
            // A transfer that met an error keeps its socket.
            ASSERT_LE(wire.OpenSockets(), tokens + 1) << "call " << nth;
            if (!came) {
                ASSERT_TRUE(IsTold() && IsWhole());
                ASSERT_EQ(wire.OpenSockets(), tokens);
                ASSERT_GT(nth, 60);
                break;
            }
            ASSERT_LT(nth, kMostRuns);
        }
    }
}

TEST_P(FileCopySweepTest, WhateverOperationOfTheSystemFails) {
    for (const bool isAfter : {false, true}) {
        int lost = 0;
        for (int nth = 1;; ++nth) {
            const NoLeakScope leaks;
            const int tokens = wire.OpenSockets();
            std::string account = "clean";
            int fired = 0;
            uint32 result = 0;
            {
                FaultPlan plan;
                FaultRule rule = Fail(OpsThatFail(isAfter)).Nth(nth);
                if (isAfter) {
                    rule.AfterEffect();
                }
                plan.Add(rule);
                result = Run();
                fired = plan.Fired();
                account = plan.Account().empty() ? account : plan.Account().front();
            }
            ASSERT_EQ(Judge(result), "") << account << ", " << result;
            if (IsTold() && !IsWhole()) {
                ASSERT_TRUE(MayBeLost(account)) << account;
                ++lost;
            }
            ASSERT_LE(wire.OpenSockets(), tokens + 1) << account;
            if (fired == 0) {
                ASSERT_TRUE(IsTold() && IsWhole());
                ASSERT_GT(nth, 30);
                break;
            }
            ASSERT_LT(nth, kMostRuns);
        }
        ASSERT_LT(lost, 30);
    }
}

TEST_P(FileCopySweepTest, WhereMemoryLacksNoOtherFileIsTouched) {
    for (int nth = 1;; ++nth) {
        const NoLeakScope leaks;
        const std::size_t before = wire.Lines().size();
        bool came = false;
        uint32 result = 0;
        {
            const MemoryLack lack(nth);
            result = Run();
            came = lack.Came();
        }
        ASSERT_EQ(Judge(result), "") << "allocation " << nth << ", " << result;
        ASSERT_TRUE(!IsTold() || IsUncutAtMost()) << "allocation " << nth;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
            const std::string name = entry.path().filename().string();
            ASSERT_TRUE(name == "clip" || name == "clip.qlqlql") << name << ", allocation " << nth;
        }
        const std::vector<std::string> lines = wire.Lines();
        for (std::size_t i = before; i < lines.size(); ++i) {
            const std::string& line = lines[i];
            const std::string verb = line.substr(0, 5);
            ASSERT_TRUE((verb != "SIZE " && verb != "RETR ") || line.substr(5) == "/f")
                << line << ", allocation " << nth;
        }
        if (!came) {
            ASSERT_TRUE(IsTold() && IsWhole());
            ASSERT_GT(nth, 60);
            return;
        }
        ASSERT_LT(nth, kMostRuns);
    }
}
