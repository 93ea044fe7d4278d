// What both source arrays share: opening, closing, positions, sizes, and turning read-ahead on and off.
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

// ---- Read-ahead on and off ----------------------------------------------------------------------------

TYPED_TEST(SourceArrayTest, TheBlockIsTheLargerValueRoundedUpToSectorsAndTheBufferTheLongestRead) {
    const PlatformScope platform;
    platform.Disks().getDiskFreeSpace = [](const wchar_t*, uint32* bytes) {
        *bytes = 512;
        return 1;
    };
    this->OpenSizes({100, 50});
    SourceSequence& sequence = this->array->Sequence();
    this->array->EnablePreRead(1000, 4000);
    EXPECT_EQ(SourceSequenceInspector::PreReadSize(sequence), 4096U);
    EXPECT_EQ(SourceSequenceInspector::MaxReadSize(sequence), 4000U);
    EXPECT_EQ(SourceSequenceInspector::JoinSize(sequence), 4000U);
    EXPECT_EQ(this->array->IsPreReadMode(), 1U);
    this->array->EnablePreRead(8192, 4000);
    EXPECT_EQ(SourceSequenceInspector::PreReadSize(sequence), 8192U);
    EXPECT_THAT(this->disk.calls, IsEmpty()) << "elements are told by their next read";
    this->ReadPtr(1);
    EXPECT_EQ(this->disk.calls.front(), "A.EnablePreRead(8192,4000)");
}

TYPED_TEST(SourceArrayTest, ABlockOfZeroChangesNothing) {
    this->OpenAhead({100, 50});
    this->array->EnablePreRead(0, 9999);
    EXPECT_EQ(SourceSequenceInspector::PreReadSize(this->array->Sequence()), 512U);
    EXPECT_EQ(SourceSequenceInspector::MaxReadSize(this->array->Sequence()), 64U);
}

TYPED_TEST(SourceArrayTest, EnablingWithTheSameResultKeepsTheBuffer) {
    this->OpenAhead({100, 50});
    SourceSequence& sequence = this->array->Sequence();
    this->array->To(90, 1);
    ASSERT_EQ(this->ReadPtr(20), this->Bytes(90, 20));
    const uint8* const buffer = SourceSequenceInspector::JoinBuffer(sequence);
    const std::vector<uint8> joined(buffer, buffer + 20);
    this->array->EnablePreRead(500, 64);
    EXPECT_EQ(SourceSequenceInspector::JoinBuffer(sequence), buffer);
    EXPECT_EQ(std::vector<uint8>(buffer, buffer + 20), joined);
    this->array->EnablePreRead(512, 65);
    EXPECT_EQ(SourceSequenceInspector::JoinSize(sequence), 65U);
}

TYPED_TEST(SourceArrayTest, TheSectorSizeIsThatOfTheCurrentElementsDisk) {
    static std::vector<std::wstring> asked;
    asked.clear();
    const PlatformScope platform;
    platform.Disks().rootLength = [](const wchar_t*) { return 3; };
    platform.Disks().getDiskFreeSpace = [](const wchar_t* root, uint32* bytes) {
        asked.push_back(root);
        *bytes = root[0] == L'X' ? 4096 : 100; // any size at all
        return 1;
    };
    this->disk.files[L"X:\\one"] = Pattern(10, 1);
    this->disk.files[L"Y:\\two"] = Pattern(10, 2);
    ASSERT_EQ(this->array->Open({L"X:\\one", L"Y:\\two"}), VXC_STATUS_OK);
    SourceSequence& sequence = this->array->Sequence();
    this->array->EnablePreRead(1000, 0);
    EXPECT_EQ(SourceSequenceInspector::SectorSize(sequence), 4096U);
    EXPECT_EQ(SourceSequenceInspector::PreReadSize(sequence), 4096U);
    this->array->To(15, 1);
    this->array->EnablePreRead(1001, 0);
    EXPECT_EQ(SourceSequenceInspector::SectorSize(sequence), 100U);
    EXPECT_EQ(SourceSequenceInspector::PreReadSize(sequence), 1100U);
    EXPECT_EQ(asked, (std::vector<std::wstring>{L"X:\\", L"Y:\\"}));
}

TYPED_TEST(SourceArrayTest, WithoutACurrentElementSectorsHave512BytesAndNoDiskIsAsked) {
    static int asked;
    asked = 0;
    const PlatformScope platform;
    platform.Disks().getDiskFreeSpace = [](const wchar_t*, uint32* bytes) {
        ++asked;
        *bytes = 4096;
        return 1;
    };
    this->array->EnablePreRead(1, 0); // never opened: 0 of 0
    EXPECT_EQ(SourceSequenceInspector::PreReadSize(this->array->Sequence()), 512U);
    this->OpenSizes({100, 50});
    this->array->To(1000, 1);
    this->array->EnablePreRead(1, 0); // -1 of 2
    EXPECT_EQ(SourceSequenceInspector::SectorSize(this->array->Sequence()), 512U);
    EXPECT_EQ(SourceSequenceInspector::PreReadSize(this->array->Sequence()), 512U);
    this->array->EnablePreRead(512, 64);
    this->ReadAt(149, 2); // leaves the index behind the last element
    ASSERT_EQ(this->Index(), 2);
    this->array->EnablePreRead(600, 0);
    EXPECT_EQ(SourceSequenceInspector::PreReadSize(this->array->Sequence()), 1024U);
    EXPECT_EQ(asked, 0);
}

