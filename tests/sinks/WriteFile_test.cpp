// The sink whose block size is a setting.
#include "sinks/WriteFile.h"

#include "sinks/SinkOverHost.h"
#include "support/SettingsScope.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

constexpr uint32 kMiB = 1048576;

class WriteFileTest : public SinkOverHost {
protected:
    uint32 OpenFacade(uint32 bufferBytes, uint32 mode = kUpdate, uint32 flags = 0) {
        return facade.OpenFile(host.Tagged().c_str(), bufferBytes, mode, flags, nullptr);
    }
    void TearDown() override {
        facade.CloseFile();
        SinkOverHost::TearDown();
    }
    // Whether a ring of 4 MiB is cut into such blocks.
    bool HasBlocksOf(uint32 bytes) {
        LogCapture log;
        EXPECT_EQ(OpenFacade(4 * kMiB), VXC_STATUS_OK);
        facade.CloseFile();
        return log.Contains(L"BlockSize:" + std::to_wstring(bytes) + L"\n");
    }

    SettingsScope settings;
    CWriteFile facade;
};

} // namespace

TEST_F(WriteFileTest, TheBlockIsTheSettingOrOneMebibyte) {
    EXPECT_TRUE(HasBlocksOf(kMiB));
    settings.Set(L"WriteBlockSize", L"262144");
    EXPECT_TRUE(HasBlocksOf(262'144));
    settings.Set(L"WriteBlockSize", L"1000");
    EXPECT_TRUE(HasBlocksOf(1024));
    settings.Set(L"WriteBlockSize", L"0");
    EXPECT_TRUE(HasBlocksOf(kMiB));
    settings.Set(L"WriteBlockSize", L"nothing");
    EXPECT_TRUE(HasBlocksOf(kMiB));
    settings.Set(L"WriteBlockSize", L"2097152");
    {
        FaultPlan plan;
        plan.Add(Fail(Op::VXC_GetGlobalIntW).FromThenOn());
        EXPECT_TRUE(HasBlocksOf(kMiB));
        EXPECT_EQ(plan.Calls(Op::VXC_GetGlobalIntW), 1);
    }
    EXPECT_TRUE(HasBlocksOf(2 * kMiB)); // read by each open
}

TEST_F(WriteFileTest, TheSettingHasNoEffectOnASmallRing) {
    settings.Set(L"WriteBlockSize", L"4096");
    LogCapture log;
    ASSERT_EQ(OpenFacade(kMiB), VXC_STATUS_OK);
    EXPECT_TRUE(log.Contains(L"WriteFile-BufferSize:1048576\uff0c BlockSize:524288\n"));
}

TEST_F(WriteFileTest, ModeFlagsAndBufferGoOnAsTheyCame) {
    ASSERT_EQ(OpenFacade(0, kAppend, kDirect | 0x11), VXC_STATUS_OK);
    ASSERT_FALSE(host.Log().empty());
    EXPECT_EQ(host.Log().front().name, L"host.mxf");
    EXPECT_EQ(host.Log().front().flags, kDirect | 0x11);
    EXPECT_EQ(facade.GetFileSize(), kSize);
    EXPECT_EQ(facade.Seek(0, 3), kSize); // where appending begins
    FaultPlan plan;
    ASSERT_EQ(OpenFacade(0, kUpdate), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 0);
    EXPECT_EQ(facade.Seek(0, 3), 0);
    ASSERT_EQ(OpenFacade(1, kCreate), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 1);
    EXPECT_EQ(facade.GetFileSize(), 0U);
}

TEST_F(WriteFileTest, AFailedOpenGivesTheStatus) {
    host.Fail(HostFunction::Open, 5);
    EXPECT_EQ(OpenFacade(0), VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(facade.OpenFile(nullptr, 0, kCreate, 0, nullptr), VXC_STATUS_OPEN_WRITE);
    uint8 byte = 7;
    EXPECT_EQ(facade.Write(&byte, 1, nullptr), 0);
    EXPECT_EQ(facade.ReadBack(&byte, 1), 0);
    EXPECT_EQ(facade.CloseFile(), VXC_STATUS_OK);
}

TEST_F(WriteFileTest, EveryOperationIsThatOfTheSinkBehindIt) {
    ASSERT_EQ(OpenFacade(0), VXC_STATUS_OK);
    EXPECT_EQ(facade.GetFileSize(), kSize);
    EXPECT_EQ(facade.Seek(500, 1), 500);
    EXPECT_EQ(facade.Seek(-100, 2), kSize - 100);
    EXPECT_EQ(facade.Seek(50, 3), kSize - 50);
    const std::vector<uint8> bytes = Pattern(100, 2);
    uint32 wentOut = 7;
    Asked();
    EXPECT_EQ(facade.Write(bytes.data(), 100, &wentOut), 100);
    EXPECT_THAT(Asked(), ElementsAre("seek 99950", "write 100"));
    EXPECT_EQ(wentOut, 1U);
    EXPECT_EQ(facade.GetFileSize(), kSize + 50);
    EXPECT_EQ(facade.Write(bytes.data(), 100, nullptr), 100);
    EXPECT_EQ(facade.Seek(-150, 2), kSize);
    std::vector<uint8> buffer(150);
    EXPECT_EQ(facade.ReadBack(buffer.data(), 150), 150);
    EXPECT_EQ(Slice(buffer, 0, 50), Slice(bytes, 50, 50));
    EXPECT_EQ(Slice(buffer, 50, 100), bytes);
    EXPECT_EQ(facade.ReadBack(nullptr, 0xFFFFFFFF), 0); // the cache
    facade.Seek(0, 1);
    EXPECT_EQ(facade.ReadBack(buffer.data(), 10), 10);
    Asked();
    EXPECT_EQ(facade.ReadBack(buffer.data(), 10), 10);
    EXPECT_TRUE(Asked().empty());
    EXPECT_EQ(Slice(buffer, 0, 10), Bytes(10, 10));
    EXPECT_EQ(facade.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(host.OpenHandles(), 0);
    EXPECT_EQ(facade.Write(bytes.data(), 100, nullptr), 0);
}

TEST_F(WriteFileTest, NoDigestIsComputedBehindIt) {
    ASSERT_EQ(OpenFacade(0, kCreate), VXC_STATUS_OK);
    EXPECT_EQ(facade.EnableMD5_Check(0), 1);
    EXPECT_EQ(facade.BeginMD5_Check(0), 1);
    const std::vector<uint8> bytes = Pattern(100, 2);
    EXPECT_EQ(facade.Write(bytes.data(), 100, nullptr), 100);
    EXPECT_EQ(facade.StopMD5_Check(0), 1);
    uint8 mark = 0;
    uint8* digest = &mark;
    int length = 7;
    EXPECT_EQ(facade.GetMD5_check(1, digest, length), 0);
    EXPECT_EQ(digest, &mark);
    EXPECT_EQ(length, 7);
}

TEST_F(WriteFileTest, ItsDestructorClosesInFull) {
    {
        CWriteFile scoped;
        ASSERT_EQ(scoped.OpenFile(Target().c_str(), 1, kCreate, kDirect, nullptr), VXC_STATUS_OK);
        const std::vector<uint8> bytes = Pattern(1001, 2);
        EXPECT_EQ(scoped.Write(bytes.data(), 1001, nullptr), 1001);
    }
    EXPECT_EQ(Content(), Pattern(1001, 2));
}

TEST_F(WriteFileTest, TheFactoriesMakeSinksForFilesAlone) {
    const std::unique_ptr<CQLSoftDataSink> plain(CQLSoftDataSink::Construct(IOWORKMODE_FILE));
    EXPECT_NE(dynamic_cast<CWriteFile*>(plain.get()), nullptr);
    const std::unique_ptr<CQLSoftDataSinkEx1> extended(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FILE));
    EXPECT_NE(dynamic_cast<CWriteFileEx1*>(extended.get()), nullptr);
    EXPECT_EQ(CQLSoftDataSink::Construct(static_cast<IOWordkMode>(2)), nullptr);
    EXPECT_EQ(CQLSoftDataSinkEx1::Construct(static_cast<IOWordkMode>(-1)), nullptr);
}
