// A dead disk does not hold who looks for a file or deletes one: a thread of its own does the work, and is
// left behind when it takes too long.
#include "filehandle/ThreadFixture.h"
#include "ftp/InnerLook.h"
#include "support/PlatformScope.h"
#include "support/SettingsScope.h"

#include <gmock/gmock.h>

#include <memory>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr uint32 kDeleteLimit = 10000; // milliseconds, whatever the settings say

// Drive Q of the settings is a folder of the test; a call of the system layer for it stands at a gate.
class LocalFilesGuardTest : public ::testing::Test {
protected:
    LocalFilesGuardTest() {
        settings.Set(L"Software\\Norvex\\DriveMap", L"Q", folder.Wide("."));
        folder.Write("clip", "bytes");
    }

    bool IsThere(const char* file) const { return std::filesystem::exists(folder.Path() / file); }
    // The name in memory of its own, which is freed as soon as the call is back.
    static int Exists(CSoftDataIO& io, const wchar_t* name) {
        const auto own = Copy(name);
        return io.IsFileExist(own.get());
    }
    static int Delete(CSoftDataIO& io, const wchar_t* name) {
        const auto own = Copy(name);
        return io.DeleteFile1(own.get());
    }
    static std::unique_ptr<wchar_t[]> Copy(const wchar_t* name) {
        const std::size_t length = std::wcslen(name) + 1;
        auto own = std::make_unique<wchar_t[]>(length);
        std::copy_n(name, length, own.get());
        return own;
    }
    // Runs a call that hangs, and moves the clock beyond its limit meanwhile.
    template <class Call>
    void LetTimeOut(Call call, uint32 limit) {
        std::thread caller(call);
        EXPECT_TRUE(gate.WaitUntilReached());
        EXPECT_TRUE(clock.WaitForSleepers(1));
        EXPECT_EQ(clock.Advance(limit - 1), 0);
        EXPECT_EQ(clock.Advance(1), 1);
        caller.join();
    }

    const NoLeakScope leaks;
    const HealthyDrive drive{L'Q'};
    const TimeOuts limits{kLimit, kLimit + 1};
    const TempFolder folder{TempFolder::Kind::Memory};
    SettingsScope settings;
    PlatformScope platform;
    TestClock clock;
    FaultPlan plan;
    CSoftDataIO io;
    Gate gate; // opens first of all when a test ends
};

} // namespace

TEST_F(LocalFilesGuardTest, ADriveOfTheSettingsIsLookedAtAndDeletedFrom) {
    EXPECT_EQ(Exists(io, L"Q:\\clip"), 1);
    EXPECT_EQ(Exists(io, L"q:\\clip"), 1);
    EXPECT_EQ(Exists(io, L"Q:\\other"), 0);
    EXPECT_EQ(Delete(io, L"Q:\\clip"), 1);
    EXPECT_FALSE(IsThere("clip"));
    EXPECT_FALSE(drive.IsMarked());
}

