// disk_write FILE BYTES PIECE WAY RING BLOCK [DIGEST]
//     writes so many zeros to a new file through a sink, PIECE bytes at a time, WAY being direct (past the
//     cache), cached, or synced (cached, and on the disk when the program ends); RING bytes of ring, 0 for
//     none, in blocks of BLOCK bytes. With DIGEST the program computes while the disk writes: a digest of so
//     many bytes of memory for each MiB.
// disk_write - BYTES PIECE none 0 0 DIGEST
//     computes the same and writes nothing
//
// One process for one way of writing, so that bench/disk_write.py can measure it beside others. Zeros, as the
// peers write zeros and disks may treat them in their own way. Prints how many bytes the file has got.
#include "BenchFile.h"
#include "frame/MD5.h"
#include "module/VXCSoftCodecIO.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sys/stat.h>

namespace {

constexpr std::size_t kLargestPiece = std::size_t{16} << 20;
constexpr std::size_t kMiB = std::size_t{1} << 20;

struct Task {
    std::string file;
    uint64 bytes = 0;
    uint32 piece = 0;
    std::string way;
    uint32 ring = 0;
    uint32 block = 0;
    uint32 digest = 0; // bytes for each MiB
};

int Usage() {
    std::fputs("usage: disk_write FILE BYTES PIECE direct|cached|synced RING BLOCK [DIGEST]\n"
               "       disk_write - BYTES PIECE none 0 0 DIGEST\n",
               stderr);
    return 2;
}

int Fail(const Task& task, const char* what) {
    std::fprintf(stderr, "disk_write: %s: %s\n", task.file.c_str(), what);
    return 1;
}

// Digests what is due after so many bytes, in steps that fit the processor's cache.
class Computer {
public:
    explicit Computer(uint32 bytesForEachMiB) : m_share(bytesForEachMiB) {}
    void After(uint64 written) {
        const uint64 due = written * m_share / kMiB;
        while (m_done + kStep <= due) {
            m_md5.Update(bench::Buffer<kLargestPiece>(), kStep);
            m_done += kStep;
        }
    }

private:
    static constexpr unsigned int kStep = 4096;

    const uint64 m_share;
    uint64 m_done = 0;
    MD5_CTX m_md5;
};

bool SyncFile(const std::string& name) {
    const int file = open(name.c_str(), O_WRONLY | O_CLOEXEC);
    const bool isGood = file >= 0 && fsync(file) == 0;
    return close(file) == 0 && isGood;
}

// One piece after the other; false when a write does not take all of one.
template <class Take>
bool ForEachPiece(const Task& task, Take take) {
    Computer computer(task.digest);
    for (uint64 done = 0; done < task.bytes;) {
        const auto piece = static_cast<uint32>(std::min<uint64>(task.piece, task.bytes - done));
        if (!take(piece)) {
            return false;
        }
        done += piece;
        computer.After(done);
    }
    return true;
}

int WriteFile(const Task& task) {
    const std::unique_ptr<CQLSoftDataSinkEx1> sink(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FILE));
    const std::wstring wide(task.file.begin(), task.file.end());
    const uint32 flags = task.way == "direct" ? VXC_FILE_FLAG_NO_BUFFERING : 0;
    if (sink->OpenFile(wide.c_str(), task.ring, task.block, 0, flags, 0, 0, 0, 0, nullptr) != 0) {
        return Fail(task, "cannot be opened");
    }
    const uint8* const memory = bench::Buffer<kLargestPiece>();
    if (!ForEachPiece(task, [&](uint32 piece) {
            return sink->Write(memory, piece, nullptr) == static_cast<int>(piece);
        })) {
        return Fail(task, "cannot be written");
    }
    sink->CloseFile();
    if (task.way == "synced" && !SyncFile(task.file)) {
        return Fail(task, "cannot be brought to the disk");
    }
    struct stat facts {};
    if (stat(task.file.c_str(), &facts) != 0) {
        return Fail(task, "is not there");
    }
    std::printf("%lld bytes\n", static_cast<long long>(facts.st_size));
    return 0;
}

bool IsGood(const Task& task) {
    const bool isNone = task.way == "none";
    return task.piece > 0 && task.piece <= kLargestPiece && isNone == (task.file == "-") &&
           (isNone || task.way == "direct" || task.way == "cached" || task.way == "synced");
}

} // namespace

int main(int count, char** arguments) {
    if (count < 7 || count > 8) {
        return Usage();
    }
    const auto number = [&](int at) { return std::strtoull(arguments[at], nullptr, 10); };
    Task task;
    task.file = arguments[1];
    task.bytes = number(2);
    task.piece = static_cast<uint32>(number(3));
    task.way = arguments[4];
    task.ring = static_cast<uint32>(number(5));
    task.block = static_cast<uint32>(number(6));
    task.digest = count == 8 ? static_cast<uint32>(number(7)) : 0;
    if (!IsGood(task)) {
        return Usage();
    }
    std::memset(bench::Buffer<kLargestPiece>(), 0, std::max<std::size_t>(task.piece, 4096));
    if (task.way == "none") {
        ForEachPiece(task, [](uint32) { return true; });
        std::puts("0 bytes");
        return 0;
    }
    return WriteFile(task);
}
