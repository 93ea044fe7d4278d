// The host's side of the frame statistics once a call got no answer: it asks nothing more, so that no late
// reply is taken for that of another call.
#include "../../examples/frame_stats/PlugChannel.h"
#include "../../examples/frame_stats/PlugError.h"
#include "../../examples/frame_stats/PlugServer.h"
#include "../../examples/frame_stats/Wire.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <latch>
#include <string>
#include <thread>

using namespace frame_stats;

namespace {

constexpr uint32 kRoom = 8192;
constexpr uint32 kLong = 20'000; // milliseconds that no test waits
constexpr const char* kSilence = "the plug-in server gave no answer in time";

void Nothing(CVXCSerialize& /*stream*/) {}

// Every thread of the server stands still, until this object ends.
class StoppedServer {
public:
    explicit StoppedServer(uint32 process) : m_process(static_cast<pid_t>(process)) {
        EXPECT_EQ(kill(m_process, SIGSTOP), 0);
        while (!Stands()) {
            std::this_thread::yield();
        }
    }
    ~StoppedServer() { kill(m_process, SIGCONT); }
    StoppedServer(const StoppedServer&) = delete;
    StoppedServer& operator=(const StoppedServer&) = delete;

private:
    bool Stands() const {
        const std::string folder = "/proc/" + std::to_string(m_process) + "/task";
        for (const auto& task : std::filesystem::directory_iterator(folder)) {
            std::ifstream file(task.path() / "stat");
            std::string line;
            std::getline(file, line);
            // The state stands behind the name, which is in brackets.
            if (line.find(") T") == line.npos) {
                return false;
            }
        }
        return true;
    }

    const pid_t m_process;
};

// What a call fails with; empty where it does not.
std::string ErrorOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const PlugError& error) {
        return error.what();
    }
    return "";
}

class FrameStatsSilenceTest : public testing::Test {
protected:
    FrameStatsSilenceTest() : m_plug(m_server, InstalledPlug()), m_channel(m_server, m_plug, kRoom, kRoom) {}

    PlugServer m_server;
    LoadedPlug m_plug;
    PlugChannel m_channel;
};

} // namespace

TEST_F(FrameStatsSilenceTest, ACallAfterATimeOutFailsAtOnceAndDoesNotTakeTheLateReply) {
    PlugChannel other(m_server, m_plug, kRoom, kRoom);
    ASSERT_TRUE(m_server.Facts());
    ASSERT_EQ(ErrorOf([&] { m_channel.Call(kReset, nullptr, kLong, Nothing, Nothing); }), "");
    {
        const StoppedServer stopped(m_server.Facts()->process);
        EXPECT_EQ(ErrorOf([&] { m_channel.Call(0, kTotal, 10, Nothing, Nothing); }), kSilence);
        EXPECT_FALSE(m_server.Answers());
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(ErrorOf([&] { m_channel.Call(kReset, nullptr, kLong, Nothing, Nothing); }), kSilence);
        EXPECT_EQ(ErrorOf([&] { other.Call(kReset, nullptr, kLong, Nothing, Nothing); }), kSilence);
        EXPECT_EQ(ErrorOf([&] { LoadedPlug(m_server, InstalledPlug()); }), kSilence);
        EXPECT_EQ(ErrorOf([&] { m_plug.Free(); }), kSilence);
        EXPECT_EQ(ErrorOf([&] { PlugChannel(m_server, m_plug, kRoom, kRoom); }), kSilence);
        // Asked, the server would have cost two seconds or more.
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    }
    // The server answers the first call now.
    bool taken = false;
    EXPECT_EQ(ErrorOf([&] {
                  m_channel.Call(0, kTotal, kLong, Nothing, [&](CVXCSerialize& /*reply*/) { taken = true; });
              }),
              kSilence);
    EXPECT_FALSE(taken);
}

TEST_F(FrameStatsSilenceTest, ACallThatWaitedForTheOneWithoutAnswerFailsWithIt) {
    ASSERT_TRUE(m_server.Facts());
    const StoppedServer stopped(m_server.Facts()->process);
    std::latch filling(1);
    std::future<std::string> waiting = std::async(std::launch::async, [&] {
        filling.wait();
        return ErrorOf([&] { m_channel.Call(kReset, nullptr, kLong, Nothing, Nothing); });
    });
    // The channel is this thread's from here on.
    const auto write = [&](CVXCSerialize& /*request*/) { filling.count_down(); };
    EXPECT_EQ(ErrorOf([&] { m_channel.Call(0, kTotal, 50, write, Nothing); }), kSilence);
    ASSERT_EQ(waiting.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(waiting.get(), kSilence);
}
