// The shares that drives lead to. What is mounted here is no share, so these come from the settings; what the
// mount table makes of others is tested with it.
#include "support/SettingsScope.h"
#include "support/TempFolder.h"
#include "support/posix/SystemTesting.h"
#include "sysu/HostControl.h"
#include "sysu/posix/MountTable.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr const wchar_t* kDriveMap = L"Software\\Norvex\\DriveMap";
constexpr const wchar_t* kDriveRemote = L"Software\\Norvex\\DriveRemote";

std::wstring ShareOf(wchar_t letter, int characters = 64) {
    std::wstring name(64, L'#');
    const int length = DriveShareName(letter, name.data(), characters);
    if (length == 0) {
        EXPECT_EQ(name, std::wstring(64, L'#')) << "left alone where there is none";
        return {};
    }
    EXPECT_EQ(name[static_cast<std::size_t>(length)], L'\0');
    return name.substr(0, static_cast<std::size_t>(length));
}

} // namespace

TEST(ShareMountsTest, ADriveLeadsToTheShareThatTheSettingsName) {
    SettingsScope settings;
    settings.Set(kDriveRemote, L"Z", L"\\\\host\\share one");
    EXPECT_EQ(ShareOf(L'Z'), L"\\\\host\\share one");
    EXPECT_EQ(ShareOf(L'z'), L"\\\\host\\share one");
    settings.Set(kDriveRemote, L"Z", L"\\\\h\u00E4user\\\u043C\u0435\u0434\u0438\u0430");
    EXPECT_EQ(ShareOf(L'Z'), L"\\\\h\u00E4user\\\u043C\u0435\u0434\u0438\u0430");
}

TEST(ShareMountsTest, OtherDrivesLeadToNone) {
    const TempFolder folder;
    SettingsScope settings;
    settings.Set(kDriveMap, L"D", folder.Wide(""));
    settings.Set(kDriveMap, L"E", L"/no/such/folder");
    settings.Set(kDriveRemote, L"F", L"");
    for (const wchar_t letter : {L'C', L'D', L'E', L'F', L'1', L'\u00E4', L'\0'}) {
        EXPECT_EQ(ShareOf(letter), L"");
    }
}

TEST(ShareMountsTest, ANameIsCutToItsRoom) {
    SettingsScope settings;
    settings.Set(kDriveRemote, L"Z", L"\\\\host\\share");
    EXPECT_EQ(ShareOf(L'Z', 13), L"\\\\host\\share");
    EXPECT_EQ(ShareOf(L'Z', 12), L"\\\\host\\shar");
    EXPECT_EQ(ShareOf(L'Z', 2), L"\\");
    EXPECT_EQ(ShareOf(L'Z', 1), L"");
    EXPECT_EQ(ShareOf(L'Z', 0), L"");
    EXPECT_EQ(ShareOf(L'Z', -1), L"");
    EXPECT_EQ(DriveShareName(L'Z', nullptr, 64), 0);
}

TEST(ShareMountsTest, ASettingIsReadEachTime) {
    SettingsScope settings;
    EXPECT_EQ(ShareOf(L'Z'), L"");
    settings.Set(kDriveRemote, L"Z", L"\\\\host\\one");
    EXPECT_EQ(ShareOf(L'Z'), L"\\\\host\\one");
    settings.Set(kDriveRemote, L"Z", L"\\\\host\\two");
    EXPECT_EQ(ShareOf(L'Z'), L"\\\\host\\two");
    settings.Remove(kDriveRemote, L"Z");
    EXPECT_EQ(ShareOf(L'Z'), L"");
}

TEST(ShareMountsTest, MountedSharesAreThoseOfTheMountTable) {
    std::size_t shares = sysu::MountedShares(sysu::ReadMountTable()).size();
    std::vector<std::wstring> names;
    const int calls = VisitShareMounts(
        [](void* context, const wchar_t* share, const wchar_t* folder) {
            EXPECT_EQ(folder[0], L'/');
            static_cast<std::vector<std::wstring>*>(context)->emplace_back(share);
            return 1;
        },
        &names);
    EXPECT_EQ(static_cast<std::size_t>(calls), shares);
    EXPECT_EQ(names.size(), shares);
    EXPECT_EQ(VisitShareMounts(nullptr, nullptr), 0);
}
