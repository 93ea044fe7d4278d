#include "frame/VXCString.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>

namespace {

std::wstring Text(const CVXCString& string) {
    const std::wstring text = string.c_str();
    EXPECT_EQ(static_cast<int>(text.size()), string.GetLength());
    EXPECT_EQ(text.empty(), string.IsEmpty());
    return text;
}

} // namespace

TEST(VXCStringTest, NothingAndNullAreEmptyTexts) {
    EXPECT_EQ(Text(CVXCString()), L"");
    EXPECT_EQ(Text(CVXCString(static_cast<const wchar_t*>(nullptr))), L"");
    EXPECT_EQ(Text(CVXCString(L"")), L"");
    EXPECT_EQ(Text(CVXCString(nullptr, 5)), L"");
    CVXCString string(L"clip");
    string = static_cast<const wchar_t*>(nullptr);
    EXPECT_EQ(Text(string), L"");
    const CVXCString empty;
    EXPECT_NE(empty.c_str(), nullptr);
}

TEST(VXCStringTest, ACountTakesSoManyCharactersButNoneBehindTheEnd) {
    EXPECT_EQ(Text(CVXCString(L"clip.mxf", 4)), L"clip");
    EXPECT_EQ(Text(CVXCString(L"clip", 100)), L"clip");
    EXPECT_EQ(Text(CVXCString(L"clip", 0)), L"");
    EXPECT_EQ(Text(CVXCString(L"clip", -1)), L"");
    const wchar_t open[] = {L'a', L'b', L'c'}; // no zero behind it
    EXPECT_EQ(Text(CVXCString(open, 3)), L"abc");
}

TEST(VXCStringTest, CopiesAreIndependent) {
    CVXCString first(L"clip");
    CVXCString second(first);
    CVXCString third;
    third = first;
    first += L".mxf";
    EXPECT_EQ(Text(first), L"clip.mxf");
    EXPECT_EQ(Text(second), L"clip");
    EXPECT_EQ(Text(third), L"clip");
    EXPECT_NE(second.c_str(), third.c_str());
}

TEST(VXCStringTest, AMovedStringLeavesNothingBehind) {
    CVXCString first(L"clip");
    const wchar_t* const memory = first.c_str();
    CVXCString second(std::move(first));
    EXPECT_EQ(second.c_str(), memory);
    EXPECT_EQ(Text(first), L""); // NOLINT(bugprone-use-after-move): that is what is asked
    CVXCString third(L"other");
    third = std::move(second);
    EXPECT_EQ(Text(third), L"clip");
    EXPECT_EQ(Text(second), L""); // NOLINT(bugprone-use-after-move)
}

TEST(VXCStringTest, AStringMayBeAssignedFromItself) {
    CVXCString string(L"folder\\clip.mxf");
    string = *&string;
    EXPECT_EQ(Text(string), L"folder\\clip.mxf");
    string = string.c_str() + 7;
    EXPECT_EQ(Text(string), L"clip.mxf");
    string += string.c_str();
    EXPECT_EQ(Text(string), L"clip.mxfclip.mxf");
    string.InsertFront(string.c_str() + 8);
    EXPECT_EQ(Text(string), L"clip.mxfclip.mxfclip.mxf");
    string.Format(L"<%s>", string.Left(4).c_str());
    EXPECT_EQ(Text(string), L"<clip>");
    string.Format(L"%s%s", string.c_str(), string.c_str());
    EXPECT_EQ(Text(string), L"<clip><clip>");
}

TEST(VXCStringTest, GetAtGivesZeroOutside) {
    const CVXCString string(L"abc");
    EXPECT_EQ(string.GetAt(0), L'a');
    EXPECT_EQ(string.GetAt(2), L'c');
    EXPECT_EQ(string.GetAt(3), L'\0');
    EXPECT_EQ(string.GetAt(-1), L'\0');
    EXPECT_EQ(string.GetAt(INT_MIN), L'\0');
    EXPECT_EQ(CVXCString().GetAt(0), L'\0');
}

