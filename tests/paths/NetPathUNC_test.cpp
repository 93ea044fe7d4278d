// From names of this machine to names of shares, and the object's begin and end.
#include "paths/NetPathFixture.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>

#include <optional>
#include <string>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {
using NetPathUNCTest = NetPathFixture;
}

TEST_F(NetPathUNCTest, AFileOfAShareGetsItsNameBehindTheWorkGroups) {
    network.SetWorkgroup(L"Group");
    network.AddShare(L"Clips", L"D:\\Media\\Clips");
    EXPECT_EQ(Reverse(L"d:\\MEDIA\\clips\\Day\\A.mxf"), L"Group\\\\HOST\\Clips\\Day\\A.mxf");
    EXPECT_EQ(Reverse(L"D:\\Media\\Clips"), L"Group\\\\HOST\\Clips");
    EXPECT_EQ(Reverse(L"D:\\Media\\Clips\\\\a\\\\\\b"), L"Group\\\\HOST\\Clips\\a\\b");
}

TEST_F(NetPathUNCTest, WithoutAWorkGroupTheNameStandsAlone) {
    network.AddShare(L"clips", L"D:\\clips");
    EXPECT_EQ(Reverse(L"D:\\clips\\a"), L"\\\\HOST\\clips\\a");
    EXPECT_EQ(network.Count(L"resourceParent"), 1U); // once for all records
    EXPECT_EQ(Reverse(L"D:\\other\\a"), L"Local\\D:\\other\\a");
    EXPECT_EQ(network.Count(L"resourceParent"), 2U); // and again while it is empty
    network.SetWorkgroup(L"Group");
    EXPECT_EQ(Reverse(L"D:\\clips\\a"), L"Group\\\\HOST\\clips\\a");
    EXPECT_EQ(Reverse(L"D:\\clips\\a"), L"Group\\\\HOST\\clips\\a");
    EXPECT_EQ(network.Count(L"resourceParent"), 3U);
}

TEST_F(NetPathUNCTest, AFileInNoShareIsMarkedAsLocal) {
    network.SetWorkgroup(L"Group");
    network.AddShare(L"clips", L"D:\\clips");
    EXPECT_EQ(Reverse(L"D:\\clips2\\a"), L"Local\\D:\\clips2\\a");
    EXPECT_EQ(Reverse(L"D:\\"), L"Local\\D:\\");
    EXPECT_EQ(Reverse(L"clip.mxf"), L"Local\\clip.mxf");
    EXPECT_EQ(Reverse(L"\\"), L"Local\\\\");
}

TEST_F(NetPathUNCTest, AnEmptyNameStaysEmptyAndAsksForNoWorkGroup) {
    network.specialDrives = {{L"d", 4, 1}};
    EXPECT_EQ(Reverse(L""), L"");
    EXPECT_EQ(Reverse(nullptr), L"");
    EXPECT_EQ(network.Count(L"workstationName"), 0U);
}

TEST_F(NetPathUNCTest, AFileOfAMappedDriveGetsTheNameOfTheShare) {
    network.SetWorkgroup(L"Group");
    network.drives = {{L"Y:", L"\\\\server\\media"}, {L"Z:", L"\\\\10.0.0.5\\media"}};
    EXPECT_EQ(Reverse(L"y:\\Day\\a"), L"Group\\\\server\\media\\Day\\a");
    EXPECT_EQ(Reverse(L"Z:\\Day\\a"), L"Group\\\\10.0.0.5\\media\\Day\\a");
    EXPECT_EQ(network.Count(L"firstAddress"), 0U);
}

TEST_F(NetPathUNCTest, AFileOfAMountedShareGetsItsName) {
    network.mounts = {{L"\\\\nas\\export", L"\\mnt\\nas"}};
    EXPECT_EQ(Reverse(L"\\mnt\\nas\\a"), L"\\\\nas\\export\\a");
    EXPECT_EQ(Reverse(L"\\mnt\\nas2\\a"), L"Local\\\\mnt\\nas2\\a");
}

TEST_F(NetPathUNCTest, TheFirstRecordThatFitsIsTakenAndNotTheLongest) {
    network.shares = {{L"\\\\HOST\\all", L"\\\\HOST\\deep"}};
    network.records = {{L"all", FolderRecord(L"D:\\")}, {L"deep", FolderRecord(L"D:\\deep")}};
    EXPECT_EQ(Reverse(L"D:\\deep\\a"), L"\\\\HOST\\all\\deep\\a");
}

