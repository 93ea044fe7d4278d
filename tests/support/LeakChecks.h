// LeakChecks.h - threads and open files that a test leaves behind.
#pragma once

#include <string>
#include <vector>

namespace vxcio::test {

// Threads of this process that the system still knows.
int ThreadCount();

// Descriptors that are open, and what they lead to ("3 -> /dev/null"), without the one that looks.
int OpenDescriptors();
std::vector<std::string> DescriptorList();

// Fails the test when at its end there are more threads or descriptors than at its beginning. A thread that
// was joined may be known to the system a little longer, so it looks again until they are back or its
// patience, in milliseconds, has ended.
class NoLeakScope {
public:
    explicit NoLeakScope(int patience = 1000);
    ~NoLeakScope();
    NoLeakScope(const NoLeakScope&) = delete;
    NoLeakScope& operator=(const NoLeakScope&) = delete;

    // Looks now and tells what is too much, or nothing. For a test of its own.
    std::string Leaks() const;

private:
    const int m_patience;
    const int m_threads;
    const std::vector<std::string> m_descriptors;
};

} // namespace vxcio::test
