#include "buffers/InnerBitsStream.h"

namespace {

uint64 ReadWord(const uint8* from) noexcept {
    uint64 word = 0;
    for (int i = 0; i < 8; ++i) {
        word = word << 8 | from[i];
    }
    return word;
}

// The first `bytes` bytes of the word and not one more: what follows may be another's by now.
void WriteWord(uint8* to, uint64 word, uint32 bytes) noexcept {
    for (uint32 i = 0; i < bytes; ++i) {
        to[i] = static_cast<uint8>(word >> (56 - 8 * i));
    }
}

} // namespace

// ---- The current byte ---------------------------------------------------------------------------------

void CInnerBitsStream::InitBuffer(uint8* buffer, uint32 size) noexcept {
    m_pBase = buffer;
    m_nSize = size;
    m_nReach = buffer == nullptr ? 0 : size;
    m_nByteIndex = 0;
    m_nCurrent = 0;
    m_nBitPos = 0;
    m_nBitsLeft = 8;
    m_bBehind = false;
    Load();
}

// Writes only what changes something, so that memory which is only read may be write-protected.
void CInnerBitsStream::Store() noexcept {
    if (m_nCurrent < m_nReach && m_pBase[m_nCurrent] != m_cCopy) {
        m_pBase[m_nCurrent] = m_cCopy;
    }
}

void CInnerBitsStream::Load() noexcept {
    m_cCopy = m_nCurrent < m_nReach ? m_pBase[m_nCurrent] : 0;
    m_bToTakeIn = m_bBehind;
}

// Bits that were written to the copy meanwhile stay.
void CInnerBitsStream::TakeIn() noexcept {
    if (m_bToTakeIn) {
        m_cCopy |= m_pBase[m_nCurrent];
        m_bToTakeIn = false;
    }
}

bool CInnerBitsStream::NextByte() noexcept {
    Store();
    const uint64 next = uint64{m_nByteIndex} + 1;
    if (next < m_nSize) {
        ++m_nCurrent;
        ++m_nByteIndex;
        m_nBitsLeft = 8;
        m_bBehind = false;
        Load();
        return true;
    }
    if (next == m_nSize) {
        m_nBitsLeft = 0;
        ++m_nByteIndex;
    }
    return false;
}

// The word at the cursor as it is worked on.
uint64 CInnerBitsStream::WordWithCopy(uint64 word) const noexcept {
    constexpr uint64 kBehindFirst = ~uint64{0} >> 8;
    return (word & kBehindFirst) | uint64{m_cCopy} << 56;
}

// Moves the cursor by `bits` within `word`, which becomes what is known of the new current byte.
void CInnerBitsStream::GoOn(uint32 bits, uint64 word) noexcept {
    const uint32 passed = static_cast<uint32>(8 - m_nBitsLeft) + bits;
    const uint32 bytes = passed / 8;
    m_nCurrent += bytes;
    m_nByteIndex += bytes;
    m_nBitsLeft = 8 - static_cast<int>(passed % 8);
    m_cCopy = static_cast<uint8>(word >> (56 - 8 * bytes));
    m_nBitPos += bits;
}

// ---- Reading ------------------------------------------------------------------------------------------

int CInnerBitsStream::GetBit(int* bit) noexcept {
    if (!HasBit()) {
        return 0;
    }
    --m_nBitsLeft;
    ++m_nBitPos;
    if (bit != nullptr) {
        TakeIn();
        *bit = m_cCopy >> m_nBitsLeft & 1;
        if (m_bCRCActive) {
            m_crc.Feed(static_cast<uint32>(*bit), 1);
        }
    }
    return 1;
}

int CInnerBitsStream::GetBits(uint32* value, int count) noexcept {
    if (count < 1 || !HasBit()) {
        return 0;
    }
    if (value == nullptr || !HasWord(count)) {
        return GetBitsBytewise(value, count);
    }
    const auto bits = static_cast<uint32>(count);
    // The field begins in the copy; after it the copy is what memory says, in the same byte too.
    const uint64 word = ReadWord(m_pBase + m_nCurrent);
    *value = static_cast<uint32>(WordWithCopy(word) << (8 - m_nBitsLeft) >> (64 - bits));
    GoOn(bits, word);
    if (m_bCRCActive) {
        m_crc.Feed(*value, bits);
    }
    return 1;
}

int CInnerBitsStream::GetBitsBytewise(uint32* value, int count) noexcept {
    if (value != nullptr) {
        *value = 0;
    }
    for (int rest = count; rest > 0;) {
        const int run = std::min(m_nBitsLeft, rest);
        rest -= run;
        if (value != nullptr) {
            TakeIn();
            const uint32 bits = m_cCopy >> (m_nBitsLeft - run) & ((1u << run) - 1);
            if (rest < kLongestField) {
                *value |= bits << rest;
            }
            Load();
        }
        m_nBitsLeft -= run;
        m_nBitPos += run;
        if (m_nBitsLeft == 0 && !NextByte() && rest > 0) {
            return 0;
        }
    }
    if (m_bCRCActive && value != nullptr) {
        FeedCRC(*value, count);
    }
    return 1;
}