TEST(VXCStringTest, PartsAreClamped) {
    const CVXCString string(L"abcdef");
    EXPECT_EQ(Text(string.Left(2)), L"ab");
    EXPECT_EQ(Text(string.Left(0)), L"");
    EXPECT_EQ(Text(string.Left(-3)), L"");
    EXPECT_EQ(Text(string.Left(6)), L"abcdef");
    EXPECT_EQ(Text(string.Left(INT_MAX)), L"abcdef");
    EXPECT_EQ(Text(string.Right(2)), L"ef");
    EXPECT_EQ(Text(string.Right(0)), L"");
    EXPECT_EQ(Text(string.Right(-3)), L"");
    EXPECT_EQ(Text(string.Right(INT_MAX)), L"abcdef");
    EXPECT_EQ(Text(string.Mid(1, 3)), L"bcd");
    EXPECT_EQ(Text(string.Mid(4, 10)), L"ef");
    EXPECT_EQ(Text(string.Mid(6, 1)), L"");
    EXPECT_EQ(Text(string.Mid(100, INT_MAX)), L"");
    EXPECT_EQ(Text(string.Mid(-2, 3)), L"abc");
    EXPECT_EQ(Text(string.Mid(2, -1)), L"");
    EXPECT_EQ(Text(string.Mid(2)), L"cdef");
    EXPECT_EQ(Text(string.Mid(9)), L"");
    EXPECT_EQ(Text(CVXCString().Left(3)), L"");
    EXPECT_EQ(Text(CVXCString().Right(3)), L"");
}

TEST(VXCStringTest, TextsAreJoinedInOrder) {
    CVXCString string;
    string += L"b";
    string += nullptr;
    string += L"";
    string += L"c";
    string.InsertFront(L"a");
    string.InsertFront(nullptr);
    EXPECT_EQ(Text(string), L"abc");
    EXPECT_EQ(Text(string + L"d"), L"abcd");
    EXPECT_EQ(Text(string + nullptr), L"abc");
    EXPECT_EQ(Text(CVXCString() + L"d"), L"d");
    EXPECT_EQ(Text(string), L"abc");
}

TEST(VXCStringTest, FormatTakesWideAndNarrowTexts) {
    CVXCString string(L"before");
    string.Format(L"%s %S %d 0x%08x", L"wide", "narrow", -7, 0xABCDu);
    EXPECT_EQ(Text(string), L"wide narrow -7 0x0000abcd");
    string.Format(L"");
    EXPECT_EQ(Text(string), L"");
    string.Format(nullptr);
    EXPECT_EQ(Text(string), L"");
}

TEST(VXCStringTest, FormatCutsAt8191Characters) {
    const std::wstring longText(10000, L'x');
    CVXCString string;
    string.Format(L"<%s>", longText.c_str());
    EXPECT_EQ(Text(string), L"<" + longText.substr(0, 8190));
    string.Format(L"%s>", longText.substr(0, 8190).c_str());
    EXPECT_EQ(Text(string), longText.substr(0, 8190) + L">");
}

TEST(VXCStringTest, ReverseFindGivesTheLastPlace) {
    const CVXCString string(L"a\\b\\c");
    EXPECT_EQ(string.ReverseFind(L'\\'), 3);
    EXPECT_EQ(string.ReverseFind(L'a'), 0);
    EXPECT_EQ(string.ReverseFind(L'/'), -1);
    EXPECT_EQ(CVXCString().ReverseFind(L'a'), -1);
}

TEST(VXCStringTest, CompareLooksAtTheLengthFirst) {
    EXPECT_LT(CVXCString(L"z").Compare(L"aa"), 0);
    EXPECT_GT(CVXCString(L"aa").Compare(L"z"), 0);
    EXPECT_EQ(CVXCString().Compare(nullptr), 0);
    EXPECT_EQ(CVXCString().Compare(L""), 0);
    EXPECT_LT(CVXCString().Compare(L"a"), 0);
    EXPECT_GT(CVXCString(L"a").Compare(nullptr), 0);
}

TEST(VXCStringTest, CompareIgnoresCase) {
    EXPECT_EQ(CVXCString(L"Clip.MXF").Compare(L"cLIP.mxf"), 0);
    EXPECT_EQ(CVXCString(L"\u00C4\u0416").Compare(L"\u00E4\u0436"), 0);
    EXPECT_LT(CVXCString(L"abc").Compare(L"ABD"), 0);
    EXPECT_GT(CVXCString(L"ABD").Compare(L"abc"), 0);
    EXPECT_NE(CVXCString(L"a_").Compare(L"a?"), 0);
}

TEST(VXCStringTest, HighCharactersComeAfterLowOnes) {
    const wchar_t high[] = {static_cast<wchar_t>(0xFFFFFFFFu), 0};
    EXPECT_GT(CVXCString(high).Compare(L"a"), 0);
    EXPECT_LT(CVXCString(L"a").Compare(high), 0);
}
