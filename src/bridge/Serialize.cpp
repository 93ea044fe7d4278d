#include "bridge/Serialize.h"

#include "bridge/LargeCopy.h"
#include "text/Utf16.h"

#include <atomic>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace {

constexpr unsigned char kTagString = 's';
constexpr unsigned char kTagBlock = 'b';
constexpr unsigned char kTagDouble = 'd';
constexpr unsigned char kTagFloat = 'f';
constexpr unsigned char kTag64 = 'q';
constexpr unsigned char kTag32 = 'l';
constexpr unsigned char kTag16 = 'w';
constexpr unsigned char kTag8 = 'c';

// What a block has ahead of its bytes: its tag, and its count as a 32-bit value. A string asks for as much
// room ahead of its text, though it takes twice that.
constexpr std::uint64_t kBlockHead = 6;

// What a reader of a string asks for besides its text: one byte less than the block's head.
constexpr std::uint64_t kStringHead = 5;

// Swapped where the machine has the other byte order.
template <class Unsigned>
Unsigned LittleEndian(Unsigned value) noexcept {
    if constexpr (std::endian::native == std::endian::little || sizeof value == 1) {
        return value;
    } else {
        Unsigned swapped = 0;
        for (std::size_t i = 0; i < sizeof value; ++i) {
            swapped = static_cast<Unsigned>(swapped << 8 | (value >> (8 * i) & 0xFF));
        }
        return swapped;
    }
}

// Memory that another process may write is copied out once; what was copied is what counts.
unsigned char LoadOnce(const unsigned char* byte) noexcept {
    return *static_cast<const volatile unsigned char*>(byte);
}

// Text on its way from the wire: short ones need no memory.
class TextBuffer {
public:
    explicit TextBuffer(std::size_t characters) noexcept {
        // A size that no memory can have is no request that `new` would refuse quietly.
        if (characters > kShort && characters <= kMost) {
            m_long.reset(new (std::nothrow) wchar_t[characters]);
        }
        m_text = characters > kShort ? m_long.get() : m_short;
    }
    // Null where memory lacks.
    wchar_t* Get() const noexcept { return m_text; }

private:
    static constexpr std::size_t kShort = 128;
    static constexpr std::size_t kMost = PTRDIFF_MAX / sizeof(wchar_t);
    std::unique_ptr<wchar_t[]> m_long;
    wchar_t m_short[kShort];
    wchar_t* m_text;
};

} // namespace

CVXCSerialize::~CVXCSerialize() = default;

template <class Unsigned>
int CVXCSerialize::WriteFixed(unsigned char tag, Unsigned value) noexcept {
    if (m_nDirection != VXC_SERIALIZE_STORE) {
        m_nError = VXC_SERIALIZE_WRONG_DIRECTION;
        return 0;
    }
    // Sums are made in 64 bits everywhere: counts come from the wire.
    if (std::uint64_t{m_dwPosition} + 1 + sizeof value > Room()) {
        m_nError = VXC_SERIALIZE_NO_SPACE;
        return 0;
    }
    if (m_nError != VXC_SERIALIZE_OK) {
        return 0;
    }
    unsigned char* const place = m_pBuffer + m_dwPosition;
    const Unsigned wire = LittleEndian(value);
    place[0] = tag;
    std::memcpy(place + 1, &wire, sizeof wire);
    m_dwPosition += static_cast<unsigned int>(1 + sizeof value);
    return 1;
}

// The part that reading all kinds of values begins with: true when a tag was taken, the right one or not.
bool CVXCSerialize::TakeTag(unsigned char tag) noexcept {
    if (m_nDirection != VXC_SERIALIZE_LOAD) {
        m_nError = VXC_SERIALIZE_WRONG_DIRECTION;
        return false;
    }
    if (std::uint64_t{m_dwPosition} + 1 > Room()) {
        m_nError = VXC_SERIALIZE_NO_SPACE;
        return false;
    }
    if (m_nError != VXC_SERIALIZE_OK) {
        return false;
    }
    if (LoadOnce(m_pBuffer + m_dwPosition) != tag) {
        m_nError = VXC_SERIALIZE_WRONG_TAG;
    }
    ++m_dwPosition;
    return true;
}

template <class Unsigned>
int CVXCSerialize::ReadFixed(unsigned char tag, Unsigned& value) noexcept {
    if (!TakeTag(tag)) {
        return 0;
    }
    if (std::uint64_t{m_dwPosition} + sizeof value > Room()) {
        m_nError = VXC_SERIALIZE_NO_SPACE;
        return 0;
    }
    if (m_nError != VXC_SERIALIZE_OK) {
        return 0;
    }
    Unsigned wire;
    std::memcpy(&wire, m_pBuffer + m_dwPosition, sizeof wire);
    // The compiler must not go to memory a second time for what was copied.
    std::atomic_signal_fence(std::memory_order_seq_cst);
    value = LittleEndian(wire);
    m_dwPosition += static_cast<unsigned int>(sizeof value);
    return 1;
}

