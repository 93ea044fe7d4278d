// Auto-reset events that processes share by name.
#include "SharedTesting.h"

#include "../WaitHelpers.h"
#include "sysu/posix/NamedEvent.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;
using namespace waittest;

namespace {

void* Named(const std::wstring& name, bool signalled = false) {
    return VXC_CreateEventW(nullptr, 0, signalled ? 1 : 0, name.c_str());
}

// The words of an event, as another process sees them.
class WordsOf {
public:
    explicit WordsOf(const std::wstring& name) {
        const int file = ::open(SharedPath(name.c_str(), SharedKind::Event).c_str(), O_RDWR | O_CLOEXEC);
        m_words =
            ::mmap(nullptr, sizeof(sysu::SharedEventWords), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        EXPECT_NE(m_words, MAP_FAILED);
        ::close(file);
    }
    ~WordsOf() { ::munmap(m_words, sizeof(sysu::SharedEventWords)); }
    WordsOf(const WordsOf&) = delete;
    WordsOf& operator=(const WordsOf&) = delete;
    sysu::SharedEventWords* operator->() const { return static_cast<sysu::SharedEventWords*>(m_words); }

private:
    void* m_words;
};

bool AwaitSleepers(const WordsOf& words, uint32 count) {
    return Await([&] { return words->waiters.load() == count; });
}

} // namespace

TEST(NamedEventTest, ASignalEndsOneWait) {
    const Handle event(Named(OwnName(L"one")));
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_SUCCESS);
    EXPECT_FALSE(Poll(event));
    EXPECT_EQ(VXC_SetEvent(event), 1);
    EXPECT_EQ(VXC_SetEvent(event), 1);
    EXPECT_TRUE(Poll(event));
    EXPECT_FALSE(Poll(event));
    EXPECT_EQ(VXC_SetEvent(event), 1);
    EXPECT_EQ(VXC_ResetEvent(event), 1);
    EXPECT_FALSE(Poll(event));
}

TEST(NamedEventTest, AllHandlesOfANameAreOneEvent) {
    const std::wstring name = OwnName(L"handles");
    const Handle first(Named(name));
    const Handle second(Named(name, true));
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_ALREADY_EXISTS);
    EXPECT_FALSE(Poll(second)); // it is taken as it stands
    const Handle third(OpenNamedEvent(name.c_str()));
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_SUCCESS);
    VXC_SetEvent(first);
    EXPECT_TRUE(Poll(third));
    EXPECT_FALSE(Poll(second));
    const Handle other(Named(name + L"2", true));
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_SUCCESS);
    EXPECT_TRUE(Poll(other));
    EXPECT_FALSE(Poll(first));
}

TEST(NamedEventTest, WhatCannotBeMadeOrOpenedSaysWhy) {
    const std::wstring name = OwnName(L"none");
    EXPECT_EQ(VXC_CreateEventW(nullptr, 1, 0, name.c_str()), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(OpenNamedEvent(name.c_str()), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(IsFileThere(SharedPath(name.c_str(), SharedKind::Event)));
}

TEST(NamedEventTest, ItIsGoneWithItsLastHandle) {
    const std::wstring name = OwnName(L"gone");
    const std::string path = SharedPath(name.c_str(), SharedKind::Event);
    void* const first = Named(name, true);
    void* const second = OpenNamedEvent(name.c_str());
    EXPECT_EQ(VXC_CloseHandle(first), 1);
    EXPECT_TRUE(IsFileThere(path));
    EXPECT_EQ(VXC_CloseHandle(second), 1);
    EXPECT_FALSE(IsFileThere(path));
    const Handle fresh(Named(name));
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_SUCCESS);
    EXPECT_FALSE(Poll(fresh));
}

TEST(NamedEventTest, ASectionOfTheSameNameIsAnotherThing) {
    const std::wstring name = OwnName(L"both");
    HeldSection section(CreateNamedSection(name.c_str(), 100, nullptr));
    const Handle event(Named(name));
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_SUCCESS);
}

