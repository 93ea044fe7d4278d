// Block and buffer of a sink with a writer thread.
#include "sinks/SinkOverHost.h"
#include "support/LeakChecks.h"
#include "support/SettingsScope.h"

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kMiB = 1048576;

struct Sizes {
    uint32 bufferBytes;
    uint32 blockBytes;
    uint32 buffer;
    uint32 block;
};

class WriteFileSizesTest : public SinkOverHost {
protected:
    void Expect(const Sizes& sizes) {
        LogCapture log;
        ASSERT_EQ(OpenHost(sizes.bufferBytes, 0, kUpdate, sizes.blockBytes), VXC_STATUS_OK);
        const std::string what =
            std::to_string(sizes.bufferBytes) + " in " + std::to_string(sizes.blockBytes);
        EXPECT_EQ(Inspector::BufferSize(sink), sizes.buffer) << what;
        EXPECT_EQ(Inspector::BlockSize(sink), sizes.block) << what;
        ASSERT_NE(Inspector::Ring(sink), nullptr);
        const WriteBufferRing& ring = *Inspector::Ring(sink);
        EXPECT_EQ(WriteBufferRingInspector::NodeCount(ring), sizes.buffer / sizes.block) << what;
        EXPECT_EQ(ring.Node().dwCapacity, sizes.block) << what;
        EXPECT_EQ(log.Count(L"WriteFile-BufferSize:" + std::to_wstring(sizes.buffer) + L"\uff0c BlockSize:" +
                            std::to_wstring(sizes.block) + L"\n"),
                  1U)
            << what;
        sink.CloseFile();
    }
    void ExpectRefused(uint32 bufferBytes, uint32 blockBytes) {
        NoLeakScope leaks;
        LogCapture log;
        EXPECT_EQ(OpenHost(bufferBytes, kDirect, kUpdate, blockBytes), VXC_STATUS_OPEN_WRITE);
        EXPECT_FALSE(Inspector::IsGood(sink));
        EXPECT_FALSE(Inspector::IsOpen(sink));
        EXPECT_EQ(Inspector::Ring(sink), nullptr);
        EXPECT_EQ(Inspector::StageCapacity(sink), 0U);
        EXPECT_FALSE(Inspector::HasSectorBuffer(sink));
        EXPECT_EQ(host.OpenHandles(), 0);
        EXPECT_EQ(host.Content(), content);
        EXPECT_EQ(log.Count(L"no memory or thread for a ring of " + std::to_wstring(bufferBytes) + L" bytes"),
                  1U);
        EXPECT_EQ(log.Count(L"WriteFile-BufferSize"), 0U);
        EXPECT_EQ(Write(Pattern(10, 1)), 0);
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    }

    SettingsScope settings;
};

} // namespace

TEST_F(WriteFileSizesTest, ASmallBufferIsTwoNodesOfHalfAMebibyte) {
    Expect({1, kMiB, kMiB, kMiB / 2});
    Expect({kMiB, kMiB, kMiB, kMiB / 2});
    Expect({kMiB, 4096, kMiB, kMiB / 2});
    Expect({kMiB, 0, kMiB, kMiB / 2});
    Expect({kMiB, 0xFFFFFFFF, kMiB, kMiB / 2});
    Expect({100, 700, kMiB, kMiB / 2});
}

TEST_F(WriteFileSizesTest, ALargerBufferIsRoundedUpToWholeBlocks) {
    Expect({4 * kMiB, kMiB, 4 * kMiB, kMiB});
    Expect({5'000'000, kMiB, 5'242'880, kMiB});
    Expect({kMiB + 1, kMiB, 2 * kMiB, kMiB});
    Expect({kMiB + 1, 512, kMiB + 512, 512});
    Expect({2 * kMiB, kMiB - 1, 2 * kMiB, kMiB}); // the block first
}

