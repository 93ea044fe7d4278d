// From names of shares to names of this machine.
#include "paths/NetPathFixture.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>

#include <string>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Strings = std::vector<std::wstring>;

namespace {

constexpr uint32 kServerAddress = 0x0A000005; // 10.0.0.5

class NetPathLocalTest : public NetPathFixture {
protected:
    Strings Lookups() const { return network.Calls(L"firstAddress"); }
};

} // namespace

TEST_F(NetPathLocalTest, AShareBecomesItsFolder) {
    network.shares = {{L"\\\\host\\share"}};
    network.records = {{L"share", FolderRecord(L"E:\\data")}};
    EXPECT_EQ(Lookup(L"\\\\HOST\\SHARE\\a\\\\b"), L"E:\\data\\a\\b");
    EXPECT_EQ(Lookup(L"\\\\host\\share"), L"E:\\data");
    EXPECT_EQ(Lookup(L"\\\\host\\share\\"), L"E:\\data");
    EXPECT_EQ(Lookup(L"\\\\host\\share\\Clip.MXF"), L"E:\\data\\Clip.MXF");
}

TEST_F(NetPathLocalTest, WhatNoRecordFitsComesBackAsGiven) {
    network.shares = {{L"\\\\host\\share"}};
    network.records = {{L"share", FolderRecord(L"E:\\data")}};
    for (const wchar_t* const path : {L"\\\\host\\share2\\a", L"\\\\host2\\share\\a",
                                      L"\\\\other\\\\share\\a", L"abc\\\\host\\other\\a", L"D:\\a\\\\b\\c"}) {
        EXPECT_EQ(Lookup(path), path);
    }
}

TEST_F(NetPathLocalTest, WhatStandsBeforeTheFirstBackslashIsLost) {
    network.shares = {{L"\\\\host\\share"}};
    network.records = {{L"share", FolderRecord(L"E:\\data")}};
    EXPECT_EQ(Lookup(L"abc\\\\host\\share\\f"), L"E:\\data\\f");
    EXPECT_EQ(Lookup(L"WORKGROUP\\\\host\\share\\f"), L"E:\\data\\f");
    EXPECT_EQ(Lookup(L"Local2\\\\host\\share\\f"), L"E:\\data\\f");
}

TEST_F(NetPathLocalTest, TheMarkOfALocalNameIsTakenAway) {
    network.shares = {{L"\\\\host\\share"}};
    network.records = {{L"share", FolderRecord(L"E:\\data")}};
    EXPECT_EQ(Lookup(L"LOCAL\\D:\\x"), L"D:\\x");
    EXPECT_EQ(Lookup(L"local\\\\\\host\\share\\x"), L"\\\\host\\share\\x"); // and not looked for
    EXPECT_EQ(Lookup(L"Local\\"), L"");
    EXPECT_EQ(Lookup(L"Local"), L"Local");
    EXPECT_THAT(Lookups(), IsEmpty());
    EXPECT_EQ(network.Count(L"workstationName"), 0U);
}

TEST_F(NetPathLocalTest, ANameWithoutABackslashOrWithoutAShareComesBackAsGiven) {
    // A root without parts, which fits every name that gets so far.
    network.shares = {{L"\\\\"}};
    network.records = {{L"", FolderRecord(L"E:\\data")}};
    for (const wchar_t* const path :
         {L"", L"clip.mxf", L"\\\\host", L"abc\\\\host", L"\\host", L"\\", L"abc\\", L"\\a"}) {
        EXPECT_EQ(Lookup(path), path);
    }
    EXPECT_EQ(network.Count(L"workstationName"), 0U);
    EXPECT_EQ(Lookup(L"\\\\host\\"), L"E:\\data\\host");
    EXPECT_EQ(Lookup(L"\\\\\\"), L"E:\\data");
    EXPECT_EQ(Lookup(L"\\a\\b"), L"E:\\data\\a\\b");
    EXPECT_EQ(Lookup(nullptr), L"");
}

