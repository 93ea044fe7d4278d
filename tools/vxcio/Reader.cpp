#include "Reader.h"

#include "Console.h"
#include "Sizes.h"
#include "Terminal.h"

#include <algorithm>
#include <new>

namespace vxcio::tool {

namespace {

constexpr std::size_t kBlockAlignment = 4096;

} // namespace

void FreeBlock::operator()(uint8* block) const {
    ::operator delete (block, std::align_val_t{kBlockAlignment});
}

BlockPointer AllocateBlock(std::size_t bytes) {
    return BlockPointer(
        static_cast<uint8*>(::operator new (bytes, std::align_val_t{kBlockAlignment}, std::nothrow)));
}

ReadEnd ReadThrough(Readable& source, const ReadJob& job, LogView& log, Progress& progress,
                    const std::string& label, const std::function<void(const uint8*, uint32)>& take,
                    uint64& done, std::string& reason) {
    done = 0;
    // The open may have logged what was no failure of it, such as a disk that does not tell its sectors.
    log.Clear();
    const uint64 size = source.Size();
    // Without a size (devices, files that the system makes up as they are read) only the end itself tells.
    const bool sized = size > 0;
    uint64 goal = job.length.value_or(UINT64_MAX);
    if (sized) {
        goal = std::min(goal, size - std::min(size, job.from));
    }
    if (goal == 0) {
        return ReadEnd::Whole;
    }
    const auto most = static_cast<uint32>(std::min<uint64>(goal, job.block));
    const BlockPointer block = AllocateBlock(most);
    if (!block) {
        reason = "no memory for blocks of " + WithCommas(most) + " bytes";
        return ReadEnd::Short;
    }
    progress.Begin(label, goal == UINT64_MAX ? 0 : goal);
    source.Seek(job.from);
    while (done < goal) {
        if (InterruptWanted()) {
            return ReadEnd::Interrupted;
        }
        const auto want = static_cast<uint32>(std::min<uint64>(goal - done, most));
        const int got = source.Read(block.get(), want);
        if (got <= 0) {
            break;
        }
        take(block.get(), static_cast<uint32>(got));
        done += static_cast<uint64>(got);
        progress.Reach(done);
    }
    std::string failure = done < goal ? source.Failure() : std::string();
    if (failure.empty()) {
        failure = log.LastFailure();
    }
    if (done < goal && (sized || !failure.empty())) {
        // A signal that cut the last read short counts as the wish to stop, not as a failure.
        if (InterruptWanted()) {
            return ReadEnd::Interrupted;
        }
        reason = "only " + WithCommas(done) + (sized ? " of " + WithCommas(goal) : std::string()) +
                 " bytes could be read: " + (failure.empty() ? "the file ended early" : Shown(failure));
        return ReadEnd::Short;
    }
    return ReadEnd::Whole;
}

} // namespace vxcio::tool
