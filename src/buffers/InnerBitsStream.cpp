#include "buffers/InnerBitsStream.h"

void CInnerBitsStream::InitBuffer(uint8* buffer, uint32 size) noexcept {
    m_pBase = buffer;
    m_nSize = size;
    m_nReach = buffer == nullptr ? 0 : size;
    m_nByteIndex = 0;
    m_nCurrent = 0;
    m_nBitPos = 0;
    m_nPassed = 0;
    m_bBehind = false;
    Load();
}

// ---- Reading ------------------------------------------------------------------------------------------

int CInnerBitsStream::GetBitsBytewise(uint32* value, int count) noexcept {
    if (count < 1 || !HasBit()) {
        return 0;
    }
    if (value != nullptr) {
        *value = 0;
    }
    for (auto rest = static_cast<uint32>(count); rest > 0;) {
        const uint32 run = std::min(8 - m_nPassed, rest);
        rest -= run;
        m_nPassed += run;
        m_nBitPos += run;
        if (value != nullptr) {
            TakeIn();
            const uint32 bits = m_cCopy >> (8 - m_nPassed) & ((1u << run) - 1);
            if (rest < kLongestField) {
                *value |= bits << rest;
            }
            LoadAgain();
        }
        if (m_nPassed == 8 && !NextByte() && rest > 0) {
            return 0;
        }
    }
    if (m_bCRCActive && value != nullptr) {
        FeedCRC(*value, static_cast<uint32>(count));
    }
    return 1;
}

// ---- Writing ------------------------------------------------------------------------------------------

int CInnerBitsStream::PutBitsBytewise(uint32 value, int count) noexcept {
    const auto bits = static_cast<uint32>(std::max(count, 0));
    // The CRC runs ahead, also of a write that then finds no room.
    if (m_bCRCActive) {
        FeedCRC(value, bits);
    }
    if (!HasBit()) {
        return 0;
    }
    for (uint32 rest = bits; rest > 0;) {
        const uint32 run = std::min(8 - m_nPassed, rest);
        rest -= run;
        m_nPassed += run;
        m_nBitPos += run;
        // What stands above the run in value leaves the byte, unless bits of the byte have passed before.
        if (rest < kLongestField) {
            m_cCopy = static_cast<uint8>(m_cCopy | value >> rest << (8 - m_nPassed));
        }
        if (m_nPassed == 8 && !NextByte() && rest > 0) {
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

// Whoever may be behind the buffer has gone there, so that the byte there may be read.
void CInnerBitsStream::GoToBit(int64 position, bool mayBeBehind) noexcept {
    Store();
    m_nBitPos = position;
    m_nByteIndex = static_cast<uint32>(position / 8);
    m_nCurrent = static_cast<uint64>(position / 8);
    m_nPassed = static_cast<uint32>(position % 8);
    m_bBehind = mayBeBehind && IsBehind(position / 8);
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
    GoToBit(static_cast<int64>(position), true);
    return 1;
}

int CInnerBitsStream::SetBitsPtr(uint32 position) noexcept {
    if (int64{position} >= m_nBitPos) {
        return 0;
    }
    GoToBit(position, m_bBehind);
    return 1;
}

// It adds the bytes passed to an index that already counts them. Plug-ins rely on the numbers, so they stay.
void CInnerBitsStream::AlignCurBytes() noexcept {
    m_nPassed = 0;
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
void CInnerBitsStream::FeedCRC(uint32 value, uint32 count) noexcept {
    while (count > kLongestField) {
        const uint32 zeros = std::min(count - kLongestField, kLongestField);
        m_crc.Feed(0, zeros);
        count -= zeros;
    }
    if (count > 0) {
        m_crc.Feed(value, count);
    }
}