TEST_F(NetPathLocalTest, TheFirstRecordThatFitsIsTakenAndNotTheLongest) {
    network.shares = {
        {L"\\\\host\\share"}, {L"\\\\host\\share\\deep"}, {L"\\\\host\\other\\deep"}, {L"\\\\host\\other"}};
    network.records = {{L"share", FolderRecord(L"E:\\short")}, {L"other", FolderRecord(L"E:\\other")}};
    network.records[L"deep"] = FolderRecord(L"E:\\deep");
    EXPECT_EQ(Lookup(L"\\\\host\\share\\deep\\a"), L"E:\\short\\deep\\a");
    EXPECT_EQ(Lookup(L"\\\\host\\other\\deep\\a"), L"E:\\deep\\a");
    EXPECT_EQ(Lookup(L"\\\\host\\other\\a"), L"E:\\other\\a");
}

TEST_F(NetPathLocalTest, SharesComeBeforeDrivesAndThoseBeforeMounts) {
    network.shares = {{L"\\\\HOST\\a"}};
    network.records = {{L"a", FolderRecord(L"E:\\a")}};
    network.drives = {{L"D:", L"\\\\HOST\\a"}, {L"Y:", L"\\\\srv\\b"}, {L"Z:", L"\\\\srv\\b"}};
    network.mounts = {{L"\\\\srv\\b", L"\\mnt\\b"}, {L"\\\\srv\\c", L"\\mnt\\c"}};
    EXPECT_EQ(Lookup(L"\\\\host\\a\\x"), L"E:\\a\\x");
    EXPECT_EQ(Lookup(L"\\\\srv\\b\\x"), L"Y:\\x");
    EXPECT_EQ(Lookup(L"\\\\srv\\c\\x"), L"\\mnt\\c\\x");
}

TEST_F(NetPathLocalTest, AShareThatIsTheRootOfThisSystemGivesPlainRests) {
    network.AddShare(L"all", L"\\");
    EXPECT_EQ(Lookup(L"\\\\host\\all\\srv\\a"), L"\\srv\\a");
    EXPECT_EQ(Lookup(L"\\\\host\\all"), L"");
}

TEST_F(NetPathLocalTest, ADriveToAnAddressIsFoundByTheAddressAtOnce) {
    network.drives = {{L"Z:", L"\\\\10.0.0.5\\media"}};
    EXPECT_EQ(Lookup(L"\\\\10.0.0.5\\media\\x"), L"Z:\\x");
    EXPECT_EQ(Lookup(L"\\\\10.0.0.6\\media\\x"), L"\\\\10.0.0.6\\media\\x");
    EXPECT_THAT(Lookups(), IsEmpty());
    EXPECT_EQ(network.Count(L"workstationName"), 0U);
}

TEST_F(NetPathLocalTest, ADriveToAnAddressIsFoundByAHostThatHasIt) {
    network.drives = {{L"Z:", L"\\\\10.0.0.5\\media"}};
    EXPECT_EQ(Lookup(L"\\\\server\\media\\x"), L"\\\\server\\media\\x");
    network.SetHost("server", 0x0A000006);
    EXPECT_EQ(Lookup(L"\\\\server\\media\\x"), L"\\\\server\\media\\x");
    network.SetHost("server", kServerAddress);
    EXPECT_EQ(Lookup(L"\\\\server\\media\\x"), L"Z:\\x");
    EXPECT_EQ(Lookup(L"\\\\server\\medium\\x"), L"\\\\server\\medium\\x");
}

TEST_F(NetPathLocalTest, TheHostOfANameIsAskedForOnceInAConversion) {
    network.drives = {{L"D:", L"\\\\10.0.0.5\\a"}, {L"E:", L"\\\\10.0.0.5\\b"}, {L"F:", L"\\\\10.0.0.5\\c"}};
    network.SetHost("server", kServerAddress);
    EXPECT_EQ(Lookup(L"\\\\server\\c\\x"), L"F:\\x");
    EXPECT_THAT(Lookups(), ElementsAre(L"firstAddress server"));
    network.ClearCalls();
    EXPECT_EQ(Lookup(L"\\\\nobody\\c\\x"), L"\\\\nobody\\c\\x"); // also where it has none
    EXPECT_THAT(Lookups(), ElementsAre(L"firstAddress nobody"));
    network.ClearCalls();
    EXPECT_EQ(Lookup(L"\\\\server\\c\\x"), L"F:\\x"); // by each conversion anew
    EXPECT_THAT(Lookups(), ElementsAre(L"firstAddress server"));
}

