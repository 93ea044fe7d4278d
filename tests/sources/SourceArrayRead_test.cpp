// Reads of both source arrays, with and without read-ahead, inside one element and over boundaries.
#include "sources/ArrayFixture.h"

#include <limits>
#include <type_traits>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

template <class Array>
class SourceArrayReadTest : public ArrayFixture<Array> {
protected:
    static constexpr bool kIsListed = std::is_base_of_v<CDataSourceArray, Array>;
};

using BothArrays = ::testing::Types<ListedArray, PullArray>;
TYPED_TEST_SUITE(SourceArrayReadTest, BothArrays);

constexpr auto kPlus = [](std::vector<uint8> left, const std::vector<uint8>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
};

} // namespace

// ---- Read without read-ahead --------------------------------------------------------------------------

TYPED_TEST(SourceArrayReadTest, APlainReadInsideOneElementDoesNotMoveThePosition) {
    this->OpenSizes({100, 50});
    this->array->To(10, 1);
    this->disk.calls.clear();
    EXPECT_EQ(this->Read(30), this->Bytes(10, 30));
    EXPECT_EQ(this->Read(60), this->Bytes(40, 60));
    EXPECT_THAT(this->disk.calls,
                ElementsAre("A.DisablePreRead", "A.Read(30)", "A.DisablePreRead", "A.Read(60)"));
    EXPECT_EQ(this->Position(), 10U);
    EXPECT_EQ(this->array->To(0, 3), 10U) << "so the current position is that of the seek";
}

TYPED_TEST(SourceArrayReadTest, APlainReadOverBoundariesReadsEachNextElementFromItsStart) {
    this->OpenSizes({10, 20, 30, 40, 50});
    this->array->To(5, 1);
    this->disk.calls.clear();
    EXPECT_EQ(this->Read(60), this->Bytes(5, 60));
    EXPECT_THAT(this->disk.calls, ElementsAre("A.DisablePreRead", "A.Read(60)", "B.DisablePreRead",
                                              "B.Seek(0,1)", "B.Read(55)", "C.DisablePreRead", "C.Seek(0,1)",
                                              "C.Read(35)", "D.DisablePreRead", "D.Seek(0,1)", "D.Read(5)"));
    EXPECT_EQ(this->Index(), 3);
    EXPECT_EQ(this->Position(), 65U);
    EXPECT_EQ(this->Read(10), this->Bytes(65, 10));
    EXPECT_EQ(this->Position(), 65U);
}

TYPED_TEST(SourceArrayReadTest, AReadThatEndsWithAnElementStaysThere) {
    this->OpenSizes({10, 20, 30});
    EXPECT_EQ(this->Read(30), this->Bytes(0, 30));
    EXPECT_EQ(this->Index(), 1);
    EXPECT_EQ(this->Read(5), this->Bytes(30, 5));
    EXPECT_EQ(this->Index(), 2);
}

TYPED_TEST(SourceArrayReadTest, AShortReadAtTheLastElementMovesThePosition) {
    this->OpenSizes({10, 20});
    this->array->To(25, 1);
    EXPECT_EQ(this->Read(100), this->Bytes(25, 5));
    EXPECT_EQ(this->Position(), 30U);
    EXPECT_THAT(this->Read(100), IsEmpty());
    EXPECT_EQ(this->Position(), 30U);
    EXPECT_EQ(this->Index(), 1);
}

TYPED_TEST(SourceArrayReadTest, AnEmptyElementEndsAReadAndTheNextOneGoesOn) {
    this->OpenSizes({10, 0, 20});
    EXPECT_EQ(this->Read(15), this->Bytes(0, 10));
    EXPECT_EQ(this->Index(), 1);
    EXPECT_EQ(this->Read(15), this->Bytes(10, 15));
    EXPECT_EQ(this->Index(), 2);
}

