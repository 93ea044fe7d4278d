// Every way in which the system may fail an FTP source: each scenario runs once clean, then with the first
// operation failing, with the second, and so on until a run in which nothing failed. What is read is always
// the file's, and no thread stays.
#include "frame/SoftDataIO.h"
#include "frame/Status.h"
#include "support/Digests.h"
#include "support/FaultPlan.h"
#include "support/FtpScript.h"
#include "support/FtpWire.h"
#include "support/LeakChecks.h"
#include "support/MemoryLack.h"
#include "support/SettingsScope.h"
#include "support/TestClock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kSize = 7'000'000;
constexpr int64 kFar = 6'000'000;

// How a run ended.
struct Outcome {
    uint32 connected = 0;
    uint32 opened = 0;
    bool isRight = true; // all that was delivered stands so in the file
    bool isWhole = true; // every read gave all it should
    Digest digest = {};
};

using Scenario = std::function<void(CSoftDataSource& source, const std::string& file, Outcome& outcome)>;

void ReadAndCompare(CSoftDataSource& source, const std::string& file, int64 position, uint32 bytes,
                    Outcome& outcome) {
    std::vector<uint8> buffer(bytes);
    const int got = source.Read(buffer.data(), bytes);
    const auto at = static_cast<std::size_t>(position);
    const auto count = static_cast<std::size_t>(got);
    outcome.isRight =
        outcome.isRight && file.compare(at, count, reinterpret_cast<const char*>(buffer.data()), count) == 0;
    outcome.isWhole = outcome.isWhole && got == static_cast<int>(bytes);
}

void ReadInOrder(CSoftDataSource& source, const std::string& file, Outcome& outcome) {
    for (int64 at = 0; at < 300'000 && outcome.isWhole; at += 60'000) {
        ReadAndCompare(source, file, at, 60'000, outcome);
    }
}

void ReadInOrderAhead(CSoftDataSource& source, const std::string& file, Outcome& outcome) {
    source.EnablePreRead(50'000, 30'000);
    ReadInOrder(source, file, outcome);
}

void ReadHereAndThere(CSoftDataSource& source, const std::string& file, Outcome& outcome) {
    ReadAndCompare(source, file, 0, 5000, outcome);
    for (const int64 position : {int64{8000}, kFar, int64{100}}) {
        if (source.Seek(position, 1) == position) {
            ReadAndCompare(source, file, position, 5000, outcome);
        } else {
            outcome.isWhole = false;
            return; // what a transfer delivers that did not begin well is nobody's promise
        }
    }
}

void ReadWithDigest(CSoftDataSource& source, const std::string& file, Outcome& outcome) {
    source.EnableMD5_Check(0);
    source.BeginMD5_Check(0);
    ReadAndCompare(source, file, 0, 5000, outcome);
    outcome.isWhole = source.Seek(kFar, 1) == kFar && outcome.isWhole;
    ReadAndCompare(source, file, outcome.isWhole ? kFar : 0, outcome.isWhole ? 5000 : 0, outcome);
    uint8* digest = nullptr;
    int length = 0;
    source.GetMD5_check(1, digest, length);
    if (digest != nullptr) {
        std::copy_n(digest, outcome.digest.size(), outcome.digest.begin());
        delete[] digest;
    }
}

Outcome RunOnce(const Scenario& scenario, const std::string& file) {
    Outcome outcome;
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FTP));
    if (!source) {
        outcome.opened = VXC_STATUS_OPEN_READ;
        return outcome;
    }
    outcome.connected =
        static_cast<uint32>(source->Connect(FTPMODE_NORMAL, FtpWire::kHost, L"u", L"p", FtpWire::kPort, 0));
    outcome.opened = source->OpenFile(L"clip", 0, nullptr, 0);
    if (outcome.opened == VXC_STATUS_OK) {
        scenario(*source, file, outcome);
    }
    source->CloseFile();
    source->Close();
    return outcome;
}

struct SweepCase {
    const char* name;
    Scenario scenario;
    bool onThisThread;
    bool afterEffect;
    bool hasDigest;
};

class FtpSourceSweepTest : public ::testing::TestWithParam<SweepCase> {
protected:
    static const std::string& File() {
        static const std::string file = FtpScript::Pattern(kSize);
        return file;
    }
};

} // namespace

