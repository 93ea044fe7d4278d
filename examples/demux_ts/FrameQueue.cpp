#include "FrameQueue.h"

#include "Crc.h"

#include <cstring>
#include <stdexcept>

namespace {

constexpr int kUsualFrame = 64 << 10;

constexpr unsigned long long kNoPts = ~0ull;

std::array<unsigned char, 8> StampOf(const PesFrame& frame) {
    std::array<unsigned char, 8> stamp{};
    const unsigned long long pts = frame.pts.value_or(kNoPts);
    static_assert(sizeof pts == sizeof stamp);
    std::memcpy(stamp.data(), &pts, sizeof pts);
    return stamp;
}

std::optional<unsigned long long> PtsOf(const std::array<unsigned char, 8>& stamp) {
    unsigned long long pts = 0;
    std::memcpy(&pts, stamp.data(), sizeof pts);
    return pts == kNoPts ? std::nullopt : std::optional(pts);
}

} // namespace

FrameQueue::FrameQueue(const std::string& video, const std::string& audio)
    : m_files{OutFile(video), OutFile(audio)} {
    m_frames.Init(kUsualFrame);
}

FrameQueue::~FrameQueue() {
    m_frames.Close();
}

void FrameQueue::Put(int stream, const PesFrame& frame) {
    if (frame.payload.empty()) {
        return; // the queue takes no frame without bytes
    }
    const Frame expected{stream, static_cast<int>(frame.payload.size()), StampOf(frame),
                         CrcOf(frame.payload)};
    m_expected.push_back(expected);
    Stamp stamp = expected.stamp;
    if (m_frames.PutDate(stream, frame.payload.data(), expected.size, stamp.data(),
                         static_cast<int>(stamp.size())) != 1) {
        throw std::runtime_error("there is no memory for a frame");
    }
    WriteReady();
}

void FrameQueue::WriteReady() {
    Frame got;
    unsigned char* data = nullptr;
    unsigned char* extra = nullptr;
    int extraSize = 0;
    PLUG_STREAMSTATE_ state = PLUG_STREAMSTATE_DATA;
    while (m_frames.GetDate(got.stream, data, got.size, extra, extraSize, state) == 1) {
        const auto stream = static_cast<std::size_t>(got.stream);
        // The tail of longer extra bytes would be of an earlier frame; here all have the same length.
        const bool whole = extraSize == static_cast<int>(got.stamp.size());
        if (whole) {
            std::memcpy(got.stamp.data(), extra, got.stamp.size());
        }
        got.crc = CrcOf({data, static_cast<std::size_t>(got.size)});
        if (!whole || m_expected.empty() || got != m_expected.front() || m_ended[stream]) {
            throw std::runtime_error("a frame did not come out as it went in");
        }
        m_expected.pop_front();
        m_ended[stream] = state == PLUG_STREAMSTATE_END;
        m_files[stream].Write({data, static_cast<std::size_t>(got.size)});
        Told& told = m_told[stream];
        ++told.packets;
        told.bytes += static_cast<unsigned>(got.size);
        if (const std::optional<unsigned long long> pts = PtsOf(got.stamp)) {
            told.firstPts = told.firstPts.value_or(*pts);
            told.lastPts = pts;
        }
    }
}

void FrameQueue::Finish() {
    m_frames.SetEndOfInput();
    WriteReady();
    for (std::size_t i = 0; i < m_files.size(); ++i) {
        if (!m_expected.empty() || m_ended[i] != (m_told[i].packets > 0)) {
            throw std::runtime_error("frames did not come out to the last");
        }
    }
    OutFile::Keep(m_files);
}
