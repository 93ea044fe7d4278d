// The files that stand for shared names: what they are called, what may stand in their place.
#include "SharedTesting.h"

#include "frame/SystemLayer.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uid_t kNobody = 65534;

std::string FileOf(const wchar_t* name) {
    const std::string path = SharedPath(name, SharedKind::Section);
    const std::string start = std::string(sysu::kSharedFolder) + "/" + sysu::SharedPrefix();
    EXPECT_EQ(path.substr(0, start.size()), start);
    return path.substr(start.size());
}

std::string Content(const std::string& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

void MakeFile(const std::string& path, mode_t mode) {
    std::ofstream(path) << "theirs";
    ASSERT_EQ(::chmod(path.c_str(), mode), 0);
}

// What stands in the way of a name, made under its path.
struct Obstacle {
    const char* what;
    void (*make)(const std::string& path);
};

const Obstacle kObstacles[] = {
    {"a link to a file of this user",
     [](const std::string& path) {
         MakeFile("/dev/shm/target", 0600);
         ASSERT_EQ(::symlink("/dev/shm/target", path.c_str()), 0);
     }},
    {"a link to nothing",
     [](const std::string& path) { ASSERT_EQ(::symlink("/dev/shm/nothing", path.c_str()), 0); }},
    {"a second name of a file",
     [](const std::string& path) {
         MakeFile("/dev/shm/target", 0600);
         ASSERT_EQ(::link("/dev/shm/target", path.c_str()), 0);
     }},
    {"a pipe", [](const std::string& path) { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }},
    {"a folder", [](const std::string& path) { ASSERT_EQ(::mkdir(path.c_str(), 0700), 0); }},
    {"a socket",
     [](const std::string& path) {
         const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
         sockaddr_un address{};
         address.sun_family = AF_UNIX;
         path.copy(address.sun_path, sizeof address.sun_path - 1);
         ASSERT_EQ(::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
         ::close(descriptor);
     }},
    {"a file that others may read", [](const std::string& path) { MakeFile(path, 0644); }},
    {"a file of another user",
     [](const std::string& path) {
         MakeFile(path, 0600);
         ASSERT_EQ(::chown(path.c_str(), kNobody, kNobody), 0);
     }},
};

struct Seen {
    explicit Seen(const std::string& path) : target(Content("/dev/shm/target")) {
        EXPECT_EQ(::lstat(path.c_str(), &facts), 0);
    }
    struct stat facts {};
    std::string target;
};

bool operator==(const Seen& one, const Seen& other) {
    return one.facts.st_ino == other.facts.st_ino && one.facts.st_mode == other.facts.st_mode &&
           one.facts.st_uid == other.facts.st_uid && one.facts.st_size == other.facts.st_size &&
           one.target == other.target;
}

void ExpectForbidden(const wchar_t* name) {
    int existed = 1;
    EXPECT_EQ(CreateNamedSection(name, 4096, &existed), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_ACCESS_DENIED);
    EXPECT_EQ(existed, 0);
    EXPECT_EQ(OpenNamedSection(name), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_ACCESS_DENIED);
}

} // namespace

TEST(SharedNameTest, OrdinaryCharactersStandForThemselvesAndOthersForTheirBytes) {
    EXPECT_EQ(FileOf(L"00012345_InMap"), "00012345_InMap.m");
    EXPECT_EQ(FileOf(L"a-b.c"), "a-b.c.m");
    EXPECT_EQ(FileOf(L"a/b\\c d%e"), "a%2fb%5cc%20d%25e.m");
    EXPECT_EQ(FileOf(L"\u00e9\U0001F600"), "%c3%a9%f0%9f%98%80.m");
    EXPECT_EQ(FileOf(L"\n\x7f"), "%0a%7f.m");
    EXPECT_EQ(FileOf(L""), ".m");
    EXPECT_EQ(FileOf(nullptr), ".m");
    EXPECT_EQ(SharedPath(L"x", SharedKind::Event).substr(SharedPath(L"x", SharedKind::Event).size() - 3),
              "x.e");
}

TEST(SharedNameTest, NoTwoNamesMeetAlsoWhereTheyHoldWhatIsNoCharacter) {
    std::vector<std::wstring> names = {L"",
                                       L".",
                                       L"..",
                                       L"../x",
                                       L"%2e",
                                       L"a",
                                       L"A",
                                       L"a ",
                                       L"%u0000d800",
                                       L"\u00e9",
                                       std::wstring(180, L'y'),
                                       std::wstring(181, L'y')};
    for (const unsigned value : {0xD800u, 0xD801u, 0xDFFFu, 0xDCC3u, 0xFFFDu, 0x110000u, 0x7FFFFFFFu}) {
        names.emplace_back(1, static_cast<wchar_t>(value));
    }
    // Bytes that came out of a file name that is no text, and the text that they would be.
    names.emplace_back(std::wstring{static_cast<wchar_t>(0xDCC3), static_cast<wchar_t>(0xDCA9)});
    for (const wchar_t last : {L'1', L'2'}) {
        names.emplace_back(std::wstring(5000, L'z') + last);
        names.emplace_back(std::wstring(5000, L'/') + last);
    }
    names.emplace_back(5000, L'z');
    // What the long ones are cut to, taken for a name.
    const std::string cut = FileOf(std::wstring(181, L'y').c_str());
    names.emplace_back(cut.begin(), cut.end() - 2);
    std::set<std::string> files;
    for (const std::wstring& name : names) {
        const std::string file = FileOf(name.c_str());
        EXPECT_EQ(file.find('/'), std::string::npos);
        EXPECT_LE((sysu::SharedPrefix() + file).size(), 255u);
        files.insert(file);
    }
    EXPECT_EQ(files.size(), names.size());
}

TEST(SharedNameTest, WhatALongNameIsCutToIsTheFileOfNoShortOne) {
    // "yy...y+0123456789abcdef+181": the short name would have its digest and length for coded characters.
    int tried = 0;
    for (int i = 100; i < 200; ++i) {
        const std::wstring whole = std::wstring(140, L'y') + std::to_wstring(i) + std::wstring(38, L'y');
        const std::string file = FileOf(whole.c_str());
        const std::size_t digest = file.find_first_not_of('y') + 1;
        ASSERT_EQ(file.substr(digest + 16), "+181.m");
        const int first = std::stoi(file.substr(digest, 2), nullptr, 16);
        if (first == 0 || first > 0x7F || std::isalnum(first) != 0) {
            continue;
        }
        const std::string rest = file.substr(digest + 2, 14);
        const std::wstring name = std::wstring(digest - 1, L'y') + static_cast<wchar_t>(first) +
                                  std::wstring(rest.begin(), rest.end()) + L"\x18" + L"1";
        EXPECT_NE(FileOf(name.c_str()), file);
        ++tried;
    }
    EXPECT_GT(tried, 10);
}

TEST(SharedNameTest, OddNamesAreMadeOpenedAndGone) {
    for (const std::wstring& odd : {std::wstring(L"../../tmp/x"), std::wstring(L"/"), std::wstring(L"\\.."),
                                    std::wstring(5000, L'\x2603'), std::wstring(1, wchar_t(0xDFFF))}) {
        const std::wstring name = odd + OwnName(L"odd");
        HeldSection made(CreateNamedSection(name.c_str(), 100, nullptr));
        ASSERT_NE(made.Get(), nullptr);
        const std::string path = SharedPath(name.c_str(), SharedKind::Section);
        EXPECT_EQ(std::filesystem::path(path).parent_path(), sysu::kSharedFolder);
        EXPECT_TRUE(IsFileThere(path));
        HeldSection opened(OpenNamedSection(name.c_str()));
        EXPECT_NE(opened.Get(), nullptr);
        EXPECT_TRUE(made.Close());
        EXPECT_TRUE(opened.Close());
        EXPECT_FALSE(IsFileThere(path));
    }
}

TEST(SharedNameTest, FilesAreTheUsersAloneWhateverTheMaskOfTheProcess) {
    const std::wstring name = OwnName(L"mask");
    InChild([&] {
        ::umask(0777);
        HeldSection section(CreateNamedSection(name.c_str(), 100, nullptr));
        struct stat facts {};
        ASSERT_EQ(::stat(SharedPath(name.c_str(), SharedKind::Section).c_str(), &facts), 0);
        EXPECT_EQ(facts.st_mode & 07777, 0600u);
        EXPECT_EQ(facts.st_uid, ::geteuid());
        ::umask(0);
        HeldSection other(CreateNamedSection((name + L"2").c_str(), 100, nullptr));
        ASSERT_EQ(::stat(SharedPath((name + L"2").c_str(), SharedKind::Section).c_str(), &facts), 0);
        EXPECT_EQ(facts.st_mode & 07777, 0600u);
    });
}

TEST(SharedNameTest, WhatIsNoFileOfThisUserAloneIsForbiddenAndLeftAlone) {
    for (const Obstacle& obstacle : kObstacles) {
        SCOPED_TRACE(obstacle.what);
        if (!InOwnFolder("1m", [&] {
                const std::string path = SharedPath(L"taken", SharedKind::Section);
                ASSERT_NO_FATAL_FAILURE(obstacle.make(path));
                const Seen before(path);
                ExpectForbidden(L"taken");
                EXPECT_TRUE(Seen(path) == before);
                // It stands in nobody else's way.
                HeldSection other(CreateNamedSection(L"free", 4096, nullptr));
                EXPECT_NE(other.Get(), nullptr);
            })) {
            GTEST_SKIP() << "lacks the right to mount";
        }
    }
}

TEST(SharedNameTest, WhatStandsInThePlaceOfTheGuardForbidsAllNames) {
    for (const Obstacle& obstacle : kObstacles) {
        SCOPED_TRACE(obstacle.what);
        if (!InOwnFolder("1m", [&] {
                const std::string path =
                    std::string(sysu::kSharedFolder) + "/" + sysu::SharedPrefix() + "guard";
                ASSERT_NO_FATAL_FAILURE(obstacle.make(path));
                const Seen before(path);
                ExpectForbidden(L"any");
                EXPECT_TRUE(Seen(path) == before);
                EXPECT_FALSE(IsFileThere("/dev/shm/nothing"));
            })) {
            GTEST_SKIP() << "lacks the right to mount";
        }
    }
}

TEST(SharedNameTest, TwoUsersHaveTheSameNameEachForItself) {
    if (!InOwnFolder("1m", [] {
            HeldSection mine(CreateNamedSection(L"both", 4096, nullptr));
            ASSERT_NE(mine.Get(), nullptr);
            auto* const view = static_cast<char*>(MapSection(mine.Get(), 0, nullptr));
            ASSERT_NE(view, nullptr);
            *view = 'm';
            const pid_t child = ::fork();
            if (child == 0) {
                if (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) {
                    ::_exit(2);
                }
                bool good =
                    OpenNamedSection(L"both") == nullptr && VXC_GetLastError() == VXC_ERROR_FILE_NOT_FOUND;
                int existed = 1;
                HeldSection theirs(CreateNamedSection(L"both", 4096, &existed));
                auto* const seen = static_cast<char*>(MapSection(theirs.Get(), 0, nullptr));
                good = good && existed == 0 && seen != nullptr && *seen == 0;
                good = good && theirs.Close() && UnmapSection(seen) != 0;
                ::_exit(good ? 0 : 1);
            }
            int status = 0;
            ::waitpid(child, &status, 0);
            EXPECT_EQ(status, 0);
            EXPECT_EQ(*view, 'm');
            HeldSection again(OpenNamedSection(L"both"));
            EXPECT_NE(again.Get(), nullptr);
        })) {
        GTEST_SKIP() << "lacks the right to mount";
    }
}

TEST(SharedNameTest, WhereSharedMemoryIsFullNothingIsMadeAndNothingLeft) {
    if (!InOwnFolder("256k", [] {
            HeldSection small(CreateNamedSection(L"small", 64 << 10, nullptr));
            EXPECT_NE(small.Get(), nullptr);
            EXPECT_EQ(CreateNamedSection(L"large", 1 << 20, nullptr), nullptr);
            EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_DISK_FULL);
            std::set<std::string> files;
            for (const auto& entry : std::filesystem::directory_iterator(sysu::kSharedFolder)) {
                files.insert(entry.path());
            }
            EXPECT_EQ(files.size(), 2u);
            EXPECT_TRUE(files.count(SharedPath(L"small", SharedKind::Section)));
            // What did not fit has given back its memory.
            HeldSection fits(CreateNamedSection(L"large", 128 << 10, nullptr));
            EXPECT_NE(fits.Get(), nullptr);
            // One that is there needs no memory.
            int existed = 0;
            HeldSection again(CreateNamedSection(L"small", 1 << 20, &existed));
            EXPECT_NE(again.Get(), nullptr);
            EXPECT_EQ(existed, 1);
            // 64 and 128 KiB are taken.
            HeldSection rest(CreateNamedSection(L"rest", 64 << 10, nullptr));
            EXPECT_EQ(VXC_CreateEventW(nullptr, 0, 0, L"event"), nullptr);
            EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_DISK_FULL);
        })) {
        GTEST_SKIP() << "lacks the right to mount";
    }
}

