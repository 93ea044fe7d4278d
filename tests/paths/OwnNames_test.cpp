#include "paths/OwnNames.h"

#include "paths/FakeNetwork.h"
#include "paths/NetPathFixture.h"
#include "paths/NetPaths.h"
#include "support/PlatformScope.h"
#include "support/SettingsScope.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <string>

using namespace vxcio;
using namespace vxcio::test;

namespace {

struct Told {
    int calls = 0;
    std::wstring computer;
    std::wstring computerFrom;
    std::wstring workgroup;
    std::wstring configuration;
};

Told Ask() {
    Told told;
    const int result = AskOwnNames(
        [](void* context, const OwnNames& names) {
            auto& into = *static_cast<Told*>(context);
            ++into.calls;
            into.computer = names.computer;
            into.computerFrom = names.computerFrom;
            into.workgroup = names.workgroup;
            into.configuration = names.configuration;
        },
        &told);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(told.calls, 1);
    return told;
}

int Give(const wchar_t* text, wchar_t* room, int characters) {
    const auto length = std::min(std::wcslen(text), static_cast<std::size_t>(characters) - 1);
    *std::copy_n(text, length, room) = 0;
    return static_cast<int>(length);
}

// No work group is known yet.
class OwnNamesTest : public testing::Test {
protected:
    OwnNamesTest() { NetPathInspector::Forget(NetPathExchange()); }
    ~OwnNamesTest() override { NetPathInspector::Forget(NetPathExchange()); }
};

} // namespace

TEST_F(OwnNamesTest, TheyComeFromTheConfigurationWithItsFile) {
    const TempFolder folder;
    folder.Write("smb.conf", "[global]\nnetbios name = studio\nworkgroup = House\n");
    SettingsScope settings;
    settings.Set(L"SambaConfiguration", folder.Wide("smb.conf"));
    const Told told = Ask();
    EXPECT_EQ(told.computer, L"STUDIO");
    EXPECT_EQ(told.computerFrom, folder.Wide("smb.conf"));
    EXPECT_EQ(told.workgroup, L"HOUSE");
    EXPECT_EQ(told.configuration, folder.Wide("smb.conf"));
}

TEST_F(OwnNamesTest, WithoutOneTheHostNamesTheComputer) {
    const TempFolder folder;
    SettingsScope settings;
    settings.Set(L"SambaConfiguration", folder.Wide("missing"));
    const Told told = Ask();
    EXPECT_NE(told.computer, L"");
    EXPECT_EQ(told.computerFrom, L"");
    EXPECT_EQ(told.workgroup, L"");
    EXPECT_EQ(told.configuration, folder.Wide("missing"));
    settings.Remove(L"SambaConfiguration");
    EXPECT_EQ(Ask().configuration, L"/etc/samba/smb.conf");
}

TEST_F(OwnNamesTest, TheWorkGroupIsAskedForWithTheNameOfTheWorkstation) {
    const PlatformScope platform;
    static std::wstring asked;
    asked.clear();
    platform.Network().computerName = [](wchar_t* name, int room) { return Give(L"ONE", name, room); };
    platform.Network().workstationName = [](wchar_t* name, int room) { return Give(L"TWO", name, room); };
    platform.Network().resourceParent = [](void*, const wchar_t* computer, const wchar_t*, wchar_t* parent,
                                           int room) {
        asked = computer;
        return Give(L"ABOVE", parent, room);
    };
    const Told told = Ask();
    EXPECT_EQ(told.computer, L"ONE");
    EXPECT_EQ(told.workgroup, L"ABOVE");
    EXPECT_EQ(asked, L"\\\\TWO");
}

TEST_F(OwnNamesTest, WhatCannotBeHadIsEmpty) {
    const PlatformScope platform;
    platform.Network().computerName = [](wchar_t*, int) { return 0; };
    platform.Network().openProviders = []() -> void* { return nullptr; };
    const Told told = Ask();
    EXPECT_EQ(told.computer, L"");
    EXPECT_EQ(told.workgroup, L"");
}

TEST_F(OwnNamesTest, TheWorkGroupIsTheOneThatConversionsUse) {
    FakeNetwork network;
    network.AddShare(L"media", L"\\srv\\media");
    EXPECT_EQ(Ask().workgroup, L"");
    network.SetWorkgroup(L"STUDIO");
    EXPECT_STREQ(Local2UNC(L"\\srv\\media\\a"), L"STUDIO\\\\HOST\\media\\a");
    network.SetWorkgroup(L"LATER");
    EXPECT_EQ(Ask().workgroup, L"STUDIO");
}
