#include "bridge/RecordsStreams.h"
#include "support/MemoryLack.h"

#include <new>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr EPlugValue kType{77};

// The head of an attachment that tells `size`.
Bytes Head(uint32 size) {
    Bytes bytes;
    PutNumber(bytes, 'l', kType);
    PutNumber(bytes, 'l', size);
    return bytes;
}

struct AppendInfoTest : ::testing::Test {
    // Reads `bytes`; the memory that came is kept until the end.
    void Read(const Bytes& bytes) {
        stream = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_LOAD);
        stream >> record;
        if (record.data != &g_untouched) {
            memory.reset(record.data);
        }
    }
    Bytes Attached() const { return Bytes(record.data, record.data + record.size); }

    SPlugAppendInfo_T record{EPlugValue{}, &g_untouched, 0};
    CVXCSerialize stream;
    Memory memory;
};

const Bytes kPayload = {9, 8, 7, 6, 5};

} // namespace

TEST_F(AppendInfoTest, TypeSizeAndBytesFollowOneAnother) {
    Bytes payload(kPayload);
    SPlugAppendInfo_T full{kType, payload.data(), 5};
    Bytes bytes(21);
    auto stored = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    stored << full;
    const Bytes expected = {0x6C, 77, 0, 0, 0, 0x6C, 5, 0, 0, 0, 0x62, 0x6C, 5, 0, 0, 0, 9, 8, 7, 6, 5};
    EXPECT_EQ(bytes, expected);
    Read(bytes);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(record.type, kType);
    EXPECT_EQ(Attached(), kPayload);
}

TEST_F(AppendInfoTest, WithoutBytesThereIsNoBlockAndDataIsLeftAlone) {
    SPlugAppendInfo_T empty{kType, &g_untouched, 0};
    Bytes bytes(10);
    auto stored = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    stored << empty;
    EXPECT_EQ(stored.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(bytes, Head(0));
    Read(bytes);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(record.data, &g_untouched);
    EXPECT_EQ(record.size, 0u);
}

TEST_F(AppendInfoTest, ASizeWithoutDataIsStoredWithoutABlock) {
    SPlugAppendInfo_T wrong{kType, nullptr, 5};
    Bytes bytes(10);
    auto stored = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    stored << wrong;
    EXPECT_EQ(stored.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(bytes, Head(5));
    PutNumber(bytes, 'l', 1); // what comes next is what the reader takes for the block
    Read(bytes);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_WRONG_TAG);
    EXPECT_NE(memory, nullptr);
    EXPECT_EQ(record.size, 0u);
}

TEST_F(AppendInfoTest, ABlockCutShortLeavesMemoryAndNoSize) {
    Bytes bytes = Head(5);
    PutBlock(bytes, kPayload.data(), kPayload.size());
    bytes.pop_back();
    Read(bytes);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
    EXPECT_NE(memory, nullptr);
    EXPECT_EQ(record.size, 0u);
}

TEST_F(AppendInfoTest, AnEmptyBlockLeavesMemoryAndNoErrorAndNoSize) {
    Bytes bytes = Head(5);
    PutBlock(bytes, kPayload.data(), 0);
    Read(bytes);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(stream.m_dwPosition, bytes.size());
    EXPECT_NE(memory, nullptr);
    EXPECT_EQ(record.size, 0u);
}

TEST_F(AppendInfoTest, TheCountOfTheBlockIsTheSizeWhateverWasToldAhead) {
    for (const uint32 told : {1u, 4u, 6u, 1000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        Bytes bytes = Head(told);
        PutBlock(bytes, kPayload.data(), kPayload.size());
        Read(bytes);
        EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
        EXPECT_EQ(stream.m_dwPosition, bytes.size());
        EXPECT_EQ(Attached(), kPayload) << told;
    }
}

// As much as was told may be written to, where the stream could have held it; it holds no old bytes.
TEST_F(AppendInfoTest, BehindAShorterBlockTheMemoryIsZero) {
    Bytes bytes = Head(20);
    PutBlock(bytes, kPayload.data(), kPayload.size());
    bytes.resize(bytes.size() + 9, 0xCC); // 20 remain behind the size
    Read(bytes);
    EXPECT_EQ(record.size, 5u);
    EXPECT_EQ(Bytes(record.data + 5, record.data + 20), Bytes(15, 0));
}

TEST_F(AppendInfoTest, AnOldSizeIsActedOnWhereNoneCanBeRead) {
    for (const uint32 stale : {1u, 0xFFFFFFFFu}) {
        record = {EPlugValue{5}, &g_untouched, stale};
        Read({});
        EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
        EXPECT_EQ(record.type, 0);
        EXPECT_NE(memory, nullptr);
        EXPECT_NE(record.data, &g_untouched);
        EXPECT_EQ(record.size, 0u);
    }
}

TEST_F(AppendInfoTest, WhereMemoryLacksTheStreamStandsAheadOfTheBlock) {
    Bytes bytes = Head(5);
    PutBlock(bytes, kPayload.data(), kPayload.size());
    {
        MemoryLack lack(1);
        EXPECT_THROW(Read(bytes), std::bad_alloc);
        EXPECT_TRUE(lack.Came());
    }
    EXPECT_EQ(record.type, kType);
    EXPECT_EQ(record.data, &g_untouched);
    EXPECT_EQ(record.size, 0u);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(stream.m_dwPosition, 10u);
    unsigned char* block = nullptr;
    unsigned int count = 0;
    EXPECT_EQ(stream.ReadBlock(block, count, 0), 1);
    EXPECT_EQ(count, 5u);
}

TEST_F(AppendInfoTest, WhereMemoryLacksForABlockThatFailsTheErrorIsStillToCome) {
    Bytes bytes = Head(5);
    bytes.push_back('l');
    {
        MemoryLack lack(1);
        EXPECT_THROW(Read(bytes), std::bad_alloc);
    }
    EXPECT_EQ(record.data, &g_untouched);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(stream.m_dwPosition, 10u);
}

TEST_F(AppendInfoTest, LackingMemoryPassesThroughTheRecordsAround) {
    FullRecord<SPlugFRAMEINFO> full(1);
    const Bytes bytes = StreamOf(SlotsOf(full.record));
    SPlugFRAMEINFO frame{};
    frame.value10 = 99;
    auto loaded = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_LOAD);
    {
        MemoryLack lack(1);
        EXPECT_THROW(loaded >> frame, std::bad_alloc);
    }
    EXPECT_EQ(frame.value9, full.record.value9);
    EXPECT_EQ(frame.append.type, full.record.append.type);
    EXPECT_EQ(frame.append.data, nullptr);
    EXPECT_EQ(frame.append.size, 0u);
    EXPECT_EQ(frame.value10, 99u);
    EXPECT_EQ(loaded.m_dwPosition, 256u - 6 * 5);
}
