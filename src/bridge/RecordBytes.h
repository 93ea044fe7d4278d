// RecordBytes.h - the bytes of numbers that stand side by side on a stream, for RecordFields.h.
#pragma once

#include "bridge/Records.h"

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstring>
#include <typeinfo>

// A record's numbers are only moved at once where the walk over them is one piece.
#define VXC_RECORD_INLINE [[gnu::always_inline]] inline

namespace vxcio {

// One digit of a time code; a number of its own on the wire.
struct RecordDigit {
    uint32 value;
};

// What travels of a value.
inline uint32 Wire(uint32 value) noexcept {
    return value;
}
inline unsigned long long Wire(unsigned long long value) noexcept {
    return value;
}
inline uint8 Wire(uint8 value) noexcept {
    return value;
}
inline int32 Wire(EPlugValue value) noexcept {
    return value;
}
inline uint32 Wire(const RecordDigit& digit) noexcept {
    return digit.value;
}

template <class Value>
inline constexpr unsigned char kWireTag = sizeof(Value) == 8   ? 'q'
                                          : sizeof(Value) == 4 ? 'l'
                                                               : 'c';

// Bytes of a value on the wire.
template <class Value>
constexpr std::size_t WireSize() noexcept {
    return 1 + sizeof(Value);
}

// What a block has ahead of its bytes: its tag, and its count as a number.
inline constexpr std::size_t kBlockHead = 6;

// A place on a stream at which numbers may be moved without asking the stream. It is nowhere where they may
// not be: on a class on top of CVXCSerialize, whose operators want to be called, against the direction, and
// once there is an error. The stream's position is stale until Leave, or the end of the cursor.
class RecordCursor {
public:
    RecordCursor(CVXCSerialize& stream, int direction) noexcept
        : m_stream(stream),
          m_mayEnter(std::endian::native == std::endian::little && stream.m_nDirection == direction &&
                     typeid(stream) == typeid(CVXCSerialize)) {
        Enter();
    }
    ~RecordCursor() { Leave(); }
    RecordCursor(const RecordCursor&) = delete;
    RecordCursor& operator=(const RecordCursor&) = delete;

    // Comes back from the stream.
    VXC_RECORD_INLINE void Enter() noexcept {
        if (m_mayEnter && m_stream.m_nError == VXC_SERIALIZE_OK && m_stream.m_pBuffer != nullptr &&
            m_stream.m_dwPosition <= m_stream.m_dwCapacity) {
            m_next = m_stream.m_pBuffer + m_stream.m_dwPosition;
            m_end = m_stream.m_pBuffer + m_stream.m_dwCapacity;
        }
    }
    // Goes nowhere and hands out the stream, which is up to date then.
    VXC_RECORD_INLINE CVXCSerialize& Leave() noexcept {
        if (m_next != nullptr) {
            m_stream.m_dwPosition = static_cast<unsigned int>(m_next - m_stream.m_pBuffer);
            m_next = nullptr;
            m_end = nullptr;
        }
        return m_stream;
    }

    VXC_RECORD_INLINE bool Has(std::size_t bytes) const noexcept {
        return static_cast<std::size_t>(m_end - m_next) >= bytes;
    }

    // Stores a number where there is room.
    template <class Number>
    VXC_RECORD_INLINE void Put(Number number) noexcept {
        *m_next = kWireTag<Number>;
        std::memcpy(m_next + 1, &number, sizeof number);
        m_next += WireSize<Number>();
    }

    // Loads a number that Has() found to be there; false where the cursor is nowhere or another tag stands
    // there. Memory that another process may write is read once: what was copied is what counts.
    template <class Number>
    VXC_RECORD_INLINE bool Take(Number& number) noexcept {
        if (m_next == nullptr || *static_cast<const volatile unsigned char*>(m_next) != kWireTag<Number>) {
            return false;
        }
        std::memcpy(&number, m_next + 1, sizeof number);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        m_next += WireSize<Number>();
        return true;
    }

    // Stores a block where there is room.
    VXC_RECORD_INLINE void PutBlock(const void* bytes, uint32 count) noexcept {
        m_next[0] = 'b';
        m_next[1] = kWireTag<uint32>;
        std::memcpy(m_next + 2, &count, sizeof count);
        std::memmove(m_next + kBlockHead, bytes, count);
        m_next += kBlockHead + count;
    }

    // Loads a block of exactly `count` bytes that Has() found room for; false where something else stands
    // there.
    VXC_RECORD_INLINE bool TakeBlock(void* bytes, uint32 count) noexcept {
        const volatile unsigned char* const tags = m_next;
        uint32 told;
        std::memcpy(&told, m_next + 2, sizeof told);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (tags[0] != 'b' || tags[1] != kWireTag<uint32> || told != count) {
            return false;
        }
        std::memmove(bytes, m_next + kBlockHead, count);
        m_next += kBlockHead + count;
        return true;
    }

private:
    CVXCSerialize& m_stream;
    const bool m_mayEnter;
    unsigned char* m_next = nullptr;
    unsigned char* m_end = nullptr;
};

} // namespace vxcio
