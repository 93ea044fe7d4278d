#include "frame/SystemLayer.h"

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <string>

namespace {

int64 SteadyNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

char StateOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string text;
    std::getline(file, text);
    const std::size_t end = text.rfind(')');
    return end == std::string::npos || end + 2 >= text.size() ? '?' : text[end + 2];
}

} // namespace

TEST(ClockTest, PerformanceCounterRunsAtTenMegahertz) {
    _VXC_LARGE_INTEGER frequency = {};
    EXPECT_EQ(VXC_QueryPerformanceFrequency(&frequency), 1);
    EXPECT_EQ(frequency.QuadPart, 10'000'000);
    const int64 before = SteadyNanoseconds();
    _VXC_LARGE_INTEGER counter = {};
    EXPECT_EQ(VXC_QueryPerformanceCounter(&counter), 1);
    const int64 after = SteadyNanoseconds();
    EXPECT_GE(counter.QuadPart, before / 100);
    EXPECT_LE(counter.QuadPart, after / 100);
}

TEST(ClockTest, NullCounterGivesError87) {
    EXPECT_EQ(VXC_WaitForSingleObject(nullptr, 0), VXC_WAIT_FAILED);
    EXPECT_EQ(VXC_QueryPerformanceCounter(nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(VXC_WaitForSingleObject(nullptr, 0), VXC_WAIT_FAILED);
    EXPECT_EQ(VXC_QueryPerformanceFrequency(nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
}

TEST(ClockTest, TickCountIsTheMonotonicClockInMillisecondsCutTo32Bits) {
    const auto before = static_cast<uint32>(SteadyNanoseconds() / 1'000'000);
    const uint32 ticks = VXC_GetTickCount();
    const auto after = static_cast<uint32>(SteadyNanoseconds() / 1'000'000);
    EXPECT_LE(ticks - before, after - before);
}

TEST(ClockTest, SleepLastsAsLongAsAskedThoughASignalComes) {
    struct sigaction action = {};
    struct sigaction former = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, &former);
    const itimerval often = {{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    const int64 start = SteadyNanoseconds();
    VXC_Sleep(5);
    const int64 end = SteadyNanoseconds();
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &former, nullptr);
    EXPECT_GE(end - start, 5'000'000);
}

TEST(ClockTest, ShortSleepsReturn) {
    for (int i = 0; i < 100; ++i) {
        VXC_Sleep(0);
    }
    const int64 start = SteadyNanoseconds();
    VXC_Sleep(1);
    EXPECT_GE(SteadyNanoseconds() - start, 1'000'000);
}

TEST(ClockTest, EndlessSleepDoesNotEnd) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        VXC_Sleep(VXC_INFINITE);
        _exit(0);
    }
    const int64 limit = SteadyNanoseconds() + 10'000'000'000;
    char state = StateOf(child);
    while (state != 'S' && state != 'Z' && SteadyNanoseconds() < limit) {
        sched_yield();
        state = StateOf(child);
    }
    EXPECT_EQ(state, 'S');
    EXPECT_EQ(waitpid(child, nullptr, WNOHANG), 0);
    kill(child, SIGKILL);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
}
