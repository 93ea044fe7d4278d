#include "Progress.h"

#include "Console.h"
#include "Sizes.h"
#include "Terminal.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace vxcio::tool {

namespace {

constexpr std::chrono::milliseconds kQuiet{1000};
constexpr std::chrono::milliseconds kBetween{200};
constexpr int kMostLabel = 24;

// The last bytes of a long name, which tell more than the first; no character is cut in two.
std::string Shorten(std::string_view label) {
    if (label.size() <= kMostLabel) {
        return std::string(label);
    }
    label.remove_prefix(label.size() - kMostLabel + 3);
    while (!label.empty() && (static_cast<unsigned char>(label.front()) & 0xC0u) == 0x80u) {
        label.remove_prefix(1);
    }
    std::string out = "...";
    out += label;
    return out;
}

std::string Minutes(double seconds) {
    const auto whole = static_cast<std::uint64_t>(std::min(seconds, 359999.0) + 0.5);
    std::array<char, 32> text{};
    if (whole >= 3600) {
        std::snprintf(text.data(), text.size(), "%u:%02u:%02u", static_cast<unsigned>(whole / 3600),
                      static_cast<unsigned>(whole / 60 % 60), static_cast<unsigned>(whole % 60));
    } else {
        std::snprintf(text.data(), text.size(), "%u:%02u", static_cast<unsigned>(whole / 60),
                      static_cast<unsigned>(whole % 60));
    }
    return text.data();
}

} // namespace

Progress::Progress()
    : Progress(Ground{IsErrorTerminal() && !IsOutputTerminal(), ErrorColumns(), [] { return Clock::now(); },
                      [](std::string_view bar) { ShowBar(bar); }}) {}

Progress::Progress(Ground ground)
    : m_Ground(std::move(ground)), m_tStart(m_Ground.now()), m_tWork(m_tStart) {}

Progress::~Progress() {
    End();
}

void Progress::Begin(std::string_view label, std::uint64_t total) {
    m_strLabel = Shorten(Shown(label));
    m_qwTotal = total;
    m_tWork = m_Ground.now();
}

void Progress::Reach(std::uint64_t bytes) {
    if (!m_Ground.enabled) {
        return;
    }
    const Clock::time_point now = m_Ground.now();
    if (now - m_tStart < kQuiet || (m_bShown && now - m_tDrawn < kBetween)) {
        return;
    }
    m_Ground.show(Bar(bytes, now));
    m_bShown = true;
    m_tDrawn = now;
}

void Progress::End() {
    if (m_bShown) {
        m_Ground.show({});
        m_bShown = false;
    }
}

std::string Progress::Bar(std::uint64_t bytes, Clock::time_point now) const {
    const double seconds = std::chrono::duration<double>(now - m_tWork).count();
    const double rate = seconds > 0 ? static_cast<double>(bytes) / seconds : 0;
    const std::string speed = ReadableSize(rate) + "/s";
    if (m_qwTotal == 0) {
        return m_strLabel + "  " + ReadableSize(static_cast<double>(bytes)) + "  " + speed;
    }
    const double part = std::min(1.0, static_cast<double>(bytes) / static_cast<double>(m_qwTotal));
    std::array<char, 16> percent{};
    std::snprintf(percent.data(), percent.size(), "%3.0f%%", part * 100);
    const std::string left =
        rate > 0 ? Minutes(static_cast<double>(m_qwTotal - std::min(bytes, m_qwTotal)) / rate) + " left" : "";
    const std::string head = m_strLabel + " " + percent.data() + " ";
    const std::string tail = " " + speed + "  " + left;
    // One column stays free: a full line would make some terminals scroll.
    const int room = m_Ground.columns - static_cast<int>(head.size() + tail.size()) - 3;
    if (room < 5) {
        return head + tail;
    }
    const auto width = static_cast<std::size_t>(std::min(room, 40));
    const auto done = static_cast<std::size_t>(part * static_cast<double>(width));
    return head + "[" + std::string(done, '#') + std::string(width - done, '.') + "]" + tail;
}

} // namespace vxcio::tool
