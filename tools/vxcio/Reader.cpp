#include "Reader.h"

#include "Console.h"
#include "Sizes.h"
#include "Terminal.h"
#include "Text.h"

#include "frame/SystemLayer.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <new>

namespace vxcio::tool {

namespace {

constexpr std::size_t kBlockAlignment = 4096;

bool IsUrl(const std::string& name) {
    static constexpr std::string_view kStart = "http";
    const auto same = [](char a, char b) { return (a | 0x20) == b; };
    return name.size() >= kStart.size() &&
           std::equal(kStart.begin(), kStart.end(), name.begin(), [&](char b, char a) { return same(a, b); });
}

std::string LastErrorText() {
    std::array<wchar_t, 512> text{};
    VXC_GetLastErrorStringW(text.data(), static_cast<int>(text.size()));
    return Narrow(text.data());
}

// Why an open failed: what can be said in words, and the numbers for who looks them up.
std::string OpenReason(const std::string& name, uint32 status, uint32 error, const std::string& errorText,
                       const std::string& failure) {
    std::array<char, 64> numbers{};
    std::snprintf(numbers.data(), numbers.size(), "(status 0x%08X, error %u)", status, error);
    std::string words;
    std::error_code ignored;
    if (IsUrl(name) && status == VXC_STATUS_NOT_AVAILABLE) {
        return "names that begin with 'http' are read as URLs, and this build has no remote source; for a "
               "file of that name write ./" +
               name;
    }
    if (name.empty()) {
        words = "the name is empty";
    } else if (std::filesystem::is_directory(name, ignored)) {
        words = "it is a folder";
    } else if (status == VXC_STATUS_TIME_OUT) {
        words = "the disk does not answer";
    } else if (error == VXC_ERROR_FILENAME_EXCED_RANGE) {
        words = "the name is too long";
    } else {
        words = error != VXC_ERROR_SUCCESS ? errorText : "the library could not open it";
    }
    if (!failure.empty()) {
        words += "; log: " + Shown(failure);
    }
    return words + " " + numbers.data();
}

// What must not reach the library from a command line; empty when nothing is wrong.
std::string ReasonAgainst(const std::string& name) {
    void* table = nullptr;
    const CVXCString plain = DELVXCIOID(Widen(name).c_str(), &table);
    if (table != nullptr) {
        return "the name ends in the tag of a host's own file functions, which only a program can supply";
    }
    std::error_code ignored;
    const std::filesystem::file_status kind = std::filesystem::status(name, ignored);
    if (std::filesystem::is_fifo(kind) || std::filesystem::is_socket(kind)) {
        return "it is a pipe or socket, and sources read by position";
    }
    return {};
}

} // namespace

const char* ServingSource(const std::string& name) {
    return IsUrl(name) ? "CRemoteSource" : "CFileSource";
}

SourcePointer OpenForReading(const std::string& name, bool unbuffered, LogView& log, std::string& reason) {
    log.Clear();
    reason = ReasonAgainst(name);
    if (!reason.empty()) {
        return nullptr;
    }
    SourcePointer source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    if (!source) {
        reason = "this build has no file source, or memory lacks";
        return nullptr;
    }
    const uint32 flags = unbuffered ? VXC_FILE_FLAG_NO_BUFFERING : VXC_FILE_FLAG_SEQUENTIAL_SCAN;
    const uint32 status = source->OpenFile(Widen(name).c_str(), flags, nullptr, 0);
    if (status != VXC_STATUS_OK) {
        const uint32 error = VXC_GetLastError();
        const std::string errorText = LastErrorText();
        reason = OpenReason(name, status, error, errorText, log.LastFailure());
        return nullptr;
    }
    return source;
}

void FreeBlock::operator()(uint8* block) const {
    ::operator delete (block, std::align_val_t{kBlockAlignment});
}

BlockPointer AllocateBlock(std::size_t bytes) {
    return BlockPointer(
        static_cast<uint8*>(::operator new (bytes, std::align_val_t{kBlockAlignment}, std::nothrow)));
}

ReadEnd ReadThrough(CSoftDataSource& source, const ReadJob& job, LogView& log, Progress& progress,
                    const std::string& label, const std::function<void(const uint8*, uint32)>& take,
                    uint64& done, std::string& reason) {
    done = 0;
    // The open may have logged what was no failure of it, such as a disk that does not tell its sectors.
    log.Clear();
    const uint64 size = source.GetFileSize();
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
    source.Seek(static_cast<int64>(job.from), 1);
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
    const std::string failure = log.LastFailure();
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
