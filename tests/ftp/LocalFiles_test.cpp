// File management without an FTP session: to look for, delete, rename and make files and folders of this
// system.
#include "ftp/InnerLook.h"
#include "support/FaultPlan.h"
#include "support/LeakChecks.h"
#include "support/LogCapture.h"
#include "support/MemoryLack.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class LocalFilesTest : public ::testing::Test {
protected:
    bool IsThere(const char* file) const { return std::filesystem::exists(folder.Path() / file); }
    // The text of the error that the system gives for a call that has just failed.
    static std::wstring ErrorTextOf(const std::function<int()>& call) {
        EXPECT_EQ(call(), 0);
        wchar_t text[512] = {};
        VXC_GetLastErrorStringW(text, 512);
        EXPECT_NE(text[0], L'\0');
        return text;
    }

    const NoLeakScope leaks;
    const TempFolder folder{TempFolder::Kind::Memory};
    const std::wstring clip = folder.Wide("clip");
    const std::wstring other = folder.Wide("other");
    CSoftDataIO io;
    const InnerLook inner{io};
};

} // namespace

// ---- IsFileExist ----

TEST_F(LocalFilesTest, AFileIsThereOrNot) {
    EXPECT_EQ(io.IsFileExist(clip.c_str()), 0);
    folder.Write("clip", "");
    LogCapture log;
    EXPECT_EQ(io.IsFileExist(clip.c_str()), 1);
    EXPECT_EQ(io.IsFileExist(other.c_str()), 0);
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(LocalFilesTest, NamesThatAreNoneAreNotThere) {
    EXPECT_EQ(io.IsFileExist(nullptr), 0);
    EXPECT_EQ(io.IsFileExist(L""), 0);
    EXPECT_EQ(io.DeleteFile1(nullptr), 0);
    EXPECT_EQ(io.DeleteFile1(L""), 0);
}

TEST_F(LocalFilesTest, WhereNoThreadCanStartNothingIsThereAndNothingDeleted) {
    folder.Write("clip", "bytes");
    FaultPlan plan;
    const auto rule = plan.Add(Fail(Op::VXC_CreateThread).FromThenOn());
    EXPECT_EQ(io.IsFileExist(clip.c_str()), 0);
    EXPECT_EQ(io.DeleteFile1(clip.c_str()), 0);
    EXPECT_EQ(plan.Fired(rule), 2);
    EXPECT_TRUE(IsThere("clip"));
}

TEST_F(LocalFilesTest, AnAnswerThatCannotBeAskedForIsNo) {
    folder.Write("clip", "bytes");
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_GetExitCodeThread).FromThenOn());
    EXPECT_EQ(io.IsFileExist(clip.c_str()), 0);
    EXPECT_EQ(io.DeleteFile1(clip.c_str()), 0);
}

TEST_F(LocalFilesTest, WhereMemoryLacksNoOtherNameIsAskedFor) {
    folder.Write("clip", "bytes");
    for (const int nth : {1, 2}) { // what the thread holds, its copy of the name
        FaultPlan plan;
        const MemoryLack lack(nth);
        EXPECT_EQ(nth == 1 ? io.IsFileExist(clip.c_str()) : io.DeleteFile1(clip.c_str()), 0);
        EXPECT_TRUE(lack.Came());
        EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 0) << nth;
    }
    EXPECT_TRUE(IsThere("clip"));
}

// ---- DeleteFile1 ----

