#include "sources/PullDataSource.h"

#include "sources/RemoteCompanion.h"
#include "sources/SourceFixture.h"
#include "support/HostTable.h"
#include "support/MemoryLack.h"

#include <gmock/gmock.h>

#include <memory>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class PullDataSourceTest : public ::testing::Test {
protected:
    PullDataSourceTest() { folder.WritePattern("clip", 1000, 3); }

    TempFolder folder{TempFolder::Kind::Memory};
    CPullDataSource source;
};

} // namespace

TEST_F(PullDataSourceTest, HandsEverythingToTheSourceOfTheFile) {
    ASSERT_EQ(source.OpenFile(folder.Wide("clip").c_str(), 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_EQ(source.GetFileSize(), 1000U);
    EXPECT_EQ(source.EnableMD5_Check(0), 1);
    EXPECT_EQ(source.BeginMD5_Check(0), 1);
    EXPECT_EQ(source.SetReadRepeat(1), 0U);
    EXPECT_EQ(source.SetReadRepeat(0), 1U);
    EXPECT_EQ(source.Seek(-10, 2), 990);
    std::vector<uint8> buffer(100);
    EXPECT_EQ(source.Read(buffer.data(), 100), 10);
    EXPECT_EQ(DigestOf(source), DigestOf(Pattern(1000, 3)));
    EXPECT_EQ(source.StopMD5_Check(0), 1);
    EXPECT_EQ(source.CanSeek(), 1);
    EXPECT_EQ(source.IsPreReadMode(), 0U);
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(source.GetFileSize(), 0U);
}

TEST_F(PullDataSourceTest, BeforeAnOpenEverythingGivesZeroAndLeavesItsOutputs) {
    uint8 byte = 7;
    uint8* data = &byte;
    int length = 5;
    EXPECT_EQ(source.EnableMD5_Check(0), 0);
    EXPECT_EQ(source.BeginMD5_Check(0), 0);
    EXPECT_EQ(source.StopMD5_Check(0), 0);
    EXPECT_EQ(source.GetMD5_check(1, data, length), 0);
    EXPECT_EQ(source.SetReadRepeat(1), 0U);
    source.EnablePreRead(1, 1);
    source.DisablePreRead();
    EXPECT_EQ(source.IsPreReadMode(), 0U);
    EXPECT_EQ(source.CanSeek(), 1);
    EXPECT_EQ(source.ReadAt(0, &data, 1), 0);
    EXPECT_EQ(source.ReadPtr(&data, 1), 0);
    EXPECT_EQ(source.Seek(5, 1), 0);
    EXPECT_EQ(source.Read(&byte, 1), 0);
    EXPECT_EQ(source.GetFileSize(), 0U);
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(data, &byte);
    EXPECT_EQ(byte, 7);
    EXPECT_EQ(length, 5);
}

TEST_F(PullDataSourceTest, NamesOfUrlsInAnyCaseBelongToTheRemoteSource) {
    RemoteCompanion companion;
    companion.content = Pattern(1000, 3);
    FaultPlan plan;
    for (const wchar_t* name : {L"http://host/clip", L"HTTPS://host/clip", L"http", L"HTTP:", L"hTtPfile"}) {
        LogCapture log;
        EXPECT_EQ(source.OpenFile(name, 0, nullptr, 0), VXC_STATUS_OK) << name;
        EXPECT_TRUE(log.Contains(L"CRemoteSource::OpenFile(" + std::wstring(name) + L") end!"));
        EXPECT_EQ(source.GetFileSize(), 1000U);
    }
    EXPECT_EQ(plan.Calls(Op::VXC_CreateFileW), 0);
    source.CloseFile(); // before its companion goes
}

TEST_F(PullDataSourceTest, HandsEverythingToTheSourceOfTheUrl) {
    RemoteCompanion companion;
    companion.content = Pattern(1000, 3);
    ASSERT_EQ(source.OpenFile(L"http://host/clip", 0, L"ignored", 5), VXC_STATUS_OK);
    EXPECT_EQ(source.GetFileSize(), 1000U);
    EXPECT_EQ(source.EnableMD5_Check(0), 1);
    EXPECT_EQ(source.BeginMD5_Check(0), 1);
    EXPECT_EQ(source.SetReadRepeat(0), 1U);
    EXPECT_EQ(source.Seek(-10, 2), 990);
    std::vector<uint8> buffer(100);
    EXPECT_EQ(source.Read(buffer.data(), 100), 10);
    EXPECT_EQ(DigestOf(source), DigestOf(Pattern(1000, 3)));
    uint8* data = buffer.data();
    source.EnablePreRead(1 << 20, 0);
    EXPECT_EQ(source.IsPreReadMode(), 0U);
    EXPECT_EQ(source.ReadAt(0, &data, 1), 0);
    EXPECT_EQ(source.ReadPtr(&data, 1), 0);
    EXPECT_EQ(data, buffer.data());
    companion.Clear();
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_THAT(companion.Calls(), ElementsAre("close", "destroyed"));
    EXPECT_EQ(source.GetFileSize(), 0U);
}

TEST_F(PullDataSourceTest, AUrlThatNobodyClosesIsGivenBackToItsModule) {
    RemoteCompanion companion;
    {
        CPullDataSource scoped;
        ASSERT_EQ(scoped.OpenFile(L"http://host/clip", 0, nullptr, 0), VXC_STATUS_OK);
        companion.Clear();
    }
    EXPECT_THAT(companion.Calls(), ElementsAre("given back", "destroyed"));
}

TEST_F(PullDataSourceTest, AUrlThatFailsToOpenKeepsItsSourceUntilTheClose) {
    RemoteCompanion companion;
    companion.Break("open", false);
    EXPECT_EQ(source.OpenFile(L"http://host/clip", 0, nullptr, 0), VXC_STATUS_OPEN_READ);
    companion.Clear();
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_THAT(companion.Calls(), ElementsAre("close", "destroyed"));
}

TEST_F(PullDataSourceTest, AFileAfterAUrlAndAUrlAfterAFileFreeTheFormerSource) {
    RemoteCompanion companion;
    FaultPlan plan;
    ASSERT_EQ(source.OpenFile(L"http://host/clip", 0, nullptr, 0), VXC_STATUS_OK);
    ASSERT_EQ(source.OpenFile(folder.Wide("clip").c_str(), 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_EQ(companion.Alive(), 0);
    EXPECT_EQ(source.GetFileSize(), 1000U);
    ASSERT_EQ(source.OpenFile(L"http://host/clip", 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_EQ(companion.Alive(), 1);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1);
    source.CloseFile();
    EXPECT_EQ(companion.Alive(), 0);
}

TEST_F(PullDataSourceTest, WhereMemoryLacksAUrlIsNotAvailableAndNeverAFile) {
    RemoteCompanion companion;
    companion.content = Pattern(1000, 3);
    int failures = 0;
    for (int nth = 1;; ++nth) {
        FaultPlan plan;
        CPullDataSource scoped;
        bool came = false;
        {
            const MemoryLack lack(nth);
            const uint32 status = scoped.OpenFile(L"http://host/clip", 0, nullptr, 0);
            came = lack.Came();
            if (status != VXC_STATUS_OK) {
                ++failures;
                EXPECT_TRUE(came);
                EXPECT_EQ(status, VXC_STATUS_NOT_AVAILABLE) << nth;
                EXPECT_THAT(companion.Calls(), IsEmpty());
            }
        }
        EXPECT_EQ(plan.Calls(Op::VXC_CreateFileW), 0) << nth;
        scoped.CloseFile();
        companion.Clear();
        EXPECT_EQ(companion.Alive(), 0);
        if (!came) {
            break;
        }
        ASSERT_LT(nth, 100);
    }
    EXPECT_GE(failures, 2); // the source and its inner object; the name alone is missed in the log only
}

TEST_F(PullDataSourceTest, AllOtherNamesBelongToTheFileSource) {
    FaultPlan plan; // whatever lies in the present folder
    plan.Add(Fail(Op::VXC_CreateFileW).FromThenOn());
    int asked = 0;
    for (const wchar_t* name : {L"htt", L"", L"xhttp", L"ht", L"ftp://host/clip"}) {
        EXPECT_EQ(source.OpenFile(name, 0, nullptr, 0), VXC_STATUS_OPEN_READ) << name;
        EXPECT_EQ(plan.Calls(Op::VXC_CreateFileW), ++asked) << name;
    }
}

TEST_F(PullDataSourceTest, FlagsAndTheSecondNameAreHandedOn) {
    HostTable host(L"host.mxf", Pattern(100, 1));
    ASSERT_EQ(source.OpenFile(host.Tagged().c_str(), 0x08000080, nullptr, 0), VXC_STATUS_OK);
    EXPECT_EQ(host.Log().at(0).flags, 0x08000080U);
    const std::wstring clip = folder.Wide("clip");
    folder.WritePattern("copy", 100, 1);
    LogCapture log;
    EXPECT_EQ(source.OpenFile(clip.c_str(), 0, folder.Wide("copy").c_str(), 0), VXC_STATUS_OK);
    EXPECT_TRUE(log.Contains(L"OpenFile(File1:" + clip + L", File2:" + folder.Wide("copy")));
}

TEST_F(PullDataSourceTest, AFailedOpenKeepsItsSourceUntilTheClose) {
    EXPECT_EQ(source.OpenFile(folder.Wide("missing").c_str(), 0, nullptr, 0), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(source.EnableMD5_Check(0), 1);
    LogCapture log;
    source.CloseFile();
    EXPECT_TRUE(log.Contains(L"CFileSource::CloseFile()"));
    EXPECT_EQ(source.EnableMD5_Check(0), 0);
}

TEST_F(PullDataSourceTest, AStoppedCheckIsFedNoMore) {
    ASSERT_EQ(source.OpenFile(folder.Wide("clip").c_str(), 0, nullptr, 0), VXC_STATUS_OK);
    source.EnableMD5_Check(0);
    source.BeginMD5_Check(0);
    source.StopMD5_Check(0);
    source.Seek(500, 1);
    FaultPlan plan;
    uint8 byte = 0;
    EXPECT_EQ(source.Read(&byte, 1), 1);
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 1); // what lies before it is not read for the digest
}

TEST_F(PullDataSourceTest, NoNameNoSource) {
    EXPECT_EQ(source.OpenFile(nullptr, 0, nullptr, 0), VXC_STATUS_NOT_AVAILABLE);
}

TEST_F(PullDataSourceTest, OpeningAgainClosesAndFreesTheFormerSource) {
    FaultPlan plan;
    ASSERT_EQ(source.OpenFile(folder.Wide("clip").c_str(), 0, nullptr, 0), VXC_STATUS_OK);
    ASSERT_EQ(source.OpenFile(folder.Wide("clip").c_str(), 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1);
    EXPECT_EQ(source.OpenFile(nullptr, 0, nullptr, 0), VXC_STATUS_NOT_AVAILABLE);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 2);
}

TEST_F(PullDataSourceTest, DestructionClosesWhatIsOpen) {
    FaultPlan plan;
    {
        CPullDataSource scoped;
        ASSERT_EQ(scoped.OpenFile(folder.Wide("clip").c_str(), 0, nullptr, 0), VXC_STATUS_OK);
        scoped.EnableMD5_Check(0);
    }
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1);
}

TEST_F(PullDataSourceTest, AnXdcamClipIsNotAvailable) {
    uint32 start = 0;
    uint32 count = 0;
    EXPECT_EQ(static_cast<uint32>(source.OpenXDCAMFtpMXF(L"clip", start, count, nullptr)), 0x80000002U);
}
