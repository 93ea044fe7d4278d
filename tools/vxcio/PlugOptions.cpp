#include "PlugOptions.h"

#include "Console.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <string>
#include <string_view>

namespace vxcio::tool {

namespace {

constexpr uint32 kMostPixels = 16384;
constexpr uint32 kMostFramesPerSecond = 30; // a time code has room for no more
constexpr uint32 kMostTimeOut = 3600000;

constexpr const char* kPlugFooter =
    "The plug-in runs in a server, a process of its own, which begins and ends with the call of the tool.\n"
    "PLUG is a module that is as wide as the server. Left out it is the frame statistics plug-in that is\n"
    "installed beside the server, VXC32/plugs/FrameStats.so.\n";

constexpr const char* kCallFooter =
    "FILE holds raw frames of 8 bits, as ffmpeg writes them with -f rawvideo -pix_fmt yuv420p or yuv422p, "
    "and\n"
    "may be FIRST*SECOND. Prints the luma of each frame, and of all of them.\n";

CLI::App* Add(CLI::App& plug, Options& options, const char* name, const char* help) {
    CLI::App* const verb = plug.add_subcommand(name, help);
    verb->fallthrough();
    verb->add_flag("--json", options.json, "Print JSON");
    return verb;
}

void AddTimeOut(CLI::App& verb, Options& options) {
    verb.add_option("--timeout", options.callTimeOut, "How long one call may take (2000)")
        ->check(CLI::Range(uint32{1}, kMostTimeOut))
        ->type_name("MS");
}

uint32 TakePixels(const std::string& text) {
    uint32 number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < 1 || number > kMostPixels) {
        throw CLI::ValidationError("'" + Shown(text) + "' is no width or height: 1 to " +
                                   std::to_string(kMostPixels) + " pixels");
    }
    return number;
}

void AddCall(CLI::App& plug, Options& options, const std::string& footer) {
    CLI::App* const verb =
        Add(plug, options, "call", "Have a frame statistics plug-in count the frames of a file");
    AddTimeOut(*verb, options);
    verb->add_option("--fps", options.framesPerSecond, "Frames a second, 1 to 30, for the time codes (25)")
        ->check(CLI::Range(uint32{1}, kMostFramesPerSecond))
        ->type_name("N");
    verb->add_option("--format", options.format, "420 or 422 (420)")
        ->check(CLI::IsMember({420, 422}))
        ->type_name("N");
    verb->add_option("NAME", options.names, "[PLUG] FILE WIDTH HEIGHT")->required()->type_name("");
    verb->footer(std::string(kCallFooter) + footer);
    verb->callback([&options] {
        options.verb = Verb::PlugCall;
        if (options.names.size() < 3 || options.names.size() > 4) {
            throw CLI::ValidationError("plug call", "takes FILE WIDTH HEIGHT, and PLUG in front of them");
        }
        options.height = TakePixels(options.names.back());
        options.names.pop_back();
        options.width = TakePixels(options.names.back());
        options.names.pop_back();
        if (options.names.size() > 1) {
            options.plug = options.names.front();
            options.names.erase(options.names.begin());
        }
    });
}

} // namespace

void AddPlugVerbs(CLI::App& plug, Options& options, const char* footer) {
    plug.require_subcommand(1);
    const std::string whole = std::string(kPlugFooter) + footer;
    CLI::App* const load = Add(plug, options, "load", "Have the server load a plug-in, and free it again");
    load->callback([&options] { options.verb = Verb::PlugLoad; });
    load->add_option("PLUG", options.plug, "Path of the module")->type_name("");
    load->footer(whole);
    AddCall(plug, options, whole);
    CLI::App* const bench =
        Add(plug, options, "bench", "Measure calls to a frame statistics plug-in, for a few seconds");
    bench->callback([&options] { options.verb = Verb::PlugBench; });
    AddTimeOut(*bench, options);
    bench->add_option("--calls", options.calls, "Make so many calls of each kind at the most")
        ->check(CLI::Range(uint32{1}, UINT32_MAX))
        ->type_name("N");
    bench->add_option("PLUG", options.plug, "Path of the module")->type_name("");
    bench->footer(whole);
}

} // namespace vxcio::tool
