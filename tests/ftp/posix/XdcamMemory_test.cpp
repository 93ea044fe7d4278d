// What a header costs that a device tells of and does not send.
#include "ftp/XdcamFixture.h"

#include <fstream>
#include <limits>

#include <sys/resource.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int64 kMiB = int64{1} << 20;

struct Memory {
    int64 reserved = 0;
    int64 used = 0;
    int64 touched = 0; // pages, by this thread

    static Memory Now() {
        Memory now;
        std::ifstream("/proc/self/statm") >> now.reserved >> now.used;
        now.reserved *= sysconf(_SC_PAGESIZE);
        now.used *= sysconf(_SC_PAGESIZE);
        rusage usage = {};
        getrusage(RUSAGE_THREAD, &usage);
        now.touched = usage.ru_minflt;
        return now;
    }
};

class XdcamMemoryTest : public XdcamFixture {
protected:
    void SetUp() override {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "a sanitizer keeps books of all memory";
#endif
    }
    // What the process has more while a stretch is open whose header has so many bytes.
    Memory CostOf(uint64 headerBytes) {
        Device().DSend(mxf::Head(headerBytes) + mxf::Filler(1000)).DFin();
        Connect(FTPMODE_XDCAM);
        const Memory before = Memory::Now();
        EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
        EXPECT_EQ(start, 100U);
        const Memory after = Memory::Now();
        ftp.Finish();
        return {after.reserved - before.reserved, after.used - before.used, after.touched - before.touched};
    }
};

} // namespace

TEST_F(XdcamMemoryTest, AHeaderThatNoReadCanAskForIsGivenNoMemory) {
    const Memory cost = CostOf(~uint64{0});
    EXPECT_LT(cost.reserved, 256 * kMiB); // a thread and its heap
    EXPECT_LT(cost.used, 16 * kMiB);
}

TEST_F(XdcamMemoryTest, AHeaderOfTheLargestSizeUsesOnlyWhatCame) {
    const Memory cost = CostOf(std::numeric_limits<int32>::max());
    EXPECT_GT(cost.reserved, 2000 * kMiB);
    EXPECT_LT(cost.used, 16 * kMiB);
    EXPECT_LT(cost.touched, 10'000) << "it is not walked to its end";
}
