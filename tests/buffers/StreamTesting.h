// StreamTesting.h - what the tests of the byte ring share: a ring that is closed at its end, what a get gave,
// and bytes that tell their position.
#pragma once

#include "buffers/StreamBuffer.h"
#include "frame/Types.h"

#include <cstddef>
#include <vector>

namespace vxcio::test {

inline constexpr int kRefused = static_cast<int>(0x80000201U);
inline constexpr int kLeastRing = 1048576;
inline constexpr int kFirstScratch = 4194304;

// A state that no get reports, to see whether it was written.
inline constexpr auto kUntouched = PLUG_STREAMSTATE_OPEN;

// The byte at every position of an endless stream, as a table that any piece is a run of. The period has no
// factor in common with a ring, so that bytes from another round differ.
class StreamBytes {
public:
    explicit StreamBytes(int longest) : m_table(static_cast<std::size_t>(longest) + kPeriod) {
        uint32 value = 1;
        for (std::size_t i = 0; i < m_table.size(); ++i) {
            value = value * 1664525U + 1013904223U;
            m_table[i] = i < kPeriod ? static_cast<uint8>(value >> 24) : m_table[i - kPeriod];
        }
    }
    // `longest` bytes may be read from here; PutData asks for a pointer that is not const.
    uint8* At(uint64 position) { return m_table.data() + position % kPeriod; }

private:
    static constexpr std::size_t kPeriod = 65521;
    std::vector<uint8> m_table;
};

struct StreamGot {
    int count = 0;
    PLUG_STREAMSTATE_ state = kUntouched;
    uint8* data = nullptr;
    bool operator==(const StreamGot&) const = default;
};

// A ring after Init. It is one thread's own as far as the buffer allows it.
class StreamRing {
public:
    explicit StreamRing(int blocking, int size = kLeastRing) : buffer(blocking) { buffer.Init(size); }
    ~StreamRing() { buffer.Close(); }
    StreamRing(const StreamRing&) = delete;
    StreamRing& operator=(const StreamRing&) = delete;

    // Puts the next bytes of the stream.
    int Put(StreamBytes& bytes, int size, PLUG_STREAMSTATE_ state = PLUG_STREAMSTATE_DATA) {
        const int result = buffer.PutData(bytes.At(put), size, state);
        put += static_cast<uint32>(size);
        return result;
    }
    StreamGot Get(int size) {
        StreamGot got;
        got.count = buffer.GetData(got.data, size, &got.state);
        return got;
    }
    StreamGot Show(int size) {
        StreamGot got;
        got.count = buffer.ShowData(got.data, size, &got.state);
        return got;
    }

    CSoftStreamBuffer buffer;
    uint64 put = 0;
};

// A new ring whose memory stays, as a thread may sleep in it until the program ends.
inline StreamRing& RingOfSleepers() {
    static auto* const kept = new std::vector<StreamRing*>;
    kept->push_back(new StreamRing(1));
    return *kept->back();
}

} // namespace vxcio::test
