// vxcio with files on a real web server, by http and by https.
#include "real/posix/NginxServer.h"
#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace vxcio::test;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char* kPassword = "Kappe-77";

class ToolNginxTest : public testing::Test {
protected:
    void SetUp() override {
        VXC_NEEDS_NGINX(m_Server);
        m_Clip = m_Server.WritePattern("clip.mxf", 5'000'001, 4);
        m_Server.Write("closed/clip.mxf", m_Clip);
        m_Server.WriteUsers(std::string("norvex:{PLAIN}") + kPassword + "\n");
        m_Server.Write("empty", "");
        m_Server.Write("folder/a b%.mxf", "good morning");
    }
    Outcome Run(const std::vector<std::string>& words) const {
        return RunTool(words, {.folder = m_Folder.Path().string()});
    }
    std::string Digest(const std::string& content) const {
        return RunProgram({"md5sum", m_Folder.Write("digested", content)}).out.substr(0, 32);
    }
    // A file of settings with nothing but these certificates.
    std::string Trusting(const std::string& certificates) const {
        return m_Folder.Write("settings",
                              "[Software\\Norvex\\SoftCodec]\nHttpCertificates = " + certificates + "\n");
    }

    TempFolder m_Folder;
    NginxServer m_Server{{.location = "location /closed/ { auth_basic closed; auth_basic_user_file users; }",
                          .certificate = "good"}};
    std::string m_Clip;
};

} // namespace

TEST_F(ToolNginxTest, FilesAreReadTheirSizesToldAndTheirDigestsMade) {
    EXPECT_TRUE(Run({"cat", m_Server.Address("clip.mxf")}).out == m_Clip);
    EXPECT_EQ(Run({"cat", m_Server.Address("empty")}).exitCode, 0);
    EXPECT_EQ(Run({"cat", m_Server.Address("folder/a b%25.mxf")}).out, "good morning");
    EXPECT_EQ(Run({"cat", "--offset", "4999999", m_Server.Address("clip.mxf")}).out, m_Clip.substr(4999999));
    const nlohmann::json info =
        nlohmann::json::parse(Run({"info", "--json", m_Server.Address("clip.mxf")}).out);
    EXPECT_EQ(info[0]["size"], 5'000'001);
    const Outcome md5 = Run({"md5", m_Server.Address("clip.mxf"), m_Server.Address("empty")});
    EXPECT_EQ(md5.exitCode, 0) << md5.error;
    EXPECT_EQ(md5.out, Digest(m_Clip) + "  " + m_Server.Address("clip.mxf") + "\n" + Digest("") + "  " +
                           m_Server.Address("empty") + "\n");
}

TEST_F(ToolNginxTest, CopiesComeDownWhole) {
    const Outcome outcome =
        Run({"copy", "--verify", m_Server.Address("clip.mxf"), m_Server.Address("folder/a%20b%25.mxf"), "."});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_TRUE(m_Folder.Read("clip.mxf") == m_Clip);
    EXPECT_EQ(m_Folder.Read("a b%.mxf"), "good morning");
}

TEST_F(ToolNginxTest, ANameAndAPasswordOpenWhatIsClosed) {
    const std::string user = std::string("norvex:") + kPassword;
    const Outcome outcome = Run({"md5", "-v", m_Server.Address("closed/clip.mxf", user)});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.out.substr(0, 32), Digest(m_Clip));
    EXPECT_THAT(outcome.out + outcome.error, Not(HasSubstr(kPassword)));
    EXPECT_THAT(Run({"md5", m_Server.Address("closed/clip.mxf")}).error, HasSubstr("(401)"));
    EXPECT_THAT(Run({"md5", m_Server.Address("closed/clip.mxf", "norvex:wrong-77")}).error,
                HasSubstr("(401)"));
}

TEST_F(ToolNginxTest, WhatIsNotThereAndWhatIsAFolderIsTold) {
    const Outcome missing = Run({"cat", m_Server.Address("missing.mxf")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_THAT(missing.error, HasSubstr("there is no such file (404)"));
    EXPECT_THAT(Run({"cat", m_Server.Address("folder/")}).error, HasSubstr("the server forbids it (403)"));
}

TEST_F(ToolNginxTest, ACertificateOfATrustedAuthorityIsGoodAndOthersAreRefused) {
    const std::string name = m_Server.SecureAddress("clip.mxf");
    const std::string settings = Trusting(m_Server.Authority());
    const Outcome good = Run({"md5", "--settings", settings, name});
    EXPECT_EQ(good.exitCode, 0) << good.error;
    EXPECT_EQ(good.out, Digest(m_Clip) + "  " + name + "\n");
    const Outcome copy = Run({"copy", "--settings", settings, "--verify", name, "."});
    EXPECT_EQ(copy.exitCode, 0) << copy.error;
    EXPECT_TRUE(m_Folder.Read("clip.mxf") == m_Clip);
    const auto isRefused = [&](const std::vector<std::string>& words) {
        const Outcome refused = Run(words);
        EXPECT_EQ(refused.exitCode, 1) << testing::PrintToString(words);
        EXPECT_EQ(refused.out, "");
        EXPECT_THAT(refused.error, HasSubstr("the certificate does not fit or is not trusted"));
    };
    isRefused({"cat", "--settings", settings, m_Server.SecureAddress("clip.mxf", "localhost")});
    isRefused({"cat", name}); // by those that the system trusts alone
    isRefused({"cat", "--settings", Trusting(m_Server.OtherAuthority()), name});
}

TEST_F(ToolNginxTest, AListMayHoldUrlsOfSeveralKinds) {
    m_Folder.Write("start", "good ");
    m_Folder.Write("list", "start\n" + m_Server.SecureAddress("clip.mxf") + "\n" + m_Server.Address("empty") +
                               "\n" + m_Server.Address("folder/a b%25.mxf") + "\nstart\n" +
                               m_Server.Address("closed/clip.mxf", std::string("norvex:") + kPassword) +
                               "\n");
    const std::string settings = Trusting(m_Server.Authority());
    const std::string whole = "good " + m_Clip + "good morninggood " + m_Clip;
    const Outcome cat = Run({"cat", "-v", "--settings", settings, "@list"});
    EXPECT_EQ(cat.exitCode, 0) << cat.error;
    EXPECT_TRUE(cat.out == whole);
    EXPECT_THAT(cat.error, Not(HasSubstr(kPassword)));
    EXPECT_EQ(Run({"md5", "--settings", settings, "@list"}).out, Digest(whole) + "  @list\n");
    EXPECT_EQ(Run({"cat", "--settings", settings, "--offset", "5000000", "--length", "20", "@list"}).out,
              whole.substr(5'000'000, 20));
    const Outcome untrusted = Run({"cat", "@list"});
    EXPECT_EQ(untrusted.exitCode, 1);
    EXPECT_EQ(untrusted.out, "");
    EXPECT_THAT(untrusted.error, HasSubstr("entry 2 of 6, '" + m_Server.SecureAddress("clip.mxf") +
                                           "': the certificate does not fit or is not trusted"));
}
