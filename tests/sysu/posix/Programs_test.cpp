// Starting programs by a command line.
#include "SharedTesting.h"

#include "../WaitHelpers.h"
#include "support/LeakChecks.h"
#include "support/TempFolder.h"
#include "text/Utf8.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <set>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;
using waittest::Await;

namespace {

// What a started peer wrote down.
struct Report {
    std::string Value(const std::string& key) const {
        for (const std::string& line : lines) {
            if (line.compare(0, key.size() + 1, key + " ") == 0) {
                return line.substr(key.size() + 1);
            }
        }
        return {};
    }
    std::vector<std::string> Values(const std::string& key) const {
        std::vector<std::string> values;
        for (const std::string& line : lines) {
            if (line.compare(0, key.size() + 1, key + " ") == 0) {
                values.push_back(line.substr(key.size() + 1));
            }
        }
        return values;
    }
    std::vector<std::string> lines;
};

Report AwaitReport(const std::string& file) {
    Report report;
    EXPECT_TRUE(Await([&] { return IsFileThere(file); })) << file;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        report.lines.push_back(line);
    }
    return report;
}

bool IsGone(uint32 process) {
    return !std::filesystem::exists("/proc/" + std::to_string(process));
}

// A folder with programs of its own, and the place of their reports.
class ProgramTest : public testing::Test {
protected:
    // A program of that name, which is the peer under another name.
    std::string Put(const std::string& name, const std::string& peer = Peers().front()) {
        const std::filesystem::path path = m_folder.Name(name);
        std::filesystem::create_directories(path.parent_path());
        // Not copied, so that it finds its libraries beside itself; a link to a file is a file.
        std::filesystem::create_symlink(peer, path);
        return path;
    }
    std::string ReportFile() {
        m_report = m_folder.Name("report" + std::to_string(++m_reports));
        return m_report;
    }
    // Starts the command line, and "report" and the file behind it; gives the report.
    Report Run(const std::string& line, const std::string& rest = "") {
        const std::string whole = line + " report " + ReportFile() + rest;
        process = 0;
        EXPECT_EQ(StartProgram(FromUtf8(whole).c_str(), &process), 1) << VXC_GetLastError();
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_SUCCESS);
        return AwaitReport(m_report);
    }
    void ExpectError(const std::string& line, uint32 error) {
        uint32 none = 77;
        EXPECT_EQ(StartProgram(FromUtf8(line).c_str(), &none), 0) << line;
        EXPECT_EQ(VXC_GetLastError(), error) << line;
        EXPECT_EQ(none, 77u);
    }

    uint32 process = 0;
    TempFolder m_folder;

private:
    std::string m_report;
    int m_reports = 0;
};

} // namespace

TEST_F(ProgramTest, TheProgramIsTheLongestBeginningThatIsAFile) {
    const std::string first = Put("a dir/x");
    EXPECT_EQ(Run(first).Value("program"), first);
    const std::string second = Put("a dir/x y z");
    EXPECT_EQ(Run(second).Value("program"), second);
    const std::string third = Put("a dir/x y z report");
    EXPECT_EQ(Run(third).Value("program"), third);
}

TEST_F(ProgramTest, AFolderIsNoProgram) {
    const std::string program = Put("a");
    std::filesystem::create_directories(m_folder.Name("a report"));
    EXPECT_EQ(Run(program).Value("program"), program);
}

TEST_F(ProgramTest, AQuotedFirstWordIsTheProgram) {
    const std::string program = Put("a dir/x");
    Put("a dir/x report");
    EXPECT_EQ(Run("\"" + program + "\"").Value("program"), program);
    ExpectError("\"" + m_folder.Name("a dir/y") + "\" report", VXC_ERROR_FILE_NOT_FOUND);
    ExpectError("\"" + m_folder.Name("a dir/x y") + "\"", VXC_ERROR_FILE_NOT_FOUND);
    ExpectError("\"", VXC_ERROR_FILE_NOT_FOUND);
    ExpectError("\"\"", VXC_ERROR_FILE_NOT_FOUND);
}

