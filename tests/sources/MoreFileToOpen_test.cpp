#include "sources/MoreFileToOpen.h"

#include "support/MemoryLack.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace vxcio {

struct MoreFileToOpenInspector {
    static const StringArrayFields& FirstFiles(const SMoreFileToOpenEx& record) {
        return record.m_firstFiles;
    }
    static const FlagsArrayFields& SecondFlags(const SMoreFileToOpenEx& record) {
        return record.m_secondFlags;
    }
    static std::vector<std::size_t> Places() {
        return {offsetof(SMoreFileToOpenEx, m_firstFiles), offsetof(SMoreFileToOpenEx, m_secondFiles),
                offsetof(SMoreFileToOpenEx, m_firstFlags), offsetof(SMoreFileToOpenEx, m_secondFlags)};
    }
    template <class Fields>
    static std::vector<std::size_t> PlacesIn() {
        return {offsetof(Fields, pData), offsetof(Fields, nCount), offsetof(Fields, nCapacity),
                offsetof(Fields, nGrowStep), sizeof(Fields)};
    }
};

} // namespace vxcio

namespace {

// a (with a2), b (alone), c (with c2).
SMoreFileToOpenEx Three() {
    SMoreFileToOpenEx record;
    record.AddFile(L"a", 1, L"a2", 10);
    record.AddFile(L"b", 2, nullptr, 20);
    record.AddFile(L"c", 3, L"c2", 30);
    return record;
}

} // namespace

TEST(MoreFileToOpenTest, ARecordBeginsEmpty) {
    const SMoreFileToOpenEx record(5);
    EXPECT_EQ(record.GetFilesCount(), 0);
    EXPECT_EQ(record.GetFile(0, 0), nullptr);
    EXPECT_EQ(record.GetFileFlagsAndAttributes(0, 0), 0U);
    EXPECT_EQ(MoreFileToOpenInspector::FirstFiles(record).nGrowStep, 0);
    EXPECT_EQ(MoreFileToOpenInspector::SecondFlags(record).pData, nullptr);
}

TEST(MoreFileToOpenTest, GivesFilesAndFlagsOfBothLists) {
    const SMoreFileToOpenEx record = Three();
    EXPECT_EQ(record.GetFilesCount(), 3);
    EXPECT_STREQ(record.GetFile(0, 0), L"a");
    EXPECT_STREQ(record.GetFile(2, 0), L"c");
    EXPECT_STREQ(record.GetFile(0, 1), L"a2");
    EXPECT_EQ(record.GetFileFlagsAndAttributes(1, 0), 2U);
    EXPECT_EQ(record.GetFileFlagsAndAttributes(0, 1), 10U);
}

TEST(MoreFileToOpenTest, AFileWithoutASecondOneShiftsTheSecondsOfLaterFiles) {
    const SMoreFileToOpenEx record = Three();
    EXPECT_STREQ(record.GetFile(1, 1), L"c2");
    EXPECT_EQ(record.GetFileFlagsAndAttributes(1, 1), 30U);
    EXPECT_EQ(record.GetFile(2, 1), nullptr);
    EXPECT_EQ(record.GetFileFlagsAndAttributes(2, 1), 0U);
}

TEST(MoreFileToOpenTest, OutsideTheListsThereIsNothing) {
    const SMoreFileToOpenEx record = Three();
    const int kMost = std::numeric_limits<int>::max();
    for (const int index : {-1, std::numeric_limits<int>::min(), 3, kMost}) {
        for (const int which : {0, 1}) {
            EXPECT_EQ(record.GetFile(index, which), nullptr) << index;
            EXPECT_EQ(record.GetFileFlagsAndAttributes(index, which), 0U) << index;
        }
    }
    for (const int which : {-1, 2, kMost}) {
        EXPECT_EQ(record.GetFile(0, which), nullptr) << which;
        EXPECT_EQ(record.GetFileFlagsAndAttributes(0, which), 0U) << which;
    }
}

TEST(MoreFileToOpenTest, AnEmptySecondFileIsOneAndNoFileIsAnEmptyName) {
    SMoreFileToOpenEx record;
    record.AddFile(nullptr, 1, L"", 2);
    EXPECT_EQ(record.GetFilesCount(), 1);
    EXPECT_STREQ(record.GetFile(0, 0), L"");
    EXPECT_STREQ(record.GetFile(0, 1), L"");
    EXPECT_EQ(record.GetFileFlagsAndAttributes(0, 1), 2U);
}

TEST(MoreFileToOpenTest, RemovingTakesTheIndexOutOfEachListThatHasIt) {
    SMoreFileToOpenEx record = Three();
    record.RemoveFile(1);
    EXPECT_EQ(record.GetFilesCount(), 2);
    EXPECT_STREQ(record.GetFile(1, 0), L"c");
    EXPECT_EQ(record.GetFileFlagsAndAttributes(1, 0), 3U);
    EXPECT_EQ(record.GetFile(1, 1), nullptr) << "c2 stood at 1";
    EXPECT_STREQ(record.GetFile(0, 1), L"a2");
    EXPECT_EQ(record.GetFileFlagsAndAttributes(1, 1), 0U);
    record.RemoveFile(1);
    EXPECT_EQ(record.GetFilesCount(), 1);
    EXPECT_STREQ(record.GetFile(0, 1), L"a2") << "the second list is not so long";
    EXPECT_EQ(record.GetFileFlagsAndAttributes(0, 1), 10U);
}

TEST(MoreFileToOpenTest, RemovingOutsideTheListRemovesNothing) {
    SMoreFileToOpenEx record = Three();
    for (const int index : {5, 3, -1}) {
        record.RemoveFile(index);
    }
    EXPECT_EQ(record.GetFilesCount(), 3);
    EXPECT_STREQ(record.GetFile(1, 1), L"c2");
}

