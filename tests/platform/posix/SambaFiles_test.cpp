// Where Samba's configuration is read from, and when again.
#include "platform/posix/SambaFixture.h"

#include "platform/posix/OwnMounts.h"
#include "support/LogCapture.h"
#include "support/posix/SystemTesting.h"
#include "text/Utf8.h"

#include <gmock/gmock.h>

#include <atomic>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class SambaFilesTest : public SambaFixture {
protected:
    std::wstring File() const { return m_folder.Wide("smb.conf"); }
    std::wstring NoText() const {
        return L"Samba's configuration " + File() + L" is no text of at most 1048576 bytes, ignored";
    }
};

} // namespace

TEST_F(SambaFilesTest, TheSettingNamesTheFile) {
    Configure("[media]\npath = /srv/media\n");
    ASSERT_EQ(OwnSamba()->shares.size(), 1u);
    EXPECT_EQ(OwnSamba()->shares[0].path, "/srv/media");
    m_folder.Write("m\xC3\xA9\xFF.conf", "[other]\npath = /srv\nusershare path = /no\n"
                                         "[global]\nusershare path = /no/such\n");
    m_settings.Set(L"SambaConfiguration", FromUtf8(m_folder.Name("m\xC3\xA9\xFF.conf")));
    EXPECT_THAT(Names(), ElementsAre("other"));
}

TEST_F(SambaFilesTest, WithoutTheSettingItIsTheSystems) {
    m_settings.Remove(L"SambaConfiguration");
    const std::vector<std::string> standard = Names();
    m_settings.Set(L"SambaConfiguration", L"");
    EXPECT_EQ(Names(), standard);
    m_settings.Set(L"SambaConfiguration", L"/etc/samba/smb.conf");
    EXPECT_EQ(Names(), standard);
}

TEST_F(SambaFilesTest, AChangedFileIsReadAgain) {
    Configure("[one]\npath = /srv\n");
    EXPECT_THAT(Names(), ElementsAre("one"));
    Configure("[two]\npath = /srv\n"); // as long, and within one step of the file system's clock
    EXPECT_THAT(Names(), ElementsAre("two"));
    std::filesystem::remove(m_folder.Path() / "smb.conf");
    EXPECT_THAT(Names(), IsEmpty());
    Configure("[three]\npath = /srv\n");
    EXPECT_THAT(Names(), ElementsAre("three"));
}

TEST_F(SambaFilesTest, AnOldFileIsReadOnceForEachDate) {
    Configure("[one]\npath = /srv\n");
    Age("smb.conf");
    EXPECT_THAT(Names(), ElementsAre("one"));
    Configure("[two]\npath = /srv\n");
    Age("smb.conf"); // nothing tells it from the former one
    EXPECT_THAT(Names(), ElementsAre("one"));
    Age("smb.conf", 2);
    EXPECT_THAT(Names(), ElementsAre("two"));
    Configure("[longer]\npath = /srv\n");
    Age("smb.conf", 2);
    EXPECT_THAT(Names(), ElementsAre("longer"));
    m_folder.Write("new", m_folder.Read("smb.conf") + "\n");
    std::filesystem::rename(m_folder.Path() / "new", m_folder.Path() / "smb.conf");
    Age("smb.conf", 2);
    m_folder.Write("users/clips", "path=/clips\n");
    EXPECT_THAT(Names(), ElementsAre("longer", "clips"));
}

// Its date may be that of another writing within the same step of the file system's clock.
TEST_F(SambaFilesTest, ANewFileIsReadEachTime) {
    for (const int hours : {0, -1}) { // now, and later than now
        Configure("[one]\npath = /srv\n");
        Age("smb.conf", hours);
        EXPECT_THAT(Names(), ElementsAre("one"));
        Configure("[two]\npath = /srv\n");
        Age("smb.conf", hours);
        EXPECT_THAT(Names(), ElementsAre("two"));
    }
}