// ---- Writing ------------------------------------------------------------------------------------------

int CInnerBitsStream::PutBit(bool bit) noexcept {
    if (!HasBit()) {
        return 0;
    }
    --m_nBitsLeft;
    ++m_nBitPos;
    m_cCopy = static_cast<uint8>(m_cCopy | (bit ? 1u << m_nBitsLeft : 0u));
    if (m_bCRCActive) {
        m_crc.Feed(bit ? 1 : 0, 1);
    }
    return 1;
}

int CInnerBitsStream::PutBits(uint32 value, int count) noexcept {
    // The CRC runs ahead, also of a write that then finds no room.
    if (m_bCRCActive) {
        FeedCRC(value, count);
    }
    if (!HasBit()) {
        return 0;
    }
    if (count < 1) {
        return 1;
    }
    if (!HasWord(count)) {
        return PutBitsBytewise(value, count);
    }
    const auto bits = static_cast<uint32>(count);
    const uint32 passed = static_cast<uint32>(8 - m_nBitsLeft) + bits;
    uint8* const first = m_pBase + m_nCurrent;
    // Bits above the field land on what precedes it in its first byte, and go no further.
    const uint64 word = WordWithCopy(ReadWord(first)) | uint64{value} << (64 - passed);
    WriteWord(first, word, passed / 8);
    GoOn(bits, word);
    return 1;
}

int CInnerBitsStream::PutBitsBytewise(uint32 value, int count) noexcept {
    for (int rest = count; rest > 0;) {
        const int run = std::min(m_nBitsLeft, rest);
        rest -= run;
        m_nBitsLeft -= run;
        m_nBitPos += run;
        if (rest < kLongestField) {
            m_cCopy = static_cast<uint8>(m_cCopy | value >> rest << m_nBitsLeft);
            value &= (1u << rest) - 1;
        }
        if (m_nBitsLeft == 0 && !NextByte() && rest > 0) {
            return 0;
        }
    }
    return 1;
}

// ---- Positions ----------------------------------------------------------------------------------------

// The byte index as a number: AlignCurBytes may have brought it below 0.
int64 CInnerBitsStream::Index() const noexcept {
    return m_nByteIndex <= m_nSize ? int64{m_nByteIndex} : int64{static_cast<int32>(m_nByteIndex)};
}

void CInnerBitsStream::GoToByte(int64 index) noexcept {
    Store();
    m_nBitPos += (index - Index()) * 8;
    m_nByteIndex = static_cast<uint32>(index);
    m_nCurrent = static_cast<uint64>(index);
    m_bBehind = IsBehind(index);
    Load();
}

void CInnerBitsStream::GoToBit(int64 position) noexcept {
    Store();
    m_nBitPos = position;
    m_nByteIndex = static_cast<uint32>(position / 8);
    m_nCurrent = static_cast<uint64>(position / 8);
    m_nBitsLeft = 8 - static_cast<int>(position % 8);
    m_bBehind = IsBehind(position / 8);
    Load();
}

int CInnerBitsStream::SeekBytePtr(int delta) noexcept {
    const int64 index = Index() + delta;
    if (index < 0 || index > int64{m_nSize}) {
        return 0;
    }
    GoToByte(index);
    return 1;
}

int CInnerBitsStream::SetBytePtrPos(int index) noexcept {
    if (index < 0 || index >= int64{m_nSize}) {
        return 0;
    }
    GoToByte(index);
    return 1;
}

int CInnerBitsStream::SeekBitsPtr(int delta) noexcept {
    // A position below 0 is huge here.
    const uint64 position = static_cast<uint64>(m_nBitPos) + static_cast<uint64>(int64{delta});
    if (position > uint64{m_nSize} * 8) {
        return 0;
    }
    GoToBit(static_cast<int64>(position));
    return 1;
}

int CInnerBitsStream::SetBitsPtr(uint32 position) noexcept {
    if (int64{position} >= m_nBitPos) {
        return 0;
    }
    GoToBit(position);
    return 1;
}

// It adds the bytes passed to an index that already counts them. Plug-ins rely on the numbers, so they stay.
void CInnerBitsStream::AlignCurBytes() noexcept {
    m_nBitsLeft = 8;
    m_nByteIndex += static_cast<uint32>(m_nBitPos / 8);
    m_nBitPos = Index() * 8;
}

// ---- CRC ----------------------------------------------------------------------------------------------

void CInnerBitsStream::StartCRC() noexcept {
    m_crc.Start();
    m_bCRCActive = true;
    m_bCRCStarted = true;
}

// Bits of a field above the 32 that a value has are 0.
void CInnerBitsStream::FeedCRC(uint32 value, int count) noexcept {
    while (count > kLongestField) {
        const int zeros = std::min(count - kLongestField, kLongestField);
        m_crc.Feed(0, static_cast<uint32>(zeros));
        count -= zeros;
    }
    if (count > 0) {
        m_crc.Feed(value, static_cast<uint32>(count));
    }
}
