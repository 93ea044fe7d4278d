#include "real/posix/OwnConnections.h"

#include "support/Bounded.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace vxcio::test {

namespace {

// A line of the system's table. Ends are "0100007F:2EE0".
struct Connection {
    std::string local;
    std::string remote;
    uint64 toSend = 0;
    uint64 toRead = 0;
    std::string inode;
};

std::vector<Connection> AllConnections() {
    std::vector<Connection> all;
    std::ifstream table("/proc/net/tcp");
    std::string line;
    std::getline(table, line); // the heading
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        Connection one;
        std::string ignored;
        std::string queues;
        fields >> ignored >> one.local >> one.remote >> ignored >> queues >> ignored >> ignored >> ignored >>
            ignored >> one.inode;
        one.toSend = std::stoull(queues, nullptr, 16);
        one.toRead = std::stoull(queues.substr(queues.find(':') + 1), nullptr, 16);
        all.push_back(one);
    }
    return all;
}

std::set<std::string> OwnSockets() {
    std::set<std::string> inodes;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
        constexpr std::string_view kSocket = "socket:[";
        if (!gone && target.starts_with(kSocket)) {
            inodes.insert(target.substr(kSocket.size(), target.size() - kSocket.size() - 1));
        }
    }
    return inodes;
}

// Of a thread that has ended there is none.
char StateOf(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const std::size_t name = text.rfind(')');
    return name == std::string::npos || name + 2 >= text.size() ? 0 : text[name + 2];
}

} // namespace

KeptBytes BytesOnConnections() {
    KeptBytes kept;
    const std::set<std::string> own = OwnSockets();
    const std::vector<Connection> all = AllConnections();
    for (const Connection& one : all) {
        if (own.count(one.inode) == 0) {
            continue;
        }
        kept.toServers += one.toSend;
        kept.fromServers += one.toRead;
        const auto other = std::find_if(all.begin(), all.end(), [&one](const Connection& end) {
            return end.local == one.remote && end.remote == one.local;
        });
        if (other != all.end()) {
            kept.fromServers += other->toSend;
            kept.toServers += other->toRead;
        }
    }
    return kept;
}

pid_t OwnThread() {
    return static_cast<pid_t>(::syscall(SYS_gettid));
}

bool WaitUntilAtRest(pid_t thread, bool (*isSettled)(const KeptBytes&)) {
    constexpr int kLooks = 20; // in a row, of which each takes a while
    const auto end = std::chrono::steady_clock::now() + kHangLimit;
    KeptBytes former;
    for (int same = 0; same < kLooks;) {
        const KeptBytes kept = BytesOnConnections();
        const char state = StateOf(thread);
        if (state == 0 || std::chrono::steady_clock::now() > end) {
            return false;
        }
        same = state == 'S' && kept == former && isSettled(kept) ? same + 1 : 0;
        former = kept;
        std::this_thread::yield();
    }
    return true;
}

} // namespace vxcio::test
