#include "frame/MD5.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <utility>

namespace vxcio {

// floor(2^32 * |sin(step + 1)|)
//
// Neither const nor local to this file, so that compilers take the constants from memory: known beforehand,
// clang adds them last in each step, where every operation counts (a tenth of the speed).
extern std::array<uint32, 64> g_md5Constants;
constinit std::array<uint32, 64> g_md5Constants = {
    0xd76aa478u, 0xe8c7b756u, 0x242070dbu, 0xc1bdceeeu, 0xf57c0fafu, 0x4787c62au, 0xa8304613u, 0xfd469501u,
    0x698098d8u, 0x8b44f7afu, 0xffff5bb1u, 0x895cd7beu, 0x6b901122u, 0xfd987193u, 0xa679438eu, 0x49b40821u,
    0xf61e2562u, 0xc040b340u, 0x265e5a51u, 0xe9b6c7aau, 0xd62f105du, 0x02441453u, 0xd8a1e681u, 0xe7d3fbc8u,
    0x21e1cde6u, 0xc33707d6u, 0xf4d50d87u, 0x455a14edu, 0xa9e3e905u, 0xfcefa3f8u, 0x676f02d9u, 0x8d2a4c8au,
    0xfffa3942u, 0x8771f681u, 0x6d9d6122u, 0xfde5380cu, 0xa4beea44u, 0x4bdecfa9u, 0xf6bb4b60u, 0xbebfbc70u,
    0x289b7ec6u, 0xeaa127fau, 0xd4ef3085u, 0x04881d05u, 0xd9d4d039u, 0xe6db99e5u, 0x1fa27cf8u, 0xc4ac5665u,
    0xf4292244u, 0x432aff97u, 0xab9423a7u, 0xfc93a039u, 0x655b59c3u, 0x8f0ccc92u, 0xffeff47du, 0x85845dd1u,
    0x6fa87e4fu, 0xfe2ce6e0u, 0xa3014314u, 0x4e0811a1u, 0xf7537e82u, 0xbd3af235u, 0x2ad7d2bbu, 0xeb86d391u,
};

} // namespace vxcio

namespace {

constexpr std::size_t kBlockBytes = 64;
constexpr std::size_t kLengthBytes = 8; // the length that ends the padded message

constexpr int kShifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

// Which word of the block each step of a round takes: word (factor * step + first) mod 16.
constexpr std::size_t kWordFactor[4] = {1, 5, 3, 7};
constexpr std::size_t kWordFirst[4] = {0, 1, 5, 0};

inline uint32 LoadWord(const uint8* data) noexcept {
    uint32 word = 0;
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(&word, data, sizeof word);
    } else {
        for (int i = 3; i >= 0; --i) {
            word = (word << 8) | data[i];
        }
    }
    return word;
}

void StoreWord(uint8* data, uint32 word) noexcept {
    for (int i = 0; i < 4; ++i) {
        data[i] = static_cast<uint8>(word >> (8 * i));
    }
}

// A step needs the result `x` of the step before it, so what counts is the way from x to the new value.
// All that does not need x is added up first. The two halves of the second round's function have no bit in
// common: added one after the other they give what joining them would, but only one of them waits for x.
template <std::size_t Step>
[[gnu::always_inline]] inline void RunStep(std::array<uint32, 4>& v, const uint8* block) noexcept {
    constexpr std::size_t round = Step / 16;
    constexpr std::size_t word = (kWordFactor[round] * (Step % 16) + kWordFirst[round]) % 16;
    uint32& w = v[(64 - Step) % 4];
    const uint32 x = v[(65 - Step) % 4];
    const uint32 y = v[(66 - Step) % 4];
    const uint32 z = v[(67 - Step) % 4];
    uint32 sum = w + (LoadWord(block + 4 * word) + vxcio::g_md5Constants[Step]);
    if constexpr (round == 0) {
        sum += ((y ^ z) & x) ^ z;
    } else if constexpr (round == 1) {
        sum += y & ~z;
        sum += x & z;
    } else if constexpr (round == 2) {
        sum += (y ^ z) ^ x;
    } else {
        sum += (x | ~z) ^ y;
    }
    w = x + std::rotl(sum, kShifts[round][Step % 4]);
}

template <std::size_t... Steps>
[[gnu::always_inline]] inline void RunSteps(std::array<uint32, 4>& v, const uint8* block,
                                            std::index_sequence<Steps...>) noexcept {
    (RunStep<Steps>(v, block), ...);
}

// Runs `blocks` whole blocks; the chaining value stays in registers from block to block.
void RunBlocks(uint32* state, const uint8* data, std::size_t blocks) noexcept {
    std::array<uint32, 4> sum = {state[0], state[1], state[2], state[3]};
    for (; blocks != 0; --blocks, data += kBlockBytes) {
        std::array<uint32, 4> v = sum;
        RunSteps(v, data, std::make_index_sequence<64>());
        for (std::size_t i = 0; i < sum.size(); ++i) {
            sum[i] += v[i];
        }
    }
    std::copy(sum.begin(), sum.end(), state);
}

} // namespace

MD5_CTX::MD5_CTX() noexcept
    : m_dwState{0x67452301u, 0xefcdab89u, 0x98badcfeu, 0x10325476u}, m_dwCount{}, m_Buffer{}, m_Padding{0x80},
      m_bFinished(0), m_Digest{} {}

MD5_CTX::~MD5_CTX() = default;

void MD5_CTX::Update(const void* data, unsigned int size) noexcept {
    if (size == 0) {
        return;
    }
    const std::size_t inBuffer = (m_dwCount[0] >> 3) % kBlockBytes;
    const uint32 lowBits = size << 3;
    m_dwCount[0] += lowBits;
    if (m_dwCount[0] < lowBits) {
        ++m_dwCount[1];
    }
    m_dwCount[1] += size >> 29;

    const auto* bytes = static_cast<const uint8*>(data);
    std::size_t left = size;
    if (inBuffer != 0) {
        const std::size_t taken = std::min(left, kBlockBytes - inBuffer);
        std::memcpy(m_Buffer + inBuffer, bytes, taken);
        bytes += taken;
        left -= taken;
        if (inBuffer + taken < kBlockBytes) {
            return;
        }
        RunBlocks(m_dwState, m_Buffer, 1);
    }
    RunBlocks(m_dwState, bytes, left / kBlockBytes);
    std::memcpy(m_Buffer, bytes + (left - left % kBlockBytes), left % kBlockBytes);
}

void MD5_CTX::Final(unsigned char* digest) noexcept {
    if (m_bFinished == 0) {
        uint8 length[kLengthBytes];
        StoreWord(length, m_dwCount[0]);
        StoreWord(length + 4, m_dwCount[1]);
        const std::size_t inBuffer = (m_dwCount[0] >> 3) % kBlockBytes;
        const std::size_t end = kBlockBytes - kLengthBytes;
        const std::size_t pad = inBuffer < end ? end - inBuffer : end + kBlockBytes - inBuffer;
        Update(m_Padding, static_cast<unsigned int>(pad));
        Update(length, kLengthBytes);
        for (int i = 0; i < 4; ++i) {
            StoreWord(m_Digest + 4 * i, m_dwState[i]);
        }
        m_bFinished = 1;
    }
    std::memcpy(digest, m_Digest, sizeof m_Digest);
}
