// The other process of the tests of shared names and of started programs, built once for each width.
//
//   answer ASK REPLY ROUNDS   waits for ASK and signals REPLY, so often
//   ask ASK REPLY ROUNDS      signals ASK and waits for REPLY, so often
//                             both with two threads, each with events of its own: the names and "0" or "1"
//   hold NAME BYTES           holds a section, and an event of that name
//   wait NAME                 waits for the event until it is signalled
//   invert NAME               inverts the bytes of a section
//   report FILE [WORD...]     writes down how it was started; then waits for the event that the first word
//                             names, where there is one
//
// "hold" and "wait" print a line when they are ready, and hold ends with its input. 0 when all went well.
#include "frame/SystemLayer.h"
#include "sysu/NamedObjects.h"
#include "text/Utf8.h"

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits.h>
#include <map>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

using Words = std::vector<std::string>;

constexpr uint32 kHangLimit = 60'000; // milliseconds

void* EventOf(const std::string& name) {
    return VXC_CreateEventW(nullptr, 0, 0, vxcio::FromUtf8(name).c_str());
}

// Waits for one event and signals the other one, or the other way round.
bool HandOver(const std::string& wait, const std::string& signal, int rounds, bool first) {
    void* const waited = EventOf(wait);
    void* const signalled = EventOf(signal);
    bool whole = waited != nullptr && signalled != nullptr;
    for (int i = 0; whole && i < rounds; ++i) {
        whole = (!first || VXC_SetEvent(signalled) != 0) &&
                VXC_WaitForSingleObject(waited, kHangLimit) == VXC_WAIT_OBJECT_0 &&
                (first || VXC_SetEvent(signalled) != 0);
    }
    return whole && VXC_CloseHandle(waited) != 0 && VXC_CloseHandle(signalled) != 0;
}

bool InTwoThreads(const std::string& wait, const std::string& signal, const std::string& rounds, bool first) {
    bool other = false;
    std::thread thread([&] { other = HandOver(wait + "1", signal + "1", std::stoi(rounds), first); });
    const bool own = HandOver(wait + "0", signal + "0", std::stoi(rounds), first);
    thread.join();
    return own && other;
}

void SayReady() {
    std::puts("ready");
    std::fflush(stdout);
}

bool Hold(const Words& words) {
    const std::wstring name = vxcio::FromUtf8(words.at(0));
    void* const section =
        vxcio::CreateNamedSection(name.c_str(), static_cast<uint32>(std::stoul(words.at(1))), nullptr);
    void* const view = section == nullptr ? nullptr : vxcio::MapSection(section, 0, nullptr);
    void* const event = EventOf(words.at(0));
    if (view == nullptr || event == nullptr) {
        return false;
    }
    SayReady();
    std::getchar();
    return vxcio::CloseSection(section) != 0 && vxcio::UnmapSection(view) != 0 && VXC_CloseHandle(event) != 0;
}

bool Wait(const std::string& name, void (*ready)()) {
    void* const event = vxcio::OpenNamedEvent(vxcio::FromUtf8(name).c_str());
    if (event == nullptr) {
        return false;
    }
    ready();
    const bool signalled = VXC_WaitForSingleObject(event, kHangLimit) == VXC_WAIT_OBJECT_0;
    return VXC_CloseHandle(event) != 0 && signalled;
}

bool Invert(const Words& words) {
    void* const section = vxcio::OpenNamedSection(vxcio::FromUtf8(words.at(0)).c_str());
    uint64 bytes = 0;
    auto* const view =
        section == nullptr ? nullptr : static_cast<std::uint8_t*>(vxcio::MapSection(section, 0, &bytes));
    if (view == nullptr) {
        return false;
    }
    for (uint64 i = 0; i < bytes; ++i) {
        view[i] = static_cast<std::uint8_t>(~view[i]);
    }
    return vxcio::UnmapSection(view) != 0 && vxcio::CloseSection(section) != 0;
}

// "signal N blocked" or "signal N ignored" for each that is not as a new program wants it.
void ReportSignals(std::ofstream& out) {
    sigset_t mask;
    sigprocmask(SIG_BLOCK, nullptr, &mask);
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
            out << "signal " << number << " ignored\n";
        }
        if (sigismember(&mask, number) == 1) {
            out << "signal " << number << " blocked\n";
        }
    }
}

bool Report(const Words& words, const char* program) {
    const std::string whole = words.at(0);
    {
        // Looked at ahead of the file, which is a descriptor too; the one that looks is the last of them.
        std::map<int, std::string> descriptors;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code error;
            descriptors[std::stoi(entry.path().filename())] =
                std::filesystem::read_symlink(entry.path(), error).string();
        }
        std::ofstream out(whole + ".part");
        for (const auto& [number, target] : descriptors) {
            if (target.find("/proc/") != 0) {
                out << "descriptor " << number << " " << target << "\n";
            }
        }
        ReportSignals(out);
        const char* const value = std::getenv("VXC_PROGRAM_TEST");
        out << "bits " << 8 * sizeof(void*) << "\nprocess " << getpid() << "\nprogram " << program
            << "\nfolder " << std::filesystem::current_path().string() << "\nvalue "
            << (value == nullptr ? "" : value) << "\n";
        for (const std::string& word : words) {
            out << "word " << word << "\n";
        }
    }
    // In one step, so that who looks for it finds the whole of it.
    std::filesystem::rename(whole + ".part", whole);
    return words.size() < 2 || Wait(words.at(1), [] {});
}

bool Run(const std::string& command, const Words& words, const char* program) {
    if (command == "answer") {
        return InTwoThreads(words.at(0), words.at(1), words.at(2), false);
    }
    if (command == "ask") {
        return InTwoThreads(words.at(1), words.at(0), words.at(2), true);
    }
    if (command == "hold") {
        return Hold(words);
    }
    if (command == "wait") {
        return Wait(words.at(0), SayReady);
    }
    if (command == "invert") {
        return Invert(words);
    }
    return command == "report" && Report(words, program);
}

} // namespace

int main(int count, char** words) {
    try {
        return count > 1 && Run(words[1], Words(words + 2, words + count), words[0]) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