TYPED_TEST(SourceArrayTest, OddSizesOfReadAheadAreTakenOrRefused) {
    constexpr int kLowest = std::numeric_limits<int>::min();
    constexpr int kHighest = std::numeric_limits<int>::max();
    this->OpenSizes({100, 50});
    SourceSequence& sequence = this->array->Sequence();
    this->array->EnablePreRead(512, 64);
    for (const int block :
         {kHighest, kHighest - 510, -3}) { // rounded, the sign or the value would be another
        this->array->EnablePreRead(block, -3);
        EXPECT_EQ(SourceSequenceInspector::PreReadSize(sequence), 512U) << block;
        EXPECT_EQ(SourceSequenceInspector::MaxReadSize(sequence), 64U) << block;
    }
    this->array->EnablePreRead(kLowest, -1000); // the whole file in memory, in the words of a source
    EXPECT_EQ(SourceSequenceInspector::PreReadSize(sequence), 0xFFFFFE00U);
    EXPECT_EQ(SourceSequenceInspector::JoinBuffer(sequence), nullptr);
    this->array->EnablePreRead(-5, 0);
    EXPECT_EQ(SourceSequenceInspector::PreReadSize(sequence), 0U);
    EXPECT_EQ(this->array->IsPreReadMode(), 0U);
    this->array->EnablePreRead(-5, 600);
    EXPECT_EQ(SourceSequenceInspector::PreReadSize(sequence), 1024U);
    this->array->EnablePreRead(600, -5);
    EXPECT_EQ(SourceSequenceInspector::PreReadSize(sequence), 1024U);
    EXPECT_EQ(SourceSequenceInspector::JoinBuffer(sequence), nullptr);
    this->array->To(90, 1);
    EXPECT_EQ(this->ReadPtr(20), this->Bytes(90, 20)) << "the buffer comes with the read that needs it";
}

TYPED_TEST(SourceArrayTest, DisablingReleasesTheBufferAndTheNextReadTellsTheElement) {
    this->OpenAhead({100, 50});
    this->Read(1);
    this->disk.calls.clear();
    this->array->DisablePreRead();
    EXPECT_THAT(this->disk.calls, IsEmpty());
    EXPECT_EQ(this->array->IsPreReadMode(), 0U);
    EXPECT_EQ(SourceSequenceInspector::JoinBuffer(this->array->Sequence()), nullptr);
    EXPECT_EQ(SourceSequenceInspector::MaxReadSize(this->array->Sequence()), 64U);
    this->Read(1);
    EXPECT_THAT(this->disk.calls, ElementsAre("A.DisablePreRead", "A.Read(1)"));
    this->array->EnablePreRead(512, 64);
    EXPECT_EQ(SourceSequenceInspector::JoinSize(this->array->Sequence()), 64U);
}

TYPED_TEST(SourceArrayTest, WhereMemoryLacksTheOpenSaysSoAndNothingIsLeft) {
    const std::wstring a = this->AddFile(100);
    const std::wstring b = this->AddFile(50);
    const CVXCStringArray list = ListOf({a, b + L"*b2"});
    int failures = 0;
    for (int nth = 1;; ++nth) {
        uint32 status = 0;
        {
            const MemoryLack lack(nth);
            if constexpr (std::is_base_of_v<CDataSourceArray, TypeParam>) {
                status = this->array->OpenFiles(list, 0);
            } else {
                status = this->array->OpenFile(a.c_str(), 0, b.c_str(), 0);
            }
            if (!lack.Came()) {
                EXPECT_EQ(status, VXC_STATUS_OK);
                break;
            }
        }
        // An inner object that a scripted source lacks is no matter to it.
        if (status != VXC_STATUS_OK) {
            ++failures;
            EXPECT_EQ(status, VXC_STATUS_NOT_AVAILABLE);
        }
        for (int i = 0; i < this->array->Sequence().Count(); ++i) {
            EXPECT_FALSE(SourceSequenceInspector::File1(this->array->Sequence(), i).empty());
        }
        this->array->CloseAll();
        EXPECT_THAT(this->disk.sources, IsEmpty()) << nth;
    }
    EXPECT_GE(failures, 6); // texts and arrays of the names, name and place of each element
}
