#include "sysu/SystemName.h"

#include "support/SettingsScope.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <string>

using namespace vxcio;
using namespace vxcio::test;

namespace {

struct Told {
    std::wstring file;
    int length = 0;
    uint32 error = 77;
};

Told Ask(const wchar_t* name) {
    Told told;
    wchar_t file[4096] = L"as before";
    told.length = SystemFileName(name, file, 4096, &told.error);
    told.file = file;
    return told;
}

} // namespace

TEST(SystemFileNameTest, ADriveAndAShareEndInTheirFolders) {
    const TempFolder folder;
    SettingsScope settings;
    settings.Set(L"Software\\Norvex\\DriveMap", L"D", folder.Wide("media"));
    settings.Set(L"Software\\Norvex\\ShareMap", L"server\\share", folder.Wide("media"));
    for (const wchar_t* const name : {L"D:\\a\\b.mxf", L"\\\\server\\share\\a\\b.mxf"}) {
        const Told told = Ask(name);
        EXPECT_EQ(told.file, folder.Wide("media/a/b.mxf"));
        EXPECT_EQ(told.length, static_cast<int>(told.file.size()));
        EXPECT_EQ(told.error, 0u);
    }
    EXPECT_EQ(Ask(L"a/b\\c.mxf").file, L"a/b\\c.mxf");
}

TEST(SystemFileNameTest, WhatLeadsNowhereLeavesTheTextAloneAndTellsItsNumber) {
    SettingsScope settings;
    for (const auto& [name, error] : {std::pair<const wchar_t*, uint32>(L"Q:\\x", 3),
                                      {L"\\\\nobody\\share\\x", 53},
                                      {L"", 3},
                                      {nullptr, 3}}) {
        const Told told = Ask(name);
        EXPECT_EQ(told.length, 0);
        EXPECT_EQ(told.file, L"as before");
        EXPECT_EQ(told.error, error);
    }
    wchar_t file[4] = L"";
    EXPECT_EQ(SystemFileName(L"Q:\\x", file, 4, nullptr), 0);
}

TEST(SystemFileNameTest, ALongNameIsCutToItsRoom) {
    SettingsScope settings;
    wchar_t file[5] = {L'x', L'x', L'x', L'x', L'y'};
    EXPECT_EQ(SystemFileName(L"/some/file", file, 4, nullptr), 3);
    EXPECT_STREQ(file, L"/so");
    EXPECT_EQ(file[4], L'y');
    EXPECT_EQ(SystemFileName(L"/some/file", file, 0, nullptr), 0);
    EXPECT_EQ(SystemFileName(L"/some/file", nullptr, 4, nullptr), 0);
}
