// The names of this machine's network, by the table as the library uses it.
#include "platform/NetworkNames.h"

#include "paths/NetPathExchange.h"
#include "paths/SpecialDrives.h"
#include "platform/posix/SambaFixture.h"
#include "support/PlatformScope.h"
#include "support/posix/SystemTesting.h"
#include "sysu/HostControl.h"
#include "text/FoldCase.h"
#include "text/Utf16.h"
#include "text/Utf8.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <sched.h>
#include <tuple>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const wchar_t* kDriveRemote = L"Software\\Norvex\\DriveRemote";
constexpr const wchar_t* kSpecialDrives = L"Software\\Norvex\\QLSpecialDrivers";
constexpr uint32 kRecordBytes = 2048;

using Opened = std::unique_ptr<void, void (*)(void*)>;

std::wstring Computer() {
    wchar_t name[128] = {};
    const int length = NetworkNames().computerName(name, 128);
    EXPECT_EQ(std::wstring(name).size(), static_cast<std::size_t>(length));
    return name;
}

std::vector<std::wstring> SharesOf(const std::wstring& computer) {
    const Opened shares(NetworkNames().openShares(computer.c_str()), NetworkNames().closeShares);
    std::vector<std::wstring> names;
    const TakeRemoteName take = [](void* context, const wchar_t* name) {
        static_cast<std::vector<std::wstring>*>(context)->emplace_back(name);
    };
    // Ends where the listing does, which each call must get nearer to.
    for (int calls = 0; shares && calls < 100'000; ++calls) {
        if (NetworkNames().nextShares(shares.get(), take, &names) != 0) {
            break;
        }
    }
    return names;
}

// The record of a share, as units; nothing where the query failed.
std::optional<std::vector<uint16>> RecordOf(const std::wstring& share, uint32 room = kRecordBytes) {
    const Opened records(NetworkNames().openShareRecords(), NetworkNames().closeShareRecords);
    std::vector<uint8> bytes(kRecordBytes + 2, 0xEE);
    uint32 length = room;
    if (!records || NetworkNames().shareRecord(records.get(), share.c_str(), bytes.data(), &length) != 0) {
        EXPECT_EQ(bytes, std::vector<uint8>(kRecordBytes + 2, 0xEE)) << "nothing of it counts";
        return std::nullopt;
    }
    EXPECT_LE(length, room);
    EXPECT_EQ(length % 2, 0u);
    EXPECT_EQ(std::count(bytes.begin() + static_cast<std::ptrdiff_t>(length), bytes.end(), 0xEE),
              static_cast<std::ptrdiff_t>(bytes.size() - length));
    std::vector<uint16> units;
    for (uint32 i = 0; i < length; i += 2) {
        units.push_back(static_cast<uint16>(bytes[i] | bytes[i + 1] << 8));
    }
    return units;
}

// "Path=" and the folder, with the two zeros behind it.
std::vector<uint16> PathRecord(const std::vector<uint16>& folder) {
    std::vector<uint16> units = {'P', 'a', 't', 'h', '='};
    units.insert(units.end(), folder.begin(), folder.end());
    units.insert(units.end(), 2, 0);
    return units;
}

std::wstring ShareOfDrive(const wchar_t* drive, int characters = 1024) {
    std::wstring name(1025, L'\0');
    const int length = NetworkNames().driveConnection(drive, name.data(), characters);
    EXPECT_EQ(std::wstring(name.c_str()).size(), static_cast<std::size_t>(length));
    return name.c_str();
}

using Drive = std::tuple<std::wstring, uint32, uint32>;

std::vector<Drive> ListedDrives() {
    const Opened values(NetworkNames().openSpecialDrives(), NetworkNames().closeSpecialDrives);
    std::vector<Drive> drives;
    for (uint32 i = 0; values && i < 1000; ++i) {
        std::wstring name(512, L'\0');
        uint32 type = 77;
        uint32 number = 77;
        if (NetworkNames().specialDrive(values.get(), i, name.data(), 512, &type, &number) != 0) {
            break;
        }
        drives.emplace_back(name.c_str(), type, type == kValueNumber ? number : 0);
    }
    return drives;
}

