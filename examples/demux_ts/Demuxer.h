// Demuxer.h - finds the first program of a transport stream and its first video and audio stream, and hands
// their frames on. Tables that change later are checked, but not followed.
#pragma once

#include "Continuity.h"
#include "FrameQueue.h"
#include "Packet.h"
#include "Pes.h"
#include "Sections.h"

#include <array>
#include <optional>

class Demuxer {
public:
    static constexpr int kVideo = 0;
    static constexpr int kAudio = 1;

    struct Stream {
        std::optional<StreamEntry> entry;
        PesReader pes;
    };

    explicit Demuxer(FrameQueue& frames) : m_frames(frames) {}

    // Takes the next packet. Throws Malformed.
    void Add(const Packet& packet);
    // There are no more. Throws Malformed where the program or one of the two streams was not found.
    void Finish();

    const ProgramEntry& Program() const { return *m_program; }
    const StreamEntry& Entry(int stream) const { return *m_streams[static_cast<std::size_t>(stream)].entry; }
    unsigned Sections() const { return m_sections; }
    unsigned Packets() const { return m_packets; }
    unsigned OtherStreams() const { return m_otherStreams; }
    // Sections and PES packets that a jump of the counters has broken off.
    unsigned Dropped() const { return m_dropped; }

private:
    void AddTo(SectionReader& reader, const Packet& packet, bool jumps);
    void TakeSection(unsigned pid, std::span<unsigned char> section);
    void TakeStreams(std::span<unsigned char> section);

    FrameQueue& m_frames;
    Continuity m_continuity;
    SectionReader m_association;
    SectionReader m_map;
    std::optional<ProgramEntry> m_program;
    std::array<Stream, FrameQueue::kStreams> m_streams{
        Stream{{}, PesReader({.firstId = 0xE0, .lastId = 0xEF, .mayBeUnsized = true})},
        Stream{{}, PesReader({.firstId = 0xC0, .lastId = 0xDF, .mayBeUnsized = false})}};
    unsigned m_sections = 0;
    unsigned m_packets = 0;
    unsigned m_otherStreams = 0;
    unsigned m_dropped = 0;
};
