// Every way in which the system, a host or memory may fail a sink: the scenario runs once clean, then with
// the first operation failing, with the second, and so on until a run in which nothing failed. Whatever
// happens, it ends, nothing is left behind, no byte of the file is one that nobody wrote there, and what was
// flushed and reported as good stands in the file.
#include "frame/ModuleValues.h"
#include "support/HostTable.h"
#include "support/LeakChecks.h"
#include "support/MemoryLack.h"
#include "sweep/SinkScenario.h"

#include <functional>
#include <optional>
#include <tuple>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kMostRuns = 5000;

// Of the operations of the system every so many-th fails, all of them but where each access to memory is
// looked at.
#if defined(__SANITIZE_THREAD__)
constexpr int kStride = 5;
#else
constexpr int kStride = 1;
#endif

struct Fault {
    const char* name;
    bool afterEffect;
    bool fromThenOn;
};
constexpr Fault kFaults[] = {{"OnceBefore", false, false},
                             {"OnceAfter", true, false},
                             {"FromThenOnBefore", false, true},
                             {"FromThenOnAfter", true, true}};

// Whose calls fail.
enum class Side { Caller, Others };

// What a failure of each kind can be about. A wait that failed has not taken the signal, a signal not been
// set and a thread not been started, so those have no failure after their effect. And whoever can never again
// set an event, or wait for one, cannot tell a thread to end: then nothing is to be had from any program.
std::vector<Op> OpsOf(const Fault& fault) {
    std::vector<Op> ops;
    for (const Op op : AllOps()) {
        const bool isSignal = op == Op::VXC_SetEvent || op == Op::VXC_ResetEvent ||
                              op == Op::VXC_WaitForSingleObject || op == Op::VXC_WaitForMultipleObjects;
        const bool isLeftOut =
            (fault.afterEffect && (isSignal || op == Op::VXC_ResumeThread)) || (fault.fromThenOn && isSignal);
        if (CanFail(op) && !isLeftOut) {
            ops.push_back(op);
        }
    }
    return ops;
}

class SinkSweep : public ::testing::Test {
protected:
    explicit SinkSweep(const WritePath& path, bool threadMode)
        : scenario(path), m_read(ReadHandleTimeOut()), m_write(WriteHandleTimeOut()) {
        if (threadMode) {
            Module().ReadHandleTimeOut = kNever;
            Module().WriteHandleTimeOut = kNever;
        }
    }
    ~SinkSweep() override {
        Module().ReadHandleTimeOut = m_read;
        Module().WriteHandleTimeOut = m_write;
    }

