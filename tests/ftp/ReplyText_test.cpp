#include "ftp/ReplyText.h"
#include "support/MemoryLack.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

using namespace vxcio;
using namespace vxcio::test;

namespace {

// As the session has them when the reply comes: of the transfer before.
struct Address {
    CVXCString host = L"10.9.8.7";
    int port = 2121;

    explicit Address(const wchar_t* reply) { ParsePassiveReply(reply, host, port); }
    bool IsLeftAlone() const { return std::wstring(host.c_str()) == L"10.9.8.7" && port == 2121; }
};

} // namespace

TEST(ReplyTextNumberTest, ANumberIsItsBlanksOneSignAndDigits) {
    const struct {
        const wchar_t* text;
        int32 number;
    } cases[] = {{L"0", 0},
                 {L"220", 220},
                 {L"220-Hello", 220},
                 {L"  220", 220},
                 {L"\t\n\v\f\r 7", 7},
                 {L"+7", 7},
                 {L"-7", -7},
                 {L"00000000000000000000000000000012", 12},
                 {L"12 34", 12},
                 {L"1,2", 1},
                 {L"", 0},
                 {L"abc", 0},
                 {L"x1", 0},
                 {L"-", 0},
                 {L"--7", 0},
                 {L"+-7", 0},
                 {L"- 7", 0},
                 {L"-0", 0},
                 {L"0x10", 0},
                 {L"\x8\x31", 0}, // a control character that is no blank
                 {L"\xE\x31", 0},
                 {L"\u00A07", 0},      // a blank of another script
                 {L"\uFF11\uFF12", 0}, // digits of another width
                 {L"1\u0662", 1}};
    for (const auto& one : cases) {
        EXPECT_EQ(NumberAt(one.text), one.number) << one.text;
        EXPECT_EQ(LongNumberAt(one.text), one.number) << one.text;
    }
    EXPECT_EQ(NumberAt(nullptr), 0);
    EXPECT_EQ(LongNumberAt(nullptr), 0);
}

TEST(ReplyTextNumberTest, ANumberStopsAtTheEndsOf32Bits) {
    constexpr int32 kLeast = std::numeric_limits<int32>::min();
    constexpr int32 kMost = std::numeric_limits<int32>::max();
    EXPECT_EQ(NumberAt(L"2147483646"), kMost - 1);
    EXPECT_EQ(NumberAt(L"2147483647"), kMost);
    EXPECT_EQ(NumberAt(L"2147483648"), kMost);
    EXPECT_EQ(NumberAt(L"4294967296"), kMost);
    EXPECT_EQ(NumberAt(L"99999999999999999999999999"), kMost);
    EXPECT_EQ(NumberAt(L"-2147483647"), kLeast + 1);
    EXPECT_EQ(NumberAt(L"-2147483648"), kLeast);
    EXPECT_EQ(NumberAt(L"-2147483649"), kLeast);
    EXPECT_EQ(NumberAt(L"-99999999999999999999999999"), kLeast);
}

TEST(ReplyTextNumberTest, ALongNumberStopsAtTheEndsOf64Bits) {
    constexpr int64 kLeast = std::numeric_limits<int64>::min();
    constexpr int64 kMost = std::numeric_limits<int64>::max();
    EXPECT_EQ(LongNumberAt(L"4294967296"), 4294967296);
    EXPECT_EQ(LongNumberAt(L"9223372036854775806"), kMost - 1);
    EXPECT_EQ(LongNumberAt(L"9223372036854775807"), kMost);
    EXPECT_EQ(LongNumberAt(L"9223372036854775808"), kMost);
    EXPECT_EQ(LongNumberAt(L"18446744073709551616"), kMost);
    EXPECT_EQ(LongNumberAt(L"92233720368547758070"), kMost);
    EXPECT_EQ(LongNumberAt(L"-9223372036854775807"), kLeast + 1);
    EXPECT_EQ(LongNumberAt(L"-9223372036854775808"), kLeast);
    EXPECT_EQ(LongNumberAt(L"-9223372036854775809"), kLeast);
    EXPECT_EQ(LongNumberAt(L"-99999999999999999999999999"), kLeast);
}