TEST_F(NetPathUNCTest, AShareOfTheWholeSystemTakesEveryFile) {
    network.AddShare(L"all", L"\\");
    EXPECT_EQ(Reverse(L"\\srv\\a"), L"\\\\HOST\\all\\srv\\a");
}

TEST_F(NetPathUNCTest, ANameThatHoldsTheWorkGroupIsLowerCasedWithTwoBackslashesBehindIt) {
    network.SetWorkgroup(L"GROUP");
    network.drives = {{L"Z:", L"\\\\Group\\Server\\Media"}};
    EXPECT_EQ(Reverse(L"Z:\\Day\\A.mxf"), L"group\\\\server\\media\\day\\a.mxf");
    EXPECT_EQ(Reverse(L"Z:"), L"group\\\\server\\media");
    // And back, by what stands behind the work group.
    EXPECT_EQ(Lookup(L"group\\\\server\\media\\day\\a.mxf"), L"Z:\\day\\a.mxf");
}

TEST_F(NetPathUNCTest, AComputerWhoseNameBeginsWithTheWorkGroupsCountsAsTheWorkGroup) {
    network.SetWorkgroup(L"WORK");
    network.drives = {{L"Z:", L"\\\\WORK1\\Media"}};
    EXPECT_EQ(Reverse(L"Z:\\A"), L"work1\\\\media\\a");
}

TEST_F(NetPathUNCTest, TheWorkGroupIsLookedForInNameAndRestAlike) {
    network.SetWorkgroup(L"group\\day");
    network.drives = {{L"Z:", L"\\\\Group"}};
    EXPECT_EQ(Reverse(L"Z:\\Day\\A"), L"group\\\\day\\a");
    EXPECT_EQ(Reverse(L"Z:\\Night\\A"), L"group\\day\\\\Group\\Night\\A");
}

TEST_F(NetPathUNCTest, AWorkGroupElsewhereInANameOrWithoutTwoBackslashesDoesNotCount) {
    network.SetWorkgroup(L"group");
    network.drives = {{L"X:", L"\\\\mygroup\\Media"}, {L"Y:", L"x\\group\\Media"}, {L"Z:", L"\\\\group"}};
    EXPECT_EQ(Reverse(L"X:\\A"), L"group\\\\mygroup\\Media\\A");
    EXPECT_EQ(Reverse(L"Y:\\A"), L"groupx\\group\\Media\\A");
    EXPECT_EQ(Reverse(L"Z:"), L"group"); // no backslash is left to be doubled
}

TEST_F(NetPathUNCTest, AFileOfASpecialDriveStaysLocalWhateverTheDriveLeadsTo) {
    network.SetWorkgroup(L"Group");
    network.AddShare(L"clips", L"D:\\clips");
    network.drives = {{L"Z:", L"\\\\server\\media"}};
    network.specialDrives = {{L"d", 4, 1}, {L"z:", 4, 1}};
    EXPECT_EQ(Reverse(L"d:\\clips\\A"), L"Local\\d:\\clips\\A");
    EXPECT_EQ(Reverse(L"Z:\\A"), L"Local\\Z:\\A");
    EXPECT_EQ(network.Count(L"workstationName"), 0U);
    EXPECT_EQ(Reverse(L"Z:"), L"Group\\\\server\\media");      // the drive alone does not begin with its root
    EXPECT_EQ(Lookup(L"\\\\HOST\\clips\\A"), L"D:\\clips\\A"); // the other way they do not count
}

TEST_F(NetPathUNCTest, Local2UNCLeavesNamesOfSharesAsTheyAre) {
    network.AddShare(L"clips", L"D:\\clips");
    for (const wchar_t* const path : {L"\\\\HOST\\clips\\a", L"D:\\clips\\\\a", L"LOCAL\\D:\\clips\\a"}) {
        EXPECT_EQ(Local2UNC(path), path);
    }
    EXPECT_FALSE(Inspector::IsBuilt(exchange));
    EXPECT_EQ(Local2UNC(L"D:\\clips\\a"), L"\\\\HOST\\clips\\a");
    EXPECT_EQ(Local2UNC(L"D:\\other"), L"Local\\D:\\other");
    EXPECT_EQ(Local2UNC(L""), L"");
    EXPECT_EQ(Local2UNC(nullptr), L"");
}

