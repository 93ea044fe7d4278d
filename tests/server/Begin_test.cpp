// How a server comes up: that of a host which starts one right after another, too.
#include "server/Server.h"

#include "bridge/InteracterImpl.h"
#include "platform/Process.h"
#include "support/LogCapture.h"
#include "support/PlatformScope.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cwchar>

using namespace std::chrono_literals;
using namespace vxcserver;
using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kSpaceBytes = 4096;

// The doubles of the platform work on this.
struct Names {
    SharedObjectTable real;
    void* earlier = nullptr; // holds the name of the reply space
    int tries = 0;
    int triesUntilItIsFree = 0;
} g_names;

void* OpenCounted(const wchar_t* name) {
    if (++g_names.tries == g_names.triesUntilItIsFree) {
        g_names.real.closeMapping(g_names.earlier);
    }
    return g_names.real.openMapping(name);
}

// A host that waits for its server, and the name of the reply space in somebody else's hand.
class ServerBeginTest : public testing::Test {
protected:
    ServerBeginTest() {
        std::swprintf(m_id, 32, L"%08u", Process().processId());
        g_names = {SharedObjects(), nullptr, 0, 0};
        platform.Shared().openMapping = OpenCounted;
    }

    void BeHost() {
        host.Assign(0, m_id, kSpaceBytes, kSpaceBytes);
        ASSERT_EQ(host.InitSenderFirst(), 0);
    }
    void TakeReplySpace(int triesUntilItIsFree) {
        wchar_t name[64];
        std::swprintf(name, 64, L"%ls_OutMap", m_id);
        int existed = 0;
        g_names.earlier = SharedObjects().createMapping(name, kSpaceBytes, &existed);
        g_names.triesUntilItIsFree = triesUntilItIsFree;
        ASSERT_NE(g_names.earlier, nullptr);
        ASSERT_EQ(existed, 0);
    }

    const LogCapture log;
    const PlatformScope platform;
    wchar_t m_id[32];
    CVXCInteracterImpl host{VXC_INTERACTER_SENDER};
};

} // namespace

TEST_F(ServerBeginTest, AServerComesUpAtOnce) {
    BeHost();
    HostWatch watch(Process().processId());
    Server server(watch, m_id);
    EXPECT_TRUE(server.Begin());
    EXPECT_EQ(g_names.tries, 1);
}

TEST_F(ServerBeginTest, AServerWaitsUntilTheOneBeforeItHasLetGo) {
    BeHost();
    TakeReplySpace(3);
    HostWatch watch(Process().processId());
    Server server(watch, m_id);
    EXPECT_TRUE(server.Begin());
    EXPECT_EQ(g_names.tries, 3);
    EXPECT_EQ(log.Count(L"Mapping already exists - not created."), 2U);
}

TEST_F(ServerBeginTest, AServerDoesNotWaitForEver) {
    BeHost();
    TakeReplySpace(0);
    HostWatch watch(Process().processId());
    Server server(watch, m_id);
    EXPECT_FALSE(server.Begin(0ms));
    EXPECT_EQ(g_names.tries, 1);
    g_names.real.closeMapping(g_names.earlier);
}

TEST_F(ServerBeginTest, AServerDoesNotWaitForAHostThatHasEnded) {
    BeHost();
    TakeReplySpace(0);
    HostWatch watch(0xFFFFFFF0U); // no process has such a number
    Server server(watch, m_id);
    EXPECT_FALSE(server.Begin());
    EXPECT_EQ(g_names.tries, 1);
    g_names.real.closeMapping(g_names.earlier);
}

TEST_F(ServerBeginTest, AServerDoesNotWaitForAHostThatIsNotThere) {
    HostWatch watch(Process().processId());
    Server server(watch, m_id);
    EXPECT_FALSE(server.Begin());
    EXPECT_EQ(g_names.tries, 1);
}
