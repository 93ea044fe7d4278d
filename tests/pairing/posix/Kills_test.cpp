// Hosts and servers that are killed at any moment leave no process, no stuck caller and no name.
#include "pairing/Bridge.h"
#include "pairing/Processes.h"
#include "pairing/posix/KilledHost.h"

#include "bridge/SystemSender.h"
#include "frame/ModuleValues.h"
#include "frame/SystemLayer.h"
#include "platform/SharedObjects.h"
#include "support/LogCapture.h"
#include "support/PlatformScope.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <random>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using std::chrono::seconds;

namespace {

using Hosts = std::vector<std::unique_ptr<KilledHost>>;

int Number(const char* name, int otherwise) {
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::atoi(text);
}

// A host that has come to a moment which the generator chose.
std::unique_ptr<KilledHost> HostAtSomeMoment(std::mt19937& random) {
    auto host = std::make_unique<KilledHost>(KilledHost::Life::Endless);
    for (auto letters = 1 + random() % 13; letters > 0 && host->NextLetter() != 0; --letters) {
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 4000);
    while (std::chrono::steady_clock::now() < end) {
    }
    return host;
}

// Who waits for the first word of a server that was killed would wait half a minute: somebody says it.
void EndWaitForAStart(KilledHost& host) {
    if (host.LastLetter() != 's') {
        return;
    }
    wchar_t name[32];
    std::swprintf(name, 32, L"%08u_EvtEnd", host.Id());
    if (void* const event = SharedObjects().openEvent(name); event != nullptr) {
        VXC_SetEvent(event);
        VXC_CloseHandle(event);
    }
}

void ExpectAllGone(Hosts& hosts) {
    // The longest a call may take is the stop's ten seconds; but fifty hosts share the machine.
    EXPECT_TRUE(Eventually(
        [&] {
            bool ended = true;
            for (const auto& host : hosts) {
                if (!host->HasEnded()) {
                    ended = false;
                    EndWaitForAStart(*host);
                }
            }
            return ended;
        },
        seconds(80)));
    EXPECT_TRUE(Eventually(
        [&] {
            return std::all_of(hosts.begin(), hosts.end(),
                               [](const auto& host) { return ServersOf(host->Id()).empty(); });
        },
        seconds(10)));
    // What crashes have left goes with the next start of whichever host.
    KilledHost last(KilledHost::Life::Once);
    EXPECT_TRUE(Eventually([&] { return last.HasEnded(); }, seconds(30)));
    EXPECT_EQ(last.ExitCode(), 0);
    for (const auto& host : hosts) {
        EXPECT_THAT(NamesOf(host->Id()), testing::IsEmpty());
    }
    EXPECT_TRUE(Eventually([&] { return NamesOf(last.Id()).empty(); }));
    EXPECT_EQ(SanitizerReports(), "");
}

class KillsTest : public testing::Test {
protected:
    KillsTest() : m_random(static_cast<unsigned int>(Number("VXC_KILL_SEED", 6))) {}

    std::mt19937 m_random;
    const int m_rounds = Number("VXC_KILL_ROUNDS", 50);
};

} // namespace

TEST_F(KillsTest, HostsKilledAtAnyMomentLeaveNothing) {
    Hosts hosts;
    for (int i = 0; i < m_rounds; ++i) {
        hosts.push_back(HostAtSomeMoment(m_random));
        hosts.back()->Kill();
    }
    ExpectAllGone(hosts);
}

TEST_F(KillsTest, ServersKilledAtAnyMomentLeaveNoHostStuck) {
    Hosts hosts;
    int killed = 0;
    for (int i = 0; i < m_rounds; ++i) {
        hosts.push_back(HostAtSomeMoment(m_random));
        KilledHost& host = *hosts.back();
        // In the moment between two servers there is none; the next one is killed then.
        EXPECT_TRUE(Eventually(
            [&] {
                const std::vector<uint32> servers = ServersOf(host.Id());
                for (const uint32 server : servers) {
                    Kill(server);
                    ++killed;
                }
                return !servers.empty();
            },
            seconds(30)));
    }
    EXPECT_GE(killed, m_rounds);
    // One whose old server was killed in its last moments goes on with the new one: that is killed too.
    Eventually(
        [&] {
            bool ended = true;
            for (const auto& host : hosts) {
                if (!host->HasEnded()) {
                    ended = false;
                    for (const uint32 server : ServersOf(host->Id())) {
                        Kill(server);
                    }
                    EndWaitForAStart(*host);
                }
            }
            return ended;
        },
        seconds(80));
    for (const auto& host : hosts) {
        EXPECT_TRUE(host->HasEnded());
        EXPECT_THAT(host->ExitCode(), testing::AllOf(testing::Ge(11), testing::Le(15)));
    }
    ExpectAllGone(hosts);
}

TEST(SanitizerReportsTest, OnlyWhatIsSaidOfKilledThreadsIsNoFinding) {
    EXPECT_EQ(FindingsOf("==12==Unable to get registers from thread 34.\n"), "");
    EXPECT_EQ(FindingsOf("==12==ERROR: LeakSanitizer\n==12==Unable to get registers from thread 34.\n  #0"),
              "==12==ERROR: LeakSanitizer\n  #0\n");
}

TEST_F(KillsTest, TheServerOfAKilledHostEndsWithinTwoSeconds) {
    KilledHost host(KilledHost::Life::Staying);
    char letter = 0;
    do {
        letter = host.NextLetter();
        ASSERT_NE(letter, 0);
    } while (letter != 'x');
    EXPECT_FALSE(ServersOf(host.Id()).empty());
    host.Kill();
    EXPECT_TRUE(Eventually([&] { return ServersOf(host.Id()).empty(); }, seconds(2)));
    EXPECT_TRUE(Eventually([&] { return host.HasEnded() && NamesOf(host.Id()).empty(); }));
}

TEST_F(KillsTest, ANewHostWithTheKilledOnesNumberStartsAsIfNothingHadBeen) {
    KilledHost host(KilledHost::Life::Staying);
    char letter = 0;
    do {
        letter = host.NextLetter();
        ASSERT_NE(letter, 0);
    } while (letter != 'x');
    host.Kill();
    ASSERT_TRUE(Eventually([&] { return host.HasEnded() && ServersOf(host.Id()).empty(); }));
    static uint32 s_number = 0;
    s_number = host.Id();
    PlatformScope platform;
    platform.Processes().processId = [] { return s_number; };
    const LogCapture log;
    const std::wstring folder = ServerFolder();
    *std::copy(folder.begin(), folder.end(), Module().szModuleDirectory) = 0;
    EXPECT_EQ(CreateVXC32ServProcess(), 0);
    EXPECT_FALSE(log.Contains(L"already exists"));
    FreeSystemSenders();
    // That one's host, by its number, is dead all along, so it has not stayed.
    EXPECT_TRUE(Eventually([&] { return ServersOf(s_number).empty(); }));
    EXPECT_TRUE(Eventually([&] { return NamesOf(s_number).empty(); }));
}
