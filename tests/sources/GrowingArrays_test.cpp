#include "sources/GrowingArrays.h"

#include "sources/GrowingArrayRule.h"
#include "support/MemoryLack.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

using namespace vxcio;
using namespace vxcio::test;

namespace {

struct Row {
    int64 count, capacity;
};

// Tells how many of it there are.
struct Counted {
    static inline int s_alive = 0;
    int number = 0;

    Counted() noexcept { ++s_alive; }
    Counted(Counted&& other) noexcept : number(other.number) { ++s_alive; }
    Counted& operator=(Counted&&) noexcept = default;
    ~Counted() { --s_alive; }
};
struct CountedFields {
    Counted* pData = nullptr;
    int64 nCount = 0;
    int64 nCapacity = 0;
    int64 nGrowStep = 0;
};

CVXCStringArray Filled(int count) {
    CVXCStringArray array;
    for (int i = 0; i < count; ++i) {
        EXPECT_TRUE(array.Add(std::to_wstring(i).c_str()));
    }
    return array;
}

} // namespace

TEST(GrowingArrayTest, AnArrayBeginsWithNothingAndAStepOfZero) {
    const CVXCStringArray array;
    EXPECT_EQ(array.GetCount(), 0);
    EXPECT_EQ(array.GetCapacity(), 0);
    EXPECT_EQ(array.GetGrowStep(), 0);
    EXPECT_EQ(array.GetAt(0), nullptr);
}

TEST(GrowingArrayTest, TheFirstElementsGetAsMuchRoomAsTheirCountOrTheStep) {
    CVXCStringArray array;
    EXPECT_TRUE(array.SetCount(3));
    EXPECT_EQ(array.GetCapacity(), 3);
    array.RemoveAll();
    EXPECT_TRUE(array.SetCount(3, 10));
    EXPECT_EQ(array.GetCapacity(), 10);
    EXPECT_EQ(array.GetGrowStep(), 10);
    array.RemoveAll();
    EXPECT_EQ(array.GetCapacity(), 0);
    EXPECT_TRUE(array.SetCount(30));
    EXPECT_EQ(array.GetCapacity(), 30);
    EXPECT_EQ(array.GetGrowStep(), 10) << "a step below 0 leaves the stored one";
}

TEST(GrowingArrayTest, AFullArrayGrowsByAnEighthAtLeastFourAtMostOneThousandAndTwentyFour) {
    for (const Row row : {Row{1, 5}, Row{31, 35}, Row{32, 36}, Row{40, 45}, Row{1024, 1152}, Row{8192, 9216},
                          Row{8200, 9224}, Row{100'000, 101'024}}) {
        CVXCStringArray array;
        ASSERT_TRUE(array.SetCount(row.count));
        ASSERT_EQ(array.GetCapacity(), row.count);
        ASSERT_TRUE(array.Add(L"more"));
        EXPECT_EQ(array.GetCount(), row.count + 1);
        EXPECT_EQ(array.GetCapacity(), row.capacity) << row.count;
    }
}

TEST(GrowingArrayTest, AFullArrayGrowsByItsStepOrToItsCount) {
    CVXCStringArray array;
    ASSERT_TRUE(array.SetCount(2, 2));
    ASSERT_TRUE(array.Add(L"more"));
    EXPECT_EQ(array.GetCapacity(), 4);
    ASSERT_TRUE(array.SetCount(100));
    EXPECT_EQ(array.GetCapacity(), 100);
    ASSERT_TRUE(array.SetCount(101, 0));
    EXPECT_EQ(array.GetCapacity(), 112);
}

TEST(GrowingArrayTest, TheEighthIsOfTheElementsInUse) {
    CVXCStringArray array;
    ASSERT_TRUE(array.SetCount(1000));
    ASSERT_TRUE(array.SetCount(80));
    ASSERT_TRUE(array.SetCount(1001));
    EXPECT_EQ(array.GetCapacity(), 1010);
}

