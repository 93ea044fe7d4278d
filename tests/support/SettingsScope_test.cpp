#include "support/SettingsScope.h"

#include "frame/SystemLayer.h"
#include "sysu/HostControl.h"

#include <gtest/gtest.h>

#include <string>

using namespace vxcio;
using namespace vxcio::test;

namespace {

// The number, or -1 where it is not set.
int64 Number(const wchar_t* name) {
    uint32 value = 0;
    return VXC_GetGlobalIntW(L"Software\\Norvex", L"SoftCodec", name, &value, 0) != 0 ? int64{value} : -1;
}

std::wstring Text(const wchar_t* section, const wchar_t* name) {
    wchar_t value[64] = {};
    return ReadSettingText(section, name, value, 64, nullptr) >= 0 ? value : L"(not set)";
}

std::wstring NameInUse() {
    wchar_t name[1024] = {};
    SettingsFileName(SETTINGS_FILE_USER, name, 1024);
    return name;
}

TEST(SettingsScopeTest, TheLibraryReadsWhatTheTestSet) {
    SettingsScope settings({{L"HandleTimeOut", L"999"}, {L"WriteHandleTimeOut", L"0x10"}});
    EXPECT_EQ(Number(L"HandleTimeOut"), 999);
    EXPECT_EQ(Number(L"WriteHandleTimeOut"), 16);
    EXPECT_EQ(Number(L"EnableBitrateInfo"), -1);
}

TEST(SettingsScopeTest, AChangeIsSeenAtOnce) {
    SettingsScope settings;
    EXPECT_EQ(Number(L"HandleTimeOut"), -1);
    for (int i = 1; i < 20; ++i) {
        settings.Set(L"HandleTimeOut", std::to_wstring(i));
        ASSERT_EQ(Number(L"HandleTimeOut"), i);
    }
    settings.Remove(L"HandleTimeOut");
    EXPECT_EQ(Number(L"HandleTimeOut"), -1);
}

TEST(SettingsScopeTest, OtherSectionsCanBeSet) {
    SettingsScope settings;
    settings.Set(L"Software\\Norvex\\DriveMap", L"D", L"/mnt/media");
    EXPECT_EQ(Text(L"Software\\Norvex\\DriveMap", L"D"), L"/mnt/media");
    settings.Remove(L"Software\\Norvex\\DriveMap", L"D");
    EXPECT_EQ(Text(L"Software\\Norvex\\DriveMap", L"D"), L"(not set)");
}

TEST(SettingsScopeTest, AnyTextCanStandInTheFile) {
    SettingsScope settings({{L"HandleTimeOut", L"1"}});
    settings.WriteRaw("garbage\n[Software\\Norvex\\SoftCodec]\nHandleTimeOut = 7\n");
    EXPECT_EQ(Number(L"HandleTimeOut"), 7);
}

TEST(SettingsScopeTest, TheStandardFilesAreBackAfterwards) {
    const std::wstring before = NameInUse();
    {
        SettingsScope settings;
        EXPECT_EQ(NameInUse(), settings.FileName());
    }
    EXPECT_EQ(NameInUse(), before);
}

} // namespace
