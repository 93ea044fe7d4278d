// StreamHeldPiece.h - bytes that whoever copies them does not get through with until the test lets him: the
// last page of them cannot be read before.
//
//   StreamHeldPiece piece;                       Side producer(... PutData(piece.Data(), piece.Size(), ...));
//   ASSERT_TRUE(piece.WaitUntilInside());        the put is in its copy, for certain
//   ... look at what others do now ...           piece.LetGo();
#pragma once

#include "frame/Types.h"

#include <cstddef>

#include <signal.h>

namespace vxcio::test {

// One at a time: from its construction to its destruction it takes the signal of a memory access that fails,
// and hands on what is none of its own to who had the signal before. The copying thread stands in the
// signal's handler. Everything else is for one thread, the test's.
class StreamHeldPiece {
public:
    // `pages` of memory, at least 2. IsThere tells whether it could be had.
    explicit StreamHeldPiece(int pages = 3);
    // Lets go who stands inside. The memory of one who was not let go before stays.
    ~StreamHeldPiece();
    StreamHeldPiece(const StreamHeldPiece&) = delete;
    StreamHeldPiece& operator=(const StreamHeldPiece&) = delete;

    bool IsThere() const { return m_isThere; }
    uint8* Data() const { return m_memory; }
    int Size() const { return static_cast<int>(m_size); }
    // The byte at a place, by its rule: it may be asked while the memory cannot be read.
    static uint8 At(int place) { return static_cast<uint8>(place * 31 + (place >> 8) + 5); }
    // Whether `count` bytes are those of the piece from a place on.
    static bool AreBytes(const uint8* data, int count, int place);

    // Waits until a thread stands in the middle of the piece. False when none came in time (Bounded.h).
    [[nodiscard]] bool WaitUntilInside() const;
    // It goes on, and nobody is held any more.
    void LetGo();

private:
    static void OnFault(int number, siginfo_t* info, void* context);
    void Stand() const;

    std::size_t m_page = 0;
    std::size_t m_size = 0;
    uint8* m_memory = nullptr;
    int m_inside = -1; // events of the system: one stands inside; he is let go
    int m_letGo = -1;
    bool m_isThere = false;
    bool m_isLetGo = false;
    struct sigaction m_before = {};
};

} // namespace vxcio::test
