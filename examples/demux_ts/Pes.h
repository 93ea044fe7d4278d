// Pes.h - the PES packets of an elementary stream (ISO/IEC 13818-1, 2.4.3.6).
#pragma once

#include "Packet.h"

#include <functional>
#include <optional>
#include <span>
#include <vector>

struct PesFrame {
    std::optional<unsigned long long> pts; // in units of 1/90000 s
    std::span<unsigned char> payload;
};

// The PES packets of one PID.
class PesReader {
public:
    // The stream_id of all of them is in this range.
    struct Kind {
        unsigned firstId;
        unsigned lastId;
        bool mayBeUnsized; // a length of 0: up to where the next one begins
    };

    explicit PesReader(const Kind& kind) : m_kind(kind) {}

    // Gets whole payloads, good during the call.
    using Receiver = std::function<void(const PesFrame&)>;

    // Takes the payload of the next packet. Throws Malformed.
    void Add(const Packet& packet, const Receiver& receive);
    // The packets before this one are missing. What was begun is taken where it can be whole, otherwise it is
    // dropped: true.
    bool Jump(const Packet& packet, const Receiver& receive);
    // The last one is complete. Throws Malformed.
    void End(unsigned pid, const Receiver& receive);

private:
    bool CanBeWhole(bool nextStarts) const;

    Kind m_kind;
    std::vector<unsigned char> m_bytes;
    bool m_begun = false;
};
