#include "support/LeakChecks.h"

#include "support/Gate.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <thread>

using namespace vxcio::test;

namespace {

TEST(LeakChecksTest, AnOpenFileIsCountedAndNamed) {
    TempFolder folder;
    const std::string name = folder.Write("clip", "x");
    NoLeakScope scope;
    const int before = OpenDescriptors();
    {
        const std::ifstream file(name);
        EXPECT_EQ(OpenDescriptors(), before + 1);
        EXPECT_THAT(DescriptorList(), testing::Contains(testing::EndsWith(name)));
        EXPECT_THAT(scope.Leaks(), testing::HasSubstr(name));
    }
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_EQ(scope.Leaks(), "");
}

TEST(LeakChecksTest, ARunningThreadIsCounted) {
    NoLeakScope scope;
    const int before = ThreadCount();
    Gate gate;
    std::thread thread([&] { gate.Pass(); });
    ASSERT_TRUE(gate.WaitUntilReached());
    EXPECT_EQ(ThreadCount(), before + 1);
    EXPECT_EQ(scope.Leaks(), "1 more threads\n");
    gate.Open();
    thread.join();
}

TEST(LeakChecksTest, WhatIsLeftBehindFailsTheTest) {
    TempFolder folder;
    const std::string name = folder.Write("clip", "x");
    std::unique_ptr<std::ifstream> file;
    EXPECT_NONFATAL_FAILURE(
        {
            NoLeakScope scope(1);
            file = std::make_unique<std::ifstream>(name);
        },
        "1 more descriptors");
}

TEST(LeakChecksTest, ThreadsThatEndedAreNoLeak) {
    NoLeakScope scope;
    for (int i = 0; i < 20; ++i) {
        std::thread([] {}).join();
    }
}

} // namespace