    void PutBefore() const {
        const std::vector<uint8>& bytes = scenario.Before();
        folder.Write("target", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
    std::vector<uint8> Content() const {
        const std::string text = folder.Read("target");
        return {text.begin(), text.end()};
    }
    SinkOutcome RunOnFile() const {
        PutBefore();
        SinkOutcome outcome;
        {
            CWriteFileEx1 sink;
            outcome = scenario.Run(sink, folder.Wide("target"));
        }
        outcome.content = Content();
        return outcome;
    }

    static constexpr uint32 kNever = 100'000'000; // milliseconds
    const TempFolder folder{TempFolder::Kind::Memory};
    const SinkScenario scenario;

private:
    const uint32 m_read;
    const uint32 m_write;
};

// ---- the system layer ----

using SystemCase = std::tuple<WritePath, bool, Fault, Side>;

class SinkSweepTest : public SinkSweep, public ::testing::WithParamInterface<SystemCase> {
protected:
    SinkSweepTest() : SinkSweep(std::get<0>(GetParam()), std::get<1>(GetParam())) {}
};

} // namespace

TEST_P(SinkSweepTest, WhateverOperationFails) {
    const auto& [path, threadMode, fault, side] = GetParam();
    ASSERT_EQ(scenario.JudgeClean(RunOnFile()), "");
    for (int n = 1;; n += kStride) {
        const NoLeakScope leaks;
        FaultPlan plan;
        FaultRule rule = Fail(OpsOf(fault)).Nth(n);
        if (side == Side::Caller) {
            rule.OnThisThread();
        } else {
            rule.OnOtherThreads();
        }
        if (fault.afterEffect) {
            rule.AfterEffect();
        }
        if (fault.fromThenOn) {
            rule.FromThenOn();
        }
        plan.Add(rule);
        const SinkOutcome outcome = RunOnFile();
        const std::string account = plan.Account().empty() ? "clean" : plan.Account().front();
        ASSERT_EQ(scenario.Judge(outcome), "") << account << " of run " << n;
        if (plan.Fired() == 0) {
            const bool hasOthers = path.bufferBytes != 0 || threadMode;
            ASSERT_GT(n, side == Side::Caller ? 5 : hasOthers ? 3 : 0); // the faults really met something
            ASSERT_EQ(scenario.JudgeClean(outcome), "");
            return;
        }
        ASSERT_LT(n, kMostRuns);
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, SinkSweepTest,
                         ::testing::Combine(::testing::ValuesIn(kWritePaths), ::testing::Bool(),
                                            ::testing::ValuesIn(kFaults),
                                            ::testing::Values(Side::Caller, Side::Others)),
                         [](const auto& entry) {
                             return std::string(std::get<0>(entry.param).name) +
                                    (std::get<1>(entry.param) ? "InThreadMode" : "") +
                                    (std::get<3>(entry.param) == Side::Caller ? "" : "OnOtherThreads") +
                                    std::get<2>(entry.param).name;
                         });

namespace {

// ---- memory and the functions of a host ----

using PathCase = std::tuple<WritePath, bool>;

class SinkHostSweepTest : public SinkSweep, public ::testing::WithParamInterface<PathCase> {
protected:
    SinkHostSweepTest() : SinkSweep(std::get<0>(GetParam()), std::get<1>(GetParam())) {}

    SinkOutcome RunOnHost(HostTable& host) const {
        SinkOutcome outcome;
        {
            CWriteFileEx1 sink;
            outcome = scenario.Run(sink, host.Tagged());
        }
        outcome.content = host.Content();
        return outcome;
    }
};

} // namespace

TEST_P(SinkHostSweepTest, WhateverMemoryLacks) {
    for (int n = 1;; ++n) {
        const NoLeakScope leaks;
        std::optional<MemoryLack> lack(n);
        const SinkOutcome outcome = RunOnFile();
        const bool came = lack->Came();
        lack.reset();
        ASSERT_EQ(scenario.Judge(outcome), "") << "allocation " << n;
        if (!came) {
            ASSERT_GT(n, 3);
            ASSERT_EQ(scenario.JudgeClean(outcome), "");
            return;
        }
        ASSERT_LT(n, kMostRuns);
    }
}

TEST_P(SinkHostSweepTest, WhateverFunctionOfAHostFails) {
    for (const Fault& fault : kFaults) {
        for (const HostFunction function :
             {HostFunction::Open, HostFunction::Read, HostFunction::SetFilePointer, HostFunction::GetFileSize,
              HostFunction::Write, HostFunction::SetEndofFile, HostFunction::CloseFile}) {
            for (int n = 1;; ++n) {
                HostTable host(L"host.mxf", scenario.Before());
                if (fault.afterEffect) {
                    host.FailAfterEffect(function, VXC_ERROR_IO_DEVICE, n, fault.fromThenOn);
                } else {
                    host.Fail(function, VXC_ERROR_IO_DEVICE, n, fault.fromThenOn);
                }
                const SinkOutcome outcome = RunOnHost(host);
                // What a disk can no longer give at all is padded over by the ring's thread.
                const bool isPaddedOver = function == HostFunction::Read && fault.fromThenOn &&
                                          std::get<0>(GetParam()).bufferBytes != 0;
                ASSERT_TRUE(scenario.Judge(outcome).empty() || isPaddedOver)
                    << scenario.Judge(outcome) << ": " << fault.name << " " << HostFunctionName(function)
                    << " #" << n;
                if (host.Calls(function) < n) {
                    ASSERT_EQ(scenario.JudgeClean(outcome), "") << HostFunctionName(function);
                    break;
                }
                ASSERT_LT(n, kMostRuns);
            }
        }
    }
}

TEST_P(SinkHostSweepTest, WritesThatComeShortAreFailures) {
    for (const uint32 most : {0u, 511u, 512u, 4096u, 100'000u}) {
        HostTable host(L"host.mxf", scenario.Before());
        host.ShortenWrites(most);
        const SinkOutcome outcome = RunOnHost(host);
        ASSERT_EQ(scenario.Judge(outcome), "") << most;
        EXPECT_FALSE(outcome.allWritten && outcome.wasGood) << most;
    }
}

TEST_P(SinkHostSweepTest, CountsThatClaimTooMuchChangeNothing) {
    for (const uint32 extra : {1u, 512u, 0x10000u}) {
        HostTable host(L"host.mxf", scenario.Before());
        host.ClaimMore(extra);
        const SinkOutcome outcome = RunOnHost(host);
        EXPECT_EQ(outcome.status, VXC_STATUS_OK);
        EXPECT_TRUE(outcome.allWritten && outcome.isGood) << extra;
        EXPECT_TRUE(outcome.content == scenario.After()) << extra;
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, SinkHostSweepTest,
                         ::testing::Combine(::testing::ValuesIn(kWritePaths), ::testing::Bool()),
                         [](const auto& entry) {
                             return std::string(std::get<0>(entry.param).name) +
                                    (std::get<1>(entry.param) ? "InThreadMode" : "");
                         });
