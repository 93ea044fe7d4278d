// A payload of 1 MiB out to another process and back. The plug-in takes it where it lies and writes it to the
// reply, where it is taken as it lies: two copies, on two cores. Beside it a socket, and two copies within
// this process.
#include "CallTimes.h"
#include "InsistOn.h"
#include "MixedBytes.h"
#include "RemotePlug.h"
#include "posix/Partner.h"
#include "posix/StreamSocket.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace {

using bench::kPayload;

// Each shows what came back.
class RemoteEcho {
public:
    const unsigned char* Pass(std::vector<uint8>& bytes) {
        const auto write = [&bytes](CVXCSerialize& request) {
            request.WriteBlock(bytes.data(), static_cast<unsigned int>(bytes.size()));
        };
        unsigned char* back = nullptr;
        const auto read = [&back](CVXCSerialize& reply) {
            unsigned int count = 0;
            bench::InsistOn(reply.ReadBlock(back, count, 0) != 0 && count == kPayload, "the echo");
        };
        m_plug.Call(bench::kEcho, write, read);
        return back;
    }

private:
    bench::RemotePlug& m_plug = bench::TheRemotePlug();
};

class SocketEcho {
public:
    const unsigned char* Pass(std::vector<uint8>& bytes) {
        m_socket.Put(0, bytes.data(), bytes.size());
        m_socket.Take(0, m_back.data(), m_back.size());
        return m_back.data();
    }

private:
    bench::StreamSocket m_socket;
    std::vector<uint8> m_back = std::vector<uint8>(kPayload);
    bench::Partner m_partner{[this] {
        m_socket.Take(1, m_back.data(), m_back.size());
        m_socket.Put(1, m_back.data(), m_back.size());
    }};
};

class TwoCopies {
public:
    const unsigned char* Pass(std::vector<uint8>& bytes) {
        std::memcpy(m_there.data(), bytes.data(), bytes.size());
        benchmark::DoNotOptimize(m_there.data());
        std::memcpy(m_back.data(), m_there.data(), m_there.size());
        return m_back.data();
    }

private:
    std::vector<uint8> m_there = std::vector<uint8>(kPayload);
    std::vector<uint8> m_back = std::vector<uint8>(kPayload);
};

template <class Way>
void OutAndBack(benchmark::State& state) {
    Way way;
    std::vector<uint8> bytes = bench::MixedBytes(kPayload);
    bench::InsistOn(std::memcmp(way.Pass(bytes), bytes.data(), kPayload) == 0, "what came back");
    bench::CallTimes times;
    for (auto _ : state) {
        times.Time(state, [&] { benchmark::DoNotOptimize(way.Pass(bytes)); });
    }
    times.Report(state);
    state.SetBytesProcessed(state.iterations() * int64{2 * kPayload});
}

BENCHMARK_TEMPLATE(OutAndBack, RemoteEcho)->Name("PayloadOutAndBack/library/1048576")->UseManualTime();
BENCHMARK_TEMPLATE(OutAndBack, SocketEcho)->Name("PayloadOutAndBack/unix_socket/1048576")->UseManualTime();
BENCHMARK_TEMPLATE(OutAndBack, TwoCopies)->Name("PayloadOutAndBack/two_memcpy/1048576")->UseManualTime();

} // namespace
