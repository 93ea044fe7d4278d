#include "pairing/posix/KilledHost.h"

#include "frame/ModuleValues.h"
#include "pairing/Bridge.h"
#include "pairing/Processes.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace vxcio::test {

namespace {

constexpr int kLetters = 100; // the descriptor
constexpr const char* kAsked = "VXC_TEST_AS_HOST";

void Say(char letter) {
    if (write(kLetters, &letter, 1) != 1) {
        _exit(99); // nobody listens
    }
}

void ExitUnless(bool holds, int code) {
    if (!holds) {
        _exit(code);
    }
}

void OneRound(const std::string& life) {
    const bool withPlug = life != "once";
    Say('s');
    // The last server may still hold the names.
    ExitUnless(Eventually([] { return CreateVXC32ServProcess() == 0; }), 11);
    if (withPlug) {
        Say('l');
        const unsigned long long plug = RemoteLoadVXC32Plug(PlugPath(L"TestPlug").c_str());
        ExitUnless(plug != 0, 12);
        Say('c');
        Channel channel(plug);
        ExitUnless(channel.Result() == 0, 13);
        Say('x');
        while (life == "staying") {
            pause();
        }
        for (int i = 0; i < 30; ++i) {
            ExitUnless(channel.Call(L"Empty", 1000) == 0, 14);
        }
        Say('r');
        channel.Release();
    }
    Say('q');
    ExitUnless(DestoryVXC32ServProcess() == 0, 15);
    Say('.');
}

} // namespace

void BeAHostWhereAsked() {
    const char* const asked = std::getenv(kAsked);
    if (asked == nullptr) {
        return;
    }
    const std::wstring folder = ServerFolder();
    *std::copy(folder.begin(), folder.end(), Module().szModuleDirectory) = 0;
    const std::string life = asked;
    do {
        OneRound(life);
    } while (life != "once");
    _exit(0);
}

KilledHost::KilledHost(Life life) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    setenv(kAsked, life == Life::Once ? "once" : life == Life::Staying ? "staying" : "endless", 1);
    m_process = fork();
    if (m_process == 0) {
        dup2(ends[1], kLetters);
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        execl("/proc/self/exe", "host", nullptr);
        _exit(127);
    }
    unsetenv(kAsked);
    close(ends[1]);
    m_letters = ends[0];
}

KilledHost::~KilledHost() {
    if (!HasEnded()) {
        Kill();
        waitpid(m_process, nullptr, 0);
    }
    close(m_letters);
}

char KilledHost::NextLetter() {
    char letter = 0;
    if (read(m_letters, &letter, 1) != 1) {
        return 0;
    }
    return m_last = letter;
}

char KilledHost::LastLetter() {
    fcntl(m_letters, F_SETFL, O_NONBLOCK);
    while (NextLetter() != 0) {
    }
    fcntl(m_letters, F_SETFL, 0);
    return m_last;
}

void KilledHost::Kill() const {
    kill(m_process, SIGKILL);
}

bool KilledHost::HasEnded() {
    int status = 0;
    if (!m_ended && waitpid(m_process, &status, WNOHANG) == m_process) {
        m_ended = true;
        m_exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    return m_ended;
}

} // namespace vxcio::test