TEST_F(NetPathUNCTest, NothingButTheTableIsLogged) {
    network.AddShare(L"clips", L"D:\\clips");
    Table();
    LogCapture log;
    Local2UNC(L"D:\\clips\\a");
    Local2UNC(L"D:\\other");
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(NetPathUNCTest, PathsOfAnyLengthAreConverted) {
    network.AddShare(L"clips", L"D:\\clips");
    const std::wstring rest(100000, L'p');
    EXPECT_EQ(Local2UNC((L"D:\\clips\\" + rest).c_str()), L"\\\\HOST\\clips\\" + rest);
    EXPECT_EQ(Local2UNC((L"D:\\" + rest).c_str()), L"Local\\D:\\" + rest);
}

TEST_F(NetPathUNCTest, WhereMemoryLacksForTheWorkGroupTheNameStays) {
    network.AddShare(L"clips", L"D:\\clips");
    network.LackMemoryAt(L"resourceParent");
    EXPECT_EQ(Reverse(L"D:\\clips\\a"), L"D:\\clips\\a");
    EXPECT_EQ(Reverse(L"D:\\clips\\a"), L"\\\\HOST\\clips\\a");
}

// ---- begin and end ----------------------------------------------------------------------------------

namespace {

class NetPathSocketsTest : public NetPathFixture {
protected:
    void SetUp() override {
        network.ClearCalls();
        network.drives = {{L"Z:", L"\\\\10.0.0.5\\media"}};
        network.SetHost("server", 0x0A000005);
    }
    // What the object finds for a name that needs a host's address.
    std::wstring Begin() {
        m_other.emplace();
        CVXCString out;
        m_other->ConvertUNC2Local(L"\\\\server\\media\\x", out);
        return out.c_str();
    }
    std::optional<CQLNetPathExchange> m_other;
};

constexpr const wchar_t* kNoSockets = L"Could not find a usable WinSock DLL!\n";

} // namespace

TEST_F(NetPathSocketsTest, SocketsOfVersionTwoTwoAreStartedAndEnded) {
    LogCapture log;
    EXPECT_EQ(Begin(), L"Z:\\x");
    EXPECT_THAT(network.Calls(L"startup"), ElementsAre(L"startup 202"));
    EXPECT_EQ(network.Count(L"cleanup"), 0U);
    EXPECT_FALSE(log.Contains(L"WinSock"));
    m_other.reset();
    EXPECT_EQ(network.Count(L"cleanup"), 1U);
}

TEST_F(NetPathSocketsTest, WhereTheyDoNotStartNoHostIsAskedForAndAllElseWorks) {
    network.startupResult = 10091;
    LogCapture log;
    EXPECT_EQ(Begin(), L"\\\\server\\media\\x");
    EXPECT_EQ(network.Count(L"firstAddress"), 0U);
    EXPECT_EQ(network.Count(L"cleanup"), 0U);
    EXPECT_EQ(log.Count(kNoSockets), 1U);
    EXPECT_EQ(log.Lines().at(0).text, kNoSockets);
    EXPECT_EQ(log.Lines().at(0).level, INFOTYPE_TRACE);
    EXPECT_EQ(log.Lines().at(0).module, L"VXCSoftCodecIO");
    CVXCString out;
    m_other->ConvertUNC2Local(L"\\\\10.0.0.5\\media\\x", out);
    EXPECT_STREQ(out, L"Z:\\x");
    m_other.reset();
    EXPECT_EQ(network.Count(L"cleanup"), 1U);
}

TEST_F(NetPathSocketsTest, SocketsOfAnotherVersionAreEndedAtOnce) {
    for (const int version : {0x0002, 0x0101, 0x0102, 0x0201, 0x0000}) {
        network.startupVersion = static_cast<uint16>(version);
        network.ClearCalls();
        LogCapture log;
        EXPECT_EQ(Begin(), L"\\\\server\\media\\x") << version;
        EXPECT_EQ(network.Count(L"cleanup"), 1U) << version;
        EXPECT_EQ(log.Count(kNoSockets), 1U) << version;
        m_other.reset();
        EXPECT_EQ(network.Count(L"cleanup"), 2U) << version;
    }
}

TEST_F(NetPathSocketsTest, AVersionOfAStartThatFailedDoesNotCount) {
    network.startupResult = 10092;
    network.startupVersion = 0x0101;
    LogCapture log;
    Begin();
    EXPECT_EQ(network.Count(L"cleanup"), 0U);
    EXPECT_EQ(log.Count(kNoSockets), 1U);
}
