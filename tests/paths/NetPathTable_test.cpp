// How the table of shares and drives is built.
#include "frame/Log.h"
#include "paths/NetPathFixture.h"
#include "paths/NetPaths.h"
#include "platform/NetworkNames.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

using namespace vxcio;
using namespace vxcio::test;
using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Record = NetPathRecord;
using Strings = std::vector<std::wstring>;

namespace {

class NetPathTableTest : public NetPathFixture {
protected:
    // The table of a machine with one share, whose record is this.
    std::vector<Record> TableOf(std::vector<uint8> record) {
        network.shares = {{L"\\\\HOST\\clips"}};
        network.records = {{L"clips", std::move(record)}};
        Inspector::Forget(exchange);
        return Table();
    }
    // The folder of that share; "no" where it is not in the table.
    std::wstring FolderOf(std::vector<uint8> record) {
        const std::vector<Record> table = TableOf(std::move(record));
        return table.empty() ? L"no" : table.at(0).strLocal;
    }
    std::wstring FolderOf(const std::wstring& record) { return FolderOf(RecordBytes(record)); }
};

std::wstring NoConnection(const wchar_t* drive) {
    return L"Local disk ["s + drive + L"] WNetGetConnection Failure!";
}

} // namespace

TEST_F(NetPathTableTest, NothingIsAskedBeforeTheFirstConversion) {
    EXPECT_THAT(network.Calls(), ElementsAre(L"startup 202"));
    EXPECT_FALSE(Inspector::IsBuilt(exchange));
}

TEST_F(NetPathTableTest, SharesThenDrivesThenMountsThenSpecialDrivesAreAskedFor) {
    network.AddShare(L"clips", L"D:\\clips");
    network.drives = {{L"Y:", L"\\\\server\\media"}};
    network.mounts = {{L"\\\\nas\\export", L"\\mnt\\nas"}};
    network.specialDrives = {{L"d", 4, 1}};
    network.ClearCalls();
    EXPECT_THAT(Table(), ElementsAre(Record{L"\\\\HOST\\clips", L"", L"D:\\clips"},
                                     Record{L"\\\\server\\media", L"", L"Y:"},
                                     Record{L"\\\\nas\\export", L"", L"\\mnt\\nas"}));
    EXPECT_TRUE(Inspector::IsBuilt(exchange));
    EXPECT_THAT(SpecialDrives(), ElementsAre(L"D:\\"));
    Strings expected = {L"computerName", L"openShares \\\\HOST", L"nextShares",        L"nextShares",
                        L"closeShares",  L"openShareRecords",    L"shareRecord clips", L"closeShareRecords"};
    for (wchar_t letter = L'C'; letter <= L'Z'; ++letter) {
        expected.push_back(L"driveConnection "s + letter + L":");
    }
    expected.insert(expected.end(), {L"mountedShares", L"openSpecialDrives", L"specialDrive 0",
                                     L"specialDrive 1", L"closeSpecialDrives"});
    EXPECT_EQ(network.Calls(), expected);
}

TEST_F(NetPathTableTest, ItIsBuiltOnceForBothDirections) {
    network.AddShare(L"clips", L"D:\\clips");
    EXPECT_EQ(Lookup(L"\\\\HOST\\clips\\a"), L"D:\\clips\\a");
    network.ClearCalls();
    network.AddShare(L"later", L"D:\\later");
    network.drives = {{L"Y:", L"\\\\server\\media"}};
    EXPECT_EQ(Lookup(L"\\\\HOST\\later\\a"), L"\\\\HOST\\later\\a");
    EXPECT_EQ(Reverse(L"D:\\clips\\a"), L"\\\\HOST\\clips\\a");
    for (const wchar_t* const call : {L"computerName", L"openShares", L"openShareRecords", L"driveConnection",
                                      L"mountedShares", L"openSpecialDrives"}) {
        EXPECT_EQ(network.Count(call), 0U) << call;
    }
}

TEST_F(NetPathTableTest, TheReverseDirectionBuildsItToo) {
    network.AddShare(L"clips", L"D:\\clips");
    EXPECT_EQ(Reverse(L""), L"");
    EXPECT_TRUE(Inspector::IsBuilt(exchange));
    network.ClearCalls();
    EXPECT_EQ(Lookup(L"\\\\HOST\\clips\\a"), L"D:\\clips\\a");
    EXPECT_EQ(network.Count(L"openShares"), 0U);
}

