// What an empty remote call costs, from this process to a plug-in in the server and back, beside other ways
// between two processes: a bare futex, which carries nothing; a socket and message queues with as many bytes.
//
// "Busy" calls come one after the other. Before each one "AfterIdling" both sides have had nothing to do for
// 10 ms, and sleep. "IdleSecond" is no speed: its counter tells the processor time that waiting costs.
#include "BareFutex.h"
#include "CallTimes.h"
#include "InsistOn.h"
#include "RemotePlug.h"
#include "frame/SystemLayer.h"
#include "posix/Partner.h"
#include "posix/StreamSocket.h"

#include <benchmark/benchmark.h>
#include <boost/interprocess/ipc/message_queue.hpp>

#include <ctime>
#include <string>
#include <unistd.h>

namespace {

namespace ipc = boost::interprocess;
using bench::Partner;

// Bytes of an empty request and of its reply.
constexpr std::size_t kRequest = 16;
constexpr std::size_t kReply = 15;

constexpr uint32 kIdle = 10; // milliseconds
constexpr int kCallsAfterIdling = 200;
constexpr uint32 kSecond = 1000;

class RemoteCalls {
public:
    void Call() { m_plug.Call(bench::kNothing); }

private:
    bench::RemotePlug& m_plug = bench::TheRemotePlug();
};

class FutexPair {
public:
    void Call() {
        m_words->question.Set();
        m_words->answer.Wait();
    }

private:
    struct Words {
        bench::SharedBareFutex question;
        bench::SharedBareFutex answer;
    };

    bench::Shared<Words> m_words;
    Partner m_partner{[this] {
        m_words->question.Wait();
        m_words->answer.Set();
    }};
};

class SocketPair {
public:
    void Call() {
        m_socket.Put(0, m_bytes, kRequest);
        m_socket.Take(0, m_bytes, kReply);
    }

private:
    bench::StreamSocket m_socket;
    unsigned char m_bytes[kRequest] = {};
    Partner m_partner{[this] {
        m_socket.Take(1, m_bytes, kRequest);
        m_socket.Put(1, m_bytes, kReply);
    }};
};

class QueuePair {
public:
    void Call() {
        m_questions.Put(m_bytes, kRequest);
        m_answers.Take(m_bytes);
    }

private:
    class Queue {
    public:
        explicit Queue(const char* name)
            : m_name("vxc_call_bench_" + std::to_string(getpid()) + name),
              m_queue(ipc::create_only, m_name.c_str(), 1, kRequest) {}
        ~Queue() { ipc::message_queue::remove(m_name.c_str()); }
        Queue(const Queue&) = delete;
        Queue& operator=(const Queue&) = delete;

        void Put(const unsigned char* data, std::size_t bytes) { m_queue.send(data, bytes, 0); }
        void Take(unsigned char* data) {
            ipc::message_queue::size_type bytes = 0;
            unsigned int priority = 0;
            m_queue.receive(data, kRequest, bytes, priority);
        }

    private:
        std::string m_name;
        ipc::message_queue m_queue;
    };

    Queue m_questions{"_questions"};
    Queue m_answers{"_answers"};
    unsigned char m_bytes[kRequest] = {};
    Partner m_partner{[this] {
        m_questions.Take(m_bytes);
        m_answers.Put(m_bytes, kReply);
    }};
};

template <class Way>
void Busy(benchmark::State& state) {
    Way way;
    bench::CallTimes times;
    for (auto _ : state) {
        times.Time(state, [&way] { way.Call(); });
    }
    times.Report(state);
}

template <class Way>
void AfterIdling(benchmark::State& state) {
    Way way;
    bench::CallTimes times;
    for (auto _ : state) {
        VXC_Sleep(kIdle);
        times.Time(state, [&way] { way.Call(); });
    }
    times.Report(state);
}

BENCHMARK_TEMPLATE(Busy, RemoteCalls)->Name("CallBusy/library")->UseManualTime();
BENCHMARK_TEMPLATE(Busy, FutexPair)->Name("CallBusy/bare_futex")->UseManualTime();
BENCHMARK_TEMPLATE(Busy, SocketPair)->Name("CallBusy/unix_socket")->UseManualTime();
BENCHMARK_TEMPLATE(Busy, QueuePair)->Name("CallBusy/message_queue")->UseManualTime();

void Counted(benchmark::internal::Benchmark* one) {
    one->UseManualTime()->Iterations(kCallsAfterIdling);
}
BENCHMARK_TEMPLATE(AfterIdling, RemoteCalls)->Name("CallAfterIdling/library")->Apply(Counted);
BENCHMARK_TEMPLATE(AfterIdling, FutexPair)->Name("CallAfterIdling/bare_futex")->Apply(Counted);
BENCHMARK_TEMPLATE(AfterIdling, SocketPair)->Name("CallAfterIdling/unix_socket")->Apply(Counted);
BENCHMARK_TEMPLATE(AfterIdling, QueuePair)->Name("CallAfterIdling/message_queue")->Apply(Counted);

// The server's, while nobody calls it.
void IdleServer(benchmark::State& state) {
    clockid_t clock{};
    const auto server = static_cast<pid_t>(bench::TheRemotePlug().ServerProcess());
    bench::InsistOn(clock_getcpuclockid(server, &clock) == 0, "the server's processor clock");
    for (auto _ : state) {
        bench::TheRemotePlug().Call(bench::kNothing);
        const int64 start = bench::Nanoseconds(clock);
        VXC_Sleep(kSecond);
        state.counters["processor_ns"] = static_cast<double>(bench::Nanoseconds(clock) - start);
    }
}
BENCHMARK(IdleServer)->Name("IdleSecond/server")->UseRealTime()->Iterations(1);

// This process's, while it waits for a reply.
void IdleHost(benchmark::State& state) {
    const auto write = [](CVXCSerialize& request) { request << kSecond; };
    for (auto _ : state) {
        const int64 start = bench::Nanoseconds(CLOCK_PROCESS_CPUTIME_ID);
        bench::TheRemotePlug().Call(bench::kDawdle, write, [](CVXCSerialize&) {});
        state.counters["processor_ns"] =
            static_cast<double>(bench::Nanoseconds(CLOCK_PROCESS_CPUTIME_ID) - start);
    }
}
BENCHMARK(IdleHost)->Name("IdleSecond/host")->UseRealTime()->Iterations(1);

} // namespace
