// vxcio-xdcam-sim [OPTION...] FOLDER - serves the clips of a folder as an XDCAM device does (XdcamDevice.h).
//
// It prints "ready PORT" once it listens, and ends at SIGINT, SIGTERM or SIGHUP, or when its standard input
// ends: so it never outlives whoever holds the other end.
//
// Exit codes: 0 it was ended, 1 it cannot listen or there is no such folder, 2 wrong usage.
#include "xdcam/device/XdcamDevice.h"

#include <charconv>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/signalfd.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr const char* kUsage =
    "usage: vxcio-xdcam-sim [OPTION...] FOLDER\n"
    "Serves the MXF clips of FOLDER by FTP as an XDCAM device does, until its standard input ends.\n"
    "\n"
    "  --listen ADDRESS            the own address; 127.0.0.1 where none is given\n"
    "  --port PORT                 the port; any that is free where none is given\n"
    "  --user NAME                 lets this user in alone, else everybody\n"
    "  --password WORD             with this password\n"
    "  --passive                   passive transfers work as well\n"
    "  --space NUMBER              tells so much to be free; else what the disk has, in bytes\n"
    "  --verbose                   shows what is said, on standard error\n"
    "\n"
    "What a command does otherwise; each may be given for several commands:\n"
    "  --delay COMMAND=MS          waits before its first reply\n"
    "  --refuse COMMAND=REPLY      gives this reply instead; 421 ends the session\n"
    "  --closing COMMAND=REPLY     gives this reply when its data has ended\n"
    "  --stall COMMAND=BYTES       sends so many bytes of its data, and no more until the client has enough\n"
    "  --cut COMMAND=BYTES         ends the data connection after so many bytes\n"
    "  --reset COMMAND=BYTES       resets it after so many bytes\n"
    "  --split COMMAND=BYTES,MS    makes a pause after so many bytes\n"
    "COMMAND is CONNECT (for the greeting), STAT, SITE-DF, SITE-REPF, RETR, LIST, ...\n";

template <typename Number>
Number NumberIn(std::string_view text) {
    Number number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc() || end != text.data() + text.size()) {
        throw std::invalid_argument(std::string(text) + " is no number here");
    }
    return number;
}

std::chrono::milliseconds TimeIn(std::string_view text) {
    return std::chrono::milliseconds(NumberIn<std::uint32_t>(text));
}

// Both sides of the first such character.
std::pair<std::string, std::string> Halves(const std::string& text, char between) {
    const std::size_t at = text.find(between);
    if (at == std::string::npos || at == 0) {
        throw std::invalid_argument(text + ": '" + between + "' is missing");
    }
    return {text.substr(0, at), text.substr(at + 1)};
}

void SetTrouble(xdcam::Trouble& trouble, std::string_view option, const std::string& value) {
    if (option == "--delay") {
        trouble.delay = TimeIn(value);
    } else if (option == "--refuse") {
        trouble.refusal = value;
    } else if (option == "--closing") {
        trouble.closing = value;
    } else if (option == "--stall") {
        trouble.stallAfter = NumberIn<std::uint64_t>(value);
    } else if (option == "--cut") {
        trouble.cutAfter = NumberIn<std::uint64_t>(value);
    } else if (option == "--reset") {
        trouble.resetAfter = NumberIn<std::uint64_t>(value);
    } else if (option == "--split") {
        const auto [bytes, pause] = Halves(value, ',');
        trouble.splitAfter = NumberIn<std::uint64_t>(bytes);
        trouble.splitPause = TimeIn(pause);
    } else {
        throw std::invalid_argument(std::string(option) + ": no such option");
    }
}

void SetValue(xdcam::DeviceOptions& options, std::string_view option, const std::string& value) {
    if (option == "--listen") {
        options.listen = value;
    } else if (option == "--port") {
        options.port = NumberIn<std::uint16_t>(value);
    } else if (option == "--user") {
        options.user = value;
    } else if (option == "--password") {
        options.password = value;
    } else if (option == "--space") {
        options.space = NumberIn<std::uint64_t>(value);
    } else {
        const auto [command, rest] = Halves(value, '=');
        SetTrouble(options.troubles[command], option, rest);
    }
}

void Show(const std::string& line) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    std::fprintf(stderr, "%s\n", line.c_str());
}

// None where help is wanted.
std::optional<xdcam::DeviceOptions> OptionsIn(int argc, char** argv) {
    xdcam::DeviceOptions options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--help") {
            return std::nullopt;
        }
        if (word == "--passive") {
            options.passive = true;
        } else if (word == "--verbose") {
            options.talk = Show;
        } else if (!word.starts_with("--")) {
            if (!options.folder.empty()) {
                throw std::invalid_argument("one folder, please");
            }
            options.folder = word;
        } else if (++i < argc) {
            SetValue(options, word, argv[i]);
        } else {
            throw std::invalid_argument(word + ": its value is missing");
        }
    }
    if (options.folder.empty()) {
        throw std::invalid_argument("a folder is missing");
    }
    return options;
}

// Until there is a reason to end.
void Wait(const sigset_t& ends) {
    const int signals = ::signalfd(-1, &ends, SFD_CLOEXEC);
    for (;;) {
        pollfd ready[] = {{signals, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
        char byte = 0;
        if (::poll(ready, 2, -1) > 0 &&
            (ready[0].revents != 0 || (ready[1].revents != 0 && ::read(STDIN_FILENO, &byte, 1) <= 0))) {
            break;
        }
    }
    ::close(signals);
}

} // namespace

int main(int argc, char** argv) {
    sigset_t ends;
    sigemptyset(&ends);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&ends, number);
    }
    pthread_sigmask(SIG_BLOCK, &ends, nullptr); // of all threads to come, too
    try {
        std::optional<xdcam::DeviceOptions> options = OptionsIn(argc, argv);
        if (!options) {
            std::fputs(kUsage, stdout);
            return 0;
        }
        const xdcam::XdcamDevice device(std::move(*options));
        std::printf("ready %d\n", device.Port());
        std::fflush(stdout);
        Wait(ends);
        return 0;
    } catch (const std::invalid_argument& failure) {
        std::fprintf(stderr, "vxcio-xdcam-sim: %s\n%s", failure.what(), kUsage);
        return 2;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "vxcio-xdcam-sim: %s\n", failure.what());
        return 1;
    }
}