std::wstring WorkGroup() {
    const NetworkNameTable& network = NetworkNames();
    const Opened providers(network.openProviders(), network.closeProviders);
    EXPECT_TRUE(providers);
    wchar_t provider[256] = {};
    EXPECT_GT(network.providerName(providers.get(), provider, 256), 0);
    wchar_t parent[1040] = {};
    const int length = network.resourceParent(providers.get(), L"\\\\ANY", provider, parent, 1040);
    EXPECT_EQ(std::wstring(parent).size(), static_cast<std::size_t>(length));
    return parent;
}

class NetworkNamesTest : public SambaFixture {};

} // namespace

// ---- the machine -------------------------------------------------------------------------------------

TEST_F(NetworkNamesTest, TheComputersNameIsThatOfTheConfiguration) {
    Configure("netbios name = tower-4\n");
    EXPECT_EQ(Computer(), L"TOWER-4");
    Configure("netbios name = t\xC3\xBCrm\xC3\xA9\n");
    EXPECT_EQ(Computer(), L"T\u00DCRM\u00C9");
    Configure("netbios name = tower.studio\n");
    EXPECT_EQ(Computer(), L"TOWER.STUDIO");
}

TEST_F(NetworkNamesTest, WithoutOneItIsTheHostNameUpToItsFirstDotInCapitals) {
    char host[256] = {};
    ASSERT_EQ(::gethostname(host, sizeof host - 1), 0);
    std::wstring expected = FromUtf8(std::string(host).substr(0, std::string(host).find('.')));
    std::transform(expected.begin(), expected.end(), expected.begin(), FoldUpper);
    EXPECT_EQ(Computer(), expected); // no configuration
    Configure("workgroup = W\n");
    EXPECT_EQ(Computer(), expected);
    Configure("netbios name =\n");
    EXPECT_EQ(Computer(), expected);
    Configure("netbios name = %h\n"); // depends on who reads it
    EXPECT_EQ(Computer(), expected);
    wchar_t name[128] = {};
    EXPECT_EQ(NetworkNames().workstationName(name, 128), static_cast<int>(expected.size()));
    EXPECT_EQ(name, expected);
}

TEST_F(NetworkNamesTest, AHostNameEndsAtItsFirstDot) {
    constexpr int kMayNot = 77;
    // In a process that has a host name of its own.
    const int result = RunInChild([] {
        constexpr std::string_view kHost = "edit-4.studio.example";
        if (::unshare(CLONE_NEWUTS) != 0 || ::sethostname(kHost.data(), kHost.size()) != 0) {
            return kMayNot;
        }
        return Computer() == L"EDIT-4" ? 0 : 1;
    });
    if (result == kMayNot) {
        GTEST_SKIP() << "this process may not have a host name of its own";
    }
    EXPECT_EQ(result, 0);
}

TEST_F(NetworkNamesTest, NamesAreCutToTheirRoom) {
    Configure("netbios name = tower\nworkgroup = studio\n");
    wchar_t name[4] = {L'#', L'#', L'#', L'#'};
    EXPECT_EQ(NetworkNames().computerName(name, 3), 2);
    EXPECT_EQ(std::wstring(name, 4), std::wstring(L"TO\0#", 4));
    EXPECT_EQ(NetworkNames().computerName(name, 0), 0);
    EXPECT_EQ(NetworkNames().computerName(nullptr, 9), 0);
    EXPECT_EQ(NetworkNames().resourceParent(nullptr, L"\\\\TOWER", L"", name, 4), 3);
    EXPECT_STREQ(name, L"STU");
}

TEST_F(NetworkNamesTest, TheWorkGroupIsReadEachTimeWithTheConfiguration) {
    EXPECT_EQ(WorkGroup(), L"");
    Configure("[media]\npath = /srv\n");
    EXPECT_EQ(WorkGroup(), L"");
    Configure("workgroup = Studio\n");
    EXPECT_EQ(WorkGroup(), L"STUDIO");
    Configure("workgroup = \xD0\xA1\xD1\x82\n");
    EXPECT_EQ(WorkGroup(), L"\u0421\u0422");
}

// ---- its shares --------------------------------------------------------------------------------------

TEST_F(NetworkNamesTest, TheSharesOfThisMachineAreListedInTheirOrder) {
    Configure("netbios name = tower\n[zoo]\npath = /zoo\n[my media]\npath = /media\n");
    m_folder.Write("users/clips", "path=/clips\nsharename=Clips\n");
    EXPECT_THAT(SharesOf(L"\\\\TOWER"),
                ElementsAre(L"\\\\TOWER\\zoo", L"\\\\TOWER\\my media", L"\\\\TOWER\\Clips"));
    EXPECT_EQ(SharesOf(L"\\\\tower").size(), 3u);
}

