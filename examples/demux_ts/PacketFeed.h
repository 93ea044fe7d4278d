// PacketFeed.h - the packets of a transport stream, read from a file by a thread of its own.
//
//   thread: CSoftDataSource -> PutData, odd sizes --> [ ring ] --> ShowData, GetData: packets of 188 bytes
#pragma once

#include "module/VXCSoftCodecIO.h"

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

inline constexpr int kPacket = 188;

class PacketFeed {
public:
    // Begins to read. Throws std::runtime_error where the file cannot be opened.
    explicit PacketFeed(const std::string& name);
    // May come at any time; what was not taken is dropped.
    ~PacketFeed();
    PacketFeed(const PacketFeed&) = delete;
    PacketFeed& operator=(const PacketFeed&) = delete;

    // The next packet, which is good until the next call; null at the end of the file. Bytes ahead of the
    // first packet are skipped. Throws Malformed where a packet is missing or not whole.
    unsigned char* Next();

    unsigned long long Skipped() const { return m_skipped; }
    // Where the packet of the last Next begins in the file.
    unsigned long long Position() const { return m_position; }

private:
    struct CloseAndDelete {
        void operator()(CSoftDataSource* source) const {
            source->CloseFile();
            delete source;
        }
    };

    struct Ring {
        Ring() { bytes.Init(0); } // the least there is, 1 MiB
        ~Ring() { bytes.Close(); }
        Ring(const Ring&) = delete;
        Ring& operator=(const Ring&) = delete;

        CSoftStreamBuffer bytes;
    };

    void Produce() noexcept;
    int Show(unsigned char*& data, int bytes);
    unsigned char* Take(int bytes);
    void Find();

    std::unique_ptr<CSoftDataSource, CloseAndDelete> m_source;
    std::vector<unsigned char> m_block; // the producer's
    std::atomic<bool> m_unreadable{false};
    Ring m_ring;
    bool m_found = false;
    unsigned long long m_skipped = 0;
    unsigned long long m_taken = 0;
    unsigned long long m_position = 0;
    std::thread m_producer;
};
