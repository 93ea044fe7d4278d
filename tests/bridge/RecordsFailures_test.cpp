// Streams that are cut, wrong or hostile: held byte by byte against the model, by a stream as it is and by
// one on top of it.
#include "bridge/RecordsStreams.h"

using namespace vxcio;
using namespace vxcio::test;

namespace {

template <class Record>
class RecordFailuresTest : public ::testing::Test {
protected:
    RecordFailuresTest() : full(3), wire(StreamOf(SlotsOf(full.record))) {}

    // Of its own, so that a step behind its end is seen.
    void Read(const Bytes& bytes, const Entry& entry = {}) {
        const Bytes exact(bytes);
        ASSERT_EQ(ReadAsTold<Record>(exact.data(), exact.size(), entry), "");
    }

    FullRecord<Record> full;
    const Bytes wire;
};
TYPED_TEST_SUITE(RecordFailuresTest, RecordTypes, );

void PutCount(Bytes& bytes, std::size_t at, uint32 count) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[at + i] = static_cast<unsigned char>(count >> (8 * i));
    }
}

// Where the counts of blocks stand, and the sizes of attachments.
template <class Record>
std::vector<std::size_t> CountsOf(Record& record) {
    std::vector<std::size_t> places;
    Bytes ahead;
    for (const Slot& slot : SlotsOf(record)) {
        const std::size_t at = ahead.size();
        const Bytes one = StreamOf({slot});
        ahead.insert(ahead.end(), one.begin(), one.end());
        if (slot.tag == 'b') {
            places.push_back(at + 2);
            if (slot.kind == Slot::Kind::Attachment) {
                places.push_back(at - 4);
            }
        }
    }
    return places;
}

} // namespace

TYPED_TEST(RecordFailuresTest, AStreamThatEndsAnywhereGivesWhatItHas) {
    for (std::size_t length = 0; length <= this->wire.size(); ++length) {
        SCOPED_TRACE(length);
        for (const uint32 stale : {0u, 1u, 0xFFFFFFFFu}) {
            const Bytes bytes(this->wire.begin(), this->wire.begin() + static_cast<int>(length));
            ASSERT_NO_FATAL_FAILURE(this->Read(bytes, {0, VXC_SERIALIZE_LOAD, stale}));
        }
    }
}

TYPED_TEST(RecordFailuresTest, AnyByteMayBeAnother) {
    for (std::size_t at = 0; at < this->wire.size(); ++at) {
        SCOPED_TRACE(at);
        Bytes bytes(this->wire);
        for (const int wrong : {0x00, 0xFF, 0x7F, int{'b'}, int{'l'}, int{'q'}, int{'c'}, int{'s'}}) {
            bytes[at] = static_cast<unsigned char>(wrong);
            ASSERT_NO_FATAL_FAILURE(this->Read(bytes));
        }
    }
}

TYPED_TEST(RecordFailuresTest, CountsAreBelievedNoFurtherThanTheStreamGoes) {
    for (const std::size_t place : CountsOf(this->full.record)) {
        SCOPED_TRACE(place);
        const auto behind = static_cast<uint32>(this->wire.size() - place - 4);
        for (const uint32 count :
             {0u,         1u,          5u,          22u,         24u,         39u,        41u,
              199u,       201u,        511u,        513u,        behind - 1,  behind,     behind + 1,
              behind + 6, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFF0u, 0xFFFFFFFAu, 0xFFFFFFFFu}) {
            Bytes bytes(this->wire);
            PutCount(bytes, place, count);
            ASSERT_NO_FATAL_FAILURE(this->Read(bytes)) << count;
        }
    }
}

TYPED_TEST(RecordFailuresTest, AStreamWithAnErrorMovesNothing) {
    for (const int error : {1, 2, 3, 4}) {
        for (const uint32 stale : {0u, 9u}) {
            ASSERT_NO_FATAL_FAILURE(this->Read(this->wire, {error, VXC_SERIALIZE_LOAD, stale}));
        }
    }
}

TYPED_TEST(RecordFailuresTest, AStreamThatIsStoredToIsNotRead) {
    ASSERT_NO_FATAL_FAILURE(this->Read(this->wire, {0, VXC_SERIALIZE_STORE, 0}));
    ASSERT_NO_FATAL_FAILURE(this->Read(this->wire, {0, VXC_SERIALIZE_STORE, 9}));
}