TEST(SharedNameTest, TheFirstNameOfAProcessRemovesWhatCrashesHaveLeft) {
    if (!InOwnFolder("1m", [] {
            const std::string start = std::string(sysu::kSharedFolder) + "/" + sysu::SharedPrefix();
            const std::vector<std::string> stale = {start + "dead.m", start + "dead.e", start + "1-1.t"};
            const std::vector<std::string> kept = {start + "dead.x", "/dev/shm/other.m",
                                                   "/dev/shm/vxc.99999.dead.m"};
            for (const std::string& path : stale) {
                MakeFile(path, 0600);
            }
            for (const std::string& path : kept) {
                MakeFile(path, 0600);
            }
            Peer holder(Peers().front(), {"hold", "living", "4096"});
            ASSERT_TRUE(holder.IsReady()); // it has swept
            for (const std::string& path : stale) {
                EXPECT_FALSE(IsFileThere(path)) << path;
                MakeFile(path, 0600);
            }
            MakeFile(start + "foreign.m", 0644);
            Peer next(Peers().back(), {"hold", "new", "4096"});
            ASSERT_TRUE(next.IsReady());
            for (const std::string& path : stale) {
                EXPECT_FALSE(IsFileThere(path)) << path;
            }
            for (const std::string& path : kept) {
                EXPECT_EQ(Content(path), "theirs") << path;
            }
            EXPECT_TRUE(IsFileThere(start + "foreign.m"));
            HeldSection living(OpenNamedSection(L"living"));
            EXPECT_NE(living.Get(), nullptr);
        })) {
        GTEST_SKIP() << "lacks the right to mount";
    }
}

