// vxcio with files on a real web server.
#include "support/TempFolder.h"
#include "tool/Nginx.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace vxcio::test;
using testing::HasSubstr;
using testing::Not;

namespace {

class ToolNginxTest : public testing::Test {
protected:
    void SetUp() override {
        VXC_NEEDS_NGINX(m_Server);
        const std::vector<uint8> pattern = Pattern(5'000'001, 4);
        m_Clip.assign(pattern.begin(), pattern.end());
        m_Server.Write("clip.mxf", m_Clip);
        m_Server.Write("closed/clip.mxf", m_Clip);
        m_Server.Write("empty", "");
        m_Server.Write("folder/a b%.mxf", "good morning");
    }
    Outcome Run(const std::vector<std::string>& words) const {
        return RunTool(words, {.folder = m_Folder.Path().string()});
    }
    std::string Digest(const std::string& content) const {
        return RunProgram({"md5sum", m_Folder.Write("digested", content)}).out.substr(0, 32);
    }

    TempFolder m_Folder;
    Nginx m_Server;
    std::string m_Clip;
};

} // namespace

TEST_F(ToolNginxTest, FilesAreReadTheirSizesToldAndTheirDigestsMade) {
    EXPECT_TRUE(Run({"cat", m_Server.Url("clip.mxf")}).out == m_Clip);
    EXPECT_EQ(Run({"cat", m_Server.Url("empty")}).exitCode, 0);
    EXPECT_EQ(Run({"cat", m_Server.Url("folder/a b%25.mxf")}).out, "good morning");
    EXPECT_EQ(Run({"cat", "--offset", "4999999", m_Server.Url("clip.mxf")}).out, m_Clip.substr(4999999));
    const nlohmann::json info = nlohmann::json::parse(Run({"info", "--json", m_Server.Url("clip.mxf")}).out);
    EXPECT_EQ(info[0]["size"], 5'000'001);
    const Outcome md5 = Run({"md5", m_Server.Url("clip.mxf"), m_Server.Url("empty")});
    EXPECT_EQ(md5.exitCode, 0) << md5.error;
    EXPECT_EQ(md5.out, Digest(m_Clip) + "  " + m_Server.Url("clip.mxf") + "\n" + Digest("") + "  " +
                           m_Server.Url("empty") + "\n");
}

TEST_F(ToolNginxTest, CopiesComeDownWhole) {
    const Outcome outcome =
        Run({"copy", "--verify", m_Server.Url("clip.mxf"), m_Server.Url("folder/a%20b%25.mxf"), "."});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_TRUE(m_Folder.Read("clip.mxf") == m_Clip);
    EXPECT_EQ(m_Folder.Read("a b%.mxf"), "good morning");
}

TEST_F(ToolNginxTest, ANameAndAPasswordOpenWhatIsClosed) {
    const std::string user = std::string(Nginx::kUser) + ":" + Nginx::kPassword;
    const Outcome outcome = Run({"md5", "-v", m_Server.Url("closed/clip.mxf", user)});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.out.substr(0, 32), Digest(m_Clip));
    EXPECT_THAT(outcome.out + outcome.error, Not(HasSubstr(Nginx::kPassword)));
    EXPECT_THAT(Run({"md5", m_Server.Url("closed/clip.mxf")}).error, HasSubstr("(401)"));
    EXPECT_THAT(Run({"md5", m_Server.Url("closed/clip.mxf", "norvex:wrong-77")}).error, HasSubstr("(401)"));
}

TEST_F(ToolNginxTest, WhatIsNotThereAndWhatIsAFolderIsTold) {
    const Outcome missing = Run({"cat", m_Server.Url("missing.mxf")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_THAT(missing.error, HasSubstr("there is no such file (404)"));
    EXPECT_THAT(Run({"cat", m_Server.Url("folder/")}).error, HasSubstr("the server forbids it (403)"));
}
