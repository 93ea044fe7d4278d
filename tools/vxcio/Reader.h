// Reader.h - reading to the end, with the reason of a failure in words.
#pragma once

#include "LogView.h"
#include "Progress.h"
#include "Readable.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vxcio::tool {

// Memory for the transfer, aligned for direct transfer. Null when memory lacks.
struct FreeBlock {
    void operator()(uint8* block) const;
};
using BlockPointer = std::unique_ptr<uint8, FreeBlock>;
BlockPointer AllocateBlock(std::size_t bytes);

enum class ReadEnd { Whole, Short, Interrupted };

struct ReadJob {
    uint64 from = 0;
    std::optional<uint64> length; // nothing: all that there is
    uint32 block = 1u << 20;
};

// Hands the bytes to `take`, in order and in pieces of at most `block` bytes; whatever `take` throws comes
// through. `done` receives their number. Short when the file's size promised more or the library logged a
// failure; then `reason` tells.
ReadEnd ReadThrough(Readable& source, const ReadJob& job, LogView& log, Progress& progress,
                    const std::string& label, const std::function<void(const uint8*, uint32)>& take,
                    uint64& done, std::string& reason);

} // namespace vxcio::tool
