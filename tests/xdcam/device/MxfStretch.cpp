#include "xdcam/device/MxfStretch.h"

#include "xdcam/device/Libav.h"
#include "xdcam/device/MpegPictures.h"
#include "xdcam/device/MxfRewrite.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace xdcam {

namespace {

using libav::Input;
using libav::MxfOutput;

std::string CodecOf(const AVCodecParameters& codec) {
    constexpr int kProfile422 = 0;
    const std::int64_t megabits = (codec.bit_rate + 500'000) / 1'000'000;
    if (codec.codec_id == AV_CODEC_ID_DVVIDEO) {
        return "DV25";
    }
    if (codec.codec_id == AV_CODEC_ID_MPEG2VIDEO && codec.width == 720) {
        return "IMX" + std::to_string(megabits > 45 ? 50 : megabits > 35 ? 40 : 30);
    }
    if (codec.codec_id == AV_CODEC_ID_MPEG2VIDEO && codec.width == 1920 && codec.profile == kProfile422) {
        return "MPEG2HD50CBR_1920_1080_422P@HL";
    }
    return "Undefined CODEC type.";
}

std::string RateOf(AVRational frames, bool isInterlaced) {
    const int nearest = (frames.num + frames.den / 2) / frames.den;
    const bool isWhole = frames.num % frames.den == 0;
    if (isInterlaced) {
        return isWhole ? std::to_string(2 * nearest) + "i" : nearest == 30 ? "59.94i" : "unknown";
    }
    return isWhole || nearest == 24 ? std::to_string(nearest) + "p" : "29.97p";
}

// Where a stream of the clip goes.
struct Target {
    int stream; // of the stretch; -1 for none
    std::int64_t start;
};

// How far pictures may come before they are shown: by so much times of decoding begin earlier.
template <typename Pictures>
std::int64_t Delay(const Pictures& shown) {
    std::int64_t delay = 0;
    for (std::size_t i = 0; i < shown.size(); ++i) {
        delay = std::max(delay, static_cast<std::int64_t>(i) - shown[i]);
    }
    return delay;
}

} // namespace

MxfClip::MxfClip(std::string file) : m_file(std::move(file)) {
    Input input(m_file);
    const AVStream& video = input.Stream(input.Video());
    for (unsigned i = 0; i < input.Streams(); ++i) {
        m_channels += static_cast<std::uint32_t>(libav::Channels(*input.Stream(i).codecpar));
    }
    const AVFieldOrder order = video.codecpar->field_order;
    m_codec = CodecOf(*video.codecpar);
    m_rate = RateOf(input.FrameRate(), order != AV_FIELD_PROGRESSIVE && order != AV_FIELD_UNKNOWN);

    std::vector<std::pair<std::int64_t, bool>> found;
    while (const AVPacket* const packet = input.Next()) {
        if (packet->stream_index == static_cast<int>(input.Video())) {
            found.emplace_back(::av_rescale_q(packet->pts, video.time_base, ::av_inv_q(input.FrameRate())),
                               (packet->flags & AV_PKT_FLAG_KEY) != 0);
        }
    }
    std::vector<bool> isThere(found.size());
    const auto first = std::min_element(found.begin(), found.end());
    for (const auto& [time, isKey] : found) {
        const auto frame = static_cast<std::uint64_t>(time - first->first);
        if (frame >= found.size() || isThere[frame]) {
            throw std::runtime_error(m_file + ": its pictures have no order");
        }
        isThere[frame] = true;
        m_pictures.push_back({static_cast<std::uint32_t>(frame), isKey});
    }
    if (m_pictures.empty() || !m_pictures.front().isKey) {
        throw std::runtime_error(m_file + ": it does not begin with a key frame");
    }
}

MxfClip::Range MxfClip::RangeOf(std::uint32_t first, std::uint32_t count) const {
    if (count == 0 || first >= Frames() || count > Frames() - first) {
        throw std::out_of_range("the clip has no such frames");
    }
    Range range{};
    for (std::size_t i = 0; i < m_pictures.size(); ++i) {
        if (m_pictures[i].isKey && m_pictures[i].shown <= first) {
            range.begin = i;
            range.key = m_pictures[i].shown;
        }
    }
    // Up to where no frame is missing between the first and the last one of the stretch.
    const std::uint32_t last = first + count - 1;
    std::uint32_t latest = 0;
    bool isWhole = false;
    for (range.end = range.begin; range.end < m_pictures.size() && !isWhole; ++range.end) {
        if (const std::uint32_t shown = m_pictures[range.end].shown; shown < range.key) {
            ++range.lost;
        } else {
            ++range.kept;
            latest = std::max(latest, shown);
        }
        isWhole = latest >= last && latest - range.key + 1 == range.kept;
    }
    if (!isWhole) {
        throw std::runtime_error(m_file + ": its pictures have no order");
    }
    return range;
}

Stretch MxfClip::Cut(std::uint32_t first, std::uint32_t count) const {
    const Range range = RangeOf(first, count);
    std::vector<std::int64_t> shown; // in the stretch
    for (std::size_t i = range.begin; i < range.end; ++i) {
        if (m_pictures[i].shown >= range.key) {
            shown.push_back(m_pictures[i].shown - range.key);
        }
    }
    const std::int64_t delay = Delay(shown);

    Input input(m_file);
    const AVRational frameTime = ::av_inv_q(input.FrameRate());
    MxfOutput output;
    std::vector<Target> targets;
    for (unsigned i = 0; i < input.Streams(); ++i) {
        const AVMediaType type = input.Stream(i).codecpar->codec_type;
        const bool isTaken = i == input.Video() || type == AVMEDIA_TYPE_AUDIO;
        targets.push_back({isTaken ? output.Add(input.Stream(i), input.FrameRate()) : -1, AV_NOPTS_VALUE});
    }
    output.Begin();
    const bool isMpeg = input.Stream(input.Video()).codecpar->codec_id == AV_CODEC_ID_MPEG2VIDEO;
    std::size_t met = 0;  // pictures of the clip
    std::int64_t put = 0; // of the stretch
    bool isFirstGroup = true;
    while (AVPacket* const packet = input.Next()) {
        const auto index = static_cast<unsigned>(packet->stream_index);
        Target& target = targets[index];
        AVRational unit = frameTime;
        if (index == input.Video()) {
            const std::size_t picture = met++;
            if (picture < range.begin || picture >= range.end || m_pictures[picture].shown < range.key) {
                continue;
            }
            isFirstGroup = isFirstGroup && (picture == range.begin || !m_pictures[picture].isKey);
            if (isMpeg && range.lost > 0 && isFirstGroup) {
                libav::Check(::av_packet_make_writable(packet), "a picture");
                CloseGroup(packet->data, static_cast<std::size_t>(packet->size), range.lost);
            }
            packet->pts = shown[static_cast<std::size_t>(put)];
            packet->dts = put++ - delay;
            packet->duration = 1;
        } else {
            // A packet of sound goes with one frame, give or take a sample.
            unit = input.Stream(index).time_base;
            const std::int64_t frame = ::av_rescale_q(packet->pts, unit, frameTime);
            const bool isBehind = frame >= std::int64_t{range.key} + range.kept;
            if (isBehind && met >= range.end) {
                break;
            }
            if (target.stream < 0 || frame < range.key || isBehind) {
                continue;
            }
            target.start = target.start == AV_NOPTS_VALUE ? packet->pts : target.start;
            packet->pts -= target.start;
            packet->dts = packet->pts;
        }
        packet->pos = -1;
        packet->stream_index = target.stream;
        ::av_packet_rescale_ts(packet, unit, output.Stream(target.stream).time_base);
        output.Write(*packet);
    }
    return {RewriteHeader(output.End(), {first - range.key, count}), first - range.key, range.kept};
}

} // namespace xdcam
