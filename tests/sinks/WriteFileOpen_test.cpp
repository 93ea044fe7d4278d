// Opening a file sink: modes, flags, what a failure leaves, and opening again.
#include "filehandle/HandleFixture.h"
#include "sinks/HostSinkFixture.h"
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

class WriteFileOpenTest : public HostSinkFixture {
protected:
    const SCreateFile* Record() const { return SoftFileHandleInspector::Record(Inspector::File(sink)); }
    std::vector<uint8> Old() { return Pattern(kOldSize, 3); }

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
    EXPECT_THAT(Asked(), ElementsAre("pfnOpen"));
    EXPECT_EQ(sink.GetFileSize(), 0U);
    sink.CloseFile();
    host.ClearLog();
    ASSERT_EQ(OpenHost(0, 0, kUpdate), VXC_STATUS_OK);
    EXPECT_THAT(Asked(), ElementsAre("pfnOpen", "pfnGetFileSize"));
    EXPECT_EQ(sink.GetFileSize(), kSize);
    sink.CloseFile();
    for (const uint32 bufferBytes : {0U, 1U}) {
        host.ClearLog();
        ASSERT_EQ(OpenHost(bufferBytes, 0, kAppend), VXC_STATUS_OK);
        EXPECT_THAT(Asked(), ElementsAre("pfnOpen", "pfnGetFileSize", "pfnGetFileSize"));
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

TEST_F(WriteFileOpenTest, AFailedOpenGivesTheHandlesStatus) {
    const std::wstring missing = folder.Wide("no folder/target");
    NoLeakScope leaks;
    LogCapture log;
    FaultPlan plan;
    EXPECT_EQ(sink.OpenFile(missing.c_str(), 1, 1048576, kCreate, kDirect, 0, 0, 0, 0, nullptr),
              VXC_STATUS_OPEN_WRITE);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_FALSE(Inspector::IsOpen(sink));
    EXPECT_EQ(Inspector::Ring(sink), nullptr);
    EXPECT_EQ(Inspector::StageCapacity(sink), 0U);
    EXPECT_EQ(sink.GetFileSize(), 0U);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1);
    EXPECT_EQ(log.Count(L"GetDiskSectorSize"), 0U); // nothing was asked behind it
    uint8 byte = 7;
    EXPECT_EQ(sink.Write(&byte, 1, nullptr), 0);
    EXPECT_EQ(sink.ReadBack(&byte, 1), 0);
    EXPECT_EQ(byte, 7);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_FALSE(Inspector::IsGood(sink)); // until the next open
    ASSERT_EQ(Open(0), VXC_STATUS_OK);
    EXPECT_TRUE(Inspector::IsGood(sink));
    sink.CloseFile();
}

TEST_F(WriteFileOpenTest, AFailedOpenLeavesTheWayOfWritingOfTheFormerOne) {
    ASSERT_EQ(Open(1), VXC_STATUS_OK);
    Write(Pattern(10, 1));
    sink.CloseFile();
    EXPECT_EQ(sink.OpenFile(L"", 0, 1048576, kAppend, kDirect, 0, 0, 0, 0, nullptr), VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(Inspector::WriteMode(sink), 1U);
    EXPECT_EQ(Inspector::LastOperation(sink), 1);
    EXPECT_EQ(Inspector::OpenMode(sink), kAppend);
    EXPECT_EQ(Inspector::Position(sink), 0U);
    EXPECT_EQ(sink.GetFileSize(), 0U);
    EXPECT_EQ(sink.Seek(50, 1), 50); // and there is no ring to flush
    EXPECT_EQ(sink.GetFileSize(), 50U);
}

TEST_F(WriteFileOpenTest, AHostMayFreeItsTableOnceTheFileIsOpen) {
    for (const uint32 bufferBytes : {0U, 1U}) {
        HostTable freed(L"freed.mxf");
        ASSERT_EQ(sink.OpenFile(freed.Tagged().c_str(), bufferBytes, 1048576, kCreate, kDirect, 0, 0, 0, 0,
                                nullptr),
                  VXC_STATUS_OK);
        std::memset(&freed.Table(), 0, sizeof freed.Table()); // in case the memory is not used again
        freed.FreeTable();
        EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
        EXPECT_EQ(freed.Content(), Pattern(1000, 1)); // opened again and cut
        EXPECT_EQ(freed.Calls(HostFunction::Open), 2);
        EXPECT_EQ(freed.Log().back().function, HostFunction::CloseFile);
        EXPECT_EQ(freed.OpenHandles(), 0);
    }
}

TEST_F(WriteFileOpenTest, ATableThatIsNoneFailsTheOpen) {
    const std::wstring name = L"clip.mxf0000000000000010VXCIO8";
    EXPECT_EQ(sink.OpenFile(name.c_str(), 0, 0, kCreate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OPEN_WRITE);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_FALSE(Inspector::IsOpen(sink));
}

TEST_F(WriteFileOpenTest, AHostsFailedOpenIsClosedOnce) {
    host.Fail(HostFunction::Open, 5);
    EXPECT_EQ(OpenHost(1), VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(host.ClosedInvalid(), 1);
    EXPECT_EQ(host.OpenHandles(), 0);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(OpenHost(0), VXC_STATUS_OK);
}

TEST_F(WriteFileOpenTest, NamesThatNoFileCanHaveFail) {
    EXPECT_EQ(sink.OpenFile(nullptr, 0, 0, kCreate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(sink.OpenFile(L"", 1, 0, kUpdate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OPEN_WRITE);
    const std::wstring aFolder = folder.Wide(".");
    EXPECT_EQ(sink.OpenFile(aFolder.c_str(), 0, 0, kUpdate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(sink.OpenFile(L"Q:\\unmapped", 0, 0, kCreate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(Content(), Old());
}

TEST_F(WriteFileOpenTest, ATargetThatIsBeingWrittenIsNotTouched) {
    ASSERT_EQ(Open(0, 0, kUpdate), VXC_STATUS_OK);
    CWriteFileEx1 other;
    for (const uint32 mode : {kCreate, kAppend, kUpdate}) {
        EXPECT_EQ(other.OpenFile(Target().c_str(), 0, 0, mode, 0, 0, 0, 0, 0, nullptr),
                  VXC_STATUS_OPEN_WRITE);
        EXPECT_EQ(Content(), Old());
    }
    CQLSoftFileHandle reader;
    EXPECT_EQ(OpenRead(reader, Target()), VXC_STATUS_OK); // whoever lets others write may read
    sink.CloseFile();
    EXPECT_EQ(other.OpenFile(Target().c_str(), 0, 0, kCreate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OK);
}

TEST_F(WriteFileOpenTest, AnOpenSinkIsClosedFirst) {
    for (const WritePath& path : kWritePaths) {
        NoLeakScope leaks;
        ASSERT_EQ(Open(path), VXC_STATUS_OK);
        EXPECT_EQ(Write(Pattern(777, 6)), 777);
        sink.Seek(1000, 1);
        sink.ReadBack(nullptr, 0xFFFFFFFF);
        const std::wstring other = folder.Wide("other");
        FaultPlan plan;
        ASSERT_EQ(sink.OpenFile(other.c_str(), 0, 1048576, kCreate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OK);
        EXPECT_GE(plan.Calls(Op::VXC_CloseFile), 1);
        EXPECT_EQ(Slice(Content(), 0, 777), Pattern(777, 6)) << path.name;
        EXPECT_EQ(Inspector::Position(sink), 0U);
        EXPECT_EQ(sink.GetFileSize(), 0U);
        EXPECT_EQ(Inspector::LastOperation(sink), 0);
        EXPECT_EQ(Inspector::StageCapacity(sink), 0U);
        EXPECT_FALSE(Inspector::ReadCache(sink));
        EXPECT_EQ(Inspector::Ring(sink), nullptr);
        EXPECT_EQ(Write(Pattern(5, 7)), 5);
        sink.CloseFile();
        EXPECT_EQ(folder.Read("other").size(), 5U);
    }
}

TEST_F(WriteFileOpenTest, ASinkCanBeOpenedAgainAfterItsClose) {
    for (const WritePath& first : kWritePaths) {
        for (const WritePath& second : kWritePaths) {
            ASSERT_EQ(Open(first), VXC_STATUS_OK);
            EXPECT_EQ(Write(Pattern(3000, 1)), 3000);
            EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
            ASSERT_EQ(Open(second, kAppend), VXC_STATUS_OK);
            EXPECT_EQ(Write(Pattern(100, 2)), 100);
            EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
            std::vector<uint8> expected = Pattern(3000, 1);
            const std::vector<uint8> more = Pattern(100, 2);
            expected.insert(expected.end(), more.begin(), more.end());
            EXPECT_EQ(Content(), expected) << first.name << second.name;
        }
    }
}

TEST_F(WriteFileOpenTest, AnOpenSetsAFailedSinkGoodAgain) {
    ASSERT_EQ(OpenHost(0), VXC_STATUS_OK);
    host.Fail(HostFunction::Write, 112);
    EXPECT_EQ(Write(Pattern(10, 1)), 0);
    EXPECT_FALSE(Inspector::IsGood(sink));
    sink.CloseFile();
    EXPECT_FALSE(Inspector::IsGood(sink));
    ASSERT_EQ(OpenHost(0), VXC_STATUS_OK);
    EXPECT_TRUE(Inspector::IsGood(sink));
    EXPECT_EQ(Write(Pattern(10, 1)), 10);
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

TEST_F(WriteFileOpenTest, AForgottenCloseIsDoneByTheDestructor) {
    for (const WritePath& path : kWritePaths) {
        NoLeakScope leaks;
        {
            CWriteFileEx1 scoped;
            ASSERT_EQ(scoped.OpenFile(Target().c_str(), path.bufferBytes, 1048576, kCreate, path.flags, 0, 0,
                                      0, 0, nullptr),
                      VXC_STATUS_OK);
            const std::vector<uint8> bytes = Pattern(1001, 8);
            EXPECT_EQ(scoped.Write(bytes.data(), 1001, nullptr), 1001);
        }
        EXPECT_EQ(Content(), Pattern(1001, 8)) << path.name;
    }
}
