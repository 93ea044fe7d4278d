// The shares of this machine as a real Samba has them: its own reader agrees with ours about configurations,
// and a file of a share is read from its folder without the network.
#include "real/posix/SambaServer.h"

#include "frame/SoftDataIO.h"
#include "frame/Status.h"
#include "paths/MediumPathState.h"
#include "paths/NetPathExchange.h"
#include "platform/posix/SambaShares.h"
#include "support/PlatformScope.h"
#include "support/SettingsScope.h"
#include "support/posix/SystemTesting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>

using namespace vxcio;
using namespace vxcio::test;
using testing::Contains;
using testing::IsEmpty;

namespace {

constexpr uint32 kSize = 3'000'017;

class SambaTest : public testing::Test {
protected:
    SambaTest() { m_settings.Set(L"SambaConfiguration", m_samba.Folder().Wide("smb.conf")); }

    static std::vector<std::string> OwnShares() {
        std::vector<std::string> shares;
        const auto samba = OwnSamba();
        for (const SambaShare& share : samba->shares) {
            shares.push_back(share.name + "=" + share.path);
        }
        return shares;
    }

    // The folder "exported" as the share "media" with the file "clip.mxf" in it.
    void Export() {
        m_samba.Folder().WritePattern("exported/clip.mxf", kSize, 7);
        m_samba.Configure("[media]\npath = " + m_samba.Folder().Name("exported") +
                          "\nguest ok = yes\nforce user = root\n");
    }

    SambaServer m_samba;
    SettingsScope m_settings;
};

// What a process counts that must not ask the network.
std::atomic<int> s_network{0};

bool CountHost(const char*, uint32*) {
    ++s_network;
    return false;
}

SocketToken CountSocket() {
    ++s_network;
    return kNoSocket;
}

// 0 when the name opens the file with the pattern and no socket was asked for; else what went wrong. In a
// process of its own, as the table of shares is made once.
int ReadByName(const std::wstring& name) {
    return RunInChild([&] {
        PlatformScope platform;
        platform.Hosts().firstAddress = CountHost;
        platform.SocketCalls().open = CountSocket;
        ForgetMediumPathSetting();
        const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
        if (source->OpenFile(name.c_str(), 0, nullptr, 0) != VXC_STATUS_OK) {
            return 1;
        }
        std::vector<uint8> bytes(kSize + 1);
        uint32 filled = 0;
        for (int got = 1; got > 0 && filled < bytes.size(); filled += static_cast<uint32>(got)) {
            got = source->Read(bytes.data() + filled, static_cast<uint32>(bytes.size()) - filled);
        }
        source->CloseFile();
        bytes.resize(filled);
        if (bytes != Pattern(kSize, 7)) {
            return 2;
        }
        return s_network == 0 && OpenSocketCount() == 0 ? 0 : 3;
    });
}

} // namespace

TEST_F(SambaTest, SambasOwnReaderFindsTheSameShares) {
    VXC_NEEDS_SAMBA(m_samba);
    const std::string included =
        m_samba.Folder().Write("more.conf", "[more]\npath = /srv/more\n[media]\ncomment = here as well\n");
    const std::string configurations[] = {
        "[media]\npath = /srv/media\n[Archive]\npath=/srv/archive\nread only = no\n",
        "[homes]\nbrowseable = no\n[printers]\npath = /var/spool\nprintable = yes\n[print$]\npath = /p\n"
        "[media]\ndirectory = /srv/media\n",
        "[one]\npath = /one\navailable = no\n[two]\npath = /two\navailable = off\n[three]\npath = /three\n"
        "available = false\n[four]\npath = /four\navailable = 0\n[five]\npath = /five\navailable = yes\n",
        "[Media]\npath = /a\n[other]\npath = /o\n[MEDIA]\npath = /b\n",
        "# a comment\n[media] \n; another\n  P A T H  =   /srv/my media\t\n\tcomment = x = y ; z # w\n",
        "[me\\\ndia]\npath = \\\n/srv/media\n",
        "[media]\npath = /srv/\\\nmedia\n[last]\npath = /last\ncomment = goes on \\\nhere\n",
        "include = " + included + "\n[media]\npath = /srv/media\n",
        "[media]\npath = /srv/media\ninclude = " + included + "\n[last]\npath = /last\n",
        "include = /no/such/file\n[media]\npath = /srv/media\n",
        "[user]\npath = /home/%U\n[whole]\npath = /srv/whole\n",
        "[m\xC3\xA9"
        "dia]\npath = /srv/\xD0\xBC\n",
        "[media]\npath = \"/srv/my media\"\n",
        "[with space]\npath = /srv/a b/c\n[dollar$]\npath = /d\n",
        "[media]\r\npath = /srv/media\r\n",
        "[media]\npath = /a\n[globals]\ncomment = none\n",
        "[media]\npath = /srv/media",
        "[media]\ncomment = x\n[b]\npath = /b\n[media]\npath = /a\n",
        "[media]\ncomment = x\n[b]\npath = /b\n[media]\npath = /a\navailable = yes\n",
        "[media]\npath = /a\n[b]\npath = /b\n[media]\npath =\n",
        "[media]\ncomment = x\ninclude = " + included + "\npath = /goes/on\n",
        "path = /all\n[a]\ncomment = x\n[b]\npath = /b\n[global]\npath = /later\n[c]\ncomment = y\n",
        "[a]\ncomment = x\n[global]\npath = /later\n[c]\ncomment = y\n",
        "available = no\n[a]\npath = /a\n[b]\npath = /b\navailable = yes\n",
        "[a]\npath = /a\n[b]\ncopy = A\n[c]\npath = /c\ncopy = a\n[d]\ncopy = a\npath = /d\n",
        "[a]\npath = /a\navailable = no\n[b]\ncopy = a\n[c]\ncopy = a\navailable = yes\n",
        "[a]\npath = /a\n-valid = no\n[b]\npath = /b\n-valid = yes\n",
        "[my   media]\npath = /my  \t media\n[my media]\ncomment = x\n[ lead]\npath = /l\n[c \td]\npath = "
        "/c\n",
        "[glob al]\ncomment = x\n[a b]\npath = /1\n[ab]\npath = /2\n",
        "[a]\npath = /srv \\ \t\n  media\n[b]\npath = /b\\\n\tc\n[c]\npath = /c\\\\\n[d]\n",
        "[a]\npath = /a\\\n# no\n[b]\npath = /b\\\n\n[c]\n# \\\npath = /c\n  \\\n; \\\ncomment = /x\n",
        "[a]\n# \\\npath = /a\n[c]\n \\\n# \\\npath = /no\n[b]\npath = /b\\\n# c\\\nd\n",
        "[a]\npath = /a\\",
        "[h\xC3\xA4user]\npath = /a\n[H\xC3\x84USER]\npath = /b\n",
        "[\"a\"]\npath = \"\"/a\"\"\n[b]\npath = \"/b\n[c]\npath = /c\"\n[d]\npath = /d/\"e\" f\n",
        "include = \"" + included + "\"\n[a]\npath = /a\n",
        "[a] path = /no\ncomment = z\n[b]c]\npath = /b\n[c[d]\npath = /c\nnonsense\n",
        "[a]\npath = /a ; b\n[b]\npath = /b # c\n[c]\npath == /c\n[d]\npath = /d\rx\x0C\n",
    };
    for (const std::string& text : configurations) {
        m_samba.Configure(text);
        EXPECT_EQ(OwnShares(), m_samba.TestedShares()) << text;
    }
}

