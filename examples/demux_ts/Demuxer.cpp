#include "Demuxer.h"

#include "Malformed.h"

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

void Demuxer::Add(const Packet& packet) {
    ++m_packets;
    const Continuity::Turn turn = m_continuity.Follow(packet);
    if (turn == Continuity::Turn::Nothing || turn == Continuity::Turn::Repeated) {
        return;
    }
    const bool jumps = turn == Continuity::Turn::Jump;
    if (packet.pid == kAssociationPid) {
        AddTo(m_association, packet, jumps);
        return;
    }
    if (m_program && packet.pid == m_program->pid) {
        AddTo(m_map, packet, jumps);
        return;
    }
    for (int i = 0; i < FrameQueue::kStreams; ++i) {
        Stream& stream = m_streams[static_cast<std::size_t>(i)];
        if (stream.entry && packet.pid == stream.entry->pid) {
            const auto put = [&](const PesFrame& frame) { m_frames.Put(i, frame); };
            if (jumps && stream.pes.Jump(packet, put)) {
                ++m_dropped;
            }
            stream.pes.Add(packet, put);
            return;
        }
    }
}

void Demuxer::AddTo(SectionReader& reader, const Packet& packet, bool jumps) {
    if (jumps && reader.Jump()) {
        ++m_dropped;
    }
    reader.Add(packet, [&](std::span<unsigned char> section) { TakeSection(packet.pid, section); });
}

void Demuxer::TakeSection(unsigned pid, std::span<unsigned char> section) {
    ++m_sections;
    if (!HasCrc(section)) {
        throw Malformed("section " + std::to_string(m_sections) + ", of " + Name(pid) + ", has no CRC");
    }
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
    m_association.End(kAssociationPid);
    if (!m_program) {
        throw Malformed("it has no program");
    }
    m_map.End(m_program->pid);
    if (!m_streams[kVideo].entry || !m_streams[kAudio].entry) {
        throw Malformed("its program has no MPEG video or no MPEG audio");
    }
    for (int i = 0; i < FrameQueue::kStreams; ++i) {
        Stream& stream = m_streams[static_cast<std::size_t>(i)];
        stream.pes.End(stream.entry->pid, [&](const PesFrame& frame) { m_frames.Put(i, frame); });
    }
}
