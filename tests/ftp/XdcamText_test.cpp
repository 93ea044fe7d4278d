// What the texts of an XDCAM device mean.
#include "ftp/XdcamText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

using namespace vxcio;

namespace {

struct CodecCase {
    std::wstring line;
    int type;
    uint32 depth;
};

void ExpectCodecs(std::initializer_list<CodecCase> cases) {
    for (const CodecCase& one : cases) {
        const XdcamCodec codec = CodecIn(one.line);
        EXPECT_EQ(codec.type, one.type) << std::string(one.line.begin(), one.line.end());
        EXPECT_EQ(codec.depth, one.depth) << std::string(one.line.begin(), one.line.end());
    }
}

struct RateCase {
    std::wstring line;
    uint32 rate;
    uint32 scale;
};

void ExpectRates(std::initializer_list<RateCase> cases) {
    for (const RateCase& one : cases) {
        const XdcamRate rate = RateIn(one.line);
        EXPECT_EQ(rate.rate, one.rate) << std::string(one.line.begin(), one.line.end());
        EXPECT_EQ(rate.scale, one.scale) << std::string(one.line.begin(), one.line.end());
    }
}

constexpr uint64 kNone = 0xABCDEF;

// kNone where there is none. In memory of its exact size, so that a step over its end is seen.
uint64 Space(const std::string& report) {
    const std::unique_ptr<char[]> bytes(new char[report.size()]);
    std::copy(report.begin(), report.end(), bytes.get());
    uint64 space = kNone;
    const bool isThere = SpaceIn({bytes.get(), report.size()}, &space);
    EXPECT_TRUE(isThere || space == kNone);
    return space;
}

} // namespace

// ---- Codecs -------------------------------------------------------------------------------------------

TEST(XdcamTextTest, ACodecIsKnownByTheEndOfItsLine) {
    ExpectCodecs({{L"IMX50", 3, 16},
                  {L" Video: MPEG IMX40", 3, 16},
                  {L"xIMX30", 3, 16},
                  {L"  DV25", 6, 16},
                  {L"Codec:  DV25", 6, 16},
                  {L"  MPEG2HD50CBR_1920_1080_422P@HL", 2, 24},
                  {L"Codec:  MPEG2HD50CBR_1920_1080_422P@HL", 2, 24},
                  {L"  Undefined CODEC type.", 2, 24},
                  {L"213-  Undefined CODEC type.", 2, 24}});
}

TEST(XdcamTextTest, AnyOtherCodecIsOne) {
    ExpectCodecs({{L"", 2, 16},
                  {L"MX50", 2, 16},
                  {L"IMX60", 2, 16},
                  {L"imx50", 2, 16},
                  {L"IMX50 ", 2, 16},
                  {L"IMX40x", 2, 16},
                  {L"IMX", 2, 16},
                  {L"DV25", 2, 16},
                  {L" DV25", 2, 16},
                  {L"x DV25", 2, 16},
                  {L"  DV50", 2, 16},
                  {L"  DV25.", 2, 16}});
}

TEST(XdcamTextTest, TheLongNamesWantTheirTwoBlanksAndAllTheirCharacters) {
    const std::wstring high = L"  MPEG2HD50CBR_1920_1080_422P@HL";
    const std::wstring none = L"  Undefined CODEC type.";
    ASSERT_EQ(high.size(), 32U);
    ASSERT_EQ(none.size(), 23U);
    ExpectCodecs({{high.substr(1), 2, 16},
                  {L"x" + high.substr(1), 2, 16},
                  {high.substr(0, 31), 2, 16},
                  {high + L" ", 2, 16},
                  {L"  MPEG2HD50CBR_1440_1080_422P@HL", 2, 16},
                  {none.substr(1), 2, 16},
                  {L"\t" + none.substr(1), 2, 16},
                  {none.substr(0, 22), 2, 16},
                  {none + L".", 2, 16},
                  {L"  undefined codec type.", 2, 16}});
}

// ---- Rates --------------------------------------------------------------------------------------------

TEST(XdcamTextTest, ARateIsKnownByTheEndOfItsLine) {
    ExpectRates({{L"50i", 25, 1},
                 {L"59.94i", 30000, 1001},
                 {L"24p", 24, 1},
                 {L"rate 59.94i", 30000, 1001},
                 {L"x59.94i", 30000, 1001},
                 {L"150i", 25, 1},
                 {L"1080/24p", 24, 1}});
}

