// Settings files on disks that refuse, fail or come up short.
#include "sysu/SettingsFixture.h"
#include "sysu/posix/CallHooks.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class SettingsFaultTest : public SettingsFixture {};

} // namespace

TEST_F(SettingsFaultTest, AFileThatMayNotBeReadIsNotedOnceAndTriedAgain) {
    Write(std::string(kHead) + "a = 1\n");
    std::vector<std::wstring> notes;
    SetLogReceiver(
        [](void* context, INFOTYPE level, const wchar_t* module, const wchar_t* text) {
            EXPECT_EQ(level, INFOTYPE_ERROR);
            EXPECT_STREQ(module, L"VXCSoftCodecSysU");
            static_cast<std::vector<std::wstring>*>(context)->push_back(text);
        },
        &notes, INFOTYPE_TRACE);
    {
        CallHooks hooks;
        hooks.open = [](const char*, int, mode_t) {
            errno = EACCES;
            return -1;
        };
        const HookScope scope(hooks);
        EXPECT_EQ(Int(L"a"), 12345u);
        EXPECT_EQ(Int(L"a"), 12345u);
    }
    SetLogReceiver(nullptr, nullptr, INFOTYPE_ERROR);
    EXPECT_EQ(notes, std::vector<std::wstring>{L"Settings file " + m_folder.Wide("one.conf") +
                                               L" cannot be read (error 5), ignored"});
    EXPECT_EQ(Int(L"a"), 1u);
}

TEST_F(SettingsFaultTest, APipeInPlaceOfTheFileHoldsNobody) {
    ASSERT_EQ(::mkfifo(m_folder.Name("one.conf").c_str(), 0600), 0);
    EXPECT_EQ(Int(L"a"), 12345u);
    EXPECT_EQ(WriteSettingText(kSection, L"a", L"1"), VXC_ERROR_GEN_FAILURE);
}

TEST_F(SettingsFaultTest, ATextThatDoesNotReachTheDiskReplacesNothing) {
    const std::string before = std::string(kHead) + "a = 1\n";
    Write(before);
    CallHooks noDisk;
    noDisk.fsync = [](int) {
        errno = EIO;
        return -1;
    };
    CallHooks takesNothing;
    int calls = 0;
    takesNothing.write = [&](int descriptor, const void* buffer, std::size_t bytes) {
        return ++calls == 1 ? ssize_t{0} : ::write(descriptor, buffer, bytes);
    };
    for (const CallHooks& hooks : {noDisk, takesNothing}) {
        const HookScope scope(hooks);
        EXPECT_EQ(WriteSettingText(kSection, L"b", L"2"), VXC_ERROR_IO_DEVICE);
    }
    EXPECT_EQ(File(), before);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder.Path()),
                            std::filesystem::directory_iterator()),
              1);
}

TEST_F(SettingsFaultTest, AWriterWaitsForAnotherOneOfTheFolderButNotForEver) {
    CallHooks hooks;
    int locks = 0;
    int freeAt = 3;
    int64 waited = 0;
    hooks.flock = [&](int, int operation) {
        EXPECT_EQ(operation, LOCK_EX | LOCK_NB);
        errno = EWOULDBLOCK;
        return ++locks == freeAt ? 0 : -1;
    };
    hooks.nanosleep = [&](const timespec* time) {
        waited += time->tv_sec * 1'000'000'000 + time->tv_nsec;
        return 0;
    };
    const HookScope scope(hooks);
    EXPECT_EQ(WriteSettingText(kSection, L"a", L"5"), 0u);
    EXPECT_EQ(Int(L"a"), 5u);
    freeAt = 0;
    waited = 0;
    EXPECT_EQ(WriteSettingText(kSection, L"a", L"6"), VXC_ERROR_SHARING_VIOLATION);
    EXPECT_EQ(waited, 2'000'000'000);
    EXPECT_EQ(Int(L"a"), 5u);
}

TEST_F(SettingsFaultTest, AFolderWithoutLocksIsWrittenAllTheSame) {
    CallHooks hooks;
    hooks.flock = [](int, int) {
        errno = ENOLCK;
        return -1;
    };
    const HookScope scope(hooks);
    EXPECT_EQ(WriteSettingText(kSection, L"a", L"5"), 0u);
}

TEST_F(SettingsFaultTest, OthersMayReadANewFile) {
    const mode_t mask = ::umask(0);
    EXPECT_EQ(WriteSettingText(kSection, L"a", L"5"), 0u);
    ::umask(mask);
    EXPECT_EQ(std::filesystem::status(m_folder.Path() / "one.conf").permissions(),
              std::filesystem::perms(0644));
}

TEST_F(SettingsFaultTest, WritingGoesOnAfterInterruptionsAndParts) {
    CallHooks hooks;
    int calls = 0;
    hooks.write = [&](int descriptor, const void* buffer, std::size_t bytes) {
        errno = EINTR;
        return ++calls % 2 == 1 ? -1 : ::write(descriptor, buffer, std::min<std::size_t>(3, bytes));
    };
    hooks.read = [&](int descriptor, void* buffer, std::size_t bytes) {
        errno = EINTR;
        return ++calls % 2 == 1 ? -1 : ::read(descriptor, buffer, std::min<std::size_t>(3, bytes));
    };
    const HookScope scope(hooks);
    EXPECT_EQ(WriteSettingText(kSection, L"a", L"5"), 0u);
    EXPECT_EQ(Int(L"a"), 5u);
}
