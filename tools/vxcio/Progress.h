// Progress.h - the bar with rate and remaining time.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace vxcio::tool {

// Draws nothing in its first second, later at most five times a second, and leaves nothing behind. One
// thread.
class Progress {
public:
    using Clock = std::chrono::steady_clock;

    struct Ground {
        bool enabled;
        int columns;
        std::function<Clock::time_point()> now;
        std::function<void(std::string_view)> show; // gets the whole bar, empty to remove it
    };

    // Standard error, if it is a terminal and the data does not go to one as well.
    Progress();
    explicit Progress(Ground ground);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // A new piece of work of `total` bytes, 0 when that is not known.
    void Begin(std::string_view label, std::uint64_t total);
    // `bytes` of it are done in all.
    void Reach(std::uint64_t bytes);
    // Removes the bar.
    void End();

private:
    std::string Bar(std::uint64_t bytes, Clock::time_point now) const;

    Ground m_Ground;
    Clock::time_point m_tStart; // of everything: short works in a row are one long one
    Clock::time_point m_tWork;
    Clock::time_point m_tDrawn;
    std::string m_strLabel;
    std::uint64_t m_qwTotal = 0;
    bool m_bShown = false;
};

} // namespace vxcio::tool
