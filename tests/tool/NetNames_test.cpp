// vxcio path and vxcio shares: what becomes of names, by a configuration, a drive map and settings of the
// test's own.
#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <unistd.h>

using namespace vxcio::test;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

namespace {

class ToolNetNamesTest : public testing::Test {
protected:
    ToolNetNamesTest() {
        std::filesystem::create_directories(m_Folder.Path() / "media/clips");
        std::filesystem::create_directories(m_Folder.Path() / "users");
        m_Folder.Write("media/clip.mxf", "content");
        Configure("[global]\n netbios name = studio\n workgroup = House\n");
        Settle("0");
    }

    // `text` in front of the shares.
    void Configure(const std::string& text) {
        m_Folder.Write("smb.conf", text + " usershare path = " + m_Folder.Name("users") +
                                       "\n[Media]\n path = " + m_Folder.Name("media") + "\n");
    }
    void Settle(const std::string& notCall, const std::string& more = {}) {
        m_Folder.Write("settings",
                       "[Software\\Norvex\\SoftCodec]\nSambaConfiguration = " + m_Folder.Name("smb.conf") +
                           "\nNotCall_UNC2LOCAL = " + notCall + "\n" + more);
    }
    Outcome Run(std::vector<std::string> words) const {
        words.insert(words.begin(), {"--settings", m_Folder.Name("settings")});
        return RunTool(words, {.folder = m_Folder.Path().string()});
    }
    json Path(const std::string& name) const {
        const Outcome outcome = Run({"path", "--json", "--", name});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
        return json::parse(outcome.out).at(0);
    }
    // As the table writes a folder of this system.
    std::string InTable(const std::string& file) const {
        std::string name = m_Folder.Name(file);
        std::replace(name.begin(), name.end(), '/', '\\');
        return name;
    }

    TempFolder m_Folder;
};

} // namespace

TEST_F(ToolNetNamesTest, AShareOfThisMachineIsItsFolder) {
    const json told = Path("\\\\STUDIO\\media\\clip.mxf");
    EXPECT_EQ(told["rule"], "share");
    EXPECT_EQ(told["openedAs"], InTable("media") + "\\clip.mxf");
    EXPECT_EQ(told["localFile"], InTable("media") + "\\clip.mxf");
    EXPECT_EQ(told["systemFile"], m_Folder.Name("media/clip.mxf"));
    EXPECT_EQ(told["shareName"], "HOUSE\\\\STUDIO\\Media\\clip.mxf");
    EXPECT_EQ(Run({"cat", "\\\\studio\\MEDIA\\clip.mxf"}).out, "content");
}

TEST_F(ToolNetNamesTest, AFileOfThisSystemIsAskedForWithBackslashes) {
    const json told = Path(m_Folder.Name("media/clip.mxf"));
    EXPECT_EQ(told["rule"], "plain");
    EXPECT_EQ(told["openedAs"], m_Folder.Name("media/clip.mxf"));
    EXPECT_TRUE(told["localFile"].is_null());
    EXPECT_EQ(told["shareName"], "HOUSE\\\\STUDIO\\Media\\clip.mxf");
    EXPECT_EQ(told["systemFile"], m_Folder.Name("media/clip.mxf"));
    EXPECT_EQ(Path(m_Folder.Name("smb.conf"))["shareName"], "Local\\" + InTable("smb.conf"));
    EXPECT_TRUE(Path("/odd\\name")["shareName"].is_null());
}

TEST_F(ToolNetNamesTest, TheSettingDecidesWhatIsOpenedAndNotWhatIsKnown) {
    for (const char* const off : {"1", "7"}) {
        Settle(off);
        const json told = Path("\\\\STUDIO\\media\\clip.mxf");
        EXPECT_EQ(told["rule"], "off");
        EXPECT_THAT(told["ruleText"].get<std::string>(),
                    HasSubstr(std::string("NotCall_UNC2LOCAL is ") + off));
        EXPECT_EQ(told["openedAs"], "\\\\STUDIO\\media\\clip.mxf");
        EXPECT_EQ(told["localFile"], InTable("media") + "\\clip.mxf");
        EXPECT_TRUE(told["systemFile"].is_null());
        EXPECT_EQ(told["error"], 53);
    }
    Settle("-1");
    EXPECT_EQ(Path("\\\\STUDIO\\media\\clip.mxf")["rule"], "share");
    m_Folder.Write("settings", "");
    EXPECT_EQ(Path("\\\\STUDIO\\media\\clip.mxf")["rule"], "off");
}

