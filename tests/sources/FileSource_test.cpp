// Opening, seeking and closing a file source.
#include "sources/SourceFixture.h"

#include "support/SettingsScope.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using Inspector = FileSourceInspector;

namespace {
using FileSourceTest = FileSourceFixture;
}

TEST_F(FileSourceTest, BeginsEmpty) {
    EXPECT_EQ(Inspector::SectorSize(source), 512U);
    EXPECT_EQ(Inspector::ReadBlockSize(source), 1048576U);
    EXPECT_EQ(source.GetFileSize(), 0U);
    EXPECT_EQ(source.IsPreReadMode(), 0U);
    EXPECT_EQ(source.CanSeek(), 1);
    EXPECT_EQ(source.SetReadRepeat(1), 0U);
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    uint8 byte = 0;
    EXPECT_EQ(source.Read(&byte, 1), 0);
}

TEST_F(FileSourceTest, ReadsAFileFromItsStartToItsEnd) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(4000), Bytes(0, 4000));
    EXPECT_EQ(Read(4000), Bytes(4000, 4000));
    EXPECT_EQ(Read(4000), Bytes(8000, 2000));
    EXPECT_TRUE(Read(4000).empty());
}

TEST_F(FileSourceTest, FailedOpenGivesTheStatusAndIsCleanedUpByClose) {
    const std::wstring missing = folder.Wide("missing");
    FaultPlan plan;
    EXPECT_EQ(source.OpenFile(missing.c_str(), 0, nullptr, 0), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(Inspector::SectorSize(source), 512U);
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1);
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1);
    EXPECT_EQ(source.OpenFile(nullptr, 0, nullptr, 0), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(source.OpenFile(L"", 0, nullptr, 0), VXC_STATUS_OPEN_READ);
}

TEST_F(FileSourceTest, OpeningAgainClosesTheFormerFile) {
    folder.WritePattern("other", 100, 9);
    FaultPlan plan;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Read(700);
    ASSERT_EQ(source.OpenFile(folder.Wide("other").c_str(), 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1);
    EXPECT_EQ(Read(1000), Pattern(100, 9));
}

TEST_F(FileSourceTest, OpeningAgainClosesInFull) {
    ASSERT_EQ(Open(VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    EXPECT_EQ(Read(10), Bytes(0, 10));
    EXPECT_NE(Inspector::BounceBufferSize(source), 0U);
    LogCapture log;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0U);
    EXPECT_TRUE(log.Texts().at(0).ends_with(Clip() + L" -- Begin"));
    EXPECT_TRUE(log.Texts().at(3).ends_with(Clip() + L" -- End"));
}

TEST_F(FileSourceTest, AnOpenStartsAtTheBeginningWhateverWasSoughtBefore) {
    EXPECT_EQ(source.Seek(500, 1), 500);
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::ReadPos(source), 0);
    EXPECT_EQ(Read(10), Bytes(0, 10));
}

TEST_F(FileSourceTest, AFileThatIsBeingWrittenCanBeRead) {
    CQLSoftFileHandle writer;
    ASSERT_EQ(writer.CreateFile(Clip().c_str(), VXC_GENERIC_WRITE, VXC_FILE_SHARE_READ, nullptr,
                                VXC_OPEN_EXISTING, 0, nullptr, 0),
              VXC_STATUS_OK);
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(10), Bytes(0, 10));
}

TEST_F(FileSourceTest, DestructionClosesAndReleasesTheDigest) {
    FaultPlan plan;
    {
        CFileSource scoped;
        ASSERT_EQ(scoped.OpenFile(Clip().c_str(), 0, nullptr, 0), VXC_STATUS_OK);
        scoped.EnableMD5_Check(0);
    }
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1);
}

TEST_F(FileSourceTest, AnEmptySecondNameOpensOneFile) {
    EXPECT_EQ(source.OpenFile(Clip().c_str(), 0, L"", 0), VXC_STATUS_OK);
    EXPECT_EQ(Read(10), Bytes(0, 10));
}

