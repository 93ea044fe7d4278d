// demux_ts on streams that it refuses: with which text, and that no result is left or touched.
#include "demux/DemuxRun.h"
#include "demux/TsMuxer.h"

using namespace vxcio::test;

namespace {

class DemuxRefusalsTest : public DemuxRun {
protected:
    Sample m_sample = Sample::Good();

    std::string& Packet(unsigned pid, std::size_t n) {
        return m_sample.muxer.packets[m_sample.muxer.Find(pid, n)];
    }
    void Erase(unsigned pid, std::size_t n, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            std::vector<std::string>& packets = m_sample.muxer.packets;
            packets.erase(packets.begin() + static_cast<std::ptrdiff_t>(m_sample.muxer.Find(pid, n)));
        }
    }
    void Repeat(unsigned pid, std::size_t n) {
        const std::size_t at = m_sample.muxer.Find(pid, n);
        std::vector<std::string>& packets = m_sample.muxer.packets;
        packets.insert(packets.begin() + static_cast<std::ptrdiff_t>(at), packets[at]);
    }
    // The text names the packet at which it was seen.
    void ExpectRefusedAt(std::size_t packet, const std::string& text) const {
        ExpectRefused(m_sample.muxer.Bytes(),
                      text + " (packet at byte " + std::to_string(packet * TsMuxer::kPacket) + ")");
    }
    void ExpectRefusedAt(unsigned pid, std::size_t n, const std::string& text) const {
        ExpectRefusedAt(m_sample.muxer.Find(pid, n), text);
    }
    // The good stream with another packet behind it.
    void ExpectPesRefused(unsigned pid, const std::string& pes, const std::string& text) {
        m_sample = Sample::Good();
        m_sample.muxer.AddPes(pid, pes);
        ExpectRefused(m_sample.muxer.Bytes(), "a PES packet of PID " + std::to_string(pid) + text);
    }
    void ExpectMapRefused(const std::string& map, const std::string& text) {
        m_sample = Sample::Good();
        m_sample.muxer.AddSection(kMapPid, map);
        ExpectRefusedAt(kMapPid, 1, text);
    }
};

constexpr std::size_t kPacket = TsMuxer::kPacket;

} // namespace

TEST_F(DemuxRefusalsTest, AMissingPacket) {
    Erase(kVideoPid, 3, 1);
    ExpectRefusedAt(kVideoPid, 3, "a packet of PID 512 is missing: after number 2 comes 4");
}

TEST_F(DemuxRefusalsTest, FifteenMissingPacketsAreNoRepetition) {
    Erase(kVideoPid, 3, 15);
    ExpectRefusedAt(kVideoPid, 3, "a packet of PID 512 is missing: after number 2 comes another 2");
}

TEST_F(DemuxRefusalsTest, ARepetitionThatDiffersInOneByte) {
    Repeat(kVideoPid, 3);
    Packet(kVideoPid, 4)[kPacket - 1] ^= 1;
    ExpectRefusedAt(kVideoPid, 4, "a packet of PID 512 is missing: after number 3 comes another 3");
}

TEST_F(DemuxRefusalsTest, ARepetitionThatDiffersBesideTheClock) {
    for (const std::size_t at : {5u, 12u}) { // the flags ahead of it, and the byte behind it
        m_sample = Sample::Good();
        m_sample.muxer.AddPart(kVideoPid, true, VideoPes(1, std::string(150, 'p')), Clock(1000));
        const std::size_t n = m_sample.muxer.packets.size();
        m_sample.muxer.packets.push_back(m_sample.muxer.packets.back());
        m_sample.muxer.packets.back()[at] ^= 0x40;
        const char number = m_sample.muxer.packets.back()[3] & 15;
        const std::string text = std::to_string(static_cast<int>(number));
        ExpectRefusedAt(n, "a packet of PID 512 is missing: after number " + text + " comes another " + text);
    }
}

TEST_F(DemuxRefusalsTest, APacketSentThreeTimes) {
    Repeat(kVideoPid, 3);
    Repeat(kVideoPid, 3);
    ExpectRefusedAt(kVideoPid, 5, "a packet of PID 512 was sent a third time");
}

TEST_F(DemuxRefusalsTest, ACutWithinAPacket) {
    const std::string bytes = m_sample.muxer.Bytes();
    const std::size_t last = bytes.size() - kPacket;
    for (const std::size_t left : {1u, 4u, 187u}) {
        ExpectRefused(bytes.substr(0, last + left),
                      "the file ends within the packet at byte " + std::to_string(last));
    }
}