TEST(SharedNameTest, ANameThatWasRemovedByHandAndMadeAnewIsNotRemovedByItsFormerUser) {
    const std::wstring name = OwnName(L"removed");
    const std::string path = SharedPath(name.c_str(), SharedKind::Section);
    HeldSection former(CreateNamedSection(name.c_str(), 100, nullptr));
    ASSERT_EQ(::unlink(path.c_str()), 0);
    int existed = 1;
    HeldSection latter(CreateNamedSection(name.c_str(), 100, &existed));
    ASSERT_NE(latter.Get(), nullptr);
    EXPECT_EQ(existed, 0);
    EXPECT_TRUE(former.Close());
    EXPECT_TRUE(IsFileThere(path));
    HeldSection opened(OpenNamedSection(name.c_str()));
    EXPECT_NE(opened.Get(), nullptr);
}

TEST(SharedNameTest, AForkedChildThatClosesItsHandlesTakesNoNameFromItsParent) {
    const std::wstring name = OwnName(L"forked");
    HeldSection section(CreateNamedSection(name.c_str(), 100, nullptr));
    InChild([&] { EXPECT_TRUE(section.Close()); });
    EXPECT_TRUE(IsFileThere(SharedPath(name.c_str(), SharedKind::Section)));
    Peer other(Peers().front(), {"invert", std::string(name.begin(), name.end())});
    EXPECT_EQ(other.Result(), 0);
}

