#include "demux/TsMuxer.h"

#include "support/TempFolder.h"

#include <algorithm>
#include <stdexcept>

namespace vxcio::test {

namespace {

std::string Bytes(std::initializer_list<std::uint64_t> values) {
    std::string bytes;
    for (const std::uint64_t value : values) {
        bytes += static_cast<char>(value & 0xFF);
    }
    return bytes;
}

std::string Pes(unsigned id, std::uint64_t pts, const std::string& payload, bool sized) {
    const std::string head =
        Bytes({0x80, 0x80, 5, 0x21 | (pts >> 30) << 1, pts >> 22, pts >> 14 | 1, pts >> 7, pts << 1 | 1});
    const std::size_t length = sized ? head.size() + payload.size() : 0;
    return Bytes({0, 0, 1, id, length >> 8, length}) + head + payload;
}

std::string Payload(std::size_t bytes, std::size_t seed) {
    const std::vector<uint8> pattern = Pattern(bytes, static_cast<uint32>(seed));
    return {pattern.begin(), pattern.end()};
}

} // namespace

std::string Clock(unsigned value) {
    return Bytes({0x10, value >> 24, value >> 16, value >> 8, value, 0x7E, 0});
}

std::string WithCrc(std::string section) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (std::size_t i = 0; i + 4 < section.size(); ++i) {
        for (unsigned bit = 0x80; bit != 0; bit >>= 1) {
            const bool set = (static_cast<unsigned char>(section[i]) & bit) != 0;
            const bool carry = (crc >> 31 != 0) != set;
            crc = crc << 1 ^ (carry ? 0x04C11DB7u : 0u);
        }
    }
    return section.replace(section.size() - 4, 4, Bytes({crc >> 24, crc >> 16, crc >> 8, crc}));
}

std::string Section(unsigned table, unsigned id, const std::string& rest) {
    const std::size_t length = 5 + rest.size() + 4;
    return WithCrc(Bytes({table, 0xB0 | length >> 8, length, id >> 8, id, 0xC1, 0, 0}) + rest + "crc.");
}

std::string Association() {
    return Section(0, 1, Bytes({0, 1, 0xE0 | kMapPid >> 8, kMapPid}));
}

std::string Map(unsigned descriptorBytes) {
    std::string rest =
        Bytes({0xE0 | kVideoPid >> 8, kVideoPid, 0xF0 | descriptorBytes >> 8, descriptorBytes});
    rest += std::string(descriptorBytes, 'd');
    rest += Bytes({2, 0xE0 | kVideoPid >> 8, kVideoPid, 0xF0, 0});
    rest += Bytes({3, 0xE0 | kAudioPid >> 8, kAudioPid, 0xF0, 0});
    return Section(2, 1, rest);
}

std::string VideoPes(std::uint64_t pts, const std::string& payload) {
    return Pes(0xE0, pts, payload, false);
}

std::string AudioPes(std::uint64_t pts, const std::string& payload) {
    return Pes(0xC0, pts, payload, true);
}

std::string TsMuxer::Head(unsigned pid, bool starts, unsigned control, unsigned counter) const {
    return test::Bytes({0x47, (starts ? 0x40u : 0u) | pid >> 8, pid, control << 4 | counter % 16});
}

void TsMuxer::AddPart(unsigned pid, bool starts, const std::string& payload, const std::string& adaptation) {
    const bool adapts = payload.size() < kRoom || !adaptation.empty();
    std::string packet = Head(pid, starts, adapts ? 3 : 1, m_counters[pid]++);
    if (adapts) {
        if (payload.size() + 1 + adaptation.size() > kRoom) {
            throw std::logic_error("a packet does not hold that much");
        }
        const std::size_t length = kRoom - 1 - payload.size();
        std::string field = adaptation.empty() && length > 0 ? std::string(1, '\0') : adaptation;
        field.resize(length, '\xFF');
        packet += test::Bytes({length}) + field;
    }
    packets.push_back(packet + payload);
}

void TsMuxer::AddEmpty(unsigned pid, const std::string& adaptation) {
    std::string field = adaptation;
    field.resize(kRoom - 1, '\xFF');
    packets.push_back(Head(pid, false, 2, m_counters[pid] + 15) + test::Bytes({kRoom - 1}) + field);
}

void TsMuxer::AddSection(unsigned pid, const std::string& section) {
    std::string bytes = std::string(1, '\0') + section;
    bytes.resize((bytes.size() + kRoom - 1) / kRoom * kRoom, '\xFF');
    for (std::size_t at = 0; at < bytes.size(); at += kRoom) {
        AddPart(pid, at == 0, bytes.substr(at, kRoom));
    }
}

void TsMuxer::AddPes(unsigned pid, const std::string& pes) {
    for (std::size_t at = 0; at < pes.size(); at += kRoom) {
        AddPart(pid, at == 0, pes.substr(at, kRoom));
    }
}

void TsMuxer::AddTables() {
    AddSection(kAssociationPid, Association());
    AddSection(kMapPid, Map());
}

std::size_t TsMuxer::Find(unsigned pid, std::size_t n) const {
    for (std::size_t i = 0; i < packets.size(); ++i) {
        const unsigned high = static_cast<unsigned char>(packets[i][1]) & 0x1Fu;
        if ((high << 8 | static_cast<unsigned char>(packets[i][2])) == pid && n-- == 0) {
            return i;
        }
    }
    throw std::logic_error("there is no such packet");
}

std::string TsMuxer::Bytes() const {
    std::string bytes;
    for (const std::string& packet : packets) {
        bytes += packet;
    }
    return bytes;
}

void Sample::AddVideo(std::size_t bytes) {
    const std::string payload = Payload(bytes, video.size() + 1);
    muxer.AddPes(kVideoPid, VideoPes(100'000 + video.size(), payload));
    video += payload;
}

void Sample::AddAudio(std::size_t bytes) {
    const std::string payload = Payload(bytes, audio.size() + 2);
    muxer.AddPes(kAudioPid, AudioPes(200'000 + audio.size(), payload));
    audio += payload;
}

Sample Sample::Good() {
    Sample sample;
    sample.muxer.AddTables();
    for (const std::size_t bytes : {5000u, 183u, 2000u}) {
        sample.AddVideo(bytes);
        sample.AddAudio(bytes / 2);
    }
    return sample;
}

} // namespace vxcio::test