TEST_F(DemuxRefusalsTest, ACutWithinASizedPesPacket) {
    const std::string bytes = m_sample.muxer.Bytes();
    // The last one has 8 bytes of header behind its length, and 1000 of payload in 6 packets.
    ExpectRefused(bytes.substr(0, bytes.size() - kPacket),
                  "a PES packet of PID 513 has 914 bytes and claims 1008");
}

TEST_F(DemuxRefusalsTest, ACutWithinASection) {
    m_sample.muxer.AddSection(kMapPid, Map(200));
    m_sample.muxer.packets.pop_back();
    ExpectRefused(m_sample.muxer.Bytes(), "a section of PID 256 is not complete");
}

TEST_F(DemuxRefusalsTest, APlaceWhereNoPacketBegins) {
    m_sample.muxer.packets[20][0] = 'x';
    ExpectRefused(m_sample.muxer.Bytes(), "no packet begins at byte 3760, where one should");
}

TEST_F(DemuxRefusalsTest, AFileThatIsNoTransportStream) {
    for (const std::string& bytes : {std::string(), std::string(5000, 'x'), std::string(3000, '\0')}) {
        ExpectRefused(bytes, "no packet begins in it, so it is no transport stream");
    }
}

TEST_F(DemuxRefusalsTest, APointerOutOfItsPacket) {
    for (const unsigned pid : {kAssociationPid, kMapPid}) {
        m_sample = Sample::Good();
        for (const char pointer : {'\xB8', '\xFF'}) { // 184 and 255; 183 leaves no byte, but is right
            Packet(pid, 0)[4] = pointer;
            ExpectRefusedAt(pid, 0, "a pointer of PID " + std::to_string(pid) + " leads out of its packet");
        }
    }
}

TEST_F(DemuxRefusalsTest, APointerIntoASection) {
    Packet(kMapPid, 0)[4] = 1; // the section seems to begin with its length
    ExpectRefusedAt(kMapPid, 0, "a section of PID 256 claims 1795 bytes");
}

TEST_F(DemuxRefusalsTest, AnAdaptationFieldThatLeavesNoRoom) {
    for (const unsigned length : {183u, 184u, 255u}) {
        std::string& packet = Packet(kVideoPid, 2);
        packet[3] = static_cast<char>(packet[3] | 0x20);
        packet[4] = static_cast<char>(length);
        ExpectRefusedAt(kVideoPid, 2,
                        "the adaptation field of a packet of PID 512 is longer than the packet");
    }
}

TEST_F(DemuxRefusalsTest, AnAdaptationFieldLongerThanAPacketWithoutPayload) {
    const std::size_t at = m_sample.muxer.packets.size();
    m_sample.muxer.AddEmpty(kVideoPid, Clock(1));
    m_sample.muxer.packets[at][4] = '\xB8';
    ExpectRefusedAt(at, "the adaptation field of a packet of PID 512 is longer than the packet");
}

TEST_F(DemuxRefusalsTest, AnAdaptationFieldTooShortForItsClock) {
    const std::size_t at = m_sample.muxer.packets.size();
    m_sample.muxer.AddPart(kVideoPid, true, VideoPes(1, std::string(163, 'p')), "\x10");
    m_sample.muxer.packets[at].replace(4, 1, 1, '\6');
    ExpectRefusedAt(at, "the adaptation field of a packet of PID 512 is too short for its clock");
}

TEST_F(DemuxRefusalsTest, ASectionOfAWrongLength) {
    const std::string map = Map();
    const auto withLength = [&](std::size_t length) {
        std::string section = map;
        section[1] = static_cast<char>(0xB0 | length >> 8);
        section[2] = static_cast<char>(length & 0xFF);
        return section;
    };
    ExpectMapRefused(withLength(8), "a section of PID 256 claims 11 bytes");
    ExpectMapRefused(withLength(1022), "a section of PID 256 claims 1025 bytes");
    ExpectMapRefused(withLength(map.size() - 4), "the CRC of section 3, of PID 256, is wrong");
    ExpectMapRefused(withLength(map.size() - 2), "the CRC of section 3, of PID 256, is wrong");
    // It takes more than its packet, and then another one begins.
    m_sample = Sample::Good();
    m_sample.muxer.AddSection(kMapPid, withLength(500));
    m_sample.muxer.AddSection(kMapPid, map);
    ExpectRefusedAt(kMapPid, 2, "a section of PID 256 is not complete");
}

