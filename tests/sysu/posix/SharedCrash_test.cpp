// Processes that are killed, stopped or leave together at any step of a shared name.
#include "CallHooks.h"
#include "SharedTesting.h"

#include "frame/SystemLayer.h"
#include "support/posix/SystemTesting.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kKilled = 1000 + SIGKILL;

// Hooks that kill this process ahead of its call number `last` among those that matter to a name's file, or
// right behind it.
CallHooks KillAt(int last, bool behind, int& calls) {
    const auto step = [last, behind, &calls](auto call) {
        ++calls;
        if (calls == last && !behind) {
            ::raise(SIGKILL);
        }
        const auto result = call();
        if (calls == last) {
            ::raise(SIGKILL);
        }
        return result;
    };
    CallHooks hooks;
    hooks.open = [step](const char* path, int flags, mode_t mode) {
        return step([&] { return ::open(path, flags, mode); });
    };
    hooks.flock = [step](int descriptor, int operation) {
        return step([&] { return ::flock(descriptor, operation); });
    };
    hooks.unlink = [step](const char* path) { return step([&] { return ::unlink(path); }); };
    hooks.renameat2 = [step](const char* from, const char* to, unsigned flags) {
        return step([&] { return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, flags); });
    };
    hooks.close = [step](int descriptor) { return step([&] { return ::close(descriptor); }); };
    return hooks;
}

// The life of a name in one process: made, or opened where it is there, mapped, closed.
bool Live(const std::wstring& name) {
    void* const section = CreateNamedSection(name.c_str(), 8192, nullptr);
    void* const view = MapSection(section, 0, nullptr);
    if (view != nullptr) {
        *static_cast<char*>(view) = 'x';
    }
    void* const event = VXC_CreateEventW(nullptr, 0, 1, name.c_str());
    return CloseSection(section) != 0 && UnmapSection(view) != 0 && VXC_CloseHandle(event) != 0;
}

// Files of this process's names and drafts.
int FilesLeft(pid_t process) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(sysu::kSharedFolder)) {
        const std::string name = entry.path().filename();
        count += name.find("vxctest-" + std::to_string(::getpid())) != std::string::npos ||
                         name.find(sysu::SharedPrefix() + std::to_string(process) + "-") == 0
                     ? 1
                     : 0;
    }
    return count;
}

} // namespace

TEST(SharedCrashTest, AProcessThatIsKilledAtAnyStepLeavesANameThatIsMadeAnew) {
    const std::wstring name = OwnName(L"killed");
    for (const bool behind : {false, true}) {
        int result = kKilled;
        int steps = 0;
        for (int last = 1; result == kKilled; ++last) {
            SCOPED_TRACE(last);
            result = RunInChild([&] {
                int calls = 0;
                const HookScope scope(KillAt(last, behind, calls));
                return Live(name) ? 0 : 1;
            });
            int existed = 1;
            HeldSection section(CreateNamedSection(name.c_str(), 4096, &existed));
            ASSERT_NE(section.Get(), nullptr) << VXC_GetLastError();
            EXPECT_EQ(existed, 0);
            EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_SUCCESS);
            uint64 bytes = 0;
            auto* const view = static_cast<char*>(MapSection(section.Get(), 0, &bytes));
            ASSERT_NE(view, nullptr);
            EXPECT_EQ(bytes, 4096u);
            EXPECT_EQ(*view, 0);
            EXPECT_EQ(UnmapSection(view), 1);
            void* const event = VXC_CreateEventW(nullptr, 0, 0, name.c_str());
            ASSERT_NE(event, nullptr);
            EXPECT_EQ(VXC_WaitForSingleObject(event, 0), VXC_WAIT_TIMEOUT);
            EXPECT_EQ(VXC_CloseHandle(event), 1);
            steps = last;
        }
        EXPECT_EQ(result, 0);
        EXPECT_GT(steps, 30); // it was killed at each of them
    }
    EXPECT_FALSE(IsFileThere(SharedPath(name.c_str(), SharedKind::Section)));
    EXPECT_FALSE(IsFileThere(SharedPath(name.c_str(), SharedKind::Event)));
}

