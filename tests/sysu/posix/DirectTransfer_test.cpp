// Transfers past the system's cache.
#include "sysu/FileTesting.h"

#include "support/TempFolder.h"
#include "support/posix/SystemTesting.h"
#include "sysu/HostControl.h"
#include "sysu/posix/CallHooks.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <thread>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kUnbuffered = VXC_FILE_FLAG_NO_BUFFERING;

struct FreeMemory {
    void operator()(uint8* memory) const { std::free(memory); }
};
using Memory = std::unique_ptr<uint8, FreeMemory>;

// Memory at a multiple of 4096, with 4096 bytes to spare.
Memory AlignedMemory(std::size_t bytes) {
    return Memory(static_cast<uint8*>(std::aligned_alloc(4096, (bytes + 2 * 4096 - 1) / 4096 * 4096)));
}

OpenFile OpenUnbuffered(const std::wstring& name, uint32 disposition = VXC_OPEN_EXISTING) {
    return OpenFile(name, kReadWrite, kShareAll, disposition, kUnbuffered);
}

bool IsDirect(const std::string& name) {
    return (::fcntl(DescriptorOf(name), F_GETFL) & O_DIRECT) != 0;
}

class DirectTransferTest : public testing::Test {
protected:
    void SetUp() override {
        DiskFacts facts{};
        ASSERT_EQ(QueryDisk(m_folder.Wide("").c_str(), &facts), 1);
        m_unit = facts.sectorSize;
        if (m_unit == 0) {
            GTEST_SKIP() << "the build tree lies on no disk that tells its sector size: " << facts.fileSystem;
        }
    }

    std::string MakeClip(std::size_t bytes) {
        m_content = Pattern(bytes, 1);
        return m_folder.WritePattern("clip", bytes, 1);
    }

    // Whether the bytes are those of the clip from `position` on.
    bool IsContent(const uint8* bytes, std::size_t count, std::size_t position) const {
        return std::memcmp(bytes, m_content.data() + position, count) == 0;
    }

    TempFolder m_folder;
    uint32 m_unit = 0;
    std::vector<uint8> m_content;
};

// The record of statx(2) with other needs of direct transfer; `told` 0 takes them away.
std::function<int(int, const char*, int, unsigned, struct statx*)> WithNeeds(bool told, uint32 memory,
                                                                             uint32 offset) {
    return [=](int descriptor, const char* path, int flags, unsigned mask, struct statx* record) {
        const int result = ::statx(descriptor, path, flags, mask, record);
        constexpr unsigned kDirect = 0x2000;
        record->stx_mask = told ? record->stx_mask | kDirect : record->stx_mask & ~kDirect;
        std::memcpy(reinterpret_cast<char*>(record) + 0x98, &memory, sizeof memory);
        std::memcpy(reinterpret_cast<char*>(record) + 0x9C, &offset, sizeof offset);
        return result;
    };
}

} // namespace

TEST_F(DirectTransferTest, PassesTheCacheAndReadsWhatIsThere) {
    const std::string name = MakeClip(1 << 20);
    const OpenFile file(m_folder.Wide("clip"), VXC_GENERIC_READ, kShareAll, VXC_OPEN_EXISTING, kUnbuffered);
    ASSERT_TRUE(file.IsOpen());
    EXPECT_TRUE(IsDirect(name));
    const Memory memory = AlignedMemory(1 << 20);
    unsigned long done = 0;
    EXPECT_EQ(VXC_ReadFile(file.Handle(), memory.get(), 1 << 20, &done, nullptr), 1);
    EXPECT_EQ(done, 1u << 20);
    EXPECT_TRUE(IsContent(memory.get(), done, 0));
}

TEST_F(DirectTransferTest, AShortReadAtTheEndIsFollowedByNothing) {
    MakeClip(3 * m_unit + 100);
    const OpenFile file = OpenUnbuffered(m_folder.Wide("clip"));
    const Memory memory = AlignedMemory(8 * m_unit);
    for (const std::size_t shift : {std::size_t{0}, std::size_t{1}}) {
        unsigned long done = 0;
        EXPECT_EQ(file.Seek(2 * m_unit), 2 * m_unit);
        EXPECT_EQ(VXC_ReadFile(file.Handle(), memory.get() + shift, 8 * m_unit, &done, nullptr), 1);
        EXPECT_EQ(done, m_unit + 100);
        EXPECT_TRUE(IsContent(memory.get() + shift, done, 2 * m_unit));
        done = 7;
        EXPECT_EQ(VXC_ReadFile(file.Handle(), memory.get() + shift, m_unit, &done, nullptr), 1);
        EXPECT_EQ(done, 0u);
        done = 7;
        EXPECT_EQ(file.Seek(4 * m_unit + 1), 4 * m_unit + 1);
        EXPECT_EQ(VXC_ReadFile(file.Handle(), memory.get() + shift, m_unit, &done, nullptr), 1);
        EXPECT_EQ(done, 0u);
    }
}

