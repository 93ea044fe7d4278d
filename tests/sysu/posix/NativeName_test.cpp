#include "sysu/posix/NativeName.h"

#include "support/TempFolder.h"
#include "support/posix/SystemTesting.h"
#include "sysu/FileTesting.h"
#include "sysu/HostControl.h"
#include "text/Utf8.h"

#include <filesystem>

using namespace vxcio;
using namespace vxcio::sysu;
using vxcio::test::OpenFile;
using vxcio::test::TempFolder;

namespace {

// Drive D and the shares \\server\share and \\filer\... lie in a folder of the test; E has no whole path, F
// a folder that is not there.
class NativeNameTest : public testing::Test {
protected:
    NativeNameTest() {
        const std::string media = m_folder.Name("media");
        std::filesystem::create_directories(media);
        std::filesystem::create_directories(m_folder.Name("filer/clips"));
        m_folder.Write("settings", "[Software\\Norvex\\DriveMap]\n"
                                   "D = " +
                                       media +
                                       "/\n"
                                       "E = media\n"
                                       "F = " +
                                       m_folder.Name("missing") +
                                       "\n"
                                       "R = /\n"
                                       "[Software\\Norvex\\ShareMap]\n"
                                       "server\\share = " +
                                       media +
                                       "\n"
                                       "filer = " +
                                       m_folder.Name("filer") +
                                       "\n"
                                       "filer\\own = " +
                                       media + "\n");
        UseSettingsFile(m_folder.Wide("settings").c_str());
    }
    ~NativeNameTest() override { UseSettingsFile(nullptr); }

    std::string Map(const wchar_t* name) {
        const NativeName native = ToNativeName(name);
        EXPECT_EQ(native.error, 0u);
        return Shown(native.path);
    }
    std::string Module(const std::wstring& name) {
        const NativeName native = NativeModulePath(name.c_str());
        EXPECT_EQ(native.error, 0u);
        return Shown(native.path);
    }
    static uint32 ErrorOf(const wchar_t* name) {
        const NativeName native = ToNativeName(name);
        EXPECT_EQ(native.path, "");
        return native.error;
    }
    // The path with the folder of the test left out.
    std::string Shown(const std::string& path) const {
        const std::string folder = m_folder.Path();
        return path.starts_with(folder) ? path.substr(folder.size()) : path;
    }

    TempFolder m_folder;
};

} // namespace

TEST_F(NativeNameTest, DriveNamesGoThroughTheDriveMap) {
    EXPECT_EQ(Map(L"D:\\clip.mxf"), "/media/clip.mxf");
    EXPECT_EQ(Map(L"d:/a\\b/clip.mxf"), "/media/a/b/clip.mxf");
    EXPECT_EQ(Map(L"D:\\"), "/media/");
    EXPECT_EQ(Map(L"D:\\a\\"), "/media/a/");
    EXPECT_EQ(Map(L"D:\\\\a\\\\b"), "/media/a/b");
    EXPECT_EQ(Map(L"R:\\etc\\hosts"), "/etc/hosts");
    EXPECT_EQ(Map(L"R:\\"), "/");
}

TEST_F(NativeNameTest, NoNameLeadsOutOfItsDrive) {
    EXPECT_EQ(Map(L"D:\\..\\..\\etc\\passwd"), "/media/etc/passwd");
    EXPECT_EQ(Map(L"D:\\a\\..\\.\\b"), "/media/b");
    EXPECT_EQ(Map(L"\\\\filer\\clips\\..\\..\\x"), "/filer/clips/x");
}

