// Both source arrays over real files, through the sources that the factory makes.
#include "frame/PlatformTypes.h"
#include "sources/ArrayFixture.h"
#include "support/LeakChecks.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::IsEmpty;

namespace {

// A clip cut in pieces, one of them empty.
template <class Array>
class ArrayFilesTest : public ::testing::Test {
protected:
    static constexpr std::size_t kSize = 30'000;

    ArrayFilesTest() : clip(Pattern(kSize, 9)) {
        const std::string text(clip.begin(), clip.end());
        std::size_t from = 0;
        for (const std::size_t size : std::vector<std::size_t>{10'000, 1, 4095, 0, 15'904}) {
            const std::string name = "piece" + std::to_string(names.size());
            folder.Write(name, text.substr(from, size));
            names.push_back(folder.Wide(name));
            from += size;
        }
    }
    ~ArrayFilesTest() override { array.CloseAll(); }

    // All that is left from here on, in reads of so many bytes; an empty file ends one of them early.
    std::vector<uint8> ReadOn(uint32 bytes) {
        std::vector<uint8> all;
        std::vector<uint8> buffer(bytes);
        for (int got = 0, empty = 0; empty < 2; empty = got == 0 ? empty + 1 : 0) {
            got = array.Read(buffer.data(), bytes);
            all.insert(all.end(), buffer.begin(), buffer.begin() + got);
        }
        return all;
    }

    NoLeakScope leaks;
    TempFolder folder;
    const std::vector<uint8> clip;
    std::vector<std::wstring> names;
    Array array;
};

using BothArrays = ::testing::Types<ListedArray, PullArray>;
TYPED_TEST_SUITE(ArrayFilesTest, BothArrays);

} // namespace

TYPED_TEST(ArrayFilesTest, AClipCutInPiecesReadsAsOne) {
    for (const uint32 flags : {uint32{0}, VXC_FILE_FLAG_NO_BUFFERING}) {
        for (const uint32 bytes : {188U, 4096U, 7001U, 100'000U}) {
            ASSERT_EQ(this->array.Open(this->names, flags), VXC_STATUS_OK);
            EXPECT_EQ(this->array.Size(), this->kSize);
            EXPECT_EQ(this->ReadOn(bytes), this->clip) << flags << " " << bytes;
        }
    }
}

TYPED_TEST(ArrayFilesTest, SeeksLandInTheRightPiece) {
    ASSERT_EQ(this->array.Open(this->names), VXC_STATUS_OK);
    for (const uint64 position : std::vector<uint64>{0, 9'999, 10'000, 10'001, 14'095, 14'096, 29'999, 5}) {
        ASSERT_EQ(this->array.To(position, 1), position);
        EXPECT_EQ(
            this->ReadOn(1000),
            std::vector<uint8>(this->clip.begin() + static_cast<std::ptrdiff_t>(position), this->clip.end()))
            << position;
    }
    EXPECT_EQ(this->array.To(30'000, 1), 30'000U);
    EXPECT_THAT(this->ReadOn(10), IsEmpty());
}

TYPED_TEST(ArrayFilesTest, AMissingFileInTheMiddleLeavesTheOnesBeforeReadable) {
    this->names[2] = this->folder.Wide("missing");
    ASSERT_EQ(this->array.Open(this->names), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(this->ReadOn(1000), std::vector<uint8>(this->clip.begin(), this->clip.begin() + 10'001));
    EXPECT_EQ(this->array.CloseAll(), VXC_STATUS_OK);
}

TYPED_TEST(ArrayFilesTest, PositionsBeyondFourGibibytesAddUp) {
    std::vector<std::wstring> large;
    for (const char* name : {"large0", "large1"}) {
        this->folder.Write(name, "");
        std::filesystem::resize_file(this->folder.Name(name), (uint64{3} << 30) + 1);
        large.push_back(this->folder.Wide(name));
    }
    large.push_back(this->names[0]);
    ASSERT_EQ(this->array.Open(large), VXC_STATUS_OK);
    EXPECT_EQ(this->array.Size(), (uint64{6} << 30) + 10'002);
    const uint64 position = (uint64{6} << 30) + 2;
    EXPECT_EQ(this->array.To(position, 1), position);
    EXPECT_EQ(this->ReadOn(3000), std::vector<uint8>(this->clip.begin(), this->clip.begin() + 10'000));
    EXPECT_EQ(this->array.To(10'002, 2), uint64{6} << 30);
}
