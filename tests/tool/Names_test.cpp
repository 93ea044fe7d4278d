// What names of the command line mean, and the settings of one run.
#include "Names.h"
#include "RunSettings.h"
#include "support/SettingsScope.h"
#include "support/TempFolder.h"

#include "sysu/HostControl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace vxcio::tool;
using namespace vxcio::test;
using testing::HasSubstr;

namespace {

Entry Parsed(const std::string& text) {
    std::string reason;
    const std::optional<Entry> entry = ParseEntry(text, reason);
    EXPECT_TRUE(entry) << text << ": " << reason;
    return entry.value_or(Entry{});
}

std::vector<std::string> Firsts(const Input& input) {
    std::vector<std::string> names;
    for (const Entry& entry : input.entries) {
        names.push_back(entry.first);
    }
    return names;
}

} // namespace

TEST(ToolNamesTest, AStarPartsTwoCopies) {
    EXPECT_EQ(Parsed("/mnt/a/clip*/mnt/b/clip").first, "/mnt/a/clip");
    EXPECT_EQ(Parsed("/mnt/a/clip*/mnt/b/clip").second, "/mnt/b/clip");
    EXPECT_EQ(Parsed("clip.mxf").second, "");
    // Only the first one.
    EXPECT_EQ(Parsed("a*b*c").first, "a");
    EXPECT_EQ(Parsed("a*b*c").second, "b*c");
}

TEST(ToolNamesTest, AStarOfTheNameIsWrittenTwiceOrStandsAtItsStart) {
    EXPECT_EQ(Parsed("a**b").first, "a*b");
    EXPECT_EQ(Parsed("a**b").second, "");
    EXPECT_EQ(Parsed("a**b*c**d").first, "a*b");
    EXPECT_EQ(Parsed("a**b*c**d").second, "c*d");
    EXPECT_EQ(Parsed("*a").first, "*a");
    EXPECT_EQ(Parsed("*a*b").first, "*a");
    EXPECT_EQ(Parsed("*a*b").second, "b");
}

TEST(ToolNamesTest, AStarWithNothingBehindItIsRefused) {
    std::string reason;
    EXPECT_FALSE(ParseEntry("clip*", reason));
    EXPECT_THAT(reason, HasSubstr("'clip*' names no second copy"));
}

TEST(ToolNamesTest, AListFileGivesItsNamesFromItsOwnFolder) {
    const TempFolder folder;
    const std::string list = folder.Write(
        "names", "\xEF\xBB\xBF# pieces\r\none\r\n\n  two * copies\t\n\t# no name\n/three*four\nD:\\five");
    std::string reason;
    const auto entries = ReadNameList(list, reason);
    ASSERT_TRUE(entries) << reason;
    ASSERT_EQ(entries->size(), 4u);
    EXPECT_EQ((*entries)[0].first, folder.Name("one"));
    EXPECT_EQ((*entries)[1].first, folder.Name("two "));
    EXPECT_EQ((*entries)[1].second, folder.Name(" copies"));
    EXPECT_EQ((*entries)[2].first, "/three");
    EXPECT_EQ((*entries)[2].second, folder.Name("four"));
    EXPECT_EQ((*entries)[3].first, "D:\\five");
}

TEST(ToolNamesTest, ListsThatAreNoneAreRefusedWithTheirName) {
    const TempFolder folder;
    std::string reason;
    EXPECT_FALSE(ReadNameList(folder.Name("missing"), reason));
    EXPECT_THAT(reason, HasSubstr("missing': No such file or directory"));
    EXPECT_FALSE(ReadNameList(folder.Path().string(), reason));
    EXPECT_THAT(reason, HasSubstr("it is a folder"));
    EXPECT_FALSE(ReadNameList(folder.Write("empty", "\n# nothing\n"), reason));
    EXPECT_THAT(reason, HasSubstr("empty' names no file"));
    EXPECT_FALSE(ReadNameList(folder.Write("star", "a\nb*\n"), reason));
    EXPECT_THAT(reason, HasSubstr("star', line 2: 'b*' names no second copy"));
    EXPECT_FALSE(ReadNameList(folder.Write("zero", std::string("a\0b", 3)), reason));
    EXPECT_THAT(reason, HasSubstr("line 1: a zero byte"));
}

TEST(ToolNamesTest, NamesAreInputsOfTheirOwnUnlessTheyAreJoined) {
    const TempFolder folder;
    const std::string list = folder.Write("names", "/one\n/two\n");
    std::string reason;
    const auto apart = ReadNames({"a", "b", "@" + list}, false, reason);
    ASSERT_TRUE(apart && apart->size() == 3u);
    EXPECT_FALSE((*apart)[1].joined);
    EXPECT_TRUE((*apart)[2].joined);
    EXPECT_THAT(Firsts((*apart)[2]), testing::ElementsAre("/one", "/two"));

    const auto joined = ReadNames({"a", "@" + list, "b"}, true, reason);
    ASSERT_TRUE(joined && joined->size() == 1u);
    EXPECT_TRUE(joined->front().joined);
    EXPECT_THAT(Firsts(joined->front()), testing::ElementsAre("a", "/one", "/two", "b"));

    const auto file = ReadNames({"./@" + list.substr(1)}, false, reason);
    ASSERT_TRUE(file);
    EXPECT_FALSE(file->front().joined);
}

TEST(ToolRunSettingsTest, ALimitForServersHoldsForBothKinds) {
    std::string text;
    {
        SettingsScope settings({{L"HttpTimeOut", L"5000"}});
        text = SettingsWithTimeOut(1234, 4321);
    }
    SettingsScope settings;
    settings.WriteRaw(text);
    wchar_t value[64] = {};
    for (const wchar_t* const name : {L"FtpTimeOut", L"HttpTimeOut"}) {
        ASSERT_GT(vxcio::ReadSettingText(L"Software\\Norvex\\SoftCodec", name, value, 64, nullptr), 0);
        EXPECT_STREQ(value, L"4321");
    }
}

TEST(ToolRunSettingsTest, TheTimeOutsOfTheRunWinAndTheOtherSettingsStay) {
    std::string text;
    {
        SettingsScope settings({{L"handletimeout", L"5000"}, {L"ReadBlockSize", L"3"}});
        settings.Set(L"Software\\Norvex\\DriveMap", L"D", L"/mnt/media");
        EXPECT_TRUE(IsTimeOutSet());
        text = SettingsWithTimeOut(1234);
    }
    SettingsScope settings;
    EXPECT_FALSE(IsTimeOutSet());
    settings.WriteRaw(text);
    wchar_t value[64] = {};
    for (const auto& [name, wanted] :
         {std::pair(L"HandleTimeOut", L"1234"), {L"WriteHandleTimeOut", L"1234"}, {L"ReadBlockSize", L"3"}}) {
        ASSERT_GT(vxcio::ReadSettingText(L"Software\\Norvex\\SoftCodec", name, value, 64, nullptr), 0);
        EXPECT_STREQ(value, wanted);
    }
    ASSERT_GT(vxcio::ReadSettingText(L"Software\\Norvex\\DriveMap", L"D", value, 64, nullptr), 0);
    EXPECT_STREQ(value, L"/mnt/media");
}
