// Every way in which the system may fail a source: each scenario runs once clean, then with the first
// operation failing, with the second, and so on until a run in which nothing failed.
#include "frame/SoftDataIO.h"
#include "frame/Status.h"
#include "support/FaultPlan.h"
#include "support/HostTable.h"
#include "support/LeakChecks.h"
#include "support/TempFolder.h"
#include "support/TestClock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kSize = 300'000;
constexpr uint32 kSeed = 11;

// How a run ended.
struct Outcome {
    uint32 status = 0;
    bool wrongBytes = false; // something was delivered that does not stand there in the file
    bool wholeData = true;   // every read gave all it should
    std::vector<uint8> digest;
};

// One scenario, over a file in a folder.
using Scenario = std::function<Outcome(const std::wstring& name, const std::vector<uint8>& content)>;

Outcome ReadAll(const std::wstring& name, const std::vector<uint8>& content, uint32 flags, uint32 piece,
                const std::vector<int64>& positions) {
    Outcome outcome;
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    outcome.status = source->OpenFile(name.c_str(), flags, nullptr, 0);
    source->SetReadRepeat(1);
    source->EnableMD5_Check(0);
    source->BeginMD5_Check(0);
    std::vector<uint8> buffer(piece);
    for (const int64 position : positions) {
        source->Seek(position, 1);
        const int got = source->Read(buffer.data(), piece);
        const std::size_t left = content.size() - static_cast<std::size_t>(position);
        outcome.wholeData =
            outcome.wholeData && static_cast<std::size_t>(got) == std::min<std::size_t>(piece, left);
        outcome.wrongBytes =
            outcome.wrongBytes ||
            !std::equal(buffer.begin(), buffer.begin() + got, content.begin() + position,
                        content.begin() + position + std::min<int64>(got, static_cast<int64>(left)));
    }
    uint8* digest = nullptr;
    int length = 0;
    source->GetMD5_check(1, digest, length);
    if (digest != nullptr) {
        outcome.digest.assign(digest, digest + length);
        delete[] digest;
    }
    source->CloseFile();
    return outcome;
}

struct SweepCase {
    const char* name;
    bool afterEffect;
    bool fromThenOn;
};

class SourceSweepTest : public ::testing::TestWithParam<SweepCase> {
protected:
    SourceSweepTest() : content(Pattern(kSize, kSeed)) { folder.WritePattern("clip", kSize, kSeed); }

    void Sweep(const Scenario& scenario) {
        TestClock clock; // repeats of short reads cost no time
        clock.AutoAdvance(true);
        const std::wstring name = folder.Wide("clip");
        const Outcome clean = scenario(name, content);
        ASSERT_EQ(clean.status, VXC_STATUS_OK);
        ASSERT_TRUE(clean.wholeData);
        ASSERT_FALSE(clean.wrongBytes);
        ASSERT_EQ(clean.digest.size(), 16U);
        for (int n = 1;; ++n) {
            const NoLeakScope leaks;
            FaultPlan plan;
            FaultRule rule = FailAny().Nth(n).OnThisThread();
            if (GetParam().afterEffect) {
                rule.AfterEffect();
            }
            if (GetParam().fromThenOn) {
                rule.FromThenOn();
            }
            plan.Add(rule);
            const Outcome outcome = scenario(name, content);
            const std::string account = plan.Account().empty() ? "clean" : plan.Account().front();
            ASSERT_TRUE(outcome.status == VXC_STATUS_OK || outcome.status == VXC_STATUS_OPEN_READ) << account;
            ASSERT_FALSE(outcome.wrongBytes) << account;
            if (outcome.status == VXC_STATUS_OPEN_READ) {
                ASSERT_FALSE(outcome.wholeData) << account;
            }
            if (plan.Fired() == 0) {
                ASSERT_GT(n, 5); // the faults really met something
                ASSERT_TRUE(outcome.wholeData);
                ASSERT_EQ(outcome.digest, clean.digest);
                return;
            }
            ASSERT_LT(n, 2000);
        }
    }

    const TempFolder folder{TempFolder::Kind::Disk};
    const std::vector<uint8> content;
};

const std::vector<int64> kInOrder = {0, 100'000, 200'000};
const std::vector<int64> kJumping = {150'000, 10, 299'000, 77'777};

} // namespace

TEST_P(SourceSweepTest, OpenReadAndClose) {
    Sweep([](const std::wstring& name, const std::vector<uint8>& bytes) {
        return ReadAll(name, bytes, 0, 100'000, kInOrder);
    });
}

TEST_P(SourceSweepTest, JumpsWithTheDigestCatchingUp) {
    Sweep([](const std::wstring& name, const std::vector<uint8>& bytes) {
        return ReadAll(name, bytes, 0, 5000, kJumping);
    });
}

TEST_P(SourceSweepTest, UnbufferedReadsAtOddPlaces) {
    Sweep([](const std::wstring& name, const std::vector<uint8>& bytes) {
        return ReadAll(name, bytes, VXC_FILE_FLAG_NO_BUFFERING, 5000, kJumping);
    });
}

// The same over a host's own functions, each of which fails in its turn.
TEST_P(SourceSweepTest, FunctionsOfAHostThatFail) {
    TestClock clock;
    clock.AutoAdvance(true);
    for (const HostFunction function : {HostFunction::Open, HostFunction::Read, HostFunction::SetFilePointer,
                                        HostFunction::GetFileSize, HostFunction::CloseFile}) {
        for (int n = 1;; ++n) {
            HostTable host(L"host.mxf", content);
            if (GetParam().afterEffect) {
                host.FailAfterEffect(function, VXC_ERROR_IO_DEVICE, n, GetParam().fromThenOn);
            } else {
                host.Fail(function, VXC_ERROR_IO_DEVICE, n, GetParam().fromThenOn);
            }
            const Outcome outcome = ReadAll(host.Tagged(), content, 0, 5000, kJumping);
            const std::string account = std::string(HostFunctionName(function)) + " #" + std::to_string(n);
            const bool failedOpen = function == HostFunction::Open && n == 1;
            ASSERT_EQ(outcome.status, failedOpen ? VXC_STATUS_OPEN_READ : VXC_STATUS_OK) << account;
            // A seek that a host reports as failed goes on, so the host alone knows what the next read gives.
            if (function != HostFunction::SetFilePointer) {
                ASSERT_FALSE(outcome.wrongBytes) << account;
            }
            // What stays open is what the host itself did not close, or gave together with an error.
            const bool kept =
                GetParam().afterEffect ? failedOpen : function == HostFunction::CloseFile && n == 1;
            ASSERT_EQ(host.OpenHandles(), kept ? 1 : 0) << account;
            if (host.Calls(function) < n) {
                ASSERT_TRUE(outcome.wholeData) << account;
                break;
            }
            ASSERT_LT(n, 2000);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Faults, SourceSweepTest,
    ::testing::Values(SweepCase{"OnceBefore", false, false}, SweepCase{"OnceAfter", true, false},
                      SweepCase{"FromThenOnBefore", false, true}, SweepCase{"FromThenOnAfter", true, true}),
    [](const ::testing::TestParamInfo<SweepCase>& entry) { return std::string(entry.param.name); });