TEST(NamedEventTest, TheWordsLieWhereAllWidthsLookForThem) {
    const std::wstring name = OwnName(L"words");
    const Handle event(Named(name, true));
    uint32 words[4] = {};
    const int file = ::open(SharedPath(name.c_str(), SharedKind::Event).c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(::pread(file, words, sizeof words, 0), static_cast<ssize_t>(sizeof words));
    EXPECT_EQ(::lseek(file, 0, SEEK_END), 4096);
    ::close(file);
    EXPECT_EQ(words[0], 0x45435856u);
    EXPECT_EQ(words[1], 1u);
    EXPECT_EQ(words[2], 1u);
    EXPECT_EQ(words[3], 0u);
}

TEST(NamedEventTest, AWaitEndsAtItsLimitAndNotBefore) {
    const std::wstring name = OwnName(L"limit");
    const Handle event(Named(name));
    const WordsOf words(name);
    for (int i = 0; i < 3; ++i) {
        uint32 result = 0;
        const double took = MillisecondsOf([&] { result = VXC_WaitForSingleObject(event, 3); });
        EXPECT_EQ(result, VXC_WAIT_TIMEOUT);
        EXPECT_GE(took, 3.0);
        EXPECT_EQ(words->waiters.load(), 0u);
    }
}

TEST(NamedEventTest, OfThoseWhoSleepEachSignalWakesOne) {
    const std::wstring name = OwnName(L"sleepers");
    const Handle event(Named(name));
    const WordsOf words(name);
    std::vector<std::unique_ptr<WaitingThread>> waits;
    for (int i = 0; i < 4; ++i) {
        waits.push_back(WaitsForOne(event));
    }
    for (uint32 left = 4; left > 0; --left) {
        ASSERT_TRUE(AwaitSleepers(words, left));
        VXC_SetEvent(event);
    }
    for (const auto& wait : waits) {
        EXPECT_EQ(wait->Result(), VXC_WAIT_OBJECT_0);
    }
    EXPECT_EQ(words->waiters.load(), 0u);
    EXPECT_FALSE(Poll(event));
}

TEST(NamedEventTest, AHandleThatIsClosedWhileSomebodyWaitsLeavesTheWaitToItsEnd) {
    const std::wstring name = OwnName(L"closed");
    void* const event = Named(name);
    const WordsOf words(name);
    const Handle other(OpenNamedEvent(name.c_str()));
    const auto wait = WaitsForOne(event);
    ASSERT_TRUE(AwaitSleepers(words, 1));
    EXPECT_EQ(VXC_CloseHandle(event), 1);
    EXPECT_FALSE(wait->IsDone());
    VXC_SetEvent(other);
    EXPECT_EQ(wait->Result(), VXC_WAIT_OBJECT_0);
}

TEST(NamedEventTest, AWaitKeepsTheNameAliveWhenAllHandlesAreClosed) {
    const std::wstring name = OwnName(L"waited");
    void* const event = Named(name);
    const auto wait = WaitsForOne(event);
    {
        const WordsOf words(name);
        ASSERT_TRUE(AwaitSleepers(words, 1));
    }
    EXPECT_EQ(VXC_CloseHandle(event), 1);
    {
        const Handle again(OpenNamedEvent(name.c_str()));
        VXC_SetEvent(again);
        EXPECT_EQ(wait->Result(), VXC_WAIT_OBJECT_0);
    }
    EXPECT_FALSE(IsFileThere(SharedPath(name.c_str(), SharedKind::Event)));
}

TEST(NamedEventTest, WhoIsFreedMayCloseTheHandleAtOnce) {
    // The signal may still be on its way back when the event is gone.
    constexpr int kRounds = 3'000;
    const Handle work(AutoEvent());
    const std::wstring name = OwnName(L"at once");
    std::atomic<void*> event{nullptr};
    std::thread signaller([&] {
        while (VXC_WaitForSingleObject(work, VXC_INFINITE) == VXC_WAIT_OBJECT_0 && event.load() != nullptr) {
            VXC_SetEvent(event.load());
        }
    });
    for (int round = 0; round < kRounds; ++round) {
        void* const handle = Named(name);
        ASSERT_NE(handle, nullptr);
        event.store(handle);
        VXC_SetEvent(work);
        if (round % 2 == 0) {
            ASSERT_EQ(VXC_WaitForSingleObject(handle, VXC_INFINITE), VXC_WAIT_OBJECT_0);
        } else {
            while (!Poll(handle)) {
            }
        }
        ASSERT_EQ(VXC_CloseHandle(handle), 1);
    }
    event.store(nullptr);
    VXC_SetEvent(work);
    signaller.join();
}

TEST(NamedEventTest, AnyStateButZeroIsOneSignalAndKeepsNoWaitBeyondItsLimit) {
    const std::wstring name = OwnName(L"seven");
    const Handle event(Named(name));
    const WordsOf words(name);
    for (const uint32 state : {2u, 7u, 0xFFFFFFFFu}) {
        words->state.store(state);
        EXPECT_EQ(VXC_WaitForSingleObject(event, 1), VXC_WAIT_OBJECT_0);
        EXPECT_EQ(VXC_WaitForSingleObject(event, 1), VXC_WAIT_TIMEOUT);
    }
}

TEST(NamedEventTest, AWrongCountOfWaitersLosesNoSignalOfThoseWhoCome) {
    const std::wstring name = OwnName(L"count");
    const Handle event(Named(name));
    const WordsOf words(name);
    words->waiters.store(0xFFFFFFFFu);
    const auto wait = WaitsForOne(event);
    ASSERT_TRUE(AwaitSleepers(words, 1)); // not 0, which would say that nobody sleeps
    VXC_SetEvent(event);
    EXPECT_EQ(wait->Result(), VXC_WAIT_OBJECT_0);
    // Taken away while somebody waits: at the worst that wait is silent to its limit, and later ones are not.
    const auto robbed = WaitsForOne(event, 5);
    words->waiters.store(0);
    EXPECT_EQ(robbed->Result(), VXC_WAIT_TIMEOUT);
    const auto later = WaitsForOne(event);
    ASSERT_TRUE(Await([&] { return words->waiters.load() - 1 < 5; }));
    VXC_SetEvent(event);
    EXPECT_EQ(later->Result(), VXC_WAIT_OBJECT_0);
}

TEST(NamedEventTest, AFileThatIsNoEventIsNotOpened) {
    const std::wstring name = OwnName(L"bad");
    const Handle event(Named(name));
    const WordsOf words(name);
    const auto expectRefused = [&] {
        EXPECT_EQ(OpenNamedEvent(name.c_str()), nullptr);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_HANDLE);
        EXPECT_EQ(Named(name), nullptr);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_HANDLE);
    };
    words->magic.fetch_add(1);
    expectRefused();
    // Who has it open goes on with it.
    VXC_SetEvent(event);
    EXPECT_TRUE(Poll(event));
    words->magic.fetch_sub(1);
    words->version.store(2);
    expectRefused();
    words->version.store(1);
    EXPECT_NE(Handle(OpenNamedEvent(name.c_str())), nullptr);
    ASSERT_EQ(::truncate(SharedPath(name.c_str(), SharedKind::Event).c_str(), 15), 0);
    expectRefused();
}

