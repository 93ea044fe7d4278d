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

// What `ask` gives, or nothing where it takes longer than `limit`. Its thread is left behind then, so it must
// own all that it uses. What it throws comes through.
template <class Result>
std::optional<Result> Within(std::chrono::milliseconds limit, std::function<Result()> ask) {
    std::packaged_task<Result()> task(std::move(ask));
    std::future<Result> result = task.get_future();
    std::thread(std::move(task)).detach();
    if (result.wait_for(limit) != std::future_status::ready) {
        return std::nullopt;
    }
    return result.get();
}

} // namespace vxcio::tool