// Floating-point values go through whole numbers alone: a register of the floating-point unit may change the
// bits of some that are no numbers.
int CVXCSerialize::Write(const double& value) noexcept {
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return WriteFixed(kTagDouble, bits);
}

int CVXCSerialize::Write(const float& value) noexcept {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return WriteFixed(kTagFloat, bits);
}

int CVXCSerialize::Write(unsigned long long value) noexcept {
    return WriteFixed(kTag64, value);
}

int CVXCSerialize::Write(unsigned int value) noexcept {
    return WriteFixed(kTag32, value);
}

int CVXCSerialize::Write(unsigned short value) noexcept {
    return WriteFixed(kTag16, value);
}

int CVXCSerialize::Write(unsigned char value) noexcept {
    return WriteFixed(kTag8, value);
}

int CVXCSerialize::Write(const CVXCString& value) noexcept {
    if (m_nDirection != VXC_SERIALIZE_STORE) {
        m_nError = VXC_SERIALIZE_WRONG_DIRECTION;
        return 0;
    }
    const auto characters = static_cast<std::size_t>(value.GetLength());
    const std::uint64_t bytes = std::uint64_t{vxcio::Utf16Units(value.c_str(), characters)} * 2;
    if (m_dwPosition + bytes + kBlockHead > Room()) {
        m_nError = VXC_SERIALIZE_NO_SPACE;
        return 0;
    }
    if (m_nError != VXC_SERIALIZE_OK) {
        return 0;
    }
    m_pBuffer[m_dwPosition++] = kTagString;
    const auto count = static_cast<unsigned int>(bytes);
    Write(count);
    if (count == 0) {
        return 1;
    }
    if (unsigned char* const place = BeginBlock(count); place != nullptr) {
        vxcio::StoreUtf16(value.c_str(), characters, place);
    }
    return 1;
}

int CVXCSerialize::Read(double& value) noexcept {
    std::uint64_t bits = 0;
    const int done = ReadFixed(kTagDouble, bits);
    if (done != 0) {
        std::memcpy(&value, &bits, sizeof value);
    }
    return done;
}

int CVXCSerialize::Read(float& value) noexcept {
    std::uint32_t bits = 0;
    const int done = ReadFixed(kTagFloat, bits);
    if (done != 0) {
        std::memcpy(&value, &bits, sizeof value);
    }
    return done;
}

int CVXCSerialize::Read(unsigned long long& value) noexcept {
    return ReadFixed(kTag64, value);
}

int CVXCSerialize::Read(unsigned int& value) noexcept {
    return ReadFixed(kTag32, value);
}

int CVXCSerialize::Read(unsigned short& value) noexcept {
    return ReadFixed(kTag16, value);
}

int CVXCSerialize::Read(unsigned char& value) noexcept {
    return ReadFixed(kTag8, value);
}

int CVXCSerialize::Read(CVXCString& value) noexcept {
    if (!TakeTag(kTagString)) {
        return 0;
    }
    unsigned int count = 0;
    Read(count);
    if (count == 0) {
        value = CVXCString();
        return 1;
    }
    if (std::uint64_t{count} + m_dwPosition + kStringHead > Room()) {
        m_nError = VXC_SERIALIZE_NO_SPACE;
        return 0;
    }
    // The block has a count of its own, which may be any; no more than the outer one belongs to the text, and
    // a block that fails is an empty one.
    unsigned char* bytes = nullptr;
    unsigned int inner = 0;
    ReadBlock(bytes, inner, 0);
    // Memory is taken for what comes ahead of the first zero alone.
    const std::size_t taken = vxcio::BytesAheadOfZero(bytes, inner < count ? inner : count);
    const TextBuffer text(taken / 2 + 1);
    const std::size_t length = text.Get() == nullptr ? 0 : vxcio::LoadUtf16(bytes, taken, text.Get());
    value = CVXCString(text.Get(), static_cast<int>(length));
    if (text.Get() == nullptr || static_cast<std::size_t>(value.GetLength()) != length) {
        m_nError = VXC_SERIALIZE_NO_SPACE; // an empty text would be a wrong one
        return 0;
    }
    return 1;
}

// Writes the head of a block and makes room for its bytes; null, with the error, where it does not go.
unsigned char* CVXCSerialize::BeginBlock(unsigned int count) noexcept {
    if (m_nDirection != VXC_SERIALIZE_STORE) {
        m_nError = VXC_SERIALIZE_WRONG_DIRECTION;
        return nullptr;
    }
    if (std::uint64_t{m_dwPosition} + count + kBlockHead > Room()) {
        m_nError = VXC_SERIALIZE_NO_SPACE;
        return nullptr;
    }
    if (m_nError != VXC_SERIALIZE_OK) {
        return nullptr;
    }
    m_pBuffer[m_dwPosition++] = kTagBlock;
    Write(count);
    unsigned char* const place = m_pBuffer + m_dwPosition;
    m_dwPosition += count;
    return place;
}

