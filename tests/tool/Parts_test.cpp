// The parts of the tool that need no process: sizes, names, lists of digests, the bar.
#include "DigestList.h"
#include "Progress.h"
#include "Sizes.h"
#include "Text.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace vxcio::tool;

TEST(ToolSizesTest, NumbersTakeUnitsOf1024InAnyCase) {
    EXPECT_EQ(ParseSize("0"), 0u);
    EXPECT_EQ(ParseSize("4096"), 4096u);
    EXPECT_EQ(ParseSize("3k"), 3072u);
    EXPECT_EQ(ParseSize("64K"), 65536u);
    EXPECT_EQ(ParseSize("2M"), 2097152u);
    EXPECT_EQ(ParseSize("5g"), 5368709120u);
    EXPECT_EQ(ParseSize("0x10"), 16u);
    EXPECT_EQ(ParseSize("0X2m"), 2097152u);
}

TEST(ToolSizesTest, WhatIsNoSizeIsRefused) {
    for (const char* text :
         {"", "K", "0x", "0xK", "1.5M", "-1", "+1", " 1", "1 ", "1KB", "1T", "ten", "1K1", "--"}) {
        EXPECT_FALSE(ParseSize(text).has_value()) << text;
    }
}

TEST(ToolSizesTest, WhatDoesNotFit64BitsIsRefused) {
    EXPECT_EQ(ParseSize("18446744073709551615"), UINT64_MAX);
    EXPECT_FALSE(ParseSize("18446744073709551616").has_value());
    EXPECT_EQ(ParseSize("17179869183G"), 17179869183ull << 30);
    EXPECT_FALSE(ParseSize("17179869184G").has_value());
    EXPECT_FALSE(ParseSize("18014398509481984K").has_value());
}

TEST(ToolSizesTest, SizesAreReadable) {
    EXPECT_EQ(WithCommas(0), "0");
    EXPECT_EQ(WithCommas(999), "999");
    EXPECT_EQ(WithCommas(1000), "1,000");
    EXPECT_EQ(WithCommas(1234567), "1,234,567");
    EXPECT_EQ(ReadableSize(512), "512 bytes");
    EXPECT_EQ(ReadableSize(1536), "1.5 KiB");
    EXPECT_EQ(ReadableSize(3.0 * 1024 * 1024 * 1024), "3.0 GiB");
}

TEST(ToolTextTest, EveryByteOfANameSurvivesTheRoundTrip) {
    std::string name = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\xAC";
    for (int byte = 1; byte < 256; ++byte) {
        name += static_cast<char>(byte);
    }
    EXPECT_EQ(Narrow(Widen(name)), name);
    for (const char* odd :
         {"\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\xF0\x9F"}) {
        EXPECT_EQ(Narrow(Widen(odd)), odd);
    }
    EXPECT_EQ(Widen("\xE2\x82\xAC"), std::wstring(1, static_cast<wchar_t>(0x20AC)));
    EXPECT_EQ(Widen("\xFF"), std::wstring(1, static_cast<wchar_t>(0xDCFF)));
}

TEST(ToolTextTest, NamesOfListsAreEscapedAndBack) {
    bool escaped = true;
    EXPECT_EQ(EscapeName("clip.mxf", escaped), "clip.mxf");
    EXPECT_FALSE(escaped);
    EXPECT_EQ(EscapeName("a\\b\nc\rd", escaped), "a\\\\b\\nc\\rd");
    EXPECT_TRUE(escaped);
    EXPECT_EQ(UnescapeName("a\\\\b\\nc\\rd"), "a\\b\nc\rd");
    EXPECT_FALSE(UnescapeName("a\\").has_value());
    EXPECT_FALSE(UnescapeName("a\\x").has_value());
}

namespace {
const std::string kDigest = "0123456789abcdef0123456789abcdef";
}

TEST(ToolDigestListTest, LinesOfAllFormsAreUnderstood) {
    for (const std::string& line :
         {kDigest + "  a b", kDigest + " *a b", "  " + kDigest + "  a b", kDigest + "  a b\r",
          "MD5 (a b) = " + kDigest, std::string("0123456789ABCDEF0123456789ABCDEF  a b")}) {
        const std::optional<DigestLine> entry = ParseDigestLine(line);
        ASSERT_TRUE(entry.has_value()) << line;
        EXPECT_EQ(entry->digest, kDigest);
        EXPECT_EQ(entry->name, "a b");
        EXPECT_EQ(entry->printed, "a b");
    }
    const std::optional<DigestLine> odd = ParseDigestLine("\\" + kDigest + "  a\\nb");
    ASSERT_TRUE(odd.has_value());
    EXPECT_EQ(odd->name, "a\nb");
    EXPECT_EQ(odd->printed, "\\a\\nb");
    // Without the mark in front a backslash is one.
    EXPECT_EQ(ParseDigestLine(kDigest + "  a\\nb")->name, "a\\nb");
}

