// The module against a real server, by http and by https.
#include "real/posix/NginxServer.h"
#include "remotefile/RemoteFixture.h"
#include "text/Utf8.h"

#include <csignal>

using namespace vxcio::test;

using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

constexpr std::size_t kBytes = 5'000'011;

class RemoteNginxTest : public ::testing::Test {
protected:
    void Start(const NginxServer::Setting& setting = {}) {
        server = std::make_unique<NginxServer>(setting);
        content = server->WritePattern("clip 1.mxf", kBytes, 9);
    }
    bool Open(const std::wstring& url) { return remote->Open(url.c_str()) != 0; }
    bool IsPart(uint64 position, uint32 bytes) {
        return remote->Seek(position) >= 0 && ReadFrom(*remote, bytes) == content.substr(position, bytes);
    }
    void ReadAll() {
        EXPECT_EQ(remote->GetSize(), kBytes);
        std::string all;
        for (std::string piece = ReadFrom(*remote, 200'000); !piece.empty();
             piece = ReadFrom(*remote, 200'000)) {
            all += piece;
        }
        EXPECT_EQ(all, content);
        for (uint64 position = 4'900'000; position > 300'000; position -= 777'777) {
            EXPECT_TRUE(IsPart(position, 65536)) << position;
        }
        EXPECT_THAT(log.Texts(INFOTYPE_ERROR), IsEmpty());
    }
    void Trust(const std::string& certificates) {
        settings.Set(L"HttpCertificates", vxcio::FromUtf8(certificates));
    }
    void FailsWith(const std::wstring& url, const wchar_t* words) {
        log.Clear();
        EXPECT_FALSE(Open(url));
        ASSERT_EQ(log.Texts(INFOTYPE_ERROR).size(), 1u);
        EXPECT_THAT(log.Texts(INFOTYPE_ERROR).front(), HasSubstr(words));
    }

    SettingsScope settings;
    LogCapture log;
    std::unique_ptr<NginxServer> server;
    std::string content;
    RemoteFile remote = MakeRemoteFile();
};

} // namespace

TEST_F(RemoteNginxTest, AFileIsReadWhole) {
    Start();
    VXC_NEEDS_NGINX(*server);
    ASSERT_TRUE(Open(server->Url(L"clip 1.mxf"))) << log.Lines().front();
    ReadAll();
}

TEST_F(RemoteNginxTest, WhatIsNotThereAndWhatIsEmptyAreToldApart) {
    Start();
    VXC_NEEDS_NGINX(*server);
    FailsWith(server->Url(L"none.mxf"), L"no such file (404)");
    server->WritePattern("empty", 0, 1);
    ASSERT_TRUE(Open(server->Url(L"empty")));
    EXPECT_EQ(remote->GetSize(), 0u);
    EXPECT_EQ(ReadFrom(*remote, 10), "");
}

TEST_F(RemoteNginxTest, AServerWithoutRangesIsReadWhole) {
    Start({"max_ranges 0;"});
    VXC_NEEDS_NGINX(*server);
    ASSERT_TRUE(Open(server->Url(L"clip 1.mxf")));
    ReadAll();
    EXPECT_EQ(log.Count(L"gives no ranges"), 1u);
}

TEST_F(RemoteNginxTest, ASlowServerIsReadWhole) {
    Start({"limit_rate 8m;"});
    VXC_NEEDS_NGINX(*server);
    ASSERT_TRUE(Open(server->Url(L"clip 1.mxf")));
    EXPECT_TRUE(IsPart(0, 3'000'000));
    EXPECT_TRUE(IsPart(1'000'000, 100'000));
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), IsEmpty());
}

TEST_F(RemoteNginxTest, AServerThatWasStartedAgainIsGoneOnWith) {
    Start();
    VXC_NEEDS_NGINX(*server);
    ASSERT_TRUE(Open(server->Url(L"clip 1.mxf")));
    EXPECT_TRUE(IsPart(1'000'000, 1000));
    server->Restart();
    EXPECT_TRUE(IsPart(2'000'000, 1000)); // on a new connection
    EXPECT_TRUE(IsPart(3'000'000, 3000));
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), IsEmpty());
}

TEST_F(RemoteNginxTest, AFileThatIsReplacedEndsTheReading) {
    Start();
    VXC_NEEDS_NGINX(*server);
    ASSERT_TRUE(Open(server->Url(L"clip 1.mxf")));
    EXPECT_TRUE(IsPart(1'000'000, 1000));
    server->WritePattern("clip 1.mxf", kBytes + 1, 10);
    remote->Seek(3'000'000);
    EXPECT_EQ(ReadFrom(*remote, 1000), "");
    EXPECT_TRUE(log.Contains(L"has changed"));
}

TEST_F(RemoteNginxTest, UsersAreLetInByTheirPassword) {
    Start({"auth_basic clips; auth_basic_user_file users;"});
    VXC_NEEDS_NGINX(*server);
    server->WriteUsers("hugo:{PLAIN}a b\n");
    FailsWith(server->Url(L"clip 1.mxf"), L"asks for a name and password (401)");
    FailsWith(server->Url(L"clip 1.mxf", L"hugo:b"), L"refuses this name and password (401)");
    log.Clear();
    ASSERT_TRUE(Open(server->Url(L"clip 1.mxf", L"hugo:a%20b")));
    ReadAll();
}

TEST_F(RemoteNginxTest, ACertificateOfAKnownAuthorityIsGood) {
    Start({"", "good"});
    VXC_NEEDS_NGINX(*server);
    Trust(server->Authority());
    ASSERT_TRUE(Open(server->SecureUrl(L"clip 1.mxf"))) << log.Lines().front();
    ReadAll();
}

TEST_F(RemoteNginxTest, CertificatesThatAreNotGoodAreRefused) {
    Start({"", "good"});
    VXC_NEEDS_NGINX(*server);
    const wchar_t* const words = L"certificate does not fit or is not trusted";
    FailsWith(server->SecureUrl(L"clip 1.mxf"), words); // nobody knows who signed it
    Trust(server->OtherAuthority());
    FailsWith(server->SecureUrl(L"clip 1.mxf"), words);
    Trust(server->Authority());
    FailsWith(server->SecureUrl(L"clip 1.mxf", L"localhost"), words); // another name
    Trust(server->Authority() + ".none");
    FailsWith(server->SecureUrl(L"clip 1.mxf"), L"file of certificates cannot be used");
    Trust(server->Authority());
    FailsWith(server->Url(L"clip 1.mxf").replace(0, 4, L"https"), L"does not speak TLS as it must");
}

TEST_F(RemoteNginxTest, ACertificateThatHasExpiredIsRefused) {
    Start({"", "old"});
    VXC_NEEDS_NGINX(*server);
    Trust(server->Authority());
    FailsWith(server->SecureUrl(L"clip 1.mxf"), L"expired");
}

TEST_F(RemoteNginxTest, AConnectionThatIsGoneRaisesNoSignal) {
    Start({"", "good"});
    VXC_NEEDS_NGINX(*server);
    Trust(server->Authority());
    // What ends a process by itself; nothing in this program ignores it.
    const auto former = std::signal(SIGPIPE, SIG_DFL);
    ASSERT_TRUE(Open(server->SecureUrl(L"clip 1.mxf")));
    EXPECT_TRUE(IsPart(1'000'000, 1000));
    server->Restart();
    EXPECT_TRUE(IsPart(3'000'000, 1000));
    EXPECT_TRUE(IsPart(1'000'000, 1000));
    server->Restart();
    remote->Close();
    std::signal(SIGPIPE, former);
}
