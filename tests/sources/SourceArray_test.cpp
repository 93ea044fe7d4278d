// What both source arrays share: opening, closing, positions and sizes.
#include "sources/ArrayFixture.h"

#include <limits>
#include <type_traits>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

template <class Array>
class SourceArrayTest : public ArrayFixture<Array> {};

using BothArrays = ::testing::Types<ListedArray, PullArray>;
TYPED_TEST_SUITE(SourceArrayTest, BothArrays);

constexpr uint64 kMost = std::numeric_limits<uint64>::max();

} // namespace

TYPED_TEST(SourceArrayTest, OpensASourceOfTheFileKindForEachNameInOrder) {
    this->AddFile(100);
    this->AddFile(50);
    EXPECT_EQ(this->array->Open({L"A", L"B"}, 0x20), VXC_STATUS_OK);
    EXPECT_THAT(this->disk.calls,
                ElementsAre("A.OpenFile(A,0x20)", "A.GetFileSize", "B.OpenFile(B,0x20)", "B.GetFileSize"));
    EXPECT_THAT(this->disk.modes, ElementsAre(IOWORKMODE_FILE, IOWORKMODE_FILE));
    SourceSequence& sequence = this->array->Sequence();
    EXPECT_EQ(SourceSequenceInspector::StartPos(sequence, 0), 0U);
    EXPECT_EQ(SourceSequenceInspector::StartPos(sequence, 1), 100U);
    EXPECT_EQ(SourceSequenceInspector::Size(sequence, 1), 50U);
    EXPECT_EQ(SourceSequenceInspector::File1(sequence, 1), L"B");
    EXPECT_EQ(SourceSequenceInspector::TotalSize(sequence), 150U);
    EXPECT_EQ(this->array->CanSeek(), 1);
}

TYPED_TEST(SourceArrayTest, ClosingClosesEndsAndDeletesEachSource) {
    this->OpenSizes({10, 20});
    EXPECT_EQ(this->array->CloseAll(), VXC_STATUS_OK);
    EXPECT_THAT(this->disk.calls,
                ElementsAre("A.CloseFile", "A.Close", "~A", "B.CloseFile", "B.Close", "~B"));
    this->disk.calls.clear();
    EXPECT_EQ(this->array->CloseAll(), VXC_STATUS_OK);
    EXPECT_THAT(this->disk.calls, IsEmpty());
}

TYPED_TEST(SourceArrayTest, OpeningAgainClosesFirstAndBeginsAnew) {
    this->OpenAhead({10, 20});
    this->array->To(15, 1);
    this->disk.calls.clear();
    ASSERT_EQ(this->array->Open({L"B"}), VXC_STATUS_OK);
    EXPECT_THAT(this->disk.calls, ElementsAre("A.CloseFile", "A.Close", "~A", "B.CloseFile", "B.Close", "~B",
                                              "B.OpenFile(B,0)", "B.GetFileSize"));
    EXPECT_EQ(this->Index(), 0);
    EXPECT_EQ(this->Position(), 0U);
    EXPECT_EQ(this->array->IsPreReadMode(), 0U);
    EXPECT_EQ(SourceSequenceInspector::MaxReadSize(this->array->Sequence()), 0U);
    EXPECT_EQ(SourceSequenceInspector::TotalSize(this->array->Sequence()), 20U);
}

TYPED_TEST(SourceArrayTest, ClosingKeepsPositionTotalAndReadAheadButNotTheBuffer) {
    this->OpenAhead({10, 20});
    this->array->To(15, 1);
    this->array->CloseAll();
    EXPECT_EQ(this->Index(), 1);
    EXPECT_EQ(this->Position(), 15U);
    EXPECT_EQ(this->array->IsPreReadMode(), 1U);
    EXPECT_EQ(SourceSequenceInspector::TotalSize(this->array->Sequence()), 30U);
    EXPECT_EQ(SourceSequenceInspector::JoinBuffer(this->array->Sequence()), nullptr);
    // An index that outlived its elements is no element.
    EXPECT_THAT(this->Read(5), IsEmpty());
    EXPECT_THAT(this->ReadPtr(5), IsEmpty());
    EXPECT_THAT(this->ReadAt(0, 5), IsEmpty());
    this->array->DisablePreRead();
    EXPECT_THAT(this->Read(5), IsEmpty());
    EXPECT_EQ(this->array->Size(), 0U);
}

TYPED_TEST(SourceArrayTest, AMissingFileEndsTheOpenWithItsStatusAndTheOnesBeforeStay) {
    this->AddFile(100);
    this->AddFile(50);
    EXPECT_EQ(this->array->Open({L"A", L"missing", L"B"}), VXC_STATUS_OPEN_READ);
    EXPECT_THAT(this->disk.calls,
                ElementsAre("A.OpenFile(A,0)", "A.GetFileSize", "missing.OpenFile(missing,0)",
                            "missing.CloseFile", "missing.Close", "~missing"));
    EXPECT_EQ(this->array->Sequence().Count(), 1);
    EXPECT_EQ(this->array->Size(), 100U);
}