TEST_F(NetPathTableTest, AnEmptyMachineHasAnEmptyTable) {
    network.hasShares = false;
    EXPECT_THAT(Table(), IsEmpty());
    EXPECT_TRUE(Inspector::IsBuilt(exchange));
    EXPECT_EQ(network.Count(L"nextShares"), 0U);
    EXPECT_EQ(network.Count(L"closeShares"), 0U);
    EXPECT_EQ(network.Count(L"openShareRecords"), 0U);
    EXPECT_EQ(network.Count(L"driveConnection"), 24U);
    network.ClearCalls();
    EXPECT_THAT(Table(), IsEmpty());
    EXPECT_THAT(network.Calls(), IsEmpty());
}

TEST_F(NetPathTableTest, AMachineWithoutANameIsAskedForAsItIs) {
    network.computer.clear();
    Table();
    EXPECT_THAT(network.Calls(L"openShares"), ElementsAre(L"openShares \\\\"));
}

TEST_F(NetPathTableTest, NamesAreTakenFromAllCallsUpToTheFirstThatFails) {
    network.shares = {{L"\\\\HOST\\a", L"\\\\HOST\\b"}, {}, {L"\\\\HOST\\c"}};
    for (const wchar_t* const name : {L"a", L"b", L"c"}) {
        network.records[name] = FolderRecord(L"D:\\"s + name);
    }
    for (const int end : {259, 234, 1222}) {
        network.endOfShares = end;
        Inspector::Forget(exchange);
        network.ClearCalls();
        EXPECT_THAT(Table(),
                    ElementsAre(Record{L"\\\\HOST\\a", L"", L"D:\\a"}, Record{L"\\\\HOST\\b", L"", L"D:\\b"},
                                Record{L"\\\\HOST\\c", L"", L"D:\\c"}));
        EXPECT_EQ(network.Count(L"nextShares"), 4U);
        EXPECT_EQ(network.Count(L"closeShares"), 1U);
    }
}

TEST_F(NetPathTableTest, NamesThatCameWithAFailureDoNotCount) {
    network.shares = {{L"\\\\HOST\\a"}, {L"\\\\HOST\\b"}};
    network.lastGivingCall = 1222;
    network.records = {{L"a", FolderRecord(L"D:\\a")}, {L"b", FolderRecord(L"D:\\b")}};
    EXPECT_THAT(Table(), ElementsAre(Record{L"\\\\HOST\\a", L"", L"D:\\a"}));
    EXPECT_EQ(network.Count(L"nextShares"), 2U);
}

TEST_F(NetPathTableTest, WithoutNamesNoRecordsAreOpened) {
    network.shares = {{}, {}};
    EXPECT_THAT(Table(), IsEmpty());
    EXPECT_EQ(network.Count(L"nextShares"), 3U);
    EXPECT_EQ(network.Count(L"openShareRecords"), 0U);
}

TEST_F(NetPathTableTest, WithoutRecordsThereAreNoSharesButDrives) {
    network.AddShare(L"clips", L"D:\\clips");
    network.hasRecords = false;
    network.drives = {{L"Y:", L"\\\\server\\media"}};
    EXPECT_THAT(Table(), ElementsAre(Record{L"\\\\server\\media", L"", L"Y:"}));
    EXPECT_EQ(network.Count(L"openShareRecords"), 1U);
    EXPECT_EQ(network.Count(L"shareRecord "), 0U);
    EXPECT_EQ(network.Count(L"closeShareRecords"), 0U);
}

TEST_F(NetPathTableTest, AShareWithoutARecordIsLeftOut) {
    network.shares = {{L"\\\\HOST\\IPC$", L"\\\\HOST\\clips"}};
    network.records = {{L"clips", FolderRecord(L"D:\\clips")}};
    EXPECT_THAT(Table(), ElementsAre(Record{L"\\\\HOST\\clips", L"", L"D:\\clips"}));
    EXPECT_THAT(network.Calls(L"shareRecord "), ElementsAre(L"shareRecord IPC$", L"shareRecord clips"));
}

TEST_F(NetPathTableTest, TheNameOfAShareIsWhatFollowsTheLastBackslash) {
    network.shares = {{L"\\\\HOST\\deep\\er", L"plain", L"\\\\HOST\\"}};
    network.records = {{L"er", FolderRecord(L"D:\\er")}, {L"plain", FolderRecord(L"D:\\plain")}};
    EXPECT_THAT(Table(), ElementsAre(Record{L"\\\\HOST\\deep\\er", L"", L"D:\\er"},
                                     Record{L"plain", L"", L"D:\\plain"}));
    EXPECT_THAT(network.Calls(L"shareRecord "),
                ElementsAre(L"shareRecord er", L"shareRecord plain", L"shareRecord "));
}

