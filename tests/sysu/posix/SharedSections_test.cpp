// Sections: memory that processes share by name.
#include "SharedTesting.h"

#include "frame/SystemLayer.h"
#include "support/LeakChecks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kPage = 4096;

std::string PathOf(const std::wstring& name) {
    return SharedPath(name.c_str(), SharedKind::Section);
}

// Bytes of memory that the machine could give now.
std::uint64_t AvailableMemory() {
    std::ifstream in("/proc/meminfo");
    std::string word;
    std::uint64_t kib = 0;
    while (in >> word) {
        if (word == "MemAvailable:") {
            in >> kib;
        }
    }
    return kib << 10;
}

bool AllZero(const char* bytes, std::size_t count) {
    return std::all_of(bytes, bytes + count, [](char c) { return c == 0; });
}

} // namespace

TEST(SharedSectionTest, ANewSectionIsZeroedAndWhole) {
    const std::wstring name = OwnName(L"new");
    for (const uint32 size : {1u, 4095u, 4096u, 4097u, 1u << 20}) {
        HeldSection other(CreateNamedSection((name + L"2").c_str(), 1, nullptr));
        HeldSection taken(CreateNamedSection((name + L"2").c_str(), 1, nullptr));
        ASSERT_EQ(VXC_GetLastError(), VXC_ERROR_ALREADY_EXISTS); // which must not be taken for the next one's
        int existed = 1;
        HeldSection section(CreateNamedSection(name.c_str(), size, &existed));
        ASSERT_NE(section.Get(), nullptr);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_SUCCESS);
        EXPECT_EQ(existed, 0);
        uint64 bytes = 0;
        auto* const view = static_cast<char*>(MapSection(section.Get(), 0, &bytes));
        ASSERT_NE(view, nullptr);
        EXPECT_EQ(bytes, size);
        EXPECT_TRUE(AllZero(view, size));
        std::memset(view, 0x5A, size);
        EXPECT_EQ(UnmapSection(view), 1);
    }
}

TEST(SharedSectionTest, ATakenNameGivesTheSectionThatIsThere) {
    const std::wstring name = OwnName(L"taken");
    HeldSection first(CreateNamedSection(name.c_str(), 100, nullptr));
    int existed = 0;
    HeldSection second(CreateNamedSection(name.c_str(), 1 << 20, &existed));
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_ALREADY_EXISTS);
    EXPECT_EQ(existed, 1);
    EXPECT_NE(second.Get(), first.Get());
    HeldSection third(OpenNamedSection(name.c_str()));
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_SUCCESS);
    uint64 bytes = 0;
    auto* const one = static_cast<char*>(MapSection(first.Get(), 0, nullptr));
    auto* const two = static_cast<char*>(MapSection(second.Get(), 0, &bytes));
    auto* const three = static_cast<char*>(MapSection(third.Get(), 0, nullptr));
    ASSERT_TRUE(one != nullptr && two != nullptr && three != nullptr);
    EXPECT_EQ(bytes, 100u);
    one[99] = 'x';
    EXPECT_EQ(two[99], 'x');
    EXPECT_EQ(three[99], 'x');
    EXPECT_EQ(UnmapSection(one), 1);
    EXPECT_EQ(two[99], 'x');
    EXPECT_EQ(UnmapSection(two), 1);
    EXPECT_EQ(UnmapSection(three), 1);
}