TEST(ReplyTextNumberTest, BytesAreReadToTheirEndAndNoFurther) {
    const std::string_view digits = "1234567890";
    EXPECT_EQ(LongNumberIn(digits.substr(0, 0)), 0);
    EXPECT_EQ(LongNumberIn(digits.substr(0, 4)), 1234);
    EXPECT_EQ(LongNumberIn(" \t+12x"), 12);
    EXPECT_EQ(LongNumberIn("-"), 0);
    EXPECT_EQ(LongNumberIn("  "), 0);
    EXPECT_EQ(LongNumberIn(std::string_view("1\0002", 3)), 1);
    EXPECT_EQ(LongNumberIn("\xB2"), 0);
    EXPECT_EQ(LongNumberIn("9223372036854775808"), std::numeric_limits<int64>::max());
    EXPECT_EQ(LongNumberIn("-9223372036854775809"), std::numeric_limits<int64>::min());
}

TEST(ReplyTextPassiveTest, AnAddressStandsInTheBrackets) {
    const Address address(L"227 Entering Passive Mode (192,168,1,20,19,137)");
    EXPECT_STREQ(address.host, L"192.168.1.20");
    EXPECT_EQ(address.port, 19 * 256 + 137);
    const Address ended(L"227 Entering Passive Mode (127,0,0,1,0,21).");
    EXPECT_STREQ(ended.host, L"127.0.0.1");
    EXPECT_EQ(ended.port, 21);
    EXPECT_EQ(Address(L"227 (1,2,3,4,255,255)").port, 65535);
}

TEST(ReplyTextPassiveTest, TheFirstOfEachBracketCounts) {
    const Address address(L"227 (1,2,3,4,5,6) or (6,5,4,3,2,1)");
    EXPECT_STREQ(address.host, L"1.2.3.4");
    EXPECT_EQ(address.port, 5 * 256 + 6);
    const Address nested(L"227 ((1,2,3,4,5,6))");
    EXPECT_STREQ(nested.host, L"(1.2.3.4");
    EXPECT_EQ(nested.port, 5 * 256 + 6);
}

TEST(ReplyTextPassiveTest, WithoutBothBracketsNothingChanges) {
    EXPECT_TRUE(Address(L"227 Entering Passive Mode =1,2,3,4,5,6").IsLeftAlone());
    EXPECT_TRUE(Address(L"227 (1,2,3,4,5,6").IsLeftAlone());
    EXPECT_TRUE(Address(L"227 1,2,3,4,5,6)").IsLeftAlone());
    EXPECT_TRUE(Address(L"227 ) (1,2,3,4,5,6)").IsLeftAlone());
    EXPECT_TRUE(Address(L"").IsLeftAlone());
    EXPECT_TRUE(Address(nullptr).IsLeftAlone());
}

TEST(ReplyTextPassiveTest, WithoutTwoCommasNothingChanges) {
    EXPECT_TRUE(Address(L"227 ()").IsLeftAlone());
    EXPECT_TRUE(Address(L"227 (1)").IsLeftAlone());
    EXPECT_TRUE(Address(L"227 (1,2)").IsLeftAlone());
    EXPECT_TRUE(Address(L"227 (,)").IsLeftAlone());
    // Commas outside the brackets are none.
    EXPECT_TRUE(Address(L"227 1,2,3,(4,5),6,7").IsLeftAlone());
}

TEST(ReplyTextPassiveTest, TheHostIsWhatStandsBeforeTheLastTwoNumbers) {
    EXPECT_STREQ(Address(L"227 (1,2,3)").host, L"1");
    EXPECT_EQ(Address(L"227 (1,2,3)").port, 2 * 256 + 3);
    EXPECT_STREQ(Address(L"227 (,2,3)").host, L"");
    EXPECT_EQ(Address(L"227 (,2,3)").port, 2 * 256 + 3);
    EXPECT_STREQ(Address(L"227 (,,)").host, L"");
    EXPECT_EQ(Address(L"227 (,,)").port, 0);
    EXPECT_STREQ(Address(L"227 (1,2,3,4,5,6,7,8)").host, L"1.2.3.4.5.6");
    EXPECT_STREQ(Address(L"227 (host.example,5,6)").host, L"host.example");
    EXPECT_STREQ(Address(L"227 ( 1, 2,,4,5,6)").host, L" 1. 2..4");
}

