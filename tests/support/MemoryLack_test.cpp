#include "support/MemoryLack.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <thread>

using namespace vxcio::test;

namespace {

std::unique_ptr<int> One() {
    return std::unique_ptr<int>(new (std::nothrow) int(1));
}

} // namespace

TEST(MemoryLackTest, OnlyTheNthAllocationFails) {
    const MemoryLack lack(2);
    EXPECT_NE(One(), nullptr);
    EXPECT_FALSE(lack.Came());
    EXPECT_EQ(One(), nullptr);
    EXPECT_TRUE(lack.Came());
    EXPECT_NE(One(), nullptr);
}

TEST(MemoryLackTest, ArraysCountAsWell) {
    const MemoryLack lack(1);
    const std::unique_ptr<int[]> array(new (std::nothrow) int[3]);
    EXPECT_EQ(array, nullptr);
    EXPECT_TRUE(lack.Came());
}

TEST(MemoryLackTest, OtherThreadsAndLaterAllocationsAreServed) {
    {
        const MemoryLack lack(1);
        std::thread([] { EXPECT_NE(One(), nullptr); }).join();
        EXPECT_FALSE(lack.Came());
    }
    EXPECT_NE(One(), nullptr);
}
