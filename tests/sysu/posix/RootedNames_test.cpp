// Names that begin with one backslash: the local names of shares are written so.
#include "sysu/posix/NativeName.h"

#include "support/TempFolder.h"
#include "support/posix/SystemTesting.h"
#include "sysu/FileTesting.h"
#include "sysu/HostControl.h"
#include "text/Utf8.h"

#include <algorithm>
#include <filesystem>

using namespace vxcio;
using namespace vxcio::sysu;
using vxcio::test::OpenFile;
using vxcio::test::TempFolder;

namespace {

// The present folder is one of the test's own; put back at its end.
class RootedNamesTest : public testing::Test {
protected:
    RootedNamesTest() {
        std::filesystem::create_directory(m_folder.Name("here"));
        std::filesystem::current_path(m_folder.Path() / "here");
    }
    ~RootedNamesTest() override { std::filesystem::current_path(m_former); }

    // A file of the folder, written with backslashes.
    std::wstring Rooted(std::string_view file) const {
        std::wstring name = m_folder.Wide(file);
        std::replace(name.begin(), name.end(), L'/', L'\\');
        return name;
    }
    static std::string Map(const std::wstring& name) {
        const NativeName native = ToNativeName(name.c_str());
        EXPECT_EQ(native.error, 0u);
        EXPECT_EQ(native.rootLength, 0u);
        return native.path;
    }

    const std::filesystem::path m_former = std::filesystem::current_path();
    TempFolder m_folder;
};

} // namespace

TEST_F(RootedNamesTest, EachBackslashSeparatesFromTheRootOn) {
    EXPECT_EQ(Map(L"\\srv\\media\\clip.mxf"), "/srv/media/clip.mxf");
    EXPECT_EQ(Map(L"\\clip"), "/clip");
    EXPECT_EQ(Map(L"\\srv\\\\media\\"), "/srv//media/");
    EXPECT_EQ(Map(L"\\srv/media\\clip"), "/srv/media/clip");
    EXPECT_EQ(Map(L"\\/srv"), "//srv");
    EXPECT_EQ(Map(L"\\h\u00E4user\\\U0001F600\\\xDCFF"), "/h\xC3\xA4user/\xF0\x9F\x98\x80/\xFF");
}

TEST_F(RootedNamesTest, OtherNamesWithBackslashesStay) {
    for (const wchar_t* name : {L"\\", L"\\\\", L"\\\\host", L"\\\\host\\", L"\\\\\\a\\b", L"a\\b", L"/a\\b",
                                L" \\a\\b", L"\\\\host\\..\\x"}) {
        EXPECT_EQ(Map(name), ToUtf8(name));
    }
}

TEST_F(RootedNamesTest, AFileOfJustThatNameInThePresentFolderIsTheOneMeant) {
    m_folder.Write("here/\\srv\\clip", "");
    EXPECT_EQ(Map(L"\\srv\\clip"), "\\srv\\clip");
    EXPECT_EQ(Map(L"\\srv\\clip2"), "/srv/clip2");
    EXPECT_EQ(Map(L"\\srv"), "/srv");
    std::filesystem::create_symlink("nowhere", m_folder.Name("here/\\link"));
    EXPECT_EQ(Map(L"\\link"), "\\link");
    std::filesystem::create_directory(m_folder.Name("here/\\folder"));
    EXPECT_EQ(Map(L"\\folder"), "\\folder");
}

TEST_F(RootedNamesTest, TheSameHoldsForJoinedNamesAndModules) {
    for (NativeName (*map)(const wchar_t*) : {ToJoinedName, NativeModulePath}) {
        EXPECT_EQ(map(L"\\srv\\no such folder\\x").path, "/srv/no such folder/x");
    }
    m_folder.Write("here/\\srv\\clip", "");
    EXPECT_EQ(ToJoinedName(L"\\srv\\clip").path, "\\srv\\clip");
    EXPECT_EQ(NativeModulePath(L"\\srv\\clip").path, "\\srv\\clip");
}

TEST_F(RootedNamesTest, TheTailOfAMissingNameIsDropped) {
    m_folder.Write("clip", "");
    EXPECT_EQ(Map(Rooted("clip") + L" ."), m_folder.Name("clip"));
    m_folder.Write("clip.", "");
    EXPECT_EQ(Map(Rooted("clip.")), m_folder.Name("clip."));
}

TEST_F(RootedNamesTest, NamesLongerThanAnyPathAreRefused) {
    EXPECT_EQ(OpenFile((L"\\" + std::wstring(5000, L'a')).c_str()).Error(), VXC_ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(Map(L"\\" + std::wstring(1 << 20, L'a')).size(), (1u << 20) + 1);
}

TEST_F(RootedNamesTest, FilesAreMadeReadMovedAndRemoved) {
    EXPECT_EQ(VXC_CreateDirectoryW(Rooted("sub").c_str(), nullptr), 1);
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.Name("sub")));
    EXPECT_TRUE(OpenFile(Rooted("sub/clip").c_str(), VXC_GENERIC_WRITE, 0, VXC_CREATE_NEW).IsOpen());
    EXPECT_TRUE(std::filesystem::exists(m_folder.Name("sub/clip")));
    EXPECT_TRUE(OpenFile(Rooted("sub/clip").c_str()).IsOpen());
    EXPECT_EQ(VXC_DoesFileExistsW(Rooted("sub/clip").c_str()), 1);
    EXPECT_EQ(VXC_RenameFileW(Rooted("sub/clip").c_str(), Rooted("sub/moved").c_str()), 1);
    EXPECT_TRUE(std::filesystem::exists(m_folder.Name("sub/moved")));
    EXPECT_EQ(VXC_DeleteFileW(Rooted("sub/moved").c_str()), 1);
    EXPECT_FALSE(std::filesystem::exists(m_folder.Name("sub/moved")));
    EXPECT_EQ(OpenFile(Rooted("sub/moved").c_str()).Error(), VXC_ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(OpenFile(Rooted("no/such").c_str()).Error(), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_TRUE(std::filesystem::is_empty(m_folder.Name("here")));
}

TEST_F(RootedNamesTest, DisksAreAskedOfTheFolderThatIsMeant) {
    const TempFolder memory(TempFolder::Kind::Memory);
    std::wstring name = memory.Wide("no/such/clip");
    std::replace(name.begin(), name.end(), L'/', L'\\');
    EXPECT_EQ(VXC_GetDriveTypeW(name.c_str()), VXC_DRIVE_RAMDISK);
    DiskFacts rooted{};
    DiskFacts plain{};
    EXPECT_EQ(QueryDisk(Rooted("no/such").c_str(), &rooted), 1);
    EXPECT_EQ(QueryDisk(m_folder.Wide("no/such").c_str(), &plain), 1);
    EXPECT_EQ(rooted.sectorSize, plain.sectorSize);
    EXPECT_EQ(rooted.driveType, plain.driveType);
    EXPECT_STREQ(rooted.fileSystem, plain.fileSystem);
}