TEST_F(NetPathTableTest, TheFolderStandsBehindPathWhereverThatStands) {
    EXPECT_EQ(FolderOf(L"Path=E:\\data\0MaxUses=1\0\0"s), L"E:\\data");
    EXPECT_EQ(FolderOf(L"MaxUses=1\0Path=E:\\data\0\0"s), L"E:\\data");
    EXPECT_EQ(FolderOf(L"MaxUses=1\0Path=E:\\data"s), L"E:\\data");       // no end at all
    EXPECT_EQ(FolderOf(L"Path=E:\\data;rest\0\0"s), L"E:\\data");         // ends as a text does
    EXPECT_EQ(FolderOf(L"Path=E:\\a\0Path=E:\\b\0\0"s), L"E:\\a");        // the first of two
    EXPECT_EQ(FolderOf(L"Remark=Path=F:\\x\0Path=E:\\b\0\0"s), L"F:\\x"); // as it stands first
    EXPECT_EQ(FolderOf(L"MyPath=F:\\x\0\0"s), L"F:\\x");
    EXPECT_EQ(FolderOf(L"Path=E:\\my data\\\u00E4\0\0"s), L"E:\\my data\\\u00E4");
    EXPECT_EQ(FolderOf(L"Path=Path=E:\\x\0\0"s), L"Path=E:\\x");
}

TEST_F(NetPathTableTest, AShareWhoseRecordTellsNoFolderIsLeftOut) {
    EXPECT_EQ(FolderOf(L"MaxUses=1\0Type=3\0\0"s), L"no");
    EXPECT_EQ(FolderOf(L"path=E:\\data\0\0"s), L"no"); // case counts here
    EXPECT_EQ(FolderOf(L"Path\0=E:\\data\0\0"s), L"no");
    EXPECT_EQ(FolderOf(L""s), L"no");
    EXPECT_EQ(FolderOf(L"\0\0\0"s), L"no");
}

TEST_F(NetPathTableTest, AnEmptyFolderIsOne) {
    EXPECT_EQ(FolderOf(L"Path=\0\0"s), L"");
    EXPECT_EQ(FolderOf(L"Path=\\\0\0"s), L""); // the root of this system
    EXPECT_EQ(FolderOf(L"Path="s), L"");
}

TEST_F(NetPathTableTest, BackslashesAtTheEndOfAFolderGo) {
    EXPECT_EQ(FolderOf(L"Path=C:\\\0\0"s), L"C:");
    EXPECT_EQ(FolderOf(L"Path=E:\\data\\\\\\\0\0"s), L"E:\\data");
    EXPECT_EQ(FolderOf(L"Path=\\srv\\media\\\0\0"s), L"\\srv\\media");
}

TEST_F(NetPathTableTest, ARecordIsReadInWholeUnits) {
    std::vector<uint8> record = RecordBytes(L"Path=E:\\data");
    record.push_back('x');
    EXPECT_EQ(FolderOf(record), L"E:\\data");
    record.resize(RecordBytes(L"Path=E:\\data").size() - 1);
    EXPECT_EQ(FolderOf(record), L"E:\\dat");
    EXPECT_EQ(FolderOf(std::vector<uint8>{'P'}), L"no");
}

TEST_F(NetPathTableTest, AUnitWithOneZeroByteIsACharacter) {
    // U+0100 and U+3B00: a byte that looks like an end or a semicolon is half of a character.
    EXPECT_EQ(FolderOf(L"Path=E:\\\u0100\u3B00<\0\0"s), L"E:\\\u0100\u3B00<");
}

TEST_F(NetPathTableTest, CharactersOutsideTheFirstPlaneAreTwoUnits) {
    EXPECT_EQ(FolderOf(L"Path=E:\\\U0001F3A5\0\0"s), L"E:\\\U0001F3A5");
    std::vector<uint8> alone = RecordBytes(L"Path=E:\\");
    alone.insert(alone.end(), {0x3C, 0xD8, 0x00, 0x00});
    EXPECT_EQ(FolderOf(alone), L"E:\\"s + wchar_t{0xD83C});
}

