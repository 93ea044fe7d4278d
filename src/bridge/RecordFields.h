// RecordFields.h - the fields of a record on their way to a stream and from it. Each record names its fields
// once, in the order of the wire, and both directions walk that one list:
//
//   template <class Fields>
//   void Walk(Fields fields, SSome& record) {
//       fields.Numbers(record.value0, record.kind);
//       fields.Record(record.nested);
//   }
//
// Numbers go by the stream's virtual operators, so that a class on top of it sees them, and blocks by its
// primitives. On a stream that is nothing but a CVXCSerialize nobody can tell whether an operator was called;
// there numbers are moved at once as long as all goes well, and the operators are left the rest: ends,
// wrong tags, errors. One object serves one call of an operator; nested records have objects of their own.
#pragma once

#include "bridge/RecordBytes.h"
#include "bridge/Records.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace vxcio {

class RecordWriter {
public:
    explicit RecordWriter(CVXCSerialize& stream) noexcept : m_cursor(stream, VXC_SERIALIZE_STORE) {}

    template <class... Values>
    VXC_RECORD_INLINE void Numbers(const Values&... values) {
        if (m_cursor.Has((WireSize<Values>() + ...))) {
            (m_cursor.Put(Wire(values)), ...);
        } else {
            CVXCSerialize& stream = m_cursor.Leave();
            ((stream << Wire(values)), ...);
        }
    }

    // A block; null leaves no trace.
    void Bytes(const unsigned char* bytes, uint32 count) noexcept {
        m_cursor.Leave().WriteBlock(bytes, count);
        m_cursor.Enter();
    }
    // A block of fixed size.
    template <class Byte, std::size_t count>
    VXC_RECORD_INLINE void Block(const Byte (&block)[count]) noexcept {
        constexpr uint32 kBytes = sizeof block;
        if (m_cursor.Has(kBlockHead + kBytes)) {
            m_cursor.PutBlock(block, kBytes);
        } else {
            Bytes(reinterpret_cast<const unsigned char*>(block), kBytes);
        }
    }

    template <class Nested>
    void Record(Nested& nested) {
        m_cursor.Leave() << nested;
        m_cursor.Enter();
    }

private:
    RecordCursor m_cursor;
};

class RecordReader {
public:
    explicit RecordReader(CVXCSerialize& stream) noexcept : m_cursor(stream, VXC_SERIALIZE_LOAD) {}

    template <class... Values>
    VXC_RECORD_INLINE void Numbers(Values&... values) {
        if (!m_cursor.Has((WireSize<Values>() + ...))) {
            m_cursor.Leave();
        }
        (Number(values), ...);
    }

    // Reads a block to `room` bytes at `place`, which may be null: what does not fit is passed over, and
    // where the stream gives less the rest of the place stays.
    void Bytes(unsigned char* place, uint32 room) noexcept {
        unsigned char* bytes = nullptr;
        unsigned int count = 0;
        if (m_cursor.Leave().ReadBlock(bytes, count, 0) != 0 && place != nullptr) {
            std::memcpy(place, bytes, std::min(count, room));
        }
        m_cursor.Enter();
    }
    // A block of fixed size; of one with less than that it takes what there is.
    template <class Byte, std::size_t count>
    VXC_RECORD_INLINE void Block(Byte (&block)[count]) noexcept {
        constexpr uint32 kBytes = sizeof block;
        if (!m_cursor.Has(kBlockHead + kBytes) || !m_cursor.TakeBlock(block, kBytes)) {
            Bytes(reinterpret_cast<unsigned char*>(block), kBytes);
        }
    }

    // Reads a block for which the stream has told a length of `size` bytes, not 0, and gives memory for it,
    // which the caller frees by SerilizeFree. `size` takes the bytes that came, 0 where none did; the memory
    // is there in both cases, and as much of `size` as the stream still holds, with zeros behind the block.
    // Throws std::bad_alloc where memory lacks: the stream then stands ahead of the block, and `size` is 0.
    unsigned char* Attachment(uint32& size);

    // Throws what reading the record throws.
    template <class Nested>
    void Record(Nested& nested) {
        m_cursor.Leave() >> nested;
        m_cursor.Enter();
    }

private:
    template <class Value>
    VXC_RECORD_INLINE void Number(Value& value) {
        if (!m_cursor.Take(value)) {
            m_cursor.Leave() >> value;
        }
    }
    // These go through the temporary: after a failure they take the last of them that was read, or 0.
    VXC_RECORD_INLINE void Number(EPlugValue& value) {
        Number(m_temporary);
        value = static_cast<EPlugValue>(m_temporary);
    }
    VXC_RECORD_INLINE void Number(RecordDigit& digit) {
        Number(m_temporary);
        digit.value = static_cast<uint32>(m_temporary);
    }

    RecordCursor m_cursor;
    int32 m_temporary = 0;
};

} // namespace vxcio