TEST_F(ToolNetNamesTest, AnUnknownShareStays) {
    const json told = Path("\\\\STUDIO\\other\\clip.mxf");
    EXPECT_EQ(told["rule"], "unknown");
    EXPECT_EQ(told["openedAs"], "\\\\STUDIO\\other\\clip.mxf");
    EXPECT_TRUE(told["localFile"].is_null());
    EXPECT_TRUE(told["shareName"].is_null());
    EXPECT_THAT(Run({"path", "\\\\STUDIO\\other\\clip.mxf"}).out, HasSubstr("none: the share is mapped"));
}

TEST_F(ToolNetNamesTest, NamesOfMediaAndLocalOnesHaveTheirRules) {
    for (const char* const medium : {"DVD*1", "p2*x\\\\y", "P2CLIPINFO*x", "xdcam*\\\\STUDIO\\media\\x"}) {
        const json told = Path(medium);
        EXPECT_EQ(told["rule"], "medium") << medium;
        EXPECT_EQ(told["openedAs"], medium);
        EXPECT_TRUE(told["localFile"].is_null());
    }
    EXPECT_THAT(Path("P2CLIPINFO*x")["ruleText"].get<std::string>(), HasSubstr("P2CLIPINFO*"));
    const json local = Path("local\\clip.mxf");
    EXPECT_EQ(local["rule"], "local");
    EXPECT_EQ(local["openedAs"], "clip.mxf");
    EXPECT_EQ(local["localFile"], "clip.mxf");
    EXPECT_EQ(local["systemFile"], "clip.mxf");
}

TEST_F(ToolNetNamesTest, ADriveEndsInItsFolder) {
    Settle("0", "[Software\\Norvex\\DriveMap]\nD = " + m_Folder.Name("media") + "\n");
    EXPECT_EQ(Path("D:\\clips\\..\\clip.mxf")["systemFile"], m_Folder.Name("media/clip.mxf"));
    const json unmapped = Path("Q:\\clip.mxf");
    EXPECT_TRUE(unmapped["systemFile"].is_null());
    EXPECT_EQ(unmapped["error"], 3);
    EXPECT_THAT(Run({"path", "Q:\\clip.mxf"}).out,
                HasSubstr("  system file  none: the drive is mapped nowhere\n"));
}

TEST_F(ToolNetNamesTest, NamesOfServersAreLeftAloneAndTheirPasswordsUnseen) {
    for (const auto& [name, rule] : {std::pair<std::string, std::string>("ftp://u:s3cret@h/x", "ftp"),
                                     {"https://u:s3cret@h/x", "url"},
                                     {"http://u:s3cret@h:x/", "url"},
                                     {"httpd.conf", "url"}}) {
        const json told = Path(name);
        EXPECT_EQ(told["rule"], rule) << name;
        EXPECT_TRUE(told["systemFile"].is_null());
        EXPECT_FALSE(told.contains("error"));
        EXPECT_THAT(told.dump(), Not(HasSubstr("s3cret")));
        const Outcome text = Run({"path", name});
        EXPECT_THAT(text.out, HasSubstr("left alone"));
        EXPECT_THAT(text.out + text.error, Not(HasSubstr("s3cret")));
    }
}