TEST_F(DemuxRefusalsTest, AWrongCrc) {
    for (const unsigned pid : {kAssociationPid, kMapPid}) {
        for (const std::size_t at : {10u, 11u, 12u, 20u}) { // from its version on
            m_sample = Sample::Good();
            Packet(pid, 0)[at] ^= 4;
            const std::string number = pid == kMapPid ? "2" : "1";
            ExpectRefusedAt(
                pid, 0, "the CRC of section " + number + ", of PID " + std::to_string(pid) + ", is wrong");
        }
    }
}

TEST_F(DemuxRefusalsTest, ASectionWithoutCrc) {
    std::string map = Map();
    map[1] &= 0x7F;
    ExpectMapRefused(WithCrc(map), "section 3, of PID 256, has no CRC");
}

TEST_F(DemuxRefusalsTest, ATableShorterThanItsFields) {
    ExpectMapRefused(Section(2, 1, std::string("\xE2\x00\xF0\x00\x02\xE2", 6)),
                     "the program map table is shorter than its fields");
    ExpectMapRefused(Section(2, 1, std::string("\xE2\x00\xF0\x09", 4)),
                     "the program map table is shorter than its fields");
}

TEST_F(DemuxRefusalsTest, APesPacketOfAnotherLengthThanItClaims) {
    std::string pes = AudioPes(1, std::string(300, 'p'));
    ExpectPesRefused(kAudioPid, pes + "x", " has 309 bytes and claims 308");
    pes.pop_back();
    ExpectPesRefused(kAudioPid, pes, " has 307 bytes and claims 308");
}

TEST_F(DemuxRefusalsTest, AnAudioPesPacketWithoutLength) {
    std::string pes = VideoPes(1, "p");
    pes[3] = '\xC0';
    ExpectPesRefused(kAudioPid, pes, " claims no length");
}

TEST_F(DemuxRefusalsTest, APesPacketOfAnotherKind) {
    for (const unsigned id : {0xBDu, 0xC0u, 0xDFu, 0xF0u}) {
        std::string pes = VideoPes(1, "p");
        pes[3] = static_cast<char>(id);
        ExpectPesRefused(kVideoPid, pes,
                         " has the stream_id " + std::to_string(id) + ", which is of another kind");
    }
    for (const unsigned id : {0xBDu, 0xBFu, 0xE0u}) {
        std::string pes = AudioPes(1, "p");
        pes[3] = static_cast<char>(id);
        ExpectPesRefused(kAudioPid, pes,
                         " has the stream_id " + std::to_string(id) + ", which is of another kind");
    }
}

TEST_F(DemuxRefusalsTest, APesPacketWithABrokenHeader) {
    std::string pes = AudioPes(1, "p");
    pes[2] = 2;
    ExpectPesRefused(kAudioPid, pes, " does not begin as one");
    pes = AudioPes(1, "p");
    pes[6] = 0x10;
    ExpectPesRefused(kAudioPid, pes, " has no header of ISO/IEC 13818-1");
    pes[6] = '\xB0';
    ExpectPesRefused(kAudioPid, pes, " is scrambled");
    pes = AudioPes(1, "p");
    pes[8] = 4; // no room for the PTS
    ExpectPesRefused(kAudioPid, pes, " has a header of a wrong length");
    pes[8] = 7; // more than there is
    ExpectPesRefused(kAudioPid, pes, " has a header of a wrong length");
}

TEST_F(DemuxRefusalsTest, AScrambledPacket) {
    for (const unsigned bits : {0x40u, 0x80u, 0xC0u}) {
        m_sample = Sample::Good();
        std::string& packet = Packet(kAudioPid, 1);
        packet[3] = static_cast<char>(static_cast<unsigned char>(packet[3]) | bits);
        ExpectRefusedAt(kAudioPid, 1, "PID 513 is scrambled");
    }
}

TEST_F(DemuxRefusalsTest, APacketMarkedAsBroken) {
    Packet(kAudioPid, 1)[1] ^= '\x80';
    ExpectRefusedAt(kAudioPid, 1, "a packet of PID 513 is marked as broken");
}

TEST_F(DemuxRefusalsTest, AStreamWithoutWhatIsWanted) {
    Erase(kAssociationPid, 0, 1);
    ExpectRefused(m_sample.muxer.Bytes(), "it has no program");
    m_sample = Sample::Good();
    Erase(kMapPid, 0, 1);
    ExpectRefused(m_sample.muxer.Bytes(), "its program has no MPEG video or no MPEG audio");
}
