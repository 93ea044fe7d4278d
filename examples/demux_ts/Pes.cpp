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

PesFrame ParsePes(std::span<unsigned char> bytes, const PesReader::Kind& kind, const std::string& what) {
    Fields fields(bytes.data(), bytes.size(), what);
    if (fields.Get(24) != 1) {
        throw Malformed(what + " does not begin as one");
    }
    const unsigned id = fields.Get(8);
    if (id < kind.firstId || id > kind.lastId) {
        throw Malformed(what + " has the stream_id " + std::to_string(id) + ", which is of another kind");
    }
    const unsigned length = fields.Get(16);
    if (length == 0 && !kind.mayBeUnsized) {
        throw Malformed(what + " claims no length");
    }
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

// One without a length is whole where another one begins.
bool PesReader::CanBeWhole(bool nextStarts) const {
    if (m_bytes.size() < kPesHead) {
        return false;
    }
    const std::size_t length = static_cast<std::size_t>(m_bytes[4]) << 8 | m_bytes[5];
    return length == 0 ? nextStarts : m_bytes.size() == kPesHead + length;
}

bool PesReader::Jump(const Packet& packet, const Receiver& receive) {
    if (m_begun && CanBeWhole(packet.starts)) {
        End(packet.pid, receive);
    }
    const bool dropped = m_begun;
    m_bytes.clear();
    m_begun = false;
    return dropped;
}

void PesReader::End(unsigned pid, const Receiver& receive) {
    if (m_begun) {
        receive(ParsePes(m_bytes, m_kind, "a PES packet of PID " + std::to_string(pid)));
        m_bytes.clear();
    }
    m_begun = false;
}
