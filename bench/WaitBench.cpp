// What events and waits cost, each beside the bare thing it stands on.
//
// A hand-over is: signal the partner, wait for its answer. "Asleep" lets the partner sleep for 10 ms before
// each one and times the hand-over alone; its figures on a busy machine are best read from the counter
// median_ns.
#include "BareFutex.h"
#include "frame/SystemLayer.h"
#include "sysu/posix/SpinScore.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace vxcio::sysu;
using bench::BareFutex;

namespace {

constexpr int kAsleepHandOvers = 100;
constexpr uint32 kAsleepMilliseconds = 10;

// An event of the system layer.
class LayerEvent {
public:
    LayerEvent() : m_handle(VXC_CreateEventW(nullptr, 0, 0, nullptr)) {}
    ~LayerEvent() { VXC_CloseHandle(m_handle); }
    LayerEvent(const LayerEvent&) = delete;
    LayerEvent& operator=(const LayerEvent&) = delete;

    void Set() { VXC_SetEvent(m_handle); }
    void Wait() { VXC_WaitForSingleObject(m_handle, VXC_INFINITE); }

private:
    void* m_handle;
};

// The fastest there is, for as long as both have a core.
class Spinning {
public:
    void Set() { m_word.store(1); }
    void Wait() {
        while (m_word.exchange(0) == 0) {
            while (m_word.load() == 0) {
                SpinPause();
            }
        }
    }

private:
    alignas(64) std::atomic<uint32> m_word{0};
};

// Two threads that answer each other.
template <class Signal>
class Partners {
public:
    Partners()
        : m_partner([this] {
              for (;;) {
                  m_question.Wait();
                  if (m_over.load()) {
                      return;
                  }
                  m_answer.Set();
              }
          }) {}
    ~Partners() {
        m_over.store(true);
        m_question.Set();
        m_partner.join();
    }
    Partners(const Partners&) = delete;
    Partners& operator=(const Partners&) = delete;

    void HandOver() {
        m_question.Set();
        m_answer.Wait();
    }

private:
    Signal m_question;
    Signal m_answer;
    std::atomic<bool> m_over{false};
    std::thread m_partner;
};

void AtomicExchange(benchmark::State& state) {
    std::atomic<uint32> word{0};
    for (auto _ : state) {
        benchmark::DoNotOptimize(word.exchange(1));
    }
}
BENCHMARK(AtomicExchange)->Name("FreeEvent/atomic_exchange");

void SetAndWaitOfAFreeEvent(benchmark::State& state) {
    LayerEvent event;
    for (auto _ : state) {
        event.Set();
        event.Wait();
    }
}
BENCHMARK(SetAndWaitOfAFreeEvent)->Name("FreeEvent/library");

template <class Signal>
void HandOverAwake(benchmark::State& state) {
    Partners<Signal> partners;
    for (auto _ : state) {
        partners.HandOver();
    }
}
BENCHMARK_TEMPLATE(HandOverAwake, Spinning)->Name("HandOverAwake/spinning")->UseRealTime();
BENCHMARK_TEMPLATE(HandOverAwake, LayerEvent)->Name("HandOverAwake/library")->UseRealTime();
BENCHMARK_TEMPLATE(HandOverAwake, BareFutex)->Name("HandOverAwake/bare_futex")->UseRealTime();

template <class Signal>
void HandOverAsleep(benchmark::State& state) {
    Partners<Signal> partners;
    std::vector<double> all;
    for (auto _ : state) {
        VXC_Sleep(kAsleepMilliseconds);
        const auto start = std::chrono::steady_clock::now();
        partners.HandOver();
        const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(seconds.count());
        all.push_back(seconds.count() * 1e9);
    }
    const auto middle = all.begin() + static_cast<std::ptrdiff_t>(all.size() / 2);
    std::nth_element(all.begin(), middle, all.end());
    state.counters["median_ns"] = *middle;
}
BENCHMARK_TEMPLATE(HandOverAsleep, LayerEvent)
    ->Name("HandOverAsleep/library")
    ->UseManualTime()
    ->Iterations(kAsleepHandOvers);
BENCHMARK_TEMPLATE(HandOverAsleep, BareFutex)
    ->Name("HandOverAsleep/bare_futex")
    ->UseManualTime()
    ->Iterations(kAsleepHandOvers);

} // namespace