TYPED_TEST(SourceArrayTest, WithoutASourceTheOpenHasNone) {
    this->disk.makesNone = true;
    EXPECT_EQ(this->array->Open({L"A"}), VXC_STATUS_NOT_AVAILABLE);
    EXPECT_EQ(this->array->Sequence().Count(), 0);
}

TYPED_TEST(SourceArrayTest, TheDestructorLeavesTheSourcesOpen) {
    this->OpenSizes({10, 20});
    this->array.reset();
    EXPECT_THAT(this->disk.calls, IsEmpty());
    ASSERT_EQ(this->disk.sources.size(), 2U);
    while (!this->disk.sources.empty()) {
        delete this->disk.sources.back();
    }
    this->array = std::make_unique<TypeParam>();
}

TYPED_TEST(SourceArrayTest, AnEmptyArrayGivesNothing) {
    ASSERT_EQ(this->array->Open({}), VXC_STATUS_OK);
    EXPECT_EQ(this->array->Size(), 0U);
    EXPECT_EQ(this->array->To(5, 1), 5U);
    EXPECT_EQ(this->Index(), -1);
    EXPECT_THAT(this->Read(5), IsEmpty());
    this->array->EnablePreRead(512, 64);
    EXPECT_THAT(this->ReadPtr(5), IsEmpty());
    EXPECT_THAT(this->ReadAt(0, 5), IsEmpty());
}

TYPED_TEST(SourceArrayTest, AnArrayThatWasNeverOpenedGivesNothing) {
    EXPECT_EQ(this->array->IsPreReadMode(), 0U);
    EXPECT_THAT(this->Read(5), IsEmpty()); // the index is 0, and there is no element 0
    this->array->EnablePreRead(512, 64);
    EXPECT_THAT(this->Read(5), IsEmpty());
    EXPECT_THAT(this->ReadAt(0, 5), IsEmpty());
    EXPECT_EQ(this->array->CloseAll(), VXC_STATUS_OK);
}

// ---- Seeking ------------------------------------------------------------------------------------------

TYPED_TEST(SourceArrayTest, SeeksInTheElementThatHoldsThePosition) {
    this->OpenSizes({100, 50, 25});
    EXPECT_EQ(this->array->To(99, 1), 99U);
    EXPECT_EQ(this->array->To(100, 1), 100U);
    EXPECT_EQ(this->array->To(174, 1), 174U);
    EXPECT_THAT(this->disk.calls, ElementsAre("A.Seek(99,1)", "B.Seek(0,1)", "C.Seek(24,1)"));
    EXPECT_EQ(this->Index(), 2);
    EXPECT_EQ(this->Position(), 174U);
}

TYPED_TEST(SourceArrayTest, OriginTwoCountsBackwardsFromTheEnd) {
    this->OpenSizes({100, 50});
    EXPECT_EQ(this->array->To(10, 2), 140U);
    EXPECT_EQ(this->array->To(150, 2), 0U);
    EXPECT_THAT(this->disk.calls, ElementsAre("B.Seek(40,1)", "A.Seek(0,1)"));
}

TYPED_TEST(SourceArrayTest, OriginThreeIgnoresTheOffset) {
    this->OpenSizes({100, 50});
    this->array->To(120, 1);
    for (const uint64 offset : {uint64{0}, uint64{7}, kMost}) {
        EXPECT_EQ(this->array->To(offset, 3), 120U);
    }
    EXPECT_EQ(this->disk.calls.back(), "B.Seek(20,1)");
}

TYPED_TEST(SourceArrayTest, AnyOtherOriginGivesZeroAndChangesNothing) {
    this->OpenSizes({100, 50});
    this->array->To(120, 1);
    this->disk.calls.clear();
    for (const uint32 origin : {0U, 4U, 0xFFFFFFFFU}) {
        EXPECT_EQ(this->array->To(5, origin), 0U);
    }
    EXPECT_THAT(this->disk.calls, IsEmpty());
    EXPECT_EQ(this->Position(), 120U);
    EXPECT_EQ(this->Index(), 1);
}

TYPED_TEST(SourceArrayTest, WherePositionsHaveNoElementReadsGiveNothingUntilASeekFindsOne) {
    this->OpenSizes({100, 50});
    this->array->To(120, 1);
    for (const uint64 target : {uint64{150}, uint64{1} << 63, kMost}) {
        EXPECT_EQ(this->array->To(target, 1), target);
        EXPECT_EQ(this->Index(), -1);
        EXPECT_EQ(this->Position(), 120U) << "the position stays";
        EXPECT_THAT(this->Read(5), IsEmpty());
    }
    EXPECT_EQ(this->array->To(151, 2), kMost) << "before the start";
    EXPECT_EQ(this->Index(), -1);
    this->array->EnablePreRead(512, 64);
    EXPECT_THAT(this->ReadPtr(5), IsEmpty());
    EXPECT_THAT(this->Read(5), IsEmpty());
    EXPECT_EQ(this->Position(), 120U);
    EXPECT_EQ(this->array->To(0, 3), 120U);
    EXPECT_EQ(this->Read(5), this->Bytes(120, 5));
}

