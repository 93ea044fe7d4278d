// Disks on which files are never written past the cache.
#include "sinks/EthernetDisks.h"

#include "sinks/SinkOverHost.h"
#include "support/SettingsScope.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr const wchar_t* kSection = L"Software\\Norvex\\EthernetDiskInfo";

class EthernetDisksTest : public SinkOverHost {
protected:
    void SetDisks(const std::wstring& disks) { settings.Set(kSection, L"DiskArray", disks); }

    SettingsScope settings;
};

} // namespace

TEST_F(EthernetDisksTest, AnEmptyTextHasNoEntries) {
    EXPECT_THAT(SplitDiskArray(L""), IsEmpty());
}

TEST_F(EthernetDisksTest, OneEntryIsTheWholeText) {
    EXPECT_THAT(SplitDiskArray(L"D:\\"), ElementsAre(L"D:\\"));
    EXPECT_THAT(SplitDiskArray(L"D"), ElementsAre(L"D"));
    EXPECT_THAT(SplitDiskArray(L"*"), ElementsAre(L"*"));
}

TEST_F(EthernetDisksTest, EachEntryBeginsWithAllBeforeIt) {
    EXPECT_THAT(SplitDiskArray(L"D:\\*E:\\"), ElementsAre(L"D:\\", L"D:\\E:\\"));
    EXPECT_THAT(SplitDiskArray(L"D:\\*E:\\*F:\\"), ElementsAre(L"D:\\", L"D:\\E:\\", L"D:\\E:\\F:\\"));
}

TEST_F(EthernetDisksTest, AStarAtTheEndIsACharacter) {
    EXPECT_THAT(SplitDiskArray(L"D:\\*"), ElementsAre(L"D:\\*"));
    EXPECT_THAT(SplitDiskArray(L"D:\\*E:\\*"), ElementsAre(L"D:\\", L"D:\\E:\\*"));
    EXPECT_THAT(SplitDiskArray(L"a**"), ElementsAre(L"a", L"a*"));
}

TEST_F(EthernetDisksTest, AStarAtTheStartMakesAnEmptyEntry) {
    EXPECT_THAT(SplitDiskArray(L"*D"), ElementsAre(L"", L"D"));
    EXPECT_THAT(SplitDiskArray(L"a**b"), ElementsAre(L"a", L"a", L"ab"));
}

TEST_F(EthernetDisksTest, NamesAreComparedByTheirFirstCharacters) {
    SetDisks(L"D:\\");
    EXPECT_TRUE(IsOnEthernetDisk(L"D:\\clip.mxf"));
    EXPECT_TRUE(IsOnEthernetDisk(L"d:\\clip.mxf"));
    EXPECT_TRUE(IsOnEthernetDisk(L"D:\\"));
    EXPECT_FALSE(IsOnEthernetDisk(L"D:"));
    EXPECT_FALSE(IsOnEthernetDisk(L"E:\\D:\\clip.mxf"));
    EXPECT_FALSE(IsOnEthernetDisk(L""));
    EXPECT_FALSE(IsOnEthernetDisk(nullptr));
}

TEST_F(EthernetDisksTest, CharactersCountAndNotFolders) {
    SetDisks(L"\\\\nas\\media");
    EXPECT_TRUE(IsOnEthernetDisk(L"\\\\NAS\\media\\clip.mxf"));
    EXPECT_FALSE(IsOnEthernetDisk(L"\\\\nas\\medium\\clip.mxf"));
    EXPECT_TRUE(IsOnEthernetDisk(L"\\\\nas\\media2\\x"));
}

TEST_F(EthernetDisksTest, OnlyTheFirstEntryMeetsOrdinaryNames) {
    SetDisks(L"D:\\*E:\\");
    EXPECT_TRUE(IsOnEthernetDisk(L"D:\\clip"));
    EXPECT_FALSE(IsOnEthernetDisk(L"E:\\clip"));
    SetDisks(L"x*E:\\");
    EXPECT_TRUE(IsOnEthernetDisk(L"xE:\\clip"));
    EXPECT_FALSE(IsOnEthernetDisk(L"E:\\clip"));
}

TEST_F(EthernetDisksTest, NamesOfALaterEntryBeginWithTheFirst) {
    SetDisks(L"q*aEnd");
    EXPECT_TRUE(IsOnEthernetDisk(L"qaEnd of it"));
    EXPECT_FALSE(IsOnEthernetDisk(L"aEnd of it"));
}

