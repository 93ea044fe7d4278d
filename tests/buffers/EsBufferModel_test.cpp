// Random calls, in every order and with every kind of argument, against the slow model.
#include "EsFrames.h"
#include "EsModel.h"

#include "support/counting/AllocationCount.h"

#include <algorithm>
#include <array>
#include <memory>
#include <random>

using namespace vxcio::test;

namespace {

class EsPair {
public:
    explicit EsPair(unsigned seed) : m_random(seed) {
        for (uint8& byte : m_bytes) {
            byte = static_cast<uint8>(m_random());
        }
        Anew();
    }

    // One call on both. False when they differ, with the failure noted.
    bool Step() {
        if (Below(300) == 0) {
            m_getsOfTen = Below(10); // sometimes the queue grows, sometimes it is drained
            m_largest = Below(4) == 0 ? 300 : 24;
        }
        const int kind = Below(2000);
        if (kind == 0) {
            Anew();
        } else if (kind == 1) {
            Close();
        } else if (kind < 5 || m_model->NodeCount() > 60) {
            Close();
            Init();
        } else if (kind < 12) {
            Init();
        } else if (kind < 20) {
            m_model->SetEndOfInput();
            Some().SetEndOfInput();
        } else if (kind < 24) {
            Copies();
        } else if (Below(10) < m_getsOfTen) {
            Get();
        } else {
            Put();
        }
        const int stream = Below(12) - 2;
        EXPECT_EQ(Some().GetFrameCount(stream), m_model->GetFrameCount(stream)) << "of stream " << stream;
        if (Below(16) == 0) {
            LookAtAll();
        }
        return !::testing::Test::HasFailure();
    }

    int frames = 0; // that came out
    int ends = 0;   // that came with the end
    int passed = 0; // taken before and passed over

private:
    int Below(int limit) { return static_cast<int>(m_random() % static_cast<unsigned>(limit)); }

    CSoftEsBuffer& Some() {
        return *m_real[static_cast<std::size_t>(Below(static_cast<int>(m_real.size())))];
    }

    void Anew() {
        m_real = {};
        m_real[0] = std::make_unique<CSoftEsBuffer>();
        m_real[1] = std::make_unique<CSoftEsBuffer>(*m_real[0]);
        m_model = std::make_unique<EsModel>();
    }

    void Copies() {
        const auto which = static_cast<std::size_t>(Below(2));
        if (Below(2) == 0) {
            m_real[which] = std::make_unique<CSoftEsBuffer>(*m_real[1 - which]);
        } else {
            *m_real[which] = *m_real[1 - which];
        }
    }

    void Init() {
        const int size = Below(5) == 0 ? -Below(3) : Below(64);
        EXPECT_EQ(Some().Init(size), m_model->Init(size));
    }

    void Close() {
        Some().Close();
        m_model->Close();
    }

    // -2 and up; now and then many.
    int Size() { return Below(50) == 0 ? Below(3) - 2 : Below(m_largest); }

    uint8* Bytes() { return Below(100) == 0 ? nullptr : m_bytes.data() + Below(512); }

    void Put() {
        const int stream = Below(20) == 0 ? Below(12) - 2 : Below(3);
        const int size = Size();
        const int extraSize = Below(3) == 0 ? Size() : Below(9);
        uint8* const data = Bytes();
        uint8* const extra = Bytes();
        CSoftEsBuffer& real = Some();
        const int before = m_model->Allocations();
        const int wanted = m_model->PutDate(stream, data, size, extra, extraSize);
        int taken = 0;
        int result = 0;
        {
            const AllocationCount count;
            result = real.PutDate(stream, data, size, extra, extraSize);
            taken = count.Taken();
        }
        EXPECT_EQ(result, wanted);
        EXPECT_EQ(taken, m_model->Allocations() - before);
    }

    void Get() {
        EsModel::Outputs wanted;
        wanted.stream = Below(1000);
        wanted.size = Below(1000);
        wanted.extraSize = Below(1000);
        wanted.state = Below(3);
        wanted.data = &m_untouched;
        wanted.extra = &m_untouched;
        m_untouched.seen = &g_untouchedData;
        int stream = wanted.stream;
        int size = wanted.size;
        int extraSize = wanted.extraSize;
        auto state = static_cast<PLUG_STREAMSTATE_>(wanted.state);
        uint8* data = &g_untouchedData;
        uint8* extra = &g_untouchedData;
        CSoftEsBuffer& real = Some();
        const int result = m_model->GetDate(wanted);
        EXPECT_EQ(real.GetDate(stream, data, size, extra, extraSize, state), result);
        EXPECT_EQ(stream, wanted.stream);
        EXPECT_EQ(size, wanted.size);
        EXPECT_EQ(extraSize, wanted.extraSize);
        EXPECT_EQ(static_cast<int>(state), wanted.state);
        Meet(wanted.data, data);
        Meet(wanted.extra, extra);
        frames += result;
        ends += result == 1 && state == PLUG_STREAMSTATE_END ? 1 : 0;
        passed += result == 0 && data != nullptr && data != &g_untouchedData ? 1 : 0;
    }

    // The true buffer of a block is where it was, and as the model has it.
    void Meet(EsBlock* block, const uint8* real) {
        if (block == nullptr || real == nullptr) {
            EXPECT_EQ(block == nullptr, real == nullptr);
            return;
        }
        if (block->seen == nullptr) {
            block->seen = real;
        }
        EXPECT_EQ(block->seen, real);
        if (block->seen == real) {
            LookAt(*block);
        }
    }

    static void LookAt(const EsBlock& block) {
        EXPECT_TRUE(std::equal(block.seen, block.seen + block.filled, block.bytes.begin()));
    }

    // What was ever given out and is not to be replaced yet.
    void LookAtAll() const {
        m_model->ForEachBlock([](const EsBlock& block) {
            if (block.seen != nullptr) {
                LookAt(block);
            }
        });
    }

    std::mt19937 m_random;
    std::array<uint8, 1024> m_bytes{};
    std::array<std::unique_ptr<CSoftEsBuffer>, 2> m_real; // copies of each other
    std::unique_ptr<EsModel> m_model;
    EsBlock m_untouched{0};
    int m_getsOfTen = 5;
    int m_largest = 24;
};

class EsBufferModelTest : public ::testing::TestWithParam<unsigned> {};

} // namespace

TEST_P(EsBufferModelTest, RandomCallsGiveWhatTheModelGives) {
    EsPair pair(GetParam());
    for (int i = 0; i < 1'000'000; ++i) {
        ASSERT_TRUE(pair.Step()) << "at call " << i;
    }
    // Each kind of outcome was met often.
    EXPECT_GT(pair.frames, 100'000);
    EXPECT_GT(pair.ends, 100);
    EXPECT_GT(pair.passed, 100);
}

INSTANTIATE_TEST_SUITE_P(Seeds, EsBufferModelTest, ::testing::Range(1u, 7u));
