// What only the array opened from a list of names does: names with a star, and files added later.
#include "sources/DataSourceArray.h"

#include "sources/ArrayFixture.h"

#include <cstdint>
#include <cstring>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class DataSourceArrayTest : public ArrayFixture<ListedArray> {
protected:
    uint32 Add(const std::vector<std::wstring>& names) { return array->AddFiles(ListOf(names)); }
    std::vector<std::string> Opened() const {
        std::vector<std::string> names;
        for (const std::string& call : disk.calls) {
            const std::size_t from = call.find(".OpenFile(");
            if (from != std::string::npos) {
                names.push_back(call.substr(from + 10, call.find(',') - from - 10));
            }
        }
        return names;
    }
};

} // namespace

TEST_F(DataSourceArrayTest, AStarDividesTwoCopiesOfOneFile) {
    AddFile(100);
    AddFile(50);
    ASSERT_EQ(array->Open({L"A*a2", L"B*b2*more"}), VXC_STATUS_OK);
    EXPECT_THAT(Opened(), ElementsAre("A*a2", "B*b2*more"));
    SourceSequence& sequence = array->Sequence();
    EXPECT_EQ(Look::File1(sequence, 0), L"A");
    EXPECT_EQ(Look::File2(sequence, 0), L"a2");
    EXPECT_EQ(Look::File2(sequence, 1), L"b2*more");
}

TEST_F(DataSourceArrayTest, WhereOnlySomeNamesHaveAStarNoSecondCopyIsOpened) {
    AddFile(100);
    AddFile(50);
    ASSERT_EQ(array->Open({L"A*a2", L"B"}), VXC_STATUS_OK);
    EXPECT_THAT(Opened(), ElementsAre("A", "B"));
    EXPECT_EQ(Look::File2(array->Sequence(), 0), L"");
}

TEST_F(DataSourceArrayTest, AStarInFrontBelongsToTheName) {
    disk.files[L"*a"] = Pattern(5, 1);
    disk.files[L"*"] = Pattern(5, 2);
    ASSERT_EQ(array->Open({L"*a", L"*"}), VXC_STATUS_OK);
    EXPECT_THAT(Opened(), ElementsAre("*a", "*"));
}

TEST_F(DataSourceArrayTest, AStarAtTheEndGivesAnEmptySecondName) {
    AddFile(100);
    ASSERT_EQ(array->Open({L"A*"}), VXC_STATUS_OK);
    EXPECT_THAT(Opened(), ElementsAre("A*"));
    EXPECT_EQ(Look::File1(array->Sequence(), 0), L"A");
}

TEST_F(DataSourceArrayTest, AddsWhatTheListHasMore) {
    OpenSizes({10, 20}, 0x20);
    AddFile(30);
    AddFile(40);
    EXPECT_EQ(Add({L"A", L"B", L"C", L"D"}), VXC_STATUS_OK);
    EXPECT_THAT(disk.calls, ElementsAre("B.GetFileSize", "C.OpenFile(C,0x20)", "C.GetFileSize",
                                        "D.OpenFile(D,0x20)", "D.GetFileSize"));
    EXPECT_EQ(Look::StartPos(array->Sequence(), 2), 30U);
    EXPECT_EQ(Look::StartPos(array->Sequence(), 3), 60U);
    EXPECT_EQ(array->Seek(65, 1), 65U);
    EXPECT_EQ(Read(5), Bytes(65, 5));
}

TEST_F(DataSourceArrayTest, TheTotalStaysUntilTheSizeIsAskedFor) {
    OpenSizes({10, 20});
    AddFile(30);
    EXPECT_EQ(Add({L"A", L"B", L"C"}), VXC_STATUS_OK);
    EXPECT_EQ(array->Seek(10, 2), 20U);
    EXPECT_EQ(array->GetFileSize(), 60);
    EXPECT_EQ(array->Seek(10, 2), 50U);
}