TEST(SharedCrashTest, AProcessThatIsKilledAtAnyStepLeavesNoLiveNameBroken) {
    // The same, while this process holds the name: it stays as it is.
    const std::wstring name = OwnName(L"held");
    HeldSection section(CreateNamedSection(name.c_str(), 4096, nullptr));
    void* const event = VXC_CreateEventW(nullptr, 0, 0, name.c_str());
    auto* const view = static_cast<char*>(MapSection(section.Get(), 0, nullptr));
    ASSERT_NE(view, nullptr);
    int result = kKilled;
    for (int last = 1; result == kKilled; ++last) {
        SCOPED_TRACE(last);
        *view = 'm';
        result = RunInChild([&] {
            int calls = 0;
            const HookScope scope(KillAt(last, true, calls));
            return Live(name) ? 0 : 1;
        });
        HeldSection again(OpenNamedSection(name.c_str()));
        auto* const seen = static_cast<char*>(MapSection(again.Get(), 0, nullptr));
        ASSERT_NE(seen, nullptr);
        EXPECT_EQ(*seen, *view);
        *seen = 'n';
        EXPECT_EQ(*view, 'n');
        EXPECT_EQ(UnmapSection(seen), 1);
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(UnmapSection(view), 1);
    EXPECT_EQ(VXC_CloseHandle(event), 1);
}

// A stale name is there only until any process of this user makes its first one: these two tests need a
// folder that no other process of the tests sees.

TEST(SharedCrashTest, WhoOpensTheNameOfAKilledProcessRemovesIt) {
    const std::wstring name = OwnName(L"open");
    const std::string path = SharedPath(name.c_str(), SharedKind::Section);
    for (const std::string& program : Peers()) {
        if (!InOwnFolder("1m", [&] {
                Peer holder(program, {"hold", std::string(name.begin(), name.end()), "5000"});
                ASSERT_TRUE(holder.IsReady());
                EXPECT_TRUE(HeldSection(OpenNamedSection(name.c_str())).Close());
                holder.Kill();
                EXPECT_EQ(holder.Result(), kKilled);
                EXPECT_TRUE(IsFileThere(path));
                EXPECT_EQ(OpenNamedSection(name.c_str()), nullptr);
                EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_FILE_NOT_FOUND);
                EXPECT_FALSE(IsFileThere(path));
                EXPECT_EQ(OpenNamedEvent(name.c_str()), nullptr);
                EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_FILE_NOT_FOUND);
                EXPECT_FALSE(IsFileThere(SharedPath(name.c_str(), SharedKind::Event)));
            })) {
            GTEST_SKIP() << "lacks the right to mount";
        }
    }
}

TEST(SharedCrashTest, ANameStaysWhileOneOfItsHoldersLivesAndTheOtherIsKilled) {
    const std::wstring name = OwnName(L"two");
    const std::string narrow(name.begin(), name.end());
    for (const std::string& program : Peers()) {
        Peer killed(program, {"hold", narrow, "4096"});
        ASSERT_TRUE(killed.IsReady());
        Peer leaving(Peers().front(), {"hold", narrow, "4096"});
        ASSERT_TRUE(leaving.IsReady());
        killed.Kill();
        EXPECT_EQ(killed.Result(), kKilled);
        EXPECT_TRUE(HeldSection(OpenNamedSection(name.c_str())).Close());
        EXPECT_TRUE(IsFileThere(SharedPath(name.c_str(), SharedKind::Section)));
        leaving.CloseInput();
        EXPECT_EQ(leaving.Result(), 0);
        EXPECT_FALSE(IsFileThere(SharedPath(name.c_str(), SharedKind::Section)));
        EXPECT_FALSE(IsFileThere(SharedPath(name.c_str(), SharedKind::Event)));
    }
}

TEST(SharedCrashTest, ProcessesAndThreadsThatComeAndLeaveTogetherAlwaysGetTheNameAndLeaveNone) {
    constexpr int kRounds = 1'000;
    const std::wstring name = OwnName(L"together");
    const auto comeAndGo = [&name] {
        bool whole = true;
        for (int i = 0; i < kRounds; ++i) {
            whole = Live(name) && whole;
        }
        return whole;
    };
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(comeAndGo() ? 0 : 1);
    }
    bool other = false;
    std::thread thread([&] { other = comeAndGo(); });
    EXPECT_TRUE(comeAndGo());
    thread.join();
    EXPECT_TRUE(other);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(FilesLeft(::getpid()), 0);
    EXPECT_EQ(FilesLeft(child), 0);
}

