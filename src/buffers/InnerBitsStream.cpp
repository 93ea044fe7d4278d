#include "buffers/InnerBitsStream.h"

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

// ---- Reading ------------------------------------------------------------------------------------------

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
            LoadAgain();
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