TEST_F(DataSourceArrayTest, TheSameListRefreshesTheLastSizeAndAddsNothing) {
    OpenSizes({10, 20});
    disk.files[L"A"].resize(11);
    disk.files[L"B"].resize(25);
    EXPECT_EQ(Add({L"A", L"B"}), VXC_STATUS_OK);
    EXPECT_THAT(disk.calls, ElementsAre("B.GetFileSize"));
    EXPECT_EQ(Look::Size(array->Sequence(), 0), 10U);
    EXPECT_EQ(Look::Size(array->Sequence(), 1), 25U);
}

TEST_F(DataSourceArrayTest, WhatIsAddedStartsBehindTheLastSizeAsItIsNow) {
    OpenSizes({10, 20});
    disk.files[L"B"].resize(25);
    AddFile(30);
    EXPECT_EQ(Add({L"A", L"B", L"C"}), VXC_STATUS_OK);
    EXPECT_EQ(Look::StartPos(array->Sequence(), 2), 35U);
}

TEST_F(DataSourceArrayTest, NamesAreComparedWithoutCaseAndTheirSecondCopiesNotAtAll) {
    disk.files[L"Clip\x00E9"] = Pattern(5, 1);
    ASSERT_EQ(array->Open({L"Clip\x00E9"}), VXC_STATUS_OK);
    EXPECT_EQ(Add({L"cLIP\x00C9*copy"}), VXC_STATUS_OK);
    EXPECT_EQ(Add({L"Clip"}), VXC_STATUS_LIST);
    EXPECT_EQ(Add({L"Clip\x00E9\x00E9"}), VXC_STATUS_LIST);
    EXPECT_EQ(Add({L"Clop\x00E9"}), VXC_STATUS_LIST);
}

TEST_F(DataSourceArrayTest, AListThatIsNoLongerOneIsRefused) {
    static_assert(VXC_STATUS_LIST == 0x80000009U);
    OpenSizes({10, 20});
    AddFile(30);
    EXPECT_EQ(Add({L"A"}), VXC_STATUS_LIST);
    EXPECT_EQ(Add({}), VXC_STATUS_LIST);
    EXPECT_EQ(Add({L"B", L"A", L"C"}), VXC_STATUS_LIST);
    EXPECT_THAT(disk.calls, IsEmpty());
    EXPECT_EQ(array->Sequence().Count(), 2);
}

TEST_F(DataSourceArrayTest, AListWithoutAnOpenFileWhoseNameIsEmptyIsRefused) {
    AddFile(10);
    disk.files[L""] = Pattern(5, 1);
    ASSERT_EQ(array->Open({L"A", L""}), VXC_STATUS_OK);
    EXPECT_EQ(Add({L"A"}), VXC_STATUS_LIST);
    EXPECT_EQ(Add({L"A", L""}), VXC_STATUS_OK);
}

TEST_F(DataSourceArrayTest, AFileThatCannotBeAddedIsDestroyedAndTheOnesBeforeStay) {
    OpenSizes({10});
    AddFile(20);
    AddFile(30);
    EXPECT_EQ(Add({L"A", L"B", L"missing", L"C"}), VXC_STATUS_LIST);
    EXPECT_THAT(disk.calls,
                ElementsAre("A.GetFileSize", "B.OpenFile(B,0)", "B.GetFileSize",
                            "missing.OpenFile(missing,0)", "missing.CloseFile", "missing.Close", "~missing"));
    EXPECT_EQ(array->Sequence().Count(), 2);
    disk.makesNone = true;
    EXPECT_EQ(Add({L"A", L"B", L"C"}), VXC_STATUS_LIST);
    disk.makesNone = false;
    EXPECT_EQ(Add({L"A", L"B", L"C"}), VXC_STATUS_OK);
    EXPECT_EQ(array->GetFileSize(), 60);
}

TEST_F(DataSourceArrayTest, SecondCopiesOfAddedFilesGoByTheWholeList) {
    AddFile(10);
    AddFile(20);
    ASSERT_EQ(array->Open({L"A*a2"}), VXC_STATUS_OK);
    EXPECT_EQ(Add({L"A", L"B*b2"}), VXC_STATUS_OK);
    EXPECT_THAT(Opened(), ElementsAre("A*a2", "B"));
    array->CloseFiles();
    disk.calls.clear();
    ASSERT_EQ(array->Open({L"A*a2"}), VXC_STATUS_OK);
    EXPECT_EQ(Add({L"A*a2", L"B*b2"}), VXC_STATUS_OK);
    EXPECT_THAT(Opened(), ElementsAre("A*a2", "B*b2"));
}

