#include "buffers/Crc32Mpeg.h"

#include <array>

namespace vxcio {

namespace {

constexpr uint32 kPolynomial = 0x04C11DB7u;
constexpr std::size_t kBytes = 8;

using Table = std::array<uint32, 256>;

// tables[n][b] is the register after the byte b, then n bytes of 0, from a register of 0.
constexpr std::array<Table, kBytes> MakeTables() {
    std::array<Table, kBytes> tables{};
    for (uint32 byte = 0; byte < 256; ++byte) {
        uint32 value = byte << 24;
        for (int bit = 0; bit < 8; ++bit) {
            value = value << 1 ^ ((value & 0x80000000u) != 0 ? kPolynomial : 0);
        }
        tables[0][byte] = value;
    }
    for (std::size_t n = 1; n < kBytes; ++n) {
        for (uint32 byte = 0; byte < 256; ++byte) {
            const uint32 value = tables[n - 1][byte];
            tables[n][byte] = value << 8 ^ tables[0][value >> 24];
        }
    }
    return tables;
}

constexpr std::array<Table, kBytes> kTables = MakeTables();

constexpr uint32 ByteOf(uint64 word, int place) {
    return static_cast<uint32>(word >> (8 * place)) & 0xFFu;
}

} // namespace

// The register goes into the first four bytes; then each byte counts by how far it is from the end.
void Crc32Mpeg::TakeWord(uint64 word) noexcept {
    const uint64 mixed = word ^ uint64 { m_dwRegister } << 32;
    m_dwRegister = kTables[7][ByteOf(mixed, 7)] ^ kTables[6][ByteOf(mixed, 6)] ^
                   kTables[5][ByteOf(mixed, 5)] ^ kTables[4][ByteOf(mixed, 4)] ^
                   kTables[3][ByteOf(mixed, 3)] ^ kTables[2][ByteOf(mixed, 2)] ^
                   kTables[1][ByteOf(mixed, 1)] ^ kTables[0][ByteOf(mixed, 0)];
}

// The bits that complete a word, and those behind them.
void Crc32Mpeg::FeedAcross(uint64 field, uint32 bits) noexcept {
    const uint32 room = kWordBits - m_nPendingBits;
    // There are 32 pending bits at least, so none of these shifts is one of 64.
    const uint32 rest = bits - room;
    TakeWord(m_qwPending << room | field >> rest);
    m_qwPending = field;
    m_nPendingBits = rest;
}

uint32 Crc32Mpeg::Value() const noexcept {
    uint32 value = m_dwRegister;
    for (uint32 left = m_nPendingBits; left > 0;) {
        // The table of whole bytes serves fewer bits as well.
        const uint32 bits = left < 8 ? left : 8;
        left -= bits;
        const uint32 field = static_cast<uint32>(m_qwPending >> left) & ((1u << bits) - 1);
        value = value << bits ^ kTables[0][value >> (32 - bits) ^ field];
    }
    return value;
}

} // namespace vxcio
