#include "sysu/FileTesting.h"

#include "support/TempFolder.h"
#include "text/Utf8.h"

#include <filesystem>
#include <fstream>

using namespace vxcio;
using namespace vxcio::test;

namespace {

struct DispositionCase {
    uint32 disposition;
    bool isThere;
    bool opens;
    uint32 error;
    const char* contentAfter; // null: no file
};

class FileDispositionTest : public testing::TestWithParam<DispositionCase> {};

} // namespace

TEST_P(FileDispositionTest, DecidesOnExistingAndMissingFiles) {
    const DispositionCase& test = GetParam();
    const TempFolder folder;
    if (test.isThere) {
        folder.Write("clip", "content");
    }
    OpenFile file(folder.Wide("clip"), kReadWrite, kShareAll, test.disposition);
    EXPECT_EQ(file.IsOpen(), test.opens);
    EXPECT_EQ(file.Error(), test.error);
    file.Close();
    EXPECT_EQ(std::filesystem::exists(folder.Name("clip")), test.contentAfter != nullptr);
    if (test.contentAfter != nullptr) {
        EXPECT_EQ(folder.Read("clip"), test.contentAfter);
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, FileDispositionTest,
    testing::Values(DispositionCase{VXC_CREATE_NEW, true, false, VXC_ERROR_FILE_EXISTS, "content"},
                    DispositionCase{VXC_CREATE_NEW, false, true, 0, ""},
                    DispositionCase{VXC_CREATE_ALWAYS, true, true, VXC_ERROR_ALREADY_EXISTS, ""},
                    DispositionCase{VXC_CREATE_ALWAYS, false, true, 0, ""},
                    DispositionCase{VXC_OPEN_EXISTING, true, true, 0, "content"},
                    DispositionCase{VXC_OPEN_EXISTING, false, false, VXC_ERROR_FILE_NOT_FOUND, nullptr},
                    DispositionCase{VXC_OPEN_ALWAYS, true, true, VXC_ERROR_ALREADY_EXISTS, "content"},
                    DispositionCase{VXC_OPEN_ALWAYS, false, true, 0, ""},
                    DispositionCase{VXC_TRUNCATE_EXISTING, true, true, 0, ""},
                    DispositionCase{VXC_TRUNCATE_EXISTING, false, false, VXC_ERROR_FILE_NOT_FOUND, nullptr}),
    [](const auto& test) {
        return "Disposition" + std::to_string(test.param.disposition) +
               (test.param.isThere ? "Existing" : "Missing");
    });

TEST(FileOpenTest, UnknownDispositionsAreInvalid) {
    const TempFolder folder;
    folder.Write("clip", "content");
    for (const uint32 disposition : {0u, 6u}) {
        EXPECT_EQ(OpenFile(folder.Wide("clip"), kReadWrite, kShareAll, disposition).Error(),
                  VXC_ERROR_INVALID_PARAMETER);
    }
}

TEST(FileOpenTest, CuttingAnExistingFileNeedsWriteAccess) {
    const TempFolder folder;
    folder.Write("clip", "content");
    const OpenFile file(folder.Wide("clip"), VXC_GENERIC_READ, kShareAll, VXC_TRUNCATE_EXISTING);
    EXPECT_EQ(file.Error(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(folder.Read("clip"), "content");
    EXPECT_EQ(OpenFile(folder.Wide("no"), VXC_GENERIC_READ, kShareAll, VXC_TRUNCATE_EXISTING).Error(),
              VXC_ERROR_INVALID_PARAMETER);
}

TEST(FileOpenTest, ADeviceIsOpenedAndNotCut) {
    for (const uint32 disposition : {VXC_CREATE_ALWAYS, VXC_TRUNCATE_EXISTING}) {
        const OpenFile file(L"/dev/null", VXC_GENERIC_WRITE, kShareAll, disposition);
        EXPECT_TRUE(file.IsOpen()) << file.Error();
    }
}

TEST(FileOpenTest, MakingAnewCutsTheFileForReadersToo) {
    const TempFolder folder;
    folder.Write("clip", "content");
    const OpenFile file(folder.Wide("clip"), VXC_GENERIC_READ, kShareAll, VXC_CREATE_ALWAYS);
    EXPECT_EQ(file.Error(), VXC_ERROR_ALREADY_EXISTS);
    EXPECT_EQ(file.Size(), 0u);
    unsigned long done = 0;
    EXPECT_EQ(VXC_WriteFile(file.Handle(), "x", 1, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_ACCESS_DENIED);
}

TEST(FileOpenTest, MakingThroughALinkToAMissingFileMakesThatFile) {
    const TempFolder folder;
    for (const uint32 disposition : {VXC_CREATE_ALWAYS, VXC_OPEN_ALWAYS}) {
        std::filesystem::remove(folder.Name("target"));
        std::filesystem::remove(folder.Name("link"));
        std::filesystem::create_symlink("target", folder.Name("link"));
        const OpenFile file(folder.Wide("link"), VXC_GENERIC_WRITE, kShareAll, disposition);
        EXPECT_TRUE(file.IsOpen());
        EXPECT_EQ(file.Error(), 0u);
        EXPECT_TRUE(std::filesystem::exists(folder.Name("target")));
    }
}

TEST(FileOpenTest, SuccessClearsAnOlderError) {
    const TempFolder folder;
    folder.Write("clip", "content");
    EXPECT_FALSE(OpenFile(folder.Wide("missing")).IsOpen());
    EXPECT_EQ(OpenFile(folder.Wide("clip")).Error(), 0u);
}

// ---- share modes --------------------------------------------------------------------------------------

TEST(FileShareTest, WritersWithoutShareWriteExcludeEachOther) {
    const TempFolder folder;
    folder.Write("clip", "content");
    OpenFile first(folder.Wide("clip"), VXC_GENERIC_WRITE, VXC_FILE_SHARE_READ);
    ASSERT_TRUE(first.IsOpen());
    EXPECT_EQ(OpenFile(folder.Wide("clip"), VXC_GENERIC_WRITE, VXC_FILE_SHARE_READ).Error(),
              VXC_ERROR_SHARING_VIOLATION);
    EXPECT_EQ(OpenFile(folder.Wide("clip"), kReadWrite, 0).Error(), VXC_ERROR_SHARING_VIOLATION);
    first.Close();
    EXPECT_TRUE(OpenFile(folder.Wide("clip"), VXC_GENERIC_WRITE, VXC_FILE_SHARE_READ).IsOpen());
}

TEST(FileShareTest, AReaderWithoutShareWriteAndAWriterExcludeEachOther) {
    const TempFolder folder;
    folder.Write("clip", "content");
    {
        const OpenFile reader(folder.Wide("clip"), VXC_GENERIC_READ, VXC_FILE_SHARE_READ);
        ASSERT_TRUE(reader.IsOpen());
        EXPECT_EQ(OpenFile(folder.Wide("clip"), VXC_GENERIC_WRITE, 0).Error(), VXC_ERROR_SHARING_VIOLATION);
    }
    const OpenFile writer(folder.Wide("clip"), VXC_GENERIC_WRITE, 0);
    ASSERT_TRUE(writer.IsOpen());
    EXPECT_EQ(OpenFile(folder.Wide("clip"), VXC_GENERIC_READ, VXC_FILE_SHARE_READ).Error(),
              VXC_ERROR_SHARING_VIOLATION);
}

TEST(FileShareTest, ReadersDoNotExcludeEachOther) {
    const TempFolder folder;
    folder.Write("clip", "content");
    const OpenFile first(folder.Wide("clip"), VXC_GENERIC_READ, 0);
    EXPECT_TRUE(OpenFile(folder.Wide("clip"), VXC_GENERIC_READ, 0).IsOpen());
}

TEST(FileShareTest, WhoReadsAndWritesExcludesAsAWriter) {
    const TempFolder folder;
    folder.Write("clip", "content");
    const OpenFile first(folder.Wide("clip"), kReadWrite, 0);
    ASSERT_TRUE(first.IsOpen());
    EXPECT_EQ(OpenFile(folder.Wide("clip"), kReadWrite, 0).Error(), VXC_ERROR_SHARING_VIOLATION);
    EXPECT_EQ(OpenFile(folder.Wide("clip"), VXC_GENERIC_READ, 0).Error(), VXC_ERROR_SHARING_VIOLATION);
}

TEST(FileShareTest, WhoNeitherReadsNorWritesExcludesNobody) {
    const TempFolder folder;
    folder.Write("clip", "content");
    const OpenFile asker(folder.Wide("clip"), 0, 0);
    ASSERT_TRUE(asker.IsOpen());
    const OpenFile writer(folder.Wide("clip"), VXC_GENERIC_WRITE, 0);
    EXPECT_TRUE(writer.IsOpen());
    EXPECT_TRUE(OpenFile(folder.Wide("clip"), 0, 0).IsOpen());
}

TEST(FileShareTest, WhoSharesWritesOpensBesideAWriter) {
    const TempFolder folder;
    folder.Write("clip", "content");
    const OpenFile writer(folder.Wide("clip"), VXC_GENERIC_WRITE, VXC_FILE_SHARE_READ);
    EXPECT_TRUE(OpenFile(folder.Wide("clip"), VXC_GENERIC_READ, kShareAll).IsOpen());
    EXPECT_TRUE(OpenFile(folder.Wide("clip"), VXC_GENERIC_WRITE, kShareAll).IsOpen());
}

TEST(FileShareTest, AFileInUseIsNotCut) {
    const TempFolder folder;
    folder.Write("clip", "content");
    const OpenFile writer(folder.Wide("clip"), VXC_GENERIC_WRITE, 0);
    for (const uint32 disposition : {VXC_CREATE_ALWAYS, VXC_TRUNCATE_EXISTING}) {
        EXPECT_EQ(OpenFile(folder.Wide("clip"), VXC_GENERIC_WRITE, 0, disposition).Error(),
                  VXC_ERROR_SHARING_VIOLATION);
    }
    EXPECT_EQ(folder.Read("clip"), "content");
}

// ---- names --------------------------------------------------------------------------------------------

TEST(FileNameTest, NoNameIsNoPath) {
    EXPECT_EQ(VXC_CreateFileW(nullptr, VXC_GENERIC_READ, 0, nullptr, VXC_OPEN_EXISTING, 0, nullptr),
              VXC_INVALID_HANDLE);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(OpenFile(L"").Error(), VXC_ERROR_PATH_NOT_FOUND);
    for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L""}) {
        EXPECT_EQ(VXC_DeleteFileW(name), 0);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_PATH_NOT_FOUND);
        EXPECT_EQ(VXC_DoesFileExistsW(name), 0);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_PATH_NOT_FOUND);
        EXPECT_EQ(VXC_CreateDirectoryW(name, nullptr), 0);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_PATH_NOT_FOUND);
        EXPECT_EQ(VXC_RenameFileW(name, L"x"), 0);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_PATH_NOT_FOUND);
    }
}