TYPED_TEST(SourceArrayTest, ASingleElementHoldsEveryPosition) {
    this->OpenSizes({100});
    EXPECT_EQ(this->array->To(1000, 1), 1000U);
    EXPECT_EQ(this->array->To(101, 2), kMost);
    EXPECT_THAT(this->disk.calls, ElementsAre("A.Seek(1000,1)", "A.Seek(-1,1)"));
    EXPECT_EQ(this->Index(), 0);
    EXPECT_EQ(this->Position(), kMost);
}

TYPED_TEST(SourceArrayTest, ThePositionIsWhereTheElementSaysItStands) {
    this->OpenSizes({100, 50});
    this->disk.saysItIsAt = 7;
    EXPECT_EQ(this->array->To(120, 1), 107U);
    EXPECT_EQ(this->Position(), 107U);
}

TYPED_TEST(SourceArrayTest, NoPositionLiesInAnEmptyElement) {
    this->OpenSizes({10, 0, 0, 20});
    EXPECT_EQ(this->array->To(10, 1), 10U);
    EXPECT_EQ(this->Index(), 3);
    EXPECT_THAT(this->disk.calls, ElementsAre("D.Seek(0,1)"));
}

// ---- Sizes --------------------------------------------------------------------------------------------

TYPED_TEST(SourceArrayTest, TheSizeIsAskedAnewAndStartPositionsStay) {
    this->OpenSizes({100, 50});
    this->disk.files[L"A"].resize(130);
    EXPECT_EQ(SourceSequenceInspector::TotalSize(this->array->Sequence()), 150U);
    EXPECT_EQ(this->array->Size(), 180U);
    EXPECT_THAT(this->disk.calls, ElementsAre("A.GetFileSize", "B.GetFileSize"));
    EXPECT_EQ(SourceSequenceInspector::StartPos(this->array->Sequence(), 1), 100U);
    // Both hold position 120 now; the first wins.
    EXPECT_EQ(this->array->To(120, 1), 120U);
    EXPECT_EQ(this->Index(), 0);
    EXPECT_EQ(this->array->To(160, 1), 160U);
    EXPECT_EQ(this->Index(), -1);
}

// ---- Memory that lacks -----------------------------------------------------------------------------------

TYPED_TEST(SourceArrayTest, WhereMemoryLacksTheOpenSaysSoAndNothingIsLeft) {
    constexpr bool kIsListed = std::is_base_of_v<CDataSourceArray, TypeParam>;
    const std::wstring a = this->AddFile(100);
    const std::wstring b = this->AddFile(50);
    SourceSequence& sequence = this->array->Sequence();
    for (const bool paired : {false, true}) {
        const std::wstring end = paired ? L"*second" : L"";
        const CVXCStringArray list = ListOf({a + end, b + end});
        SMoreFileToOpenEx record;
        for (const std::wstring& name : {a, b}) {
            record.AddFile(name.c_str(), 0, paired ? L"second" : nullptr, 0);
        }
        int failures = 0;
        for (int nth = 1;; ++nth) {
            uint32 status = 0;
            bool came = false;
            {
                const MemoryLack lack(nth);
                if constexpr (kIsListed) {
                    status = this->array->OpenFiles(list, 0);
                } else {
                    status =
                        this->array->OpenFile(nullptr, 0, nullptr, reinterpret_cast<std::uintptr_t>(&record));
                }
                came = lack.Came();
            }
            if (status == VXC_STATUS_OK) {
                EXPECT_EQ(sequence.Count(), 2) << nth;
            } else {
                ++failures;
                EXPECT_TRUE(came) << nth;
                EXPECT_EQ(status, VXC_STATUS_NOT_AVAILABLE) << nth;
            }
            for (int i = 0; i < sequence.Count(); ++i) {
                EXPECT_EQ(SourceSequenceInspector::File1(sequence, i), i == 0 ? a : b) << nth;
                EXPECT_EQ(SourceSequenceInspector::File2(sequence, i), paired && kIsListed ? L"second" : L"")
                    << nth;
            }
            this->array->CloseAll();
            EXPECT_THAT(this->disk.sources, IsEmpty()) << nth;
            // An inner object that a scripted source lacks is no matter to it.
            if (status == VXC_STATUS_OK && !came) {
                break;
            }
        }
        // Texts and places of the names, names and place of each element.
        EXPECT_GE(failures, paired ? 12 : 8);
    }
}
