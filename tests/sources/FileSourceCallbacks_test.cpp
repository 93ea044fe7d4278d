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
