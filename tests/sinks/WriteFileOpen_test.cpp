// Opening a file sink: modes, flags, sizes and log lines.
#include "filehandle/HandleFixture.h"
#include "sinks/SinkOverHost.h"
#include "support/LeakChecks.h"
#include "support/SettingsScope.h"

#include <gmock/gmock.h>

#include <filesystem>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

// Modes that open no file.
constexpr uint32 kOddModes[] = {3, 4, 0x80000000u, 0xFFFFFFFFu};

class WriteFileOpenTest : public SinkOverHost {
protected:
    const SCreateFile* Record() const { return SoftFileHandleInspector::Record(Inspector::File(sink)); }
    std::vector<uint8> Old() const { return Pattern(kOldSize, 3); }

    static constexpr uint32 kOldSize = 1000;
    const std::string former = folder.WritePattern("target", kOldSize, 3);
    SettingsScope settings;
};

} // namespace

TEST_F(WriteFileOpenTest, BeginsClosedAndGood) {
    EXPECT_FALSE(Inspector::IsOpen(sink));
    EXPECT_TRUE(Inspector::IsGood(sink));
    EXPECT_EQ(Inspector::Position(sink), 0U);
    EXPECT_EQ(Inspector::SectorSize(sink), 512U);
    EXPECT_EQ(Inspector::BufferSize(sink), 1048576U);
    EXPECT_EQ(Inspector::WriteMode(sink), 0U);
    EXPECT_EQ(Inspector::LastOperation(sink), 0);
    EXPECT_EQ(sink.GetFileSize(), 0U);
    uint8 byte = 7;
    uint32 wentOut = 7;
    EXPECT_EQ(sink.Write(&byte, 1, &wentOut), 0);
    EXPECT_EQ(wentOut, 7U);
    EXPECT_EQ(sink.ReadBack(&byte, 1), 0);
    EXPECT_EQ(byte, 7);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
}

TEST_F(WriteFileOpenTest, CreatingMakesAnEmptyFile) {
    ASSERT_EQ(Open(0), VXC_STATUS_OK);
    EXPECT_TRUE(Content().empty());
    EXPECT_EQ(sink.GetFileSize(), 0U);
    EXPECT_EQ(Inspector::Position(sink), 0U);
    EXPECT_EQ(Inspector::OpenMode(sink), 0U);
    EXPECT_EQ(Inspector::LastOperation(sink), 0);
    EXPECT_TRUE(Inspector::IsGood(sink));
    EXPECT_TRUE(Inspector::IsOpen(sink));
    EXPECT_FALSE(Inspector::HasCallbacks(sink));
    EXPECT_EQ(std::wstring(Inspector::Inner(sink).m_strFileName.c_str()), Target());
}

TEST_F(WriteFileOpenTest, UpdatingBeginsAtTheStartOfWhatIsThere) {
    ASSERT_EQ(Open(0, 0, kUpdate), VXC_STATUS_OK);
    EXPECT_EQ(sink.GetFileSize(), kOldSize);
    EXPECT_EQ(Inspector::Position(sink), 0U);
    EXPECT_EQ(Write(Pattern(10, 9)), 10);
    EXPECT_EQ(sink.GetFileSize(), kOldSize);
    sink.CloseFile();
    std::vector<uint8> expected = Pattern(10, 9);
    const std::vector<uint8> rest = Slice(Old(), 10, kOldSize - 10);
    expected.insert(expected.end(), rest.begin(), rest.end());
    EXPECT_EQ(Content(), expected);
}

TEST_F(WriteFileOpenTest, AppendingBeginsAtTheEndInEachWayOfWriting) {
    for (const WritePath& path : kWritePaths) {
        folder.WritePattern("target", kOldSize, 3);
        ASSERT_EQ(Open(path, kAppend), VXC_STATUS_OK) << path.name;
        EXPECT_EQ(sink.GetFileSize(), kOldSize) << path.name;
        EXPECT_EQ(Inspector::Position(sink), kOldSize) << path.name;
        EXPECT_EQ(Write(Pattern(10, 9)), 10) << path.name;
        sink.CloseFile();
        std::vector<uint8> expected = Old();
        const std::vector<uint8> added = Pattern(10, 9);
        expected.insert(expected.end(), added.begin(), added.end());
        EXPECT_EQ(Content(), expected) << path.name;
    }
}

TEST_F(WriteFileOpenTest, AMissingFileIsMadeByEachMode) {
    for (const uint32 mode : {kCreate, kAppend, kUpdate}) {
        std::filesystem::remove(former);
        ASSERT_EQ(Open(0, 0, mode), VXC_STATUS_OK) << mode;
        EXPECT_TRUE(std::filesystem::exists(former)) << mode;
        EXPECT_EQ(Inspector::Position(sink), 0U) << mode;
        EXPECT_EQ(sink.GetFileSize(), 0U) << mode;
        sink.CloseFile();
    }
}

