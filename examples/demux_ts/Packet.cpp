#include "Packet.h"

#include "Fields.h"

namespace {

constexpr unsigned kClockBytes = 6;

} // namespace

Packet ParsePacket(unsigned char* bytes) {
    Fields fields(bytes, kPacket, "a packet");
    fields.Get(8); // the sync byte
    const bool broken = fields.Get(1) != 0;
    Packet packet;
    packet.bytes = std::span(bytes, kPacket);
    packet.starts = fields.Get(1) != 0;
    fields.Get(1); // priority
    packet.pid = fields.Get(13);
    const unsigned scrambled = fields.Get(2);
    const bool adapts = fields.Get(1) != 0;
    packet.hasPayload = fields.Get(1) != 0;
    packet.counter = fields.Get(4);
    if (broken) {
        throw Malformed("a packet of PID " + std::to_string(packet.pid) + " is marked as broken");
    }
    if (packet.pid == kNullPid) {
        packet.hasPayload = false;
        return packet;
    }
    if (scrambled != 0) {
        throw Malformed("PID " + std::to_string(packet.pid) + " is scrambled");
    }
    if (adapts) {
        const unsigned length = fields.Get(8);
        if (length > fields.Left() || (packet.hasPayload && length == fields.Left())) {
            throw Malformed("the adaptation field of a packet of PID " + std::to_string(packet.pid) +
                            " is longer than the packet");
        }
        if (length > 0) {
            packet.mayJump = fields.Get(1) != 0;
            fields.Get(2);
            packet.hasClock = fields.Get(1) != 0;
            fields.Get(4);
            if (packet.hasClock && length < 1 + kClockBytes) {
                throw Malformed("the adaptation field of a packet of PID " + std::to_string(packet.pid) +
                                " is too short for its clock");
            }
            fields.SkipBytes(length - 1);
        }
    }
    if (packet.hasPayload) {
        packet.payload = std::span(bytes, kPacket).last(fields.Left());
    }
    return packet;
}
