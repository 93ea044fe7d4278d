#include "Continuity.h"

#include "Malformed.h"

#include <algorithm>
#include <string>
#include <utility>

// All bytes count but those of the clock, which tells when the packet itself was sent.
bool Continuity::IsSame(const Packet& packet, const Last& last) {
    constexpr std::ptrdiff_t kClock = 6;
    constexpr std::ptrdiff_t kBehindClock = 12;
    const auto begin = packet.bytes.begin();
    if (!packet.hasClock) {
        return std::equal(begin, packet.bytes.end(), last.bytes.begin());
    }
    return std::equal(begin, begin + kClock, last.bytes.begin()) &&
           std::equal(begin + kBehindClock, packet.bytes.end(), last.bytes.begin() + kBehindClock);
}

Continuity::Turn Continuity::Follow(const Packet& packet) {
    if (packet.pid == kNullPid) {
        return Turn::Nothing;
    }
    Last& last = m_last[packet.pid];
    if (!packet.hasPayload) {
        last.mayJump = last.mayJump || packet.mayJump;
        return Turn::Nothing;
    }
    const bool jumpWasTold = std::exchange(last.mayJump, false);
    const bool same = last.counter && !jumpWasTold && IsSame(packet, last);
    if (same && !std::exchange(last.repeated, true)) {
        return Turn::Repeated;
    }
    const std::optional<unsigned> before = std::exchange(last.counter, packet.counter);
    last.repeated = false;
    std::copy(packet.bytes.begin(), packet.bytes.end(), last.bytes.begin());
    if (!before || packet.counter == (*before + 1) % 16) {
        return Turn::Next;
    }
    const std::string name = "PID " + std::to_string(packet.pid);
    if (same) {
        throw Malformed("a packet of " + name + " was sent a third time");
    }
    if (packet.mayJump || jumpWasTold) {
        return Turn::Jump;
    }
    throw Malformed("a packet of " + name + " is missing: after number " + std::to_string(*before) +
                    " comes " + (packet.counter == *before ? "another " : "") +
                    std::to_string(packet.counter));
}