TEST_F(NetPathLocalTest, AHostIsNotAskedForWhereNoRecordNeedsIt) {
    network.drives = {{L"D:", L"\\\\server\\a"}, {L"E:", L"\\\\10.0.0.5\\b"}};
    EXPECT_EQ(Lookup(L"\\\\server\\a\\x"), L"D:\\x");
    EXPECT_THAT(Lookups(), IsEmpty());
}

TEST_F(NetPathLocalTest, ANameWithAnAddressAsksForTheHostsOfTheRecordsAndKeepsTheAnswers) {
    network.AddShare(L"clips", L"D:\\clips");
    network.drives = {{L"Y:", L"\\\\server\\media"}, {L"Z:", L"\\\\other\\media"}};
    network.SetHost("HOST", 0x0A000001);
    network.SetHost("server", kServerAddress);
    EXPECT_EQ(Lookup(L"\\\\10.0.0.5\\media\\x"), L"Y:\\x");
    EXPECT_THAT(Lookups(), ElementsAre(L"firstAddress HOST", L"firstAddress server"));
    EXPECT_EQ(Inspector::Table(exchange)[0].strIPUNC, L"\\\\10.0.0.1\\clips");
    EXPECT_EQ(Inspector::Table(exchange)[1].strIPUNC, L"\\\\10.0.0.5\\media");
    EXPECT_EQ(Inspector::Table(exchange)[2].strIPUNC, L""); // nobody came so far
    network.ClearCalls();
    network.SetHost("server", 0x0A000009);
    EXPECT_EQ(Lookup(L"\\\\10.0.0.5\\media\\x"), L"Y:\\x");
    EXPECT_EQ(Lookup(L"\\\\10.0.0.1\\clips\\x"), L"D:\\clips\\x");
    EXPECT_THAT(Lookups(), IsEmpty());
    EXPECT_EQ(network.Count(L"workstationName"), 0U);
}

TEST_F(NetPathLocalTest, AHostWithoutAnAddressIsNotAskedForAgain) {
    network.drives = {{L"Z:", L"\\\\server\\media"}};
    EXPECT_EQ(Lookup(L"\\\\10.0.0.5\\media\\x"), L"\\\\10.0.0.5\\media\\x");
    EXPECT_EQ(Inspector::Table(exchange)[0].strIPUNC, L"\\\\\\media"); // the share alone is left
    network.SetHost("server", kServerAddress);
    EXPECT_EQ(Lookup(L"\\\\10.0.0.5\\media\\x"), L"\\\\10.0.0.5\\media\\x");
    EXPECT_THAT(Lookups(), ElementsAre(L"firstAddress server"));
    EXPECT_EQ(Lookup(L"\\\\server\\media\\x"), L"Z:\\x"); // by its name as ever
}

TEST_F(NetPathLocalTest, AHostWithoutAnAddressAndWithoutAShareFitsEveryAddress) {
    network.drives = {{L"Z:", L"\\\\server"}};
    EXPECT_EQ(Lookup(L"\\\\10.0.0.5\\media\\x"), L"Z:\\10.0.0.5\\media\\x");
    EXPECT_EQ(Inspector::Table(exchange)[0].strIPUNC, L"\\\\");
    EXPECT_EQ(Lookup(L"\\\\10.0.0.6\\media"), L"Z:\\10.0.0.6\\media");
    EXPECT_THAT(Lookups(), ElementsAre(L"firstAddress server"));
}

TEST_F(NetPathLocalTest, AHostWithoutAShareFitsAllOfItsShares) {
    network.drives = {{L"Z:", L"\\\\server"}};
    network.SetHost("server", kServerAddress);
    EXPECT_EQ(Lookup(L"\\\\10.0.0.5\\media\\x"), L"Z:\\media\\x");
    EXPECT_EQ(Lookup(L"\\\\10.0.0.6\\media\\x"), L"\\\\10.0.0.6\\media\\x");
    EXPECT_EQ(Lookup(L"\\\\server\\media\\x"), L"Z:\\media\\x");
}

TEST_F(NetPathLocalTest, AddressesOfAllBytesAreWritten) {
    network.drives = {{L"Z:", L"\\\\server\\media"}};
    for (const auto& [address, text] :
         {std::pair{0xFFFFFFFFU, L"255.255.255.255"}, std::pair{0x00000000U, L"0.0.0.0"},
          std::pair{0x01020304U, L"1.2.3.4"}, std::pair{0xC0A86400U, L"192.168.100.0"}}) {
        Inspector::Forget(exchange);
        network.SetHost("server", address);
        const std::wstring name = std::wstring(L"\\\\") + text + L"\\media\\x";
        EXPECT_EQ(Lookup(name.c_str()), L"Z:\\x") << text;
    }
}