TEST_F(DirectTransferTest, MisalignedMemoryIsFilledAndWrittenAllTheSame) {
    constexpr uint32 kBytes = 5 << 19; // more than the layer's own buffer holds
    MakeClip(kBytes);
    const OpenFile file = OpenUnbuffered(m_folder.Wide("clip"));
    const OpenFile copy = OpenUnbuffered(m_folder.Wide("copy"), VXC_CREATE_NEW);
    const Memory memory = AlignedMemory(kBytes);
    uint8* const odd = memory.get() + 3;
    unsigned long done = 0;
    EXPECT_EQ(VXC_ReadFile(file.Handle(), odd, kBytes, &done, nullptr), 1);
    EXPECT_EQ(done, kBytes);
    EXPECT_TRUE(IsContent(odd, done, 0));
    EXPECT_EQ(VXC_WriteFile(copy.Handle(), odd, kBytes, &done, nullptr), 1);
    EXPECT_EQ(done, kBytes);
    const std::string written = m_folder.Read("copy");
    ASSERT_EQ(written.size(), kBytes);
    EXPECT_TRUE(IsContent(reinterpret_cast<const uint8*>(written.data()), kBytes, 0));
}

TEST_F(DirectTransferTest, MisalignedSizesAndPositionsAreRefusedBeforeTheSystemIsAsked) {
    MakeClip(4 * m_unit);
    const OpenFile file = OpenUnbuffered(m_folder.Wide("clip"));
    const Memory memory = AlignedMemory(4 * m_unit);
    int calls = 0;
    CallHooks hooks;
    hooks.read = [&](int, void*, std::size_t) { return ++calls; };
    hooks.write = [&](int, const void*, std::size_t) { return ++calls; };
    const HookScope scope(hooks);
    const auto expectRefused = [&](uint32 bytes) {
        unsigned long done = 7;
        EXPECT_EQ(VXC_DeleteFileW(L""), 0);
        EXPECT_EQ(VXC_ReadFile(file.Handle(), memory.get(), bytes, &done, nullptr), 0);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
        EXPECT_EQ(done, 0u);
        EXPECT_EQ(VXC_DeleteFileW(L""), 0);
        EXPECT_EQ(VXC_WriteFile(file.Handle(), memory.get(), bytes, &done, nullptr), 0);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
        EXPECT_EQ(done, 0u);
    };
    expectRefused(m_unit + 1);
    expectRefused(1);
    EXPECT_EQ(file.Seek(m_unit - 1), m_unit - 1);
    expectRefused(m_unit);
    EXPECT_EQ(calls, 0);
    // Behind the end there is nothing to read, but something to write.
    EXPECT_EQ(file.Seek(4 * m_unit + 1), 4 * m_unit + 1);
    unsigned long done = 7;
    EXPECT_EQ(VXC_WriteFile(file.Handle(), memory.get(), m_unit, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(calls, 0);
}

TEST_F(DirectTransferTest, TwoThreadsOnOneHandleKeepTheirBytesApart) {
    constexpr uint32 kPieces = 64;
    const uint32 piece = 4 * m_unit;
    MakeClip(kPieces * piece);
    const OpenFile file = OpenUnbuffered(m_folder.Wide("clip"));
    std::array<int, 2> found{};
    const auto readAll = [&](int& count) {
        const Memory memory = AlignedMemory(piece);
        unsigned long done = 1;
        while (VXC_ReadFile(file.Handle(), memory.get() + 1, piece, &done, nullptr) != 0 && done == piece) {
            for (uint32 i = 0; i < kPieces; ++i) {
                count += IsContent(memory.get() + 1, piece, std::size_t{i} * piece) ? 1 : 0;
            }
        }
    };
    std::thread other([&] { readAll(found[1]); });
    readAll(found[0]);
    other.join();
    EXPECT_EQ(found[0] + found[1], static_cast<int>(kPieces));
}

TEST_F(DirectTransferTest, InterruptionsAndPartsAreGoneOnWith) {
    MakeClip(8 * m_unit);
    const OpenFile file = OpenUnbuffered(m_folder.Wide("clip"));
    const Memory memory = AlignedMemory(8 * m_unit);
    int calls = 0;
    CallHooks hooks;
    hooks.read = [&](int descriptor, void* buffer, std::size_t) {
        errno = EINTR;
        return ++calls % 2 == 1 ? -1 : ::read(descriptor, buffer, 2 * m_unit);
    };
    const HookScope scope(hooks);
    unsigned long done = 0;
    EXPECT_EQ(VXC_ReadFile(file.Handle(), memory.get(), 6 * m_unit, &done, nullptr), 1);
    EXPECT_EQ(done, 6 * m_unit);
    EXPECT_TRUE(IsContent(memory.get(), done, 0));
}

TEST_F(DirectTransferTest, AFailureTellsWhatWasMovedBefore) {
    MakeClip(8 * m_unit);
    const OpenFile file = OpenUnbuffered(m_folder.Wide("clip"));
    const Memory memory = AlignedMemory(8 * m_unit);
    int calls = 0;
    CallHooks hooks;
    hooks.read = [&](int descriptor, void* buffer, std::size_t) {
        errno = EIO;
        return ++calls == 2 ? -1 : ::read(descriptor, buffer, m_unit);
    };
    hooks.write = [&](int descriptor, const void* buffer, std::size_t) {
        errno = ENOSPC;
        return ++calls == 4 ? -1 : ::write(descriptor, buffer, m_unit);
    };
    const HookScope scope(hooks);
    unsigned long done = 0;
    EXPECT_EQ(VXC_ReadFile(file.Handle(), memory.get() + 1, 4 * m_unit, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_IO_DEVICE);
    EXPECT_EQ(done, m_unit);
    EXPECT_TRUE(IsContent(memory.get() + 1, done, 0));
    EXPECT_EQ(VXC_WriteFile(file.Handle(), memory.get() + 1, 4 * m_unit, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_DISK_FULL);
    EXPECT_EQ(done, m_unit);
}

TEST_F(DirectTransferTest, WhatTheFileSystemAsksForCounts) {
    MakeClip(16384);
    CallHooks hooks;
    hooks.statx = WithNeeds(true, 4096, 4096);
    const HookScope scope(hooks);
    const OpenFile file = OpenUnbuffered(m_folder.Wide("clip"));
    const Memory memory = AlignedMemory(16384);
    unsigned long done = 0;
    EXPECT_EQ(VXC_ReadFile(file.Handle(), memory.get(), 512, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(VXC_ReadFile(file.Handle(), memory.get() + 512, 8192, &done, nullptr), 1);
    EXPECT_EQ(done, 8192u);
    EXPECT_TRUE(IsContent(memory.get() + 512, done, 0));
}

TEST_F(DirectTransferTest, AnOlderSystemIsAskedForTheSectorsOfTheDisk) {
    MakeClip(4 * m_unit);
    CallHooks hooks;
    hooks.statx = WithNeeds(false, 0, 0);
    // Memory of unknown needs reaches the system at a page only.
    int clip = -1;
    std::uintptr_t address = 1;
    hooks.read = [&](int descriptor, void* buffer, std::size_t bytes) {
        if (descriptor == clip) {
            address = reinterpret_cast<std::uintptr_t>(buffer);
        }
        return ::read(descriptor, buffer, bytes);
    };
    const HookScope scope(hooks);
    const OpenFile file = OpenUnbuffered(m_folder.Wide("clip"));
    clip = DescriptorOf(m_folder.Name("clip"));
    const Memory memory = AlignedMemory(4 * m_unit);
    unsigned long done = 0;
    EXPECT_EQ(VXC_ReadFile(file.Handle(), memory.get(), m_unit / 2, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(VXC_ReadFile(file.Handle(), memory.get() + 512, m_unit, &done, nullptr), 1);
    EXPECT_EQ(address % 4096, 0u);
    EXPECT_TRUE(IsContent(memory.get() + 512, done, 0));
}

TEST_F(DirectTransferTest, AFileWithoutDirectTransferAsksForNothing) {
    MakeClip(1000);
    CallHooks hooks;
    hooks.statx = WithNeeds(true, 0, 0);
    hooks.read = [](int, void* buffer, std::size_t bytes) {
        std::memset(buffer, 'x', bytes);
        return static_cast<ssize_t>(bytes);
    };
    const HookScope scope(hooks);
    const OpenFile file = OpenUnbuffered(m_folder.Wide("clip"));
    EXPECT_EQ(file.Read(7), "xxxxxxx");
}

TEST(DirectMemoryFileTest, FileSystemsInMemoryEnforceNothing) {
    const TempFolder folder(TempFolder::Kind::Memory);
    const std::string name = folder.Write("clip", "0123456789");
    const OpenFile file = OpenUnbuffered(folder.Wide("clip"));
    EXPECT_TRUE(IsDirect(name));
    EXPECT_EQ(file.Read(3), "012");
    EXPECT_EQ(file.Read(100), "3456789");
    EXPECT_EQ(file.Read(100), "");
    EXPECT_EQ(file.Seek(1), 1);
    file.Write("xyz");
    EXPECT_EQ(folder.Read("clip"), "0xyz456789");
}

TEST(DirectMemoryFileTest, WhereNothingIsToldMemoryIsAlignedAndPlacesAreTheSystemsMatter) {
    const TempFolder folder(TempFolder::Kind::Memory);
    folder.Write("clip", "0123456789");
    CallHooks hooks;
    hooks.statx = [](int, const char*, int, unsigned, struct statx*) {
        errno = ENOSYS;
        return -1;
    };
    std::uintptr_t address = 1;
    hooks.read = [&](int descriptor, void* buffer, std::size_t bytes) {
        address = reinterpret_cast<std::uintptr_t>(buffer);
        return ::read(descriptor, buffer, bytes);
    };
    const HookScope scope(hooks);
    const OpenFile file = OpenUnbuffered(folder.Wide("clip"));
    EXPECT_EQ(file.Read(3), "012");
    EXPECT_EQ(address % 4096, 0u);
}

// ---- file systems that refuse it ----------------------------------------------------------------------

namespace {

// As file systems do that have no direct transfer: some before the file is made, some after.
std::function<int(const char*, int, mode_t)> RefuseDirect(bool isMadeFirst) {
    return [=](const char* path, int flags, mode_t mode) {
        if ((flags & O_DIRECT) == 0) {
            return ::open(path, flags, mode);
        }
        if (isMadeFirst) {
            const int descriptor = ::open(path, flags, mode);
            if (descriptor < 0) {
                return -1;
            }
            ::close(descriptor);
        }
        errno = EINVAL;
        return -1;
    };
}

void CountNotes(int& count) {
    SetLogReceiver(
        [](void* context, INFOTYPE level, const wchar_t* module, const wchar_t* text) {
            const bool isNote =
                std::wstring_view(text).find(L"refuses direct transfer") != std::wstring_view::npos;
            if (isNote && level == INFOTYPE_TRACE && std::wstring_view(module) == L"VXCSoftCodecSysU") {
                ++*static_cast<int*>(context);
            }
        },
        &count, INFOTYPE_TRACE);
}

} // namespace

TEST(DirectRefusedTest, TheFileIsOpenedWithoutAndNothingIsEnforced) {
    for (const bool isMadeFirst : {false, true}) {
        const TempFolder folder;
        const std::string name = folder.Write("clip", "0123456789");
        CallHooks hooks;
        hooks.open = RefuseDirect(isMadeFirst);
        const HookScope scope(hooks);
        const OpenFile file = OpenUnbuffered(folder.Wide("clip"));
        ASSERT_TRUE(file.IsOpen());
        EXPECT_FALSE(IsDirect(name));
        EXPECT_EQ(file.Read(3), "012");
        const OpenFile made = OpenUnbuffered(folder.Wide("made"), VXC_CREATE_NEW);
        EXPECT_TRUE(made.IsOpen());
        made.Write("x");
        const OpenFile always = OpenUnbuffered(folder.Wide("always"), VXC_CREATE_ALWAYS);
        EXPECT_TRUE(always.IsOpen());
        EXPECT_EQ(always.Error(), 0u);
    }
}

TEST(DirectRefusedTest, ARealFileSystemThatRefusesIsReadAllTheSame) {
    const OpenFile file(L"/proc/self/status", VXC_GENERIC_READ, kShareAll, VXC_OPEN_EXISTING, kUnbuffered);
    ASSERT_TRUE(file.IsOpen());
    EXPECT_EQ(file.Read(5), "Name:");
}

TEST(DirectRefusedDeathTest, TheFirstTimeIsNotedInTheLog) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // in a process that noted nothing yet
    EXPECT_EXIT(
        {
            int count = 0;
            CountNotes(count);
            for (int i = 0; i < 3; ++i) {
                OpenFile(L"/proc/self/status", VXC_GENERIC_READ, kShareAll, VXC_OPEN_EXISTING, kUnbuffered);
            }
            OpenFile(L"/proc/self/status");
            ::_exit(count == 1 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}
