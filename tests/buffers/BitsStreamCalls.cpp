#include "buffers/BitsStreamCalls.h"

#include "support/NumberFrom.h"

#include <limits>

namespace vxcio::test {

namespace {

using Kind = BitsCall::Kind;

constexpr int64 kLeast = std::numeric_limits<int>::min();
constexpr int64 kMost = std::numeric_limits<int>::max();

int64 Within(int64 number) {
    return number < kLeast ? kLeast : number > kMost ? kMost : number;
}

// Now and then a number that no sum survives.
int64 OrExtreme(stress::Random& random, int64 number) {
    if (random.OneIn(25)) {
        return random.Of<int64>({kLeast, kLeast + 1, -1, 0, kMost - 1, kMost});
    }
    return Within(number);
}

class CallMaker {
public:
    CallMaker(BitsStreamPair& pair, stress::Random& random, const BitsMix& mix)
        : m_pair(pair), m_random(random), m_mix(mix) {}

    BitsCall NewBuffer() {
        if (!m_mix.anyBuffer) {
            return {Kind::InitBuffer, false, static_cast<int64>(m_pair.BufferOffset()), Size()};
        }
        const uint32 size = m_random.OneIn(30) ? 0 : 1 + m_random.Below(m_mix.longestBuffer);
        // One byte stays behind it, which is there for who goes to the end and reads on.
        const auto places = static_cast<uint32>(m_pair.Bytes()) - size;
        return {Kind::InitBuffer, m_random.OneIn(40), int64{m_random.Below(places)}, size};
    }

    BitsCall Next() {
        if (m_random.OneIn(m_mix.alignsOneIn)) {
            return {Kind::AlignCurBytes};
        }
        const uint32 part = m_random.Below(100);
        if (part < 40) {
            return Read();
        }
        if (part < 70 && m_mix.writes) {
            return Write();
        }
        if (part < 90) {
            return Move();
        }
        return Other();
    }

private:
    uint32 Size() const { return m_pair.Model().GetBufferSize(); }

    int64 Count() { return m_random.OneIn(50) ? m_random.Between(41, 700) : m_random.Between(-1, 40); }

    BitsCall Read() {
        const auto kind = m_random.Of<Kind>({Kind::GetBit, Kind::GetBits, Kind::GetBits, Kind::GetBits,
                                             Kind::GetBits, Kind::GetBYTE, Kind::GetWORD, Kind::GetDWORD});
        // A null value: nothing is taken where the bits are not looked at.
        const bool isBehind = !m_mix.readsBehind && m_pair.Model().IsBehindBySeek();
        const bool isNull = m_random.OneIn(8) || isBehind;
        if (isNull && isBehind && (kind == Kind::GetBYTE || kind == Kind::GetWORD)) {
            return {Kind::GetBits, true, Count()};
        }
        return {kind, isNull, kind == Kind::GetBits ? Count() : 0};
    }

    BitsCall Write() {
        const auto value = static_cast<uint32>(m_random.Next());
        switch (m_random.Below(8)) {
        case 0:
            return {Kind::PutBit, false, m_random.Of<int64>({0, 1, -1, 2, 256, kLeast})};
        case 1:
            return {Kind::PutBYTE, false, 0, value};
        case 2:
            return {Kind::PutWORD, false, 0, value};
        case 3:
            return {Kind::PutDWORD, false, 0, value};
        case 4:
            return {Kind::Flush};
        default:
            break;
        }
        const int64 count = Count();
        const bool isClean = m_random.OneIn(2) && count >= 0 && count < 32;
        return {Kind::PutBits, false, count, isClean ? value & ((uint32{1} << count) - 1) : value};
    }

    BitsCall Move() {
        const int64 size = Size();
        const int64 index = m_pair.Model().GetCurBytesPos();
        const int64 position = m_pair.Model().GetCurBitsPos();
        switch (m_random.Below(4)) {
        case 0: {
            const int64 target = m_random.OneIn(4) ? size : m_random.Between(-2, size + 2);
            return {Kind::SeekBytePtr, false, OrExtreme(m_random, target - index)};
        }
        case 1:
            return {Kind::SetBytePtrPos, false, OrExtreme(m_random, m_random.Between(-2, size + 2))};
        case 2: {
            const int64 target = m_random.OneIn(4) ? size * 8 : m_random.Between(-2, size * 8 + 2);
            return {Kind::SeekBitsPtr, false, OrExtreme(m_random, target - position)};
        }
        default: {
            const int64 target =
                m_random.OneIn(3) ? position + m_random.Between(-1, 1) : m_random.Between(0, size * 8 + 9);
            return {Kind::SetBitsPtr, false, 0, static_cast<uint32>(OrExtreme(m_random, target))};
        }
        }
    }

    BitsCall Other() {
        switch (m_random.Below(8)) {
        case 0:
        case 1:
            return {Kind::StartCRC};
        case 2:
            return {Kind::StopCRC};
        case 3:
            return {Kind::Flush};
        case 4:
            return {Kind::GetBytePtr, false, OrExtreme(m_random, m_random.Between(-3, int64{Size()} + 3))};
        case 5:
            return {Kind::ReFill};
        default:
            break;
        }
        if (!m_mix.writes || Size() == 0) {
            return {Kind::Flush};
        }
        const auto at = static_cast<int64>(m_pair.BufferOffset()) + m_random.Below(Size());
        return {Kind::Change, false, at, static_cast<uint32>(m_random.Below(256))};
    }

    BitsStreamPair& m_pair;
    stress::Random& m_random;
    const BitsMix& m_mix;
};

} // namespace

void DoRandomCalls(BitsStreamPair& pair, stress::Random& random, const BitsMix& mix, int calls) {
    CallMaker maker(pair, random, mix);
    for (int i = 0; i < calls; ++i) {
        const BitsCall call = random.OneIn(150) ? maker.NewBuffer() : maker.Next();
        if (!pair.Do(call)) {
            return;
        }
    }
}

SeedRange RandomSeeds(uint64 wanted) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    wanted = (wanted + 9) / 10;
#endif
    return {NumberFrom("VXC_RANDOM_SEED", 1), NumberFrom("VXC_RANDOM_SEQUENCES", wanted)};
}

} // namespace vxcio::test