TEST_F(WriteFileSizesTest, ABlockIsRoundedUpToWholeSectors) {
    Expect({2 * kMiB, 1, 2 * kMiB, 512});
    Expect({2 * kMiB, 524'289, 2'099'200, 524'800});
    SetSectorSize<4096>(platform);
    Expect({2 * kMiB, 524'289, 2'113'536, 528'384});
    Expect({2 * kMiB, 4096, 2 * kMiB, 4096});
    Expect({1, 7, kMiB, kMiB / 2});
}

TEST_F(WriteFileSizesTest, ABlockLargerThanTheBufferIsARingOfOne) {
    Expect({2 * kMiB, 3 * kMiB, 3 * kMiB, 3 * kMiB});
}

TEST_F(WriteFileSizesTest, WithoutABlockItIsOneMebibyte) {
    Expect({3 * kMiB, 0, 3 * kMiB, kMiB});
    Expect({3 * kMiB + 1, 0, 4 * kMiB, kMiB});
}

TEST_F(WriteFileSizesTest, ASectorLargerThanTheSmallBlockIsABlock) {
    SetSectorSize<kMiB>(platform);
    Expect({1, 4096, kMiB, kMiB});
    SetSectorSize<2 * kMiB>(platform);
    Expect({1, 4096, 2 * kMiB, 2 * kMiB});
    Expect({5 * kMiB, 4096, 6 * kMiB, 2 * kMiB});
}

TEST_F(WriteFileSizesTest, TheStagingAreaHoldsASector) {
    SetSectorSize<4 * kMiB>(platform);
    ASSERT_EQ(OpenHost(0, kDirect), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::StageCapacity(sink), 4 * kMiB);
    EXPECT_EQ(Write(Pattern(1000, 2)), 1000);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    std::vector<uint8> expected = Pattern(1000, 2);
    const std::vector<uint8> rest = Bytes(1000, kSize - 1000);
    expected.insert(expected.end(), rest.begin(), rest.end());
    EXPECT_EQ(host.Content(), expected);
}

TEST_F(WriteFileSizesTest, WithoutAThreadTheBlockIsKeptAsItCame) {
    LogCapture log;
    ASSERT_EQ(OpenHost(0, 0, kUpdate, 700), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::BlockSize(sink), 700U);
    EXPECT_EQ(Inspector::BufferSize(sink), kMiB);
    EXPECT_EQ(log.Count(L"WriteFile-BufferSize"), 0U);
    ASSERT_EQ(OpenHost(0, 0, kUpdate, 0), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::BlockSize(sink), 0U);
}

TEST_F(WriteFileSizesTest, SizesThatRoundBeyond32BitsAreRefused) {
    ExpectRefused(0xFFFFFFFF, kMiB);       // the buffer
    ExpectRefused(0xFFFFFFFF, 0);          // with the block of none
    ExpectRefused(2 * kMiB, 0xFFFFFFFF);   // the block
    ExpectRefused(2 * kMiB, 0xFFFFFE01);   // by one byte
    ExpectRefused(0xFFF00001, kMiB);       // by one byte
    ExpectRefused(0xC0000000, 0x80000000); // a block that fits twice, and no more
    SetSectorSize<0x80000000>(platform);
    ExpectRefused(2 * kMiB, 0x80000001);
    ASSERT_EQ(OpenHost(0), VXC_STATUS_OK); // and the sink can be opened again
}

TEST_F(WriteFileSizesTest, ARefusedCreationLeavesAnEmptyFileThatIsClosed) {
    folder.WritePattern("target", 1000, 3);
    EXPECT_EQ(Open(0xFFFFFFFF, 0, kUpdate), VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(Content(), Pattern(1000, 3));
    EXPECT_EQ(Open(0xFFFFFFFF, 0, kCreate), VXC_STATUS_OPEN_WRITE);
    EXPECT_TRUE(Content().empty());
    CWriteFileEx1 other; // nobody holds it
    EXPECT_EQ(other.OpenFile(Target().c_str(), 0, 0, kUpdate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OK);
}
