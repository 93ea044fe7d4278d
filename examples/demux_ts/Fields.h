// Fields.h - the fields of a table or header one after the other, with the end of the bytes minded.
#pragma once

#include "Malformed.h"

#include "module/VXCSoftCodecIO.h"

#include <algorithm>
#include <string>
#include <utility>

// The bytes must be writable and outlive it, as CBitsStream asks. `what` names them in the text of Malformed,
// which is thrown where they end too soon.
class Fields {
public:
    Fields(unsigned char* bytes, std::size_t size, std::string what)
        : m_size(static_cast<unsigned>(size)), m_what(std::move(what)) {
        m_bits.InitBuffer(bytes, m_size);
    }

    unsigned Get(int bits) {
        unsigned value = 0;
        if (m_end || m_bits.GetBits(&value, bits) == 0) {
            TooShort();
        }
        return value;
    }

    // Only where a byte begins.
    void SkipBytes(unsigned count) {
        if (count > Left()) {
            TooShort();
        }
        // Not onto the end: there the stream would have to read a byte that is not ours.
        if (count == Left()) {
            m_end = true;
        } else {
            m_bits.SeekBytePtr(static_cast<int>(count));
        }
    }

    // Whole bytes that are still to come.
    unsigned Left() { return m_end ? 0 : m_size - std::min(m_bits.GetCurBytesPos(), m_size); }

private:
    [[noreturn]] void TooShort() const { throw Malformed(m_what + " is shorter than its fields"); }

    CBitsStream m_bits;
    unsigned m_size;
    std::string m_what;
    bool m_end = false;
};
