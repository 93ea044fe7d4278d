// CheckedRead.h - what a read gave, held against the file; and whether it stays as it was given.
#pragma once

#include "stress/program/Journal.h"

#include <cstddef>
#include <vector>

namespace vxcio::stress {

// One thread.
class CheckedRead {
public:
    explicit CheckedRead(const Journal& journal) : m_journal(journal) {}

    // What a reader may have done besides giving the file's bytes.
    enum class Rest {
        None,  // every byte of the count is the file's
        Zeros, // from some byte on all may be zero, also behind the end of the file
    };

    // Memory for a read of so many bytes.
    uint8* Prepare(uint32 bytes);
    // `got` bytes at `position` came into the memory of Prepare.
    void Came(const std::vector<uint8>& content, int64 position, uint32 got, Rest rest);
    // The same for memory of the source, which may be looked at until its next read.
    void Lent(const std::vector<uint8>& content, int64 position, const uint8* data, uint32 got);
    void LentEnds() { m_lent = nullptr; }

    // Nothing may have been written into that memory since. Before each further operation.
    void Look() const;

private:
    void Compare(const std::vector<uint8>& content, int64 position, const uint8* data, uint32 got,
                 Rest rest) const;

    static constexpr std::size_t kGuard = 64;

    const Journal& m_journal;
    std::vector<uint8> m_buffer; // with a guard behind it
    std::vector<uint8> m_copy;
    const uint8* m_lent = nullptr;
    std::vector<uint8> m_lentCopy;
};

} // namespace vxcio::stress
