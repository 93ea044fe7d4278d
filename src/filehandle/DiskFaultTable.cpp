#include "filehandle/DiskFaultTable.h"

#include "filehandle/DiskFaultEntry.h"
#include "frame/Log.h"
#include "text/FoldCase.h"
#include "text/WideFormat.h"

#include <cstddef>
#include <iterator>

using namespace vxcio;

namespace {

constexpr unsigned char kHealthy = 0;
constexpr unsigned char kFaulty = 0xFF;

// Constant-initialised and trivially destroyed: a thread that was left behind on a dead disk may ask when
// everything else has ended.
constinit std::atomic<unsigned char> g_status[26] = {};

void LogLetter(const wchar_t* format, wchar_t letter) noexcept {
    wchar_t text[64];
    FormatWide(text, std::size(text), format, letter);
    VXCMSGW(kModuleName, text);
}

} // namespace

std::atomic<unsigned char>* vxcio::DiskFaultEntry(wchar_t letter) noexcept {
    return IsAsciiLetter(letter) ? &g_status[static_cast<std::size_t>(AsciiUpper(letter) - L'A')] : nullptr;
}

int SetDiskError(wchar_t letter) {
    if (std::atomic<unsigned char>* const entry = DiskFaultEntry(letter)) {
        entry->store(kFaulty, std::memory_order_relaxed);
        LogLetter(L"SetDiskError(%c)", letter);
    }
    return 1;
}

int GetDiskStatus(wchar_t letter) {
    const std::atomic<unsigned char>* const entry = DiskFaultEntry(letter);
    if (entry == nullptr || entry->load(std::memory_order_relaxed) == kHealthy) {
        return 1;
    }
    LogLetter(L"GetDiskError(%c: Error) \n", letter);
    return 0;
}
