// RecordFields.h - the fields of a record on their way to a stream and from it. Each record names its fields
// once, in the order of the wire, and both directions walk that one list:
//
//   template <class Fields>
//   void Walk(Fields& fields, SSome& record) { fields.All(record.value0, record.kind, record.nested); }
//
// Numbers go by the stream's virtual operators, blocks by its primitives. One object serves one call of an
// operator; nested records have objects of their own.
#pragma once

#include "bridge/Records.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>

namespace vxcio {

class RecordWriter {
public:
    explicit RecordWriter(CVXCSerialize& stream) noexcept : m_stream(stream) {}

    // Throws what a nested record throws.
    template <class... Fields>
    void All(Fields&... fields) {
        (Field(fields), ...);
    }

    void Field(uint32 value) { m_stream << value; }
    void Field(unsigned long long value) { m_stream << value; }
    void Field(uint8 value) { m_stream << value; }
    void Field(EPlugValue value) { m_stream << static_cast<int32>(value); }
    template <std::size_t count>
    void Field(const uint8 (&block)[count]) {
        m_stream.WriteBlock(block, static_cast<uint32>(count));
    }
    void Field(const SMediaName& name) {
        m_stream.WriteBlock(reinterpret_cast<const unsigned char*>(name), static_cast<uint32>(sizeof name));
    }
    template <class Record>
    requires std::is_class_v<Record>
    void Field(Record& nested) { m_stream << nested; }

private:
    CVXCSerialize& m_stream;
};

class RecordReader {
public:
    explicit RecordReader(CVXCSerialize& stream) noexcept : m_stream(stream) {}

    // Throws what a nested record throws.
    template <class... Fields>
    void All(Fields&... fields) {
        (Field(fields), ...);
    }

    void Field(uint32& value) { m_stream >> value; }
    void Field(unsigned long long& value) { m_stream >> value; }
    void Field(uint8& value) { m_stream >> value; }
    void Field(EPlugValue& value) { value = static_cast<EPlugValue>(Through()); }
    template <std::size_t count>
    void Field(uint8 (&block)[count]) {
        FixedBlock(block, static_cast<uint32>(count));
    }
    void Field(SMediaName& name) {
        FixedBlock(reinterpret_cast<unsigned char*>(name), static_cast<uint32>(sizeof name));
    }
    template <class Record>
    requires std::is_class_v<Record>
    void Field(Record& nested) { m_stream >> nested; }

    // The numbers of a time code go through the temporary as well.
    uint32 Digit() { return static_cast<uint32>(Through()); }
    // A number that is read through the temporary: after a failure the last one that was, or 0.
    int32 Through() {
        m_stream >> m_temporary;
        return m_temporary;
    }

    // Reads a block to `room` bytes at `place`, which may be null: what does not fit is passed over, and
    // where the stream gives less the rest of the field stays.
    void FixedBlock(unsigned char* place, uint32 room) noexcept {
        unsigned char* bytes = nullptr;
        unsigned int count = 0;
        if (m_stream.ReadBlock(bytes, count, 0) != 0 && place != nullptr) {
            std::memcpy(place, bytes, std::min(count, room));
        }
    }

private:
    CVXCSerialize& m_stream;
    int32 m_temporary = 0;
};

} // namespace vxcio