TEST(SharedNameTest, AProcessThatEndsWithoutClosingItsNamesLeavesNone) {
    const std::wstring name = OwnName(L"unclosed");
    const pid_t child = ::fork();
    if (child == 0) {
        static void* s_event = nullptr; // known to the end, so that it is no leak
        s_event = VXC_CreateEventW(nullptr, 0, 0, name.c_str());
        void* const section = CreateNamedSection(name.c_str(), 4096, nullptr);
        const bool made = MapSection(section, 0, nullptr) != nullptr && CloseSection(section) != 0 &&
                          CreateNamedSection((name + L"2").c_str(), 1, nullptr) != nullptr &&
                          s_event != nullptr;
        ::exit(made ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(IsFileThere(SharedPath(name.c_str(), SharedKind::Section)));
    EXPECT_FALSE(IsFileThere(SharedPath((name + L"2").c_str(), SharedKind::Section)));
    EXPECT_FALSE(IsFileThere(SharedPath(name.c_str(), SharedKind::Event)));
}

TEST(SharedNameTest, AProcessThatEndsLeavesTheNamesThatOthersHave) {
    const std::wstring name = OwnName(L"shared");
    HeldSection mine(CreateNamedSection(name.c_str(), 4096, nullptr));
    ASSERT_NE(mine.Get(), nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        ::exit(OpenNamedSection(name.c_str()) != nullptr ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(IsFileThere(SharedPath(name.c_str(), SharedKind::Section)));
    HeldSection again(OpenNamedSection(name.c_str()));
    EXPECT_NE(again.Get(), nullptr);
}

TEST(SharedNameTest, TheGuardCanBeOpenedAgainWhateverTheMaskItWasMadeUnder) {
    if (!InOwnFolder("1m", [] {
            ::umask(0777);
            HeldSection section(CreateNamedSection(L"any", 4096, nullptr));
            EXPECT_NE(section.Get(), nullptr);
            const std::string guard = std::string(sysu::kSharedFolder) + "/" + sysu::SharedPrefix() + "guard";
            struct stat facts {};
            ASSERT_EQ(::stat(guard.c_str(), &facts), 0);
            EXPECT_EQ(facts.st_mode & 07777, 0600u);
        })) {
        GTEST_SKIP() << "lacks the right to mount";
    }
}