TEST_F(NetPathLocalTest, AddressesAreComparedAsTexts) {
    network.drives = {{L"Z:", L"\\\\10.0.0.5\\media"}};
    EXPECT_EQ(Lookup(L"\\\\10.0.0.005\\media\\x"), L"\\\\10.0.0.005\\media\\x");
}

TEST_F(NetPathLocalTest, HostsAreAskedForInUtf8) {
    network.drives = {{L"Z:", L"\\\\10.0.0.5\\media"}};
    network.SetHost("s\xC3\xA9rveur", kServerAddress);
    EXPECT_EQ(Lookup(L"\\\\s\u00E9rveur\\media\\x"), L"Z:\\x");
}

TEST_F(NetPathLocalTest, WhereMemoryLacksInALookupTheNameStaysAndNothingIsKept) {
    network.drives = {{L"Z:", L"\\\\server\\media"}};
    network.SetHost("server", kServerAddress);
    network.LackMemoryAt(L"firstAddress");
    EXPECT_EQ(Lookup(L"\\\\10.0.0.5\\media\\x"), L"\\\\10.0.0.5\\media\\x");
    EXPECT_EQ(Inspector::Table(exchange)[0].strIPUNC, L"");
    EXPECT_EQ(Lookup(L"\\\\10.0.0.5\\media\\x"), L"Z:\\x");
}

TEST_F(NetPathLocalTest, TheWorkGroupInARootIsLeftOut) {
    network.SetWorkgroup(L"Group");
    network.drives = {{L"Z:", L"\\\\GROUP\\Server\\Media"}};
    EXPECT_EQ(Lookup(L"\\\\server\\media\\X"), L"Z:\\X");
    EXPECT_EQ(Lookup(L"\\\\SERVER\\MEDIA\\X"), L"Z:\\X");
    EXPECT_EQ(Lookup(L"\\\\group\\server\\media\\X"), L"\\\\group\\server\\media\\X");
    EXPECT_EQ(Inspector::Table(exchange)[0].strNameUNC, L"\\\\GROUP\\Server\\Media"); // as it was
    EXPECT_EQ(Inspector::Workgroup(exchange), L"Group");
}

TEST_F(NetPathLocalTest, AHostWhoseNameBeginsWithTheWorkGroupsCountsAsTheWorkGroup) {
    network.SetWorkgroup(L"WORK");
    network.drives = {{L"Y:", L"\\\\WORKSTATION\\server\\media"}, {L"Z:", L"\\\\WORK1\\media"}};
    EXPECT_EQ(Lookup(L"\\\\server\\media\\x"), L"Y:\\x");
    EXPECT_EQ(Lookup(L"\\\\WORK1\\media\\x"), L"\\\\WORK1\\media\\x");
    EXPECT_EQ(Lookup(L"\\\\media\\x"), L"Z:\\x");
}

TEST_F(NetPathLocalTest, AWorkGroupElsewhereInARootDoesNotCount) {
    network.SetWorkgroup(L"group");
    network.drives = {
        {L"X:", L"\\\\mygroup\\media"}, {L"Y:", L"\\\\server\\group"}, {L"Z:", L"group\\media"}};
    EXPECT_EQ(Lookup(L"\\\\mygroup\\media\\x"), L"X:\\x");
    EXPECT_EQ(Lookup(L"\\\\server\\group\\x"), L"Y:\\x");
    EXPECT_EQ(Lookup(L"\\\\group\\media\\x"), L"Z:\\x");
}

TEST_F(NetPathLocalTest, ARootThatIsTheWorkGroupAloneStays) {
    network.SetWorkgroup(L"group");
    network.drives = {{L"Z:", L"\\\\group"}};
    EXPECT_EQ(Lookup(L"\\\\group\\media\\x"), L"Z:\\media\\x");
}

