#include "real/posix/KeptServer.h"

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace vxcio::test {

namespace {

constexpr const char* kKeeper = VXC_TEST_PROGRAM_DIR "/server_keeper";

} // namespace

KeptServer::KeptServer(const std::string& log, std::vector<std::string> command) {
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    if (::pipe2(in.data(), O_CLOEXEC) != 0 || ::pipe2(out.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipes for a server");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    command.insert(command.begin(), {kKeeper, log});
    std::vector<char*> arguments;
    for (std::string& word : command) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const int failure = ::posix_spawn(&m_pid, kKeeper, &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    m_orders = in[1];
    m_answers = out[0];
    if (failure != 0) {
        ::close(m_orders);
        ::close(m_answers);
        throw std::runtime_error(std::string("cannot run ") + kKeeper);
    }
}

KeptServer::~KeptServer() {
    ::close(m_orders);
    ::waitpid(m_pid, nullptr, 0);
    ::close(m_answers);
}

int KeptServer::Order(char order) {
    std::string answer;
    char character = 0;
    if (::write(m_orders, &order, 1) == 1) {
        while (::read(m_answers, &character, 1) == 1 && character != '\n') {
            answer += character;
        }
    }
    if (answer.empty()) {
        throw std::runtime_error("the keeper of a server is gone");
    }
    return std::atoi(answer.c_str());
}

bool KeptServer::IsRunning() {
    return Order('n') > 0;
}

void KeptServer::Stop() {
    Order('s');
}

void KeptServer::Continue() {
    Order('c');
}

void KeptServer::Kill() {
    Order('k');
}

} // namespace vxcio::test