TEST_F(ProgramTest, TheWordsBehindAreSplitAtBlanks) {
    const Report report = Run(Put("x"), "   one  \"two three\" \xC3\xA9\t  ");
    EXPECT_EQ(report.Values("word"),
              (std::vector<std::string>{report.Value("word"), "one", "\"two", "three\"", "\xC3\xA9\t"}));
}

TEST_F(ProgramTest, ABlankBehindItsNameIsTheNamesWhereItIsThere) {
    const std::string program = Put("serv.exe");
    EXPECT_EQ(Run(program + " ").Value("program"), program);
    const std::string blank = Put("serv.exe ");
    EXPECT_EQ(Run(program).Value("program"), blank);
    std::filesystem::remove(program);
    EXPECT_EQ(Run(program).Value("program"), blank);
}

TEST_F(ProgramTest, ABackslashJoinsFoldersToTheProgram) {
    const std::string program = Put("lib dir/VXC/serv.exe");
    EXPECT_EQ(Run(m_folder.Name("lib dir") + "\\VXC\\serv.exe ").Value("program"), program);
}

TEST_F(ProgramTest, ARelativeNameIsLookedForInTheFolderOfTheProcess) {
    Put("x");
    InChild([&] {
        ASSERT_EQ(::chdir(m_folder.Name(".").c_str()), 0);
        const Report report = Run("./x");
        EXPECT_EQ(report.Value("program"), "./x");
        EXPECT_EQ(report.Value("folder"), std::filesystem::canonical(m_folder.Name(".")).string());
        // No other folder is searched.
        ExpectError("true", VXC_ERROR_FILE_NOT_FOUND);
    });
}

TEST_F(ProgramTest, BothWidthsAreStarted) {
    std::set<std::string> bits;
    for (const std::string& peer : Peers()) {
        bits.insert(Run(peer).Value("bits"));
    }
    EXPECT_EQ(bits.size(), Peers().size());
}

