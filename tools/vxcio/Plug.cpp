#include "Console.h"
#include "ExitCodes.h"
#include "Names.h"
#include "PlugHost.h"
#include "Stream.h"
#include "Terminal.h"
#include "Text.h"
#include "Verbs.h"

#include "../../examples/frame_stats/FrameStatistics.h"
#include "../../examples/frame_stats/PlugError.h"
#include "../../examples/frame_stats/TimeCode.h"

#include <cinttypes>
#include <cstdio>

using frame_stats::FrameShape;
using frame_stats::FrameStatistics;
using frame_stats::LoadedPlug;
using frame_stats::LumaStatistics;
using frame_stats::PlugError;
using frame_stats::PlugServer;

namespace vxcio::tool {

namespace {

std::string Hexadecimal(uint64 number) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%016" PRIx64, number);
    return text;
}

FrameShape ShapeOf(const Options& options) {
    return {options.format == 422 ? frame_stats::FORMAT_422 : frame_stats::FORMAT_420, options.width,
            options.height};
}

// Throws where the file does not hold whole frames alone.
uint32 CountFrames(Stream& stream, const std::string& name, uint32 frameBytes) {
    const uint64 size = stream.Size();
    const uint64 frames = size / frameBytes;
    if (frames == 0 || size % frameBytes != 0 || frames > UINT32_MAX) {
        throw PlugError("'" + Shown(name) + "' holds " + std::to_string(frames) + " frames of " +
                        std::to_string(frameBytes) + " bytes and " + std::to_string(size % frameBytes) +
                        " bytes more");
    }
    return static_cast<uint32>(frames);
}

void ReadFrame(Stream& stream, const std::string& name, std::vector<uint8>& frame) {
    for (std::size_t done = 0; done < frame.size();) {
        const int got = stream.Read(frame.data() + done, static_cast<uint32>(frame.size() - done));
        if (got <= 0) {
            throw PlugError("'" + Shown(name) + "' cannot be read to its end");
        }
        done += static_cast<std::size_t>(got);
    }
}

Json AsJson(const char* event, const LumaStatistics& statistics) {
    Json out;
    out["event"] = event;
    out["timeCode"] = frame_stats::InDigits(statistics.timeCode);
    out["min"] = statistics.Least();
    out["max"] = statistics.Most();
    out["average"] = statistics.Average();
    out["pixels"] = statistics.Pixels();
    out["histogram"] = statistics.histogram;
    return out;
}

void TellFrame(const Options& options, uint32 frame, const LumaStatistics& statistics) {
    if (options.json) {
        Json out = AsJson("frame", statistics);
        out["frame"] = frame;
        PrintJsonLine(out);
    } else {
        Print("frame " + std::to_string(frame) + "  " + InWords(statistics) + "\n");
    }
}

void TellTotal(const Options& options, const PlugServer& server, const LumaStatistics& statistics) {
    if (options.json) {
        Json out = AsJson("total", statistics);
        out["frames"] = statistics.frames;
        out["server"] = ServerJson(server);
        PrintJsonLine(out);
    } else {
        Print("total " + std::to_string(statistics.frames) + "  " + InWords(statistics) + "\n");
    }
}

int CountAll(const Options& options, PlugServer& server, Stream& stream, const std::string& name) {
    const FrameShape shape = ShapeOf(options);
    const std::string plug = PlugPath(options);
    CheckPlug(plug, server);
    const uint32 frames = CountFrames(stream, name, shape.Bytes());
    FrameStatistics statistics(server, Widen(plug), shape, options.callTimeOut);
    std::vector<uint8> picture(shape.Bytes());
    for (uint32 frame = 0; frame < frames; ++frame) {
        if (InterruptWanted()) {
            server.GiveUp();
            return kExitInterrupted;
        }
        ReadFrame(stream, name, picture);
        const SPlugLinearTimeCode timeCode = frame_stats::TimeCodeOf(frame, options.framesPerSecond);
        TellFrame(options, frame, statistics.Count(frame, timeCode, picture.data()));
    }
    TellTotal(options, server, statistics.Total());
    return kExitOk;
}

} // namespace

int RunPlugLoad(const Options& options, LogView& log) {
    return WithServer("plug load", log, [&](PlugServer& server) {
        const std::string path = PlugPath(options);
        CheckPlug(path, server);
        LoadedPlug plug(server, Widen(path));
        const std::string handle = Hexadecimal(plug.Handle());
        plug.Free();
        if (options.json) {
            PrintJson({{"plug", path}, {"handle", handle}, {"server", ServerJson(server)}});
        } else {
            Print(Shown(path) + "\n  handle       " + handle + "\n  server       " + ServerWords(server) +
                  "\n");
            if (server.Facts()) {
                Print("  program      " + Shown(server.Facts()->program) + "\n");
            }
        }
        return kExitOk;
    });
}

int RunPlugCall(const Options& options, LogView& log) {
    std::string reason;
    const std::optional<std::vector<Input>> inputs = ReadNames(options.names, false, reason);
    if (!inputs) {
        Complain("plug call: " + reason);
        return kExitFailed;
    }
    const std::string& name = inputs->front().written;
    const std::unique_ptr<Stream> stream = Stream::Open(inputs->front(), options, log, reason);
    if (!stream) {
        Complain("plug call: cannot open '" + Shown(name) + "': " + reason);
        return kExitFailed;
    }
    return WithServer("plug call", log,
                      [&](PlugServer& server) { return CountAll(options, server, *stream, name); });
}

} // namespace vxcio::tool
