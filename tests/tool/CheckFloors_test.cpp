// The script that holds the tree to its floors, on small trees that break one rule each.
#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace vxcio::test;
using testing::HasSubstr;

namespace {

class CheckFloorsTest : public testing::Test {
protected:
    TempFolder m_Tree;

    // A tree that keeps all rules.
    void SetUp() override {
        m_Tree.Write("src/CMakeLists.txt", "set(VXC_PUBLIC_HEADERS\n    frame/Types.h)\n");
        m_Tree.Write("src/frame/Types.h", "#if defined(_WIN32)\n#endif\n");
        m_Tree.Write("src/text/Utf8.h", "");
        m_Tree.Write("src/frame/Log.h", "#include \"text/Utf8.h\"\n#include <string>\n");
        m_Tree.Write("src/sources/posix/Disk.cpp", "#include \"frame/Log.h\"\n#include <unistd.h>\n");
        m_Tree.Write("tools/vxcio/main.cpp", "#include \"frame/Types.h\"\n");
        m_Tree.Write("tests/CMakeLists.txt", "vxc_test(frame LOGIC)\n");
        m_Tree.Write("tests/frame/Log_test.cpp", "#include <unistd.h>\nTEST(Log, Logs) {}\n");
        m_Tree.Write("tests/frame/posix/Log_test.cpp", "TEST(Log, LogsHere) {}\n");
    }
    Outcome Check() const {
        return RunProgram({VXC_TEST_SOURCE_DIR "/scripts/check-floors", m_Tree.Path().string()});
    }
    void ExpectBreach(const std::string& line) const {
        const Outcome outcome = Check();
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.out, HasSubstr(line)) << outcome.error;
    }
};

} // namespace

TEST_F(CheckFloorsTest, ATreeThatKeepsTheRulesPasses) {
    const Outcome outcome = Check();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.out << outcome.error;
    EXPECT_THAT(outcome.out, HasSubstr("5 files keep to their floors; 2 tests"));
}

TEST_F(CheckFloorsTest, AnIncludeFromAHigherFloorIsFound) {
    m_Tree.Write("src/text/Utf8.h", "\n#include \"frame/Log.h\"\n");
    ExpectBreach("src/text/Utf8.h:2: text includes frame/Log.h");
}

TEST_F(CheckFloorsTest, AnIncludeFromTheSameRowIsFound) {
    m_Tree.Write("src/buffers/Ring.h", "");
    m_Tree.Write("src/extra/Switch.cpp", "#include \"buffers/Ring.h\"\n");
    ExpectBreach("src/extra/Switch.cpp:1: extra includes buffers/Ring.h");
}

TEST_F(CheckFloorsTest, AFolderWithoutAFloorIsFound) {
    m_Tree.Write("src/misc/Odds.cpp", "");
    ExpectBreach("src/misc/Odds.cpp:1: folder misc stands on no floor");
}

TEST_F(CheckFloorsTest, AnIncludeThatDoesNotCountFromTheRootIsFound) {
    m_Tree.Write("src/frame/Other.cpp", "#include \"Log.h\"\n");
    ExpectBreach("src/frame/Other.cpp:1: Log.h is no file of src/");
}

TEST_F(CheckFloorsTest, AToolThatIncludesWhatIsNotInstalledIsFound) {
    m_Tree.Write("tools/vxcio/main.cpp", "#include \"frame/Log.h\"\n");
    ExpectBreach("tools/vxcio/main.cpp:1: includes frame/Log.h, which is not installed");
}

TEST_F(CheckFloorsTest, ASystemHeaderOutsideItsFolderIsFound) {
    m_Tree.Write("src/frame/Log.h", "#include <sys/stat.h>\n");
    ExpectBreach("src/frame/Log.h:1: includes the system's sys/stat.h");
    m_Tree.Write("src/frame/Log.h", "");
    m_Tree.Write("tools/vxcio/Terminal.cpp", "#include <unistd.h>\n");
    ExpectBreach("tools/vxcio/Terminal.cpp:1: includes the system's unistd.h");
}

TEST_F(CheckFloorsTest, AQuestionForTheSystemIsFound) {
    for (const char* line : {"#ifdef __linux__\n", "#if !defined(_WIN32)\n", "#  elif defined(__unix__)\n"}) {
        m_Tree.Write("src/frame/Log.h", line);
        ExpectBreach("src/frame/Log.h:1: asks for the system");
    }
}

TEST_F(CheckFloorsTest, TestsThatWouldNeverRunAreFound) {
    m_Tree.Write("tests/sources/Disk_test.cpp", "TEST(Disk, Spins) {}\n");
    ExpectBreach("tests/sources/Disk_test.cpp:1: its folder has no vxc_test(sources ...) line");
    m_Tree.Write("tests/frame/deep/Log_test.cpp", "TEST(Log, Sinks) {}\n");
    ExpectBreach("tests/frame/deep/Log_test.cpp:1: its folder has no vxc_test(frame ...) line");
    m_Tree.Write("tests/frame/More.cpp", "TEST(More, Tests) {}\n");
    ExpectBreach("tests/frame/More.cpp:1: holds tests but is not named *_test.cpp");
    m_Tree.Write("tests/frame/Log_test.cpp", "// nothing\n");
    ExpectBreach("tests/frame/Log_test.cpp:1: holds no test");
}

TEST_F(CheckFloorsTest, APublicHeaderThatIsNotThereIsFound) {
    m_Tree.Write("src/CMakeLists.txt", "set(VXC_PUBLIC_HEADERS\n    frame/Types.h\n    frame/Gone.h)\n");
    ExpectBreach("public header frame/Gone.h is not there");
}