TEST_F(FileSourceTest, ASecondNameOpensTwoCopiesAndOneNameOneFileAgain) {
    folder.WritePattern("copy", kSize, kSeed);
    ASSERT_EQ(source.OpenFile(Clip().c_str(), 0, folder.Wide("copy").c_str(), 0), VXC_STATUS_OK);
    EXPECT_EQ(Read(kSize), content);
    LogCapture log;
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_TRUE(log.Texts().at(0).find(L"DoubleHandleMode: File1:" + Clip() + L", File2:" +
                                       folder.Wide("copy") + L" -- Begin") != std::wstring::npos);
    EXPECT_EQ(log.Lines().at(0).level, INFOTYPE_TRACE);
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    log.Clear();
    source.CloseFile();
    EXPECT_TRUE(log.Texts().at(0).find(L"SingleHandleMode") != std::wstring::npos);
}

TEST_F(FileSourceTest, CloseLogsTheNameAtItsBeginAndEnd) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    LogCapture log;
    source.CloseFile();
    wchar_t address[16];
    std::swprintf(address, 16, L"%x", static_cast<uint32>(reinterpret_cast<std::uintptr_t>(&source)));
    const std::wstring text =
        L"this->" + std::wstring(address) + L":CFileSource::CloseFile(): SingleHandleMode: File1:" + Clip();
    EXPECT_EQ(log.Texts().front(), text + L" -- Begin");
    EXPECT_EQ(log.Texts().back(), text + L" -- End");
    EXPECT_EQ(log.Lines().back().level, INFOTYPE_TRACE);
    EXPECT_EQ(log.Lines().size(), 4U); // the handle's own two lie between
}

TEST_F(FileSourceTest, SeekKnowsThreeOriginsAndTouchesNoFile) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FaultPlan plan;
    EXPECT_EQ(source.Seek(1000, 1), 1000);
    EXPECT_EQ(source.Seek(-1, 3), 999);
    EXPECT_EQ(plan.Calls(), 0);
    EXPECT_EQ(source.Seek(-10, 2), int64{kSize - 10});
    EXPECT_EQ(Read(100), Bytes(kSize - 10, 10));
    EXPECT_EQ(source.Seek(0, 3), int64{kSize});
}

TEST_F(FileSourceTest, SeekWithAnyOtherOriginKeepsThePosition) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Read(70);
    for (const uint32 origin : {0U, 4U, 7U, 0xFFFFFFFFU}) {
        EXPECT_EQ(source.Seek(1000, origin), 70);
    }
    EXPECT_EQ(Inspector::ReadPos(source), 70);
    EXPECT_EQ(Inspector::FilePos(source), 70);
}

TEST_F(FileSourceTest, SumsOfSeekWrapInsteadOfOverflowing) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    const int64 largest = 0x7FFFFFFFFFFFFFFF;
    EXPECT_EQ(source.Seek(largest, 1), largest);
    EXPECT_EQ(source.Seek(largest, 3), -2);
    EXPECT_TRUE(Read(10).empty());
    EXPECT_EQ(source.Seek(-5, 1), -5);
    EXPECT_TRUE(Read(10).empty());
}

TEST_F(FileSourceTest, SizeIsAskedOfTheHandleByEveryCall) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::Inner(source).m_qwFileSize, 0U);
    EXPECT_EQ(source.GetFileSize(), kSize);
    EXPECT_EQ(Inspector::Inner(source).m_qwFileSize, kSize);
    folder.WritePattern("clip", kSize + 1, kSeed);
    EXPECT_EQ(source.GetFileSize(), kSize + 1);
    source.CloseFile();
    EXPECT_EQ(source.GetFileSize(), kSize + 1); // what was stored
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::Inner(source).m_qwFileSize, 0U);
}

TEST_F(FileSourceTest, ReadRepeatGoesToTheHandle) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source.SetReadRepeat(5), 0U);
    EXPECT_EQ(source.SetReadRepeat(0), 5U);
}

TEST_F(FileSourceTest, KeepWindowFlagIsNoted) {
    ASSERT_EQ(Open(VXC_FILE_FLAG_KEEP_WINDOW), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::KeepWindow(source), 1U);
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::KeepWindow(source), 0U);
}

