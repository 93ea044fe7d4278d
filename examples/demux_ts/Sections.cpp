#include "Sections.h"

#include "Crc.h"
#include "Fields.h"

namespace {

constexpr std::size_t kSectionHead = 3; // up to the length field and with it
constexpr std::size_t kLargestSection = 1024;
constexpr std::size_t kLeastSection = 12; // the common head, and the CRC
constexpr std::size_t kCrc = 4;
constexpr unsigned char kStuffing = 0xFF;

constexpr unsigned kProgramTable = 0;
constexpr unsigned kMapTable = 2;

std::size_t SizeOf(std::span<const unsigned char> section) {
    return kSectionHead + ((section[1] & 0x0Fu) << 8 | section[2]);
}

// Reads what both tables begin with. False for a table that is to be left alone.
bool BeginTable(Fields& fields, unsigned table, unsigned& id) {
    if (fields.Get(8) != table) {
        return false;
    }
    fields.Get(4 + 12); // flags, length
    id = fields.Get(16);
    fields.Get(2 + 5); // version
    const bool inForce = fields.Get(1) != 0;
    fields.Get(16); // section numbers
    return inForce;
}

} // namespace

void SectionReader::Add(const Packet& packet, const Receiver& receive) {
    std::span<unsigned char> payload = packet.payload;
    if (packet.starts) {
        const std::size_t before = payload.empty() ? 1 : payload[0] + std::size_t{1};
        if (before > payload.size()) {
            throw Malformed("a pointer of PID " + std::to_string(packet.pid) + " leads out of its packet");
        }
        if (m_begun) {
            m_bytes.insert(m_bytes.end(), payload.begin() + 1,
                           payload.begin() + static_cast<std::ptrdiff_t>(before));
            GiveOut(packet.pid, receive);
        }
        End(packet.pid);
        m_begun = true;
        m_bytes.clear();
        payload = payload.subspan(before);
    }
    if (m_begun) {
        m_bytes.insert(m_bytes.end(), payload.begin(), payload.end());
        GiveOut(packet.pid, receive);
    }
}

void SectionReader::GiveOut(unsigned pid, const Receiver& receive) {
    while (!m_bytes.empty()) {
        if (m_bytes[0] == kStuffing) { // up to the next start
            m_bytes.clear();
            m_begun = false;
            return;
        }
        if (m_bytes.size() < kSectionHead) {
            return;
        }
        const std::size_t size = SizeOf(m_bytes);
        if (size < kLeastSection || size > kLargestSection) {
            throw Malformed("a section of PID " + std::to_string(pid) + " claims " + std::to_string(size) +
                            " bytes");
        }
        if (m_bytes.size() < size) {
            return;
        }
        receive(std::span(m_bytes).first(size));
        m_bytes.erase(m_bytes.begin(), m_bytes.begin() + static_cast<std::ptrdiff_t>(size));
    }
}

bool SectionReader::Jump() {
    const bool hadBegun = !m_bytes.empty();
    m_bytes.clear();
    m_begun = false;
    return hadBegun;
}

void SectionReader::End(unsigned pid) const {
    if (!m_bytes.empty()) {
        throw Malformed("a section of PID " + std::to_string(pid) + " is not complete");
    }
}

// The section_syntax_indicator: without it a section is of the short kind.
bool HasCrc(std::span<const unsigned char> section) {
    return (section[1] & 0x80u) != 0;
}

bool IsCrcRight(std::span<unsigned char> section) {
    return CrcOf(section) == 0;
}

std::vector<ProgramEntry> ParsePrograms(std::span<unsigned char> section) {
    std::vector<ProgramEntry> programs;
    Fields fields(section.data(), section.size() - kCrc, "the program association table");
    unsigned stream = 0;
    if (!BeginTable(fields, kProgramTable, stream)) {
        return programs;
    }
    while (fields.Left() > 0) {
        ProgramEntry entry;
        entry.program = fields.Get(16);
        fields.Get(3);
        entry.pid = fields.Get(13);
        if (entry.program != 0) { // 0 leads to the network's table
            programs.push_back(entry);
        }
    }
    return programs;
}

std::vector<StreamEntry> ParseStreams(std::span<unsigned char> section, unsigned program) {
    std::vector<StreamEntry> streams;
    Fields fields(section.data(), section.size() - kCrc, "the program map table");
    unsigned number = 0;
    if (!BeginTable(fields, kMapTable, number) || number != program) {
        return streams;
    }
    fields.Get(3 + 13); // where the clock is
    fields.Get(4);
    fields.SkipBytes(fields.Get(12)); // descriptors of the program
    while (fields.Left() > 0) {
        StreamEntry entry;
        entry.type = fields.Get(8);
        fields.Get(3);
        entry.pid = fields.Get(13);
        fields.Get(4);
        fields.SkipBytes(fields.Get(12)); // descriptors of the stream
        streams.push_back(entry);
    }
    return streams;
}