TYPED_TEST(RecordFailuresTest, AStreamThatWasNeverSetUpHoldsNothing) {
    TypeParam record{};
    CVXCSerialize stream;
    stream >> record;
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
    EXPECT_EQ(stream.m_dwPosition, 0u);
    stream.m_dwCapacity = 100000; // no buffer, whatever the capacity
    stream.m_nError = VXC_SERIALIZE_OK;
    stream >> record;
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
    CVXCSerialize stored;
    stored.m_nDirection = VXC_SERIALIZE_STORE;
    stored.m_dwCapacity = 100000;
    stored << record;
    EXPECT_EQ(stored.m_nError, VXC_SERIALIZE_NO_SPACE);
    EXPECT_EQ(stored.m_dwPosition, 0u);
}

TYPED_TEST(RecordFailuresTest, APositionBehindTheEndIsNoPlace) {
    Bytes bytes(this->wire);
    for (const int direction : {VXC_SERIALIZE_LOAD, VXC_SERIALIZE_STORE}) {
        auto stream = StreamOver(bytes.data(), bytes.size(), direction);
        for (const unsigned int position : {static_cast<unsigned int>(bytes.size()) + 1, 0xFFFFFFFFu}) {
            stream.m_dwPosition = position;
            stream.m_nError = VXC_SERIALIZE_OK;
            TypeParam record{};
            direction == VXC_SERIALIZE_LOAD ? stream >> record : stream << record;
            EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
            EXPECT_EQ(stream.m_dwPosition, position);
        }
    }
    EXPECT_EQ(bytes, this->wire);
}

TYPED_TEST(RecordFailuresTest, RandomBytesAreTakenAsTold) {
    std::mt19937 random(5);
    for (int round = 0; round < 3000; ++round) {
        Bytes bytes(this->wire);
        const auto changes = 1 + random() % 4;
        for (unsigned int i = 0; i < changes; ++i) {
            bytes[random() % bytes.size()] = static_cast<unsigned char>(random());
        }
        bytes.resize(bytes.size() - (random() % 3 == 0 ? random() % bytes.size() : 0));
        ASSERT_NO_FATAL_FAILURE(this->Read(bytes, {0, VXC_SERIALIZE_LOAD, static_cast<uint32>(random() % 2)}))
            << "round " << round;
    }
}

TYPED_TEST(RecordFailuresTest, ASpaceThatEndsAnywhereTakesTheValuesThatFit) {
    const std::vector<Slot> slots = SlotsOf(this->full.record);
    for (std::size_t capacity = 0; capacity < this->wire.size(); ++capacity) {
        SCOPED_TRACE(capacity);
        std::size_t whole = 0; // up to the first value that does not fit
        for (const Slot& slot : slots) {
            const std::size_t bytes = StreamOf({slot}).size();
            if (whole + bytes > capacity) {
                break;
            }
            whole += bytes;
        }
        Bytes expected(this->wire.begin(), this->wire.begin() + static_cast<int>(whole));
        expected.resize(capacity, 0xEE);
        const auto store = [&](auto stream, Bytes& bytes) {
            stream << this->full.record;
            EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
            EXPECT_EQ(stream.m_dwPosition, whole);
            EXPECT_EQ(bytes, expected);
        };
        Bytes plain(capacity, 0xEE);
        store(StreamOver(plain.data(), capacity, VXC_SERIALIZE_STORE), plain);
        Bytes watched(capacity, 0xEE);
        store(StreamOver<WatchingStream>(watched.data(), capacity, VXC_SERIALIZE_STORE), watched);
        ASSERT_FALSE(this->HasFailure());
    }
}

TYPED_TEST(RecordFailuresTest, AStreamThatIsReadIsNotStoredTo) {
    Bytes bytes(this->wire.size(), 0xEE);
    auto stream = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_LOAD);
    stream << this->full.record;
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_WRONG_DIRECTION);
    EXPECT_EQ(stream.m_dwPosition, 0u);
    auto failed = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    failed.m_nError = VXC_SERIALIZE_WRONG_TAG;
    failed << this->full.record;
    EXPECT_EQ(failed.m_nError, VXC_SERIALIZE_WRONG_TAG);
    EXPECT_EQ(failed.m_dwPosition, 0u);
    EXPECT_EQ(bytes, Bytes(this->wire.size(), 0xEE));
}
