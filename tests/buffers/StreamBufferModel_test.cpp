// The byte ring without threads against the slow model, at random.
#include "buffers/StreamModel.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kLongest = 9 * 1048576;

// Where each access to memory is looked at, fewer and shorter ones.
#if defined(__SANITIZE_THREAD__)
constexpr int kSessions = 25;
constexpr int kMarks[] = {26, 27};
#elif defined(__SANITIZE_ADDRESS__)
constexpr int kSessions = 120;
constexpr int kMarks[] = {31, 32};
#else
constexpr int kSessions = 500;
constexpr int kMarks[] = {31, 32};
#endif
constexpr int kCallsOfSession = 5000;

// Makes each call on both, and tells of the first difference.
class Comparison {
public:
    Comparison(StreamBytes& bytes, uint32 seed) : m_bytes(bytes), m_random(seed) {}
    ~Comparison() { m_buffer.Close(); }
    Comparison(const Comparison&) = delete;
    Comparison& operator=(const Comparison&) = delete;

    void Init(int size) {
        ASSERT_EQ(m_buffer.Init(size), 0);
        m_model.Init(size);
        m_places.clear();
    }
    void Close() {
        ASSERT_EQ(m_buffer.Close(), 0);
        m_model.Close();
        m_places.clear();
    }
    void Put(int size, PLUG_STREAMSTATE_ state, bool null = false) {
        uint8* const data = null ? nullptr : m_bytes.At(m_random());
        ASSERT_EQ(m_buffer.PutData(data, size, state), m_model.PutData(data, size, state)) << size;
    }
    void Get(int size, bool stateWanted = true) {
        Take(&CSoftStreamBuffer::GetData, &StreamModel::GetData, size, stateWanted);
    }
    void Show(int size, bool stateWanted = true) {
        Take(&CSoftStreamBuffer::ShowData, &StreamModel::ShowData, size, stateWanted);
    }
    void SetEnd() {
        m_buffer.SetEndOfInput();
        m_model.SetEndOfInput();
    }
    void ReSetEnd() {
        m_buffer.ReSetEndOfInput();
        m_model.ReSetEndOfInput();
    }

    // Empties both, and brings as many bytes through the real ring that `position` were put in all; the model
    // goes to the same place.
    void PassThroughTo(uint64 position) {
        SetEnd();
        Get(2 * m_model.RingSize());
        ReSetEnd();
        ASSERT_EQ(m_model.Held() + m_model.Shown(), 0);
        const uint64 bytes = position - m_model.Written();
        unsigned char* data = nullptr;
        for (uint64 left = bytes; left > 0;) {
            const int piece = static_cast<int>(std::min<uint64>(left, kLeastRing));
            ASSERT_EQ(m_buffer.PutData(m_bytes.At(left), piece, PLUG_STREAMSTATE_DATA), 0);
            ASSERT_EQ(m_buffer.GetData(data, piece, nullptr), piece);
            ASSERT_EQ(data[piece - 1], *m_bytes.At(left + static_cast<uint32>(piece) - 1));
            left -= static_cast<uint32>(piece);
        }
        m_model.PassThrough(bytes);
    }

    uint64 Written() const { return m_model.Written(); }

    void RandomCalls(int calls) {
        for (int call = 0; call < calls; ++call) {
            RandomCall();
            if (::testing::Test::HasFatalFailure()) {
                FAIL() << "call " << call << ", ring " << m_model.RingSize() << ", held " << m_model.Held()
                       << ", shown " << m_model.Shown() << ", written " << m_model.Written();
            }
        }
    }
    int Below(int end) { return static_cast<int>(m_random() % static_cast<uint32>(end)); }
    bool OneIn(int count) { return Below(count) == 0; }
    // Mostly the least one.
    int RingSize() {
        switch (Below(8)) {
        case 0:
            return kLeastRing + Below(20);
        case 1:
            return kLeastRing + Below(kLeastRing);
        case 2:
            return 5 * 1048576 + Below(1000);
        case 3:
            return -Below(100);
        default:
            return Below(kLeastRing + 1);
        }
    }
    // Puts the counters somewhere: the ring nearly at its wrap, nearly full, or both.
    void GoSomewhere() {
        const int ring = m_model.RingSize();
        if (OneIn(2)) {
            const int bytes = ring - Below(400);
            Put(bytes, PLUG_STREAMSTATE_DATA);
            Get(bytes);
        }
        if (OneIn(2)) {
            Put(ring - Below(400), PLUG_STREAMSTATE_DATA);
        }
    }

private:
    using RealTake = int (CSoftStreamBuffer::*)(unsigned char*&, int, PLUG_STREAMSTATE_*);
    using ModelTake = int (StreamModel::*)(StreamModel::Place&, int, PLUG_STREAMSTATE_*);

