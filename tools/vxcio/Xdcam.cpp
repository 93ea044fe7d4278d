// vxcio xdcam: what devices tell of their clips and their space, and stretches of clips.
#include "Console.h"
#include "CopyPlan.h"
#include "CopyReport.h"
#include "Copying.h"
#include "ExitCodes.h"
#include "FtpCommands.h"
#include "Json.h"
#include "Sizes.h"
#include "Terminal.h"
#include "Text.h"
#include "Verbs.h"

#include "frame/Status.h"

#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace vxcio::tool {

namespace {

// ---- Clips --------------------------------------------------------------------------------------------

// What the library gives, from values that it never gives for a line that is there and makes sense.
struct ClipAnswer {
    PLUG_VIDEO_TYPE_ video = static_cast<PLUG_VIDEO_TYPE_>(-1);
    uint32 length = UINT32_MAX;
    uint32 sound = UINT32_MAX;
    uint32 rate = 0;
    uint32 scale = 0;
};

struct Sound {
    uint32 channels;
    uint32 bits;
};
struct Rate {
    uint32 frames; // in `seconds`
    uint32 seconds;
};

// What the device has told.
struct ClipFacts {
    std::optional<int> video;
    std::optional<Rate> rate;
    std::optional<Sound> sound;
    std::optional<uint32> frames;

    bool IsEmpty() const { return !video && !rate && !sound && !frames; }
};

// The library takes the last line of a reply for one more fact, so the lines in front of it are counted too.
ClipFacts FactsOf(const ClipAnswer& answer, std::size_t lines) {
    ClipFacts facts;
    if (lines > 2 && answer.video != static_cast<PLUG_VIDEO_TYPE_>(-1)) {
        facts.video = answer.video;
    }
    if (lines > 3 && answer.rate != 0 && answer.scale != 0) {
        facts.rate = Rate{answer.rate, answer.scale};
    }
    if (lines > 4 && answer.sound != UINT32_MAX) {
        facts.sound = Sound{answer.sound >> 16, answer.sound & 0xFFFFu};
    }
    if (lines > 5 && answer.length <= INT32_MAX) {
        facts.frames = answer.length;
    }
    return facts;
}

// Empty, or why not even one of them is known.
std::string AskForClip(FtpCommands& commands, const FtpName& clip, ClipFacts& facts) {
    if (clip.OwnName().empty()) {
        return "it names a folder";
    }
    const auto answer = std::make_shared<ClipAnswer>();
    FtpTalk talk;
    std::string reason = commands.Do(
        clip,
        [answer, path = Widen(clip.path)](CSoftDataIO& io) {
            return io.GetXDCAMMXFInfo(path.c_str(), answer->video, answer->length, answer->sound,
                                      answer->rate, answer->scale);
        },
        &talk);
    if (!reason.empty()) {
        return reason;
    }
    // The library looks at no number of a reply, and takes one line for the answer to all.
    facts =
        talk.ReplyTo("STAT").starts_with('2') ? FactsOf(*answer, talk.LinesOfReplyTo("STAT")) : ClipFacts{};
    return facts.IsEmpty() ? talk.Words() : std::string();
}

const char* VideoWord(int video) {
    switch (video) {
    case 2:
        return "MPEG HD";
    case 3:
        return "IMX";
    case 6:
        return "DV";
    default:
        return "unknown";
    }
}

double FramesPerSecond(const Rate& rate) {
    return static_cast<double>(rate.frames) / rate.seconds;
}

double SecondsOf(uint32 frames, const Rate& rate) {
    const uint64 milliseconds = (uint64{frames} * rate.seconds * 1000 + rate.frames / 2) / rate.frames;
    return static_cast<double>(milliseconds) / 1000;
}

// "0:01:36.897".
std::string TimeWords(double seconds) {
    const auto milliseconds = static_cast<uint64>(seconds * 1000 + 0.5);
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%llu:%02u:%02u.%03u",
                  static_cast<unsigned long long>(milliseconds / 3600000),
                  static_cast<unsigned>(milliseconds / 60000 % 60),
                  static_cast<unsigned>(milliseconds / 1000 % 60),
                  static_cast<unsigned>(milliseconds % 1000));
    return text.data();
}

