// Sinks whose large buffers cannot be had, as under a limit of the process.
#include "sinks/HostSinkFixture.h"
#include "support/posix/SystemTesting.h"

#include <fstream>
#include <sys/resource.h>

// With a sanitizer built in memory that lacks would end the program.
extern "C" const char* __asan_default_options();
extern "C" const char* __tsan_default_options();
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options() {
    return "allocator_may_return_null=1";
}

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kMiB = 1048576;

class BuffersLackTest : public HostSinkFixture {
protected:
    // From now on there is so much memory more for this process.
    static bool Limit(std::size_t bytes) {
        constexpr std::size_t kPage = 4096;
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const rlimit most = {pages * kPage + bytes, pages * kPage + bytes};
        return pages != 0 && ::setrlimit(RLIMIT_AS, &most) == 0;
    }
    // 0 when the open failed and nothing is left of it.
    int ExpectRefused(uint32 bufferBytes, uint32 flags) {
        if (OpenHost(bufferBytes, flags) != VXC_STATUS_OPEN_WRITE) {
            return 2;
        }
        if (Inspector::IsOpen(sink) || Inspector::IsGood(sink) || Inspector::Ring(sink) != nullptr ||
            Inspector::StageCapacity(sink) != 0 || Inspector::HasSectorBuffer(sink)) {
            return 3;
        }
        if (host.OpenHandles() != 0 || host.Content() != content) {
            return 4;
        }
        return OpenHost(0) == VXC_STATUS_OK ? 0 : 5;
    }
};

} // namespace

TEST_F(BuffersLackTest, ARingWithoutItsBuffersIsNone) {
    EXPECT_EQ(RunInChild([this] { return Limit(200 * kMiB) ? ExpectRefused(0x70000000, 0) : 1; }), 0);
}

TEST_F(BuffersLackTest, WithoutAStagingAreaThereIsNoUnbufferedSink) {
    SetSectorSize<0x40000000>(platform);
    EXPECT_EQ(RunInChild([this] { return Limit(200 * kMiB) ? ExpectRefused(0, kDirect) : 1; }), 0);
}

TEST_F(BuffersLackTest, AReadBackThatFitsNoMemoryFailsTheSink) {
    const auto read = [this] {
        uint8 byte = 7;
        // Never that much is there, so nothing is written behind the byte.
        if (!Limit(200 * kMiB) || sink.ReadBack(&byte, 0x70000000) != 0x70000000 || byte != 7) {
            return 1;
        }
        if (Inspector::IsGood(sink) || Inspector::Position(sink) != 0x70000000 ||
            Inspector::StageCapacity(sink) != kMiB) {
            return 2;
        }
        return host.Calls(HostFunction::Read) == 0 && sink.CloseFile() == VXC_STATUS_OK ? 0 : 3;
    };
    ASSERT_EQ(OpenHost(0, kDirect), VXC_STATUS_OK);
    EXPECT_EQ(RunInChild(read), 0);
}
