// Both source arrays over real files with the read-ahead of their sources running.
#include "frame/PlatformTypes.h"
#include "sources/ArrayFixture.h"
#include "support/LeakChecks.h"

#include <algorithm>
#include <cstddef>

using namespace vxcio;
using namespace vxcio::test;

namespace {

template <class Array>
class ArrayReadAheadTest : public ::testing::Test {
protected:
    // Cuts a clip into pieces of these sizes and opens them.
    void OpenPieces(const std::vector<std::size_t>& sizes, uint32 flags) {
        std::size_t all = 0;
        for (const std::size_t size : sizes) {
            all += size;
        }
        clip = Pattern(all, 11);
        const std::string text(clip.begin(), clip.end());
        std::vector<std::wstring> names;
        std::size_t from = 0;
        for (const std::size_t size : sizes) {
            const std::string name = "piece" + std::to_string(names.size());
            folder.Write(name, text.substr(from, size));
            names.push_back(folder.Wide(name));
            from += size;
        }
        ASSERT_EQ(array.Open(names, flags), VXC_STATUS_OK);
    }
    ~ArrayReadAheadTest() override { array.CloseAll(); }

    std::vector<uint8> Read(uint32 bytes) {
        std::vector<uint8> buffer(bytes);
        buffer.resize(static_cast<std::size_t>(array.Read(buffer.data(), bytes)));
        return buffer;
    }
    std::vector<uint8> ReadOn(uint32 bytes) {
        std::vector<uint8> all;
        for (std::vector<uint8> part = Read(bytes); !part.empty(); part = Read(bytes)) {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }
    std::vector<uint8> Bytes(std::size_t position, std::size_t count) const {
        const auto from = clip.begin() + static_cast<std::ptrdiff_t>(position);
        return {from, from + static_cast<std::ptrdiff_t>(count)};
    }

    NoLeakScope leaks;
    TempFolder folder;
    std::vector<uint8> clip;
    Array array;
};

using BothArrays = ::testing::Types<ListedArray, PullArray>;
TYPED_TEST_SUITE(ArrayReadAheadTest, BothArrays);
using ListedReadAheadTest = ArrayReadAheadTest<ListedArray>;
using PullReadAheadTest = ArrayReadAheadTest<PullArray>;

} // namespace

TYPED_TEST(ArrayReadAheadTest, TwoPiecesReadAsOne) {
    for (const uint32 flags : {uint32{0}, VXC_FILE_FLAG_NO_BUFFERING, VXC_FILE_FLAG_KEEP_WINDOW}) {
        for (const uint32 bytes : {188U, 7001U, 100'000U}) {
            this->OpenPieces({40'001, 30'000}, flags);
            this->array.EnablePreRead(4096, 7001); // the last size is longer than announced
            EXPECT_EQ(this->ReadOn(bytes), this->clip) << flags << " " << bytes;
            EXPECT_EQ(SourceSequenceInspector::CurPos(this->array.Sequence()), this->clip.size());
        }
    }
}

TYPED_TEST(ArrayReadAheadTest, PiecesLongerThanTheirRingReadAsOne) {
    this->OpenPieces({5'000'000, 3'000'001}, 0);
    this->array.EnablePreRead(0x100000, 0x10000);
    EXPECT_TRUE(this->ReadOn(61'000) == this->clip);
}

TYPED_TEST(ArrayReadAheadTest, ReadsInsideAPieceAreGivenOutOfIt) {
    this->OpenPieces({20'000, 20'000}, 0);
    this->array.EnablePreRead(4096, 4096);
    uint8* data = nullptr;
    ASSERT_EQ(this->array.Ptr(&data, 3000), 3000);
    EXPECT_NE(data, SourceSequenceInspector::JoinBuffer(this->array.Sequence()));
    EXPECT_EQ(std::vector<uint8>(data, data + 3000), this->Bytes(0, 3000));
    ASSERT_EQ(this->array.ReadAt(15'000, &data, 3000), 3000);
    EXPECT_EQ(std::vector<uint8>(data, data + 3000), this->Bytes(15'000, 3000));
    // ReadAt moves the position of the piece by its count.
    EXPECT_EQ(this->Read(100), this->Bytes(6000, 100));
}

TYPED_TEST(ArrayReadAheadTest, PlainReadsGoOnWhereReadAheadStood) {
    this->OpenPieces({20'000, 20'000}, 0);
    this->array.EnablePreRead(4096, 4096);
    EXPECT_EQ(this->Read(3000), this->Bytes(0, 3000));
    this->array.DisablePreRead();
    EXPECT_EQ(this->Read(37'000), this->Bytes(3000, 37'000));
}

TYPED_TEST(ArrayReadAheadTest, ClosingInTheMiddleEndsTheThreads) {
    this->OpenPieces({3'000'000, 3'000'000}, 0);
    this->array.EnablePreRead(0x100000, 0x10000);
    EXPECT_EQ(this->Read(1000), this->Bytes(0, 1000));
    EXPECT_NE(this->leaks.Leaks(), "") << "a thread reads ahead";
    this->array.CloseAll();
    EXPECT_EQ(this->leaks.Leaks(), "");
}

TEST_F(ListedReadAheadTest, ManyPiecesReadAsOneWithAtMostThreeOfThemReadAhead) {
    OpenPieces({10'000, 1, 9000, 20'000, 7, 30'000, 11'000, 12'000}, 0);
    const int threads = ThreadCount();
    array.EnablePreRead(4096, 8192);
    std::vector<uint8> all;
    int most = 0;
    for (std::vector<uint8> part = Read(6000); !part.empty(); part = Read(6000)) {
        all.insert(all.end(), part.begin(), part.end());
        int ahead = 0;
        for (int i = 0; i < array.Sequence().Count(); ++i) {
            ahead += SourceSequenceInspector::IsReadingAhead(array.Sequence(), i) ? 1 : 0;
        }
        most = std::max(most, ahead);
    }
    EXPECT_EQ(all, clip);
    EXPECT_EQ(most, 3);
    EXPECT_GE(ThreadCount(), threads + 3);
}

TEST_F(ListedReadAheadTest, SeeksBetweenPiecesFindTheRightBytes) {
    OpenPieces({10'000, 5000, 9000, 20'000, 30'000}, 0);
    array.EnablePreRead(4096, 4096);
    uint32 random = 1;
    for (int i = 0; i < 300; ++i) {
        random = random * 1664525 + 1013904223;
        const std::size_t position = (random >> 8) % (clip.size() - 5000);
        const std::size_t bytes = 1 + random % 4096;
        ASSERT_EQ(array.Seek(position, 1), position);
        ASSERT_EQ(Read(static_cast<uint32>(bytes)), Bytes(position, bytes)) << position << " " << bytes;
    }
}

TEST_F(PullReadAheadTest, ACompleteReadOverABoundaryPassesOverTheRestOfThatPiece) {
    OpenPieces({10'000, 20'000, 30'000}, 0);
    array.EnablePreRead(4096, 4096);
    array.Seek(9000, 1);
    EXPECT_EQ(Read(2000), Bytes(9000, 2000));
    EXPECT_EQ(Read(2000), Bytes(30'000, 2000));
    EXPECT_EQ(array.Seek(11'000, 1), 11'000);
    EXPECT_EQ(Read(2000), Bytes(11'000, 2000));
}