TEST(SharedSectionTest, WhatCannotBeMadeOrOpenedSaysWhy) {
    const std::wstring name = OwnName(L"none");
    int existed = 1;
    EXPECT_EQ(CreateNamedSection(name.c_str(), 0, &existed), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(existed, 0);
    EXPECT_FALSE(IsFileThere(PathOf(name)));
    EXPECT_EQ(OpenNamedSection(name.c_str()), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_FILE_NOT_FOUND);
}

TEST(SharedSectionTest, ANameLivesWhileAHandleOrAViewDoes) {
    const std::wstring name = OwnName(L"life");
    for (const bool handleFirst : {true, false}) {
        HeldSection section(CreateNamedSection(name.c_str(), kPage, nullptr));
        auto* const view = static_cast<char*>(MapSection(section.Get(), 0, nullptr));
        ASSERT_NE(view, nullptr);
        EXPECT_TRUE(handleFirst ? section.Close() : UnmapSection(view) != 0);
        EXPECT_TRUE(IsFileThere(PathOf(name)));
        int existed = 0;
        HeldSection other(CreateNamedSection(name.c_str(), kPage, &existed));
        EXPECT_EQ(existed, 1);
        EXPECT_TRUE(other.Close());
        if (handleFirst) {
            *view = 'x';
        }
        EXPECT_TRUE(handleFirst ? UnmapSection(view) != 0 : section.Close());
        EXPECT_FALSE(IsFileThere(PathOf(name)));
        EXPECT_EQ(OpenNamedSection(name.c_str()), nullptr);
    }
}

TEST(SharedSectionTest, OfSeveralViewsEachStandsForItself) {
    const std::wstring name = OwnName(L"views");
    HeldSection section(CreateNamedSection(name.c_str(), kPage, nullptr));
    auto* const one = static_cast<char*>(MapSection(section.Get(), 0, nullptr));
    auto* const two = static_cast<char*>(MapSection(section.Get(), 0, nullptr));
    ASSERT_TRUE(one != nullptr && two != nullptr && one != two);
    EXPECT_TRUE(section.Close());
    EXPECT_EQ(UnmapSection(one), 1);
    EXPECT_EQ(UnmapSection(one), 0);
    *two = 'x';
    EXPECT_TRUE(IsFileThere(PathOf(name)));
    EXPECT_EQ(UnmapSection(two), 1);
    EXPECT_FALSE(IsFileThere(PathOf(name)));
}

TEST(SharedSectionTest, BehindTheSectionThereAreZerosOfThisProcessAsFarAsAskedFor) {
    const std::wstring name = OwnName(L"tail");
    constexpr uint32 kLeast = 5 * kPage + 1;
    HeldSection section(CreateNamedSection(name.c_str(), kPage + 10, nullptr));
    uint64 bytes = 0;
    auto* const one = static_cast<char*>(MapSection(section.Get(), kLeast, &bytes));
    auto* const two = static_cast<char*>(MapSection(section.Get(), kLeast, nullptr));
    ASSERT_TRUE(one != nullptr && two != nullptr);
    EXPECT_EQ(bytes, kPage + 10);
    EXPECT_TRUE(AllZero(one, kLeast));
    std::memset(one, 'x', kLeast);
    EXPECT_EQ(two[kPage + 9], 'x');
    EXPECT_EQ(two[2 * kPage - 1], 'x'); // of the same page still
    EXPECT_TRUE(AllZero(two + 2 * kPage, kLeast - 2 * kPage));
    EXPECT_EQ(UnmapSection(one), 1);
    EXPECT_EQ(UnmapSection(two), 1);
    // All of it has gone, the zeros as well.
    EXPECT_NE(::msync(one + 5 * kPage, kPage, MS_ASYNC), 0);
    EXPECT_EQ(std::filesystem::file_size(PathOf(name)), kPage + 10);
}

TEST(SharedSectionTest, AskingForLessThanTheSectionGivesAllOfIt) {
    const std::wstring name = OwnName(L"less");
    HeldSection section(CreateNamedSection(name.c_str(), 3 * kPage, nullptr));
    uint64 bytes = 0;
    auto* const view = static_cast<char*>(MapSection(section.Get(), 10, &bytes));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(bytes, 3 * kPage);
    view[3 * kPage - 1] = 'x';
    EXPECT_EQ(UnmapSection(view), 1);
}

TEST(SharedSectionTest, UnmappingWhatIsNoViewChangesNothing) {
    const std::wstring name = OwnName(L"unmap");
    HeldSection section(CreateNamedSection(name.c_str(), 2 * kPage, nullptr));
    auto* const view = static_cast<char*>(MapSection(section.Get(), 0, nullptr));
    auto* const page = static_cast<char*>(
        ::mmap(nullptr, kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    for (void* const address : {static_cast<void*>(nullptr), section.Get(), static_cast<void*>(view + kPage),
                                static_cast<void*>(view + 1), static_cast<void*>(page)}) {
        EXPECT_EQ(UnmapSection(address), 0);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    }
    *page = view[kPage] = 'x'; // both are there still
    EXPECT_EQ(UnmapSection(view), 1);
    ::munmap(page, kPage);
}

TEST(SharedSectionTest, ClosingAndMappingWhatIsNoHandleFails) {
    const std::wstring name = OwnName(L"close");
    void* const event = VXC_CreateEventW(nullptr, 0, 0, nullptr);
    void* const section = CreateNamedSection(name.c_str(), kPage, nullptr);
    void* const view = MapSection(section, 0, nullptr);
    int local = 0;
    for (void* const handle : {static_cast<void*>(nullptr), event, view, static_cast<void*>(&local),
                               reinterpret_cast<void*>(~std::uintptr_t{0})}) {
        EXPECT_EQ(CloseSection(handle), 0);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_HANDLE);
        EXPECT_EQ(MapSection(handle, 0, nullptr), nullptr);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_HANDLE);
    }
    // It is no handle of the other operations either.
    EXPECT_EQ(VXC_CloseHandle(section), 0);
    EXPECT_EQ(VXC_SetEvent(section), 0);
    EXPECT_EQ(VXC_WaitForSingleObject(section, 0), VXC_WAIT_FAILED);
    EXPECT_EQ(CloseSection(section), 1);
    EXPECT_EQ(CloseSection(section), 0);
    EXPECT_EQ(MapSection(section, 0, nullptr), nullptr);
    EXPECT_EQ(UnmapSection(view), 1);
    EXPECT_EQ(VXC_CloseHandle(event), 1);
}

TEST(SharedSectionTest, ASectionThatWasShortenedBeforeItWasOpenedIsAsLongAsItIs) {
    const std::wstring name = OwnName(L"short");
    HeldSection section(CreateNamedSection(name.c_str(), 3 * kPage, nullptr));
    ASSERT_EQ(::truncate(PathOf(name).c_str(), 7), 0);
    HeldSection opened(OpenNamedSection(name.c_str()));
    uint64 bytes = 0;
    auto* const view = static_cast<char*>(MapSection(opened.Get(), 2 * kPage, &bytes));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(bytes, 7u);
    EXPECT_TRUE(AllZero(view, 2 * kPage));
    EXPECT_EQ(UnmapSection(view), 1);
    ASSERT_EQ(::truncate(PathOf(name).c_str(), 0), 0);
    HeldSection empty(OpenNamedSection(name.c_str()));
    ASSERT_NE(empty.Get(), nullptr);
    EXPECT_EQ(MapSection(empty.Get(), kPage, nullptr), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
}

TEST(SharedSectionTest, ProcessesOfBothWidthsSeeTheSameBytes) {
    const std::wstring name = OwnName(L"widths");
    constexpr uint32 kSize = 100'001;
    HeldSection section(CreateNamedSection(name.c_str(), kSize, nullptr));
    auto* const view = static_cast<unsigned char*>(MapSection(section.Get(), 0, nullptr));
    ASSERT_NE(view, nullptr);
    for (const std::string& program : Peers()) {
        for (uint32 i = 0; i < kSize; ++i) {
            view[i] = static_cast<unsigned char>(i * 7);
        }
        Peer peer(program, {"invert", std::string(name.begin(), name.end())});
        EXPECT_EQ(peer.Result(), 0);
        for (uint32 i = 0; i < kSize; ++i) {
            ASSERT_EQ(view[i], static_cast<unsigned char>(~(i * 7))) << i;
        }
    }
    EXPECT_EQ(UnmapSection(view), 1);
}

TEST(SharedSectionTest, DescriptorsAreClosedInStartedProgramsAndNoneIsLeft) {
    const std::wstring name = OwnName(L"descriptors");
    // What is set up once is there before the count.
    EXPECT_TRUE(HeldSection(CreateNamedSection(name.c_str(), 10, nullptr)).Close());
    const NoLeakScope leaks;
    HeldSection section(CreateNamedSection(name.c_str(), 10, nullptr));
    HeldSection second(CreateNamedSection(name.c_str(), 10, nullptr));
    EXPECT_EQ(OpenNamedSection((name + L"2").c_str()), nullptr);
    void* const view = MapSection(section.Get(), 3 * kPage, nullptr);
    void* const event = VXC_CreateEventW(nullptr, 0, 0, name.c_str());
    int seen = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        if (std::filesystem::read_symlink(entry.path(), error).string().find(sysu::kSharedFolder) == 0) {
            EXPECT_NE(::fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, 0);
            ++seen;
        }
    }
    EXPECT_EQ(seen, 3);
    EXPECT_EQ(VXC_CloseHandle(event), 1);
    EXPECT_EQ(UnmapSection(view), 1);
    EXPECT_TRUE(second.Close());
    EXPECT_TRUE(section.Close());
}

TEST(SharedSectionTest, WhereDescriptorsLackNothingIsMade) {
    const std::wstring name = OwnName(L"lack");
    InChild([&] {
        std::vector<int> all;
        for (int descriptor = 0; descriptor >= 0; descriptor = ::dup(0)) {
            all.push_back(descriptor);
        }
        EXPECT_EQ(CreateNamedSection(name.c_str(), 10, nullptr), nullptr);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_TOO_MANY_OPEN_FILES);
        ::close(all.back()); // enough for the guard, not for the file
        EXPECT_EQ(CreateNamedSection(name.c_str(), 10, nullptr), nullptr);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_TOO_MANY_OPEN_FILES);
        EXPECT_FALSE(IsFileThere(PathOf(name)));
    });
}