TEST_F(NetPathLocalTest, NamesWithAddressesKnowNoWorkGroup) {
    network.SetWorkgroup(L"group");
    network.drives = {{L"Z:", L"\\\\group\\server\\media"}};
    network.SetHost("group", kServerAddress);
    EXPECT_EQ(Lookup(L"\\\\10.0.0.5\\server\\media\\x"), L"Z:\\x");
    EXPECT_EQ(network.Count(L"resourceParent"), 0U);
}

TEST_F(NetPathLocalTest, TheWorkGroupIsAskedForStepByStepAndOnceWhenKnown) {
    network.SetWorkgroup(L"group");
    network.workstation = L"STATION";
    network.drives = {{L"Y:", L"\\\\a\\media"}, {L"Z:", L"\\\\b\\media"}};
    Table();
    network.ClearCalls();
    EXPECT_EQ(Lookup(L"\\\\b\\media\\x"), L"Z:\\x");
    EXPECT_THAT(network.Calls(), ElementsAre(L"workstationName", L"openProviders", L"providerName",
                                             L"resourceParent \\\\STATION Provider", L"closeProviders"));
    network.ClearCalls();
    network.SetWorkgroup(L"b");
    EXPECT_EQ(Lookup(L"\\\\b\\media\\x"), L"Z:\\x");
    Reverse(L"Z:\\x");
    EXPECT_THAT(network.Calls(), IsEmpty());
}

TEST_F(NetPathLocalTest, TheWorkGroupIsAskedForAgainWhileItIsEmpty) {
    network.drives = {{L"Y:", L"\\\\a\\media"}, {L"Z:", L"\\\\group\\b\\media"}};
    EXPECT_EQ(Lookup(L"\\\\b\\media\\x"), L"\\\\b\\media\\x");
    EXPECT_EQ(network.Count(L"resourceParent"), 2U); // for each record by name
    EXPECT_EQ(Lookup(L"\\\\b\\media\\x"), L"\\\\b\\media\\x");
    EXPECT_EQ(network.Count(L"resourceParent"), 4U);
    network.SetWorkgroup(L"group");
    EXPECT_EQ(Lookup(L"\\\\b\\media\\x"), L"Z:\\x");
    EXPECT_EQ(network.Count(L"resourceParent"), 5U);
}

TEST_F(NetPathLocalTest, WithoutProvidersThereIsNoWorkGroup) {
    network.SetWorkgroup(L"group");
    network.hasProviders = false;
    network.drives = {{L"Z:", L"\\\\group\\b\\media"}};
    EXPECT_EQ(Lookup(L"\\\\b\\media\\x"), L"\\\\b\\media\\x");
    EXPECT_EQ(network.Count(L"openProviders"), 1U);
    EXPECT_EQ(network.Count(L"providerName"), 0U);
    EXPECT_EQ(network.Count(L"resourceParent"), 0U);
    EXPECT_EQ(network.Count(L"closeProviders"), 0U);
    network.hasProviders = true;
    EXPECT_EQ(Lookup(L"\\\\b\\media\\x"), L"Z:\\x");
}

TEST_F(NetPathLocalTest, AProviderWithoutANameIsTheUsualOne) {
    network.SetWorkgroup(L"group");
    network.provider.clear();
    network.workstation.clear();
    network.drives = {{L"Z:", L"\\\\b\\media"}};
    EXPECT_EQ(Lookup(L"\\\\b\\media\\x"), L"Z:\\x");
    EXPECT_THAT(network.Calls(L"resourceParent"),
                ElementsAre(L"resourceParent \\\\ Microsoft Windows \u7F51\u7EDC"));
}

TEST_F(NetPathLocalTest, WhereMemoryLacksForTheWorkGroupTheNameStaysAndTheProvidersAreClosed) {
    network.drives = {{L"Z:", L"\\\\b\\media"}};
    for (const wchar_t* const call :
         {L"workstationName", L"openProviders", L"providerName", L"resourceParent"}) {
        network.LackMemoryAt(call);
        EXPECT_EQ(Lookup(L"\\\\b\\media\\x"), L"\\\\b\\media\\x") << call;
        EXPECT_EQ(network.StillOpen(), 0) << call;
    }
    EXPECT_EQ(Lookup(L"\\\\b\\media\\x"), L"Z:\\x");
}

// ---- the whole conversion ---------------------------------------------------------------------------

