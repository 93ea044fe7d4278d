#include "Demuxer.h"

#include "Malformed.h"

#include <utility>

namespace {

constexpr unsigned kAssociationPid = 0;

bool IsVideo(unsigned type) {
    return type == 0x01 || type == 0x02; // ISO/IEC 11172-2, 13818-2
}

bool IsAudio(unsigned type) {
    return type == 0x03 || type == 0x04; // ISO/IEC 11172-3, 13818-3
}

std::string Name(unsigned pid) {
    return "PID " + std::to_string(pid);
}

} // namespace

// False for a packet that was sent twice. Throws where one is missing.
bool Demuxer::IsNext(const Packet& packet) {
    const auto [place, first] = m_counters.try_emplace(packet.pid, packet.counter);
    const unsigned last = std::exchange(place->second, packet.counter);
    if (first || packet.mayJump || packet.counter == (last + 1) % 16) {
        return true;
    }
    if (packet.counter == last) {
        return false;
    }
    throw Malformed("a packet of " + Name(packet.pid) + " is missing: after number " + std::to_string(last) +
                    " comes " + std::to_string(packet.counter));
}

void Demuxer::Add(const Packet& packet) {
    ++m_packets;
    if (!packet.hasPayload || !IsNext(packet)) {
        return;
    }
    const auto take = [&](std::span<unsigned char> section) { TakeSection(packet.pid, section); };
    if (packet.pid == kAssociationPid) {
        m_association.Add(packet, take);
        return;
    }
    if (m_program && packet.pid == m_program->pid) {
        m_map.Add(packet, take);
        return;
    }
    for (int i = 0; i < FrameQueue::kStreams; ++i) {
        Stream& stream = m_streams[static_cast<std::size_t>(i)];
        if (stream.entry && packet.pid == stream.entry->pid) {
            stream.pes.Add(packet, [&](const PesFrame& frame) { m_frames.Put(i, frame); });
            return;
        }
    }
}

void Demuxer::TakeSection(unsigned pid, std::span<unsigned char> section) {
    ++m_sections;
    if (!IsCrcRight(section)) {
        throw Malformed("the CRC of section " + std::to_string(m_sections) + ", of " + Name(pid) +
                        ", is wrong");
    }
    if (pid != kAssociationPid) {
        TakeStreams(section);
    } else if (!m_program) {
        const std::vector<ProgramEntry> programs = ParsePrograms(section);
        if (!programs.empty()) {
            m_program = programs.front();
        }
    }
}

void Demuxer::TakeStreams(std::span<unsigned char> section) {
    const std::vector<StreamEntry> entries = ParseStreams(section, m_program->program);
    if (m_streams[kVideo].entry || m_streams[kAudio].entry) {
        return;
    }
    for (const StreamEntry& entry : entries) {
        if (IsVideo(entry.type) && !m_streams[kVideo].entry) {
            m_streams[kVideo].entry = entry;
        } else if (IsAudio(entry.type) && !m_streams[kAudio].entry) {
            m_streams[kAudio].entry = entry;
        } else {
            ++m_otherStreams;
        }
    }
}

void Demuxer::Finish() {
    if (!m_program) {
        throw Malformed("it has no program");
    }
    if (!m_streams[kVideo].entry || !m_streams[kAudio].entry) {
        throw Malformed("its program has no MPEG video or no MPEG audio");
    }
    for (int i = 0; i < FrameQueue::kStreams; ++i) {
        Stream& stream = m_streams[static_cast<std::size_t>(i)];
        stream.pes.End(stream.entry->pid, [&](const PesFrame& frame) { m_frames.Put(i, frame); });
    }
}
