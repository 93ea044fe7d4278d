// Sections.h - the sections of program tables (ISO/IEC 13818-1, 2.4.4): put together from packets, their CRC
// checked, and read.
#pragma once

#include "Packet.h"

#include <functional>
#include <span>
#include <vector>

// The sections of one PID.
class SectionReader {
public:
    // Gets whole sections, good during the call.
    using Receiver = std::function<void(std::span<unsigned char>)>;

    // Takes the payload of the next packet. Throws Malformed.
    void Add(const Packet& packet, const Receiver& receive);
    // The packets before the next one are missing. True where a section had begun, which is dropped.
    bool Jump();
    // There are no more packets. Throws Malformed where the last section is not complete.
    void End(unsigned pid) const;

private:
    void GiveOut(unsigned pid, const Receiver& receive);

    std::vector<unsigned char> m_bytes;
    bool m_begun = false;
};

// Whether it has a CRC at all.
bool HasCrc(std::span<const unsigned char> section);
// The CRC over the whole section, its own CRC field with it, comes to 0.
bool IsCrcRight(std::span<unsigned char> section);

// One entry of the program association table.
struct ProgramEntry {
    unsigned program = 0;
    unsigned pid = 0;
};

// One elementary stream of the program map table.
struct StreamEntry {
    unsigned type = 0;
    unsigned pid = 0;
};

// The programs of a section of the program association table; none for a table that is not in force yet.
std::vector<ProgramEntry> ParsePrograms(std::span<unsigned char> section);
// The streams of a section of the map of this program; none for a table that is not in force yet or is
// another one.
std::vector<StreamEntry> ParseStreams(std::span<unsigned char> section, unsigned program);
