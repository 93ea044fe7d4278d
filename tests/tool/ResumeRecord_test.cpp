// What a download notes about its part, and where a part is looked at.
#include "ComparePart.h"
#include "ResumeRecord.h"

#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace vxcio;
using namespace vxcio::test;
using namespace vxcio::tool;

namespace {
const ResumeRecord kRecord{"ftp://norvex@h:2121/a%20b", 3'000'001, 134'087'461'200'000'000, 1'048'576};
}

TEST(ToolResumeRecordTest, ARecordReadsBackAsItWasWritten) {
    EXPECT_EQ(ParseRecord(FormatRecord(kRecord)), kRecord);
    const TempFolder folder;
    const std::string part = folder.Name("clip.qlqlql");
    EXPECT_EQ(ReadRecord(part, {}), std::nullopt);
    EXPECT_EQ(WriteRecord(part, kRecord, {}), "");
    EXPECT_EQ(ReadRecord(part, {}), kRecord);
    RemoveRecord(part, {});
    EXPECT_FALSE(std::filesystem::exists(part + ".from"));
}

TEST(ToolResumeRecordTest, AnythingElseIsNoRecord) {
    const std::string good = FormatRecord(kRecord);
    for (const std::string& text :
         {std::string(), std::string("vxcio part 1"), good.substr(0, good.size() - 1), good + "\n",
          good + "more\n", "x" + good, "vxcio part 2" + good.substr(12), "vxcio part 11" + good.substr(12),
          good.substr(13), std::string(good).replace(good.find("3000001"), 7, "-300001"),
          std::string(good).replace(good.find("3000001"), 7, "3000001 "),
          std::string(good).replace(good.find("3000001"), 7, "99999999999999999999"),
          std::string(good).replace(good.find("3000001"), 7, ""), std::string(100'000, 'x'),
          std::string("\0\0\0", 3)}) {
        EXPECT_EQ(ParseRecord(text), std::nullopt) << text.substr(0, 200);
    }
}

TEST(ToolResumeRecordTest, WhatIsNoOrdinaryFileHasNoRecordAndIsNotWrittenThrough) {
    const TempFolder folder;
    const std::string part = folder.Name("clip.qlqlql");
    folder.Write("precious", "as before");
    std::filesystem::create_symlink("precious", part + ".from");
    EXPECT_EQ(WriteRecord(part, kRecord, {}), "");
    EXPECT_EQ(folder.Read("precious"), "as before");
    EXPECT_EQ(ReadRecord(part, {}), kRecord);
    std::filesystem::remove(part + ".from");
    std::filesystem::create_directory(part + ".from");
    folder.Write("clip.qlqlql.from/inside", "1");
    EXPECT_EQ(ReadRecord(part, {}), std::nullopt);
    EXPECT_NE(WriteRecord(part, kRecord, {}), "");
    folder.Write("large.from", FormatRecord(kRecord) + std::string(100'000, '\n'));
    EXPECT_EQ(ReadRecord(folder.Name("large"), {}), std::nullopt);
}

TEST(ToolResumeRecordTest, WindowsLieApartInOrderAndReachBothEnds) {
    constexpr uint64 kMiB = 1u << 20;
    EXPECT_EQ(WindowsOf(1), (std::vector<Range>{{0, 1}}));
    EXPECT_EQ(WindowsOf(11 * kMiB), (std::vector<Range>{{0, 11 * kMiB}}));
    for (const uint64 bytes : {11 * kMiB + 1, 12'345'678 * uint64{3}, uint64{5} << 40}) {
        const std::vector<Range> windows = WindowsOf(bytes);
        ASSERT_EQ(windows.size(), 16u);
        EXPECT_EQ(windows.front(), (Range{0, kMiB}));
        EXPECT_EQ(windows.back(), (Range{bytes - kMiB, kMiB}));
        for (std::size_t i = 1; i < windows.size(); ++i) {
            EXPECT_GE(windows[i].from, windows[i - 1].from + windows[i - 1].bytes);
            EXPECT_LE(windows[i].from - windows[i - 1].from, bytes / 13 + kMiB);
            EXPECT_EQ(windows[i].bytes, i == 15 ? kMiB : kMiB / 4);
        }
    }
}
