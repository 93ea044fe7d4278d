#include "bridge/SerializeTesting.h"

#include <algorithm>

namespace vxcio::test {

TestStream::TestStream(std::size_t capacity) : TestStream(Bytes(capacity, kUntouched)) {
    m_nDirection = VXC_SERIALIZE_STORE;
}

TestStream::TestStream(const Bytes& bytes) : m_memory(new uint8[bytes.size()]), m_size(bytes.size()) {
    std::copy(bytes.begin(), bytes.end(), m_memory.get());
    m_pBuffer = m_memory.get();
    m_dwCapacity = static_cast<unsigned int>(m_size);
    m_nDirection = VXC_SERIALIZE_LOAD;
}

Bytes TestStream::All() const {
    return Bytes(m_memory.get(), m_memory.get() + m_size);
}

Bytes TestStream::Written() const {
    return Bytes(m_memory.get(), m_memory.get() + m_dwPosition);
}

bool TestStream::IsUntouched() const {
    return All() == Bytes(m_size, kUntouched);
}

Bytes Little32(uint32 value) {
    return {static_cast<uint8>(value), static_cast<uint8>(value >> 8), static_cast<uint8>(value >> 16),
            static_cast<uint8>(value >> 24)};
}

Bytes Joined(std::initializer_list<Bytes> parts) {
    Bytes joined;
    for (const Bytes& part : parts) {
        joined.insert(joined.end(), part.begin(), part.end());
    }
    return joined;
}

Bytes BlockBytes(uint32 count, const Bytes& bytes) {
    return Joined({{'b', 'l'}, Little32(count), bytes});
}

Bytes StringBytes(uint32 outer, uint32 inner, const Bytes& bytes) {
    return Joined({{'s', 'l'}, Little32(outer), BlockBytes(inner, bytes)});
}

} // namespace vxcio::test
