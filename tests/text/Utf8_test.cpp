#include "text/Utf8.h"

#include <gtest/gtest.h>

using namespace vxcio;

TEST(Utf8Test, TextOfEveryLengthSurvivesTheRoundTrip) {
    const std::string bytes = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\xAC/clip.mxf";
    EXPECT_EQ(ToUtf8(FromUtf8(bytes)), bytes);
    EXPECT_EQ(FromUtf8("\xC3\xA4"), std::wstring(1, static_cast<wchar_t>(0xE4)));
}

TEST(Utf8Test, EveryByteThatIsNoUtf8SurvivesTheRoundTrip) {
    std::string bytes;
    for (int b = 1; b < 256; ++b) {
        bytes += static_cast<char>(b);
    }
    EXPECT_EQ(ToUtf8(FromUtf8(bytes)), bytes);
    // Overlong, surrogate, beyond the last code point, cut short.
    for (const char* odd :
         {"\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\xF0\x9F"}) {
        EXPECT_EQ(ToUtf8(FromUtf8(odd)), odd);
        EXPECT_EQ(FromUtf8(odd).size(), std::string(odd).size());
    }
}

TEST(Utf8Test, WhatHasNoUtf8FormIsReplaced) {
    const std::wstring high(1, static_cast<wchar_t>(0xD800));
    EXPECT_EQ(ToUtf8(high), "\xEF\xBF\xBD");
    EXPECT_EQ(ToDisplayUtf8(FromUtf8("a\xFF")), "a\xEF\xBF\xBD");
}

TEST(Utf8Test, OnlyBytesThatAreNoUtf8HaveAnEscape) {
    // An escape of a plain byte would smuggle a separator or a zero into a name.
    for (const int code : {0xDC00, 0xDC2F, 0xDC7F, 0xDD00, 0xDFFF, 0xD800, 0xDBFF}) {
        EXPECT_EQ(ToUtf8(std::wstring(1, static_cast<wchar_t>(code))), "\xEF\xBF\xBD") << std::hex << code;
    }
    EXPECT_EQ(ToUtf8(std::wstring(1, static_cast<wchar_t>(0xDC80))), "\x80");
    EXPECT_EQ(ToUtf8(std::wstring(1, static_cast<wchar_t>(0xDCFF))), "\xFF");
}

TEST(Utf8Test, TheFirstAndLastCharacterOfEachLengthAreRight) {
    const struct {
        unsigned code;
        const char* bytes;
    } cases[] = {{0x7F, "\x7F"},
                 {0x80, "\xC2\x80"},
                 {0x7FF, "\xDF\xBF"},
                 {0x800, "\xE0\xA0\x80"},
                 {0xD7FF, "\xED\x9F\xBF"},
                 {0xE000, "\xEE\x80\x80"},
                 {0xFFFF, "\xEF\xBF\xBF"},
                 {0x10000, "\xF0\x90\x80\x80"},
                 {0x10FFFF, "\xF4\x8F\xBF\xBF"}};
    for (const auto& one : cases) {
        const std::wstring wide = FromUtf8(one.bytes);
        EXPECT_EQ(ToUtf8(wide), one.bytes) << std::hex << one.code;
        EXPECT_EQ(ToDisplayUtf8(wide), one.bytes) << std::hex << one.code;
        if (sizeof(wchar_t) == 4 || one.code < 0x10000) {
            ASSERT_EQ(wide.size(), 1u) << std::hex << one.code;
            EXPECT_EQ(static_cast<unsigned>(wide[0]), one.code);
        }
    }
}

TEST(Utf8Test, NumbersThatAreNoCodePointsAreReplaced) {
    if (sizeof(wchar_t) == 4) {
        for (const unsigned code : {0x110000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
            const std::wstring text(1, static_cast<wchar_t>(code));
            EXPECT_EQ(ToUtf8(text), "\xEF\xBF\xBD") << std::hex << code;
            EXPECT_EQ(ToDisplayUtf8(text), "\xEF\xBF\xBD") << std::hex << code;
        }
    }
}

TEST(Utf8Test, AZeroEndsNothing) {
    const std::wstring text(L"a\0b", 3);
    EXPECT_EQ(ToUtf8(text), std::string("a\0b", 3));
}

TEST(Utf8Test, OneCharacterAtATimeGivesTheSameText) {
    const std::string bytes = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\xAC\xFF\xE2\x82z";
    std::wstring text;
    wchar_t units[2] = {};
    for (std::size_t i = 0; i < bytes.size();) {
        const std::size_t count = TakeUtf8(bytes, i, units);
        ASSERT_GE(count, 1u);
        text.append(units, count);
    }
    EXPECT_EQ(text, FromUtf8(bytes));
}
