// The stalling file system itself, so that what rests on it can be believed.
#include "real/posix/StallFs.h"
#include "support/posix/SystemTesting.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <future>
#include <sys/wait.h>
#include <unistd.h>

using namespace vxcio::test;

namespace {

std::string ReadAll(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

TEST(StallFsTest, AFolderIsShownReadOnlyAlsoForDirectReads) {
    const TempFolder folder;
    const std::string clip = folder.WritePattern("clip", 300'000, 1);
    const StallFs mount(folder.Path().string());
    VXC_NEEDS_STALLFS(mount);
    EXPECT_TRUE(ReadAll(mount.Name("clip")) == ReadAll(clip));
    EXPECT_EQ(::open(mount.Name("clip").c_str(), O_RDWR), -1);
    EXPECT_EQ(errno, EROFS);
    const int direct = ::open(mount.Name("clip").c_str(), O_RDONLY | O_DIRECT);
    ASSERT_GE(direct, 0);
    alignas(4096) char block[4096];
    EXPECT_EQ(::pread(direct, block, sizeof block, 4096), 4096);
    EXPECT_EQ(std::string(block, sizeof block), ReadAll(clip).substr(4096, 4096));
    ::close(direct);
}

TEST(StallFsTest, ReadsAreCountedAndStallWhereTheyAreTold) {
    const TempFolder folder;
    folder.WritePattern("clip", 300'000, 1);
    folder.WritePattern("other", 300'000, 1);
    const StallFs mount(folder.Path().string());
    VXC_NEEDS_STALLFS(mount);
    EXPECT_EQ(mount.Order("reads clip"), "0 0");
    ASSERT_EQ(mount.Order("stall read clip 5000"), "ok");
    const int file = ::open(mount.Name("clip").c_str(), O_RDONLY | O_CLOEXEC);
    char block[4096];
    EXPECT_EQ(::pread(file, block, sizeof block, 0), 4096); // ends before the place
    EXPECT_EQ(ReadAll(mount.Name("other")).size(), 300'000u);
    EXPECT_EQ(mount.Order("reads clip"), "1 4096");
    auto hanging = std::async(std::launch::async, [&] { return ::pread(file, block, sizeof block, 1000); });
    ASSERT_TRUE(mount.WaitUntilStanding(1));
    EXPECT_EQ(mount.Order("release"), "ok");
    EXPECT_EQ(hanging.get(), 4096);
    EXPECT_EQ(mount.Order("standing"), "0");
    ::close(file);
}

TEST(StallFsTest, OperationsFailWhereTheyAreTold) {
    const TempFolder folder;
    folder.WritePattern("clip", 3'000, 1);
    const StallFs mount(folder.Path().string());
    VXC_NEEDS_STALLFS(mount);
    ASSERT_EQ(mount.Order("fail open *"), "ok");
    EXPECT_EQ(::open(mount.Name("clip").c_str(), O_RDONLY), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_TRUE(mount.Order("dance").starts_with("error"));
    EXPECT_TRUE(mount.Order("stall dance clip").starts_with("error"));
    EXPECT_TRUE(mount.Order("stall read").starts_with("error"));
}

TEST(StallFsTest, AProcessThatHangsInItCanBeKilled) {
    const TempFolder folder;
    folder.WritePattern("clip", 3'000, 1);
    const StallFs mount(folder.Path().string());
    VXC_NEEDS_STALLFS(mount);
    ASSERT_EQ(mount.Order("stall read clip"), "ok");
    const int ended = RunInChild([&] {
        const pid_t child = ::fork();
        if (child == 0) {
            char byte = 0;
            const int file = ::open(mount.Name("clip").c_str(), O_RDONLY);
            return static_cast<int>(::read(file, &byte, 1));
        }
        if (!mount.WaitUntilStanding(1)) {
            return 1;
        }
        ::kill(child, SIGKILL);
        return ::waitpid(child, nullptr, 0) == child ? 0 : 2;
    });
    EXPECT_EQ(ended, 0);
}

TEST(StallFsTest, NothingIsLeftOfItsMount) {
    const TempFolder folder;
    folder.WritePattern("clip", 3'000, 1);
    std::string name;
    int file = -1;
    {
        const StallFs mount(folder.Path().string());
        VXC_NEEDS_STALLFS(mount);
        name = mount.Name("clip");
        file = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_EQ(mount.Order("stall read clip"), "ok");
    }
    char byte = 0;
    EXPECT_EQ(::read(file, &byte, 1), -1); // the disk is gone
    ::close(file);
    EXPECT_FALSE(std::filesystem::exists(name));
    EXPECT_EQ(ReadAll("/proc/mounts").find(name.substr(0, name.rfind('/'))), std::string::npos);
}
