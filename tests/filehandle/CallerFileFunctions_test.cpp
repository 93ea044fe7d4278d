#include "filehandle/CallerFileFunctions.h"

#include "support/LogCapture.h"
#include "support/MemoryLack.h"

#include <gtest/gtest.h>

#include <string>

using namespace vxcio::test;

namespace {

void* Address(std::uintptr_t value) {
    return reinterpret_cast<void*>(value);
}

std::wstring Plain(const std::wstring& name, void** table) {
    return DELVXCIOID(name.c_str(), table).c_str();
}

constexpr const wchar_t* kTooShort = L"IOCallBack fileName length < 14 error";

} // namespace

TEST(CallerFileFunctionsTest, TaggedNameIsNameThenSixteenUpperCaseDigitsThenTag) {
    EXPECT_STREQ(ADDVXCIOID(L"clip.mxf", Address(0x00ABCDEF12345678)), L"clip.mxf00ABCDEF12345678VXCIO8");
    EXPECT_STREQ(ADDVXCIOID(L"", nullptr), L"0000000000000000VXCIO8");
    EXPECT_STREQ(ADDVXCIOID(nullptr, Address(0xF)), L"000000000000000FVXCIO8");
}

TEST(CallerFileFunctionsTest, AddingAndTakingOffGivesNameAndTableBack) {
    for (const std::wstring name :
         {L"c", L"D:\\a b\\clip.mxf", L"x.VXCIO8", L"\\\\server\\share\\\u00e4.mov"}) {
        void* table = nullptr;
        EXPECT_EQ(Plain(ADDVXCIOID(name.c_str(), &table).c_str(), &table), name);
        EXPECT_EQ(table, &table);
    }
}

TEST(CallerFileFunctionsTest, NameWithoutTagPassesUnchangedAndYieldsNull) {
    LogCapture log;
    for (const std::wstring name :
         {L"", L"a", L"VXCIO8", L"VXCIO4", L"clip.mx", L"0000000000000000VXCIO9x"}) {
        void* table = &table;
        EXPECT_EQ(Plain(name, &table), name);
        EXPECT_EQ(table, nullptr);
    }
    void* table = &table;
    EXPECT_TRUE(DELVXCIOID(nullptr, &table).IsEmpty());
    EXPECT_EQ(table, nullptr);
    EXPECT_TRUE(log.Lines().empty()) << "no name of these is a tag that is too short";
}

TEST(CallerFileFunctionsTest, ShortTagNeedsFifteenCharacters) {
    LogCapture log;
    void* table = &table;
    const std::wstring fourteen = L"0000BEEFVXCIO4";
    ASSERT_EQ(fourteen.size(), 14U);
    EXPECT_EQ(Plain(fourteen, &table), fourteen);
    EXPECT_EQ(table, nullptr);
    EXPECT_EQ(log.Count(kTooShort), 1U);
    EXPECT_EQ(log.Lines().at(0).level, INFOTYPE_ERROR);

    EXPECT_EQ(Plain(L"a" + fourteen, &table), L"a");
    EXPECT_EQ(table, Address(0xBEEF));
    EXPECT_EQ(log.Lines().size(), 1U);
}

TEST(CallerFileFunctionsTest, LongTagNeedsTwentyThreeCharacters) {
    LogCapture log;
    void* table = &table;
    const std::wstring twentyTwo = L"000000000000BEEFVXCIO8";
    ASSERT_EQ(twentyTwo.size(), 22U);
    EXPECT_EQ(Plain(twentyTwo, &table), twentyTwo);
    EXPECT_EQ(table, nullptr);
    EXPECT_EQ(log.Count(kTooShort), 1U);

    EXPECT_EQ(Plain(L"a" + twentyTwo, &table), L"a");
    EXPECT_EQ(table, Address(0xBEEF));
    // Seven characters with a tag are too short as well.
    EXPECT_EQ(Plain(L"1VXCIO8", &table), L"1VXCIO8");
    EXPECT_EQ(log.Count(kTooShort), 2U);
}

