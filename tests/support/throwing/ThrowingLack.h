// ThrowingLack.h - memory that lacks where its asker throws.
#pragma once

namespace vxcio::test {

// While it lives one allocation by plain `new` of the thread that made it throws std::bad_alloc: the n-th
// from its construction, counted from 1. One at a time for each thread.
class ThrowingLack {
public:
    explicit ThrowingLack(int nth) noexcept;
    ~ThrowingLack();
    ThrowingLack(const ThrowingLack&) = delete;
    ThrowingLack& operator=(const ThrowingLack&) = delete;

    // The allocation was asked for.
    bool Came() const noexcept;
};

} // namespace vxcio::test