TEST(ReplyTextPassiveTest, NumbersOfThePortAreTakenAsTheyAre) {
    EXPECT_EQ(Address(L"227 (1,2,3,4, 5, 6)").port, 5 * 256 + 6);
    EXPECT_EQ(Address(L"227 (1,2,3,4,5x,6y)").port, 5 * 256 + 6);
    EXPECT_EQ(Address(L"227 (1,2,3,4,x,y)").port, 0);
    EXPECT_EQ(Address(L"227 (1,2,3,4,300,300)").port, 300 * 256 + 300);
    EXPECT_EQ(Address(L"227 (1,2,3,4,0,-1)").port, -1);
    EXPECT_EQ(Address(L"227 (1,2,3,4,-1,0)").port, -256);
    EXPECT_EQ(Address(L"227 (1,2,3,4,99999999999,0)").port, -256);
    EXPECT_EQ(Address(L"227 (1,2,3,4,8388607,2147483647)").port, -257);
    EXPECT_EQ(Address(L"227 (1,2,3,4,-99999999999,5)").port, 5);
}

TEST(ReplyTextPassiveTest, ALongLineOfCommasIsReadInOneGo) {
    const std::wstring reply = L"227 (" + std::wstring(1000000, L',') + L"7,8)";
    const Address address(reply.c_str());
    EXPECT_EQ(std::wstring(address.host.c_str()), std::wstring(999999, L'.'));
    EXPECT_EQ(address.port, 7 * 256 + 8);
}

TEST(ReplyTextPassiveTest, WhereMemoryLacksNothingChanges) {
    for (const int nth : {1, 2}) {
        CVXCString host = L"10.9.8.7";
        int port = 2121;
        {
            MemoryLack lack(nth);
            ParsePassiveReply(L"227 (1,2,3,4,5,6)", host, port);
            EXPECT_TRUE(lack.Came()) << nth;
        }
        EXPECT_STREQ(host, L"10.9.8.7") << nth;
        EXPECT_EQ(port, 2121) << nth;
    }
}

TEST(ReplyTextSizeTest, ASizeStandsBehindTheLastBracket) {
    EXPECT_EQ(SizeInReply(L"150 Opening BINARY mode data connection for clip.mxf (12345 bytes)."), 12345U);
    EXPECT_EQ(SizeInReply(L"150 Opening data connection for clip (7).mxf (12345 bytes)"), 12345U);
    EXPECT_EQ(SizeInReply(L"150 x (123456789012 bytes)"), 123456789012U);
    EXPECT_EQ(SizeInReply(L"150 (12345) (x"), 0U);
}

TEST(ReplyTextSizeTest, ABracketAtTheHeadOrNoneTellsNoSize) {
    EXPECT_EQ(SizeInReply(L"150 Opening data connection"), 0U);
    EXPECT_EQ(SizeInReply(L"(12345 bytes)"), 0U);
    EXPECT_EQ(SizeInReply(L" (12345 bytes)"), 12345U);
    EXPECT_EQ(SizeInReply(L"("), 0U);
    EXPECT_EQ(SizeInReply(L""), 0U);
    EXPECT_EQ(SizeInReply(nullptr), 0U);
}

TEST(ReplyTextSizeTest, OnlyAtTheHeadTheWordBytesMatters) {
    EXPECT_EQ(SizeInReply(L"bytes (7 x)"), 0U);
    EXPECT_EQ(SizeInReply(L"bytes(7 x)"), 0U);
    EXPECT_EQ(SizeInReply(L"Bytes (7 x)"), 7U);
    EXPECT_EQ(SizeInReply(L" bytes (7 x)"), 7U);
    EXPECT_EQ(SizeInReply(L"150 bytes (7 bytes)"), 7U);
    EXPECT_EQ(SizeInReply(L"150 (7 x)"), 7U);
}

TEST(ReplyTextSizeTest, ASizeEndsAtABlankOrWithTheText) {
    EXPECT_EQ(SizeInReply(L"150 (7"), 7U);
    EXPECT_EQ(SizeInReply(L"150 (7)"), 7U);
    EXPECT_EQ(SizeInReply(L"150 (7 8"), 7U);
    EXPECT_EQ(SizeInReply(L"150 ( 7 bytes)"), 0U);
    EXPECT_EQ(SizeInReply(L"150 (\t7 bytes)"), 7U);
    EXPECT_EQ(SizeInReply(L"150 (7\u00E4 bytes)"), 7U);
    EXPECT_EQ(SizeInReply(L"150 (x7 bytes)"), 0U);
    EXPECT_EQ(SizeInReply(L"150 ("), 0U);
}