TEST_F(SambaFilesTest, AnotherFileOfTheSameNameAndDateIsRead) {
    Configure("[one]\npath = /srv\n");
    Age("smb.conf");
    EXPECT_THAT(Names(), ElementsAre("one"));
    m_folder.Write("new", "[global]\nusershare path = " + m_folder.Name("users") + "\n[two]\npath = /srv\n");
    std::filesystem::rename(m_folder.Path() / "new", m_folder.Path() / "smb.conf");
    Age("smb.conf");
    EXPECT_THAT(Names(), ElementsAre("two"));
}

TEST_F(SambaFilesTest, DatesAreComparedToTheirLastDigit) {
    Configure("[one]\npath = /srv\n");
    Age("smb.conf");
    EXPECT_THAT(Names(), ElementsAre("one"));
    Configure("[two]\npath = /srv\n");
    const auto file = m_folder.Path() / "smb.conf";
    Age("smb.conf");
    std::filesystem::last_write_time(file,
                                     std::filesystem::last_write_time(file) + std::chrono::nanoseconds(1));
    EXPECT_THAT(Names(), ElementsAre("two"));
}

TEST_F(SambaFilesTest, ABrokenLinkOrMissingFileMeansNoShares) {
    const LogCapture log;
    EXPECT_THAT(Names(), IsEmpty());
    EXPECT_THAT(Names(), IsEmpty());
    EXPECT_EQ(OwnSamba()->workgroup, "");
    EXPECT_EQ(log.Texts(INFOTYPE_ERROR),
              std::vector<std::wstring>{L"Samba's configuration " + File() + L" is not there"});
    std::filesystem::create_symlink("nowhere", m_folder.Path() / "smb.conf");
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(SambaFilesTest, WhatIsNoPlainFileMeansNoShares) {
    const LogCapture log;
    std::filesystem::create_directory(m_folder.Path() / "smb.conf");
    EXPECT_THAT(Names(), IsEmpty());
    std::filesystem::remove(m_folder.Path() / "smb.conf");
    EXPECT_EQ(log.Texts(INFOTYPE_ERROR), std::vector<std::wstring>{NoText()});
    // A pipe would hold us for ever.
    ASSERT_EQ(::mkfifo(m_folder.Name("smb.conf").c_str(), 0600), 0);
    EXPECT_THAT(Names(), IsEmpty());
    EXPECT_EQ(log.Count(NoText()), 2u);
}

TEST_F(SambaFilesTest, AFileThatCannotBeReadMeansNoShares) {
    const LogCapture log;
    std::filesystem::create_symlink("smb.conf", m_folder.Path() / "smb.conf"); // leads to itself
    EXPECT_THAT(Names(), IsEmpty());
    EXPECT_THAT(Names(), IsEmpty());
    EXPECT_EQ(log.Texts(INFOTYPE_ERROR),
              std::vector<std::wstring>{L"Samba's configuration " + File() + L" cannot be read, ignored"});
}

TEST_F(SambaFilesTest, AFileThatMayBeReadAgainIsReadThen) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "this process may not be somebody else";
    }
    constexpr uid_t kNobody = 65534;
    namespace fs = std::filesystem;
    Configure("[media]\npath = /srv\n");
    Age("smb.conf");
    const std::string file = m_folder.Name("smb.conf");
    for (const fs::path& folder : {m_folder.Path(), fs::path(m_settings.FileName()).parent_path()}) {
        fs::permissions(folder, fs::perms(0755));
    }
    ASSERT_EQ(::chown(file.c_str(), kNobody, kNobody), 0);
    const auto ask = [&] {
        if (::setuid(kNobody) != 0 || ::chmod(file.c_str(), 0) != 0) {
            return 1;
        }
        if (!Names().empty()) {
            return 2;
        }
        // The date stays when the mode changes.
        return ::chmod(file.c_str(), 0600) == 0 && Names().size() == 1 ? 0 : 3;
    };
    EXPECT_EQ(RunInChild(ask), 0);
}

