// Every way in which the companion module, the system or memory may fail a source of a URL: it runs once
// clean, then with the first call failing, with the second, and so on until a run in which nothing failed.
#include "frame/SoftDataIO.h"
#include "frame/Status.h"
#include "sources/RemoteCompanion.h"
#include "support/FaultPlan.h"
#include "support/LeakChecks.h"
#include "support/MemoryLack.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kSize = 300'000;
constexpr uint32 kPiece = 5000;
constexpr int kMostRuns = 500;

struct Outcome {
    bool hasSource = false;
    uint32 status = 0;
    bool wrongBytes = false; // something was delivered that does not stand there in the file
    bool wholeData = true;   // every read gave all it should
    std::vector<uint8> digest;
};

class RemoteSweepTest : public ::testing::TestWithParam<bool> {
protected:
    RemoteSweepTest() { companion.content = content; }

    // Jumps, so that the digest catches up; reads into odd memory; with or without a close.
    Outcome Run() {
        ForgetRemoteModule();
        companion.Clear();
        Outcome outcome;
        const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
        outcome.hasSource = source != nullptr;
        if (!source) {
            return outcome;
        }
        outcome.status = source->OpenFile(L"http://host/clip", VXC_FILE_FLAG_NO_BUFFERING, nullptr, 0);
        source->EnableMD5_Check(0);
        source->BeginMD5_Check(0);
        std::vector<uint8> buffer(kPiece + 1);
        for (const std::size_t position : {150'000U, 10U, 299'000U, 77'777U}) {
            source->Seek(static_cast<int64>(position), 1);
            const int got = source->Read(buffer.data() + 1, kPiece);
            const std::size_t expected = std::min<std::size_t>(kPiece, kSize - position);
            outcome.wholeData = outcome.wholeData && got == static_cast<int>(expected);
            outcome.wrongBytes = outcome.wrongBytes || got < 0 || static_cast<std::size_t>(got) > expected ||
                                 !std::equal(buffer.begin() + 1, buffer.begin() + 1 + got,
                                             content.begin() + static_cast<std::ptrdiff_t>(position));
        }
        uint8* digest = nullptr;
        int length = 0;
        source->GetMD5_check(1, digest, length);
        if (digest != nullptr) {
            outcome.digest.assign(digest, digest + length);
            delete[] digest;
        }
        if (GetParam()) {
            EXPECT_EQ(source->CloseFile(), VXC_STATUS_OK);
        }
        return outcome;
    }

    // Nothing when the outcome is one that a failure may have, else what is wrong with it.
    std::string Judge(const Outcome& outcome) const {
        if (outcome.hasSource && outcome.status != VXC_STATUS_OK && outcome.status != VXC_STATUS_OPEN_READ &&
            outcome.status != VXC_STATUS_NOT_AVAILABLE) {
            return "a status that is none of an open's";
        }
        if (outcome.wrongBytes) {
            return "bytes that are not the file's";
        }
        if (outcome.hasSource && outcome.status != VXC_STATUS_OK && outcome.wholeData) {
            return "data after a failed open";
        }
        return companion.Alive() == 0 ? "" : "an object that was not freed";
    }
    void ExpectClean(const Outcome& outcome) {
        ASSERT_TRUE(outcome.hasSource);
        ASSERT_EQ(outcome.status, VXC_STATUS_OK);
        ASSERT_TRUE(outcome.wholeData);
        ASSERT_EQ(outcome.digest, clean);
    }
    void SetUp() override {
        const Outcome outcome = Run();
        clean = outcome.digest;
        ExpectClean(outcome);
        ASSERT_EQ(clean.size(), 16U);
    }

    const std::vector<uint8> content = Pattern(kSize, 11);
    RemoteCompanion companion;
    std::vector<uint8> clean;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Ways, RemoteSweepTest, ::testing::Values(false, true),
                         [](const auto& entry) { return entry.param ? "Closed" : "Left"; });

TEST_P(RemoteSweepTest, WhateverTheModuleFailsOrThrows) {
    for (const bool throws : {false, true}) {
        for (const bool fromThenOn : {false, true}) {
            for (int nth = 1;; ++nth) {
                const NoLeakScope leaks;
                companion.Break("", throws, nth, fromThenOn);
                const Outcome outcome = Run();
                ASSERT_EQ(Judge(outcome), "") << nth << " " << throws << " " << fromThenOn;
                if (companion.Broken() == 0) {
                    ExpectClean(outcome);
                    ASSERT_GT(nth, 16);
                    break;
                }
                ASSERT_LT(nth, kMostRuns);
            }
        }
    }
}

TEST_P(RemoteSweepTest, WhateverOperationOfTheSystemFails) {
    for (const bool isAfter : {false, true}) {
        for (const bool fromThenOn : {false, true}) {
            for (int nth = 1;; ++nth) {
                const NoLeakScope leaks;
                FaultPlan plan;
                FaultRule rule = FailAny().Nth(nth);
                if (isAfter) {
                    rule.AfterEffect();
                }
                if (fromThenOn) {
                    rule.FromThenOn();
                }
                plan.Add(rule);
                const Outcome outcome = Run();
                const std::string account = plan.Account().empty() ? "clean" : plan.Account().front();
                ASSERT_EQ(Judge(outcome), "") << account;
                if (plan.Fired() == 0) {
                    ExpectClean(outcome);
                    ASSERT_GT(nth, 4); // the load, its two functions, the frequency
                    break;
                }
                ASSERT_LT(nth, kMostRuns);
            }
        }
    }
}

TEST_P(RemoteSweepTest, WhereMemoryLacksNothingIsWrong) {
    for (int nth = 1;; ++nth) {
        const NoLeakScope leaks;
        FaultPlan plan; // counts
        Outcome outcome;
        bool came = false;
        {
            const MemoryLack lack(nth);
            outcome = Run();
            came = lack.Came();
        }
        ASSERT_EQ(Judge(outcome), "") << nth;
        ASSERT_EQ(plan.Calls(Op::VXC_CreateFileW), 0) << nth; // a URL is never a file's name
        if (!came) {
            ExpectClean(outcome);
            ASSERT_GT(nth, 8);
            return;
        }
        ASSERT_LT(nth, kMostRuns);
    }
}