TEST(ReplyTextSizeTest, OnlyThirtyCharactersOfASizeAreRead) {
    const std::wstring zeros(29, L'0');
    EXPECT_EQ(SizeInReply((L"150 (" + zeros + L"7 bytes)").c_str()), 7U);
    EXPECT_EQ(SizeInReply((L"150 (" + zeros + L"78 bytes)").c_str()), 7U);
    EXPECT_EQ(SizeInReply((L"150 (" + zeros + L"789").c_str()), 7U);
    EXPECT_EQ(SizeInReply((L"150 (" + zeros + L"07").c_str()), 0U);
}

TEST(ReplyTextSizeTest, ASizeStopsAtTheEndsOf64Bits) {
    constexpr uint64 kMost = 0x7FFFFFFFFFFFFFFF;
    EXPECT_EQ(SizeInReply(L"150 (9223372036854775807 bytes)"), kMost);
    EXPECT_EQ(SizeInReply(L"150 (9223372036854775808 bytes)"), kMost);
    EXPECT_EQ(SizeInReply((L"150 (" + std::wstring(40, L'9') + L" bytes)").c_str()), kMost);
    EXPECT_EQ(SizeInReply(L"150 (-1 bytes)"), ~uint64{0});
    EXPECT_EQ(SizeInReply((L"150 (-" + std::wstring(40, L'9') + L" bytes)").c_str()), kMost + 1);
}

TEST(ReplyTextSizeTest, ABracketMayBeChosen) {
    const wchar_t* const reply = L"150 clip (7).mxf (12345 bytes)";
    EXPECT_EQ(SizeBehindBracket(reply, 9), 7U);
    EXPECT_EQ(SizeBehindBracket(reply, 17), 12345U);
    EXPECT_EQ(SizeBehindBracket(L"(5 bytes)", 0), 5U);
    EXPECT_EQ(SizeBehindBracket(L"150 (7)", 4), 7U);
    EXPECT_EQ(SizeBehindBracket(L"(", 0), 0U);
}

TEST(ReplyTextSizeTest, APositionOutsideTheTextTellsNoSize) {
    EXPECT_EQ(SizeBehindBracket(L"12", -1), 0U);
    EXPECT_EQ(SizeBehindBracket(L"12", std::numeric_limits<int>::min()), 0U);
    EXPECT_EQ(SizeBehindBracket(L"12", 2), 0U);
    EXPECT_EQ(SizeBehindBracket(L"12", 3), 0U);
    EXPECT_EQ(SizeBehindBracket(L"12", std::numeric_limits<int>::max()), 0U);
    EXPECT_EQ(SizeBehindBracket(L"", 0), 0U);
    EXPECT_EQ(SizeBehindBracket(nullptr, 0), 0U);
}

TEST(ReplyTextTest, ACharacterIsFoundAtItsFirstPlace) {
    EXPECT_EQ(FindCharacter(L"a(b(c", L'('), 1);
    EXPECT_EQ(FindCharacter(L"(", L'('), 0);
    EXPECT_EQ(FindCharacter(L"abc", L'('), -1);
    EXPECT_EQ(FindCharacter(L"abc", L'c'), 2);
    EXPECT_EQ(FindCharacter(L"abc", L'\0'), -1);
    EXPECT_EQ(FindCharacter(L"", L'('), -1);
    EXPECT_EQ(FindCharacter(nullptr, L'('), -1);
}

TEST(ReplyTextTest, AHeadIsComparedInExactCase) {
    EXPECT_TRUE(BeginsWith(L"421 closing", L"421"));
    EXPECT_TRUE(BeginsWith(L"421", L"421"));
    EXPECT_FALSE(BeginsWith(L"42", L"421"));
    EXPECT_FALSE(BeginsWith(L" 421", L"421"));
    EXPECT_FALSE(BeginsWith(L"Bytes", L"bytes"));
    EXPECT_TRUE(BeginsWith(L"abc", L""));
    EXPECT_TRUE(BeginsWith(L"abc", nullptr));
    EXPECT_TRUE(BeginsWith(nullptr, L""));
    EXPECT_FALSE(BeginsWith(nullptr, L"a"));
    EXPECT_FALSE(BeginsWith(L"", L"a"));
}
