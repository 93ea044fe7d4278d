// freeze_report    reads one clip from two cached copies of it and lets the first one freeze in mid-read: how
//                  long the read takes that met it, and how fast the later ones are
//
// The program has its own VXC_ReadFile in front of that of the system layer: the copy freezes there.
#include "BenchFile.h"
#include "module/VXCSoftCodecIO.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <dlfcn.h>
#include <memory>
#include <mutex>

namespace {

constexpr std::size_t kFileSize = std::size_t{256} << 20;
constexpr uint32 kRead = 1 << 20;
constexpr std::size_t kReadsBefore = 64;
constexpr uint32 kThreshold = 2000; // milliseconds, the lower limit of the wait for a copy

// A disk that stops answering, and answers again when the program ends.
class Frozen {
public:
    void Freeze() {
        const std::lock_guard lock(m_mutex);
        m_takeNext = true;
    }
    void Thaw() {
        const std::lock_guard lock(m_mutex);
        m_isOver = true;
        m_changed.notify_all();
    }
    // The next read after Freeze stands here until Thaw.
    void Pass() {
        std::unique_lock lock(m_mutex);
        if (!m_takeNext) {
            return;
        }
        m_takeNext = false;
        ++m_taken;
        m_changed.wait(lock, [&] { return m_isOver; });
    }
    int Taken() {
        const std::lock_guard lock(m_mutex);
        return m_taken;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_takeNext = false;
    bool m_isOver = false;
    int m_taken = 0;
};

Frozen& Disk() {
    static Frozen* const disk = new Frozen; // readers may outlive all else
    return *disk;
}

using ReadFunction = int (*)(void*, void*, uint32, unsigned long*, _VXC_OVERLAPPED*) noexcept;

// Milliseconds of one read; ends the program where it did not give what was asked for.
double TimedRead(CSoftDataSource& source) {
    const auto start = std::chrono::steady_clock::now();
    const int got = source.Read(bench::Buffer<kRead>(), kRead);
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    if (got != static_cast<int>(kRead)) {
        std::fprintf(stderr, "freeze_report: a read gave %d bytes of %u\n", got, kRead);
        std::_Exit(1);
    }
    return took.count();
}

double Median(std::vector<double> all) {
    const auto middle = all.begin() + static_cast<std::ptrdiff_t>(all.size() / 2);
    std::nth_element(all.begin(), middle, all.end());
    return *middle;
}

int Report(CSoftDataSource& source) {
    std::vector<double> before;
    for (std::size_t i = 0; i < kReadsBefore; ++i) {
        before.push_back(TimedRead(source));
    }
    Disk().Freeze();
    const double delayed = TimedRead(source);
    std::vector<double> after;
    for (std::size_t i = kReadsBefore + 1; i < kFileSize / kRead; ++i) {
        after.push_back(TimedRead(source));
    }
    if (Disk().Taken() != 1) {
        std::fputs("freeze_report: the copy did not freeze\n", stderr);
        return 1;
    }
    const double worst = *std::max_element(after.begin(), after.end());
    std::printf("| One of two copies freezes | delayed read %.1f ms | told limit | %u ms | %.1f ms over |\n",
                delayed, kThreshold, delayed - kThreshold);
    std::printf("| Later reads of 1 MiB | %.3f ms (longest %.3f) | before | %.3f ms | %.3f |\n",
                Median(after), worst, Median(before), Median(before) / Median(after));
    return 0;
}

} // namespace

extern "C" int VXC_ReadFile(void* file, void* buffer, uint32 bytes, unsigned long* done,
                            _VXC_OVERLAPPED* overlapped) noexcept {
    static const auto real = reinterpret_cast<ReadFunction>(dlsym(RTLD_NEXT, "VXC_ReadFile"));
    Disk().Pass();
    return real(file, buffer, bytes, done, overlapped);
}

int main() {
    const bench::File first("bench-freeze1.dat", kFileSize);
    const bench::File second("bench-freeze2.dat", kFileSize);
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    if (source->OpenFile(first.Wide().c_str(), 0, second.Wide().c_str(), 0) != 0) {
        std::fputs("freeze_report: open failed\n", stderr);
        return 1;
    }
    const int result = Report(*source);
    Disk().Thaw();
    source->CloseFile();
    return result;
}
