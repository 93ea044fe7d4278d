#include "xdcam/device/Libav.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>

namespace xdcam::libav {

int Check(int result, const std::string& what) {
    if (result < 0) {
        std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
        ::av_strerror(result, text.data(), text.size());
        throw std::runtime_error(what + ": " + text.data());
    }
    return result;
}

Input::Input(const std::string& file) : m_pPacket(::av_packet_alloc()) {
    ::av_log_set_level(AV_LOG_FATAL); // failures are told by what is thrown
    AVFormatContext* context = nullptr;
    // A file and nothing else, whatever its name looks like.
    Check(::avformat_open_input(&context, ("file:" + file).c_str(), ::av_find_input_format("mxf"), nullptr),
          file);
    m_pContext.reset(context);
    Check(::avformat_find_stream_info(context, nullptr), file);
    m_video = static_cast<unsigned>(
        Check(::av_find_best_stream(context, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0), file));
    if (FrameRate().num <= 0 || FrameRate().den <= 0 || !m_pPacket) {
        throw std::runtime_error(file + ": its frame rate is unknown");
    }
}

AVRational Input::FrameRate() const {
    const AVStream& video = Stream(m_video);
    return video.avg_frame_rate.num > 0 ? video.avg_frame_rate : video.r_frame_rate;
}

AVPacket* Input::Next() {
    ::av_packet_unref(m_pPacket.get());
    const int result = ::av_read_frame(m_pContext.get(), m_pPacket.get());
    if (result == AVERROR_EOF) {
        return nullptr;
    }
    Check(result, "reading a clip");
    return m_pPacket.get();
}

MxfOutput::MxfOutput() {
    Check(::avformat_alloc_output_context2(&m_pContext, nullptr, "mxf", nullptr), "an MXF file");
    constexpr int kBuffer = 1 << 16;
    auto* const buffer = static_cast<std::uint8_t*>(::av_malloc(kBuffer));
    m_pContext->pb = buffer == nullptr
                         ? nullptr
                         : ::avio_alloc_context(buffer, kBuffer, 1, this, nullptr, OnWrite, OnSeek);
    if (m_pContext->pb == nullptr) {
        ::av_free(buffer);
        ::avformat_free_context(m_pContext);
        throw std::runtime_error("no memory for an MXF file");
    }
    // Neither the time nor chance has a part in what is written.
    m_pContext->flags |= AVFMT_FLAG_BITEXACT;
    m_pContext->avoid_negative_ts = 0;
}

MxfOutput::~MxfOutput() {
    ::av_freep(&m_pContext->pb->buffer);
    ::avio_context_free(&m_pContext->pb);
    ::avformat_free_context(m_pContext);
}

int MxfOutput::Add(const AVStream& like, AVRational frameRate) {
    AVStream* const stream = ::avformat_new_stream(m_pContext, nullptr);
    if (stream == nullptr) {
        throw std::runtime_error("no memory for an MXF file");
    }
    Check(::avcodec_parameters_copy(stream->codecpar, like.codecpar), "a stream of an MXF file");
    stream->codecpar->codec_tag = 0;
    stream->time_base = like.time_base;
    if (like.codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
        stream->avg_frame_rate = stream->r_frame_rate = frameRate;
        stream->sample_aspect_ratio = like.sample_aspect_ratio;
    }
    return stream->index;
}

void MxfOutput::Begin() {
    Check(::avformat_write_header(m_pContext, nullptr), "the header of an MXF file");
}

void MxfOutput::Write(AVPacket& packet) {
    Check(::av_interleaved_write_frame(m_pContext, &packet), "writing an MXF file");
}

std::vector<std::uint8_t> MxfOutput::End() {
    Check(::av_write_trailer(m_pContext), "the end of an MXF file");
    ::avio_flush(m_pContext->pb);
    return std::move(m_file);
}

int MxfOutput::OnWrite(void* self, std::uint8_t* data, int bytes) {
    auto& output = *static_cast<MxfOutput*>(self);
    const auto count = static_cast<std::size_t>(bytes);
    try {
        output.m_file.resize(std::max(output.m_file.size(), output.m_at + count));
    } catch (const std::exception&) {
        return AVERROR(ENOMEM);
    }
    std::copy_n(data, count, output.m_file.begin() + static_cast<std::ptrdiff_t>(output.m_at));
    output.m_at += count;
    return bytes;
}

std::int64_t MxfOutput::OnSeek(void* self, std::int64_t offset, int whence) {
    auto& output = *static_cast<MxfOutput*>(self);
    const auto size = static_cast<std::int64_t>(output.m_file.size());
    if (whence == AVSEEK_SIZE) {
        return size;
    }
    const std::int64_t from = whence == SEEK_SET   ? 0
                              : whence == SEEK_END ? size
                                                   : static_cast<std::int64_t>(output.m_at);
    if (from + offset < 0 || from + offset > size) {
        return AVERROR(EINVAL);
    }
    output.m_at = static_cast<std::size_t>(from + offset);
    return from + offset;
}

int Channels(const AVCodecParameters& codec) {
    if (codec.codec_type != AVMEDIA_TYPE_AUDIO) {
        return 0;
    }
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 24, 100)
    return codec.ch_layout.nb_channels;
#else
    return codec.channels;
#endif
}

} // namespace xdcam::libav
