// Libav.h - files of libavformat and its packets, which free themselves.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/version.h>
}

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace xdcam::libav {

// Throws std::runtime_error for a result that is a failure.
int Check(int result, const std::string& what);

struct CloseInput {
    void operator()(AVFormatContext* context) const noexcept { ::avformat_close_input(&context); }
};
struct FreePacket {
    void operator()(AVPacket* packet) const noexcept { ::av_packet_free(&packet); }
};

// A file that is read.
class Input {
public:
    explicit Input(const std::string& file);

    AVStream& Stream(unsigned index) const { return *m_pContext->streams[index]; }
    unsigned Streams() const { return m_pContext->nb_streams; }
    // The one stream of video.
    unsigned Video() const { return m_video; }
    AVRational FrameRate() const;
    // The next packet, which is good until the next call; null behind the last one.
    AVPacket* Next();

private:
    std::unique_ptr<AVFormatContext, CloseInput> m_pContext;
    std::unique_ptr<AVPacket, FreePacket> m_pPacket;
    unsigned m_video = 0;
};

// An MXF file that is written, in memory.
class MxfOutput {
public:
    MxfOutput();
    ~MxfOutput();
    MxfOutput(const MxfOutput&) = delete;
    MxfOutput& operator=(const MxfOutput&) = delete;

    // A stream like this one, at this rate where it is video. Which one it is.
    int Add(const AVStream& like, AVRational frameRate);
    void Begin();
    AVStream& Stream(int index) const { return *m_pContext->streams[index]; }
    // Times are in units of the stream's time base. It takes the packet's data.
    void Write(AVPacket& packet);
    // The whole file.
    std::vector<std::uint8_t> End();

private:
    static int OnWrite(void* self, std::uint8_t* data, int bytes);
    static std::int64_t OnSeek(void* self, std::int64_t offset, int whence);

    AVFormatContext* m_pContext = nullptr;
    std::vector<std::uint8_t> m_file;
    std::size_t m_at = 0;
};

// How many channels of sound a stream has.
int Channels(const AVCodecParameters& codec);

} // namespace xdcam::libav
