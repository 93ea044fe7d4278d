// A source over a real disk whose sectors have 4096 bytes: what its own probe says is what keeps its reads
// in order.
#include "frame/PlatformTypes.h"
#include "frame/SoftDataIO.h"
#include "frame/Status.h"
#include "sources/DiskProbes.h"
#include "support/TempFolder.h"
#include "support/posix/SystemTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

using namespace vxcio;
using namespace vxcio::test;

TEST(LargeSectorsTest, ASourceReadsAnyRangeUnbufferedFromADiskWithSectorsOf4096Bytes) {
    constexpr uint32 kSize = 100'000;
    const TempFolder folder;
    const LargeSectorDisk disk(folder);
    if (disk.Lack() != nullptr) {
        GTEST_SKIP() << "this machine lacks " << disk.Lack();
    }
    folder.WritePattern("mounted/clip", kSize, 1);
    const std::wstring name = folder.Wide("mounted/clip");
    EXPECT_EQ(GetDiskSectorSize(name.c_str()), 4096U);

    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    ASSERT_EQ(source->OpenFile(name.c_str(), VXC_FILE_FLAG_NO_BUFFERING, nullptr, 0), VXC_STATUS_OK);
    const std::vector<uint8> content = Pattern(kSize, 1);
    std::vector<uint8> buffer(50'001);
    for (uint32 position = 0; position < kSize + 5000; position += 7919) {
        for (const uint32 bytes : {1U, 512U, 4096U, 5000U, 50'000U}) {
            source->Seek(position, 1);
            const std::size_t left = position < kSize ? kSize - position : 0;
            const auto expected = static_cast<int>(std::min<std::size_t>(bytes, left));
            ASSERT_EQ(source->Read(buffer.data() + 1, bytes), expected) << position << " " << bytes;
            ASSERT_TRUE(std::equal(buffer.begin() + 1, buffer.begin() + 1 + expected,
                                   content.begin() + static_cast<std::ptrdiff_t>(std::min(position, kSize))))
                << position << " " << bytes;
        }
    }
    EXPECT_EQ(source->CloseFile(), VXC_STATUS_OK);
}