TEST(GrowingArrayTest, WithinItsRoomAnArrayClearsNewElementsAndKeepsItsRoom) {
    CVXCStringArray array = Filled(4);
    ASSERT_EQ(array.GetCapacity(), 5);
    ASSERT_TRUE(array.SetCount(1));
    EXPECT_EQ(array.GetAt(1), nullptr);
    ASSERT_TRUE(array.SetCount(3));
    EXPECT_STREQ(array.GetAt(0), L"0");
    EXPECT_STREQ(array.GetAt(1), L"");
    EXPECT_STREQ(array.GetAt(2), L"");
    EXPECT_EQ(array.GetCapacity(), 5);
}

TEST(GrowingArrayTest, RemovingMovesTheTailDownAndKeepsTheRoom) {
    CVXCStringArray array = Filled(4);
    array.RemoveAt(1);
    EXPECT_EQ(array.GetCount(), 3);
    EXPECT_EQ(array.GetCapacity(), 5);
    EXPECT_STREQ(array.GetAt(0), L"0");
    EXPECT_STREQ(array.GetAt(1), L"2");
    EXPECT_STREQ(array.GetAt(2), L"3");
    for (const int64 outside : {int64{-1}, int64{3}, std::numeric_limits<int64>::max()}) {
        array.RemoveAt(outside);
        EXPECT_EQ(array.GetAt(outside), nullptr);
    }
    EXPECT_EQ(array.GetCount(), 3);
}

TEST(GrowingArrayTest, ACountThatCannotBeIsRefused) {
    CVXCStringArray array = Filled(2);
    for (const int64 count :
         {int64{-1}, std::numeric_limits<int64>::min(), std::numeric_limits<int64>::max()}) {
        EXPECT_FALSE(array.SetCount(count, 3));
        EXPECT_EQ(array.GetGrowStep(), 3);
    }
    EXPECT_TRUE(array.SetCount(1000, std::numeric_limits<int64>::max()));
    EXPECT_EQ(array.GetCapacity(), 1000) << "a step that leaves the range adds nothing";
    EXPECT_STREQ(array.GetAt(1), L"1");
}

TEST(GrowingArrayTest, TextsStayWhereTheyAreWhileTheArrayGrows) {
    CVXCStringArray array = Filled(1);
    const wchar_t* const text = array.GetAt(0);
    for (int i = 0; i < 10'000; ++i) {
        ASSERT_TRUE(array.Add(L"more"));
    }
    EXPECT_EQ(array.GetAt(0), text);
    EXPECT_STREQ(text, L"0");
}

TEST(GrowingArrayTest, AnArrayTakesItsOwnTexts) {
    CVXCStringArray array = Filled(1);
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(array.Add(array.GetAt(0)));
    }
    EXPECT_STREQ(array.GetAt(10), L"0");
    ASSERT_TRUE(array.Add(nullptr));
    EXPECT_STREQ(array.GetAt(11), L"");
}

TEST(GrowingArrayTest, CopiesShareTheirElementsAndCountForThemselves) {
    CVXCStringArray array = Filled(4); // room for one more
    CVXCStringArray copy(array);
    EXPECT_EQ(copy.GetCount(), 4);
    EXPECT_EQ(copy.GetCapacity(), 5);
    EXPECT_EQ(copy.GetAt(0), array.GetAt(0));
    ASSERT_TRUE(array.Add(L"mine"));
    EXPECT_EQ(copy.GetAt(4), nullptr);
    ASSERT_TRUE(copy.Add(L"yours"));
    EXPECT_STREQ(array.GetAt(4), L"yours");
    array.RemoveAt(0);
    EXPECT_STREQ(copy.GetAt(0), L"1");
    EXPECT_STREQ(copy.GetAt(4), L"");
    array.RemoveAt(3);
    EXPECT_STREQ(copy.GetAt(3), L"") << "the last one goes like any other";
}