TEST_F(LocalFilesGuardTest, ALookThatHangsIsGivenUpAfterTheTimeOutOfReading) {
    plan.Add(Hold(Op::VXC_DoesFileExistsW, gate));
    LogCapture log;
    LetTimeOut([&] { EXPECT_EQ(Exists(io, L"Q:\\clip"), 0); }, kLimit);
    EXPECT_THAT(log.Lines(), ElementsAre(LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO",
                                                 L"CQLSoftDataIO::IsFileExistThread() Time Out!!!\n"},
                                         LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO", L"SetDiskError(Q)"}));
    EXPECT_TRUE(drive.IsMarked());
}

TEST_F(LocalFilesGuardTest, TheThreadThatWasLeftBehindWorksOnANameOfItsOwn) {
    Gate deleted;
    plan.Add(Hold(Op::VXC_DeleteFileW, deleted).AfterEffect());
    plan.Add(Hold(Op::VXC_DoesFileExistsW, gate));
    plan.Add(Hold(Op::VXC_DeleteFileW, gate));
    LetTimeOut([&] { EXPECT_EQ(Exists(io, L"Q:\\clip"), 0); }, kLimit);
    drive.Heal();
    std::thread caller([&] { EXPECT_EQ(Delete(io, L"Q:\\clip"), 0); });
    EXPECT_TRUE(gate.WaitUntilReached(2));
    EXPECT_TRUE(clock.WaitForSleepers(1));
    EXPECT_EQ(clock.Advance(kDeleteLimit), 1);
    caller.join();
    EXPECT_TRUE(IsThere("clip"));
    gate.Open();
    EXPECT_TRUE(deleted.WaitUntilReached());
    EXPECT_FALSE(IsThere("clip")) << "too late for the caller, and yet done";
}

TEST_F(LocalFilesGuardTest, TheLibraryStaysInMemoryForAThreadThatWasLeftBehind) {
    static bool s_pinned;
    s_pinned = false;
    const bool before = StuckThreadsInspector::Pinned().exchange(false);
    platform.Module().pinModule = [] { s_pinned = true; };
    plan.Add(Hold(Op::VXC_DoesFileExistsW, gate));
    LetTimeOut([&] { EXPECT_EQ(Exists(io, L"Q:\\clip"), 0); }, kLimit);
    EXPECT_TRUE(s_pinned);
    StuckThreadsInspector::Pinned() = before;
}

TEST_F(LocalFilesGuardTest, OfADriveThatIsMarkedNothingIsAskedAnyMore) {
    SetDiskError(L'Q');
    LogCapture log;
    EXPECT_EQ(Exists(io, L"Q:\\clip"), 0);
    EXPECT_EQ(Delete(io, L"q:\\clip"), 0);
    EXPECT_EQ(plan.Calls(Op::VXC_DoesFileExistsW), 0);
    EXPECT_EQ(plan.Calls(Op::VXC_DeleteFileW), 0);
    EXPECT_THAT(log.Texts(), ElementsAre(L"GetDiskError(Q: Error) \n", L"GetDiskError(q: Error) \n"));
    EXPECT_TRUE(IsThere("clip"));
}

TEST_F(LocalFilesGuardTest, OfANameWithoutALetterNoDiskIsMarked) {
    SetDiskError(L'Q');
    plan.Add(Hold(Op::VXC_DoesFileExistsW, gate));
    LogCapture log;
    LetTimeOut([&] { EXPECT_EQ(Exists(io, folder.Wide("clip").c_str()), 0); }, kLimit);
    EXPECT_THAT(log.Texts(), ElementsAre(L"CQLSoftDataIO::IsFileExistThread() Time Out!!!\n"));
    plan.Remove(0);
    EXPECT_EQ(Exists(io, folder.Wide("clip").c_str()), 1);
}

TEST_F(LocalFilesGuardTest, WithoutATimeOutALookWaitsForAsLongAsItTakes) {
    const TimeOuts none(VXC_INFINITE, VXC_INFINITE);
    plan.Add(Hold(Op::VXC_DoesFileExistsW, gate));
    std::thread caller([&] { EXPECT_EQ(Exists(io, L"Q:\\clip"), 1); });
    EXPECT_TRUE(gate.WaitUntilReached());
    EXPECT_EQ(clock.Advance(0xFFFFFFFFu), 0);
    gate.Open();
    caller.join();
    EXPECT_THAT(clock.Waits(), IsEmpty());
    EXPECT_FALSE(drive.IsMarked());
}

TEST_F(LocalFilesGuardTest, ADeleteThatHangsIsGivenUpAfterTenSecondsAndMarksNoDisk) {
    const TimeOuts none(VXC_INFINITE, VXC_INFINITE);
    plan.Add(Hold(Op::VXC_DeleteFileW, gate));
    LogCapture log;
    LetTimeOut([&] { EXPECT_EQ(Delete(io, L"Q:\\clip"), 0); }, kDeleteLimit);
    EXPECT_THAT(log.Lines(), ElementsAre(LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO",
                                                 L"CQLSoftDataIO::DeleteFile() Time Out!!!\n"}));
    EXPECT_FALSE(drive.IsMarked());
    EXPECT_TRUE(IsThere("clip"));
}

TEST_F(LocalFilesGuardTest, AnAnswerJustInTimeCounts) {
    plan.Add(Hold(Op::VXC_DoesFileExistsW, gate));
    std::thread caller([&] { EXPECT_EQ(Exists(io, L"Q:\\clip"), 1); });
    EXPECT_TRUE(gate.WaitUntilReached());
    EXPECT_TRUE(clock.WaitForSleepers(1));
    EXPECT_EQ(clock.Advance(kLimit - 1), 0);
    gate.Open();
    caller.join();
    EXPECT_FALSE(drive.IsMarked());
}

TEST_F(LocalFilesGuardTest, TheObjectMayGoWhileTheThreadStillStands) {
    plan.Add(Hold(Op::VXC_DeleteFileW, gate));
    auto mortal = std::make_unique<CSoftDataIO>();
    LetTimeOut([&] { EXPECT_EQ(Delete(*mortal, L"Q:\\clip"), 0); }, kDeleteLimit);
    mortal.reset();
    EXPECT_EQ(gate.Standing(), 1);
}

TEST_F(LocalFilesGuardTest, RenamingAndMakingFoldersWorkOnMappedDrivesWithoutAGuard) {
    SetDiskError(L'Q');
    EXPECT_EQ(io.RenameFile(L"Q:\\clip", L"Q:\\other"), 1);
    EXPECT_EQ(folder.Read("other"), "bytes");
    EXPECT_EQ(io.MakeFolder(L"Q:\\sub"), 1);
    EXPECT_TRUE(IsThere("sub"));
}
