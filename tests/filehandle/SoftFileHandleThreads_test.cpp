// Thread mode of a file handle while everything answers.
#include "filehandle/ThreadFixture.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

using SoftFileHandleThreadsTest = ThreadTest;

} // namespace

TEST_F(SoftFileHandleThreadsTest, OpensReadsSeeksTellsTheSizeAndCloses) {
    const NoLeakScope leaks;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(threaded.GetFileSize(), kSize);
    EXPECT_EQ(threaded.SetFilePointer(500, VXC_FILE_BEGIN), 500);
    uint32 count = 0;
    EXPECT_EQ(Read(100, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 100U);
    EXPECT_EQ(std::vector<uint8>(buffer.begin(), buffer.begin() + 100), Bytes(500, 100));
    EXPECT_EQ(Record().qwPosition, 600U);
    AlignedBuffer block(8192, 4096);
    const uint8* const memory = block.Data();
    EXPECT_EQ(threaded.ReadBlock(block, 8192, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 8192U);
    EXPECT_EQ(block.Data(), memory);
    EXPECT_EQ(std::vector<uint8>(memory, memory + 8192), Bytes(600, 8192));
    EXPECT_EQ(threaded.CloseFileHandle(), VXC_STATUS_OK);
}