    template <class Real>
    void Take(Real real, ModelTake model, int size, bool stateWanted) {
        const auto before = static_cast<PLUG_STREAMSTATE_>(Below(3));
        auto realState = before;
        auto modelState = before;
        unsigned char* data = &m_nowhere;
        StreamModel::Place place;
        const int realCount = (m_buffer.*real)(data, size, stateWanted ? &realState : nullptr);
        const int modelCount = (m_model.*model)(place, size, stateWanted ? &modelState : nullptr);
        ASSERT_EQ(realCount, modelCount) << size;
        ASSERT_EQ(realState, modelState) << size;
        if (place.where == StreamModel::Where::Nowhere) {
            ASSERT_EQ(data, &m_nowhere);
            return;
        }
        // The same memory as ever while it was not replaced, and the same place in it: nothing was moved that
        // the model left.
        if (place.number == 0) {
            ASSERT_EQ(data, nullptr);
        } else {
            const auto [known, isNew] = m_places.try_emplace(place.number, data - place.offset);
            ASSERT_TRUE(isNew || known->second == data - place.offset);
        }
        if (realCount > 0) {
            ASSERT_EQ(std::memcmp(data, place.bytes, static_cast<std::size_t>(realCount)), 0) << size;
        }
    }

    int Size() {
        const int ring = std::max(m_model.RingSize(), kLeastRing);
        if (OneIn(400)) {
            switch (Below(7)) {
            case 0:
                return ring - 1;
            case 1:
                return ring;
            case 2:
                return ring + 1;
            case 3:
                return ring + 10;
            case 4:
                return kFirstScratch + Below(3);
            case 5:
                return Below(ring);
            default:
                return kFirstScratch + Below(kFirstScratch);
            }
        }
        switch (Below(10)) {
        case 0:
            return 0;
        case 1:
            return 1;
        case 2:
            return Below(5000);
        case 3:
            return OneIn(5) ? -Below(100) : Below(10);
        case 4: // what is there, or nearly
            return std::min(m_model.Held() + m_model.Shown() + Below(3) - 1, 3000);
        case 5:
            return m_model.Shown() + Below(3) - 1;
        default:
            return Below(300);
        }
    }
    void RandomCall() {
        if (OneIn(1500)) {
            if (OneIn(4)) {
                Close();
            } else {
                Init(RingSize());
                GoSomewhere();
            }
            return;
        }
        const bool stateWanted = !OneIn(4);
        switch (Below(20)) {
        case 0:
            SetEnd();
            break;
        case 1:
        case 2:
            ReSetEnd();
            break;
        case 3:
        case 4:
        case 5:
        case 6:
        case 7:
        case 8:
        case 9: {
            const auto state = OneIn(30) ? PLUG_STREAMSTATE_END : static_cast<PLUG_STREAMSTATE_>(Below(2));
            Put(Size(), state, OneIn(50));
            break;
        }
        case 10:
        case 11:
        case 12:
        case 13:
            Show(Size(), stateWanted);
            break;
        default:
            Get(Size(), stateWanted);
            break;
        }
    }

    StreamBytes& m_bytes;
    std::mt19937 m_random;
    CSoftStreamBuffer m_buffer{0};
    StreamModel m_model;
    std::map<int, unsigned char*> m_places; // where the model's memory lies in the real one
    unsigned char m_nowhere = 0;
};

} // namespace

TEST(StreamBufferModelTest, RandomCallsGiveWhatTheStepsGive) {
    StreamBytes bytes(kLongest);
    for (uint32 seed = 1; seed <= kSessions && !HasFatalFailure(); ++seed) {
        SCOPED_TRACE(::testing::Message() << "seed " << seed);
        Comparison both(bytes, seed);
        if (!both.OneIn(20)) {
            both.Init(both.RingSize());
            both.GoSomewhere();
        }
        both.RandomCalls(kCallsOfSession);
    }
}

// The bytes held are a difference of the low 32 bits of two counters, and the places in the ring remainders
// of the whole ones.
TEST(StreamBufferModelTest, RandomCallsGiveTheSameBeyond32BitsOfBytes) {
    StreamBytes bytes(kLongest);
    Comparison both(bytes, 77);
    const int ring = kLeastRing + 4099;
    both.Init(ring);
    for (const int bits : kMarks) {
        SCOPED_TRACE(bits);
        const uint64 mark = uint64{1} << bits;
        both.PassThroughTo(mark - 300);
        ASSERT_EQ(both.Written(), mark - 300);
        // Over the mark in small steps, and then with a full ring around it.
        for (int i = 0; i < 200 && !HasFatalFailure(); ++i) {
            both.Put(2 + i % 3, PLUG_STREAMSTATE_DATA);
            both.Show(1);
            both.Get(1 + i % 4);
        }
        both.PassThroughTo(mark + static_cast<uint32>(ring) - 300);
        both.Put(ring - 1, PLUG_STREAMSTATE_DATA);
        both.Put(2, PLUG_STREAMSTATE_END);
        both.Get(5);
        both.Put(20, PLUG_STREAMSTATE_DATA);
        both.Get(ring);
        ASSERT_FALSE(HasFatalFailure());
    }
    both.RandomCalls(20000);
}
