// Partner.h - a process that answers this one.
#pragma once

#include "InsistOn.h"

#include <csignal>
#include <new>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

// Runs `body` over and over in a process of its own, until this object goes. What runs there must not take
// memory: the other threads of this process stand still in it.
class Partner {
public:
    template <class Body>
    explicit Partner(Body body) : m_process(fork()) {
        InsistOn(m_process >= 0, "fork");
        if (m_process == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (;;) {
                body();
            }
        }
    }
    ~Partner() {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }
    Partner(const Partner&) = delete;
    Partner& operator=(const Partner&) = delete;

private:
    pid_t m_process;
};

// An object that a partner shares.
template <class Object>
class Shared {
public:
    Shared() {
        void* const memory =
            mmap(nullptr, sizeof(Object), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        InsistOn(memory != MAP_FAILED, "mmap");
        m_object = new (memory) Object;
    }
    ~Shared() {
        m_object->~Object();
        munmap(m_object, sizeof(Object));
    }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    Object* operator->() const { return m_object; }

private:
    Object* m_object;
};

} // namespace bench
