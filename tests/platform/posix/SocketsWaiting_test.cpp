// Calls that stand in the system: other threads end them, signals do not. And what of sockets only the system
// can tell.
#include "platform/Sockets.h"

#include "platform/SocketPair.h"
#include "support/Bounded.h"
#include "support/LeakChecks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kSignal = SIGUSR1;
std::atomic<int> g_signals{0};

// Without SA_RESTART, so that the system's calls come back.
class SignalScope {
public:
    SignalScope() {
        struct sigaction action = {};
        action.sa_handler = [](int) { ++g_signals; };
        EXPECT_EQ(::sigaction(kSignal, &action, &m_former), 0);
    }
    ~SignalScope() { ::sigaction(kSignal, &m_former, nullptr); }
    SignalScope(const SignalScope&) = delete;
    SignalScope& operator=(const SignalScope&) = delete;

private:
    struct sigaction m_former = {};
};

// A thread that makes one call.
class Caller {
public:
    explicit Caller(std::function<void()> call)
        : m_thread([this, call = std::move(call)] {
              m_id = ::gettid();
              call();
              m_done = true;
          }) {}
    ~Caller() { Join(); }
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    void Join() {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    // Waits until the thread stands in its call. False when the call has come back.
    bool Stands() const {
        return Until([this] { return m_done || (m_id != 0 && StateOf(m_id) == 'S'); }) && !m_done;
    }
    // Sends it a signal and waits until it has met it.
    bool Interrupt() {
        const int before = g_signals;
        return Stands() && ::pthread_kill(m_thread.native_handle(), kSignal) == 0 &&
               Until([before] { return g_signals > before; });
    }

private:
    template <class Ready>
    static bool Until(Ready ready) {
        const auto end = std::chrono::steady_clock::now() + kHangLimit;
        while (!ready()) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            std::this_thread::yield();
        }
        return true;
    }
    static char StateOf(pid_t id) {
        std::ifstream file("/proc/self/task/" + std::to_string(id) + "/stat");
        const std::string text((std::istreambuf_iterator<char>(file)), {});
        const std::size_t end = text.rfind(')');
        return end == std::string::npos || end + 2 >= text.size() ? 0 : text[end + 2];
    }

    std::atomic<pid_t> m_id{0};
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

// Signals enough that one of them meets the call itself and not the way there.
void ExpectStaysUnderSignals(Caller& caller) {
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(caller.Interrupt()) << "signal " << i;
    }
    ASSERT_TRUE(caller.Stands());
}

// Descriptors of sockets that are open.
std::set<int> SocketDescriptors() {
    std::set<int> found;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        struct stat facts = {};
        if (::fstat(descriptor, &facts) == 0 && S_ISSOCK(facts.st_mode)) {
            found.insert(descriptor);
        }
    }
    return found;
}

} // namespace

// ---- Other threads end a call ---------------------------------------------------------------------------

TEST(SocketsWaitingTest, ShutdownWakesAReceiver) {
    SocketPair pair;
    int got = 7;
    char byte = 0;
    Caller caller([&] { got = Sockets().receive(pair.Client(), &byte, 1); });
    ASSERT_TRUE(caller.Stands());
    EXPECT_EQ(Sockets().shutdown(pair.Client()), 0);
    caller.Join();
    EXPECT_EQ(got, 0);
}

TEST(SocketsWaitingTest, CloseWakesAReceiverAndTheDescriptorGoesWithIt) {
    SocketPair pair;
    const int before = OpenDescriptors();
    const int sockets = OpenSocketCount();
    int got = 7;
    char byte = 0;
    Caller caller([&] { got = Sockets().receive(pair.Client(), &byte, 1); });
    ASSERT_TRUE(caller.Stands());
    EXPECT_EQ(Sockets().close(pair.Client()), 0);
    EXPECT_EQ(Sockets().close(pair.Client()), -1);
    EXPECT_EQ(OpenSocketCount(), sockets - 1);
    caller.Join();
    EXPECT_LE(got, 0);
    EXPECT_EQ(OpenDescriptors(), before - 1);
}

TEST(SocketsWaitingTest, ShutdownAndCloseWakeWhoWaitsForBytes) {
    for (const bool isClosed : {false, true}) {
        SocketPair pair;
        int result = 7;
        int error = 0;
        Caller caller([&] {
            result = Sockets().waitReadable(pair.Client());
            error = Sockets().lastError();
        });
        ASSERT_TRUE(caller.Stands());
        EXPECT_EQ(isClosed ? Sockets().close(pair.Client()) : Sockets().shutdown(pair.Client()), 0);
        caller.Join();
        EXPECT_EQ(result, isClosed ? -1 : 0);
        EXPECT_EQ(error, isClosed ? kSocketNotASocket : 0);
    }
}