TEST_F(NetPathTableTest, ARecordMayFillItsRoom) {
    const std::wstring longest = L"E:\\" + std::wstring(1024 - 8, L'x');
    EXPECT_EQ(FolderOf(L"Path=" + longest), longest);
    EXPECT_EQ(FolderOf(L"Path=" + longest + L"x"), L"no"); // more than the room is a failure
    network.claimedBytes = 0xFFFFFFFF;
    EXPECT_EQ(FolderOf(L"Path=" + longest), longest); // whatever is said to be there
    network.claimedBytes = 10;
    EXPECT_EQ(FolderOf(L"Path=" + longest), L"");
    network.claimedBytes = 0;
    EXPECT_EQ(FolderOf(L"Path=" + longest), L"no");
}

TEST_F(NetPathTableTest, DrivesStandInTheOrderOfTheirLetters) {
    network.drives = {{L"Z:", L"\\\\z\\s"},
                      {L"C:", L"\\\\c\\s"},
                      {L"M:", L"\\\\m\\s"},
                      {L"A:", L"\\\\a\\s"},
                      {L"B:", L"\\\\b\\s"}};
    EXPECT_THAT(Table(), ElementsAre(Record{L"\\\\c\\s", L"", L"C:"}, Record{L"\\\\m\\s", L"", L"M:"},
                                     Record{L"\\\\z\\s", L"", L"Z:"}));
}

