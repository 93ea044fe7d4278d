// SerializeTesting.h - streams over memory that a test can look at.
#pragma once

#include "bridge/Serialize.h"
#include "frame/Types.h"

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <vector>

namespace vxcio::test {

// A byte that no test writes: where it still stands, nothing was written.
inline constexpr uint8 kUntouched = 0xEE;

using Bytes = std::vector<uint8>;

// A stream over memory of its own, which has exactly the size of the capacity, so that a step over the end is
// seen by what watches memory.
class TestStream : public CVXCSerialize {
public:
    // Storing, on so many untouched bytes.
    explicit TestStream(std::size_t capacity);
    // Loading these.
    explicit TestStream(const Bytes& bytes);

    Bytes All() const;
    // What was written so far.
    Bytes Written() const;
    bool IsUntouched() const;

private:
    std::unique_ptr<uint8[]> m_memory;
    std::size_t m_size;
};

Bytes Little32(uint32 value);
Bytes Joined(std::initializer_list<Bytes> parts);

// Bytes of a block and of a string whose counts may be what they should not be.
Bytes BlockBytes(uint32 count, const Bytes& bytes);
Bytes StringBytes(uint32 outer, uint32 inner, const Bytes& bytes);

} // namespace vxcio::test