std::string RateWords(const Rate& rate) {
    if (rate.seconds == 1) {
        return std::to_string(rate.frames);
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.2f", FramesPerSecond(rate));
    return text.data() + (" (" + std::to_string(rate.frames) + "/" + std::to_string(rate.seconds) + ")");
}

std::string Counted(uint64 count, const char* one) {
    return WithCommas(count) + " " + one + (count == 1 ? "" : "s");
}

std::string TextOf(const std::string& name, const ClipFacts& facts) {
    const std::string none = "the device does not tell it";
    const std::string video =
        facts.video ? std::to_string(*facts.video) + " (" + VideoWord(*facts.video) + ")" : none;
    const std::string sound =
        facts.sound ? Counted(facts.sound->channels, "channel") + " of " + Counted(facts.sound->bits, "bit")
                    : none;
    const std::string rate = facts.rate ? RateWords(*facts.rate) + " frames a second" : none;
    const std::string length =
        facts.frames && facts.rate ? TimeWords(SecondsOf(*facts.frames, *facts.rate)) : "not known";
    return Shown(name) + "\n  video    " + video + "\n  rate     " + rate + "\n  sound    " + sound +
           "\n  frames   " + (facts.frames ? WithCommas(*facts.frames) : none) + "\n  length   " + length +
           "\n";
}

Json JsonOf(const std::string& name, const ClipFacts& facts) {
    Json out = {{"name", name}};
    Json notTold = Json::array();
    if (facts.video) {
        out["videoType"] = *facts.video;
        out["videoTypeText"] = VideoWord(*facts.video);
    } else {
        notTold.push_back("videoType");
    }
    if (facts.rate) {
        out["rate"] = facts.rate->frames;
        out["scale"] = facts.rate->seconds;
        out["framesPerSecond"] = FramesPerSecond(*facts.rate);
    } else {
        notTold.push_back("rate");
    }
    if (facts.sound) {
        out["channels"] = facts.sound->channels;
        out["bitsPerSample"] = facts.sound->bits;
    } else {
        notTold.push_back("channels");
    }
    if (facts.frames) {
        out["frames"] = *facts.frames;
    } else {
        notTold.push_back("frames");
    }
    if (facts.frames && facts.rate) {
        out["seconds"] = SecondsOf(*facts.frames, *facts.rate);
    }
    out["notTold"] = std::move(notTold);
    return out;
}

// ---- Space --------------------------------------------------------------------------------------------

// As the device tells it. Nothing with a reason.
std::optional<int64> AskForSpace(FtpCommands& commands, const FtpName& device, std::string& reason) {
    const auto space = std::make_shared<uint64>(0);
    FtpTalk talk;
    reason = commands.Do(
        device,
        [space](CSoftDataIO& io) {
            *space = io.GetXDCAMFreeSpace();
            return *space != 0 ? 1 : 0;
        },
        &talk);
    const std::string reply = talk.ReplyTo("SITE");
    if (reason.empty() && *space == VXC_STATUS_FTP_SEND && reply.empty()) {
        reason = FtpStatusWords(VXC_STATUS_FTP_SEND, {});
    } else if (!reason.empty() && (reply.starts_with('1') || reply.starts_with('2'))) {
        reason = "the device reports no free space, or 0: " + reason;
    }
    return reason.empty() ? std::optional<int64>(static_cast<int64>(*space)) : std::nullopt;
}

// ---- Stretches ----------------------------------------------------------------------------------------

void TellFrames(const CopyJob& job, const FtpStretch& stretch, const Options& options) {
    const uint32 before = stretch.from - stretch.first;
    const bool isSense = before <= stretch.from;
    if (options.json) {
        Json line = {{"event", "stretch"},
                     {"from", job.input.written},
                     {"to", job.target},
                     {"asked", {{"from", stretch.from}, {"to", stretch.to}}},
                     {"before", before}};
        if (isSense) {
            line["frames"] = {{"from", stretch.first}, {"to", stretch.to}};
        }
        PrintJsonLine(line);
        return;
    }
    // To md5sum -c it is a comment.
    const auto frames = [&stretch](uint32 first) {
        return "# frames " + WithCommas(first) + " to " + WithCommas(stretch.to - 1);
    };
    const std::string asked = WithCommas(stretch.from);
    if (before == 0) {
        Print(frames(stretch.from) + "\n");
    } else if (isSense) {
        Print(frames(stretch.first) + ": a picture can be decoded from frame " + WithCommas(stretch.first) +
              " on, and frame " + asked + " is number " + WithCommas(uint64{before} + 1) + " of them\n");
    } else {
        Print(frames(stretch.from) + ", and " + WithCommas(before) +
              " in front of them, as the file says; the "
              "clip has only " +
              asked + " there\n");
    }
}

} // namespace

int RunXdcamInfo(const Options& options, LogView& log) {
    FtpCommands commands(options, log);
    int code = kExitOk;
    Json all = Json::array();
    for (const std::string& text : options.names) {
        if (InterruptWanted()) {
            return kExitInterrupted;
        }
        std::string reason;
        ClipFacts facts;
        const std::optional<FtpName> clip = ParseFtpName(text, reason);
        const std::string name = clip ? clip->Shown() : WithoutPasswords(text);
        reason = clip ? AskForClip(commands, *clip, facts) : reason;
        if (!reason.empty()) {
            Complain("xdcam info: " + InQuotes(name) + ": " + reason);
            all.push_back({{"name", name}, {"error", reason}});
            code = kExitFailed;
        } else if (options.json) {
            all.push_back(JsonOf(name, facts));
        } else {
            Print(TextOf(name, facts));
        }
    }
    if (options.json) {
        PrintJson(all);
    }
    return code;
}

int RunXdcamSpace(const Options& options, LogView& log) {
    std::string reason;
    const std::string& text = options.names.front();
    const std::optional<FtpName> device = ParseFtpName(text, reason);
    const std::string name = device ? device->Shown() : WithoutPasswords(text);
    std::optional<int64> space;
    if (device) {
        FtpCommands commands(options, log);
        space = AskForSpace(commands, *device, reason);
    }
    if (!space) {
        Complain("xdcam space: " + InQuotes(name) + ": " + reason);
    }
    if (options.json) {
        PrintJson(space ? Json{{"name", name}, {"space", *space}} : Json{{"name", name}, {"error", reason}});
    } else if (space) {
        Print(std::to_string(*space) + "\n");
    }
    return space ? kExitOk : kExitFailed;
}

int RunXdcamFetch(const Options& options, LogView& log) {
    CopyPlan plan = MakeCopyPlan(options, log);
    if (plan.exitCode != kExitOk) {
        Complain("xdcam fetch: " + plan.reason);
        return plan.exitCode;
    }
    CopyJob& job = plan.jobs.front();
    job.verb = "xdcam fetch";
    const auto stretch =
        std::make_shared<FtpStretch>(FtpStretch{.from = options.fromFrame, .to = options.toFrame});
    job.input.entries.front().stretch = stretch;
    CopyReport report(options, [] { return CopyReport::Clock::now(); });
    const int code = CopyOne(job, options, log, report);
    if (code == kExitOk) {
        TellFrames(job, *stretch, options);
    }
    return code;
}

} // namespace vxcio::tool
