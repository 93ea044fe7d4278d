#include "Console.h"

#include "ExitCodes.h"
#include "Terminal.h"

#include <cstdio>
#include <mutex>

namespace vxcio::tool {

namespace {

// Never destroyed: log lines may come from threads that outlive main.
std::mutex& ErrorMutex() {
    static auto* const mutex = new std::mutex;
    return *mutex;
}

bool g_barShown = false; // guarded by ErrorMutex

constexpr std::string_view kEraseLine = "\r\x1b[K";

void WriteError(std::string_view text) {
    // Where even this fails there is nobody left to tell.
    static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

} // namespace

void PrintBytes(const void* data, std::size_t bytes) {
    std::string reason;
    switch (WriteStandardOutput(data, bytes, reason)) {
    case Sent::Whole:
        return;
    case Sent::ClosedPipe:
        throw OutputLost{kExitClosedPipe};
    case Sent::Interrupted:
        throw OutputLost{kExitInterrupted};
    case Sent::Failed:
        Complain("cannot write to standard output: " + reason);
        throw OutputLost{kExitFailed};
    }
}

void Print(std::string_view text) {
    PrintBytes(text.data(), text.size());
}

void Complain(std::string_view text) {
    PrintErrorLine("vxcio: " + std::string(text));
}

void PrintErrorLine(std::string_view text) {
    std::string line(text);
    line += '\n';
    const std::lock_guard lock(ErrorMutex());
    if (g_barShown) {
        WriteError(kEraseLine);
        g_barShown = false;
    }
    WriteError(line);
}

void PrintQuestion(std::string_view text) {
    const std::lock_guard lock(ErrorMutex());
    if (g_barShown) {
        WriteError(kEraseLine);
        g_barShown = false;
    }
    WriteError(text);
}

void ShowBar(std::string_view bar) {
    const std::lock_guard lock(ErrorMutex());
    if (g_barShown || !bar.empty()) {
        WriteError(kEraseLine);
        WriteError(bar);
        g_barShown = !bar.empty();
    }
}

std::string Shown(std::string_view name) {
    std::string out(name);
    for (char& c : out) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            c = '?';
        }
    }
    return out;
}

std::string InQuotes(std::string_view name) {
    std::string out(1, '\'');
    out += Shown(name);
    out += '\'';
    return out;
}

} // namespace vxcio::tool