TEST(FileNameTest, AMissingFolderIsToldFromAMissingFile) {
    const TempFolder folder;
    folder.Write("file", "content");
    EXPECT_EQ(OpenFile(folder.Wide("missing")).Error(), VXC_ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(OpenFile(folder.Wide("missing/clip")).Error(), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(OpenFile(folder.Wide("file/clip")).Error(), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(OpenFile(folder.Wide("missing/clip"), VXC_GENERIC_WRITE, 0, VXC_CREATE_ALWAYS).Error(),
              VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(OpenFile(L"/no-such-name-at-the-root").Error(), VXC_ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(OpenFile(L"no-such-name-here").Error(), VXC_ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(OpenFile(L"no-such-folder-here/clip").Error(), VXC_ERROR_PATH_NOT_FOUND);
}

TEST(FileNameTest, TooLongNamesAreTold) {
    const TempFolder folder;
    EXPECT_EQ(OpenFile(folder.Wide(std::string(300, 'a'))).Error(), VXC_ERROR_FILENAME_EXCED_RANGE);
    std::string deep;
    for (int i = 0; i < 500; ++i) {
        deep += "aaaaaaaaa/";
    }
    EXPECT_EQ(OpenFile(folder.Wide(deep)).Error(), VXC_ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(OpenFile(std::wstring(1 << 20, L'x')).Error(), VXC_ERROR_FILENAME_EXCED_RANGE);
}

TEST(FileNameTest, AFolderIsNoFile) {
    const TempFolder folder;
    std::filesystem::create_directory(folder.Name("sub"));
    for (const uint32 access : {VXC_GENERIC_READ, VXC_GENERIC_WRITE}) {
        for (const uint32 disposition : {VXC_OPEN_EXISTING, VXC_OPEN_ALWAYS, VXC_CREATE_ALWAYS}) {
            EXPECT_EQ(OpenFile(folder.Wide("sub"), access, kShareAll, disposition).Error(),
                      VXC_ERROR_ACCESS_DENIED);
        }
    }
}

TEST(FileNameTest, BytesThatAreNoUtf8AreKept) {
    const TempFolder folder;
    const std::string name = "cl\xFFip\xC3";
    folder.Write(name, "content");
    EXPECT_EQ(OpenFile(FromUtf8(folder.Name(name))).Read(100), "content");
    const std::string made = "\x80\xE2\x82 made";
    EXPECT_TRUE(OpenFile(FromUtf8(folder.Name(made)), VXC_GENERIC_WRITE, 0, VXC_CREATE_NEW).IsOpen());
    EXPECT_TRUE(std::filesystem::exists(folder.Name(made)));
}

TEST(FileNameTest, ABackslashIsACharacterOfOtherNames) {
    const TempFolder folder;
    folder.Write("a\\b", "content");
    EXPECT_EQ(OpenFile(folder.Wide("a\\b")).Read(100), "content");
    folder.Write("a2/b", "other");
    EXPECT_EQ(OpenFile(folder.Wide("a2\\b")).Error(), VXC_ERROR_FILE_NOT_FOUND);
}

TEST(FileNameTest, TrailingBlanksAndDotsGoWhereTheExactNameIsNotThere) {
    const TempFolder folder;
    folder.Write("clip", "plain");
    EXPECT_EQ(OpenFile(folder.Wide("clip . ")).Read(100), "plain");
    EXPECT_EQ(VXC_DoesFileExistsW(folder.Wide("clip ").c_str()), 1);
    EXPECT_TRUE(OpenFile(folder.Wide("made. "), VXC_GENERIC_WRITE, 0, VXC_CREATE_NEW).IsOpen());
    EXPECT_TRUE(std::filesystem::exists(folder.Name("made")));
    folder.Write("clip. ", "exact");
    EXPECT_EQ(OpenFile(folder.Wide("clip. ")).Read(100), "exact");
    // Nothing but blanks and dots is a name of its own; a missing one stays missing.
    EXPECT_EQ(OpenFile(folder.Wide("...")).Error(), VXC_ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(OpenFile(folder.Wide("other ")).Error(), VXC_ERROR_FILE_NOT_FOUND);
}
