// Whatever fails while a sink patches a file: it comes back, leaves nothing behind, and spoils nothing that
// it was not to write.
#include "sinks/SinkFixture.h"
#include "support/LeakChecks.h"
#include "support/TestClock.h"

#include <algorithm>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kSize = 2'000'000;
constexpr uint32 kNode = 524288;

class WriteDamageTest : public SinkFixture, public ::testing::WithParamInterface<WritePath> {
protected:
    // Three patches; those behind the first begin and end within sectors.
    void PatchFile() {
        if (Open(GetParam(), kUpdate) != VXC_STATUS_OK) {
            return;
        }
        const auto patch = Pattern(kNode + 5000, 2);
        sink.Write(patch.data(), kNode + 5000, nullptr);
        sink.Seek(1'000'100, 1);
        sink.Write(patch.data(), 50, nullptr);
        uint8 back[100];
        sink.ReadBack(back, sizeof back);
        sink.Seek(1'200'300, 1);
        sink.Write(patch.data(), kNode, nullptr);
        sink.Write(patch.data(), 10, nullptr);
        sink.CloseFile();
    }
    // Lets the first of the calls that the rule counts fail, then the second, until none is left. How many
    // rounds that took.
    int Sweep(FaultRule rule) {
        TestClock clock;
        clock.AutoAdvance(true);
        for (int n = 1; n < 500; ++n) {
            const NoLeakScope leaks;
            folder.WritePattern("target", kSize, 1);
            FaultPlan plan;
            plan.Add(rule.Nth(n));
            PatchFile();
            ExpectUnspoilt(plan.Account().empty() ? "clean" : plan.Account().front());
            if (plan.Fired() == 0) {
                return n;
            }
        }
        ADD_FAILURE() << "no end";
        return 0;
    }
    // Outside of what was to be written.
    void ExpectUnspoilt(const std::string& account) {
        const auto now = Content();
        ASSERT_GE(now.size(), kSize) << account;
        const auto same = [&](std::size_t from, std::size_t to) {
            return std::equal(content.begin() + static_cast<std::ptrdiff_t>(from),
                              content.begin() + static_cast<std::ptrdiff_t>(to),
                              now.begin() + static_cast<std::ptrdiff_t>(from));
        };
        ASSERT_TRUE(same(kNode + 5000, 1'000'100)) << account;
        ASSERT_TRUE(same(1'000'150, 1'200'300)) << account;
        ASSERT_TRUE(same(1'200'310 + kNode, kSize)) << account;
    }

    const std::vector<uint8> content = Pattern(kSize, 1);
};

INSTANTIATE_TEST_SUITE_P(Sinks, WriteDamageTest, ::testing::ValuesIn(kWritePaths),
                         [](const auto& param) { return param.param.name; });

} // namespace

// Left out is what cannot but do harm: a size that cannot be had counts as 0, the writer thread takes a
// sector that it cannot read for zeros, and a write without buffers goes out where the file stands.
TEST_P(WriteDamageTest, OneFailureAnywhereSpoilsNothingElse) {
    std::vector<Op> ops = {Op::VXC_CreateFileW, Op::VXC_WriteFile,    Op::VXC_SetEndOfFile,
                           Op::VXC_CloseFile,   Op::VXC_CreateEventW, Op::VXC_SetEvent,
                           Op::VXC_CloseHandle, Op::VXC_CreateThread, Op::VXC_WaitForSingleObject,
                           Op::VXC_ResumeThread};
    if (GetParam().bufferBytes != 0 || GetParam().flags != 0) {
        ops.push_back(Op::VXC_SetFilePointer);
    }
    EXPECT_GT(Sweep(Fail(ops)), 6);
}

TEST_P(WriteDamageTest, OneReadOfTheCallerThatFailsSpoilsNothing) {
    EXPECT_GT(Sweep(Fail(Op::VXC_ReadFile).OnThisThread()), 1);
}