TEST_F(WriteFileOpenTest, AnOddModeOpensNothingAndSucceeds) {
    for (const uint32 mode : kOddModes) {
        for (const WritePath& path : kWritePaths) {
            FaultPlan plan;
            ASSERT_EQ(Open(path, mode), VXC_STATUS_OK) << mode << path.name;
            EXPECT_EQ(plan.Calls(Op::VXC_CreateFileW), 0);
            EXPECT_TRUE(Inspector::IsOpen(sink));
            EXPECT_TRUE(Inspector::IsGood(sink));
            EXPECT_EQ(Inspector::OpenMode(sink), mode);
            EXPECT_EQ(Inspector::WriteMode(sink) & 4U, 0U);
            EXPECT_EQ(Record(), nullptr);
            EXPECT_EQ(sink.GetFileSize(), 0U);
            EXPECT_EQ(Inspector::Position(sink), 0U);
            EXPECT_EQ(Write(Pattern(10, 1)), 0); // the handle holds no file to move in
            EXPECT_FALSE(Inspector::IsGood(sink));
            EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
            EXPECT_EQ(Content(), Old());
        }
    }
}

TEST_F(WriteFileOpenTest, AnOddModeCutsNoFileAtItsClose) {
    for (const uint32 bufferBytes : {0U, 1U}) {
        ASSERT_EQ(Open(bufferBytes, kDirect, 3), VXC_STATUS_OK);
        EXPECT_EQ(sink.Seek(100, 1), 100);
        EXPECT_TRUE(Inspector::IsGood(sink));
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
        EXPECT_EQ(Content(), Old());
    }
}

TEST_F(WriteFileOpenTest, TheHandleIsAskedForReadingAndWritingSharedWithReaders) {
    struct {
        uint32 mode;
        uint32 disposition;
    } const cases[] = {{kCreate, VXC_CREATE_ALWAYS}, {kAppend, VXC_OPEN_ALWAYS}, {kUpdate, VXC_OPEN_ALWAYS}};
    for (const auto& entry : cases) {
        ASSERT_EQ(Open(0, 0x08000000, entry.mode), VXC_STATUS_OK);
        EXPECT_EQ(Record()->szFileName, Target());
        EXPECT_EQ(Record()->dwDesiredAccess, 0xC0000000U);
        EXPECT_EQ(Record()->dwShareMode, 1U);
        EXPECT_EQ(Record()->lpSecurityAttributes, nullptr);
        EXPECT_EQ(Record()->dwCreationDisposition, entry.disposition);
        EXPECT_EQ(Record()->dwFlagsAndAttributes, 0x08000080U);
        EXPECT_EQ(Record()->hTemplateFile, nullptr);
    }
}

TEST_F(WriteFileOpenTest, WithoutAttributesTheNormalOneIsAdded) {
    struct {
        uint32 given;
        uint32 used;
    } const cases[] = {{0, 0x80},
                       {0x80, 0x80},
                       {0x20, 0x20},
                       {0x8000, 0x8000},
                       {0x10000, 0x10080},
                       {kDirect, kDirect | 0x80},
                       {kDirect | 0x100, kDirect | 0x100}};
    for (const auto& entry : cases) {
        ASSERT_EQ(Open(0, entry.given), VXC_STATUS_OK);
        EXPECT_EQ(Inspector::Flags(sink), entry.used) << entry.given;
        EXPECT_EQ(Record()->dwFlagsAndAttributes, entry.used) << entry.given;
    }
}

TEST_F(WriteFileOpenTest, AHostGetsTheFlagsAsTheyCame) {
    for (const uint32 flags : {0U, kDirect, 0x10000U, 0x80U}) {
        host.ClearLog();
        ASSERT_EQ(OpenHost(0, flags), VXC_STATUS_OK);
        EXPECT_TRUE(Inspector::HasCallbacks(sink));
        EXPECT_EQ(Inspector::Flags(sink), flags);
        ASSERT_EQ(host.Log().at(0).function, HostFunction::Open);
        EXPECT_EQ(host.Log().at(0).flags, flags);
        EXPECT_EQ(host.Log().at(0).name, L"host.mxf");
        sink.CloseFile();
    }
    EXPECT_EQ(host.OpenHandles(), 0);
}

TEST_F(WriteFileOpenTest, AHostsNameIsKeptWithItsTable) {
    LogCapture log;
    ASSERT_EQ(OpenHost(0), VXC_STATUS_OK);
    EXPECT_EQ(std::wstring(Inspector::Inner(sink).m_strFileName.c_str()), host.Tagged());
    EXPECT_EQ(log.Count(L"GetDiskSectorSize(" + host.Tagged() + L")--1"), 1U);
    ASSERT_EQ(Open(0), VXC_STATUS_OK);
    EXPECT_FALSE(Inspector::HasCallbacks(sink));
}

