// StreamModel.h - the byte ring without threads once more, slow and step by step, to hold the real one
// against.
#pragma once

#include "buffers/StreamState.h"
#include "buffers/StreamTesting.h"
#include "frame/Types.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace vxcio::test {

class StreamModel {
public:
    // Which memory a get pointed to. Every new piece of memory has a number of its own; 0 is none.
    enum class Where { Nowhere, Scratch, Peek };
    struct Place {
        Where where = Where::Nowhere;
        int number = 0;
        int offset = 0;
        const uint8* bytes = nullptr;
    };

    void Init(int size) {
        Close();
        m_ring.assign(static_cast<std::size_t>(std::max(size, kLeastRing)), 0);
        NewScratch(kFirstScratch);
        m_written = 0;
        m_read = 0;
        m_state = PLUG_STREAMSTATE_OPEN;
    }

    void Close() {
        m_ring = {};
        m_scratch.reset();
        m_scratchSize = 0;
        m_peek.reset();
        m_peekNumber = 0;
        m_peekRead = 0;
        m_peekCapacity = 0;
        m_peekHeld = 0;
    }

    int PutData(const uint8* data, int size, PLUG_STREAMSTATE_ state) {
        if (m_state == PLUG_STREAMSTATE_END) {
            return kRefused;
        }
        if (m_ring.empty()) {
            return 0;
        }
        int remaining = data == nullptr || size < 0 ? 0 : size;
        if (Held() >= RingSize()) {
            return 0;
        }
        const int free = RingSize() - Held();
        const int offset = static_cast<int>(m_written % static_cast<uint32>(RingSize()));
        const int first = std::min({remaining, RingSize() - offset, free});
        int second = 0;
        if (first < remaining && first < free) {
            second = std::min(remaining - first, free - first);
        }
        Copy(m_ring.data() + offset, data, first);
        Copy(m_ring.data(), data + first, second);
        m_written += static_cast<uint32>(first + second);
        remaining -= first + second;
        if (remaining == 0) {
            m_state = state;
        }
        return 0;
    }

    int GetData(Place& place, int size, PLUG_STREAMSTATE_* state) {
        Write(state, PLUG_STREAMSTATE_DATA);
        if (m_ring.empty()) {
            return WithoutRing(state);
        }
        if (size < 0) {
            return -1;
        }
        if (m_peekHeld <= 0) {
            GrowScratch(size);
            place = InScratch();
            return Read(m_scratch.get(), size, state);
        }
        if (m_peekHeld >= size) {
            place = InPeek();
            m_peekRead += size;
            m_peekHeld -= size;
            return size;
        }
        const int held = Held();
        const int shown = m_peekHeld;
        if (held == 0) {
            if (m_state != PLUG_STREAMSTATE_END) {
                return -1;
            }
            place = InPeek();
            m_peekHeld = 0;
            Write(state, PLUG_STREAMSTATE_END);
            return shown;
        }
        if (size <= held || m_state == PLUG_STREAMSTATE_END) {
            GrowScratch(size);
            Copy(m_scratch.get(), m_peek.get() + m_peekRead, shown);
            m_peekHeld = 0;
            const int read = Read(m_scratch.get() + shown, size - shown, state);
            place = InScratch();
            return shown + read;
        }
        return -1;
    }

    int ShowData(Place& place, int size, PLUG_STREAMSTATE_* state) {
        if (m_ring.empty()) {
            return WithoutRing(state);
        }
        if (size < 0) {
            return -1;
        }
        if (m_peekHeld >= size) {
            place = InPeek();
            return size;
        }
        if (size <= m_peekCapacity) {
            for (int i = 0; i < m_peekHeld; ++i) {
                m_peek[static_cast<std::size_t>(i)] = m_peek[static_cast<std::size_t>(m_peekRead + i)];
            }
        } else {
            auto peek = std::make_unique<uint8[]>(static_cast<std::size_t>(size));
            Copy(peek.get(), m_peek.get() + m_peekRead, m_peekHeld);
            m_peek = std::move(peek);
            m_peekCapacity = size;
            m_peekNumber = ++m_lastNumber;
        }
        m_peekRead = 0;
        const int read = Read(m_peek.get() + m_peekHeld, size - m_peekHeld, state);
        if (read >= 0) {
            m_peekHeld += read;
        }
        place = InPeek();
        return m_peekHeld;
    }

