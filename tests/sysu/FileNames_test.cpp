#include "sysu/FileTesting.h"

#include "support/TempFolder.h"

#include <filesystem>

using namespace vxcio;
using namespace vxcio::test;

TEST(DeleteFileTest, RemovesFilesAndOnlyFiles) {
    const TempFolder folder;
    folder.Write("clip", "content");
    std::filesystem::create_directory(folder.Name("sub"));
    EXPECT_EQ(VXC_DeleteFileW(folder.Wide("clip").c_str()), 1);
    EXPECT_FALSE(std::filesystem::exists(folder.Name("clip")));
    EXPECT_EQ(VXC_DeleteFileW(folder.Wide("clip").c_str()), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(VXC_DeleteFileW(folder.Wide("missing/clip").c_str()), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(VXC_DeleteFileW(folder.Wide("sub").c_str()), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_ACCESS_DENIED);
    EXPECT_TRUE(std::filesystem::exists(folder.Name("sub")));
}

TEST(DeleteFileTest, AnOpenFileMayGo) {
    const TempFolder folder;
    folder.Write("clip", "content");
    const OpenFile file(folder.Wide("clip"));
    EXPECT_EQ(VXC_DeleteFileW(folder.Wide("clip").c_str()), 1);
    EXPECT_EQ(file.Read(100), "content");
}

TEST(CreateDirectoryTest, MakesOneFolder) {
    const TempFolder folder;
    EXPECT_EQ(VXC_CreateDirectoryW(folder.Wide("sub").c_str(), nullptr), 1);
    EXPECT_TRUE(std::filesystem::is_directory(folder.Name("sub")));
    EXPECT_EQ(VXC_CreateDirectoryW(folder.Wide("sub").c_str(), nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_ALREADY_EXISTS);
    EXPECT_EQ(VXC_CreateDirectoryW(folder.Wide("a/b").c_str(), nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_PATH_NOT_FOUND);
}

TEST(DoesFileExistTest, FilesAndFoldersCount) {
    const TempFolder folder;
    folder.Write("clip", "content");
    std::filesystem::create_symlink("nowhere", folder.Name("link"));
    EXPECT_EQ(VXC_DoesFileExistsW(folder.Wide("clip").c_str()), 1);
    EXPECT_EQ(VXC_DoesFileExistsW(folder.Wide("").c_str()), 1);
    EXPECT_EQ(VXC_DoesFileExistsW(folder.Wide("missing").c_str()), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(VXC_DoesFileExistsW(folder.Wide("link").c_str()), 0);
}

TEST(RenameFileTest, GivesFilesAndFoldersAnotherName) {
    const TempFolder folder;
    folder.Write("clip", "content");
    folder.Write("sub/inner", "inner");
    EXPECT_EQ(VXC_RenameFileW(folder.Wide("clip").c_str(), folder.Wide("moved").c_str()), 1);
    EXPECT_EQ(folder.Read("moved"), "content");
    EXPECT_FALSE(std::filesystem::exists(folder.Name("clip")));
    EXPECT_EQ(VXC_RenameFileW(folder.Wide("sub").c_str(), folder.Wide("sub2").c_str()), 1);
    EXPECT_EQ(folder.Read("sub2/inner"), "inner");
}

TEST(RenameFileTest, KeepsAnExistingTarget) {
    const TempFolder folder;
    folder.Write("clip", "content");
    folder.Write("target", "target");
    EXPECT_EQ(VXC_RenameFileW(folder.Wide("clip").c_str(), folder.Wide("target").c_str()), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_ALREADY_EXISTS);
    EXPECT_EQ(folder.Read("clip"), "content");
    EXPECT_EQ(folder.Read("target"), "target");
}

TEST(RenameFileTest, TheSameNameIsNoChange) {
    const TempFolder folder;
    folder.Write("clip", "content");
    EXPECT_EQ(VXC_RenameFileW(folder.Wide("clip").c_str(), folder.Wide("clip").c_str()), 1);
    EXPECT_EQ(folder.Read("clip"), "content");
    EXPECT_EQ(VXC_RenameFileW(folder.Wide("no").c_str(), folder.Wide("no").c_str()), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_FILE_NOT_FOUND);
}

TEST(RenameFileTest, TellsWhichNameIsMissing) {
    const TempFolder folder;
    folder.Write("clip", "content");
    EXPECT_EQ(VXC_RenameFileW(folder.Wide("no").c_str(), folder.Wide("moved").c_str()), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(VXC_RenameFileW(folder.Wide("no/clip").c_str(), folder.Wide("moved").c_str()), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(VXC_RenameFileW(folder.Wide("clip").c_str(), folder.Wide("no/moved").c_str()), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(VXC_RenameFileW(folder.Wide("clip").c_str(), L""), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(VXC_RenameFileW(folder.Wide("clip").c_str(), L"\\\\no-such-server\\share\\clip"), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_BAD_NETPATH);
    EXPECT_EQ(folder.Read("clip"), "content");
}

TEST(RenameFileTest, AnOpenFileMayMove) {
    const TempFolder folder;
    folder.Write("clip", "content");
    const OpenFile file(folder.Wide("clip"));
    EXPECT_EQ(VXC_RenameFileW(folder.Wide("clip").c_str(), folder.Wide("moved").c_str()), 1);
    EXPECT_EQ(file.Read(100), "content");
}