TEST_F(FileSourceTest, ReadBlockSizeIsReadAtEachOpen) {
    LogCapture log;
    const auto line = [](const wchar_t* size, const wchar_t* value) {
        return std::wstring(L"CFileSource::OpenFile()-m_dwReadBlockSize = 0x") + size +
               L" bytes(Register = " + value + L")";
    };
    {
        const SettingsScope settings({{L"ReadBlockSize", L"4"}});
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        EXPECT_EQ(Inspector::ReadBlockSize(source), 4U << 20);
        EXPECT_EQ(log.Count(line(L"400000", L"4")), 1U);
    }
    {
        // Zero changes nothing and is logged with the size that stays.
        const SettingsScope settings({{L"ReadBlockSize", L"0"}});
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        EXPECT_EQ(Inspector::ReadBlockSize(source), 4U << 20);
        EXPECT_EQ(log.Count(line(L"400000", L"0")), 1U);
    }
    log.Clear();
    const SettingsScope none({});
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    for (const std::wstring& text : log.Texts()) {
        EXPECT_EQ(text.find(L"m_dwReadBlockSize"), std::wstring::npos);
    }
}

TEST_F(FileSourceTest, ABlockSizeOfWhichTwoDoNotFitCountsAsZero) {
    LogCapture log;
    for (const auto& [value, size] :
         {std::pair{L"1024", 0x40000000U}, std::pair{L"1", 0x100000U}, std::pair{L"1025", 0x100000U},
          std::pair{L"2048", 0x100000U}, std::pair{L"4096", 0x100000U}, std::pair{L"4098", 0x100000U},
          std::pair{L"0xFFFFFFFF", 0x100000U}, std::pair{L"garbage", 0x100000U}}) {
        const SettingsScope settings({{L"ReadBlockSize", value}});
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        EXPECT_EQ(Inspector::ReadBlockSize(source), size) << value;
    }
    EXPECT_EQ(log.Count(L"m_dwReadBlockSize = 0x100000 bytes(Register = 4096)"), 1U); // what was read
}

TEST_F(FileSourceTest, AnOpticalDriveIsOnlyTalkedAbout) {
    FaultPlan plan;
    const auto rule = plan.Add(Answer(Op::VXC_GetDriveTypeW, VXC_DRIVE_CDROM));
    LogCapture log;
    ASSERT_EQ(Open(0x80), VXC_STATUS_OK);
    EXPECT_EQ(plan.Fired(rule), 1);
    EXPECT_EQ(log.Texts(INFOTYPE_TRACE).at(0),
              L"CFileSource::OpenFile--This is CDROM Path Name, Change to VXC_FILE_FLAG_SEQUENTIAL_SCAN");
    EXPECT_EQ(Inspector::Flags(source), 0x80U);
    log.Clear();
    ASSERT_EQ(Open(0x80), VXC_STATUS_OK); // on a disk there is nothing to say
    EXPECT_FALSE(log.Contains(L"CDROM"));
}

TEST_F(FileSourceTest, TheBlockSizeIsSetBeforeTheDriveIsLookedAt) {
    const SettingsScope settings({{L"ReadBlockSize", L"2"}});
    FaultPlan plan;
    plan.Add(Answer(Op::VXC_GetDriveTypeW, VXC_DRIVE_CDROM));
    LogCapture log;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    const auto texts = log.Texts();
    ASSERT_GE(texts.size(), 2U);
    EXPECT_EQ(texts[0], L"CFileSource::OpenFile()-m_dwReadBlockSize = 0x200000 bytes(Register = 2)");
    EXPECT_EQ(texts[1],
              L"CFileSource::OpenFile--This is CDROM Path Name, Change to VXC_FILE_FLAG_SEQUENTIAL_SCAN");
    EXPECT_EQ(log.Lines()[0].level, INFOTYPE_TRACE);
    EXPECT_EQ(log.Lines()[1].level, INFOTYPE_TRACE);
}

