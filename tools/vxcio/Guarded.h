// Guarded.h - questions to disks that may not answer.
#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

namespace vxcio::tool {

// What `ask` gives, or nothing where it takes longer than `limit`, to free what it owns included. Its thread
// is left behind then, so it must own all that it uses. What it throws comes through.
template <class Result>
std::optional<Result> Within(std::chrono::milliseconds limit, std::function<Result()> ask) {
    std::packaged_task<Result()> task([ask = std::move(ask)]() mutable {
        const std::function<Result()> own = std::move(ask);
        return own();
    });
    std::future<Result> result = task.get_future();
    std::thread thread(std::move(task));
    if (result.wait_for(limit) != std::future_status::ready) {
        thread.detach();
        return std::nullopt;
    }
    thread.join(); // it has nothing left to do, and is not to end while the process does
    return result.get();
}

} // namespace vxcio::tool