TYPED_TEST(SourceArrayReadTest, AllElementsEmptyIsTheEnd) {
    this->OpenSizes({0, 0, 0});
    for (const int index : {1, 2, 2}) {
        EXPECT_THAT(this->Read(5), IsEmpty());
        EXPECT_EQ(this->Index(), index);
    }
}

TYPED_TEST(SourceArrayReadTest, ReadOfZeroBytesAsksTheElementAndMovesNothing) {
    this->OpenSizes({10, 20});
    EXPECT_THAT(this->Read(0), IsEmpty());
    EXPECT_THAT(this->disk.calls, ElementsAre("A.DisablePreRead", "A.Read(0)"));
    EXPECT_EQ(this->Index(), 0);
}

TYPED_TEST(SourceArrayReadTest, TenThousandFilesReadAsOne) {
    this->OpenSizes(std::vector<std::size_t>(10'000, 7));
    EXPECT_EQ(this->array->Size(), 70'000U);
    for (std::size_t position = 0; position < 70'000; position += 1000) {
        ASSERT_EQ(this->Read(1000), this->Bytes(position, 1000)) << position;
    }
    EXPECT_THAT(this->Read(1), IsEmpty());
    EXPECT_EQ(this->array->To(69'999, 1), 69'999U);
    EXPECT_EQ(this->Index(), 9'999);
    EXPECT_EQ(this->Read(9), this->Bytes(69'999, 1));
}

// ---- ReadPtr, and Read with read-ahead ----------------------------------------------------------------

TYPED_TEST(SourceArrayReadTest, ReadPtrInsideOneElementGivesOutThatElementsMemory) {
    this->OpenAhead({100, 50});
    uint8* data = nullptr;
    EXPECT_EQ(this->array->Ptr(&data, 30), 30);
    EXPECT_EQ(data, this->Source(0).Given());
    EXPECT_EQ(this->Position(), 0U);
    EXPECT_EQ(this->ReadPtr(70), this->Bytes(30, 70));
    EXPECT_THAT(this->disk.calls, ElementsAre("A.EnablePreRead(512,64)", "A.ReadPtr(30)",
                                              "A.EnablePreRead(512,64)", "A.ReadPtr(70)"));
}

TYPED_TEST(SourceArrayReadTest, ReadPtrOverABoundaryIsPutTogetherInTheSharedBuffer) {
    this->OpenAhead({100, 50, 25});
    this->array->To(90, 1);
    this->disk.calls.clear();
    uint8* data = nullptr;
    ASSERT_EQ(this->array->Ptr(&data, 60), 60);
    EXPECT_EQ(data, SourceSequenceInspector::JoinBuffer(this->array->Sequence()));
    EXPECT_EQ(std::vector<uint8>(data, data + 60), this->Bytes(90, 60));
    EXPECT_EQ(this->Position(), 90U);
    if (this->kIsListed) {
        EXPECT_THAT(this->disk.calls,
                    ElementsAre("A.EnablePreRead(512,64)", "A.ReadPtr(60)", "B.EnablePreRead(512,64)",
                                "B.Seek(0,1)", "B.ReadAt(0,50)"));
        EXPECT_EQ(this->Index(), 1);
    } else {
        EXPECT_THAT(this->disk.calls,
                    ElementsAre("A.EnablePreRead(512,64)", "A.ReadPtr(60)", "B.EnablePreRead(512,64)",
                                "B.ReadPtr(50)", "C.EnablePreRead(512,64)", "C.ReadPtr(0)"));
        EXPECT_EQ(this->Index(), 2) << "a complete read ends at the next element";
    }
}

TYPED_TEST(SourceArrayReadTest, ReadPtrGoingOnInAnElementThatWasReadBefore) {
    this->OpenAhead({100, 50});
    this->array->To(110, 1); // B now stands at 10
    this->array->To(95, 1);
    const auto expected =
        this->kIsListed ? this->Bytes(95, 20) : kPlus(this->Bytes(95, 5), this->Bytes(110, 15));
    EXPECT_EQ(this->ReadPtr(20), expected) << "from its start, or from where it stands";
}

TYPED_TEST(SourceArrayReadTest, ReadAheadIsStoppedTwoElementsBackAboveIndexTwo) {
    this->OpenAhead({10, 10, 10, 10, 10, 10});
    EXPECT_EQ(this->ReadPtr(55), this->Bytes(0, 55));
    std::vector<std::string> stops;
    for (std::size_t i = 0; i < this->disk.calls.size(); ++i) {
        if (this->disk.calls[i].find("DisablePreRead") != std::string::npos) {
            stops.push_back(this->disk.calls[i - 1] + " " + this->disk.calls[i] + " " +
                            this->disk.calls[i + 1]);
        }
    }
    if (this->kIsListed) {
        EXPECT_THAT(stops, ElementsAre("D.EnablePreRead(512,64) B.DisablePreRead D.Seek(0,1)",
                                       "E.EnablePreRead(512,64) C.DisablePreRead E.Seek(0,1)",
                                       "F.EnablePreRead(512,64) D.DisablePreRead F.Seek(0,1)"));
        EXPECT_EQ(this->Source(0).Name(), "A");
    } else {
        EXPECT_THAT(stops, IsEmpty());
    }
    EXPECT_EQ(this->Index(), 5);
}

TYPED_TEST(SourceArrayReadTest, ReadPtrAtTheEndOfAllGivesTheRestAndThenNothing) {
    this->OpenAhead({10, 20});
    this->array->To(25, 1);
    EXPECT_EQ(this->ReadPtr(30), this->Bytes(25, 5));
    EXPECT_EQ(this->Index(), 1);
    uint8* data = nullptr;
    EXPECT_EQ(this->array->Ptr(&data, 30), 0);
    EXPECT_EQ(data, SourceSequenceInspector::JoinBuffer(this->array->Sequence()));
}

TYPED_TEST(SourceArrayReadTest, AnEmptyElementEndsReadPtrAndTheNextOneGoesOn) {
    this->OpenAhead({10, 0, 20});
    EXPECT_EQ(this->ReadPtr(15), this->Bytes(0, 10));
    EXPECT_EQ(this->Index(), 1);
    EXPECT_EQ(this->ReadPtr(15), this->Bytes(10, 15));
    EXPECT_EQ(this->Index(), 2);
}

TYPED_TEST(SourceArrayReadTest, ReadWithReadAheadCopiesAndMovesThePosition) {
    this->OpenAhead({100, 50});
    EXPECT_EQ(this->Read(40), this->Bytes(0, 40));
    EXPECT_EQ(this->Position(), 40U);
    EXPECT_EQ(this->Read(40), this->Bytes(40, 40));
    EXPECT_EQ(this->Read(40), this->Bytes(80, 40));
    EXPECT_EQ(this->Position(), 120U);
    EXPECT_EQ(this->Read(60), this->Bytes(120, 30));
    EXPECT_EQ(this->Position(), 150U);
    EXPECT_THAT(this->Read(60), IsEmpty());
    EXPECT_EQ(this->Position(), 150U);
    EXPECT_THAT(this->disk.calls, Contains("A.ReadPtr(40)"));
}

TYPED_TEST(SourceArrayReadTest, ABoundaryReadLongerThanAnnouncedFindsRoom) {
    this->OpenAhead({3000, 3000}, 16);
    this->array->To(10, 1);
    EXPECT_EQ(this->ReadPtr(5000), this->Bytes(10, 5000));
    EXPECT_EQ(SourceSequenceInspector::JoinSize(this->array->Sequence()), 5000U);
    EXPECT_EQ(SourceSequenceInspector::MaxReadSize(this->array->Sequence()), 16U);
    this->array->To(3000, 1); // the second file stands at its start again
    this->array->To(2990, 1);
    EXPECT_EQ(this->ReadPtr(20), this->Bytes(2990, 20));
    EXPECT_EQ(SourceSequenceInspector::JoinSize(this->array->Sequence()), 5000U) << "kept for shorter ones";
}

TYPED_TEST(SourceArrayReadTest, ABoundaryReadAsLongAsAnnouncedUsesTheBufferThatIsThere) {
    this->OpenAhead({100, 50}, 20);
    const uint8* const buffer = SourceSequenceInspector::JoinBuffer(this->array->Sequence());
    ASSERT_NE(buffer, nullptr);
    this->array->To(90, 1);
    uint8* data = nullptr;
    ASSERT_EQ(this->array->Ptr(&data, 20), 20);
    EXPECT_EQ(data, buffer);
}

TYPED_TEST(SourceArrayReadTest, ACountThatCannotBeTrueCountsAsNothing) {
    this->OpenSizes({100, 50});
    for (const int count : {11, -1, std::numeric_limits<int>::max()}) {
        this->disk.saysItGave = count;
        this->array->To(5, 1);
        EXPECT_THAT(this->Read(10), IsEmpty()) << count;
        this->array->EnablePreRead(512, 64);
        this->array->To(5, 1);
        EXPECT_THAT(this->ReadPtr(10), IsEmpty()) << count;
        EXPECT_THAT(this->ReadAt(5, 10), IsEmpty()) << count;
        this->array->DisablePreRead();
    }
}

TYPED_TEST(SourceArrayReadTest, WithoutRoomForABoundaryReadTheElementsRestIsGiven) {
    this->OpenAhead({100, 50}, 0);
    this->array->To(90, 1);
    uint8* data = nullptr;
    {
        const MemoryLack lack(1);
        ASSERT_EQ(this->array->Ptr(&data, 20), 10);
        EXPECT_TRUE(lack.Came());
    }
    EXPECT_EQ(data, this->Source(0).Given());
    EXPECT_EQ(std::vector<uint8>(data, data + 10), this->Bytes(90, 10));
    EXPECT_EQ(this->Index(), 0);
    EXPECT_EQ(this->ReadPtr(20), this->Bytes(100, 20)) << "nothing is lost";
    const MemoryLack lack(1);
    this->array->EnablePreRead(1024, 64);
    EXPECT_EQ(this->ReadAt(90, 20), this->Bytes(90, 10));
}

TYPED_TEST(SourceArrayReadTest, WithoutReadAheadPointersAreNotGivenAndNothingMoves) {
    this->OpenSizes({100, 50});
    this->array->To(120, 1);
    this->disk.calls.clear();
    uint8 byte = 7;
    uint8* data = &byte;
    EXPECT_EQ(this->array->Ptr(&data, 10), 0);
    EXPECT_EQ(this->array->ReadAt(0, &data, 10), 0);
    EXPECT_EQ(data, &byte);
    EXPECT_THAT(this->disk.calls, IsEmpty());
    EXPECT_EQ(this->Index(), 1);
}

TYPED_TEST(SourceArrayReadTest, LengthsThatCannotBeGiveNothing) {
    this->OpenAhead({100, 50});
    uint8* data = nullptr;
    for (const int bytes : {-1, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(this->array->Ptr(&data, bytes), 0);
        EXPECT_EQ(this->array->ReadAt(0, &data, bytes), 0);
        EXPECT_EQ(this->array->Read(nullptr, static_cast<uint32>(bytes)), 0);
    }
    EXPECT_EQ(this->array->Ptr(nullptr, 10), 0);
    EXPECT_EQ(this->array->ReadAt(0, nullptr, 10), 0);
    EXPECT_THAT(this->disk.calls, IsEmpty());
    EXPECT_EQ(this->array->Ptr(&data, 0), 0);
    EXPECT_EQ(this->Index(), 0);
}

// ---- ReadAt -------------------------------------------------------------------------------------------

TYPED_TEST(SourceArrayReadTest, ReadAtInTheFirstElementIsExactAndGivesOutItsMemory) {
    this->OpenAhead({100, 50});
    uint8* data = nullptr;
    ASSERT_EQ(this->array->ReadAt(20, &data, 30), 30);
    EXPECT_EQ(data, this->Source(0).Given());
    EXPECT_EQ(std::vector<uint8>(data, data + 30), this->Bytes(20, 30));
    EXPECT_THAT(this->disk.calls, ElementsAre("A.EnablePreRead(512,64)", "A.ReadAt(20,30)"));
    EXPECT_EQ(this->Index(), 0);
    EXPECT_EQ(this->Position(), 0U);
}

TYPED_TEST(SourceArrayReadTest, ReadAtHandsThePositionToLaterElementsAsItIs) {
    this->OpenAhead({10, 200});
    EXPECT_EQ(this->ReadAt(15, 30), this->Bytes(25, 30)) << "10 bytes too far, as callers know it";
    EXPECT_EQ(this->disk.calls.back(), "B.ReadAt(15,30)");
    EXPECT_EQ(this->Index(), 1);
}

TYPED_TEST(SourceArrayReadTest, ReadAtOverABoundaryGoesOnUntilAnElementGivesNothing) {
    this->OpenAhead({100, 200, 300});
    uint8* data = nullptr;
    ASSERT_EQ(this->array->ReadAt(90, &data, 20), 20);
    EXPECT_EQ(data, SourceSequenceInspector::JoinBuffer(this->array->Sequence()));
    // A from 90, then B from 90 of its own.
    EXPECT_EQ(std::vector<uint8>(data, data + 20), kPlus(this->Bytes(90, 10), this->Bytes(190, 10)));
    EXPECT_THAT(this->disk.calls,
                ElementsAre("A.EnablePreRead(512,64)", "A.ReadAt(90,20)", "B.EnablePreRead(512,64)",
                            "B.ReadAt(90,10)", "C.EnablePreRead(512,64)", "C.ReadAt(90,0)"));
    EXPECT_EQ(this->Index(), 2) << "a complete read ends at the next element, on length 0";
}

TYPED_TEST(SourceArrayReadTest, ReadAtThatComesToTheEndLeavesNoCurrentElement) {
    this->OpenAhead({100, 200});
    EXPECT_EQ(this->ReadAt(90, 120), kPlus(this->Bytes(90, 10), this->Bytes(190, 110)));
    EXPECT_EQ(this->Index(), 2);
    EXPECT_THAT(this->ReadPtr(10), IsEmpty());
    EXPECT_THAT(this->Read(10), IsEmpty());
    this->array->DisablePreRead();
    EXPECT_THAT(this->Read(10), IsEmpty());
    EXPECT_EQ(this->array->To(100, 1), 100U);
    EXPECT_EQ(this->Read(10), this->Bytes(100, 10));
}

TYPED_TEST(SourceArrayReadTest, ReadAtOfAPositionThatNoElementHoldsLeavesNoCurrentElement) {
    this->OpenAhead({100, 200});
    for (const uint64 position : {uint64{300}, std::numeric_limits<uint64>::max()}) {
        EXPECT_THAT(this->ReadAt(position, 10), IsEmpty());
        EXPECT_EQ(this->Index(), -1);
    }
    EXPECT_THAT(this->disk.calls, IsEmpty());
    EXPECT_THAT(this->ReadPtr(10), IsEmpty());
}

TYPED_TEST(SourceArrayReadTest, ReadAtLongerThanAnnouncedFindsRoom) {
    this->OpenAhead({1000, 2000}, 16);
    EXPECT_EQ(this->ReadAt(0, 1500), kPlus(this->Bytes(0, 1000), this->Bytes(1000, 500)));
    EXPECT_EQ(SourceSequenceInspector::JoinSize(this->array->Sequence()), 1500U);
}