TEST(SocketsWaitingTest, CloseWakesWhoWaitsForAConnection) {
    const Listener listener;
    SocketToken token = 7;
    Caller caller([&] { token = Sockets().accept(listener.Token()); });
    ASSERT_TRUE(caller.Stands());
    EXPECT_EQ(Sockets().close(listener.Token()), 0);
    caller.Join();
    EXPECT_EQ(token, kNoSocket);
}

TEST(SocketsWaitingDeathTest, AProcessEndsWhileAThreadStandsInASocket) {
    EXPECT_EXIT(
        {
            SocketPair pair;
            const SocketToken token = pair.Client();
            Caller caller([token] {
                char byte = 0;
                Sockets().receive(token, &byte, 1);
            });
            std::exit(caller.Stands() ? 0 : 1); // runs the destructors of what is static
        },
        ::testing::ExitedWithCode(0), "");
}

// ---- Signals do not -------------------------------------------------------------------------------------

TEST(SocketsWaitingTest, AReceiverOutlastsSignals) {
    const SignalScope signals;
    SocketPair pair;
    int got = 7;
    char byte = 0;
    Caller caller([&] { got = Sockets().receive(pair.Client(), &byte, 1); });
    ExpectStaysUnderSignals(caller);
    ASSERT_FALSE(HasFatalFailure());
    EXPECT_EQ(Sockets().send(pair.Server(), "x", 1), 1);
    caller.Join();
    EXPECT_EQ(got, 1);
    EXPECT_EQ(byte, 'x');
}

TEST(SocketsWaitingTest, WhoWaitsForBytesOutlastsSignals) {
    const SignalScope signals;
    SocketPair pair;
    int result = 7;
    Caller caller([&] { result = Sockets().waitReadable(pair.Client()); });
    ExpectStaysUnderSignals(caller);
    ASSERT_FALSE(HasFatalFailure());
    EXPECT_EQ(Sockets().send(pair.Server(), "x", 1), 1);
    caller.Join();
    EXPECT_EQ(result, 0);
}

TEST(SocketsWaitingTest, WhoWaitsForAConnectionOutlastsSignals) {
    const SignalScope signals;
    const Listener listener;
    SocketToken token = kNoSocket;
    Caller caller([&] { token = Sockets().accept(listener.Token()); });
    ExpectStaysUnderSignals(caller);
    ASSERT_FALSE(HasFatalFailure());
    const Socket client;
    EXPECT_EQ(Sockets().connect(client.Token(), kLoopback, listener.Port()), 0);
    caller.Join();
    const Socket accepted(token);
}

TEST(SocketsWaitingTest, ASenderOutlastsSignals) {
    const SignalScope signals;
    SocketPair pair;
    const std::vector<char> data(64 << 20, 'x');
    int sent = 0;
    int last = 0;
    Caller caller([&] {
        // A signal may cut a send that has moved something; then the next one stands.
        while (sent < static_cast<int>(data.size()) && last >= 0) {
            last = Sockets().send(pair.Client(), data.data() + sent,
                                  static_cast<uint32>(data.size()) - static_cast<uint32>(sent));
            sent += last;
        }
    });
    ExpectStaysUnderSignals(caller);
    ASSERT_FALSE(HasFatalFailure());
    std::vector<char> buffer(1 << 20);
    int64 received = 0;
    while (received < static_cast<int64>(data.size())) {
        const int got = Sockets().receive(pair.Server(), buffer.data(), static_cast<uint32>(buffer.size()));
        ASSERT_GT(got, 0);
        received += got;
    }
    caller.Join();
    EXPECT_EQ(sent, static_cast<int>(data.size()));
}

TEST(SocketsWaitingTest, WhoConnectsOutlastsSignals) {
    const SignalScope signals;
    // A listener that accepts nobody takes so many and then answers no more.
    const Listener listener(0);
    const Socket first;
    ASSERT_EQ(Sockets().connect(first.Token(), kLoopback, listener.Port()), 0);
    const Socket standing;
    int result = 7;
    int error = 0;
    Caller caller([&] {
        result = Sockets().connect(standing.Token(), kLoopback, listener.Port());
        error = Sockets().lastError();
    });
    ExpectStaysUnderSignals(caller);
    ASSERT_FALSE(HasFatalFailure());
    // The attempt is given up, which the interrupted call learns as well.
    EXPECT_EQ(Sockets().shutdown(standing.Token()), 0);
    caller.Join();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, kSocketReset);
}

// ---- Resets ---------------------------------------------------------------------------------------------