TEST_F(SambaTest, TheNamesOfTheMachineAreItsConfigurations) {
    VXC_NEEDS_SAMBA(m_samba);
    EXPECT_EQ(OwnSamba()->netbiosName, "TOWER");
    EXPECT_EQ(OwnSamba()->workgroup, "STUDIO");
    EXPECT_THAT(OwnShares(), IsEmpty());
}

TEST_F(SambaTest, AShareThatAUserMakesIsFound) {
    VXC_NEEDS_SAMBA(m_samba);
    const std::string folder = m_samba.Folder().Name("my clips");
    std::filesystem::create_directory(folder);
    m_samba.Configure("[media]\npath = /srv/media\n");
    ASSERT_TRUE(m_samba.AddUserShare("Clips", folder));
    EXPECT_THAT(OwnShares(), testing::ElementsAre("media=/srv/media", "Clips=" + folder));
}

TEST_F(SambaTest, AFileOfAShareIsReadFromItsFolderWithoutTheNetwork) {
    VXC_NEEDS_SAMBA(m_samba);
    Export();
    m_samba.Start();
    const std::vector<uint8> pattern = Pattern(kSize, 7);
    // It is the share that this server serves,
    const std::string served = m_samba.Fetch("media", "clip.mxf");
    ASSERT_TRUE(std::equal(served.begin(), served.end(), pattern.begin(), pattern.end(), [](char a, uint8 b) {
        return static_cast<uint8>(a) == b;
    })) << m_samba.Log();
    m_settings.Set(L"NotCall_UNC2LOCAL", L"0");
    EXPECT_EQ(ReadByName(L"\\\\TOWER\\media\\clip.mxf"), 0);
    EXPECT_EQ(ReadByName(L"\\\\tower\\MEDIA\\clip.mxf"), 0);
    // and nobody has to serve it.
    m_samba.Kill();
    EXPECT_EQ(m_samba.Fetch("media", "clip.mxf"), "");
    EXPECT_EQ(ReadByName(L"\\\\TOWER\\media\\clip.mxf"), 0);
}

TEST_F(SambaTest, AFileOfAUsersShareIsReadFromItsFolder) {
    VXC_NEEDS_SAMBA(m_samba);
    Export();
    ASSERT_TRUE(m_samba.AddUserShare("clips", m_samba.Folder().Name("exported")));
    m_settings.Set(L"NotCall_UNC2LOCAL", L"0");
    EXPECT_EQ(ReadByName(L"\\\\TOWER\\clips\\clip.mxf"), 0);
}

// As long as nobody asks for it.
TEST_F(SambaTest, WithoutTheSettingANameOfAShareStays) {
    VXC_NEEDS_SAMBA(m_samba);
    Export();
    EXPECT_EQ(ReadByName(L"\\\\TOWER\\media\\clip.mxf"), 1);
    m_settings.Set(L"NotCall_UNC2LOCAL", L"1");
    EXPECT_EQ(ReadByName(L"\\\\TOWER\\media\\clip.mxf"), 1);
    m_settings.Set(L"NotCall_UNC2LOCAL", L"0");
    EXPECT_EQ(ReadByName(L"\\\\TOWER\\media\\clip.mxf"), 0);
    EXPECT_EQ(ReadByName(L"\\\\OTHER\\media\\clip.mxf"), 1);
}

TEST_F(SambaTest, AFileOfAShareHasItsNameOnTheNetwork) {
    VXC_NEEDS_SAMBA(m_samba);
    Export();
    std::wstring local = m_samba.Folder().Wide("exported/clip.mxf");
    std::replace(local.begin(), local.end(), L'/', L'\\');
    CQLNetPathExchange exchange;
    CVXCString name;
    exchange.ConvertLocal2UNC(local.c_str(), name);
    EXPECT_STREQ(name, L"STUDIO\\\\TOWER\\media\\clip.mxf");
    EXPECT_STREQ(exchange.UNC2Local(name), local.c_str());
}