TEST(ToolDigestListTest, OtherLinesAreRefused) {
    for (const std::string& line :
         {std::string(), std::string("x"), kDigest, kDigest + " ", kDigest + "  ", kDigest + " x",
          kDigest + "0  x", std::string("g123456789abcdef0123456789abcdef  x"), "\\" + kDigest + "  a\\q",
          "\\" + kDigest + "  a\\", std::string("MD5 (x) = 12"), std::string("MD5 () = ") + kDigest,
          std::string("MD5 (x")}) {
        EXPECT_FALSE(ParseDigestLine(line).has_value()) << line;
    }
}

TEST(ToolDigestListTest, ALineThatNeverEndsFillsNoMemory) {
    std::istringstream in(std::string(3u << 20, 'x') + "\nlast");
    std::string line;
    ASSERT_TRUE(NextLine(in, line));
    EXPECT_EQ(line.size(), 1u << 20);
    ASSERT_TRUE(NextLine(in, line));
    EXPECT_EQ(line, "last");
    EXPECT_FALSE(NextLine(in, line));
}

namespace {

// A bar on a clock that the test moves.
struct Stage {
    Progress::Clock::time_point now{};
    std::vector<std::string> shown;

    Progress::Ground Ground(bool enabled, int columns) {
        return {enabled, columns, [this] { return now; },
                [this](std::string_view bar) { shown.emplace_back(bar); }};
    }
};

} // namespace

TEST(ToolProgressTest, NothingIsDrawnInTheFirstSecond) {
    Stage stage;
    {
        Progress progress(stage.Ground(true, 100));
        progress.Begin("clip.mxf", 1000);
        stage.now += std::chrono::milliseconds(999);
        progress.Reach(900);
    }
    EXPECT_TRUE(stage.shown.empty());
}

TEST(ToolProgressTest, TheBarTellsPartRateAndRemainingTime) {
    Stage stage;
    Progress progress(stage.Ground(true, 100));
    progress.Begin("clip.mxf", 100u << 20);
    stage.now += std::chrono::seconds(5);
    progress.Reach(25u << 20);
    ASSERT_EQ(stage.shown.size(), 1u);
    EXPECT_EQ(stage.shown[0],
              "clip.mxf  25% [##########..............................] 5.0 MiB/s  0:15 left");
    progress.End();
    ASSERT_EQ(stage.shown.size(), 2u);
    EXPECT_EQ(stage.shown[1], "");
}

TEST(ToolProgressTest, TheBarIsDrawnAtMostFiveTimesASecond) {
    Stage stage;
    Progress progress(stage.Ground(true, 100));
    progress.Begin("clip.mxf", 100);
    stage.now += std::chrono::seconds(1);
    progress.Reach(1);
    stage.now += std::chrono::milliseconds(199);
    progress.Reach(2);
    EXPECT_EQ(stage.shown.size(), 1u);
    stage.now += std::chrono::milliseconds(1);
    progress.Reach(3);
    EXPECT_EQ(stage.shown.size(), 2u);
}

TEST(ToolProgressTest, ANarrowTerminalGetsNoLineThatWraps) {
    for (int columns = 40; columns < 120; ++columns) {
        Stage stage;
        Progress progress(stage.Ground(true, columns));
        progress.Begin("a name that is much too long for any bar.mxf", 100u << 20);
        stage.now += std::chrono::seconds(2);
        progress.Reach(25u << 20);
        ASSERT_EQ(stage.shown.size(), 1u);
        if (columns >= 60) {
            EXPECT_LT(stage.shown[0].size(), static_cast<std::size_t>(columns)) << stage.shown[0];
        }
        EXPECT_EQ(stage.shown[0].substr(0, 3), "...");
    }
}

TEST(ToolProgressTest, WithoutATerminalNothingIsDrawn) {
    Stage stage;
    Progress progress(stage.Ground(false, 100));
    progress.Begin("clip.mxf", 100);
    stage.now += std::chrono::seconds(9);
    progress.Reach(50);
    progress.End();
    EXPECT_TRUE(stage.shown.empty());
}

TEST(ToolProgressTest, WithoutATotalBytesAndRateAreShown) {
    Stage stage;
    Progress progress(stage.Ground(true, 100));
    progress.Begin("zero", 0);
    stage.now += std::chrono::seconds(2);
    progress.Reach(4096);
    ASSERT_EQ(stage.shown.size(), 1u);
    EXPECT_EQ(stage.shown[0], "zero  4.0 KiB  2.0 KiB/s");
}
