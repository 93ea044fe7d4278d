// MemoryLack.h - memory that lacks while a test runs.
#pragma once

namespace vxcio::test {

// While it lives one allocation by `new (std::nothrow)` of the thread that made it gives null: the n-th from
// its construction, counted from 1. One at a time for each thread.
//
//   MemoryLack lack(2);
//   EXPECT_EQ(Construct(...), nullptr);
//   EXPECT_TRUE(lack.Came());
class MemoryLack {
public:
    explicit MemoryLack(int nth) noexcept;
    ~MemoryLack();
    MemoryLack(const MemoryLack&) = delete;
    MemoryLack& operator=(const MemoryLack&) = delete;

    // The allocation was asked for.
    bool Came() const noexcept;
};

} // namespace vxcio::test