    void SetEndOfInput() { m_state = PLUG_STREAMSTATE_END; }
    void ReSetEndOfInput() { m_state = PLUG_STREAMSTATE_OPEN; }

    // As if so many bytes had gone through the empty ring.
    void PassThrough(uint64 bytes) {
        m_written += bytes;
        m_read += bytes;
    }
    uint64 Written() const { return m_written; }
    int RingSize() const { return static_cast<int>(m_ring.size()); }
    int Held() const {
        return static_cast<int>(static_cast<uint32>(m_written) - static_cast<uint32>(m_read));
    }
    int Shown() const { return m_peekHeld; }

private:
    static void Copy(uint8* to, const uint8* from, int size) {
        if (size > 0) {
            std::memcpy(to, from, static_cast<std::size_t>(size));
        }
    }
    static void Write(PLUG_STREAMSTATE_* state, PLUG_STREAMSTATE_ value) {
        if (state != nullptr) {
            *state = value;
        }
    }
    int WithoutRing(PLUG_STREAMSTATE_* state) const {
        const bool ended = m_state == PLUG_STREAMSTATE_END;
        Write(state, ended ? PLUG_STREAMSTATE_END : PLUG_STREAMSTATE_DATA);
        return ended ? 0 : -1;
    }
    Place InScratch() const { return {Where::Scratch, m_scratchNumber, 0, m_scratch.get()}; }
    Place InPeek() const { return {Where::Peek, m_peekNumber, m_peekRead, m_peek.get() + m_peekRead}; }
    void NewScratch(int size) {
        // Memory without values: most of it is never used.
        m_scratch = std::unique_ptr<uint8[]>(new uint8[static_cast<std::size_t>(size)]);
        m_scratchSize = size;
        m_scratchNumber = ++m_lastNumber;
    }
    void GrowScratch(int size) {
        if (m_scratchSize < size) {
            NewScratch(size);
        }
    }
    int Read(uint8* target, int count, PLUG_STREAMSTATE_* state) {
        Write(state, PLUG_STREAMSTATE_DATA);
        int taken = 0;
        for (;;) {
            const int held = Held();
            const int want = count - taken;
            if (want > held && m_state != PLUG_STREAMSTATE_END) {
                return -1;
            }
            const int offset = static_cast<int>(m_read % static_cast<uint32>(RingSize()));
            const int first = std::min({RingSize() - offset, held, want});
            int second = 0;
            if (first < held && first < want) {
                second = std::min(want - first, held - first);
            }
            Copy(target + taken, m_ring.data() + offset, first);
            Copy(target + taken + first, m_ring.data(), second);
            m_read += static_cast<uint32>(first + second);
            taken += first + second;
            if (taken == count || m_state == PLUG_STREAMSTATE_END) {
                if (m_state == PLUG_STREAMSTATE_END && Held() == 0) {
                    Write(state, PLUG_STREAMSTATE_END);
                }
                return taken;
            }
        }
    }

    std::vector<uint8> m_ring;
    uint64 m_written = 0;
    uint64 m_read = 0;
    std::unique_ptr<uint8[]> m_scratch;
    int m_scratchSize = 0;
    int m_scratchNumber = 0;
    PLUG_STREAMSTATE_ m_state = PLUG_STREAMSTATE_OPEN;
    std::unique_ptr<uint8[]> m_peek;
    int m_peekRead = 0;
    int m_peekCapacity = 0;
    int m_peekHeld = 0;
    int m_peekNumber = 0;
    int m_lastNumber = 0;
};

} // namespace vxcio::test
