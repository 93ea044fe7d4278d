#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>

using namespace vxcio::test;
using nlohmann::json;
using testing::HasSubstr;

TEST(ToolInfoTest, FactsOfAFileArePrinted) {
    const TempFolder folder(TempFolder::Kind::Memory);
    const std::string name = folder.WritePattern("clip.mxf", 2048, 1);
    const Outcome outcome = RunTool({"info", name});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.error, "");
    EXPECT_THAT(outcome.out, HasSubstr(name + "\n  source       CFileSource\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  size         2,048 bytes (2.0 KiB)\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  sector size  512 bytes\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  drive type   6 (memory)\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  direct I/O   "));
}

TEST(ToolInfoTest, TheSameFactsComeAsJson) {
    const TempFolder folder;
    const std::string name = folder.Write("clip.mxf", "");
    std::filesystem::resize_file(name, (4ull << 30) + 1);
    const Outcome outcome = RunTool({"info", "--json", name});
    EXPECT_EQ(outcome.exitCode, 0);
    const json all = json::parse(outcome.out);
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0]["name"], name);
    EXPECT_EQ(all[0]["source"], "CFileSource");
    EXPECT_EQ(all[0]["size"], (4ull << 30) + 1);
    EXPECT_GT(all[0]["sectorSize"], 0);
    EXPECT_EQ(all[0]["driveType"].type(), json::value_t::number_unsigned);
    EXPECT_TRUE(all[0]["directIO"].contains("offset"));
    EXPECT_TRUE(all[0]["directIO"].contains("memory"));
    EXPECT_NE(all[0]["fileSystem"], "");
}

TEST(ToolInfoTest, OneBadNameDoesNotKeepTheOthersBack) {
    const TempFolder folder;
    const std::string good = folder.Write("good", "12345");
    const Outcome text = RunTool({"info", folder.Name("missing"), good});
    EXPECT_EQ(text.exitCode, 1);
    EXPECT_THAT(text.out, HasSubstr("5 bytes"));
    EXPECT_THAT(text.error, HasSubstr("No such file"));
    const json all = json::parse(RunTool({"info", "--json", "http:x", good}).out);
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0]["source"], "CRemoteSource");
    EXPECT_THAT(all[0]["error"].get<std::string>(), HasSubstr("read as URLs"));
    EXPECT_EQ(all[1]["size"], 5);
}

TEST(ToolInfoTest, ANameThatIsNoUtf8StillGivesJson) {
    const TempFolder folder;
    folder.Write("\xFF.mxf", "1");
    const Outcome outcome = RunTool({"info", "--json", "\xFF.mxf"}, {.folder = folder.Path().string()});
    EXPECT_EQ(json::parse(outcome.out)[0]["name"], "\xEF\xBF\xBD.mxf");
}