TEST(SocketResetTest, AResetShowsInReceivingAndNotBefore) {
    const Listener listener;
    const int peer = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in name = {};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = htonl(kLoopback);
    name.sin_port = htons(listener.Port());
    ASSERT_EQ(::connect(peer, reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
    const Socket accepted(Sockets().accept(listener.Token()));
    const linger atOnce = {1, 0};
    ASSERT_EQ(::setsockopt(peer, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce), 0);
    ::close(peer);

    uint32 count = 7;
    char byte = 0;
    EXPECT_EQ(Sockets().waitReadable(accepted.Token()), 0);
    EXPECT_EQ(Sockets().readable(accepted.Token(), &count), 0);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(Sockets().receive(accepted.Token(), &byte, 1), -1);
    EXPECT_EQ(Sockets().lastError(), kSocketReset);
    EXPECT_EQ(Sockets().send(accepted.Token(), "x", 1), -1);
    EXPECT_EQ(Sockets().lastError(), kSocketReset);
}

TEST(SocketPeerTest, APeerThatIsGoneIsAnErrorAndNoSignal) {
    // Whatever this process was started with: the signal would end it.
    struct sigaction former = {};
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    ASSERT_EQ(::sigaction(SIGPIPE, &action, &former), 0);
    SocketPair pair;
    pair.DropServer();
    EXPECT_EQ(Sockets().waitReadable(pair.Client()), 0);
    for (const uint32 bytes : {1u, 1u, 0u}) {
        EXPECT_EQ(Sockets().send(pair.Client(), "x", bytes), -1);
        EXPECT_EQ(Sockets().lastError(), kSocketReset);
    }
    EXPECT_EQ(::sigaction(SIGPIPE, &former, &action), 0);
    EXPECT_EQ(action.sa_handler, SIG_DFL); // nor is it kept off for the whole process
}

// ---- Descriptors ----------------------------------------------------------------------------------------

TEST(SocketDescriptorTest, NoProcessThatIsStartedInheritsASocket) {
    const std::set<int> before = SocketDescriptors();
    SocketPair pair; // a listener, a client and one that was accepted
    int found = 0;
    for (const int descriptor : SocketDescriptors()) {
        if (!before.contains(descriptor)) {
            ++found;
            EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << descriptor;
        }
    }
    EXPECT_EQ(found, 3);
}

TEST(SocketDescriptorTest, ClosedSocketsLeaveNoDescriptor) {
    const NoLeakScope leaks;
    for (int i = 0; i < 10; ++i) {
        SocketPair pair;
        Sockets().send(pair.Client(), "x", 1);
    }
}

TEST(SocketDescriptorTest, TooManyOpenFilesIsTheSocketsOwnError) {
    SocketPair pair;
    rlimit former = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &former), 0);
    rlimit none = former;
    none.rlim_cur = 0;
    const Socket client;
    ASSERT_EQ(Sockets().connect(client.Token(), kLoopback, pair.Port()), 0);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const SocketToken opened = Sockets().open();
    const int error = Sockets().lastError();
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &former), 0);
    EXPECT_EQ(opened, kNoSocket);
    EXPECT_EQ(error, 10024);
}

TEST(SocketDescriptorTest, SocketsBehindAThousandOpenFilesAreWaitedForToo) {
    constexpr int kHigh = 1100; // does not fit the set of descriptors of older calls
    rlimit former = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &former), 0);
    if (former.rlim_max < 2048) {
        GTEST_SKIP() << "this process may not open so many files";
    }
    rlimit many = former;
    many.rlim_cur = std::max<rlim_t>(former.rlim_cur, 2048);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &many), 0);
    std::vector<int> files;
    do {
        files.push_back(::dup(STDERR_FILENO));
    } while (files.back() >= 0 && files.back() < kHigh);
    EXPECT_GE(files.back(), kHigh);
    {
        const std::set<int> before = SocketDescriptors();
        SocketPair pair;
        EXPECT_EQ(SocketDescriptors(), before); // it looks at the low ones alone
        char bytes[4] = {};
        EXPECT_EQ(Sockets().lookReadable(pair.Client(), 0), 0);
        EXPECT_EQ(Sockets().receiveNow(pair.Client(), bytes, 4), -1);
        EXPECT_EQ(Sockets().lastError(), kSocketWouldBlock);
        EXPECT_EQ(Sockets().send(pair.Server(), "ab", 2), 2);
        EXPECT_EQ(Sockets().waitReadable(pair.Client()), 0);
        EXPECT_EQ(Sockets().lookReadable(pair.Client(), 0xFFFFFFFFu), 1);
        EXPECT_EQ(Sockets().receiveNow(pair.Client(), bytes, 4), 2);
    }
    for (const int file : files) {
        ::close(file);
    }
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &former), 0);
}
