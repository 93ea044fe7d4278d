// Names of shares taken apart: addresses, roots and what lies behind them.
#include "paths/PathParts.h"

#include "frame/VXCString.h"
#include "paths/NetPathExchange.h"
#include "support/MemoryLack.h"

#include <gtest/gtest.h>

#include <string>

using namespace vxcio;
using namespace vxcio::test;

namespace {

int IsIPv4Address(const wchar_t* text) {
    return CQLNetPathExchange::IsIPv4Address(text);
}

// What MatchPathRoot appends to "before"; "no" where it gives 0 and has left the suffix alone.
std::wstring Match(const wchar_t* path, const wchar_t* root) {
    CVXCString suffix = L"before";
    if (CQLNetPathExchange::MatchPathRoot(path, root, suffix) == 0) {
        EXPECT_STREQ(suffix, L"before");
        return L"no";
    }
    const std::wstring whole = suffix.c_str();
    EXPECT_TRUE(whole.starts_with(L"before"));
    return whole.substr(6);
}

std::wstring Repeated(const std::wstring& piece, int count) {
    std::wstring text;
    for (int i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

} // namespace

TEST(IPv4AddressTest, FourNumbersUpTo255AreAnAddress) {
    for (const wchar_t* const text : {L"0.0.0.0", L"1.2.3.4", L"10.0.0.5", L"192.168.100.200",
                                      L"255.255.255.255", L"127.0.0.1", L"99.100.199.249"}) {
        EXPECT_EQ(IsIPv4Address(text), 1) << text;
    }
}

TEST(IPv4AddressTest, AGroupAbove255IsNone) {
    for (const wchar_t* const text : {L"256.0.0.1", L"1.256.0.1", L"1.0.256.1", L"1.0.0.256", L"1.2.3.999",
                                      L"1.2.3.1000", L"300.1.1.1"}) {
        EXPECT_EQ(IsIPv4Address(text), 0) << text;
    }
}

TEST(IPv4AddressTest, AGroupCountsByItsValueHoweverManyDigitsItHas) {
    EXPECT_EQ(IsIPv4Address(L"1.2.3.0004"), 1);
    EXPECT_EQ(IsIPv4Address(L"0255.2.3.4"), 1);
    EXPECT_EQ(IsIPv4Address(L"1.2.3.0256"), 0);
    const std::wstring zeros(40, L'0');
    EXPECT_EQ(IsIPv4Address((L"1.2.3." + zeros).c_str()), 1);
    EXPECT_EQ(IsIPv4Address((L"1.2.3." + zeros + L"255").c_str()), 1);
    EXPECT_EQ(IsIPv4Address((L"1.2.3." + zeros + L"256").c_str()), 0);
    EXPECT_EQ(IsIPv4Address((zeros + L"7.2.3.4").c_str()), 1);
    // One digit far in front of so many zeros is worth more than any number holds.
    EXPECT_EQ(IsIPv4Address((L"1.2.3.1" + zeros).c_str()), 0);
    EXPECT_EQ(IsIPv4Address((L"1.2.3." + std::wstring(40, L'9')).c_str()), 0);
    EXPECT_EQ(IsIPv4Address((std::wstring(40, L'1') + L".2.3.4").c_str()), 0);
    EXPECT_EQ(IsIPv4Address((L"1.2.3." + std::wstring(400000, L'9')).c_str()), 0);
    EXPECT_EQ(IsIPv4Address((L"1.2.3.5" + std::wstring(100000, L'0')).c_str()), 0);
}

TEST(IPv4AddressTest, EachDigitCountsByItsPlace) {
    // Sums of digits would be far below.
    EXPECT_EQ(IsIPv4Address(L"1.1.1.259"), 0);
    EXPECT_EQ(IsIPv4Address(L"1.1.1.952"), 0);
    EXPECT_EQ(IsIPv4Address(L"1.1.1.249"), 1);
    EXPECT_EQ(IsIPv4Address(L"1.1.1.1001"), 0);
    EXPECT_EQ(IsIPv4Address(L"1.1.1.10001"), 0);
}

TEST(IPv4AddressTest, EmptyGroupsAreNumbersToo) {
    EXPECT_EQ(IsIPv4Address(L"1..2.34"), 1);
    EXPECT_EQ(IsIPv4Address(L".1.2.33"), 1);
    EXPECT_EQ(IsIPv4Address(L"...1234"), 0); // by its value
    EXPECT_EQ(IsIPv4Address(L"...0123"), 1);
}

TEST(IPv4AddressTest, SevenCharactersAreTheLeast) {
    EXPECT_EQ(IsIPv4Address(L"1.2.3.4"), 1);
    EXPECT_EQ(IsIPv4Address(L"1..2.3"), 0);
    EXPECT_EQ(IsIPv4Address(L"...123"), 0);
    EXPECT_EQ(IsIPv4Address(L""), 0);
    EXPECT_EQ(IsIPv4Address(nullptr), 0);
}

TEST(IPv4AddressTest, ThreeDotsAreNeededAndNoMore) {
    EXPECT_EQ(IsIPv4Address(L"1234567"), 0);
    EXPECT_EQ(IsIPv4Address(L"1.2.333"), 0);
    EXPECT_EQ(IsIPv4Address(L"11.22.33"), 0);
    EXPECT_EQ(IsIPv4Address(L"1.2.3.4.5"), 0);
    EXPECT_EQ(IsIPv4Address(L"....1234"), 0);
}

TEST(IPv4AddressTest, NothingButDigitsAndDotsAndADigitLast) {
    for (const wchar_t* const text :
         {L"1.2.3.4.", L"11.2.3.", L"1.2.3.a", L"a.2.3.4", L"1.2.x.4", L" 1.2.3.4", L"1.2.3.4 ", L"-1.2.3.4",
          L"+1.2.3.4", L"1,2,3,4", L"server1", L"0x1.2.3.4", L"1.2.3.4\\", L"1.2.3./", L"1.2.3.:",
          L"1.2.3:4"}) {
        EXPECT_EQ(IsIPv4Address(text), 0) << text;
    }
}

TEST(IPv4AddressTest, DigitsOfOtherScriptsAreNone) {
    EXPECT_EQ(IsIPv4Address(L"1.2.3.\u0664"), 0); // Arabic-Indic four
    EXPECT_EQ(IsIPv4Address(L"\uFF11.2.3.4"), 0); // fullwidth one
    EXPECT_EQ(IsIPv4Address(L"1.\u0967.3.4"), 0);
    EXPECT_EQ(IsIPv4Address(L"1\u30022.3.4"), 0); // ideographic full stop
}

TEST(MatchPathRootTest, TheRestOfThePathIsAppended) {
    EXPECT_EQ(Match(L"\\\\host\\share\\a\\b", L"\\\\host\\share"), L"\\a\\b");
    EXPECT_EQ(Match(L"\\\\host\\share\\clip.mxf", L"\\\\host\\share"), L"\\clip.mxf");
    EXPECT_EQ(Match(L"Z:\\clip.mxf", L"Z:"), L"\\clip.mxf");
}

TEST(MatchPathRootTest, TheRootItselfHasNoRest) {
    EXPECT_EQ(Match(L"\\\\host\\share", L"\\\\host\\share"), L"");
    EXPECT_EQ(Match(L"\\\\host\\share\\", L"\\\\host\\share"), L"");
}

TEST(MatchPathRootTest, CaseDoesNotCountAndTheRestKeepsIts) {
    EXPECT_EQ(Match(L"\\\\HOST\\Share\\Clip.MXF", L"\\\\host\\sHARE"), L"\\Clip.MXF");
    EXPECT_EQ(
        Match(L"\\\\h\u00F6st\\\u0434\u0438\u0441\u043A\\\u00C4", L"\\\\H\u00D6ST\\\u0414\u0418\u0421\u041A"),
        L"\\\u00C4");
    EXPECT_EQ(Match(L"\\\\ho\u017Ft\\share", L"\\\\host\\share"), L"no"); // a long s is another letter
}

TEST(MatchPathRootTest, PartsAreComparedWhole) {
    EXPECT_EQ(Match(L"\\\\host\\share2\\a", L"\\\\host\\share"), L"no");
    EXPECT_EQ(Match(L"\\\\host\\shar\\a", L"\\\\host\\share"), L"no");
    EXPECT_EQ(Match(L"\\\\host2\\share\\a", L"\\\\host\\share"), L"no");
    EXPECT_EQ(Match(L"\\\\share\\host", L"\\\\host\\share"), L"no");
    EXPECT_EQ(Match(L"\\\\host\\sh?re\\a", L"\\\\host\\share"), L"no");
}

TEST(MatchPathRootTest, APathAboveTheRootDoesNotMatch) {
    EXPECT_EQ(Match(L"\\\\host", L"\\\\host\\share"), L"no");
    EXPECT_EQ(Match(L"\\\\", L"\\\\host\\share"), L"no");
    EXPECT_EQ(Match(L"", L"\\\\host\\share"), L"no");
    EXPECT_EQ(Match(nullptr, L"\\\\host\\share"), L"no");
    EXPECT_EQ(Match(L"\\\\host\\share\\a", L"\\\\host\\share\\a\\b"), L"no");
}

TEST(MatchPathRootTest, ADeeperRootMatchesTheSame) {
    EXPECT_EQ(Match(L"\\\\host\\share\\a\\b\\c", L"\\\\host\\share\\a\\b"), L"\\c");
    EXPECT_EQ(Match(L"E:\\data\\clips\\c", L"e:\\DATA"), L"\\clips\\c");
}

TEST(MatchPathRootTest, RunsOfBackslashesCountAsOneAndAtTheEndAsNone) {
    EXPECT_EQ(Match(L"\\\\host\\share\\a\\\\b", L"\\\\host\\share"), L"\\a\\b");
    EXPECT_EQ(Match(L"\\\\\\\\host\\\\\\share\\\\\\a\\b\\\\", L"\\\\host\\share"), L"\\a\\b");
    EXPECT_EQ(Match(L"host\\share\\a", L"\\\\host\\\\share\\\\"), L"\\a");
}

TEST(MatchPathRootTest, ARootWithoutPartsMatchesEveryPath) {
    for (const wchar_t* const root : {L"", L"\\", L"\\\\\\", static_cast<const wchar_t*>(nullptr)}) {
        EXPECT_EQ(Match(L"\\\\host\\share", root), L"\\host\\share");
        EXPECT_EQ(Match(L"clip.mxf", root), L"\\clip.mxf");
        EXPECT_EQ(Match(L"", root), L"");
    }
}

TEST(MatchPathRootTest, SlashesAndBlanksSeparateNothing) {
    EXPECT_EQ(Match(L"\\\\host\\share/a", L"\\\\host\\share"), L"no");
    EXPECT_EQ(Match(L"\\\\host\\my share\\a b", L"\\\\host\\my share"), L"\\a b");
    EXPECT_EQ(Match(L"\\\\host\\my\\share", L"\\\\host\\my share"), L"no");
}

TEST(MatchPathRootTest, LengthHasNoLimit) {
    const std::wstring part(100000, L'p');
    EXPECT_EQ(Match((L"\\\\host\\share\\" + part).c_str(), L"\\\\host\\share"), L"\\" + part);
    EXPECT_EQ(Match((L"\\\\host\\" + part + L"\\a").c_str(), (L"\\\\host\\" + part).c_str()), L"\\a");
    EXPECT_EQ(Match((L"\\\\host\\" + part + L"p\\a").c_str(), (L"\\\\host\\" + part).c_str()), L"no");
    const std::wstring many = Repeated(L"\\p", 50000);
    EXPECT_EQ(Match((L"\\\\host\\share" + many).c_str(), L"\\\\host\\share"), many);
    EXPECT_EQ(Match((L"\\\\host\\share" + std::wstring(100000, L'\\')).c_str(), L"\\\\host\\share"), L"");
}

TEST(MatchPathRootTest, OneCallDoesNotKnowOfAnother) {
    // Two that end at different parts, one within the other's loop.
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Match(L"\\\\host\\share\\a", L"\\\\host\\share"), L"\\a");
        EXPECT_EQ(Match(L"\\\\host\\share\\a", L"\\\\host\\other"), L"no");
    }
}

TEST(MatchPathRootTest, WhereMemoryLacksTheSuffixIsEmpty) {
    CVXCString suffix = L"before";
    {
        const MemoryLack lack(1);
        EXPECT_EQ(CQLNetPathExchange::MatchPathRoot(L"\\\\host\\share\\a", L"\\\\host\\share", suffix), 1);
        EXPECT_TRUE(lack.Came());
    }
    EXPECT_TRUE(suffix.IsEmpty());
}

TEST(PathPartsTest, TheHostEndsAtTheFirstBackslashFromIndexTwoOn) {
    EXPECT_EQ(HostEnd(L"\\\\host\\share\\a"), L"\\\\host");
    EXPECT_EQ(HostEnd(L"\\\\host"), L"\\\\host");
    EXPECT_EQ(HostEnd(L"\\\\\\share"), L"\\\\");
    EXPECT_EQ(HostEnd(L"\\a\\b"), L"\\a");
    EXPECT_EQ(HostEnd(L"\\"), L"\\");
    EXPECT_EQ(HostEnd(L""), L"");
}
