// StallFs.h - a mount of vxc-stallfs for the length of a test.
#pragma once

#include "support/TempFolder.h"

#include <memory>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace vxcio::test {

// Shows the folder `backing` at another place, where operations stall on orders. One thread at a time uses
// it. The destructor takes it away, whatever still waits in it.
class StallFs {
public:
    enum class Access { ReadOnly, Writable };

    explicit StallFs(const std::string& backing, Access access = Access::ReadOnly);
    ~StallFs();
    StallFs(const StallFs&) = delete;
    StallFs& operator=(const StallFs&) = delete;

    // Empty when it is mounted, else why a test cannot have it.
    const std::string& Lack() const { return m_lack; }

    // Whole name of a file as the mount shows it.
    std::string Name(std::string_view file) const;
    std::wstring Wide(std::string_view file) const;

    // Carries out one order (tests/stallfs/StallRules.h) and gives the answer.
    std::string Order(const std::string& order) const;
    // True when at least so many operations wait; it waits for them.
    [[nodiscard]] bool WaitUntilStanding(int operations) const;

private:
    TempFolder m_folder{TempFolder::Kind::Memory}; // a socket wants a short name
    std::string m_lack;
    pid_t m_pid = -1;
    int m_lifeline = -1;
};

} // namespace vxcio::test

// Ends the test as skipped, with the reason, where there is no such mount here.
#define VXC_NEEDS_STALLFS(mount)                                                                             \
    if (!(mount).Lack().empty()) {                                                                           \
        GTEST_SKIP() << (mount).Lack();                                                                      \
    }                                                                                                        \
    static_assert(true, "a semicolon follows")