TEST_F(NetPathLocalTest, OnlyNamesOfSharesGetToTheLookup) {
    network.AddShare(L"clips", L"D:\\clips");
    EXPECT_EQ(UNC2Local(L"abc\\HOST\\clips\\a"), L"abc\\HOST\\clips\\a");
    EXPECT_EQ(UNC2Local(L""), L"");
    EXPECT_EQ(UNC2Local(nullptr), L"");
    EXPECT_EQ(UNC2Local(L"D:\\clips\\a"), L"D:\\clips\\a");
    EXPECT_FALSE(Inspector::IsBuilt(exchange));
    EXPECT_EQ(UNC2Local(L"\\\\HOST\\clips\\a"), L"D:\\clips\\a");
    EXPECT_EQ(UNC2Local(L"LOCAL\\D:\\x"), L"D:\\x");
    EXPECT_EQ(UNC2Local(L"C:\\\\HOST\\clips\\a"), L"D:\\clips\\a"); // two backslashes anywhere
}

TEST_F(NetPathLocalTest, AConversionIsLogged) {
    network.AddShare(L"clips", L"D:\\clips");
    Table();
    LogCapture log;
    UNC2Local(L"\\\\HOST\\clips\\a");
    ASSERT_EQ(log.Lines().size(), 1U);
    EXPECT_EQ(log.Lines()[0].level, static_cast<INFOTYPE>(4));
    EXPECT_EQ(log.Lines()[0].module, L"VXCSoftCodecIO");
    EXPECT_EQ(log.Lines()[0].text, L"U2L:(UNCPath:\\\\HOST\\clips\\a,LocalPath:D:\\clips\\a");
    log.Clear();
    UNC2Local(L"LOCAL\\D:\\x");
    EXPECT_THAT(log.Texts(), ElementsAre(L"U2L:(UNCPath:LOCAL\\D:\\x,LocalPath:D:\\x"));
}

TEST_F(NetPathLocalTest, WhatDiffersByCaseAloneOrNotAtAllIsNotLogged) {
    network.shares = {{L"\\\\HOST\\clips"}};
    network.records = {{L"clips", FolderRecord(L"\\\\host\\CLIPS")}};
    Table();
    LogCapture log;
    EXPECT_EQ(UNC2Local(L"\\\\HOST\\clips\\a"), L"\\\\host\\CLIPS\\a");
    EXPECT_EQ(UNC2Local(L"\\\\HOST\\other\\a"), L"\\\\HOST\\other\\a");
    Lookup(L"LOCAL\\D:\\x"); // the lookup alone says nothing
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(NetPathLocalTest, AQuestionMarkIsNoAnswer) {
    LogCapture log;
    EXPECT_EQ(UNC2Local(L"LOCAL\\?"), L"LOCAL\\?");
    EXPECT_EQ(UNC2Local(L"?"), L"?");
    EXPECT_FALSE(log.Contains(L"U2L"));
    EXPECT_EQ(UNC2Local(L"LOCAL\\??"), L"??");
    EXPECT_TRUE(log.Contains(L"U2L"));
}

TEST_F(NetPathLocalTest, AfterAQuestionMarkTheNameIsLookedForFromItsTwoBackslashesOn) {
    network.shares = {{L"\\\\a\\b"}, {L"\\\\b\\c"}};
    network.records = {{L"b", FolderRecord(L"?")}, {L"c", FolderRecord(L"E:\\data")}};
    EXPECT_EQ(Lookup(L"\\\\a\\b"), L"?");
    EXPECT_EQ(UNC2Local(L"\\\\a\\b"), L"\\\\a\\b");        // twice the same
    EXPECT_EQ(UNC2Local(L"x\\a\\\\b"), L"\\\\b");          // no share behind the two
    EXPECT_EQ(UNC2Local(L"\\\\a\\b\\x"), L"?\\x");         // an answer
    EXPECT_EQ(UNC2Local(L"x\\\\b\\c\\y"), L"E:\\data\\y"); // was found at once
}

TEST_F(NetPathLocalTest, PathsOfAnyLengthAreConverted) {
    network.AddShare(L"clips", L"D:\\clips");
    const std::wstring rest(100000, L'p');
    EXPECT_EQ(UNC2Local((L"\\\\HOST\\clips\\" + rest).c_str()), L"D:\\clips\\" + rest);
    EXPECT_EQ(UNC2Local((L"\\\\" + rest + L"\\clips").c_str()), L"\\\\" + rest + L"\\clips");
}