TEST_F(SambaFilesTest, AMachineWithoutSambaIsNothingToTell) {
    constexpr int kMayNot = 77;
    const int result = RunInChild([&] {
        namespace fs = std::filesystem;
        if (fs::exists("/etc/samba") &&
            (!HaveOwnMounts() || ::mount("none", "/etc/samba", "tmpfs", 0, nullptr) != 0)) {
            return kMayNot;
        }
        m_settings.Remove(L"SambaConfiguration");
        const LogCapture log;
        return Names().empty() && log.Texts(INFOTYPE_ERROR).empty() ? 0 : 1;
    });
    if (result == kMayNot) {
        GTEST_SKIP() << "this process may not hide the machine's configuration";
    }
    EXPECT_EQ(result, 0);
}

// What is cut in the middle of a line would lead to another folder.
TEST_F(SambaFilesTest, AFileLargerThanTheLimitMeansNoShares) {
    const std::string text = "[media]\npath = /srv\n";
    const std::string usershares = "usershare path = " + m_folder.Name("users") + "\n";
    const std::string filling((1 << 20) - text.size() - usershares.size(), '\n');
    const LogCapture log;
    m_folder.Write("smb.conf", usershares + filling + text);
    EXPECT_THAT(Names(), ElementsAre("media"));
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), IsEmpty());
    m_folder.Write("smb.conf", usershares + filling + text + "\n");
    EXPECT_THAT(Names(), IsEmpty());
    EXPECT_EQ(log.Texts(INFOTYPE_ERROR), std::vector<std::wstring>{NoText()});
}

TEST_F(SambaFilesTest, LinesThatSayNothingAreNotedOnceForEachVersion) {
    const LogCapture log;
    Configure("[media]\nnothing\npath = /srv\n[broken\n");
    const std::wstring note = L"Samba's configuration " + File() + L" has 2 lines that say nothing, ignored";
    for (int i = 0; i < 3; ++i) {
        EXPECT_THAT(Names(), ElementsAre("media"));
    }
    EXPECT_EQ(log.Texts(INFOTYPE_ERROR), std::vector<std::wstring>{note});
    Configure("[media]\nnothing\npath = /srv\n[broken\n# more\n");
    EXPECT_THAT(Names(), ElementsAre("media"));
    EXPECT_EQ(log.Count(note), 2u);
    Configure("[media]\npath = /srv\n");
    EXPECT_THAT(Names(), ElementsAre("media"));
    EXPECT_EQ(log.Texts(INFOTYPE_ERROR).size(), 2u);
}

// ---- included files
// -------------------------------------------------------------------------------------------

TEST_F(SambaFilesTest, IncludedFilesAreReadByTheirWholeName) {
    m_folder.Write("more.conf", "[more]\npath = /more\n");
    Configure("include = " + m_folder.Name("more.conf") + "\n[media]\npath = /srv\n");
    EXPECT_THAT(Names(), ElementsAre("more", "media"));
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path(m_folder.Path());
    Configure("include = more.conf\n[media]\npath = /srv\n");
    const std::vector<std::string> names = Names();
    std::filesystem::current_path(former);
    EXPECT_THAT(names, ElementsAre("media"));
}

TEST_F(SambaFilesTest, WhatCannotBeIncludedIsLeftOut) {
    std::filesystem::create_directory(m_folder.Path() / "folder");
    ASSERT_EQ(::mkfifo(m_folder.Name("pipe").c_str(), 0600), 0);
    m_folder.Write("large", "[large]\npath = /large\n" + std::string(1 << 20, '\n'));
    Configure("include = " + m_folder.Name("folder") + "\ninclude = " + m_folder.Name("pipe") +
              "\ninclude = " + m_folder.Name("large") + "\ninclude = " + m_folder.Name("missing") +
              "\ninclude = /dev/zero\n[media]\npath = /srv\n");
    EXPECT_THAT(Names(), ElementsAre("media"));
}