TEST(GrowingArrayTest, ACopyThatGrowsLeavesTheOtherItsElements) {
    CVXCStringArray array = Filled(5);
    const CVXCStringArray copy = array;
    ASSERT_TRUE(array.Add(L"more"));
    EXPECT_NE(array.GetAt(0), copy.GetAt(0));
    array.RemoveAt(0);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(std::wstring(copy.GetAt(i)), std::to_wstring(i));
    }
    EXPECT_STREQ(array.GetAt(0), L"1");
}

TEST(GrowingArrayTest, TextsGivenOutBeforeAGrowthOutliveTheCopyThatHeldThem) {
    CVXCStringArray array = Filled(5);
    const wchar_t* text = nullptr;
    {
        const CVXCStringArray copy = array;
        text = array.GetAt(0);
        ASSERT_TRUE(array.SetCount(100));
    }
    EXPECT_STREQ(text, L"0");
    ASSERT_TRUE(array.SetCount(1000));
    EXPECT_STREQ(text, L"0");
}

TEST(GrowingArrayTest, AssigningToItselfOrOverAnotherFreesWhatWasThere) {
    CVXCStringArray array = Filled(5);
    const CVXCStringArray& same = array;
    array = same;
    EXPECT_STREQ(array.GetAt(4), L"4");
    array = Filled(2);
    EXPECT_EQ(array.GetCount(), 2);
    array = CVXCStringArray();
    EXPECT_EQ(array.GetCapacity(), 0);
    CVXCStringArray stepped;
    ASSERT_TRUE(stepped.SetCount(1, 7));
    array = stepped;
    EXPECT_EQ(array.GetGrowStep(), 7);
}

TEST(GrowingArrayTest, WhereMemoryLacksTheArrayKeepsWhatItHas) {
    int failures = 0;
    for (const bool shared : {false, true}) {
        for (int nth = 1;; ++nth) {
            CVXCStringArray array = Filled(5);
            const CVXCStringArray copy = shared ? array : CVXCStringArray();
            const MemoryLack lack(nth);
            const bool done = array.Add(L"more");
            if (!lack.Came()) {
                EXPECT_TRUE(done);
                break;
            }
            ++failures;
            EXPECT_FALSE(done) << nth;
            EXPECT_EQ(array.GetCount(), 5);
            EXPECT_EQ(array.GetCapacity(), 5);
            EXPECT_STREQ(array.GetAt(4), L"4");
        }
    }
    EXPECT_EQ(failures, 2 + 2 + 5); // the text and the storage; copied elements too
}

TEST(GrowingArrayTest, StorageGoesWithItsLastArray) {
    CountedFields array;
    CountedFields other;
    ASSERT_TRUE(ArraySetCount(array, 3));
    ASSERT_TRUE(ArraySetCount(other, 5));
    EXPECT_EQ(Counted::s_alive, 8);
    ArrayShare(other, array);
    EXPECT_EQ(Counted::s_alive, 3) << "what stood there goes";
    EXPECT_EQ(other.pData, array.pData);
    ArrayFree(array);
    EXPECT_EQ(Counted::s_alive, 3);
    ASSERT_TRUE(ArraySetCount(other, 4));
    EXPECT_EQ(Counted::s_alive, 7) << "moved to new storage";
    ArrayFree(other);
    EXPECT_EQ(Counted::s_alive, 0);
}

TEST(GrowingArrayTest, SharedElementsThatCannotBeCopiedStayWhereTheyAre) {
    CountedFields array;
    ASSERT_TRUE(ArraySetCount(array, 3));
    array.pData[2].number = 7;
    CountedFields copy;
    ArrayShare(copy, array);
    EXPECT_FALSE(ArraySetCount(array, 4));
    EXPECT_EQ(Counted::s_alive, 3) << "the new storage is given back";
    EXPECT_EQ(array.nCount, 3);
    EXPECT_EQ(array.nCapacity, 3);
    EXPECT_EQ(array.pData[2].number, 7);
    ArrayFree(copy);
    ASSERT_TRUE(ArraySetCount(array, 4)) << "its own now";
    EXPECT_EQ(array.pData[2].number, 7);
    ArrayFree(array);
    EXPECT_EQ(Counted::s_alive, 0);
}