TEST_F(DataSourceArrayTest, FilesAreAddedToAnEmptyArrayFromPositionZero) {
    AddFile(10);
    AddFile(20);
    EXPECT_EQ(Add({L"A", L"B"}), VXC_STATUS_OK);
    EXPECT_EQ(Look::StartPos(array->Sequence(), 0), 0U);
    EXPECT_EQ(Look::StartPos(array->Sequence(), 1), 10U);
    EXPECT_EQ(Read(30), Bytes(0, 30));
    EXPECT_EQ(array->GetFileSize(), 30);
    array->CloseFiles(); // the total stays
    EXPECT_EQ(Add({}), VXC_STATUS_OK);
    EXPECT_EQ(Add({L"B"}), VXC_STATUS_OK);
    EXPECT_EQ(Look::StartPos(array->Sequence(), 0), 0U);
}

TEST_F(DataSourceArrayTest, AddingAfterACloseWithReadAheadOnJoinsReadsAllTheSame) {
    OpenAhead({10, 20});
    array->CloseFiles();
    ASSERT_EQ(Add({L"A", L"B"}), VXC_STATUS_OK);
    EXPECT_EQ(ReadPtr(30), Bytes(0, 30));
}

TEST_F(DataSourceArrayTest, WhereMemoryLacksAddingSaysSoAndNothingIsLost) {
    OpenSizes({10});
    AddFile(20);
    const CVXCStringArray list = ListOf({L"A*a2", L"B*b2"});
    int failures = 0;
    for (int nth = 1;; ++nth) {
        bool came = false;
        {
            const MemoryLack lack(nth);
            const uint32 status = array->AddFiles(list);
            came = lack.Came();
            if (status != VXC_STATUS_OK) {
                ++failures;
                EXPECT_TRUE(came) << nth;
                EXPECT_EQ(status, VXC_STATUS_LIST);
                EXPECT_EQ(array->Sequence().Count(), 1);
                EXPECT_EQ(disk.sources.size(), 1U);
                continue;
            }
        }
        // All is there, also where it was the inner object of a scripted source that found none.
        ASSERT_EQ(array->Sequence().Count(), 2) << nth;
        EXPECT_EQ(Look::File1(array->Sequence(), 1), L"B") << nth;
        EXPECT_EQ(Look::File2(array->Sequence(), 1), L"b2") << nth;
        if (!came) {
            break;
        }
        ASSERT_EQ(array->Open({L"A"}), VXC_STATUS_OK);
    }
    EXPECT_GE(failures, 9); // texts and arrays of the names, names and place of the element
}

#if defined(__GXX_ABI_VERSION)
// Where a pointer to a virtual operation holds the offset of its slot: the slot's number. The destructor
// takes the first two.
template <class Operation>
std::size_t Slot(Operation operation) {
    std::uintptr_t parts[2] = {};
    static_assert(sizeof operation == sizeof parts);
    std::memcpy(parts, &operation, sizeof parts);
    return (parts[0] - 1) / sizeof(void*);
}

TEST(DataSourceArrayOrderTest, VirtualOperationsStandInTheirOrder) {
    using Array = CQLSoftDataSourceArray;
    EXPECT_THAT((std::vector<std::size_t>{
                    Slot(&Array::OpenFiles), Slot(&Array::CloseFiles), Slot(&Array::EnablePreRead),
                    Slot(&Array::DisablePreRead), Slot(&Array::IsPreReadMode), Slot(&Array::CanSeek),
                    Slot(&Array::ReadAt), Slot(&Array::ReadPtr), Slot(&Array::Seek), Slot(&Array::Read),
                    Slot(&Array::GetFileSize), Slot(&Array::AddFiles)}),
                ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13));
}
#endif
