// Descriptor.h - a descriptor of the system that is closed unless it is taken over.
#pragma once

#include <unistd.h>
#include <utility>

namespace vxcio::sysu {

// Owned by one thread at a time; -1 stands for none.
class Descriptor {
public:
    explicit Descriptor(int descriptor = -1) noexcept : m_descriptor(descriptor) {}
    ~Descriptor() { Close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Get() const noexcept { return m_descriptor; }
    // Hands it over: it is not closed here any more.
    int Take() noexcept { return std::exchange(m_descriptor, -1); }
    // Takes over another one; the one it had is closed.
    void Reset(int descriptor) noexcept {
        Close();
        m_descriptor = descriptor;
    }
    // 0, or -1 with errno; it has gone in either case.
    int Close() noexcept {
        const int descriptor = Take();
        return descriptor >= 0 ? ::close(descriptor) : 0;
    }

private:
    int m_descriptor;
};

} // namespace vxcio::sysu
