#include "buffers/BitsModel.h"

#include <algorithm>
#include <cstdint>

namespace vxcio::test {

namespace {

constexpr int kCells = 32;

// 1 where the polynomial has the term x to the power of the index. That of x to the power of 0 is not asked.
constexpr uint16 kTerms[kCells] = {0, 1, 1, 0, 1, 1, 0, 1, 1, 0, 1, 1, 1, 0, 0, 0,
                                   1, 0, 0, 0, 0, 0, 1, 1, 0, 0, 1, 0, 0, 0, 0, 0};

// A shift that leaves nothing of a value where it is as long as the value or longer.
uint64 ShiftedRight(uint64 value, int bits) {
    return bits < 64 ? value >> bits : 0;
}

} // namespace

// ---- The current byte ---------------------------------------------------------------------------------

int BitsModel::InitBuffer(uint8* buffer, uint32 size) {
    m_base = buffer;
    m_size = size;
    m_byteIndex = 0;
    m_bitPos = 0;
    m_current = 0;
    m_isBehindBySeek = false;
    LoadCache();
    m_mask = 0x80;
    m_bitsLeft = 8;
    return 1;
}

uint8* BitsModel::AddressOf(int64 index) const {
    if (m_base == nullptr) {
        return nullptr;
    }
    const auto address = reinterpret_cast<std::uintptr_t>(m_base) + static_cast<std::uintptr_t>(index);
    return reinterpret_cast<uint8*>(address);
}

// Below 0 are the indices that a buffer does not have.
int64 BitsModel::IndexAsNumber() const {
    const auto told = static_cast<uint32>(m_byteIndex);
    return told > m_size ? int64{m_byteIndex} : int64{told};
}

void BitsModel::StoreCache() {
    if (IsInside()) {
        m_base[m_current] = m_cache;
    }
}

void BitsModel::LoadCache() {
    m_cache = IsInside() || m_isBehindBySeek ? m_base[m_current] : 0;
}

bool BitsModel::MoveToNextByte() {
    StoreCache();
    const uint64 next = uint64{static_cast<uint32>(m_byteIndex)} + 1;
    if (next < m_size) {
        m_current += 1;
        m_byteIndex = static_cast<int32>(static_cast<uint32>(next));
        m_bitsLeft = 8;
        m_mask = 0x80;
        m_isBehindBySeek = false;
        LoadCache();
        return true;
    }
    if (next == m_size) {
        m_bitsLeft = 0;
        m_byteIndex = static_cast<int32>(static_cast<uint32>(next));
    }
    return false;
}

bool BitsModel::HasBit() {
    if (!HasBuffer()) {
        return false;
    }
    return m_bitsLeft > 0 || MoveToNextByte();
}

// ---- Reading ------------------------------------------------------------------------------------------

int BitsModel::GetBit(int* bit) {
    if (!HasBit()) {
        return 0;
    }
    m_bitsLeft -= 1;
    m_bitPos += 1;
    if (bit != nullptr) {
        *bit = (m_cache & m_mask) != 0 ? 1 : 0;
        if (m_crcActive) {
            FeedBit(*bit != 0 ? 1 : 0);
        }
    }
    m_mask = static_cast<uint8>(m_mask >> 1);
    return 1;
}

int BitsModel::GetBits(uint32* value, int count) {
    if (count < 1) {
        return 0;
    }
    if (!HasBit()) {
        return 0;
    }
    if (value != nullptr) {
        *value = 0;
    }
    int rest = count;
    while (rest > 0) {
        const int run = std::min(m_bitsLeft, rest);
        rest -= run;
        if (value != nullptr) {
            const auto upper = static_cast<uint8>(m_cache << (8 - m_bitsLeft));
            const auto cut = static_cast<uint8>(upper >> (8 - run));
            if (rest < 32) {
                *value |= static_cast<uint32>(cut) << rest;
            }
            LoadCache();
        }
        m_bitsLeft -= run;
        m_mask = static_cast<uint8>(m_mask >> run);
        m_bitPos += run;
        if (m_bitsLeft == 0 && !MoveToNextByte() && rest > 0) {
            return 0;
        }
    }
    if (m_crcActive && value != nullptr) {
        FeedBits(*value, count);
    }
    return 1;
}

int BitsModel::GetBYTE(uint8* value) {
    uint32 local = 0;
    const int result = GetBits(&local, 8);
    if (result == 1 && value != nullptr) {
        *value = static_cast<uint8>(local);
    }
    return result;
}

int BitsModel::GetWORD(uint16* value) {
    uint32 local = 0;
    const int result = GetBits(&local, 16);
    if (result == 1 && value != nullptr) {
        *value = static_cast<uint16>(local);
    }
    return result;
}

// ---- Writing ------------------------------------------------------------------------------------------

int BitsModel::PutBit(int bit) {
    if (!HasBit()) {
        return 0;
    }
    m_bitsLeft -= 1;
    m_bitPos += 1;
    if (bit != 0) {
        m_cache = static_cast<uint8>(m_cache | m_mask);
    }
    if (m_crcActive) {
        FeedBit(bit != 0 ? 1 : 0);
    }
    m_mask = static_cast<uint8>(m_mask >> 1);
    return 1;
}

int BitsModel::PutBits(uint32 value, int count) {
    if (m_crcActive) {
        FeedBits(value, count);
    }
    if (!HasBit()) {
        return 0;
    }
    int rest = count;
    while (rest > 0) {
        const int run = std::min(m_bitsLeft, rest);
        rest -= run;
        const int left = m_bitsLeft - run;
        const auto low = static_cast<uint8>(ShiftedRight(value, rest));
        m_cache = static_cast<uint8>(m_cache | low << left);
        m_bitsLeft = left;
        m_mask = static_cast<uint8>(m_mask >> run);
        m_bitPos += run;
        if (rest < 32) {
            value &= (uint32{1} << rest) - 1;
        }
        if (m_bitsLeft == 0 && !MoveToNextByte() && rest > 0) {
            return 0;
        }
    }
    return 1;
}

// ---- Positions ----------------------------------------------------------------------------------------

void BitsModel::MoveToByte(int64 index) {
    StoreCache();
    m_bitPos += (index - IndexAsNumber()) * 8;
    m_byteIndex = static_cast<int32>(static_cast<uint32>(index));
    m_current = index;
    m_isBehindBySeek = HasBuffer() && index == int64{m_size};
    LoadCache();
}

void BitsModel::MoveToBit(int64 position, bool isSeekToEnd) {
    StoreCache();
    m_bitPos = position;
    m_byteIndex = static_cast<int32>(static_cast<uint32>(m_bitPos / 8));
    m_current = m_bitPos / 8;
    m_isBehindBySeek = HasBuffer() && m_current == int64{m_size} && isSeekToEnd;
    LoadCache();
    m_bitsLeft = 8 - static_cast<int>(m_bitPos % 8);
    m_mask = static_cast<uint8>(0x80 >> (8 - m_bitsLeft));
}

int BitsModel::SeekBytePtr(int delta) {
    const int64 index = IndexAsNumber() + delta;
    if (index < 0 || index > int64{m_size}) {
        return 0;
    }
    MoveToByte(index);
    return 1;
}

int BitsModel::SetBytePtrPos(int index) {
    if (index < 0 || int64{index} > int64{m_size} - 1) {
        return 0;
    }
    MoveToByte(index);
    return 1;
}

int BitsModel::SeekBitsPtr(int delta) {
    const auto position = static_cast<uint64>(m_bitPos + int64{delta});
    if (position > uint64{m_size} * 8) {
        return 0;
    }
    MoveToBit(static_cast<int64>(position), true);
    return 1;
}

int BitsModel::SetBitsPtr(uint32 position) {
    if (int64{position} >= m_bitPos) {
        return 0;
    }
    MoveToBit(int64{position}, m_isBehindBySeek);
    return 1;
}

void BitsModel::AlignCurBytes() {
    m_bitsLeft = 8;
    m_mask = 0x80;
    const auto sum = static_cast<uint32>(m_byteIndex) + static_cast<uint32>(m_bitPos / 8);
    m_byteIndex = static_cast<int32>(sum);
    m_bitPos = IndexAsNumber() * 8;
}

// ---- CRC ----------------------------------------------------------------------------------------------

void BitsModel::StartCRC() {
    m_cells.assign(kCells, 1);
    m_crcActive = true;
}

void BitsModel::FeedBit(uint32 bit) {
    const uint32 feedback = bit ^ m_cells[kCells - 1];
    for (std::size_t i = kCells - 1; i >= 1; --i) {
        m_cells[i] = m_cells[i - 1] ^ (kTerms[i] != 0 ? feedback : 0);
    }
    m_cells[0] = feedback;
}

void BitsModel::FeedBits(uint32 value, int count) {
    for (int place = count - 1; place >= 0; --place) {
        FeedBit(static_cast<uint32>(ShiftedRight(value, place)) & 1);
    }
}

uint32 BitsModel::GetCRCResult() const {
    uint32 value = 0;
    for (std::size_t i = 0; i < m_cells.size(); ++i) {
        value |= m_cells[i] << i;
    }
    return value;
}

} // namespace vxcio::test