TEST_F(WriteFileOpenTest, SizeIsAskedOnceAndForAppendingTwice) {
    ASSERT_EQ(OpenHost(0, 0, kCreate), VXC_STATUS_OK);
    EXPECT_THAT(Asked(), ElementsAre("open"));
    EXPECT_EQ(sink.GetFileSize(), 0U);
    sink.CloseFile();
    host.ClearLog();
    ASSERT_EQ(OpenHost(0, 0, kUpdate), VXC_STATUS_OK);
    EXPECT_THAT(Asked(), ElementsAre("open", "size"));
    EXPECT_EQ(sink.GetFileSize(), kSize);
    sink.CloseFile();
    for (const uint32 bufferBytes : {0U, 1U}) {
        host.ClearLog();
        ASSERT_EQ(OpenHost(bufferBytes, 0, kAppend), VXC_STATUS_OK);
        EXPECT_THAT(Asked(), ElementsAre("open", "size", "size"));
        EXPECT_EQ(sink.GetFileSize(), kSize);
        EXPECT_EQ(Inspector::Position(sink), kSize);
        sink.CloseFile();
    }
}

TEST_F(WriteFileOpenTest, TheWayOfWritingFollowsBufferFlagsAndMode) {
    struct {
        uint32 bufferBytes;
        uint32 flags;
        uint32 mode;
        uint32 writeMode;
    } const cases[] = {{0, 0, kCreate, 0},          {1, 0, kCreate, 1},         {0, kDirect, kCreate, 2},
                       {1, kDirect, kUpdate, 3},    {0, 0, kAppend, 4},         {0xFFFFF, 0, kAppend, 5},
                       {0, kDirect, kAppend, 6},    {1, kDirect, kAppend, 7},   {0, 0, kUpdate, 0},
                       {0, 0x10000000, kUpdate, 0}, {0, 0x08000000, kUpdate, 0}};
    for (const auto& entry : cases) {
        ASSERT_EQ(Open(entry.bufferBytes, entry.flags, entry.mode), VXC_STATUS_OK);
        EXPECT_EQ(Inspector::WriteMode(sink), entry.writeMode);
        const bool isUnbuffered = (entry.writeMode & 2) != 0;
        EXPECT_EQ(Inspector::StageCapacity(sink), isUnbuffered ? 1048576U : 0U);
        EXPECT_EQ(Inspector::HasSectorBuffer(sink), isUnbuffered);
        EXPECT_EQ(Inspector::StageFill(sink), 0U);
        EXPECT_EQ(Inspector::Ring(sink) != nullptr, (entry.writeMode & 1) != 0);
    }
}

TEST_F(WriteFileOpenTest, WithoutABufferThereIsNoThread) {
    const int threads = ThreadCount();
    FaultPlan plan;
    ASSERT_EQ(Open(0), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 0);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateEventW), 0);
    EXPECT_EQ(ThreadCount(), threads);
    EXPECT_EQ(Inspector::Ring(sink), nullptr);
    ASSERT_EQ(Open(1), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 1);
    EXPECT_EQ(ThreadCount(), threads + 1);
}

TEST_F(WriteFileOpenTest, SectorSizeIsThatOfTheDiskOrTheDefault) {
    SetSectorSize<4096>(platform);
    ASSERT_EQ(Open(0), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::SectorSize(sink), 4096U);
    platform.Disks().getDiskFreeSpace = [](const wchar_t*, uint32*) { return 0; };
    ASSERT_EQ(Open(0), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::SectorSize(sink), 512U);
    SetSectorSize<0>(platform);
    ASSERT_EQ(Open(0), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::SectorSize(sink), 512U);
    // A failed open goes back to the default, as the probe is not reached.
    SetSectorSize<4096>(platform);
    ASSERT_EQ(Open(0), VXC_STATUS_OK);
    EXPECT_EQ(sink.OpenFile(L"", 0, 0, kCreate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(Inspector::SectorSize(sink), 512U);
}

TEST_F(WriteFileOpenTest, TheLinesOfAnOpenComeInOrder) {
    LogCapture log;
    ASSERT_EQ(Open(0, kDirect), VXC_STATUS_OK);
    const std::wstring root = Target();
    EXPECT_THAT(log.Texts(), ElementsAre(L"GetDiskSectorSize(" + root + L")--1",
                                         L"GetDiskSectorSize(" + root + L")--SectorSize is 512 --2"));
    sink.CloseFile();
    log.Clear();
    ASSERT_EQ(Open(1), VXC_STATUS_OK);
    ASSERT_TRUE(log.WaitFor(L"Came into WriteDataThread"));
    EXPECT_THAT(
        log.Lines(),
        ElementsAre(LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO", L"GetDiskSectorSize(" + root + L")--1"},
                    LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO",
                            L"GetDiskSectorSize(" + root + L")--SectorSize is 512 --2"},
                    LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO",
                            L"WriteFile-BufferSize:1048576\uff0c BlockSize:524288\n"},
                    LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO", L"WriteFile: Came into WriteDataThread!\n"}));
}

TEST_F(WriteFileOpenTest, TheReservedArgumentsAreNotUsed) {
    int anything = 0;
    ASSERT_EQ(sink.OpenFile(Target().c_str(), 0, 1048576, kUpdate, 0, 1, 2, 3, 4, &anything), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::WriteMode(sink), 0U);
    EXPECT_EQ(sink.GetFileSize(), kOldSize);
}