TEST_F(NetworkNamesTest, OtherComputersCannotBeListed) {
    Configure("netbios name = tower\n[media]\npath = /media\n");
    for (const wchar_t* computer : {L"\\\\OTHER", L"TOWER", L"\\\\TOWER\\", L"\\\\TOWE", L"", L"\\\\"}) {
        EXPECT_EQ(NetworkNames().openShares(computer), nullptr) << ToUtf8(computer);
    }
    EXPECT_EQ(NetworkNames().openShares(nullptr), nullptr);
}

TEST_F(NetworkNamesTest, AMachineWithoutAConfigurationHasNoShares) {
    EXPECT_THAT(SharesOf(L"\\\\" + Computer()), IsEmpty());
    EXPECT_EQ(RecordOf(L"media"), std::nullopt);
}

TEST_F(NetworkNamesTest, TheRecordOfAShareHoldsItsFolderInUnitsOfSixteenBits) {
    Configure("[my media]\npath = /srv/m\xC3\xA9/\xF0\x9F\x98\x80/\xFF\n[root]\npath = /\n");
    EXPECT_EQ(RecordOf(L"my media"),
              PathRecord({'\\', 's', 'r', 'v', '\\', 'm', 0xE9, '\\', 0xD83D, 0xDE00, '\\', 0xDCFF}));
    EXPECT_EQ(RecordOf(L"root"), PathRecord({'\\'}));
    EXPECT_EQ(RecordOf(L"MY MEDIA"), std::nullopt);
    EXPECT_EQ(RecordOf(L"other"), std::nullopt);
    EXPECT_EQ(RecordOf(L""), std::nullopt);
}

TEST_F(NetworkNamesTest, ARecordFitsItsRoomOrFails) {
    const std::string fits(kRecordBytes / 2 - 5 - 2 - 1, 'f'); // behind "Path=\", ahead of two zeros
    Configure("[fits]\npath = /" + fits + "\n[long]\npath = /" + fits + "f\n[longer]\npath = /" +
              std::string(5000, 'f') + "\n[wide]\npath = /" + fits.substr(1) + "\xF0\x9F\x98\x80\n");
    EXPECT_EQ(RecordOf(L"fits").value_or(std::vector<uint16>{}).size(), kRecordBytes / 2);
    EXPECT_EQ(RecordOf(L"long"), std::nullopt);
    EXPECT_EQ(RecordOf(L"longer"), std::nullopt);
    EXPECT_EQ(RecordOf(L"wide"), std::nullopt); // its last character is two units
    EXPECT_EQ(RecordOf(L"fits", kRecordBytes - 1), std::nullopt);
    EXPECT_EQ(RecordOf(L"fits", 0), std::nullopt);
    EXPECT_EQ(SharesOf(L"\\\\" + Computer()).size(), 4u);
}

// A backslash would make two names of one, a zero ends them, and a folder is read up to the first semicolon.
TEST_F(NetworkNamesTest, SharesThatNamesCannotTellAreLeftOut) {
    Configure("netbios name = t\n[a\\b]\npath = /a\n[b]\npath = /b\\c\n[c]\npath = /c;d\n[d]\npath = /d" +
              std::string(1, '\0') + "e\n[e" + std::string(1, '\0') + "f]\npath = /e\n[g;h]\npath = /g\n");
    EXPECT_THAT(SharesOf(L"\\\\T"), ElementsAre(L"\\\\T\\g;h"));
    for (const wchar_t* share : {L"a\\b", L"b", L"c", L"d", L"e"}) {
        EXPECT_EQ(RecordOf(share), std::nullopt) << ToUtf8(share);
    }
    EXPECT_EQ(RecordOf(L"g;h"), PathRecord({'\\', 'g'}));
}

TEST_F(NetworkNamesTest, NamesOfSharesOfAnyBytesAndLengthFindTheirRecord) {
    const std::string names[] = {std::string(5000, 'n'),
                                 "m\xC3\xA9"
                                 "dia",
                                 "\xFF\xFE",
                                 "\xF0\x9F\x98\x80",
                                 "\xED\xA0\x80",
                                 " inner  blanks"};
    std::string text = "netbios name = t\n";
    for (const std::string& name : names) {
        text += "[" + name + "]\npath = /p\n";
    }
    Configure(text);
    const std::vector<std::wstring> shares = SharesOf(L"\\\\T");
    ASSERT_EQ(shares.size(), std::size(names));
    for (const std::wstring& share : shares) {
        EXPECT_EQ(RecordOf(share.substr(share.rfind(L'\\') + 1)), PathRecord({'\\', 'p'})) << ToUtf8(share);
    }
}