TEST_F(NetPathTableTest, EachDriveThatLeadsNowhereIsLoggedOnce) {
    network.drives = {{L"D:", L"\\\\server\\media"}};
    LogCapture log;
    Table();
    Strings expected;
    for (wchar_t letter = L'C'; letter <= L'Z'; ++letter) {
        if (letter != L'D') {
            expected.push_back(NoConnection((std::wstring(1, letter) + L":").c_str()));
        }
    }
    EXPECT_EQ(log.Texts(), expected);
    for (const LogLine& line : log.Lines()) {
        EXPECT_EQ(line.level, INFOTYPE_TRACE) << line;
        EXPECT_EQ(line.module, L"VXCSoftCodecIO") << line;
    }
    log.Clear();
    Table();
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(NetPathTableTest, WhoReadsTheLogMayConvertNames) {
    network.AddShare(L"clips", L"D:\\clips");
    struct Reader {
        CQLNetPathExchange* exchange;
        std::wstring local;
    } reader{&exchange, {}};
    SetLogReceiver(
        [](void* context, INFOTYPE, const wchar_t*, const wchar_t*) {
            auto& into = *static_cast<Reader*>(context);
            CVXCString out;
            into.exchange->ConvertUNC2Local(L"\\\\host\\clips\\a", out);
            into.local = out.c_str();
        },
        &reader, INFOTYPE_TRACE);
    Table();
    SetLogReceiver(nullptr, nullptr, INFOTYPE_ERROR);
    EXPECT_EQ(reader.local, L"D:\\clips\\a");
}

TEST_F(NetPathTableTest, WhoReadsTheLogMayConvertNamesWhileItIsBuilt) {
    network.AddShare(L"clips", L"D:\\clips");
    struct Reader {
        CQLNetPathExchange* exchange;
        Strings names;
    } reader{&exchange, {}};
    SetLogReceiver(
        [](void* context, INFOTYPE, const wchar_t*, const wchar_t* text) {
            auto& into = *static_cast<Reader*>(context);
            if (std::wstring_view(text) == L"asked") {
                into.names.emplace_back(into.exchange->UNC2Local(L"\\\\host\\clips\\a").c_str());
                into.names.emplace_back(into.exchange->Local2UNC(L"D:\\clips\\a").c_str());
                into.names.push_back(
                    std::to_wstring(into.exchange->Visit([](void*, const NetPath&) { return 1; }, nullptr)));
            }
        },
        &reader, INFOTYPE_TRACE);
    NetworkNames().mountedShares = [](TakeSharedFolder, void*) { LogError(L"asked"); };
    EXPECT_EQ(Table().size(), 1U);
    SetLogReceiver(nullptr, nullptr, INFOTYPE_ERROR);
    EXPECT_THAT(reader.names, ElementsAre(L"\\\\host\\clips\\a", L"Local\\D:\\clips\\a", L"0"));
    EXPECT_EQ(Lookup(L"\\\\host\\clips\\a"), L"D:\\clips\\a");
}

TEST_F(NetPathTableTest, ARemoteNameWithAnAddressIsKnownByItsAddress) {
    network.drives = {{L"X:", L"\\\\10.0.0.5\\media"},
                      {L"Y:", L"\\\\10.0.0.256\\media"},
                      {L"Z:", L"\\\\\\10.0.0.6\\media"}};
    network.mounts = {{L"\\\\10.0.0.7\\export", L"\\mnt\\a"}, {L"\\\\nas\\export", L"\\mnt\\b"}};
    EXPECT_THAT(Table(), ElementsAre(Record{L"", L"\\\\10.0.0.5\\media", L"X:"},
                                     Record{L"\\\\10.0.0.256\\media", L"", L"Y:"},
                                     // Its third backslash ends the host, which is then none.
                                     Record{L"\\\\\\10.0.0.6\\media", L"", L"Z:"},
                                     Record{L"", L"\\\\10.0.0.7\\export", L"\\mnt\\a"},
                                     Record{L"\\\\nas\\export", L"", L"\\mnt\\b"}));
}

TEST_F(NetPathTableTest, ARemoteNameWithoutAShareIsKnownByItsHost) {
    network.drives = {{L"X:", L"\\\\10.0.0.5"}, {L"Y:", L"10.0.0.6"}, {L"Z:", L"server"}};
    EXPECT_THAT(Table(), ElementsAre(Record{L"", L"\\\\10.0.0.5", L"X:"}, Record{L"", L"10.0.0.6", L"Y:"},
                                     Record{L"server", L"", L"Z:"}));
}

TEST_F(NetPathTableTest, ManySharesStandInTheirOrder) {
    std::vector<Record> expected;
    for (int call = 0; call < 10; ++call) {
        network.shares.emplace_back();
        for (int i = 0; i < 100; ++i) {
            const std::wstring name = L"s" + std::to_wstring(call * 100 + i);
            network.shares.back().push_back(L"\\\\HOST\\" + name);
            network.records[name] = FolderRecord(L"D:\\" + name);
            expected.push_back({L"\\\\HOST\\" + name, L"", L"D:\\" + name});
        }
    }
    EXPECT_EQ(Table(), expected);
    EXPECT_EQ(Lookup(L"\\\\host\\s999\\a"), L"D:\\s999\\a");
}

TEST_F(NetPathTableTest, LongNamesAndOtherScriptsAreTakenAsTheyAre) {
    const std::wstring name(5000, L'n');
    network.AddShare(name, L"D:\\long");
    network.AddShare(L"\u043A\u043B\u0438\u043F \u4E2D", L"D:\\\u4E2D");
    EXPECT_EQ(Lookup((L"\\\\host\\" + name + L"\\a").c_str()), L"D:\\long\\a");
    EXPECT_EQ(Lookup(L"\\\\host\\\u041A\u041B\u0418\u041F \u4E2D\\a"), L"D:\\\u4E2D\\a");
}

TEST_F(NetPathTableTest, WhereMemoryLacksTheNameStaysAndTheNextConversionBuilds) {
    network.AddShare(L"clips", L"D:\\clips");
    network.mounts = {{L"\\\\nas\\export", L"\\mnt\\nas"}};
    network.specialDrives = {{L"d", 4, 1}};
    for (const wchar_t* const call :
         {L"computerName", L"openShares", L"nextShares", L"openShareRecords", L"shareRecord",
          L"driveConnection M:", L"mountedShares", L"openSpecialDrives", L"specialDrive 1"}) {
        SCOPED_TRACE(std::string(call, call + std::wcslen(call)));
        Inspector::Forget(exchange);
        ForgetSpecialDrives();
        network.ClearCalls();
        LogCapture log;
        network.LackMemoryAt(call);
        EXPECT_EQ(Lookup(L"\\\\HOST\\clips\\a"), L"\\\\HOST\\clips\\a");
        EXPECT_FALSE(Inspector::IsBuilt(exchange));
        EXPECT_EQ(network.StillOpen(), 0);
        EXPECT_THAT(log.Texts(), IsEmpty());
        network.LackMemoryAt(call);
        EXPECT_EQ(Reverse(L"D:\\clips\\a"), L"D:\\clips\\a");
        EXPECT_FALSE(Inspector::IsBuilt(exchange));
        EXPECT_EQ(Lookup(L"\\\\HOST\\clips\\a"), L"D:\\clips\\a");
        EXPECT_THAT(Inspector::Table(exchange), SizeIs(2));
        EXPECT_THAT(SpecialDrives(), ElementsAre(L"D:\\"));
        EXPECT_THAT(log.Texts(), SizeIs(24));
    }
}
