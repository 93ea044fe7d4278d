#include "HttpWords.h"

#include "Console.h"

#include "frame/SystemLayer.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <mutex>
#include <utility>
#include <vector>

namespace vxcio::tool {

namespace {

constexpr uint32 kUsualSilence = 60000; // milliseconds, as the module waits
constexpr uint32 kLeastSilence = 1000;
constexpr uint32 kNoLimit = 0xFFFFFFFF;
constexpr std::chrono::milliseconds kForEver = std::chrono::hours(24 * 365);
// The module gives a line of 10 bytes in a millisecond its time, and makes pauses between attempts.
constexpr uint64 kSlowestRate = 10;
constexpr std::chrono::milliseconds kOfItsOwn{5000};

} // namespace

void HidePassword(const HttpName& name, LogView& log) {
    for (const std::string* const secret : {&name.password, &name.decoded}) {
        if (!secret->empty()) {
            log.Hide(*secret);
        }
    }
}

std::chrono::milliseconds HttpSilence(const Options& options) {
    uint32 value = options.ftpTimeOut.value_or(0);
    if (value == 0 && (VXC_GetGlobalIntW(L"Software\\Norvex", L"SoftCodec", L"HttpTimeOut", &value, 1) == 0 ||
                       value < kLeastSilence)) {
        value = kUsualSilence;
    }
    return value == kNoLimit ? kForEver : std::chrono::milliseconds(value);
}

std::chrono::milliseconds HttpLimit(std::chrono::milliseconds silence, uint64 bytes) {
    return std::min(kForEver, silence + kOfItsOwn + std::chrono::milliseconds(bytes / kSlowestRate));
}

std::string ModuleWords(const HttpName& name, const LogView& log) {
    const std::string line = log.RemoteFailure();
    const std::size_t place = line.find(name.place + ": ");
    return Shown(place == std::string::npos ? line : line.substr(place + name.place.size() + 2));
}

bool IsAbout(const HttpName& name, const LogView& log) {
    // Its lines show that there is a password.
    std::string head = name.shown.substr(0, name.shown.size() - name.place.size());
    if (!name.password.empty()) {
        head.insert(head.size() - 1, ":***");
    }
    return log.RemoteFailure().starts_with(head + name.place + ": ");
}

std::string OpenWords(const HttpName& name, const LogView& log, uint32 status) {
    const std::string words = ModuleWords(name, log);
    std::array<char, 32> number{};
    std::snprintf(number.data(), number.size(), " (status 0x%08X)", status);
    return (words.empty() ? "the companion module that reads URLs is none, or memory lacks" : words) +
           number.data();
}

std::string NoModuleWords(const LogView& log) {
    return "the companion module that reads URLs is missing: " + Shown(log.RemoteFailure());
}

void KeepForGood(std::shared_ptr<void> left) {
    static std::mutex mutex;
    static auto* const kept = new std::vector<std::shared_ptr<void>>; // for good
    const std::lock_guard lock(mutex);
    kept->push_back(std::move(left));
}

} // namespace vxcio::tool