TEST(MoreFileToOpenTest, OperationsByNameDoNothing) {
    SMoreFileToOpenEx record = Three();
    record.RemoveFile(L"a");
    record.SetFileInfo(L"a", 1, 7);
    EXPECT_EQ(record.GetFileInfo(L"a", 1), 0U);
    EXPECT_EQ(record.GetFilesCount(), 3);
    EXPECT_EQ(record.GetFileFlagsAndAttributes(0, 0), 1U);
}

TEST(MoreFileToOpenTest, ClearingEmptiesAllListsAndTheRecordIsUsedAgain) {
    SMoreFileToOpenEx record = Three();
    record.ClearFile();
    EXPECT_EQ(record.GetFilesCount(), 0);
    EXPECT_EQ(record.GetFile(0, 1), nullptr);
    EXPECT_EQ(record.GetFileFlagsAndAttributes(0, 0), 0U);
    EXPECT_EQ(MoreFileToOpenInspector::FirstFiles(record).nCapacity, 0);
    EXPECT_EQ(MoreFileToOpenInspector::SecondFlags(record).nCapacity, 0);
    record.AddFile(L"d", 4, nullptr, 0);
    EXPECT_STREQ(record.GetFile(0, 0), L"d");
    EXPECT_EQ(record.GetFileFlagsAndAttributes(0, 0), 4U);
}

TEST(MoreFileToOpenTest, GrowsByTheRuleOfItsArrays) {
    SMoreFileToOpenEx record;
    int64 capacity = 0;
    int64 largest = 0;
    for (int i = 0; i < 10'000; ++i) {
        record.AddFile(std::to_wstring(i).c_str(), static_cast<uint32>(i), L"second", static_cast<uint32>(i));
        const StringArrayFields& files = MoreFileToOpenInspector::FirstFiles(record);
        ASSERT_EQ(files.nCapacity, MoreFileToOpenInspector::SecondFlags(record).nCapacity);
        largest = std::max(largest, files.nCapacity - capacity);
        capacity = files.nCapacity;
    }
    EXPECT_EQ(record.GetFilesCount(), 10'000);
    EXPECT_STREQ(record.GetFile(9'999, 0), L"9999");
    EXPECT_EQ(record.GetFileFlagsAndAttributes(9'999, 1), 9'999U);
    EXPECT_EQ(largest, 1024);
}

TEST(MoreFileToOpenTest, CopiesShareTheirArraysAndEndInAnyOrder) {
    auto record = std::make_unique<SMoreFileToOpenEx>();
    for (const wchar_t* name : {L"a", L"b"}) {
        record->AddFile(name, 1, name, 2);
    }
    auto copy = std::make_unique<SMoreFileToOpenEx>(*record);
    SMoreFileToOpenEx assigned;
    assigned.AddFile(L"old", 0, L"old", 0);
    assigned = *record;
    EXPECT_EQ(copy->GetFile(0, 0), record->GetFile(0, 0));
    EXPECT_EQ(assigned.GetFile(1, 1), record->GetFile(1, 1));
    EXPECT_EQ(assigned.GetFileFlagsAndAttributes(1, 0), 1U);
    EXPECT_EQ(assigned.GetFileFlagsAndAttributes(1, 1), 2U);
    record->AddFile(L"c", 3, nullptr, 0); // within the room of first files
    EXPECT_EQ(copy->GetFilesCount(), 2);
    copy->AddFile(L"d", 4, nullptr, 0);
    EXPECT_STREQ(record->GetFile(2, 0), L"d");
    EXPECT_EQ(record->GetFileFlagsAndAttributes(2, 0), 4U);
    for (int i = 0; i < 100; ++i) {
        record->AddFile(L"e", 5, L"e", 5);
    }
    record.reset();
    EXPECT_STREQ(copy->GetFile(1, 1), L"b");
    copy.reset();
    EXPECT_STREQ(assigned.GetFile(0, 0), L"a");
}

TEST(MoreFileToOpenTest, AFileThatFindsNoMemoryThrowsAndChangesNothing) {
    int failures = 0;
    for (int nth = 1;; ++nth) {
        SMoreFileToOpenEx record;
        for (int i = 0; i < 5; ++i) { // all four arrays are full
            record.AddFile(L"a", 1, L"a2", 2);
        }
        const MemoryLack lack(nth);
        bool threw = false;
        try {
            record.AddFile(L"b", 3, L"b2", 4);
        } catch (const std::bad_alloc&) {
            threw = true;
        }
        EXPECT_EQ(threw, lack.Came()) << nth;
        if (!threw) {
            break;
        }
        ++failures;
        EXPECT_EQ(record.GetFilesCount(), 5) << nth;
        EXPECT_EQ(record.GetFile(5, 1), nullptr) << nth;
        EXPECT_EQ(record.GetFileFlagsAndAttributes(5, 0), 0U) << nth;
        EXPECT_EQ(record.GetFileFlagsAndAttributes(5, 1), 0U) << nth;
    }
    EXPECT_EQ(failures, 6); // two texts, four arrays
}

TEST(MoreFileToOpenTest, TheRecordIsFourArraysOfFourFieldsInTheirOrder) {
    const std::vector<std::size_t> fields = {0, 8, 16, 24, 32};
    EXPECT_EQ(MoreFileToOpenInspector::PlacesIn<StringArrayFields>(), fields);
    EXPECT_EQ(MoreFileToOpenInspector::PlacesIn<FlagsArrayFields>(), fields);
    EXPECT_EQ(MoreFileToOpenInspector::Places(), (std::vector<std::size_t>{0, 32, 64, 96}));
    EXPECT_EQ(sizeof(SMoreFileToOpenEx), 128U);
}
