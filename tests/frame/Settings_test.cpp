#include "frame/ReadSetting.h"
#include "frame/Settings.h"
#include "support/TempFolder.h"
#include "sysu/HostControl.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

using namespace vxcio;
using vxcio::test::TempFolder;

namespace {

std::map<std::wstring, KnownSetting> Table() {
    int count = 0;
    const KnownSetting* const settings = KnownSettings(&count);
    std::map<std::wstring, KnownSetting> table;
    for (int i = 0; i < count; ++i) {
        const std::wstring name = settings[i].name == nullptr ? L"*" : settings[i].name;
        const bool fresh =
            table.emplace(std::wstring(settings[i].section) + L"\\" + name, settings[i]).second;
        EXPECT_TRUE(fresh) << "a setting stands twice";
    }
    return table;
}

} // namespace

TEST(SettingsTest, EverySettingIsKnownWithItsDefault) {
    const std::map<std::wstring, std::wstring> expected = {
        {L"Software\\Norvex\\SoftCodec\\HandleTimeOut", L"0xFFFFFFFF"},
        {L"Software\\Norvex\\SoftCodec\\WriteHandleTimeOut", L""},
        {L"Software\\Norvex\\SoftCodec\\EnableBitrateInfo", L"0"},
        {L"Software\\Norvex\\SoftCodec\\SetSystemFileCacheSize", L"0x10000000"},
        {L"Software\\Norvex\\SoftCodec\\ReadBlockSize", L"1"},
        {L"Software\\Norvex\\SoftCodec\\DoubleRdThreshold", L"2000"},
        {L"Software\\Norvex\\SoftCodec\\WriteBlockSize", L"1048576"},
        {L"Software\\Norvex\\SoftCodec\\FtpTimeOut", L"60000"},
        {L"Software\\Norvex\\SoftCodec\\NotCall_UNC2LOCAL", L"1"},
        {L"Software\\Norvex\\SoftCodec\\SambaConfiguration", L"/etc/samba/smb.conf"},
        {L"Software\\Norvex\\SoftCodec\\HttpTimeOut", L"60000"},
        {L"Software\\Norvex\\SoftCodec\\HttpCertificates", L""},
        {L"Software\\Norvex\\SoftCodec\\HttpProxy", L""},
        {L"Software\\Norvex\\EthernetDiskInfo\\DiskArray", L""},
        {L"Software\\Norvex\\DriveMap\\*", L""},
        {L"Software\\Norvex\\DriveRemote\\*", L""},
        {L"Software\\Norvex\\ShareMap\\*", L""},
        {L"Software\\Norvex\\QLSpecialDrivers\\*", L""},
    };
    const std::set<std::wstring> texts = {L"SambaConfiguration", L"HttpCertificates", L"HttpProxy"};
    const auto table = Table();
    EXPECT_EQ(table.size(), expected.size());
    for (const auto& [key, defaultText] : expected) {
        const auto found = table.find(key);
        ASSERT_NE(found, table.end());
        EXPECT_EQ(found->second.defaultText, defaultText);
        EXPECT_GT(std::wstring(found->second.meaning).size(), 20u);
        const bool isNumber =
            (key.find(L"\\SoftCodec\\") != std::wstring::npos && texts.count(found->second.name) == 0) ||
            key.find(L"\\QLSpecialDrivers\\") != std::wstring::npos;
        EXPECT_EQ(found->second.isNumber != 0, isNumber);
    }
}

TEST(SettingsTest, TheCountMayBeLeftOut) {
    EXPECT_NE(KnownSettings(nullptr), nullptr);
}

TEST(SettingsTest, ReadSettingReadsTheLibrarysSection) {
    const TempFolder folder;
    folder.Write("s.conf", "[Software\\Norvex\\SoftCodec]\nFtpTimeOut = 1234\n[Other]\nReadBlockSize = 3\n");
    ASSERT_EQ(UseSettingsFile(folder.Wide("s.conf").c_str()), 1);
    uint32 value = 7;
    EXPECT_NE(ReadSetting(L"FtpTimeOut", &value), 0);
    EXPECT_EQ(value, 1234u);
    EXPECT_EQ(ReadSetting(L"ReadBlockSize", &value), 0);
    EXPECT_EQ(value, 1234u);
    ASSERT_EQ(UseSettingsFile(nullptr), 1);
}