TEST(CallerFileFunctionsTest, CaseOfTheTagIsIgnored) {
    void* table = nullptr;
    EXPECT_EQ(Plain(L"clip000000000000BEEFvxcio8", &table), L"clip");
    EXPECT_EQ(table, Address(0xBEEF));
    EXPECT_EQ(Plain(L"clip0000BEEFVxCiO4", &table), L"clip");
    EXPECT_EQ(table, Address(0xBEEF));
}

TEST(CallerFileFunctionsTest, LettersThatOnlyResembleTheTagAreNoTag) {
    void* table = &table;
    const std::wstring name = L"clip000000000000BEEFVXC\u0131O8";
    EXPECT_EQ(Plain(name, &table), name);
    EXPECT_EQ(table, nullptr);
}

TEST(CallerFileFunctionsTest, OtherCharactersThanUpperCaseDigitsReadAsZero) {
    void* table = nullptr;
    EXPECT_EQ(Plain(L"clip00000000000012ffVXCIO8", &table), L"clip");
    EXPECT_EQ(table, Address(0x1200));
    Plain(L"clip000000000000z1\\FVXCIO8", &table);
    EXPECT_EQ(table, Address(0x010F));
}

TEST(CallerFileFunctionsTest, TableMayBeLeftOut) {
    EXPECT_STREQ(DELVXCIOID(L"clip000000000000BEEFVXCIO8", nullptr), L"clip");
    EXPECT_STREQ(DELVXCIOID(L"clip.mxf", nullptr), L"clip.mxf");
}

TEST(CallerFileFunctionsTest, PlainNameIsCopiedWhereItsLengthIsNotAboveCapacity) {
    wchar_t buffer[6] = L"-----";
    void* table = nullptr;
    const CVXCString tagged = ADDVXCIOID(L"clip", Address(0xBEEF));
    EXPECT_EQ(DELVXCIOID_1(tagged, &table, buffer, 3), 0);
    EXPECT_STREQ(buffer, L"-----");
    // As long as the capacity: copied with its zero behind it.
    EXPECT_EQ(DELVXCIOID_1(tagged, &table, buffer, 4), 1);
    EXPECT_STREQ(buffer, L"clip");
    EXPECT_EQ(table, Address(0xBEEF));
}

TEST(CallerFileFunctionsTest, NothingIsCopiedForCapacityZeroAnEmptyNameOrNoBuffer) {
    wchar_t buffer[2] = L"-";
    EXPECT_EQ(DELVXCIOID_1(L"clip", nullptr, buffer, 0), 0);
    EXPECT_EQ(DELVXCIOID_1(L"", nullptr, buffer, 1), 0);
    EXPECT_STREQ(buffer, L"-");
    EXPECT_EQ(DELVXCIOID_1(L"clip", nullptr, nullptr, 8), 0);
}

TEST(CallerFileFunctionsTest, WhereMemoryLacksANameIsEmptyAndNoOtherOne) {
    const std::wstring tagged = ADDVXCIOID(L"clip", Address(0xBEEF)).c_str();
    for (int nth = 1;; ++nth) {
        const MemoryLack lack(nth);
        const CVXCString name = ADDVXCIOID(L"clip", Address(0xBEEF));
        if (!lack.Came()) {
            EXPECT_STREQ(name, tagged.c_str());
            EXPECT_GT(nth, 2) << "each of its allocations failed once";
            break;
        }
        EXPECT_TRUE(name.IsEmpty()) << nth;
    }
    for (int nth = 1;; ++nth) {
        const MemoryLack lack(nth);
        void* table = nullptr;
        const CVXCString name = DELVXCIOID(tagged.c_str(), &table);
        if (!lack.Came()) {
            EXPECT_STREQ(name, L"clip");
            EXPECT_GT(nth, 2);
            break;
        }
        EXPECT_TRUE(name.IsEmpty()) << nth;
    }
}
