#include "HostWatch.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vxcserver {

namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// The fields that follow the name, which is in brackets and may hold anything.
constexpr int kStartTimeField = 19;

// When a process was started, in the kernel's ticks: with its number that is like no other process. 0 for one
// that is not there or has ended.
uint64 StartTime(uint32 processId) noexcept {
    char name[64];
    std::snprintf(name, sizeof name, "/proc/%u/stat", processId);
    const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(name, "re"));
    char text[1024] = {};
    if (file == nullptr || std::fread(text, 1, sizeof text - 1, file.get()) == 0) {
        return 0;
    }
    const char* field = std::strrchr(text, ')');
    if (field == nullptr || field[1] != ' ' || field[2] == 'Z' || field[2] == 'X') {
        return 0;
    }
    ++field;
    for (int i = 0; i < kStartTimeField && field != nullptr; ++i) {
        field = std::strchr(field + 1, ' ');
    }
    return field == nullptr ? 0 : std::strtoull(field, nullptr, 10);
}

} // namespace

HostWatch::HostWatch(uint32 processId) noexcept
    : m_processId(processId),
      m_process(static_cast<int>(syscall(SYS_pidfd_open, static_cast<pid_t>(processId), 0))),
      m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), m_startTime(StartTime(processId)) {}

HostWatch::~HostWatch() {
    for (const int descriptor : {m_process, m_wake}) {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
}

bool HostWatch::EndedByItsFacts() const noexcept {
    return m_startTime == 0 || StartTime(m_processId) != m_startTime;
}

bool HostWatch::HasEnded(std::chrono::milliseconds limit) noexcept {
    // Without descriptors of processes the facts are looked at in turns.
    pollfd events[] = {{m_wake, POLLIN, 0}, {m_process, POLLIN, 0}};
    poll(events, m_process < 0 ? 1 : 2, static_cast<int>(limit.count()));
    uint64 wakes = 0;
    if ((events[0].revents & POLLIN) != 0 && read(m_wake, &wakes, sizeof wakes) < 0) {
        wakes = 0; // somebody else has taken them
    }
    if (m_process >= 0) {
        return (events[1].revents & POLLIN) != 0;
    }
    return EndedByItsFacts();
}

void HostWatch::WakeUp() noexcept {
    const uint64 one = 1;
    if (write(m_wake, &one, sizeof one) < 0) {
        return; // it is signalled already
    }
}

} // namespace vxcserver