// ---- shares of users
// --------------------------------------------------------------------------------------------

TEST_F(SambaFilesTest, UsersSharesComeByTheNamesOfTheirFiles) {
    Configure("[zoo]\npath = /zoo\n");
    m_folder.Write("users/b", "#VERSION 2\npath=/b\nsharename=Alpha\n");
    m_folder.Write("users/a", "#VERSION 2\npath=/a\n");
    m_folder.Write("users/ZOO", "path=/other\n");
    m_folder.Write("users/none", "nothing\n");
    m_folder.Write("users/.hidden", "path=/h\n");
    m_folder.Write("users/:tmpA1b2c3", "path=/half\n"); // is just being made
    EXPECT_THAT(Names(), ElementsAre("zoo", ".hidden", "a", "Alpha"));
    EXPECT_EQ(OwnSamba()->shares[0].path, "/zoo");
}

TEST_F(SambaFilesTest, WhatIsNoFileOfAUserIsLeftOut) {
    Configure("");
    std::filesystem::create_directory(m_folder.Path() / "users/folder");
    ASSERT_EQ(::mkfifo(m_folder.Name("users/pipe").c_str(), 0600), 0);
    std::filesystem::create_symlink("nowhere", m_folder.Path() / "users/link");
    m_folder.Write("users/large", "path=/large\n" + std::string(10 << 10, '\n'));
    m_folder.Write("users/last", "path=/last\n");
    EXPECT_THAT(Names(), ElementsAre("last"));
}

TEST_F(SambaFilesTest, AFolderOfUsersSharesThatIsNoneMeansNone) {
    m_folder.Write("plain", "path=/plain\n");
    for (const std::string& folder :
         {m_folder.Name("plain"), m_folder.Name("missing"), std::string("/dev/null")}) {
        m_folder.Write("smb.conf", "usershare path = " + folder + "\n[media]\npath = /srv\n");
        EXPECT_THAT(Names(), ElementsAre("media")) << folder;
    }
}

TEST_F(SambaFilesTest, NoMoreThanTenThousandFilesOfUsersAreLookedAt) {
    Configure("[media]\npath = /srv\n");
    for (int i = 0; i < 10'050; ++i) {
        m_folder.Write("users/" + std::to_string(i), "path=/u\n");
    }
    EXPECT_EQ(Names().size(), 10'001u);
}

// ---- beside others
// ----------------------------------------------------------------------------------------------

TEST_F(SambaFilesTest, AReaderMeetsTheOldTextOrTheNewOne) {
    const std::string usershares = "usershare path = " + m_folder.Name("users") + "\n";
    const std::string one = usershares + "[one]\npath = /srv/one\n";
    std::string many = usershares;
    for (int i = 0; i < 500; ++i) {
        many += "[share" + std::to_string(i) + "]\npath = /srv/" + std::to_string(i) + "\n";
    }
    m_folder.Write("smb.conf", one);
    constexpr int kReaders = 3;
    std::atomic<bool> isOver{false};
    std::atomic<int> satisfied{0}; // readers that have met both
    std::vector<std::thread> readers;
    for (int i = 0; i < kReaders; ++i) {
        readers.emplace_back([&] {
            bool hadOne = false;
            bool hadMany = false;
            bool isCounted = false;
            while (!isOver) {
                const std::size_t shares = OwnSamba()->shares.size();
                ASSERT_TRUE(shares == 1 || shares == 500) << shares;
                (shares == 1 ? hadOne : hadMany) = true;
                if (hadOne && hadMany && !isCounted) {
                    isCounted = true;
                    ++satisfied;
                }
            }
        });
    }
    for (int i = 0; i < 200 || (satisfied < kReaders && i < 100'000); ++i) {
        m_folder.Write("new", i % 2 == 0 ? many : one);
        std::filesystem::rename(m_folder.Path() / "new", m_folder.Path() / "smb.conf");
    }
    isOver = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(satisfied, kReaders);
}