TEST_F(EthernetDisksTest, AnEmptyEntryIsTheStartOfEveryName) {
    SetDisks(L"*/mnt");
    EXPECT_TRUE(IsOnEthernetDisk(L"anything"));
    EXPECT_TRUE(IsOnEthernetDisk(L""));
}

TEST_F(EthernetDisksTest, AStarAtTheEndMeetsNoOrdinaryName) {
    SetDisks(L"D:\\*");
    EXPECT_FALSE(IsOnEthernetDisk(L"D:\\clip"));
    EXPECT_TRUE(IsOnEthernetDisk(L"d:\\*clip"));
}

TEST_F(EthernetDisksTest, WithoutTheSettingNoNameIsOnOne) {
    EXPECT_FALSE(IsOnEthernetDisk(L"D:\\clip"));
    SetDisks(L"");
    EXPECT_FALSE(IsOnEthernetDisk(L"D:\\clip"));
    SetDisks(L"D:\\");
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_GetGlobalStringW));
    EXPECT_FALSE(IsOnEthernetDisk(L"D:\\clip"));
    EXPECT_TRUE(IsOnEthernetDisk(L"D:\\clip"));
}

TEST_F(EthernetDisksTest, TheSettingIsReadUpTo512Characters) {
    const std::wstring long511(511, L'y');
    SetDisks(long511);
    EXPECT_TRUE(IsOnEthernetDisk((long511 + L"z").c_str()));
    const std::wstring long512 = long511 + L"z";
    SetDisks(long512);
    EXPECT_TRUE(IsOnEthernetDisk((long512 + L"end").c_str()));
    EXPECT_FALSE(IsOnEthernetDisk((long511 + L"w").c_str()));
    SetDisks(long512 + L"more");
    EXPECT_TRUE(IsOnEthernetDisk((long512 + L"end").c_str()));
    EXPECT_FALSE(IsOnEthernetDisk((long511 + L"w").c_str()));
}

TEST_F(EthernetDisksTest, AFileOnOneIsWrittenThroughTheCache) {
    SetDisks(folder.Wide("").substr(0, 5) + L"*nothing");
    LogCapture log;
    ASSERT_EQ(Open(0, kDirect | 0x80), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::Flags(sink), 0x80U);
    EXPECT_EQ(Inspector::WriteMode(sink), 0U);
    EXPECT_EQ(Inspector::StageCapacity(sink), 0U);
    EXPECT_FALSE(Inspector::HasSectorBuffer(sink));
    const std::vector<LogLine> lines = log.Lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), (LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO", Target() + L"(EthernetDisk)\n"}));
    EXPECT_EQ(log.Count(L"EthernetDisk"), 1U);
}

TEST_F(EthernetDisksTest, AllFlagsOfTheCallerGoOnOne) {
    SetDisks(folder.Wide(""));
    ASSERT_EQ(Open(1, VXC_FILE_FLAG_WRITE_THROUGH | VXC_FILE_FLAG_DELETE_ON_CLOSE | 1), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::Flags(sink), 0x80U);
    EXPECT_EQ(Write(Pattern(10, 1)), 10);
    sink.CloseFile();
    EXPECT_EQ(Content(), Pattern(10, 1)); // not deleted, not read-only
    ASSERT_EQ(Open(0), VXC_STATUS_OK);
}

TEST_F(EthernetDisksTest, AFileElsewhereKeepsItsFlags) {
    SetDisks(L"Q:\\");
    LogCapture log;
    ASSERT_EQ(Open(0, kDirect | 0x80), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::Flags(sink), kDirect | 0x80);
    EXPECT_EQ(log.Count(L"EthernetDisk"), 0U);
}

TEST_F(EthernetDisksTest, TheSettingIsReadAnewByEachOpen) {
    ASSERT_EQ(Open(0, kDirect), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::WriteMode(sink), 2U);
    SetDisks(folder.Wide(""));
    ASSERT_EQ(Open(0, kDirect), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::WriteMode(sink), 0U);
}

TEST_F(EthernetDisksTest, NamesOfAHostAreNotTested) {
    SetDisks(L"host");
    FaultPlan plan;
    LogCapture log;
    ASSERT_EQ(OpenHost(0, kDirect), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_GetGlobalStringW), 0);
    EXPECT_EQ(Inspector::Flags(sink), kDirect);
    EXPECT_EQ(log.Count(L"EthernetDisk"), 0U);
    SetDisks(folder.Wide(""));
    ASSERT_EQ(Open(0, kDirect), VXC_STATUS_OK); // the same sink with a plain name
    EXPECT_EQ(Inspector::Flags(sink), 0x80U);
}
