#include "Console.h"
#include "ExitCodes.h"
#include "PlugHost.h"
#include "Terminal.h"
#include "Text.h"
#include "Verbs.h"

#include "../../examples/frame_stats/FrameStatistics.h"
#include "../../examples/frame_stats/PlugError.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <thread>
#include <vector>

using frame_stats::FrameShape;
using frame_stats::FrameStatistics;
using frame_stats::PlugError;
using frame_stats::PlugServer;

namespace vxcio::tool {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::size_t kWarmUp = 200;
constexpr std::size_t kBusyCalls = 100000;
constexpr std::size_t kIdleCalls = 100;
constexpr std::size_t kPayloadCalls = 1000;
constexpr milliseconds kIdle{10};
constexpr milliseconds kMostOfEach{2000};
constexpr uint32 kPayload = 1u << 20;

// Width and height of a picture with room for the payload.
constexpr uint32 kSide = 1024;

// What a number of calls took, in microseconds.
struct Times {
    std::vector<double> sorted;

    double At(double share) const {
        return sorted[static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1))];
    }
};

// So many calls, or as many as the time allows. The pause in front of each does not count.
Times Measure(std::size_t most, milliseconds pause, const std::function<void()>& call) {
    Times times;
    times.sorted.reserve(most);
    const Clock::time_point end = Clock::now() + kMostOfEach;
    do {
        std::this_thread::sleep_for(pause);
        const Clock::time_point begin = Clock::now();
        call();
        times.sorted.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
    } while (times.sorted.size() < most && Clock::now() < end && !InterruptWanted());
    std::sort(times.sorted.begin(), times.sorted.end());
    return times;
}

Json AsJson(const Times& times) {
    return {{"calls", times.sorted.size()},
            {"median", times.At(0.5)},
            {"percentile99", times.At(0.99)},
            {"percentile99.9", times.At(0.999)}};
}

std::string InWords(const char* title, const Times& times) {
    char text[160];
    std::snprintf(text, sizeof text,
                  "  %-28s %7zu calls  median %8.2f us  99 %% %8.2f us  99.9 %% %8.2f us\n", title,
                  times.sorted.size(), times.At(0.5), times.At(0.99), times.At(0.999));
    return text;
}

// Bytes that went out and came back, in a second of the median call.
double Rate(const Times& times) {
    return 2.0 * kPayload / times.At(0.5) * 1e6;
}

int Bench(const Options& options, PlugServer& server) {
    const std::string path = PlugPath(options);
    CheckPlug(path, server);
    FrameStatistics plug(server, Widen(path), FrameShape{frame_stats::FORMAT_420, kSide, kSide},
                         options.callTimeOut, kPayload);
    const auto empty = [&plug] { plug.Reset(); };
    std::vector<uint8> payload(kPayload);
    for (std::size_t i = 0; i < payload.size(); ++i) {
        payload[i] = static_cast<uint8>(i * 31 >> 3);
    }
    std::vector<uint8> back(kPayload);
    const auto echo = [&] {
        if (!plug.Echo(payload, back)) {
            throw PlugError("the payload did not come back whole");
        }
    };
    const auto most = [&options](std::size_t calls) {
        return std::min<std::size_t>(calls, options.calls.value_or(UINT32_MAX));
    };
    Measure(most(kWarmUp), milliseconds{0}, empty);
    const Times busy = Measure(most(kBusyCalls), milliseconds{0}, empty);
    const Times idle = Measure(most(kIdleCalls), kIdle, empty);
    echo();
    const Times carried = Measure(most(kPayloadCalls), milliseconds{0}, echo);
    if (InterruptWanted()) {
        server.GiveUp();
        return kExitInterrupted;
    }
    if (back != payload) {
        throw PlugError("the payload came back with other bytes");
    }
    if (options.json) {
        Json out = {{"plug", path}, {"server", ServerJson(server)}, {"unit", "microseconds"}};
        out["busy"] = AsJson(busy);
        out["afterIdle"] = AsJson(idle);
        out["payload"] = AsJson(carried);
        out["payload"]["bytes"] = kPayload;
        out["payload"]["bytesPerSecond"] = Rate(carried);
        PrintJson(out);
        return kExitOk;
    }
    char rate[64];
    std::snprintf(rate, sizeof rate, "  %-28s %.0f MB/s\n", "", Rate(carried) / 1e6);
    Print(Shown(path) + "\n  server       " + ServerWords(server) + "\n" + InWords("empty call, busy", busy) +
          InWords("empty call, after 10 ms idle", idle) + InWords("1 MiB out and back", carried) + rate);
    return kExitOk;
}

} // namespace

int RunPlugBench(const Options& options, LogView& log) {
    return WithServer("plug bench", log, [&](PlugServer& server) { return Bench(options, server); });
}

} // namespace vxcio::tool
