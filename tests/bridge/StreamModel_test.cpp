// Millions of random calls of a stream, with hostile bytes and fields that a caller changes in between: after
// each of them the result, the target, the fields and all bytes are the model's. For seeds of one's own:
//
//   VXC_SERIALIZE_SEED=1000000 VXC_SERIALIZE_SEEDS=100000 bridge_tests --gtest_filter='StreamModelTest.*'
#include "bridge/StreamModelPair.h"
#include "support/NumberFrom.h"

#include <gtest/gtest.h>

#include <array>
#include <random>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kCalls = 400; // for each seed

class Random {
public:
    explicit Random(uint64 seed) : m_random(seed) {}
    uint64 Next() { return m_random(); }
    uint32 Below(uint64 end) { return static_cast<uint32>(m_random() % end); }
    bool OneIn(uint32 count) { return Below(count) == 0; }
    // The corners of a 32-bit count are as likely as anything else.
    uint32 Count(uint64 ordinary) {
        switch (Below(12)) {
        case 0:
            return 0xFFFFFFFFu - Below(20);
        case 1:
            return 0x7FFFFFFFu + Below(3);
        case 2:
            return Below(3);
        case 3:
            return static_cast<uint32>(Next());
        default:
            return Below(ordinary);
        }
    }
    wchar_t Character() {
        constexpr uint32 kCorners[] = {1,      'A',    0xFF,   0x100,   0xD7FF,   0xD800,   0xDBFF,  0xDC00,
                                       0xDFFF, 0xE000, 0xFFFF, 0x10000, 0x10FFFF, 0x110000, 0x1D800, 0x1DC00};
        constexpr uint32 kLast = sizeof(wchar_t) > 2 ? 16 : 11;
        return static_cast<wchar_t>(OneIn(3) ? 1 + Below(0xFFFF) : kCorners[Below(kLast)]);
    }
    std::wstring Text() {
        std::wstring text(OneIn(20) ? 100 + Below(100) : Below(8), L'a');
        for (wchar_t& character : text) {
            character = Character();
        }
        return text;
    }

private:
    std::mt19937_64 m_random;
};

void Append(std::vector<uint8>& bytes, uint64 value, unsigned width) {
    for (unsigned i = 0; i < width; ++i) {
        bytes.push_back(static_cast<uint8>(value >> (8 * i)));
    }
}

// A value that a writer could have left, or nearly: tags and counts are off now and then.
void AppendValue(std::vector<uint8>& bytes, Random& random) {
    constexpr char kTags[] = {'c', 'w', 'l', 'q', 'f', 'd', 'b', 's', 's', 's', 'b'};
    constexpr unsigned kWidths[] = {1, 2, 4, 8, 4, 8};
    const uint32 kind = random.Below(sizeof kTags);
    bytes.push_back(random.OneIn(30) ? random.OneIn(2) : static_cast<uint8>(kTags[kind]));
    if (kind < 6) {
        Append(bytes, random.Next(), kWidths[kind]);
        return;
    }
    const uint32 length = random.Below(random.OneIn(4) ? 50 : 9);
    const bool isString = kTags[kind] == 's';
    for (int count = 0; count < (isString ? 2 : 1); ++count) {
        if (count == 1) {
            if (length == 0) {
                return;
            }
            bytes.push_back('b');
        }
        bytes.push_back('l');
        Append(bytes, random.OneIn(10) ? random.Count(60) : length, 4);
    }
    for (uint32 i = 0; i < length; ++i) {
        bytes.push_back(static_cast<uint8>(random.OneIn(3) ? 0xD8 + random.Below(8) : random.Next()));
    }
}

std::vector<uint8> Buffer(Random& random) {
    std::vector<uint8> bytes;
    if (random.OneIn(3)) {
        bytes.assign(random.Below(random.OneIn(3) ? 200 : 40), 0xEE);
        return bytes;
    }
    for (uint32 values = random.Below(30); values > 0; --values) {
        AppendValue(bytes, random);
    }
    return bytes;
}

