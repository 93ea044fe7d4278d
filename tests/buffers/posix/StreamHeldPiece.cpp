#include "buffers/posix/StreamHeldPiece.h"

#include "support/Bounded.h"

#include <cerrno>
#include <chrono>
#include <cstdint>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <unistd.h>

namespace vxcio::test {

namespace {

std::atomic<StreamHeldPiece*> g_current{nullptr};

// What the handler uses of the system is allowed within a signal.
bool WaitFor(int event) {
    pollfd waited = {event, POLLIN, 0};
    const auto limit = std::chrono::milliseconds(kHangLimit).count();
    int result = 0;
    do {
        result = poll(&waited, 1, static_cast<int>(limit));
    } while (result < 0 && errno == EINTR);
    return result == 1;
}

void Signal(int event) {
    const std::uint64_t one = 1;
    while (write(event, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

} // namespace

StreamHeldPiece::StreamHeldPiece(int pages)
    : m_page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
      m_size(static_cast<std::size_t>(pages) * m_page), m_inside(eventfd(0, EFD_CLOEXEC)),
      m_letGo(eventfd(0, EFD_CLOEXEC)) {
    void* const memory = mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED || m_inside < 0 || m_letGo < 0) {
        return;
    }
    m_memory = static_cast<uint8*>(memory);
    for (int i = 0; i < Size(); ++i) {
        m_memory[i] = At(i);
    }
    g_current.store(this);
    struct sigaction action = {};
    action.sa_sigaction = OnFault;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGSEGV, &action, &m_before);
    m_isThere = mprotect(m_memory + m_size - m_page, m_page, PROT_NONE) == 0;
}

StreamHeldPiece::~StreamHeldPiece() {
    if (m_memory == nullptr) {
        return;
    }
    const bool wasLetGo = m_isLetGo;
    LetGo(); // no access fails any more
    sigaction(SIGSEGV, &m_before, nullptr);
    g_current.store(nullptr);
    if (wasLetGo) {
        munmap(m_memory, m_size);
        close(m_inside);
        close(m_letGo);
    }
}

bool StreamHeldPiece::AreBytes(const uint8* data, int count, int place) {
    for (int i = 0; i < count; ++i) {
        if (data[i] != At(place + i)) {
            return false;
        }
    }
    return true;
}

bool StreamHeldPiece::WaitUntilInside() const {
    return WaitFor(m_inside);
}

void StreamHeldPiece::LetGo() {
    mprotect(m_memory, m_size, PROT_READ | PROT_WRITE);
    m_isLetGo = true;
    Signal(m_letGo);
}

void StreamHeldPiece::Stand() const {
    Signal(m_inside);
    WaitFor(m_letGo); // when he is never let go, the access fails once more, and he stands again
}

void StreamHeldPiece::OnFault(int /*number*/, siginfo_t* info, void* /*context*/) {
    const int error = errno;
    const StreamHeldPiece* const piece = g_current.load();
    if (piece == nullptr) {
        return; // it has just ended: the bytes can be read, and the signal is another's again
    }
    const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
    const auto end = reinterpret_cast<std::uintptr_t>(piece->m_memory) + piece->m_size;
    if (address >= end - piece->m_page && address < end) {
        piece->Stand();
    } else {
        sigaction(SIGSEGV, &piece->m_before, nullptr); // the access fails again, and is not ours
    }
    errno = error;
}

} // namespace vxcio::test
