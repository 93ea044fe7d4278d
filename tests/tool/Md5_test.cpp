#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace vxcio::test;
using nlohmann::json;
using testing::HasSubstr;

namespace {

class ToolMd5Test : public testing::Test {
protected:
    TempFolder m_Folder;

    Outcome Tool(const std::vector<std::string>& arguments, const std::string& input = {}) const {
        return RunTool(arguments, {.folder = m_Folder.Path().string(), .input = input});
    }
    // An independent program.
    Outcome Other(const std::vector<std::string>& arguments) const {
        std::vector<std::string> command = {"md5sum"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return RunProgram(command, {.folder = m_Folder.Path().string()});
    }
};

const std::string kEmptyDigest = "d41d8cd98f00b204e9800998ecf8427e";

} // namespace

TEST_F(ToolMd5Test, DigestsAndLinesAreThoseOfAnotherProgram) {
    std::vector<std::string> names = {"back\\slash", "line\nend", "car\rriage", "two  blanks", "\xFF"};
    for (const std::size_t bytes : {0u, 1u, 511u, 512u, 513u, 1048575u, 1048576u, 1048577u, 3000001u}) {
        names.push_back("clip" + std::to_string(bytes));
        m_Folder.WritePattern(names.back(), bytes, 3);
    }
    for (std::size_t i = 0; i < 5; ++i) {
        m_Folder.Write(names[i], names[i]);
    }
    const Outcome expected = Other(names);
    ASSERT_EQ(expected.exitCode, 0);
    std::vector<std::string> arguments = {"md5"};
    arguments.insert(arguments.end(), names.begin(), names.end());
    const Outcome outcome = Tool(arguments);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.out, expected.out);
    arguments.emplace_back("--unbuffered");
    EXPECT_EQ(Tool(arguments).out, expected.out);
}

TEST_F(ToolMd5Test, AGoodListIsConfirmed) {
    m_Folder.Write("a", "hello\n");
    m_Folder.Write("b\\c", "hello\n");
    m_Folder.Write("d\n\\", "hello\n");
    m_Folder.Write("list", Other({"a", "b\\c", "d\n\\"}).out + Other({"--tag", "a"}).out +
                               Other({"-b", "a"}).out + "# a comment\n");
    const Outcome outcome = Tool({"md5", "-c", "list"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.out, "a: OK\nb\\c: OK\n\\d\\n\\\\: OK\na: OK\na: OK\n");
    EXPECT_EQ(outcome.out, Other({"-c", "list"}).out);
    EXPECT_EQ(outcome.error, "");
}

TEST_F(ToolMd5Test, ItsOwnLinesCanBeChecked) {
    m_Folder.Write("a", "hello\n");
    const Outcome lines = Tool({"md5", "a"});
    EXPECT_EQ(Tool({"md5", "-c", "-"}, lines.out).out, "a: OK\n");
    m_Folder.Write("list", lines.out);
    EXPECT_EQ(Other({"-c", "list"}).exitCode, 0);
}

TEST_F(ToolMd5Test, ADigestThatDiffersHasAnExitCodeOfItsOwn) {
    m_Folder.Write("a", "hello\n");
    m_Folder.Write("e", "");
    m_Folder.Write("list",
                   kEmptyDigest + "  a\n" + kEmptyDigest + "  e\n" + kEmptyDigest + "  missing\nrubbish\n");
    const Outcome outcome = Tool({"md5", "-c", "list"});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_EQ(outcome.out, "a: FAILED\ne: OK\nmissing: FAILED open or read\n");
    EXPECT_EQ(outcome.out, Other({"-c", "list"}).out);
    EXPECT_THAT(outcome.error, HasSubstr("WARNING: 1 line is improperly formatted\n"));
    EXPECT_THAT(outcome.error, HasSubstr("WARNING: 1 listed file could not be read\n"));
    EXPECT_THAT(outcome.error, HasSubstr("WARNING: 1 computed checksum did NOT match\n"));
    EXPECT_THAT(outcome.error, HasSubstr("'missing': cannot open it: No such file"));
    const json all = json::parse(Tool({"md5", "--json", "-c", "list"}).out);
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0]["result"], "FAILED");
    EXPECT_EQ(all[0]["md5"], "b1946ac92492d2347c6235b4d2611184");
    EXPECT_EQ(all[1]["result"], "OK");
    EXPECT_EQ(all[2]["result"], "FAILED open or read");
}

TEST_F(ToolMd5Test, AListedFileThatIsMissingIsAFailure) {
    m_Folder.Write("list", kEmptyDigest + "  m\n" + kEmptyDigest + "  n\n");
    const Outcome outcome = Tool({"md5", "-c", "list"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, HasSubstr("WARNING: 2 listed files could not be read\n"));
}

TEST_F(ToolMd5Test, ListsThatAreNoneAreTold) {
    m_Folder.Write("rubbish", "one\ntwo\n");
    m_Folder.Write("empty", "");
    for (const char* list : {"rubbish", "empty"}) {
        const Outcome outcome = Tool({"md5", "-c", list});
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.error,
                    HasSubstr(std::string(list) + ": no properly formatted MD5 checksum lines found"));
    }
    EXPECT_THAT(Tool({"md5", "-c", "."}).error, HasSubstr("it is a folder"));
    const Outcome missing = Tool({"md5", "-c", "missing"});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_THAT(missing.error, HasSubstr("cannot open the list 'missing': No such file or directory"));
}

TEST_F(ToolMd5Test, OneBadNameDoesNotKeepTheOthersBack) {
    m_Folder.Write("e", "");
    const Outcome outcome = Tool({"md5", "missing", "e", "."});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.out, kEmptyDigest + "  e\n");
    EXPECT_THAT(outcome.error, HasSubstr("vxcio: md5: 'missing': cannot open it: No such file"));
    EXPECT_THAT(outcome.error, HasSubstr("vxcio: md5: '.': cannot open it: it is a folder"));
    const json all = json::parse(Tool({"md5", "--json", "missing", "e"}).out);
    ASSERT_EQ(all.size(), 2u);
    EXPECT_TRUE(all[0].contains("error"));
    EXPECT_EQ(all[1], json({{"name", "e"}, {"size", 0}, {"md5", kEmptyDigest}}));
}
