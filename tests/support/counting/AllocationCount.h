// AllocationCount.h - how often memory is asked for while a test looks.
#pragma once

namespace vxcio::test {

// Counts `new` of all threads from its construction on. One at a time.
class AllocationCount {
public:
    AllocationCount() noexcept;
    ~AllocationCount();
    AllocationCount(const AllocationCount&) = delete;
    AllocationCount& operator=(const AllocationCount&) = delete;

    int Taken() const noexcept;
};

} // namespace vxcio::test
