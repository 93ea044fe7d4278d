// source_stress [--seconds N] [--seed S] [--threads K] [--round R] [--kinds one,two,array]
//               [--log 1]
//
// Reads files in every way the library knows, at random, on several threads, while disks fail and hang, and
// holds every byte against a plain model. Ends with exit code 0 after N seconds, with 1 and the last
// operations at the first wrong thing, with 2 when a thread got nowhere any more. The same seed makes the
// same choices again; a round can be gone to at once.
#include "filehandle/SoftFileHandle.h"
#include "frame/ModuleValues.h"
#include "stress/program/Episodes.h"
#include "support/LeakChecks.h"
#include "support/SettingsScope.h"
#include "sysu/HostControl.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using namespace vxcio;
using namespace vxcio::stress;
using Clock = std::chrono::system_clock;

constexpr std::chrono::milliseconds kRound{250};
constexpr std::chrono::seconds kPatience{40}; // for one operation, under a sanitizer on a busy machine
constexpr std::chrono::seconds kLook{4};      // between two looks whether anybody gets on

struct Options {
    double seconds = 5;
    uint64 seed = 1;
    int threads = 2;
    uint64 round = 0;
    Kinds kinds;
    bool log = false;
};

// The library's own log, to see what led to a wrong thing.
void PrintLine(void*, INFOTYPE level, const wchar_t*, const wchar_t* text) {
    std::fprintf(stderr, "%d %ls\n", static_cast<int>(level), text);
}

bool Parse(int count, char** words, Options& options) {
    for (int i = 1; i + 1 < count; i += 2) {
        const char* value = words[i + 1];
        if (std::strcmp(words[i], "--seconds") == 0) {
            options.seconds = std::atof(value);
        } else if (std::strcmp(words[i], "--seed") == 0) {
            options.seed = std::strtoull(value, nullptr, 10);
        } else if (std::strcmp(words[i], "--threads") == 0) {
            options.threads = std::atoi(value);
        } else if (std::strcmp(words[i], "--round") == 0) {
            options.round = std::strtoull(value, nullptr, 10);
        } else if (std::strcmp(words[i], "--kinds") == 0) {
            options.kinds.one = std::strstr(value, "one") != nullptr;
            options.kinds.two = std::strstr(value, "two") != nullptr;
            options.kinds.array = std::strstr(value, "array") != nullptr;
        } else if (std::strcmp(words[i], "--log") == 0) {
            options.log = std::atoi(value) != 0;
        } else {
            return false;
        }
    }
    return count % 2 == 1 && options.threads > 0;
}

// Threads of a round, watched until they are through.
class Crew {
public:
    Crew(const Options& options, const Media& media) : m_options(options), m_media(media) {
        for (int i = 0; i < options.threads; ++i) {
            m_journals.push_back(std::make_unique<Journal>());
        }
    }

