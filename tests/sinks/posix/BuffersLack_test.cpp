// Sinks whose large buffers cannot be had, as under a limit of the process.
#include "sinks/SinkOverHost.h"
#include "support/posix/SystemTesting.h"

#include <cstdlib>
#include <fstream>
#include <sys/resource.h>

// With a sanitizer built in memory that lacks would end the program; its runtime asks these.
#define VXC_ASKED_BY_THE_RUNTIME extern "C" __attribute__((visibility("default"), used))
VXC_ASKED_BY_THE_RUNTIME const char* __asan_default_options();
VXC_ASKED_BY_THE_RUNTIME const char* __tsan_default_options();
const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
const char* __tsan_default_options() {
    return "allocator_may_return_null=1";
}

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kMiB = 1048576;

class BuffersLackTest : public SinkOverHost {
protected:
    // From now on there is so much memory more for this process.
    static bool Limit(std::size_t bytes) {
        constexpr std::size_t kPage = 4096;
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const rlimit most = {pages * kPage + bytes, pages * kPage + bytes};
        return pages != 0 && ::setrlimit(RLIMIT_AS, &most) == 0;
    }
    // Takes all memory that is there in pieces of this size, so that only smaller ones are left; and frees
    // it.
    struct Piece {
        Piece* next;
    };
    static Piece* TakePieces(std::size_t bytes) {
        Piece* first = nullptr;
        while (auto* const piece = static_cast<Piece*>(std::malloc(bytes))) {
            piece->next = first;
            first = piece;
        }
        return first;
    }
    static void FreePieces(Piece* piece) {
        while (piece != nullptr) {
            Piece* const next = piece->next;
            std::free(piece);
            piece = next;
        }
    }
    // 0 when the open failed and nothing is left of it.
    int ExpectRefused(uint32 bufferBytes, uint32 flags) {
        return OpenHost(bufferBytes, flags) == VXC_STATUS_OPEN_WRITE ? ExpectNothingLeft() : 2;
    }
    int ExpectNothingLeft() {
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

TEST_F(BuffersLackTest, WithASectorButNoStagingAreaNeither) {
    const auto open = [this] {
        if (!Limit(8 * kMiB)) {
            return 1;
        }
        Piece* const taken = TakePieces(kMiB / 2);
        const uint32 status = OpenHost(0, kDirect);
        FreePieces(taken);
        return status == VXC_STATUS_OPEN_WRITE ? ExpectNothingLeft() : 2;
    };
    EXPECT_EQ(RunInChild(open), 0);
}

TEST_F(BuffersLackTest, WithAStagingAreaButNoSectorNeither) {
    SetSectorSize<128 * kMiB>(platform);
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
