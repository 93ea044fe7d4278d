// TsMuxer.h - makes small transport streams, packet by packet, good ones and others. It shares no code with
// what it tests.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vxcio::test {

inline constexpr unsigned kAssociationPid = 0;
inline constexpr unsigned kMapPid = 0x100;
inline constexpr unsigned kVideoPid = 0x200;
inline constexpr unsigned kAudioPid = 0x201;

// An adaptation field, from its flags on: a jump of the counter is announced, or a clock reference.
inline const std::string kJump = "\x80";
std::string Clock(unsigned value);

// The head of a section and its CRC around the rest, which begins behind the section numbers.
std::string Section(unsigned table, unsigned id, const std::string& rest);
// With the last four bytes made the CRC of those before them.
std::string WithCrc(std::string section);
// One program, 1, whose map is at kMapPid.
std::string Association();
// Video at kVideoPid and audio at kAudioPid, with so many bytes of descriptors ahead of them.
std::string Map(unsigned descriptorBytes = 0);

// PES packets with a PTS; the video one claims no length.
std::string VideoPes(std::uint64_t pts, const std::string& payload);
std::string AudioPes(std::uint64_t pts, const std::string& payload);

class TsMuxer {
public:
    static constexpr std::size_t kPacket = 188;
    static constexpr std::size_t kRoom = 184; // for a payload without an adaptation field

    // One packet, with the next counter of its PID. An adaptation field fills what the payload does not.
    void AddPart(unsigned pid, bool starts, const std::string& payload, const std::string& adaptation = {});
    // One without payload: its counter is that of the last one.
    void AddEmpty(unsigned pid, const std::string& adaptation);
    // As many packets as it takes.
    void AddSection(unsigned pid, const std::string& section);
    void AddPes(unsigned pid, const std::string& pes);
    void AddTables();
    // So many packets of this PID are missing from here on.
    void Skip(unsigned pid, unsigned count) { m_counters[pid] += count; }

    // The n-th packet of this PID, counted from 0, and where it stands among all.
    std::size_t Find(unsigned pid, std::size_t n) const;

    std::string Bytes() const;

    std::vector<std::string> packets;

private:
    std::string Head(unsigned pid, bool starts, unsigned control, unsigned counter) const;

    std::map<unsigned, unsigned> m_counters; // of the next packet
};

// Tables, then three PES packets of each stream in turn, of some packets each; the payloads, one behind the
// other, are the two results to expect.
struct Sample {
    TsMuxer muxer;
    std::string video;
    std::string audio;

    void AddVideo(std::size_t bytes);
    void AddAudio(std::size_t bytes);
    static Sample Good();
};

} // namespace vxcio::test
