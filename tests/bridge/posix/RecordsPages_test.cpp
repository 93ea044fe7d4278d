// Streams that end at the very edge of memory: a step over it ends the process.
#include "bridge/RecordsStreams.h"

#include <algorithm>
#include <cstddef>

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

// A page between two that nobody may touch.
class EdgePage {
public:
    EdgePage() : m_page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        void* const memory = mmap(nullptr, 3 * m_page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory != MAP_FAILED) {
            m_memory = static_cast<unsigned char*>(memory);
            m_ready = mprotect(m_memory + m_page, m_page, PROT_READ | PROT_WRITE) == 0;
        }
    }
    ~EdgePage() {
        if (m_memory != nullptr) {
            munmap(m_memory, 3 * m_page);
        }
    }
    EdgePage(const EdgePage&) = delete;
    EdgePage& operator=(const EdgePage&) = delete;

    bool IsReady() const { return m_ready; }
    // The last `count` bytes of it, and the first ones.
    unsigned char* Last(std::size_t count) const { return m_memory + 2 * m_page - count; }
    unsigned char* First() const { return m_memory + m_page; }

private:
    const std::size_t m_page;
    unsigned char* m_memory = nullptr;
    bool m_ready = false;
};

template <class Record>
class RecordPagesTest : public ::testing::Test {
protected:
    RecordPagesTest() : full(3), wire(StreamOf(SlotsOf(full.record))) {}
    void SetUp() override { ASSERT_TRUE(page.IsReady()); }

    EdgePage page;
    FullRecord<Record> full;
    const Bytes wire;
};
TYPED_TEST_SUITE(RecordPagesTest, RecordTypes, );

} // namespace

TYPED_TEST(RecordPagesTest, NothingBehindTheEndIsRead) {
    for (std::size_t length = 0; length <= this->wire.size(); ++length) {
        unsigned char* const place = this->page.Last(length);
        std::copy_n(this->wire.begin(), length, place);
        ASSERT_EQ(ReadAsTold<TypeParam>(place, length), "") << length;
    }
}

TYPED_TEST(RecordPagesTest, NothingBehindTheEndIsWritten) {
    for (std::size_t capacity = 0; capacity <= this->wire.size(); ++capacity) {
        auto stream = StreamOver(this->page.Last(capacity), capacity, VXC_SERIALIZE_STORE);
        stream << this->full.record;
        ASSERT_EQ(stream.m_nError, capacity == this->wire.size() ? VXC_SERIALIZE_OK : VXC_SERIALIZE_NO_SPACE);
    }
}

// The record itself at the edge: no field is written wider than it is, whatever a block counts.
TYPED_TEST(RecordPagesTest, NothingBehindTheRecordIsWritten) {
    unsigned char* const place = this->page.Last(sizeof(TypeParam));
    auto& record = *new (place) TypeParam{};
    auto stream = StreamOver(this->wire.data(), this->wire.size(), VXC_SERIALIZE_LOAD);
    stream >> record;
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    FreeAttachments(SlotsOf(record), nullptr);
}

TEST(RecordPagesBlocksTest, ABlockLargerThanItsFieldStaysWithinTheRecord) {
    EdgePage page;
    ASSERT_TRUE(page.IsReady());
    SPlugStreamMetaInfo& record = *new (page.First()) SPlugStreamMetaInfo{};
    record.value0 = 1;
    record.value1 = 2;
    const Bytes large(300, 0xAB);
    Bytes bytes;
    for (int i = 0; i < 4; ++i) {
        PutBlock(bytes, large.data(), large.size());
    }
    auto stream = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_LOAD); // the numbers do not come
    stream >> record;
    EXPECT_EQ(stream.m_dwPosition, bytes.size());
    EXPECT_EQ(Bytes(record.text0, record.text0 + 800), Bytes(800, 0xAB));
    EXPECT_EQ(record.value0, 1u);
    EXPECT_EQ(record.value1, 2u);
}

// A size from the wire is no reason to take memory of that size.
TEST(RecordPagesBlocksTest, AttachmentsTakeNoMoreMemoryThanTheStreamBacks) {
    constexpr uint32 kTold = 0x7FFFFFF0;
    Bytes failing;
    PutNumber(failing, 'l', 1);
    PutNumber(failing, 'l', kTold);
    Bytes shorter = failing;
    PutBlock(shorter, failing.data(), 5);
    PutNumber(failing, 'q', 0);
    for (const Bytes& bytes : {failing, shorter}) {
        SPlugAppendInfo_T record{};
        auto stream = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_LOAD);
        stream >> record;
        const Memory memory(record.data);
        ASSERT_NE(record.data, nullptr);
        EXPECT_LT(malloc_usable_size(record.data), 64u);
    }
}
