// MXF headers that end where memory ends.
#include "ftp/MxfHeader.h"

#include "ftp/MxfBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test::mxf;

namespace {

// Pages, the one behind which cannot be read.
class MxfHeaderPagesTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(m_memory, MAP_FAILED);
        ASSERT_EQ(mprotect(static_cast<uint8*>(m_memory) + m_bytes, m_page, PROT_NONE), 0);
    }
    ~MxfHeaderPagesTest() override { munmap(m_memory, m_bytes + m_page); }

    const uint8* AtTheEnd(const std::string& bytes) {
        uint8* const first = static_cast<uint8*>(m_memory) + (m_bytes - bytes.size());
        std::copy(bytes.begin(), bytes.end(), first);
        return first;
    }
    int64 OriginOf(const std::string& header) { return TrackOrigin(AtTheEnd(header), header.size()); }

    const std::size_t m_page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t m_bytes = 32 * m_page;
    void* const m_memory =
        mmap(nullptr, m_bytes + m_page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
};

} // namespace

TEST_F(MxfHeaderPagesTest, NothingBehindAHeaderIsTouched) {
    const std::string whole = Filler(7) + Track(12);
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        EXPECT_EQ(OriginOf(whole.substr(0, size)), size == whole.size() ? 12 : 0) << size;
    }
}

TEST_F(MxfHeaderPagesTest, NothingBehindAnItemThatBeginsAtTheLastByteIsTouched) {
    for (std::size_t there = 1; there < 20; ++there) {
        EXPECT_EQ(OriginOf(Filler(100) + Track(12).substr(0, there)), 0) << there;
        EXPECT_EQ(OriginOf(Filler(100) + Filler(0).substr(0, there)), 0) << there;
    }
}

TEST_F(MxfHeaderPagesTest, NothingBehindASetThatTellsMoreThanThereIsIsTouched) {
    for (const uint64 told : {8U, 28U, 1000U, 0xFFFFU, 0xFFFFFFU}) {
        for (std::size_t there = 0; there < 24; ++there) {
            const std::string set = Tagged(1, "abcd") + Origin(12) + Tagged(kEditRateTag, "ab");
            EXPECT_EQ(OriginOf(Item(kTrackKey, set.substr(0, there), told)), there < 20 ? 0 : 12)
                << told << ", " << there;
        }
        EXPECT_EQ(OriginOf(Item(kTrackKey, std::string(2, '\x01') + "\xFF\xFF", told)), 0) << told;
    }
}

TEST_F(MxfHeaderPagesTest, TheSizeOfAHeaderIsTakenOutOfItsFirstBlock) {
    EXPECT_EQ(HeaderByteCount(AtTheEnd(Head(4711))), 4711U);
}
