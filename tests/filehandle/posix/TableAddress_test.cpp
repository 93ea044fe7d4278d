// A host's table at the very edge of memory that can be read.
#include "filehandle/HandleFixture.h"

#include "support/HostTable.h"

#include <cstring>
#include <sys/mman.h>

using namespace vxcio;
using namespace vxcio::test;

TEST(TableAddressTest, ATableThatEndsAtUnreadableMemoryIsAFailedOpen) {
    constexpr std::size_t kPage = 4096;
    HostTable host;
    CQLSoftFileHandle handle;
    void* const pages = mmap(nullptr, 2 * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    ASSERT_EQ(mprotect(static_cast<uint8*>(pages) + kPage, kPage, PROT_NONE), 0);
    uint8* const end = static_cast<uint8*>(pages) + kPage;
    const auto open = [&](uint8* address) {
        return handle.CreateFile(ADDVXCIOID(L"host.mxf", address), VXC_GENERIC_READ, 3, nullptr, 3, 0,
                                 nullptr, 0);
    };
    std::memcpy(end - sizeof(IOCallbackSet), &host.Table(), sizeof(IOCallbackSet));
    EXPECT_EQ(open(end - sizeof(IOCallbackSet)), VXC_STATUS_OK);
    EXPECT_EQ(open(end - sizeof(IOCallbackSet) + 1), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(open(end), VXC_STATUS_OPEN_READ);
    handle.CloseFileHandle();
    munmap(pages, 2 * kPage);
}
