#include "Report.h"

#include "sysu/HostControl.h"

#include <cstdio>
#include <new>
#include <string>

namespace vxcserver {

namespace {

// UTF-8, whatever the locale is.
void Append(std::string& line, const wchar_t* text) {
    for (; *text != 0; ++text) {
        auto character = static_cast<uint32>(*text);
        if (character < 0x80) {
            line += static_cast<char>(character);
            continue;
        }
        if (character > 0x10FFFF || (character >= 0xD800 && character < 0xE000)) {
            character = 0xFFFD;
        }
        const int more = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
        constexpr uint32 kFirst[] = {0, 0xC0, 0xE0, 0xF0};
        line += static_cast<char>(kFirst[more] | character >> (6 * more));
        for (int i = more - 1; i >= 0; --i) {
            line += static_cast<char>(0x80 | (character >> (6 * i) & 0x3F));
        }
    }
}

void Write(void* /*context*/, INFOTYPE /*level*/, const wchar_t* module, const wchar_t* text) {
    try {
        std::string line;
        Append(line, module);
        line += ": ";
        Append(line, text);
        line += '\n';
        std::fputs(line.c_str(), stderr); // one call, so that lines of several threads stay whole
    } catch (const std::bad_alloc&) {
        std::fputs("VXC32ServU: no memory for a line of the log\n", stderr);
    }
}

} // namespace

void BeginReports() noexcept {
    vxcio::SetLogReceiver(Write, nullptr, INFOTYPE_ERROR);
}

} // namespace vxcserver
