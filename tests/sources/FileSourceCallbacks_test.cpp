// A file source over a host's own file functions.
#include "sources/SourceFixture.h"

#include "support/HostTable.h"

using namespace vxcio;
using namespace vxcio::test;
using Inspector = FileSourceInspector;

namespace {

class FileSourceCallbacksTest : public ::testing::Test {
protected:
    uint32 Open(const wchar_t* second = nullptr) {
        return source.OpenFile(host.Tagged().c_str(), 0, second, 0);
    }

    const std::vector<uint8> content = Pattern(5000, 5);
    HostTable host{L"host.mxf", content};
    CFileSource source;
};

} // namespace

TEST_F(FileSourceCallbacksTest, ReadsSeeksAndDigestsThroughTheHost) {
    FaultPlan plan;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_TRUE(Inspector::HasCallbacks(source));
    EXPECT_EQ(Inspector::File1(source), host.Tagged()); // the name as given, its table included
    source.EnableMD5_Check(0);
    source.BeginMD5_Check(0);
    EXPECT_EQ(source.GetFileSize(), 5000U);
    source.Seek(3000, 1);
    std::vector<uint8> buffer(100);
    EXPECT_EQ(source.Read(buffer.data(), 100), 100);
    EXPECT_TRUE(std::equal(buffer.begin(), buffer.end(), content.begin() + 3000));
    EXPECT_EQ(DigestOf(source), DigestOf(content));
    source.CloseFile();
    EXPECT_EQ(host.OpenHandles(), 0);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateFileW), 0);
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 0);
}

TEST_F(FileSourceCallbacksTest, NamesOfAHostAreNoPathsOfDrives) {
    FaultPlan plan;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_GetDriveTypeW), 0);
}

TEST_F(FileSourceCallbacksTest, SectorSizeIsAskedForTheTaggedNameAllTheSame) {
    LogCapture log;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(log.Count(L"GetDiskSectorSize(" + host.Tagged() + L")--1"), 1U);
}

TEST_F(FileSourceCallbacksTest, ASecondNameIsIgnored) {
    EXPECT_EQ(Open(L"second.mxf"), VXC_STATUS_OK);
    LogCapture log;
    source.CloseFile();
    EXPECT_TRUE(log.Contains(L"SingleHandleMode"));
}

TEST_F(FileSourceCallbacksTest, AHostThatClaimsMoreThanItReadHarmsNobody) {
    ASSERT_EQ(source.OpenFile(host.Tagged().c_str(), VXC_FILE_FLAG_NO_BUFFERING, nullptr, 0), VXC_STATUS_OK);
    host.ClaimMore(1 << 30);
    source.EnableMD5_Check(0);
    source.BeginMD5_Check(0);
    std::vector<uint8> buffer(100);
    source.Seek(700, 1);
    EXPECT_EQ(source.Read(buffer.data(), 100), 100);
    EXPECT_TRUE(std::equal(buffer.begin(), buffer.end(), content.begin() + 700));
}

TEST_F(FileSourceCallbacksTest, ShortReadsOfTheHostAreHandedOn) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    host.ShortenReads(30);
    std::vector<uint8> buffer(100);
    EXPECT_EQ(source.Read(buffer.data(), 100), 30);
    EXPECT_EQ(source.Read(buffer.data(), 100), 30);
    EXPECT_TRUE(std::equal(buffer.begin(), buffer.begin() + 30, content.begin() + 30));
}

TEST_F(FileSourceCallbacksTest, CountsOfTwoGibibytesAndMoreStayTrueInsideAndTurnNegativeOutside) {
    host.Table().pfnRead = [](void*, void*, uint32 bytes, uint32* done) -> uint64 {
        *done = bytes; // writes nothing, so that no buffer of that size is needed
        return 0;
    };
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    uint8 byte = 0;
    EXPECT_EQ(static_cast<uint32>(source.Read(&byte, 0x90000000U)), 0x90000000U);
    EXPECT_EQ(Inspector::FilePos(source), int64{0x90000000});
    EXPECT_EQ(Inspector::ReadPos(source), int64{0x90000000});
}

TEST_F(FileSourceCallbacksTest, AReadAcrossTheLastPositionWrapsBothPositions) {
    const int64 largest = 0x7FFFFFFFFFFFFFFF;
    host.Table().pfnRead = [](void*, void*, uint32 bytes, uint32* done) -> uint64 {
        *done = bytes;
        return 0;
    };
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FaultPlan plan; // no older error of the thread stands
    plan.Add(Answer(Op::VXC_GetLastError, 0).FromThenOn());
    source.Seek(largest - 4, 1);
    uint8 bytes[8] = {};
    EXPECT_EQ(source.Read(bytes, 8), 8);
    EXPECT_EQ(Inspector::FilePos(source), -largest - 1 + 3);
    EXPECT_EQ(Inspector::ReadPos(source), -largest - 1 + 3);
}

TEST_F(FileSourceCallbacksTest, ASizeFarAboveWhatTheHostDeliversEndsTheDigestAllTheSame) {
    host.Table().pfnGetFileSize = [](void*, uint32* errorNumber) {
        *errorNumber = 0;
        return uint64{1} << 60;
    };
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    source.EnableMD5_Check(0);
    EXPECT_EQ(DigestOf(source), DigestOf(content));
    EXPECT_EQ(Inspector::Inner(source).MD5State()->Position(), uint64{1} << 60);
    EXPECT_LT(host.Calls(HostFunction::Read), 2000);
}

TEST_F(FileSourceCallbacksTest, ADigestThatIsUpToDateCostsNoSeek) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    source.EnableMD5_Check(0);
    source.BeginMD5_Check(0);
    std::vector<uint8> buffer(700);
    source.Read(buffer.data(), 700);
    source.Read(buffer.data(), 700);
    EXPECT_EQ(host.Calls(HostFunction::SetFilePointer), 2); // one for each read
    buffer.resize(content.size());
    source.Read(buffer.data(), 5000);
    host.ClearLog();
    EXPECT_EQ(DigestOf(source), DigestOf(content));
    EXPECT_EQ(host.Order(), std::vector<HostFunction>{HostFunction::GetFileSize});
}

TEST_F(FileSourceCallbacksTest, ABufferedDigestGoesOnExactlyWhereItStands) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    source.EnableMD5_Check(0);
    Inspector::Inner(source).MD5State()->Feed(content.data(), 700);
    host.ClearLog();
    EXPECT_EQ(DigestOf(source), DigestOf(content));
    EXPECT_EQ(host.Calls(HostFunction::Read), 1);
    for (const HostCall& call : host.Log()) {
        if (call.function == HostFunction::SetFilePointer) {
            EXPECT_EQ(call.distance, 700);
        }
    }
}