TEST_F(FileSourceTest, TheSpeedMeterCountsInTheTicksOfTheCounter) {
    _VXC_LARGE_INTEGER frequency = {};
    ASSERT_NE(VXC_QueryPerformanceFrequency(&frequency), 0);
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Inspector::ReadRate(source).Add(50, static_cast<uint64>(frequency.QuadPart));
    EXPECT_EQ(Inspector::ReadRate(source).Rate(), 50U);
}

TEST_F(FileSourceTest, SectorSizeIsThatOfTheDisk) {
    PlatformScope platform;
    DiskQueries().getDiskFreeSpace = [](const wchar_t*, uint32* size) {
        *size = 4096;
        return 1;
    };
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::SectorSize(source), 4096U);
}

TEST_F(FileSourceTest, AFailedOpenAsksNoDiskAndLeavesTheDefaultSector) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Inspector::SetSectorSize(source, 4096);
    LogCapture log;
    EXPECT_EQ(source.OpenFile(folder.Wide("missing").c_str(), 0, nullptr, 0), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(Inspector::SectorSize(source), 512U);
    EXPECT_FALSE(log.Contains(L"GetDiskSectorSize"));
}

TEST_F(FileSourceTest, CloseForgetsThePositionsAndTheMemory) {
    ASSERT_EQ(Open(VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    Read(10);
    Inspector::SetWholeFile(source, Pattern(50, 1));
    source.CloseFile();
    EXPECT_EQ(Inspector::FilePos(source), 0);
    EXPECT_EQ(Inspector::ReadPos(source), 0);
    EXPECT_FALSE(Inspector::HasBounceBuffer(source));
    EXPECT_EQ(Inspector::WholeFileSize(source), 0U);
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(10), Bytes(0, 10));
}

TEST_F(FileSourceTest, OpenAsksNothingOfTheFileButItsOpening) {
    FaultPlan plan;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateFileW), 1);
    EXPECT_EQ(plan.Calls(Op::VXC_GetFileSize), 0);
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 0);
    EXPECT_EQ(plan.Calls(Op::VXC_SetFilePointer), 0);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 0);
}

TEST_F(FileSourceTest, SequentialReadsSeekOnceAtTheStart) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FaultPlan plan;
    for (int i = 0; i < 10; ++i) {
        Read(1000);
    }
    EXPECT_EQ(plan.Calls(Op::VXC_SetFilePointer), 1);
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 10);
}

TEST_F(FileSourceTest, AFailedSeekGivesNothing) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_SetFilePointer));
    EXPECT_TRUE(Read(10).empty());
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 0);
    EXPECT_EQ(Read(10), Bytes(0, 10));
}

TEST_F(FileSourceTest, AReadOfNothingIsLogged) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    source.Seek(kSize, 1);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_ReadFile));
    LogCapture log;
    EXPECT_TRUE(Read(10).empty());
    EXPECT_EQ(log.Texts().back(),
              L"ReadFileWithTwoHandle(): pos = 10000, want 10 bytes, return 0 bytes(injected error)");
    EXPECT_EQ(log.Lines().back().level, INFOTYPE_ERROR);
    log.Clear();
    EXPECT_TRUE(Read(0).empty()); // nothing wanted, nothing to say
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(FileSourceTest, AReadErrorDoesNotHideLaterBytes) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_ReadFile).Nth(2));
    EXPECT_EQ(Read(10), Bytes(0, 10));
    EXPECT_TRUE(Read(10).empty());
    EXPECT_EQ(Read(10), Bytes(10, 10));
}

TEST_F(FileSourceTest, AWholeFileInMemoryServesReadsWithoutTheFile) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    const std::vector<uint8> memory = Pattern(5000, 77);
    Inspector::SetWholeFile(source, memory);
    FaultPlan plan;
    EXPECT_EQ(Read(100), std::vector<uint8>(memory.begin(), memory.begin() + 100));
    EXPECT_EQ(Inspector::FilePos(source), 100);
    source.Seek(4990, 1);
    EXPECT_EQ(Read(100), std::vector<uint8>(memory.end() - 10, memory.end()));
    for (const int64 outside : {int64{5000}, int64{5001}, int64{1} << 62, int64{-1}}) {
        source.Seek(outside, 1);
        EXPECT_TRUE(Read(100).empty()) << outside;
    }
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 0);
}
