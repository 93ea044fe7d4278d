// Packet.h - the header of a transport stream packet (ISO/IEC 13818-1, 2.4.3).
#pragma once

#include "PacketFeed.h"

#include <span>

struct Packet {
    unsigned pid = 0;
    bool starts = false; // a section or a PES packet begins in it
    bool hasPayload = false;
    bool mayJump = false;  // the continuity counter may begin anew
    bool hasClock = false; // bytes 6 to 11 are a PCR
    unsigned counter = 0;
    std::span<const unsigned char> bytes; // all of it
    std::span<unsigned char> payload;
};

inline constexpr unsigned kNullPid = 0x1FFF;

// `bytes` are the 188 of a packet, which the result refers to. Throws Malformed.
Packet ParsePacket(unsigned char* bytes);