TEST_F(ProgramTest, WhatCannotBeStartedSaysWhy) {
    ExpectError("", VXC_ERROR_FILE_NOT_FOUND);
    ExpectError(" ", VXC_ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(StartProgram(nullptr, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_FILE_NOT_FOUND);
    ExpectError(m_folder.Name("missing") + " 1", VXC_ERROR_FILE_NOT_FOUND);
    ExpectError(m_folder.Name("."), VXC_ERROR_FILE_NOT_FOUND);
    const std::string plain = m_folder.Write("plain", "text");
    ExpectError(plain + " 1", VXC_ERROR_ACCESS_DENIED);
    ASSERT_EQ(::chmod(plain.c_str(), 0700), 0);
    ExpectError(plain + " 1", VXC_ERROR_BAD_EXE_FORMAT);
    const std::string empty = m_folder.Write("empty", "");
    ASSERT_EQ(::chmod(empty.c_str(), 0700), 0);
    ExpectError(empty, VXC_ERROR_BAD_EXE_FORMAT);
}

TEST_F(ProgramTest, AProgramWhoseLoaderIsNotThereIsOfAnotherKind) {
    // As one of 32 bits is on a machine without the libraries for it.
    const std::string program = m_folder.Write("script", "#!/no/such/loader\n");
    ASSERT_EQ(::chmod(program.c_str(), 0700), 0);
    ExpectError(program + " 1", VXC_ERROR_BAD_EXE_FORMAT);
}

TEST_F(ProgramTest, ItGetsTheEnvironmentAndTheFolderOfThisProcess) {
    InChild([&] {
        ASSERT_EQ(::setenv("VXC_PROGRAM_TEST", "a value", 1), 0);
        const Report report = Run(Put("x"));
        EXPECT_EQ(report.Value("value"), "a value");
        EXPECT_EQ(report.Value("folder"), std::filesystem::current_path().string());
        EXPECT_EQ(report.Value("process"), std::to_string(process));
    });
}

TEST_F(ProgramTest, ItGetsTheStandardStreamsAndNoOtherDescriptor) {
    InChild([&] {
        // Left to programs that are started, by somebody who does not know better.
        for (const int number : {3, 20, 500}) {
            const int descriptor = ::open("/dev/null", O_RDWR);
            ASSERT_EQ(::dup2(descriptor, number), number);
        }
        HeldSection section(CreateNamedSection(OwnName(L"inherited").c_str(), 100, nullptr));
        const int stream = ::open(m_folder.Write("stream", "").c_str(), O_RDWR);
        for (const int number : {0, 1, 2}) {
            ASSERT_EQ(::dup2(stream, number), number);
        }
        const std::string expected = " " + std::filesystem::canonical(m_folder.Name("stream")).string();
        EXPECT_EQ(Run(Put("x")).Values("descriptor"),
                  (std::vector<std::string>{"0" + expected, "1" + expected, "2" + expected}));
    });
}

TEST_F(ProgramTest, ItGetsOrdinarySignals) {
    InChild([&] {
        for (const int number : {SIGTERM, SIGPIPE, SIGHUP, SIGUSR1}) {
            ASSERT_NE(::signal(number, SIG_IGN), SIG_ERR);
        }
        sigset_t blocked;
        sigset_t now;
        ::sigemptyset(&blocked);
        ::sigaddset(&blocked, SIGTERM);
        ::sigaddset(&blocked, SIGINT);
        ASSERT_EQ(::sigprocmask(SIG_BLOCK, &blocked, nullptr), 0);
        EXPECT_EQ(Run(Put("x")).Values("signal"), std::vector<std::string>());
        // And this process keeps its own.
        ::sigprocmask(SIG_BLOCK, nullptr, &now);
        EXPECT_EQ(::sigismember(&now, SIGTERM), 1);
        EXPECT_EQ(::sigismember(&now, SIGUSR2), 0);
        struct sigaction action {};
        ::sigaction(SIGPIPE, nullptr, &action);
        EXPECT_EQ(action.sa_handler, SIG_IGN);
        ::sigaction(SIGCHLD, nullptr, &action);
        EXPECT_EQ(action.sa_handler, SIG_DFL); // nobody took it over
    });
}

TEST_F(ProgramTest, NothingIsLeftOfItWhenItEnds) {
    const std::wstring name = OwnName(L"end");
    const waittest::Handle end(VXC_CreateEventW(nullptr, 0, 0, name.c_str()));
    const std::string program = Put("x");
    const NoLeakScope leaks;
    for (const bool killed : {false, true}) {
        Run(program, " " + std::string(name.begin(), name.end()));
        EXPECT_FALSE(IsGone(process));
        if (killed) {
            EXPECT_EQ(::kill(static_cast<pid_t>(process), SIGKILL), 0);
        } else {
            VXC_SetEvent(end);
        }
        EXPECT_TRUE(Await([&] { return IsGone(process); }));
    }
}

TEST_F(ProgramTest, AProcessThatIgnoresOrTakesTheEndsOfItsChildrenIsNotDisturbed) {
    const std::string program = Put("x");
    InChild([&] {
        ASSERT_NE(::signal(SIGCHLD, SIG_IGN), SIG_ERR);
        Run(program);
        EXPECT_TRUE(Await([&] { return IsGone(process); }));
        ASSERT_NE(::signal(SIGCHLD, SIG_DFL), SIG_ERR);
        for (int i = 0; i < 20; ++i) {
            const pid_t own = ::fork();
            if (own == 0) {
                ::_exit(5);
            }
            Run(program);
            // Whoever takes the end of the program first: this process gets that of its own child.
            bool seen = false;
            int status = 0;
            for (pid_t ended = 0; (ended = ::wait(&status)) > 0 || errno == EINTR;) {
                seen = seen || (ended == own && WIFEXITED(status) && WEXITSTATUS(status) == 5);
            }
            EXPECT_TRUE(seen);
            EXPECT_TRUE(Await([&] { return IsGone(process); }));
        }
    });
}

TEST(ProcessNumberTest, NumbersAreThoseOfTheSystem) {
    EXPECT_EQ(ProcessNumber(), static_cast<uint32>(::getpid()));
    EXPECT_EQ(ThreadNumber(), static_cast<uint32>(::gettid()));
    uint32 other = 0;
    std::thread([&] { other = ThreadNumber(); }).join();
    EXPECT_NE(other, ThreadNumber());
}