// ---- drives ------------------------------------------------------------------------------------------

TEST_F(NetworkNamesTest, ADriveLeadsToItsShare) {
    m_settings.Set(kDriveRemote, L"Z", L"\\\\host\\share");
    EXPECT_EQ(ShareOfDrive(L"Z:"), L"\\\\host\\share");
    EXPECT_EQ(ShareOfDrive(L"Y:"), L"");
    EXPECT_EQ(ShareOfDrive(L""), L"");
}

// What is cut would be the name of another folder.
TEST_F(NetworkNamesTest, ADriveWhoseShareDoesNotFitLeadsToNone) {
    const std::wstring name = L"\\\\host\\" + std::wstring(1016, L's'); // 1023 characters
    m_settings.Set(kDriveRemote, L"Z", name);
    EXPECT_EQ(ShareOfDrive(L"Z:"), name);
    EXPECT_EQ(ShareOfDrive(L"Z:", 1023), L"");
    m_settings.Set(kDriveRemote, L"Z", name + L"s");
    EXPECT_EQ(ShareOfDrive(L"Z:"), L"");
    m_settings.Set(kDriveRemote, L"Z", L"\\\\host\\" + std::wstring(5000, L's'));
    EXPECT_EQ(ShareOfDrive(L"Z:"), L"");
    EXPECT_EQ(ShareOfDrive(L"Z:", 1), L"");
    wchar_t none[] = L"#";
    EXPECT_EQ(NetworkNames().driveConnection(L"Z:", none, 0), 0);
    EXPECT_STREQ(none, L"#");
}

TEST_F(NetworkNamesTest, MountedSharesAreThoseOfTheSystemLayerWithBackslashes) {
    std::vector<std::wstring> expected;
    VisitShareMounts(
        [](void* context, const wchar_t* share, const wchar_t* folder) {
            std::wstring local(folder);
            if (local.find(L'\\') == std::wstring::npos) {
                std::replace(local.begin(), local.end(), L'/', L'\\');
                static_cast<std::vector<std::wstring>*>(context)->push_back(std::wstring(share) + L"=" +
                                                                            local);
            }
            return 1;
        },
        &expected);
    std::vector<std::wstring> mounts;
    NetworkNames().mountedShares(
        [](void* context, const wchar_t* share, const wchar_t* local) {
            static_cast<std::vector<std::wstring>*>(context)->push_back(std::wstring(share) + L"=" + local);
        },
        &mounts);
    EXPECT_EQ(mounts, expected);
}

// ---- drives that stay local --------------------------------------------------------------------------

TEST_F(NetworkNamesTest, SpecialDrivesAreTheValuesOfTheirSection) {
    EXPECT_EQ(NetworkNames().openSpecialDrives(), nullptr);
    m_settings.Set(kSpecialDrives, L"D", L"1");
    m_settings.Set(kSpecialDrives, L"E:", L"0x10");
    m_settings.Set(kSpecialDrives, L"F:\\", L"0");
    m_settings.Set(kSpecialDrives, L"g", L"yes");
    m_settings.Set(kSpecialDrives, L"H", L"");
    m_settings.Set(kSpecialDrives, L"I", L"-1");
    m_settings.Set(kSpecialDrives, L"J", L"1 ;");
    m_settings.Set(L"Software\\Norvex\\QLSpecialDriversX", L"K", L"1");
    EXPECT_THAT(ListedDrives(), testing::UnorderedElementsAre(
                                    Drive(L"D", kValueNumber, 1), Drive(L"E:", kValueNumber, 16),
                                    Drive(L"F:\\", kValueNumber, 0), Drive(L"g", kValueString, 0),
                                    Drive(L"H", kValueString, 0), Drive(L"I", kValueNumber, 0xFFFFFFFF),
                                    Drive(L"J", kValueString, 0)));
}

TEST_F(NetworkNamesTest, TheSectionOfSpecialDrivesMayBeWrittenInAnyCase) {
    m_settings.WriteRaw("[SOFTWARE\\Norvex\\qlspecialdrivers]\nD = 1\n");
    EXPECT_THAT(ListedDrives(), ElementsAre(Drive(L"D", kValueNumber, 1)));
}