TEST_F(LocalFilesTest, AFileIsDeleted) {
    folder.Write("clip", "bytes");
    LogCapture log;
    EXPECT_EQ(io.DeleteFile1(clip.c_str()), 1);
    EXPECT_FALSE(IsThere("clip"));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(LocalFilesTest, AFailedDeleteTellsTheSystemsReasonToTheLogAlone) {
    const std::wstring reason = ErrorTextOf([&] { return VXC_DeleteFileW(clip.c_str()); });
    inner->m_strInfo = L"before";
    LogCapture log;
    EXPECT_EQ(io.DeleteFile1(clip.c_str()), 0);
    EXPECT_THAT(log.Lines(), ElementsAre(LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO", reason}));
    EXPECT_EQ(inner.Info(), L"before");
}

TEST_F(LocalFilesTest, AFolderIsNoFileToDelete) {
    std::filesystem::create_directory(folder.Path() / "sub");
    EXPECT_EQ(io.DeleteFile1(folder.Wide("sub").c_str()), 0);
    EXPECT_TRUE(IsThere("sub"));
}

// ---- RenameFile ----

TEST_F(LocalFilesTest, AFileGetsItsNewName) {
    folder.Write("clip", "bytes");
    EXPECT_EQ(io.RenameFile(clip.c_str(), other.c_str()), 1);
    EXPECT_FALSE(IsThere("clip"));
    EXPECT_EQ(folder.Read("other"), "bytes");
}

TEST_F(LocalFilesTest, ARenameTakesThePlaceOfItsTarget) {
    folder.Write("clip", "bytes");
    folder.Write("other", "old");
    EXPECT_EQ(io.RenameFile(clip.c_str(), other.c_str()), 1);
    EXPECT_FALSE(IsThere("clip"));
    EXPECT_EQ(folder.Read("other"), "bytes");
}

TEST_F(LocalFilesTest, TheTargetIsLostEvenWhereTheRenameFails) {
    folder.Write("other", "old");
    LogCapture log;
    EXPECT_EQ(io.RenameFile(clip.c_str(), other.c_str()), 1) << "always";
    EXPECT_FALSE(IsThere("other"));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(LocalFilesTest, AFileThatIsToGetItsOwnNameIsDeleted) {
    folder.Write("clip", "bytes");
    EXPECT_EQ(io.RenameFile(clip.c_str(), clip.c_str()), 1);
    EXPECT_FALSE(IsThere("clip"));
}

TEST_F(LocalFilesTest, ATargetThatCannotBeDeletedStaysAndSoDoesTheFile) {
    folder.Write("clip", "bytes");
    std::filesystem::create_directory(folder.Path() / "other"); // empty
    EXPECT_EQ(io.RenameFile(clip.c_str(), other.c_str()), 1);
    EXPECT_EQ(folder.Read("clip"), "bytes");
    EXPECT_TRUE(std::filesystem::is_directory(folder.Path() / "other"));

    folder.Write("third", "old");
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_DeleteFileW));
    EXPECT_EQ(io.RenameFile(clip.c_str(), folder.Wide("third").c_str()), 1);
    EXPECT_EQ(folder.Read("clip"), "bytes");
    EXPECT_EQ(folder.Read("third"), "old");
}

TEST_F(LocalFilesTest, AFolderDoesNotTakeThePlaceOfAnEmptyOne) {
    folder.Write("clip/inside", "bytes");
    std::filesystem::create_directory(folder.Path() / "other");
    EXPECT_EQ(io.RenameFile(clip.c_str(), other.c_str()), 1);
    EXPECT_EQ(folder.Read("clip/inside"), "bytes");
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path() / "other"));
}

TEST_F(LocalFilesTest, RenamingStartsNoThreadAndTakesAnyName) {
    folder.Write("clip", "bytes");
    FaultPlan plan;
    EXPECT_EQ(io.RenameFile(nullptr, nullptr), 1);
    EXPECT_EQ(io.RenameFile(L"", L""), 1);
    EXPECT_EQ(io.RenameFile(clip.c_str(), L""), 1);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 0);
    EXPECT_EQ(folder.Read("clip"), "bytes");
}

// ---- MakeFolder, DeleteFolder ----

TEST_F(LocalFilesTest, AFolderIsMade) {
    LogCapture log;
    EXPECT_EQ(io.MakeFolder(folder.Wide("sub").c_str()), 1);
    EXPECT_TRUE(std::filesystem::is_directory(folder.Path() / "sub"));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(LocalFilesTest, AFolderThatIsThereOrHasNoPlaceIsNotMade) {
    std::filesystem::create_directory(folder.Path() / "sub");
    for (const char* const name : {"sub", "no/place"}) {
        const std::wstring path = folder.Wide(name);
        const std::wstring reason = ErrorTextOf([&] { return VXC_CreateDirectoryW(path.c_str(), nullptr); });
        LogCapture log;
        EXPECT_EQ(io.MakeFolder(path.c_str()), 0) << name;
        EXPECT_THAT(log.Lines(), ElementsAre(LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO", reason}));
        EXPECT_EQ(inner.Info(), reason);
    }
}

TEST_F(LocalFilesTest, ToDeleteAFolderThatIsMissingMakesIt) {
    EXPECT_EQ(io.DeleteFolder(folder.Wide("sub").c_str()), 1);
    EXPECT_TRUE(std::filesystem::is_directory(folder.Path() / "sub"));
}

TEST_F(LocalFilesTest, ToDeleteAFolderThatIsThereFailsAndLeavesIt) {
    folder.Write("sub/inside", "bytes");
    const std::wstring path = folder.Wide("sub");
    const std::wstring reason = ErrorTextOf([&] { return VXC_CreateDirectoryW(path.c_str(), nullptr); });
    LogCapture log;
    EXPECT_EQ(io.DeleteFolder(path.c_str()), 0);
    EXPECT_EQ(folder.Read("sub/inside"), "bytes");
    EXPECT_THAT(log.Lines(), ElementsAre(LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO", reason}));
    EXPECT_EQ(inner.Info(), reason);
}

TEST_F(LocalFilesTest, FoldersWithoutANameAreNotMade) {
    EXPECT_EQ(io.MakeFolder(nullptr), 0);
    EXPECT_EQ(io.MakeFolder(L""), 0);
    EXPECT_EQ(io.DeleteFolder(nullptr), 0);
}

// ---- What there is only with a session ----

TEST_F(LocalFilesTest, WithoutASessionThereIsNoListing) {
    unsigned char record[4096] = {};
    EXPECT_EQ(io.FindNextFile1(record), 0);
    EXPECT_EQ(io.FindNextFile1(nullptr), 0);
    EXPECT_EQ(io.FindFileClose(), 1);
}
