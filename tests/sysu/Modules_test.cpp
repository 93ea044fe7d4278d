#include "frame/SystemLayer.h"
#include "support/TempFolder.h"
#include "sysu/HostControl.h"
#include "text/Utf8.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

using namespace vxcio;
using vxcio::test::TempFolder;

namespace {

constexpr uint32 kPlain = 11;    // of "Companion.so"
constexpr uint32 kPrefixed = 22; // of "libCompanion.so"

// Where the build puts the library that says `number`.
std::filesystem::path Built(uint32 number) {
    return std::filesystem::path(VXC_TEST_LIBRARY_DIR) / ("companion" + std::to_string(number) + ".so");
}

void Put(const TempFolder& folder, uint32 number, const std::string& name) {
    std::filesystem::create_directories((folder.Path() / name).parent_path());
    std::filesystem::copy_file(Built(number), folder.Path() / name);
}

// What the module says; 0 when there is none.
uint32 NumberOf(void* module) {
    const auto function = reinterpret_cast<uint32 (*)()>(VXC_GetFunction(module, "CompanionNumber"));
    return function == nullptr ? 0 : function();
}

uint32 NumberOfFile(const std::wstring& path) {
    void* const module = VXC_LoadModuleExW(path.c_str(), 0, 8);
    const uint32 number = module == nullptr ? 0 : NumberOf(module);
    VXC_CloseModule(module);
    return number;
}

} // namespace

TEST(ModulesTest, AJoinedNameFindsTheLibraryOfThisSystem) {
    const TempFolder folder;
    Put(folder, kPlain, "Companion.so");
    EXPECT_EQ(NumberOfFile(folder.Path().wstring() + L"\\Companion.dll"), kPlain);
    EXPECT_EQ(NumberOfFile(folder.Path().wstring() + L"/Companion.DLL"), kPlain);
    EXPECT_EQ(NumberOfFile(folder.Path().wstring() + L"\\Companion"), kPlain);
    EXPECT_EQ(NumberOfFile(folder.Path().wstring() + L"\\Companion.so"), kPlain);
}

TEST(ModulesTest, APrefixedLibraryIsFound) {
    const TempFolder folder;
    Put(folder, kPrefixed, "libCompanion.so");
    EXPECT_EQ(NumberOfFile(folder.Path().wstring() + L"\\Companion.dll"), kPrefixed);
}

TEST(ModulesTest, ThePlainNameGoesBeforeThePrefixedOneAndBothBeforeTheNameAsItStands) {
    const TempFolder folder;
    Put(folder, kPrefixed, "libCompanion.so");
    Put(folder, kPlain, "Companion.dll");
    EXPECT_EQ(NumberOfFile(folder.Path().wstring() + L"\\Companion.dll"), kPrefixed);
    const TempFolder other;
    Put(other, kPrefixed, "libCompanion.so");
    Put(other, kPlain, "Companion.so");
    EXPECT_EQ(NumberOfFile(other.Path().wstring() + L"\\Companion.dll"), kPlain);
}

TEST(ModulesTest, TheNameAsItStandsIsTheLastResort) {
    const TempFolder folder;
    Put(folder, kPlain, "Companion.dll");
    EXPECT_EQ(NumberOfFile(folder.Path().wstring() + L"\\Companion.dll"), kPlain);
}

TEST(ModulesTest, ABackslashInAFolderNameStaysACharacter) {
    const TempFolder folder;
    Put(folder, kPlain, "we\\ird/Companion.so");
    EXPECT_EQ(NumberOfFile(folder.Path().wstring() + L"/we\\ird\\Companion.dll"), kPlain);
}

TEST(ModulesTest, EveryBackslashOfAJoinedPathSeparates) {
    const TempFolder folder;
    Put(folder, kPlain, "plug/in/Companion.so");
    EXPECT_EQ(NumberOfFile(folder.Path().wstring() + L"\\plug\\in\\Companion.dll"), kPlain);
}

TEST(ModulesTest, ANameOnAMappedDriveIsFound) {
    const TempFolder folder;
    Put(folder, kPlain, "media/Companion.so");
    folder.Write("settings.conf", "[Software\\Norvex\\DriveMap]\nD = " + folder.Name("media") + "\n");
    ASSERT_EQ(UseSettingsFile(folder.Wide("settings.conf").c_str()), 1);
    EXPECT_EQ(NumberOfFile(L"D:\\Companion.dll"), kPlain);
    EXPECT_EQ(VXC_LoadModuleExW(L"E:\\Companion.dll", 0, 8), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_PATH_NOT_FOUND);
    ASSERT_EQ(UseSettingsFile(nullptr), 1);
}

TEST(ModulesTest, AMissingModuleGivesNullAndItsError) {
    const TempFolder folder;
    EXPECT_EQ(VXC_LoadModuleExW((folder.Path().wstring() + L"\\Companion.dll").c_str(), 0, 8), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_MOD_NOT_FOUND);
    EXPECT_EQ(VXC_LoadModuleExW((folder.Path().wstring() + L"/").c_str(), 0, 8), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_MOD_NOT_FOUND);
}

TEST(ModulesTest, NoNameIsNotTheProgramItself) {
    EXPECT_EQ(VXC_LoadModuleExW(nullptr, 0, 8), nullptr);
    EXPECT_NE(VXC_GetLastError(), 0u);
    EXPECT_EQ(VXC_LoadModuleExW(L"", 0, 8), nullptr);
    EXPECT_EQ(VXC_GetFunction(nullptr, "malloc"), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_PROC_NOT_FOUND);
}

TEST(ModulesTest, WhyAFileIsNoModuleIsLogged) {
    const TempFolder folder;
    folder.Write("Companion.so", "this is no library");
    folder.Write("libCompanion.so", "nor is this");
    std::wstring lines;
    SetLogReceiver([](void* context, INFOTYPE, const wchar_t*,
                      const wchar_t* text) { *static_cast<std::wstring*>(context) += text; },
                   &lines, INFOTYPE_TRACE);
    EXPECT_EQ(VXC_LoadModuleExW((folder.Path().wstring() + L"\\Companion.dll").c_str(), 0, 8), nullptr);
    SetLogReceiver(nullptr, nullptr, INFOTYPE_ERROR);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_MOD_NOT_FOUND);
    EXPECT_NE(lines.find(folder.Wide("Companion.so")), std::wstring::npos) << ToUtf8(lines);
    EXPECT_EQ(lines.find(L"libCompanion"), std::wstring::npos) << "the first reason counts";
}

TEST(ModulesTest, AnUnknownFunctionGivesNullAndItsError) {
    const TempFolder folder;
    Put(folder, kPlain, "Companion.so");
    void* const module = VXC_LoadModuleExW((folder.Path().wstring() + L"\\Companion.dll").c_str(), 0, 8);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(VXC_GetFunction(module, "Absent"), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_PROC_NOT_FOUND);
    EXPECT_EQ(VXC_GetFunction(module, nullptr), nullptr);
    VXC_CloseModule(module);
    VXC_CloseModule(nullptr);
}
