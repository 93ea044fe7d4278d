// vxcio ls, exists, rm, mv, mkdir and rmdir on files and folders of this system.
#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <filesystem>

using namespace vxcio::test;
using testing::HasSubstr;
namespace fs = std::filesystem;

namespace {

class ToolFilesTest : public testing::Test {
protected:
    Outcome Run(const std::vector<std::string>& words) const {
        return RunTool(words, {.folder = m_Folder.Path().string()});
    }
    bool Has(const std::string& name) const { return fs::exists(fs::symlink_status(m_Folder.Name(name))); }

    TempFolder m_Folder;
};

} // namespace

TEST_F(ToolFilesTest, ListingsAreInOrderWithSizesAndTimes) {
    m_Folder.Write("folder/b", "12345");
    m_Folder.Write("folder/a", "1");
    fs::create_directory(m_Folder.Name("folder/sub"));
    fs::last_write_time(m_Folder.Name("folder/b"),
                        fs::file_time_type(std::chrono::file_clock::from_sys(std::chrono::sys_seconds(
                            std::chrono::sys_days(std::chrono::year(2001) / 2 / 3)))));
    EXPECT_EQ(Run({"ls", "folder"}).out, "a\nb\nsub\n");
    EXPECT_EQ(Run({"ls", "-l", "folder/b"}).out, "- 5  2001-02-03 00:00  folder/b\n");
    EXPECT_EQ(Run({"ls", "folder/a", "folder"}).out, "folder/a:\nfolder/a\n\nfolder:\na\nb\nsub\n");
    const nlohmann::json json = nlohmann::json::parse(Run({"ls", "--json", "folder"}).out);
    EXPECT_EQ(json[0]["entries"][1]["size"], 5);
    EXPECT_EQ(json[0]["entries"][1]["modified"], "2001-02-03 00:00");
    EXPECT_EQ(json[0]["entries"][2]["kind"], "folder");
    EXPECT_EQ(Run({"ls", "nothing"}).exitCode, 1);
}

TEST_F(ToolFilesTest, WhatIsThereExists) {
    m_Folder.Write("a", "1");
    const Outcome outcome = Run({"exists", "a", ".", "x"});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_EQ(outcome.out, "a: yes\n.: yes, a folder\nx: no\n");
    EXPECT_EQ(Run({"exists", "a"}).exitCode, 0);
    const nlohmann::json json = nlohmann::json::parse(Run({"exists", "--json", "a", "x"}).out);
    EXPECT_EQ(json[0]["exists"], true);
    EXPECT_EQ(json[1]["exists"], false);
}

TEST_F(ToolFilesTest, FilesAreRemovedAndFoldersAreNot) {
    m_Folder.Write("a", "1");
    m_Folder.Write("b", "1");
    fs::create_directory(m_Folder.Name("folder"));
    const Outcome outcome = Run({"rm", "a", "folder", "nothing", "b"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_FALSE(Has("a") || Has("b"));
    EXPECT_TRUE(Has("folder"));
    EXPECT_THAT(outcome.error, AllOf(HasSubstr("'folder': "), HasSubstr("'nothing': ")));
    EXPECT_EQ(Run({"rm", ""}).exitCode, 1);
}

TEST_F(ToolFilesTest, AFolderIsMadeOnceAndRemovedWhenItIsEmpty) {
    EXPECT_EQ(Run({"mkdir", "folder"}).exitCode, 0);
    EXPECT_TRUE(fs::is_directory(m_Folder.Name("folder")));
    EXPECT_EQ(Run({"mkdir", "folder"}).exitCode, 1);
    m_Folder.Write("folder/a", "1");
    EXPECT_EQ(Run({"rmdir", "folder"}).exitCode, 1);
    EXPECT_EQ(Run({"rmdir", "folder/a"}).exitCode, 1);
    EXPECT_TRUE(Has("folder/a"));
    EXPECT_EQ(Run({"rm", "folder/a"}).exitCode, 0);
    EXPECT_EQ(Run({"rmdir", "folder"}).exitCode, 0);
    EXPECT_FALSE(Has("folder"));
    // A folder that is not there is not made by removing it.
    EXPECT_EQ(Run({"rmdir", "folder"}).exitCode, 1);
    EXPECT_FALSE(Has("folder"));
}

TEST_F(ToolFilesTest, AMoveLosesNothing) {
    m_Folder.Write("a", "1");
    m_Folder.Write("b", "2");
    EXPECT_EQ(Run({"mv", "a", "a"}).exitCode, 0);
    EXPECT_EQ(m_Folder.Read("a"), "1");
    EXPECT_EQ(Run({"mv", "nothing", "b"}).exitCode, 1);
    EXPECT_EQ(m_Folder.Read("b"), "2");
    EXPECT_EQ(Run({"mv", "a", "b"}).exitCode, 0);
    EXPECT_EQ(m_Folder.Read("b"), "1");
    EXPECT_FALSE(Has("a"));
    fs::create_directory(m_Folder.Name("folder"));
    EXPECT_EQ(Run({"mv", "b", "folder"}).exitCode, 1);
    EXPECT_TRUE(Has("b"));
    EXPECT_EQ(Run({"mv", "b"}).exitCode, 2);
}