TEST(NamedEventTest, AWaitUsesNoProcessor) {
    const std::wstring name = OwnName(L"idle");
    InChild([&] {
        const Handle event(Named(name));
        rusage before{};
        rusage after{};
        ::getrusage(RUSAGE_THREAD, &before);
        EXPECT_EQ(VXC_WaitForSingleObject(event, 200), VXC_WAIT_TIMEOUT);
        ::getrusage(RUSAGE_THREAD, &after);
        const auto microseconds = [](const rusage& use) {
            return (use.ru_utime.tv_sec + use.ru_stime.tv_sec) * 1'000'000L + use.ru_utime.tv_usec +
                   use.ru_stime.tv_usec;
        };
        EXPECT_LT(microseconds(after) - microseconds(before), 10'000);
    });
}

TEST(NamedEventTest, SleepersThatAreKilledTakeNoSignalFromTheOthers) {
    const std::wstring name = OwnName(L"killed");
    const std::string narrow(name.begin(), name.end());
    const Handle event(Named(name));
    const WordsOf words(name);
    for (const std::string& program : Peers()) {
        for (int i = 0; i < 5; ++i) {
            const uint32 before = words->waiters.load();
            Peer killed(program, {"wait", narrow});
            ASSERT_TRUE(killed.IsReady());
            ASSERT_TRUE(AwaitSleepers(words, before + 1));
            ASSERT_TRUE(Await([&] { return Sleeps(killed.Process()); }));
            Peer other(program, {"wait", narrow});
            ASSERT_TRUE(other.IsReady());
            ASSERT_TRUE(AwaitSleepers(words, before + 2));
            killed.Kill();
            EXPECT_EQ(killed.Result(), 1009);
            VXC_SetEvent(event);
            EXPECT_EQ(other.Result(), 0);
            EXPECT_FALSE(Poll(event));
        }
    }
}
