#include "support/LeakChecks.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

namespace vxcio::test {

namespace {

struct CloseFolder {
    void operator()(DIR* folder) const { closedir(folder); }
};

// Calls `visit` with the descriptor that looks and the name of each entry.
template <class Visit>
void ForEachEntry(const char* path, Visit visit) {
    const std::unique_ptr<DIR, CloseFolder> folder(opendir(path));
    if (folder == nullptr) {
        ADD_FAILURE() << path << " cannot be read";
        return;
    }
    while (const dirent* entry = readdir(folder.get())) {
        if (entry->d_name[0] != '.') {
            visit(dirfd(folder.get()), entry->d_name);
        }
    }
}

// With the first thread of a program the runtime of a sanitizer may start one of its own, which stays. That
// must have happened before anything is counted.
void LetTheRuntimeStartItsThreads() {
    static const bool isDone = [] {
        std::string task;
        std::thread([&] { task = "/proc/self/task/" + std::to_string(gettid()); }).join();
        // A thread that was joined may still be on its way out.
        for (int look = 0; look < 1000 && access(task.c_str(), F_OK) == 0; ++look) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return true;
    }();
    static_cast<void>(isDone);
}

} // namespace

int ThreadCount() {
    LetTheRuntimeStartItsThreads();
    int count = 0;
    ForEachEntry("/proc/self/task", [&](int, const char*) { ++count; });
    return count;
}

std::vector<std::string> DescriptorList() {
    std::vector<std::string> list;
    ForEachEntry("/proc/self/fd", [&](int self, const char* name) {
        if (std::atoi(name) == self) {
            return;
        }
        char target[512] = {};
        const ssize_t length = readlinkat(self, name, target, sizeof target - 1);
        list.push_back(std::string(name) + " -> " + (length > 0 ? target : "?"));
    });
    std::sort(list.begin(), list.end());
    return list;
}

int OpenDescriptors() {
    return static_cast<int>(DescriptorList().size());
}

NoLeakScope::NoLeakScope(int patience)
    : m_patience(patience), m_threads(ThreadCount()), m_descriptors(DescriptorList()) {}

std::string NoLeakScope::Leaks() const {
    std::string leaks;
    const int threads = ThreadCount();
    if (threads > m_threads) {
        leaks += std::to_string(threads - m_threads) + " more threads\n";
    }
    const std::vector<std::string> now = DescriptorList();
    if (now.size() > m_descriptors.size()) {
        leaks +=
            std::to_string(now.size() - m_descriptors.size()) + " more descriptors, of these new ones:\n";
        std::vector<std::string> added;
        std::set_difference(now.begin(), now.end(), m_descriptors.begin(), m_descriptors.end(),
                            std::back_inserter(added));
        for (const std::string& line : added) {
            leaks += "  " + line + "\n";
        }
    }
    return leaks;
}

NoLeakScope::~NoLeakScope() {
    // Nothing tells when the system has forgotten a thread, so this one looks again.
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(m_patience);
    std::string leaks = Leaks();
    while (!leaks.empty() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        leaks = Leaks();
    }
    if (!leaks.empty()) {
        ADD_FAILURE() << "left behind: " << leaks;
    }
}

} // namespace vxcio::test