TEST_P(FtpSourceSweepTest, WhateverFailsTheBytesAreTheFiles) {
    const SettingsScope settings;
    TestClock clock;
    clock.AutoAdvanceSleeps(true);
    FtpWire wire(File());
    const Outcome clean = RunOnce(GetParam().scenario, File());
    ASSERT_EQ(clean.opened, VXC_STATUS_OK);
    ASSERT_TRUE(clean.isWhole && clean.isRight);
    ASSERT_EQ(clean.digest,
              GetParam().hasDigest ? DigestOf(std::vector<uint8>(File().begin(), File().end())) : Digest());
    for (int n = 1;; ++n) {
        const NoLeakScope leaks;
        FaultPlan plan;
        FaultRule rule = FailAny().Nth(n);
        if (GetParam().onThisThread) {
            rule.OnThisThread();
        } else {
            rule.OnOtherThreads();
        }
        if (GetParam().afterEffect) {
            rule.AfterEffect();
        }
        plan.Add(rule);
        const Outcome outcome = RunOnce(GetParam().scenario, File());
        const std::string account = plan.Account().empty() ? "clean" : plan.Account().front();
        ASSERT_EQ(outcome.connected, VXC_STATUS_OK) << account;
        ASSERT_TRUE(outcome.opened == VXC_STATUS_OK || outcome.opened == VXC_STATUS_OPEN_READ) << account;
        ASSERT_TRUE(outcome.isRight) << account;
        if (plan.Fired() == 0) {
            ASSERT_GT(n, 5); // the faults really met something
            ASSERT_TRUE(outcome.isWhole);
            ASSERT_EQ(outcome.digest, clean.digest);
            return;
        }
        ASSERT_LT(n, 2000);
    }
}

namespace {

std::vector<SweepCase> Cases() {
    std::vector<SweepCase> cases;
    static const char* const kNames[4][4] = {
        {"PlainBefore", "PlainAfter", "PlainBeforeOnOthers", "PlainAfterOnOthers"},
        {"AheadBefore", "AheadAfter", "AheadBeforeOnOthers", "AheadAfterOnOthers"},
        {"JumpsBefore", "JumpsAfter", "JumpsBeforeOnOthers", "JumpsAfterOnOthers"},
        {"DigestBefore", "DigestAfter", "DigestBeforeOnOthers", "DigestAfterOnOthers"}};
    const Scenario scenarios[] = {ReadInOrder, ReadInOrderAhead, ReadHereAndThere, ReadWithDigest};
    for (std::size_t i = 0; i < std::size(scenarios); ++i) {
        for (std::size_t k = 0; k < 4; ++k) {
            cases.push_back({kNames[i][k], scenarios[i], k < 2, k % 2 == 1, i == 3});
        }
    }
    return cases;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Faults, FtpSourceSweepTest, ::testing::ValuesIn(Cases()),
                         [](const ::testing::TestParamInfo<SweepCase>& entry) {
                             return std::string(entry.param.name);
                         });

TEST(FtpSourceMemorySweepTest, WhereMemoryLacksNothingElseIsAskedForThanWhatWasMeant) {
    constexpr int kMostRuns = 2000;
    static const std::set<uint32> kStatuses = {
        VXC_STATUS_OK,          VXC_STATUS_OPEN_READ, VXC_STATUS_FTP_SOCKET,  VXC_STATUS_FTP_SEND,
        VXC_STATUS_FTP_CONNECT, VXC_STATUS_FTP_REPLY, VXC_STATUS_FTP_TYPE,    VXC_STATUS_FTP_USER,
        VXC_STATUS_FTP_PORT,    VXC_STATUS_FTP_RETR,  VXC_STATUS_FTP_PASSWORD};
    const std::string file = FtpScript::Pattern(kSize);
    const SettingsScope settings;
    TestClock clock;
    clock.AutoAdvanceSleeps(true);
    std::set<std::string> lines;
    {
        FtpWire wire(file);
        const Outcome clean = RunOnce(ReadHereAndThere, file);
        ASSERT_TRUE(clean.opened == VXC_STATUS_OK && clean.isRight && clean.isWhole);
        for (const std::string& line : wire.Lines()) {
            lines.insert(line);
        }
    }
    for (int nth = 1; nth < kMostRuns; ++nth) {
        FtpWire wire(file);
        bool came = false;
        Outcome outcome;
        {
            const MemoryLack lack(nth);
            outcome = RunOnce(ReadHereAndThere, file);
            came = lack.Came();
        }
        ASSERT_TRUE(kStatuses.count(outcome.connected) != 0) << outcome.connected << ", allocation " << nth;
        ASSERT_TRUE(kStatuses.count(outcome.opened) != 0) << outcome.opened << ", allocation " << nth;
        ASSERT_TRUE(outcome.isRight) << "allocation " << nth;
        for (const std::string& line : wire.Lines()) {
            // Of the logon a part may be missing, which servers refuse; never of a file or a position.
            const std::string verb = line.substr(0, 5);
            const bool isOwn = verb == "USER " || verb == "PASS " || line == "REIN";
            ASSERT_TRUE(isOwn || lines.count(line) != 0) << '"' << line << "\", allocation " << nth;
        }
        if (!came) {
            ASSERT_TRUE(outcome.opened == VXC_STATUS_OK && outcome.isWhole);
            ASSERT_GT(nth, 60);
            return;
        }
    }
    FAIL() << "it never ran clean";
}
