#include "Pes.h"

#include "Fields.h"

namespace {

constexpr std::size_t kPesHead = 6; // up to the length field and with it
// No frame of a stream that this program takes comes near it.
constexpr std::size_t kLargestPes = 16 << 20;

// Three pieces, each with a marker bit behind it.
unsigned long long TimeStamp(Fields& fields) {
    unsigned long long stamp = 0;
    fields.Get(4);
    for (const int bits : {3, 15, 15}) {
        stamp = stamp << bits | fields.Get(bits);
        if (fields.Get(1) != 1) {
            throw Malformed("a time stamp lacks a marker bit");
        }
    }
    return stamp;
}

PesFrame ParsePes(std::span<unsigned char> bytes, const std::string& what) {
    Fields fields(bytes.data(), bytes.size(), what);
    if (fields.Get(24) != 1) {
        throw Malformed(what + " does not begin as one");
    }
    fields.Get(8); // its kind
    const unsigned length = fields.Get(16);
    // 0, in video only: up to where the next one begins.
    if (length != 0 && bytes.size() != kPesHead + length) {
        throw Malformed(what + " has " + std::to_string(bytes.size() - kPesHead) + " bytes and claims " +
                        std::to_string(length));
    }
    if (fields.Get(2) != 2) {
        throw Malformed(what + " has no header of ISO/IEC 13818-1");
    }
    if (fields.Get(2) != 0) {
        throw Malformed(what + " is scrambled");
    }
    fields.Get(4);
    const bool hasStamp = fields.Get(1) != 0;
    fields.Get(7);
    const unsigned rest = fields.Get(8);
    const unsigned behind = fields.Left();
    if (rest > behind || (hasStamp && rest < 5)) {
        throw Malformed(what + " has a header of a wrong length");
    }
    PesFrame frame;
    if (hasStamp) {
        frame.pts = TimeStamp(fields);
    }
    frame.payload = bytes.last(behind - rest);
    return frame;
}

} // namespace

void PesReader::Add(const Packet& packet, const Receiver& receive) {
    if (packet.starts) {
        End(packet.pid, receive);
        m_begun = true;
    }
    if (!m_begun) {
        return; // the rest of one that began before the file did
    }
    if (m_bytes.size() + packet.payload.size() > kLargestPes) {
        throw Malformed("a PES packet of PID " + std::to_string(packet.pid) + " has no end");
    }
    m_bytes.insert(m_bytes.end(), packet.payload.begin(), packet.payload.end());
}

void PesReader::End(unsigned pid, const Receiver& receive) {
    if (m_begun) {
        receive(ParsePes(m_bytes, "a PES packet of PID " + std::to_string(pid)));
        m_bytes.clear();
    }
    m_begun = false;
}