    void Round(uint64 round, Weather& weather) {
        const auto end = Clock::now() + kRound;
        m_running = m_options.threads;
        std::vector<std::thread> threads;
        for (int i = 0; i < m_options.threads; ++i) {
            threads.emplace_back([this, i, round, end, &weather] { Work(i, round, end, weather); });
        }
        Watch(weather);
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    uint64 Operations() const { return m_operations; }

private:
    void Work(int thread, uint64 round, Clock::time_point end, Weather& weather) {
        Journal& journal = *m_journals[static_cast<std::size_t>(thread)];
        Random random(Random::Mix(m_options.seed, round, static_cast<uint64>(thread)));
        uint64 operations = 0;
        do {
            journal.Begin("--seed " + std::to_string(m_options.seed) + " --round " + std::to_string(round) +
                          " --threads " + std::to_string(m_options.threads) + ", thread " +
                          std::to_string(thread) + (weather.IsRough() ? ", rough" : ", calm"));
            LiveOnce(random, journal, m_media, weather, m_options.kinds, thread);
            operations += journal.Count();
        } while (Clock::now() < end);
        const std::lock_guard lock(m_mutex);
        m_operations += operations;
        --m_running;
        m_changed.notify_all();
    }

    uint64 Progress() const {
        uint64 sum = 0;
        for (const auto& journal : m_journals) {
            sum += journal->Count();
        }
        return sum;
    }

    // Ends the program when nobody gets on. A wait may be long by right: how long a copy is waited for
    // follows from its speed, and after reads of single bytes that is little. So the limits of all that
    // stands pass first.
    void Watch(Weather& weather) {
        std::unique_lock lock(m_mutex);
        uint64 before = Progress();
        auto end = Clock::now() + kPatience;
        while (!m_changed.wait_until(lock, Clock::now() + kLook, [&] { return m_running == 0; })) {
            const uint64 now = Progress();
            if (now != before) {
                end = Clock::now() + kPatience;
            } else if (Clock::now() < end) {
                weather.PassAllLimits();
            } else {
                for (const auto& journal : m_journals) {
                    std::fprintf(stderr, "%s", journal->Text().c_str());
                }
                std::fputs("HANGS: nothing moved any more\n", stderr);
                std::fflush(nullptr);
                std::abort();
            }
            before = now;
        }
    }

    const Options m_options;
    const Media& m_media;
    std::vector<std::unique_ptr<Journal>> m_journals;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_running = 0; // guarded by m_mutex, as the count
    uint64 m_operations = 0;
};

// Threads that were left behind at a hanging disk end once it answers again; nobody tells when.
bool AreThreadsBack(int threads) {
    const auto end = Clock::now() + kPatience;
    while (test::ThreadCount() > threads) {
        if (Clock::now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

// Calm and rough rounds in turn, the clock of the rough ones slower or faster, some with handles that give
// up.
void PlayRound(uint64 round, Crew& crew) {
    const uint32 steps[] = {0, 1000, 0, 100, 0, 1000, 0, 300};
    const uint32 step = steps[round % std::size(steps)];
    const bool isImpatient = round % 16 >= 8 && step != 0;
    Module().ReadHandleTimeOut = isImpatient ? 5 * step : VXC_INFINITE;
    const int threads = test::ThreadCount();
    const int files = test::OpenDescriptors();
    {
        Weather weather(step);
        crew.Round(round, weather);
    }
    if (!AreThreadsBack(threads)) {
        std::fprintf(stderr, "round %llu: threads stayed behind\n", static_cast<unsigned long long>(round));
        std::_Exit(1);
    }
    // A file whose disk did not answer in time stays open, for good.
    if (!isImpatient && test::OpenDescriptors() > files) {
        std::fprintf(stderr, "round %llu: files stayed open\n", static_cast<unsigned long long>(round));
        for (const std::string& line : test::DescriptorList()) {
            std::fprintf(stderr, "  %s\n", line.c_str());
        }
        std::_Exit(1);
    }
}

} // namespace

// A file that was opened after its caller had given up stays open, and so does what the system layer keeps
// for it. Rounds without such handles look at the descriptors themselves.
extern "C" [[gnu::visibility("default")]] const char* __lsan_default_suppressions() {
    return "leak:vxcio::SCreateFile::Open\n";
}

int main(int count, char** words) {
    Options options;
    if (!Parse(count, words, options)) {
        std::fputs("usage: source_stress [--seconds N] [--seed S] [--threads K] [--round R] "
                   "[--kinds one,two,array] [--log 1]\n",
                   stderr);
        return 2;
    }
    std::printf("source_stress --seconds %g --seed %llu --threads %d\n", options.seconds,
                static_cast<unsigned long long>(options.seed), options.threads);
    std::fflush(stdout);
    if (options.log) {
        SetLogReceiver(&PrintLine, nullptr, INFOTYPE_TRACE);
    }
    const test::SettingsScope settings;
    const Media media(options.threads);
    Crew crew(options, media);
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                        std::chrono::duration<double>(options.seconds));
    uint64 round = options.round;
    do {
        PlayRound(round++, crew);
    } while (Clock::now() < end);
    std::printf("%llu rounds, %llu operations, not one wrong byte\n",
                static_cast<unsigned long long>(round - options.round),
                static_cast<unsigned long long>(crew.Operations()));
    return 0;
}