StreamCall Call(Random& random, bool storing, const StreamModel& model) {
    StreamCall call;
    const auto first = static_cast<uint32>(StreamCallKind::Write8);
    const auto last = static_cast<uint32>(StreamCallKind::Count);
    const bool writes = random.OneIn(12) ? !storing : storing;
    call.kind =
        StreamCallKind{static_cast<int>(writes ? first + random.Below(last - first) : random.Below(first))};
    call.form = StreamCall::Form{static_cast<int>(random.Below(3))};
    // What the reader wants is mostly what stands there, so that reads go far.
    if (!writes && model.hasBuffer && model.position < model.bytes.size() && !random.OneIn(8)) {
        constexpr char kTags[] = {'c', 'w', 'l', 'q', 'f', 'd', 's', 'b', 'b'};
        const uint8 tag = model.bytes[static_cast<std::size_t>(model.position)];
        for (int kind = 0; kind < 9; ++kind) {
            if (static_cast<uint8>(kTags[kind]) == tag) {
                call.kind = StreamCallKind{kind + (kind == 7 && random.OneIn(2) ? 1 : 0)};
                break;
            }
        }
    }
    call.bits = random.Next();
    call.text = random.Text();
    call.block.resize(random.Below(random.OneIn(4) ? 60 : 8));
    for (uint8& byte : call.block) {
        byte = static_cast<uint8>(random.Next());
    }
    call.from = random.Below(model.bytes.size() + 1);
    call.count = random.Below(model.bytes.size() - call.from + 1);
    return call;
}

// Fields as callers may leave them, the ordinary ones first of all.
void ChangeFields(StreamModelPair& pair, Random& random) {
    const auto size = static_cast<uint32>(pair.Model().bytes.size());
    switch (random.Below(12)) {
    case 0:
        pair.SetDirection(random.OneIn(4) ? static_cast<int>(random.Next())
                                          : static_cast<int>(random.Below(2)));
        break;
    case 1:
        pair.SetError(static_cast<int>(random.Below(5)));
        break;
    case 2:
        pair.SetCapacity(pair.Model().hasBuffer ? random.Below(uint64{size} + 1) : random.Count(100));
        break;
    case 3:
        pair.SetPosition(random.Count(uint64{size} + 20));
        break;
    case 4:
        pair.SetBuffer(false);
        break;
    case 5:
        if (size > 0) {
            pair.SetByte(random.Below(size), static_cast<uint8>(random.Next()));
        }
        break;
    case 6:
    case 7:
        pair.SetPosition(0);
        [[fallthrough]];
    default:
        if (pair.Model().capacity > size) {
            pair.SetCapacity(size);
        }
        pair.SetBuffer(true);
        pair.SetError(0);
        break;
    }
}

// How many calls of each kind moved the position.
using Moves = std::array<int, static_cast<std::size_t>(StreamCallKind::Count)>;

void Run(uint64 seed, Moves& moves) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    const bool storing = random.OneIn(2);
    StreamModelPair pair(Buffer(random), storing ? 1 : 0);
    for (int i = 0; i < kCalls; ++i) {
        if (random.OneIn(6)) {
            ChangeFields(pair, random);
        }
        const StreamCall call = Call(random, pair.Model().direction == 1, pair.Model());
        const uint64 position = pair.Model().position;
        ASSERT_TRUE(pair.Do(call)) << "call " << i << " of kind " << static_cast<int>(call.kind) << ": "
                                   << pair.Difference();
        moves[static_cast<std::size_t>(call.kind)] += pair.Model().position > position ? 1 : 0;
    }
}

void RunSeeds(uint64 first, uint64 count) {
    first = NumberFrom("VXC_SERIALIZE_SEED", first);
    count = NumberFrom("VXC_SERIALIZE_SEEDS", count);
    Moves moves{};
    for (uint64 seed = first; seed < first + count && !::testing::Test::HasFatalFailure(); ++seed) {
        Run(seed, moves);
    }
    // Random calls that all fail would be worth nothing.
    for (std::size_t kind = 0; kind < moves.size() && count >= 1000; ++kind) {
        const bool stays = kind == static_cast<std::size_t>(StreamCallKind::WriteNoBlock) ||
                           kind == static_cast<std::size_t>(StreamCallKind::SetMessageSize);
        EXPECT_EQ(moves[kind] > 1000, !stays) << "kind " << kind << " moved " << moves[kind] << " times";
    }
}

} // namespace

TEST(StreamModelTest, AnyCallsAreTheModels) {
    RunSeeds(1, 5000);
}

TEST(StreamModelTest, TheModelWritesTheWorkedExample) {
    StreamModel model;
    model.bytes.resize(17, 0xEE);
    model.capacity = 17;
    model.direction = 1;
    EXPECT_EQ(model.WriteString(L"AB"), 1);
    const std::vector<uint8> expected = {0x73, 0x6C, 4, 0,    0, 0,    0x62, 0x6C, 4,
                                         0,    0,    0, 0x41, 0, 0x42, 0,    0xEE};
    EXPECT_EQ(model.bytes, expected);
    EXPECT_EQ(model.position, 16u);
}
