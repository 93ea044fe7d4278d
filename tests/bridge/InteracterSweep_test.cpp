// The life of a channel with every operation failing once in turn: it ends, with an allowed result, and
// nothing of the host's or the server's is left.
#include "bridge/InteracterTesting.h"
#include "support/FaultPlan.h"
#include "support/LeakChecks.h"
#include "support/MemoryLack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::AnyOf;
using ::testing::IsEmpty;

namespace {

constexpr int kTimeOut = static_cast<int>(0x8000000Du);
constexpr int kMostRuns = 300;

// One life; the results are allowed ones.
void LiveAndRelease(CVXCInteracterImpl& host, const std::wstring& id) {
    const int up = host.Initialize(5, id.c_str(), 4096, 4096);
    EXPECT_THAT(up, AnyOf(0, -1, kTimeOut));
    if (up == 0) {
        EXPECT_THAT(host.RemoteCall(30000), AnyOf(0, kTimeOut));
    }
    host.Release();
}

void ExpectNothingLeft(const std::wstring& id, int run) {
    EXPECT_THAT(NamesOf(id), IsEmpty()) << "run " << run;
}

// Operations of the system that can fail here. A signal that fails ends in time-outs, which are tested by
// themselves.
std::vector<Op> Operations() {
    std::vector<Op> operations;
    for (const Op op : AllOps()) {
        if (CanFail(op) && op != Op::VXC_SetEvent) {
            operations.push_back(op);
        }
    }
    return operations;
}

} // namespace

TEST(InteracterSweepTest, AnOperationOfTheSystemFailsAtTheHost) {
    const NoLeakScope noLeak;
    for (const bool after : {false, true}) {
        int run = 1;
        for (bool fired = true; fired && run < kMostRuns; ++run) {
            const std::wstring id = UniqueId();
            {
                PlayedServer server;
                CVXCInteracterImpl host(VXC_INTERACTER_SENDER);
                {
                    FaultPlan plan;
                    FaultRule rule = Fail(Operations()).Nth(run).OnThisThread();
                    plan.Add(after ? rule.AfterEffect() : rule);
                    LiveAndRelease(host, id);
                    fired = plan.Fired() != 0;
                }
                host.Release();
            }
            ExpectNothingLeft(id, run);
        }
        EXPECT_GT(run, 8);
    }
}

TEST(InteracterSweepTest, ANamedObjectFailsAtEitherEnd) {
    const NoLeakScope noLeak;
    int run = 1;
    for (bool fired = true; fired && run < kMostRuns; ++run) {
        const std::wstring id = UniqueId();
        const SharedObjectsPlan plan;
        {
            PlayedServer server;
            const int handles = plan.Handles();
            const int views = plan.Views();
            CVXCInteracterImpl host(VXC_INTERACTER_SENDER);
            const int before = plan.Fired();
            plan.FailAny(run);
            LiveAndRelease(host, id);
            fired = plan.Fired() != before;
            EXPECT_EQ(server.Channels(), 0) << run;
            EXPECT_EQ(plan.Handles(), handles) << run;
            EXPECT_EQ(plan.Views(), views) << run;
            ExpectNothingLeft(id, run);
        }
        EXPECT_EQ(plan.Handles(), 0);
        EXPECT_EQ(plan.Views(), 0);
    }
    EXPECT_GT(run, 10);
}

TEST(InteracterSweepTest, MemoryLacksAtTheHost) {
    const NoLeakScope noLeak;
    int run = 1;
    for (bool came = true; came && run < kMostRuns; ++run) {
        const std::wstring id = UniqueId();
        PlayedServer server;
        CVXCInteracterImpl host(VXC_INTERACTER_SENDER);
        {
            const MemoryLack lack(run);
            const int up = host.Initialize(5, id.c_str(), 4096, 4096);
            if (up == 0) {
                EXPECT_EQ(host.RemoteCall(30000), 0);
            }
            host.Release();
            came = lack.Came();
        }
        host.Release();
        EXPECT_EQ(server.Channels(), 0) << run;
        ExpectNothingLeft(id, run);
    }
    EXPECT_GT(run, 8);
}