TEST_F(NativeNameTest, UnmappedDrivesAreNoPath) {
    EXPECT_EQ(ErrorOf(L"Q:\\clip.mxf"), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(ErrorOf(L"E:\\clip.mxf"), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(ErrorOf(L""), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(ErrorOf(nullptr), VXC_ERROR_PATH_NOT_FOUND);
}

TEST_F(NativeNameTest, ShareNamesGoThroughTheShareMap) {
    EXPECT_EQ(Map(L"\\\\server\\share\\a\\clip.mxf"), "/media/a/clip.mxf");
    EXPECT_EQ(Map(L"\\\\SERVER\\Share\\clip.mxf"), "/media/clip.mxf");
    EXPECT_EQ(Map(L"\\\\filer\\clips\\clip.mxf"), "/filer/clips/clip.mxf");
    EXPECT_EQ(Map(L"\\\\filer\\own\\clip.mxf"), "/media/clip.mxf");
    EXPECT_EQ(Map(L"\\\\server\\share"), "/media");
    EXPECT_EQ(Map(L"\\\\server\\share\\"), "/media/");
    EXPECT_EQ(ToNativeName(L"\\\\filer\\clips\\a\\b").rootLength, m_folder.Name("filer/clips").size());
}

TEST_F(NativeNameTest, UnmappedSharesAreNoNetworkPath) {
    EXPECT_EQ(ErrorOf(L"\\\\server\\other\\clip.mxf"), VXC_ERROR_BAD_NETPATH);
    EXPECT_EQ(ErrorOf(L"\\\\nobody\\share\\clip.mxf"), VXC_ERROR_BAD_NETPATH);
    EXPECT_EQ(ErrorOf(L"\\\\nobody\\share"), VXC_ERROR_BAD_NETPATH);
}

TEST_F(NativeNameTest, OtherNamesStayAsTheyAre) {
    for (const wchar_t* name :
         {L"/a\\b/../c", L"clip.mxf", L"D:", L"D:clip", L"1:\\clip", L"DD:\\clip", L"a D:\\b", L"\\",
          L"\\\\server", L"\\\\server\\", L"\\\\\\share\\x", L"\\\\server\\..\\x", L"//server/share/x"}) {
        EXPECT_EQ(Map(name), ToUtf8(name));
        EXPECT_EQ(ToNativeName(name).rootLength, 0u);
    }
}

TEST_F(NativeNameTest, AllOperationsUseTheMap) {
    EXPECT_TRUE(OpenFile(L"D:\\clip.mxf", VXC_GENERIC_WRITE, 0, VXC_CREATE_NEW).IsOpen());
    EXPECT_EQ(VXC_DoesFileExistsW(L"\\\\server\\share\\clip.mxf"), 1);
    EXPECT_EQ(VXC_CreateDirectoryW(L"D:\\sub", nullptr), 1);
    EXPECT_EQ(VXC_RenameFileW(L"D:\\clip.mxf", L"\\\\server\\share\\sub\\moved.mxf"), 1);
    EXPECT_TRUE(std::filesystem::exists(m_folder.Name("media/sub/moved.mxf")));
    EXPECT_EQ(VXC_DeleteFileW(L"D:/sub/moved.mxf"), 1);
    EXPECT_EQ(OpenFile(L"Q:\\clip.mxf").Error(), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(OpenFile(L"\\\\nobody\\share\\clip.mxf").Error(), VXC_ERROR_BAD_NETPATH);
    EXPECT_EQ(VXC_DeleteFileW(L"\\\\nobody\\share\\clip.mxf"), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_BAD_NETPATH);
}

TEST_F(NativeNameTest, ATooLongFolderInTheMapIsNotCut) {
    std::string deep; // each part is short enough
    for (int i = 0; i < 2500; ++i) {
        deep += "/x";
    }
    m_folder.Write("settings", "[Software\\Norvex\\DriveMap]\nD = " + deep + "\n");
    EXPECT_EQ(OpenFile(L"D:\\clip").Error(), VXC_ERROR_FILENAME_EXCED_RANGE);
}

TEST_F(NativeNameTest, TheDriveTypeIsThatOfTheMappedFolder) {
    const TempFolder memory(TempFolder::Kind::Memory);
    m_folder.Write("settings", "[Software\\Norvex\\DriveMap]\nD = " + m_folder.Name("media") +
                                   "\nM = " + memory.Name("") + "\nF = " + m_folder.Name("missing") + "\n");
    EXPECT_EQ(VXC_GetDriveTypeW(L"D:\\"), VXC_GetDriveTypeW(m_folder.Wide("").c_str()));
    EXPECT_EQ(VXC_GetDriveTypeW(L"M:\\"), VXC_DRIVE_RAMDISK);
    EXPECT_EQ(VXC_GetDriveTypeW(L"M:\\no\\such\\clip"), VXC_DRIVE_RAMDISK);
    EXPECT_EQ(VXC_GetDriveTypeW(L"F:\\"), VXC_DRIVE_NO_ROOT_DIR);
    EXPECT_EQ(VXC_GetDriveTypeW(L"F:\\clip"), VXC_DRIVE_NO_ROOT_DIR);
    EXPECT_EQ(VXC_GetDriveTypeW(L"Q:\\"), VXC_DRIVE_NO_ROOT_DIR);
    EXPECT_EQ(VXC_GetDriveTypeW(L"\\\\nobody\\share\\"), VXC_DRIVE_NO_ROOT_DIR);
}

// ---- joined names ----------------------------------------------------------------------------------------

TEST_F(NativeNameTest, JoinedNamesAreLookedForAndMadePartByPart) {
    const std::wstring folder = m_folder.Wide("media");
    EXPECT_EQ(VXC_CreateDirectoryW((folder + L"\\sub").c_str(), nullptr), 1);
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.Name("media/sub")));
    EXPECT_EQ(VXC_CreateDirectoryW((folder + L"\\sub\\deep").c_str(), nullptr), 1);
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.Name("media/sub/deep")));
    m_folder.Write("media/sub/server", "");
    EXPECT_EQ(VXC_DoesFileExistsW((folder + L"\\sub\\server").c_str()), 1);
    EXPECT_EQ(VXC_DoesFileExistsW((folder + L"\\sub\\server ").c_str()), 1);
    EXPECT_EQ(VXC_DoesFileExistsW((folder + L"\\sub\\other").c_str()), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(VXC_CreateDirectoryW((folder + L"\\no\\such").c_str(), nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(VXC_DoesFileExistsW(std::wstring(1 << 20, L'\\').c_str()), 0);
}

TEST_F(NativeNameTest, BackslashesOfNamesThatAreThereOrStandBehindNoFolderStay) {
    std::filesystem::create_directory(m_folder.Name("media/odd\\sub"));
    m_folder.Write("media/odd/sub/x", "");
    EXPECT_EQ(VXC_CreateDirectoryW(m_folder.Wide("media/odd\\sub\\new").c_str(), nullptr), 1);
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.Name("media/odd\\sub/new")));
    EXPECT_EQ(VXC_DoesFileExistsW(m_folder.Wide("media/odd\\sub").c_str()), 1);
    EXPECT_EQ(VXC_CreateDirectoryW(m_folder.Wide("media/no\\folder").c_str(), nullptr), 1);
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.Name("media/no\\folder")));
    m_folder.Write("media/odd\\clip", "");
    EXPECT_EQ(VXC_DoesFileExistsW(m_folder.Wide("media/odd\\clip").c_str()), 1);
    m_folder.Write("media/file", "");
    EXPECT_EQ(VXC_CreateDirectoryW(m_folder.Wide("media/file\\folder").c_str(), nullptr), 1);
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.Name("media/file\\folder")));
}