// One of them must not end the listing for those behind it.
TEST_F(NetworkNamesTest, ALongNameAmongSpecialDrivesIsCut) {
    m_settings.Set(kSpecialDrives, std::wstring(600, L'A'), L"1");
    m_settings.Set(kSpecialDrives, L"D", L"1");
    EXPECT_THAT(ListedDrives(), testing::UnorderedElementsAre(Drive(std::wstring(511, L'A'), kValueNumber, 1),
                                                              Drive(L"D", kValueNumber, 1)));
}

// ---- what the table of shares is made of -------------------------------------------------------------

TEST_F(NetworkNamesTest, TheTableOfSharesHasTheSharesAndTheDrivesOfThisMachine) {
    Configure(
        "netbios name = tower\n[media]\npath = /srv/media/\n[back\\slash]\npath = /b\n[long]\npath = /" +
        std::string(5000, 'f') + "\n[" + std::string(5000, 'n') +
        "]\npath = /n\n[m\xC3\xA9 \xFF]\npath = /srv/\xFF\n[root]\npath = /\n[semi]\npath = /a;b\n");
    m_folder.Write("users/clips", "path=/home/eve/clips\n");
    m_settings.Set(kDriveRemote, L"Y", L"\\\\10.0.0.5\\media");
    m_settings.Set(kDriveRemote, L"D", L"\\\\host\\share");
    m_settings.Set(kDriveRemote, L"B", L"\\\\host\\floppy"); // no letter that counts
    const PlatformScope platform;
    platform.Hosts().firstAddress = [](const char*, uint32*) { return false; }; // nobody is asked
    CQLNetPathExchange exchange;
    std::vector<std::wstring> rows;
    exchange.Visit(
        [](void* context, const NetPath& path) {
            static_cast<std::vector<std::wstring>*>(context)->push_back(std::wstring(path.nameUNC) + L"|" +
                                                                        path.ipUNC + L"|" + path.local);
            return 1;
        },
        &rows);
    ASSERT_GE(rows.size(), 7u); // mounted shares of this machine may follow
    rows.resize(7);
    EXPECT_THAT(rows, ElementsAre(L"\\\\TOWER\\media||\\srv\\media",
                                  L"\\\\TOWER\\" + std::wstring(5000, L'n') + L"||\\n",
                                  L"\\\\TOWER\\m\u00E9 \xDCFF||\\srv\\\xDCFF", L"\\\\TOWER\\root||",
                                  L"\\\\TOWER\\clips||\\home\\eve\\clips", L"\\\\host\\share||D:",
                                  L"|\\\\10.0.0.5\\media|Y:"));
    EXPECT_STREQ(exchange.UNC2Local(L"\\\\tower\\CLIPS\\a\\b.mxf"), L"\\home\\eve\\clips\\a\\b.mxf");
    EXPECT_STREQ(exchange.UNC2Local(L"\\\\HOST\\share\\a.mxf"), L"D:\\a.mxf");
    EXPECT_STREQ(exchange.UNC2Local(L"\\\\tower\\semi\\a.mxf"), L"\\\\tower\\semi\\a.mxf");
    EXPECT_STREQ(exchange.UNC2Local(L"\\\\tower\\root\\etc\\x"), L"\\etc\\x");
}

TEST_F(NetworkNamesTest, TheDrivesThatStayLocalAreThoseWithANumber) {
    ForgetSpecialDrives();
    m_settings.Set(kSpecialDrives, L"d", L"1");
    m_settings.Set(kSpecialDrives, L"E:", L"0");
    m_settings.Set(kSpecialDrives, L"F:\\", L"yes");
    m_settings.Set(kSpecialDrives, std::wstring(600, L'A'), L"1");
    m_settings.Set(kSpecialDrives, L"g:\\", L"0x2");
    CQLNetPathExchange exchange;
    std::vector<std::wstring> drives;
    exchange.VisitSpecialDrives(
        [](void* context, const wchar_t* drive) {
            static_cast<std::vector<std::wstring>*>(context)->emplace_back(drive);
            return 1;
        },
        &drives);
    ForgetSpecialDrives();
    EXPECT_THAT(drives, testing::UnorderedElementsAre(L"D:\\", L"G:\\"));
}