int CVXCSerialize::WriteBlock(const unsigned char* data, unsigned int count) noexcept {
    if (data == nullptr) {
        return 1;
    }
    unsigned char* const place = BeginBlock(count);
    if (place == nullptr) {
        return 0;
    }
    vxcio::CopyForAnotherCore(place, data, count);
    return 1;
}

int CVXCSerialize::ReadBlock(unsigned char*& data, unsigned int& count, int copy) noexcept {
    if (!TakeTag(kTagBlock)) {
        return 0;
    }
    unsigned int bytes = 0;
    Read(bytes);
    if (bytes == 0) {
        return 0;
    }
    if (std::uint64_t{m_dwPosition} + bytes > Room()) {
        m_nError = VXC_SERIALIZE_NO_SPACE;
        return 0;
    }
    unsigned char* const place = m_pBuffer + m_dwPosition;
    if (copy != 0) {
        std::memmove(data, place, bytes);
    } else {
        data = place;
    }
    m_dwPosition += bytes;
    count = bytes;
    return 1;
}

int CVXCSerialize::SetMessageSize(unsigned int size) noexcept {
    const unsigned int position = m_dwPosition;
    m_dwPosition = 0;
    const int done = Write(size);
    m_dwPosition = position;
    return done;
}

CVXCSerialize& CVXCSerialize::operator<<(const CVXCString& value) noexcept {
    Write(value);
    return *this;
}

CVXCSerialize& CVXCSerialize::operator<<(const wchar_t* value) noexcept {
    const CVXCString text(value);
    if (text.IsEmpty() && value != nullptr && *value != 0 && m_nError == VXC_SERIALIZE_OK) {
        m_nError = VXC_SERIALIZE_NO_SPACE;
        return *this;
    }
    return *this << text;
}

CVXCSerialize& CVXCSerialize::operator<<(const double& value) noexcept {
    Write(value);
    return *this;
}

CVXCSerialize& CVXCSerialize::operator<<(const float& value) noexcept {
    Write(value);
    return *this;
}

CVXCSerialize& CVXCSerialize::operator<<(unsigned long long value) noexcept {
    Write(value);
    return *this;
}

CVXCSerialize& CVXCSerialize::operator<<(long long value) noexcept {
    Write(static_cast<unsigned long long>(value));
    return *this;
}

CVXCSerialize& CVXCSerialize::operator<<(unsigned int value) noexcept {
    Write(value);
    return *this;
}

CVXCSerialize& CVXCSerialize::operator<<(int value) noexcept {
    Write(static_cast<unsigned int>(value));
    return *this;
}

CVXCSerialize& CVXCSerialize::operator<<(unsigned short value) noexcept {
    Write(value);
    return *this;
}

CVXCSerialize& CVXCSerialize::operator<<(short value) noexcept {
    Write(static_cast<unsigned short>(value));
    return *this;
}

CVXCSerialize& CVXCSerialize::operator<<(unsigned char value) noexcept {
    Write(value);
    return *this;
}

CVXCSerialize& CVXCSerialize::operator<<(signed char value) noexcept {
    Write(static_cast<unsigned char>(value));
    return *this;
}

CVXCSerialize& CVXCSerialize::operator>>(CVXCString& value) noexcept {
    Read(value);
    return *this;
}

CVXCSerialize& CVXCSerialize::operator>>(double& value) noexcept {
    Read(value);
    return *this;
}

CVXCSerialize& CVXCSerialize::operator>>(float& value) noexcept {
    Read(value);
    return *this;
}

CVXCSerialize& CVXCSerialize::operator>>(unsigned long long& value) noexcept {
    Read(value);
    return *this;
}

CVXCSerialize& CVXCSerialize::operator>>(long long& value) noexcept {
    Read(reinterpret_cast<unsigned long long&>(value));
    return *this;
}

CVXCSerialize& CVXCSerialize::operator>>(unsigned int& value) noexcept {
    Read(value);
    return *this;
}

CVXCSerialize& CVXCSerialize::operator>>(int& value) noexcept {
    Read(reinterpret_cast<unsigned int&>(value));
    return *this;
}

CVXCSerialize& CVXCSerialize::operator>>(unsigned short& value) noexcept {
    Read(value);
    return *this;
}

CVXCSerialize& CVXCSerialize::operator>>(short& value) noexcept {
    Read(reinterpret_cast<unsigned short&>(value));
    return *this;
}

CVXCSerialize& CVXCSerialize::operator>>(unsigned char& value) noexcept {
    Read(value);
    return *this;
}

CVXCSerialize& CVXCSerialize::operator>>(signed char& value) noexcept {
    Read(reinterpret_cast<unsigned char&>(value));
    return *this;
}

unsigned char* SerilizeMalloc(unsigned int size) {
    unsigned char* const memory = new (std::nothrow) unsigned char[size];
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void SerilizeFree(unsigned char* memory) {
    delete[] memory;
}