// ---- names of modules ---------------------------------------------------------------------------------

TEST_F(NativeNameTest, JoinedModuleNamesAreMappedPartByPart) {
    const std::wstring folder = m_folder.Wide("media");
    EXPECT_EQ(Module(folder + L"\\plug.dll"), "/media/plug.dll");
    EXPECT_EQ(Module(folder + L"\\sub\\plug.dll"), "/media/sub/plug.dll");
    EXPECT_EQ(Module(L"D:\\sub\\plug.dll"), "/media/sub/plug.dll");
    EXPECT_EQ(Module(L"plug.dll"), "plug.dll");
    EXPECT_EQ(Module(L"no\\such\\plug.dll"), "no/such/plug.dll");
    EXPECT_EQ(Module(L"\\no-such.dll"), "/no-such.dll");
}

TEST_F(NativeNameTest, BackslashesOfExistingFoldersAndModulesStay) {
    m_folder.Write("odd\\folder/plug.so", "");
    EXPECT_EQ(Module(m_folder.Wide("odd\\folder\\plug.so")), "/odd\\folder/plug.so");
    m_folder.Write("odd\\plug.so", "");
    EXPECT_EQ(Module(m_folder.Wide("odd\\plug.so")), "/odd\\plug.so");
}

TEST_F(NativeNameTest, ModuleNamesLoseTheirTailLikeOthers) {
    m_folder.Write("media/server", "");
    EXPECT_EQ(Module(m_folder.Wide("media") + L"\\server "), "/media/server");
    EXPECT_EQ(NativeModulePath(L"").error, VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(NativeModulePath(L"Q:\\plug.dll").error, VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(NativeModulePath(nullptr).error, VXC_ERROR_PATH_NOT_FOUND);
}

TEST_F(NativeNameTest, EndlessModuleNamesEndSoon) {
    EXPECT_EQ(NativeModulePath(std::wstring(1 << 20, L'\\').c_str()).error, 0u);
}
