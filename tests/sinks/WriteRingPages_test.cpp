// The memory that a ring gives to the disk.
#include "frame/LargeMemory.h"
#include "sinks/SinkFixture.h"

#include <cstdint>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class WriteRingPagesTest : public SinkFixture {
protected:
    const uint8* Memory() {
        return WriteBufferRingInspector::NodeAt(*Inspector::Ring(sink), 0).pBuffer.Data();
    }
    bool IsInLargePage() { return reinterpret_cast<std::uintptr_t>(Memory()) % kLargeMemory == 0; }
};

} // namespace

TEST_F(WriteRingPagesTest, TheLeastRingPastTheCacheLiesInALargePage) {
    ASSERT_EQ(Open(1, kDirect), VXC_STATUS_OK);
    EXPECT_TRUE(IsInLargePage());
    const WriteBufferRing& ring = *Inspector::Ring(sink);
    EXPECT_EQ(WriteBufferRingInspector::NodeCount(ring), 2u);
    EXPECT_EQ(WriteBufferRingInspector::NodeAt(ring, 1).pBuffer.Data(), Memory() + 524288);
}

TEST_F(WriteRingPagesTest, ARingOfUnevenBlocksDoesToo) {
    ASSERT_EQ(Open(1'100'000, kDirect, kCreate, 300'000), VXC_STATUS_OK);
    EXPECT_TRUE(IsInLargePage());
}

TEST_F(WriteRingPagesTest, ALargerRingLiesInLargePagesInEveryWay) {
    for (const uint32 flags : {0u, kDirect}) {
        ASSERT_EQ(Open(4 << 20, flags), VXC_STATUS_OK);
        EXPECT_TRUE(IsInLargePage());
        sink.CloseFile();
    }
}

TEST_F(WriteRingPagesTest, BehindTheCacheTheLeastRingTakesNoMoreThanItsSize) {
    ASSERT_EQ(Open(1), VXC_STATUS_OK);
    CWriteFileEx1 second; // of two rings in a row one would lie at a large page by chance only
    ASSERT_EQ(second.OpenFile(folder.Wide("second").c_str(), 1, 0, kCreate, 0, 0, 0, 0, 0, nullptr),
              VXC_STATUS_OK);
    const auto* const other = WriteBufferRingInspector::NodeAt(*Inspector::Ring(second), 0).pBuffer.Data();
    EXPECT_FALSE(IsInLargePage() && reinterpret_cast<std::uintptr_t>(other) % kLargeMemory == 0);
}