TEST(XdcamTextTest, AnyOtherRateIs25) {
    ExpectRates({{L"", 25, 1},
                 {L"9.94i", 25, 1},
                 {L"59.94p", 25, 1},
                 {L"59,94i", 25, 1},
                 {L"59.94i ", 25, 1},
                 {L"59.94I", 25, 1},
                 {L"24P", 25, 1},
                 {L"4p", 25, 1},
                 {L"24p.", 25, 1},
                 {L"23.98p", 25, 1},
                 {L"60i", 25, 1}});
}

// ---- Space --------------------------------------------------------------------------------------------

TEST(XdcamTextTest, TheSpaceIsTheNumberBehindTheWord) {
    EXPECT_EQ(Space("total 100 others 123456789 x"), 123456789U);
    EXPECT_EQ(Space("others 5 "), 5U);
    EXPECT_EQ(Space("others     5 "), 5U);
    EXPECT_EQ(Space("others5 "), 5U);
    EXPECT_EQ(Space("bothers 5 "), 5U);
    EXPECT_EQ(Space("others 0 "), 0U);
}

TEST(XdcamTextTest, WithoutTheWordThereIsNone) {
    EXPECT_EQ(Space(""), kNone);
    EXPECT_EQ(Space("total 100 "), kNone);
    EXPECT_EQ(Space("Others 5 "), kNone);
    EXPECT_EQ(Space("other 5 "), kNone);
    EXPECT_EQ(Space("other"), kNone);
    EXPECT_EQ(Space("oth ers 5 "), kNone);
}

TEST(XdcamTextTest, TheFirstOfSeveralCounts) {
    EXPECT_EQ(Space("others 5 others 6 "), 5U);
    EXPECT_EQ(Space("others others 6 "), 0U);
}

TEST(XdcamTextTest, WithoutABlankBehindItThereIsNone) {
    EXPECT_EQ(Space("others"), kNone);
    EXPECT_EQ(Space("others "), kNone);
    EXPECT_EQ(Space("others      "), kNone);
    EXPECT_EQ(Space("others 5"), kNone);
    EXPECT_EQ(Space("others 5\r\n"), kNone);
    EXPECT_EQ(Space("others 5\t"), kNone);
}

TEST(XdcamTextTest, ANumberHasUpTo29Characters) {
    const std::string zeros(28, '0');
    EXPECT_EQ(Space("others " + zeros + "7 "), 7U);
    EXPECT_EQ(Space("others " + zeros + "07 "), kNone);
    EXPECT_EQ(Space("others " + zeros + "007 "), kNone);
    EXPECT_EQ(Space("others 7" + zeros.substr(1) + "x "), 9223372036854775807U);
}

// Lines of a report are no borders of a number.
TEST(XdcamTextTest, WhatFollowsTheDigitsIsNotLookedAt) {
    EXPECT_EQ(Space("others 12x3 "), 12U);
    EXPECT_EQ(Space("others 12\r\nfree 7 "), 12U);
    EXPECT_EQ(Space("others x12 "), 0U);
    EXPECT_EQ(Space("others 1,000 "), 1U);
}

TEST(XdcamTextTest, BlanksOfOtherKindsAreSkippedInFrontOfTheDigits) {
    EXPECT_EQ(Space("others \t\r\n5 "), 5U);
    EXPECT_EQ(Space("others\t5 "), 5U);
    EXPECT_EQ(Space("others +5 "), 5U);
}

TEST(XdcamTextTest, ANumberBelow0GivesItsBits) {
    EXPECT_EQ(Space("others -5 "), 0U - uint64{5});
    EXPECT_EQ(Space("others -99999999999999999999 "), 0x8000000000000000U);
}

TEST(XdcamTextTest, ANumberBeyondTheRangeIsItsEnd) {
    EXPECT_EQ(Space("others 9223372036854775807 "), 0x7FFFFFFFFFFFFFFFU);
    EXPECT_EQ(Space("others 9223372036854775808 "), 0x7FFFFFFFFFFFFFFFU);
    EXPECT_EQ(Space("others 18446744073709551615 "), 0x7FFFFFFFFFFFFFFFU);
}

TEST(XdcamTextTest, ZeroBytesAreBytesLikeOthers) {
    using namespace std::string_literals;
    EXPECT_EQ(Space("a\0b\0others 5 "s), 5U);
    EXPECT_EQ(Space("others 5\0 "s), 5U);
    EXPECT_EQ(Space("others 5\0006 "s), 5U);
    EXPECT_EQ(Space("others \0 "s), 0U);
    EXPECT_EQ(Space("others 5\0"s), kNone);
}