TEST(SharedSectionTest, SignalsDoNotKeepALargeSectionFromBeingMade) {
    const std::wstring name = OwnName(L"signals");
    InChild([&] {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        ASSERT_EQ(::sigaction(SIGALRM, &action, nullptr), 0);
        // Far more often than the memory of the whole could be had in between.
        const itimerval often{{0, 5'000}, {0, 5'000}};
        ASSERT_EQ(::setitimer(ITIMER_REAL, &often, nullptr), 0);
        HeldSection section(CreateNamedSection(name.c_str(), 128 << 20, nullptr));
        EXPECT_NE(section.Get(), nullptr);
    });
}

TEST(SharedSectionTest, TheLargestSectionIsMadeWhole) {
    constexpr uint32 kLargest = 0xFFFFFFFFu;
    if (AvailableMemory() < (std::uint64_t{14} << 30)) {
        GTEST_SKIP() << "lacks memory";
    }
    const std::wstring name = OwnName(L"largest");
    HeldSection section(CreateNamedSection(name.c_str(), kLargest, nullptr));
    ASSERT_NE(section.Get(), nullptr);
    EXPECT_EQ(std::filesystem::file_size(PathOf(name)), kLargest);
    uint64 bytes = 0;
    auto* const view = static_cast<char*>(MapSection(section.Get(), kLargest, &bytes));
    if (sizeof(void*) == 4) {
        EXPECT_EQ(view, nullptr); // more than a process of 32 bits can address
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_NOT_ENOUGH_MEMORY);
        return;
    }
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(bytes, kLargest);
    view[kLargest - 1u] = 'x';
    EXPECT_EQ(view[kLargest / 2u], 0);
    EXPECT_EQ(UnmapSection(view), 1);
}
