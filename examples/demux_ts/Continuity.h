// Continuity.h - whether packets follow one another without a gap (ISO/IEC 13818-1, 2.4.3.3).
#pragma once

#include "Packet.h"

#include <array>
#include <map>
#include <optional>

// The counters have 4 bits, so exactly 16 packets that are missing cannot be seen.
class Continuity {
public:
    enum class Turn {
        Next,     // it follows the last one of its PID
        Repeated, // it is the last one once more
        Jump,     // what comes before it is missing, as the stream itself has said
        Nothing,  // it has no payload
    };

    // Where the next packet stands. Throws Malformed where one before it is missing.
    Turn Follow(const Packet& packet);

private:
    // The last packet of a PID.
    struct Last {
        std::optional<unsigned> counter; // none before the first with a payload
        std::array<unsigned char, kPacket> bytes{};
        bool repeated = false;
        bool mayJump = false; // was said since, in a packet without payload
    };

    static bool IsSame(const Packet& packet, const Last& last);

    std::map<unsigned, Last> m_last; // by PID
};