TEST(SharedCrashTest, AGuardThatIsNeverFreeIsAskedForTwoSecondsAndNoLonger) {
    if (!InOwnFolder("1m", [] {
            const std::wstring name = OwnName(L"guard");
            HeldSection held(CreateNamedSection(name.c_str(), 100, nullptr));
            long long paused = 0; // nanoseconds, none of which is waited for here
            CallHooks hooks;
            hooks.flock = [](int, int) {
                errno = EWOULDBLOCK;
                return -1;
            };
            hooks.nanosleep = [&](const timespec* time) {
                paused += time->tv_sec * 1'000'000'000LL + time->tv_nsec;
                return 0;
            };
            {
                const HookScope scope(hooks);
                EXPECT_EQ(CreateNamedSection((name + L"2").c_str(), 100, nullptr), nullptr);
                EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_SEM_TIMEOUT);
            }
            EXPECT_GE(paused, 1'000'000'000);
            EXPECT_LE(paused, 5'000'000'000);
            {
                const HookScope scope(hooks);
                EXPECT_TRUE(held.Close());
            }
            // It stayed for the next one who meets it.
            EXPECT_TRUE(IsFileThere(SharedPath(name.c_str(), SharedKind::Section)));
            int existed = 1;
            HeldSection again(CreateNamedSection(name.c_str(), 100, &existed));
            EXPECT_NE(again.Get(), nullptr);
            EXPECT_EQ(existed, 0);
        })) {
        GTEST_SKIP() << "lacks the right to mount";
    }
}

TEST(SharedCrashTest, AGuardThatWasRemovedByHandIsMadeAnewBeforeItCounts) {
    if (!InOwnFolder("1m", [] {
            HeldSection first(CreateNamedSection(L"first", 100, nullptr));
            const std::string guard = std::string(sysu::kSharedFolder) + "/" + sysu::SharedPrefix() + "guard";
            bool removed = false;
            int looks = 0;
            CallHooks hooks;
            hooks.open = [&](const char* path, int flags, mode_t mode) {
                if (SharedPath(L"second", SharedKind::Section) == path) {
                    EXPECT_TRUE(IsFileThere(guard)); // nobody else can have another one
                    ++looks;
                }
                return ::open(path, flags, mode);
            };
            hooks.flock = [&](int descriptor, int operation) {
                const int result = ::flock(descriptor, operation);
                if (!removed) {
                    removed = ::unlink(guard.c_str()) == 0;
                }
                return result;
            };
            {
                const HookScope scope(hooks);
                HeldSection second(CreateNamedSection(L"second", 100, nullptr));
                EXPECT_NE(second.Get(), nullptr);
            }
            EXPECT_TRUE(removed);
            EXPECT_GT(looks, 0);
        })) {
        GTEST_SKIP() << "lacks the right to mount";
    }
}

TEST(SharedCrashTest, AChildThatIsForkedUnderTheGuardDoesNotKeepIt) {
    const std::wstring name = OwnName(L"child");
    int hold[2] = {-1, -1};
    ASSERT_EQ(::pipe2(hold, O_CLOEXEC), 0);
    pid_t child = -1;
    CallHooks hooks;
    hooks.flock = [&](int descriptor, int operation) {
        const int result = ::flock(descriptor, operation);
        if (result == 0 && child < 0) {
            child = ::fork();
            if (child == 0) {
                char c = 0;
                ::close(hold[1]);
                ::_exit(::read(hold[0], &c, 1) == 0 ? 0 : 1);
            }
        }
        return result;
    };
    {
        const HookScope scope(hooks);
        HeldSection section(CreateNamedSection(name.c_str(), 100, nullptr));
        EXPECT_NE(section.Get(), nullptr);
    }
    ASSERT_GT(child, 0);
    HeldSection section(CreateNamedSection(name.c_str(), 100, nullptr));
    EXPECT_NE(section.Get(), nullptr);
    ::close(hold[1]);
    ::close(hold[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(SharedCrashTest, AFileOfSomebodyElseThatAppearsMeanwhileIsNotReplaced) {
    const std::wstring name = OwnName(L"meanwhile");
    const std::string path = SharedPath(name.c_str(), SharedKind::Section);
    CallHooks hooks;
    hooks.renameat2 = [&](const char* from, const char* to, unsigned flags) {
        EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
        return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, flags);
    };
    {
        const HookScope scope(hooks);
        EXPECT_EQ(CreateNamedSection(name.c_str(), 100, nullptr), nullptr);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_ACCESS_DENIED);
    }
    struct stat facts {};
    EXPECT_EQ(::lstat(path.c_str(), &facts), 0);
    EXPECT_TRUE(S_ISFIFO(facts.st_mode));
    EXPECT_EQ(::unlink(path.c_str()), 0);
    EXPECT_EQ(FilesLeft(::getpid()), 0);
}