TEST_F(ToolNetNamesTest, OneBadNameDoesNotKeepTheOthersBack) {
    const Outcome outcome = Run({"path", "", "clip.mxf"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, HasSubstr("path: '': the name is empty"));
    EXPECT_THAT(outcome.out,
                HasSubstr("clip.mxf\n  opened as    clip.mxf\n  rule         no name of a share"));
    EXPECT_EQ(Run({"path", std::string(5000, 'x')}).exitCode, 0);
    EXPECT_EQ(Run({"path", "\\\\" + std::string(5000, 'x') + "\\y\\z"}).exitCode, 0);
}

TEST_F(ToolNetNamesTest, TheTableIsPrintedInColumns) {
    m_Folder.Write("users/t\xC3\xB6ne", "#VERSION 2\npath=" + m_Folder.Name("media/clips") +
                                            "\ncomment=\nusershare_acl=Everyone:R,\nguest_ok=n\n");
    Settle("0", "[Software\\Norvex\\QLSpecialDrivers]\nD = 1\n");
    const Outcome outcome = Run({"shares"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(outcome.out,
                HasSubstr("computer     STUDIO (netbios name in " + m_Folder.Name("smb.conf") + ")\n"));
    EXPECT_THAT(outcome.out, HasSubstr("work group   HOUSE\n"));
    EXPECT_THAT(outcome.out, HasSubstr("local drives D:\\\n"));
    EXPECT_THAT(outcome.out, HasSubstr("\nSHARE "));
    EXPECT_THAT(outcome.out, HasSubstr("\n\\\\STUDIO\\Media "));
    EXPECT_THAT(outcome.out, HasSubstr("  " + InTable("media") + "\n"));
    // The letters of two bytes take one column.
    const std::size_t first = outcome.out.find("\\\\STUDIO\\Media");
    const std::size_t second = outcome.out.find("\\\\STUDIO\\t\xC3\xB6ne");
    ASSERT_NE(second, std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.out.find(InTable("media"), first) - first + 1,
              outcome.out.find(InTable("media"), second) - second);
}

TEST_F(ToolNetNamesTest, TheSameTableComesAsJson) {
    const Outcome outcome = Run({"shares", "--json"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
    const json all = json::parse(outcome.out);
    EXPECT_EQ(all["computer"], "STUDIO");
    EXPECT_EQ(all["computerFrom"], m_Folder.Name("smb.conf"));
    EXPECT_EQ(all["workgroup"], "HOUSE");
    EXPECT_EQ(all["configuration"], m_Folder.Name("smb.conf"));
    EXPECT_TRUE(all["localDrives"].empty());
    ASSERT_FALSE(all["shares"].empty());
    EXPECT_EQ(all["shares"][0]["share"], "\\\\STUDIO\\Media");
    EXPECT_EQ(all["shares"][0]["local"], InTable("media"));
    EXPECT_TRUE(all["shares"][0].contains("byAddress"));
}

TEST_F(ToolNetNamesTest, WithoutAConfigurationTheComputerHasTheHostsName) {
    std::filesystem::remove(m_Folder.Path() / "smb.conf");
    char host[256] = {};
    ASSERT_EQ(::gethostname(host, sizeof host - 1), 0);
    std::string name(host);
    name.resize(std::min(name.find('.'), name.size()));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c & ~0x20) : c; });
    const json all = json::parse(Run({"shares", "--json"}).out);
    EXPECT_EQ(all["computer"], name);
    EXPECT_EQ(all["computerFrom"], "host name");
    EXPECT_EQ(all["workgroup"], "");
    EXPECT_THAT(Run({"shares"}).out,
                HasSubstr("computer     " + name + " (the host's name)\nwork group   none\n"));
    // This machine may have mounted shares of others, which stay in the table.
    const bool isEmpty = all["shares"].empty();
    EXPECT_EQ(Run({"shares"}).out.find("No share is a folder") != std::string::npos, isEmpty);
}

TEST_F(ToolNetNamesTest, ABrokenConfigurationIsNoShareAndNoFailure) {
    m_Folder.Write("smb.conf", std::string("[global\nnetbios name = \xFF\xFE\0\n[media\npath\n]]]=\n\\", 45));
    EXPECT_EQ(Run({"shares"}).exitCode, 0);
    EXPECT_EQ(Path("\\\\STUDIO\\media\\clip.mxf")["rule"], "unknown");
    std::filesystem::remove(m_Folder.Path() / "smb.conf");
    std::filesystem::create_directory(m_Folder.Path() / "smb.conf");
    EXPECT_EQ(Run({"shares"}).exitCode, 0);
}
