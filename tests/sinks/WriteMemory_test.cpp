// Memory is taken by the open, never by a write through the ring.
#include "sinks/HostSinkFixture.h"
#include "support/counting/AllocationCount.h"

#include "filehandle/ThreadFixture.h"

#include <memory>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class WriteMemoryTest : public SinkFixture, public ::testing::WithParamInterface<WritePath> {
protected:
    static constexpr uint32 kPiece = 33'333;

    // Three laps and more.
    void WriteLaps() {
        for (int i = 0; i < 120; ++i) {
            ASSERT_EQ(sink.Write(data.data(), kPiece, nullptr), static_cast<int>(kPiece));
        }
    }

    const std::vector<uint8> data = Pattern(kPiece, 1);
};

INSTANTIATE_TEST_SUITE_P(Sinks, WriteMemoryTest, ::testing::Values(kWritePaths[2], kWritePaths[3]),
                         [](const auto& param) { return param.param.name; });

} // namespace

TEST(AllocationCountTest, ItSeesWhatIsTakenOnAnyThread) {
    const AllocationCount count;
    // Called by name, as a compiler may leave out a new expression.
    ::operator delete(::operator new(1));
    const int first = count.Taken();
    EXPECT_GE(first, 1);
    std::thread([] { ::operator delete[](::operator new[](10)); }).join();
    EXPECT_GE(count.Taken(), first + 2); // that of the thread, and the thread's own
}

TEST_P(WriteMemoryTest, NothingIsTakenByAWrite) {
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    WriteLaps();
    const AllocationCount count;
    WriteLaps();
    EXPECT_EQ(count.Taken(), 0);
}

TEST_P(WriteMemoryTest, NothingIsTakenByAPatchEither) {
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    WriteLaps();
    sink.Seek(0, 1);
    const AllocationCount count;
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(sink.Write(data.data(), 100, nullptr), 100);
        sink.Seek(1000 * i, 1);
    }
    EXPECT_EQ(count.Taken(), 0);
}

TEST_P(WriteMemoryTest, NorWithWorkersUnderTheHandle) {
    const TimeOuts limits(VXC_INFINITE, 600'000);
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    WriteLaps(); // makes the workers and their memory
    const AllocationCount count;
    WriteLaps();
    EXPECT_EQ(count.Taken(), 0);
}

TEST_P(WriteMemoryTest, TheDigestTakesNoneEither) {
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    sink.EnableMD5_Check(0);
    sink.BeginMD5_Check(0);
    WriteLaps();
    const AllocationCount count;
    WriteLaps();
    EXPECT_EQ(count.Taken(), 0);
}
