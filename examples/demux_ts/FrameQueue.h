// FrameQueue.h - the frames of the two elementary streams, from the demuxer through CSoftEsBuffer to a file
// each.
#pragma once

#include "OutFile.h"
#include "Pes.h"

#include <array>
#include <deque>
#include <optional>
#include <string>

class FrameQueue {
public:
    static constexpr int kStreams = 2;

    struct Told {
        unsigned packets = 0; // PES packets with a payload
        unsigned long long bytes = 0;
        std::optional<unsigned long long> firstPts;
        std::optional<unsigned long long> lastPts;
    };

    // Both files get their names only when Finish came to its end. Throws std::runtime_error.
    FrameQueue(const std::string& video, const std::string& audio);
    ~FrameQueue();
    FrameQueue(const FrameQueue&) = delete;
    FrameQueue& operator=(const FrameQueue&) = delete;

    // Queues a frame, and writes those that are ready. Throws std::runtime_error when a frame does not come
    // out as it went in, or cannot be written.
    void Put(int stream, const PesFrame& frame);
    // The input has ended: writes the rest, and keeps both files or none.
    void Finish();

    const Told& Of(int stream) const { return m_told[static_cast<std::size_t>(stream)]; }

private:
    using Stamp = std::array<unsigned char, 8>; // the PTS, or all ones, as the bytes that go with a frame

    struct Frame {
        int stream = 0;
        int size = 0;
        Stamp stamp{};
        unsigned crc = 0; // of the payload

        bool operator==(const Frame&) const = default;
    };

    void WriteReady();

    CSoftEsBuffer m_frames;
    std::deque<Frame> m_expected; // as they went in, to be held against what comes out
    std::array<OutFile, kStreams> m_files;
    std::array<Told, kStreams> m_told;
    std::array<bool, kStreams> m_ended{};
};
