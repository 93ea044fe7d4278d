#include "PacketFeed.h"

#include "../common/ShownName.h"
#include "Malformed.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <random>

namespace {

constexpr unsigned char kSync = 0x47;
// A place counts as the first packet when as many begin there one behind the other.
constexpr int kPacketsToTrust = 4;
constexpr unsigned kLeastPiece = 20'000;
constexpr unsigned kLargestPiece = 90'000;

// Every packet of which the first byte is there begins as it should.
bool IsRow(const unsigned char* bytes, int size) {
    for (int i = 0; i < size; i += kPacket) {
        if (bytes[i] != kSync) {
            return false;
        }
    }
    return true;
}

} // namespace

PacketFeed::PacketFeed(const std::string& name)
    : m_source(CSoftDataSource::Construct(IOWORKMODE_FILE)), m_block(kLargestPiece) {
    if (!m_source || m_source->OpenFile(std::filesystem::path(name).wstring().c_str(),
                                        VXC_FILE_FLAG_SEQUENTIAL_SCAN, nullptr, 0) != VXC_STATUS_OK) {
        throw std::runtime_error(ShownName(name) + " cannot be opened");
    }
    m_producer = std::thread([this] { Produce(); });
}

PacketFeed::~PacketFeed() {
    // The producer may sleep before a full ring. It is refused now and ends, and nobody reads any more.
    m_ring.bytes.SetEndOfInput();
    m_producer.join();
}

// Pieces of odd sizes, so that packets lie across them.
void PacketFeed::Produce() noexcept {
    std::minstd_rand random(1);
    std::uint64_t left = m_source->GetFileSize();
    while (left > 0) {
        const auto wanted =
            (static_cast<unsigned>(random()) % (kLargestPiece - kLeastPiece) + kLeastPiece) | 1u;
        const int got = m_source->Read(m_block.data(), wanted);
        if (got <= 0) {
            m_unreadable = true;
            break;
        }
        if (m_ring.bytes.PutData(m_block.data(), got, PLUG_STREAMSTATE_DATA) != 0) {
            return;
        }
        left -= std::min<std::uint64_t>(left, static_cast<unsigned>(got));
    }
    m_ring.bytes.SetEndOfInput();
}

// At least `bytes`, or what there is at the end of the file.
int PacketFeed::Show(unsigned char*& data, int bytes) {
    const int shown = m_ring.bytes.ShowData(data, bytes, nullptr);
    if (shown < 0) {
        throw std::runtime_error("there is no memory for the ring");
    }
    if (shown < bytes && m_unreadable) {
        throw std::runtime_error("the file cannot be read beyond byte " + std::to_string(m_taken));
    }
    return std::min(shown, bytes);
}

// Bytes that were shown.
unsigned char* PacketFeed::Take(int bytes) {
    unsigned char* data = nullptr;
    if (m_ring.bytes.GetData(data, bytes, nullptr) != bytes) {
        throw std::runtime_error("the ring does not give what it has shown");
    }
    m_taken += static_cast<unsigned>(bytes);
    return data;
}

// Skips to the first packet.
void PacketFeed::Find() {
    constexpr int kWindow = kPacketsToTrust * kPacket;
    for (;;) {
        unsigned char* data = nullptr;
        const int shown = Show(data, kWindow);
        int skip = 0;
        while (skip < kPacket && skip + kPacket <= shown && !IsRow(data + skip, shown - skip)) {
            ++skip;
        }
        if (skip + kPacket > shown) {
            throw Malformed("no packet begins in it, so it is no transport stream");
        }
        if (skip > 0) {
            Take(skip);
            m_skipped += static_cast<unsigned>(skip);
        }
        if (skip < kPacket) {
            m_found = true;
            return;
        }
    }
}

unsigned char* PacketFeed::Next() {
    if (!m_found) {
        Find();
    }
    m_position = m_taken;
    unsigned char* data = nullptr;
    const int shown = Show(data, kPacket);
    if (shown == 0) {
        return nullptr;
    }
    if (data[0] != kSync) {
        throw Malformed("no packet begins at byte " + std::to_string(m_position) + ", where one should");
    }
    if (shown < kPacket) {
        throw Malformed("the file ends within the packet at byte " + std::to_string(m_position));
    }
    return Take(kPacket);
}
