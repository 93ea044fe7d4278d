// How both source arrays turn read-ahead on and off: the block, the buffer of boundary reads, the elements.
#include "sources/ArrayFixture.h"

#include <limits>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

template <class Array>
class SourceArrayPreReadTest : public ArrayFixture<Array> {};

using BothArrays = ::testing::Types<ListedArray, PullArray>;
TYPED_TEST_SUITE(SourceArrayPreReadTest, BothArrays);

} // namespace

TYPED_TEST(SourceArrayPreReadTest, TheBlockIsTheLargerValueRoundedUpToSectorsAndTheBufferTheLongestRead) {
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

TYPED_TEST(SourceArrayPreReadTest, ABlockOfZeroChangesNothing) {
    this->OpenAhead({100, 50});
    this->array->EnablePreRead(0, 9999);
    EXPECT_EQ(SourceSequenceInspector::PreReadSize(this->array->Sequence()), 512U);
    EXPECT_EQ(SourceSequenceInspector::MaxReadSize(this->array->Sequence()), 64U);
}

TYPED_TEST(SourceArrayPreReadTest, EnablingWithTheSameResultKeepsTheBuffer) {
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

TYPED_TEST(SourceArrayPreReadTest, TheSectorSizeIsThatOfTheCurrentElementsDisk) {
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

TYPED_TEST(SourceArrayPreReadTest, WithoutACurrentElementSectorsHave512BytesAndNoDiskIsAsked) {
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

TYPED_TEST(SourceArrayPreReadTest, OddSizesOfReadAheadAreTakenOrRefused) {
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

TYPED_TEST(SourceArrayPreReadTest, TheLargestBlockThatKeepsItsSignIsTaken) {
    const PlatformScope platform;
    platform.Disks().getDiskFreeSpace = [](const wchar_t*, uint32* bytes) {
        *bytes = 1;
        return 1;
    };
    this->OpenSizes({100, 50});
    this->array->EnablePreRead(std::numeric_limits<int>::max(), 0);
    EXPECT_EQ(SourceSequenceInspector::PreReadSize(this->array->Sequence()), 0x7FFFFFFFU);
    this->array->EnablePreRead(-1, -1);
    EXPECT_EQ(SourceSequenceInspector::PreReadSize(this->array->Sequence()), 0xFFFFFFFFU);
}

TYPED_TEST(SourceArrayPreReadTest, DisablingReleasesTheBufferAndTheNextReadTellsTheElement) {
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
