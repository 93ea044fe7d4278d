// vxcio copy: which file a target means, and what is refused before anything is touched.
#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include "CopyPlan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace vxcio::test;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class ToolCopyTargetsTest : public testing::Test {
protected:
    TempFolder m_Folder;

    void SetUp() override {
        m_Folder.Write("a", "content of a");
        m_Folder.Write("b", "content of b");
        std::filesystem::create_directory(m_Folder.Name("folder"));
    }

    Outcome Copy(std::vector<std::string> words) const {
        words.insert(words.begin(), "copy");
        return RunTool(words, {.folder = m_Folder.Path().string(), .obeyPermissions = true});
    }

    // What lies in the folder, with sizes and contents, to see that nothing was touched.
    std::string Everything() const {
        return RunProgram({"sh", "-c", "find . -printf '%p %l %m\\n' | sort; cat a b"},
                          {.folder = m_Folder.Path().string()})
            .out;
    }
};

} // namespace

TEST_F(ToolCopyTargetsTest, AFolderGetsEachFileUnderItsOwnName) {
    const Outcome outcome = Copy({"a", "./b", "folder"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(outcome.out, HasSubstr("  folder/a\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  folder/b\n"));
    EXPECT_EQ(m_Folder.Read("folder/a"), "content of a");
    EXPECT_EQ(m_Folder.Read("folder/b"), "content of b");
    EXPECT_EQ(Copy({"a", "folder/"}).exitCode, 0);
    EXPECT_EQ(Copy({"a*b", "folder", "--time-out", "1000"}).exitCode, 0); // the name of the first copy
}

TEST_F(ToolCopyTargetsTest, NamesAreTakenLetterForLetter) {
    for (const char* name :
         {"-v", "a b", "{}", "[a,b]", "x*y", "*", "@list", "\xC3\xA4\xE6\xBC\xA2", "\xFF\xC3", "back\\slash",
          "line\nend", "http:x", "dot.", "blank ", "--", "clip89ABCDEFVXCIO4"}) {
        const Outcome outcome = Copy({"--", "a", name});
        EXPECT_EQ(outcome.exitCode, 0) << name << outcome.error;
        EXPECT_EQ(m_Folder.Read(name), "content of a") << name;
    }
}

TEST_F(ToolCopyTargetsTest, TheLongestNameStillFindsOneForThePart) {
    const std::string name(255, 'x');
    EXPECT_EQ(Copy({"a", name}).exitCode, 0);
    EXPECT_EQ(m_Folder.Read(name), "content of a");
    std::string letters;
    for (int i = 0; i < 127; ++i) {
        letters += "\xC3\xA4";
    }
    EXPECT_EQ(Copy({"a", letters}).exitCode, 0);
    const Outcome outcome = Copy({"a", name + "x"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error, HasSubstr("': File name too long\n"));
}

TEST_F(ToolCopyTargetsTest, ANameOfAPartThatIsTakenIsLeftAlone) {
    m_Folder.Write("to.vxcio-part", "mine");
    m_Folder.Write("to.vxcio-part.1", "mine too");
    EXPECT_EQ(Copy({"a", "to"}).exitCode, 0);
    EXPECT_EQ(m_Folder.Read("to"), "content of a");
    EXPECT_EQ(m_Folder.Read("to.vxcio-part"), "mine");
    EXPECT_EQ(m_Folder.Read("to.vxcio-part.1"), "mine too");
}

TEST_F(ToolCopyTargetsTest, ALinkToAFileLeadsToIt) {
    std::filesystem::create_symlink("../b", m_Folder.Name("folder/link"));
    EXPECT_EQ(Copy({"a", "folder/link"}).exitCode, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(m_Folder.Name("folder/link")));
    EXPECT_EQ(m_Folder.Read("b"), "content of a");
}

TEST_F(ToolCopyTargetsTest, ADriveLetterIsTheFolderOfTheDriveMap) {
    const std::string settings =
        m_Folder.Write("settings", "[Software\\Norvex\\DriveMap]\nD = " + m_Folder.Name("folder") + "\n");
    EXPECT_EQ(Copy({"a", "D:\\sub\\..\\..\\up", "--settings", settings}).exitCode, 0);
    EXPECT_EQ(m_Folder.Read("folder/up"), "content of a"); // what goes up stays on the drive
    const Outcome folder = Copy({"a", "D:\\", "--settings", settings});
    EXPECT_EQ(folder.exitCode, 0) << folder.error;
    EXPECT_EQ(m_Folder.Read("folder/a"), "content of a");
    EXPECT_EQ(Copy({"D:\\a", "D:\\copy", "--settings", settings}).exitCode, 0);
    EXPECT_EQ(m_Folder.Read("folder/copy"), "content of a");
    const Outcome same = Copy({"D:\\a", m_Folder.Name("folder/a"), "--settings", settings});
    EXPECT_THAT(same.error, HasSubstr("it is the same file as 'D:\\a'"));
}

TEST_F(ToolCopyTargetsTest, WhatCannotBeATargetIsRefusedAndNothingIsTouched) {
    m_Folder.Write("list", "a\nb\n");
    std::filesystem::create_symlink("a", m_Folder.Name("link"));
    std::filesystem::create_symlink("nowhere", m_Folder.Name("dangling"));
    std::filesystem::create_hard_link(m_Folder.Name("a"), m_Folder.Name("hard"));
    std::filesystem::create_directory(m_Folder.Name("folder/a"));
    std::filesystem::create_directory(m_Folder.Name("sealed"));
    m_Folder.Write("sealed/a", "x");
    m_Folder.Write("constant", "x");
    ASSERT_EQ(::mkfifo(m_Folder.Name("pipe").c_str(), 0600), 0);
    std::filesystem::permissions(m_Folder.Name("constant"), std::filesystem::perms(0444));
    std::filesystem::permissions(m_Folder.Name("sealed"), std::filesystem::perms(0555));
    const std::string before = Everything();
    struct Case {
        std::vector<std::string> words;
        const char* reason;
    };
    for (const Case& bad : {Case{{"a", "a"}, "cannot write 'a': it is the same file as 'a'"},
                            {{"a", "./a"}, "it is the same file as 'a'"},
                            {{"a", "."}, "cannot write './a': it is the same file as 'a'"},
                            {{"a", "link"}, "it is the same file as 'a'"},
                            {{"link", "a"}, "it is the same file as 'link'"},
                            {{"a", "hard"}, "it is the same file as 'a'"},
                            {{"a", "hard", "--append"}, "it is the same file as 'a'"},
                            {{"b*a", "hard"}, "it is the same file as 'a'"},
                            {{"--join", "b", "a", "hard"}, "it is the same file as 'a'"},
                            {{"@list", "b"}, "it is the same file as"},
                            {{"a", "folder"}, "cannot write 'folder/a': it is a folder"},
                            {{"a", "dangling"}, "it is a link to a file that is not there"},
                            {{"a", "/dev/full"}, "cannot write '/dev/full': it is no ordinary file"},
                            {{"a", "pipe"}, "it is no ordinary file"},
                            {{"a", "missing/to"}, "No such file or directory"},
                            {{"a", "missing/"}, "there is no such folder"},
                            {{"a", "b/to"}, "Not a directory"},
                            {{"a", "b", "hard"}, "it is no folder, and several files are copied"},
                            {{"a", "b", "missing"}, "it is no folder, and several files are copied"},
                            {{"a", "./a", "folder"}, "two of the files are named 'a'"},
                            {{"--join", "a", "b", "folder"}, "has no name of its own"},
                            {{"@list", "folder"}, "'@list' has no name of its own"},
                            {{"a", "constant"}, "cannot write 'constant': Permission denied"},
                            {{"a", "constant", "--append"}, "Permission denied"},
                            {{"b", "sealed/new"}, "Permission denied"},
                            {{"b", "sealed"}, "Permission denied"},
                            {{"a", "Q:\\to"}, "the drive map has no folder for that letter"},
                            {{"a", "\\\\server\\share\\to"}, "a target on a share is named by the folder"},
                            {{"a", ""}, "the name is empty"}}) {
        const Outcome outcome = Copy(bad.words);
        EXPECT_EQ(outcome.exitCode, 4) << testing::PrintToString(bad.words);
        EXPECT_THAT(outcome.error, StartsWith("vxcio: copy: cannot write '"));
        EXPECT_THAT(outcome.error, HasSubstr(bad.reason)) << testing::PrintToString(bad.words);
        EXPECT_EQ(outcome.out, "");
    }
    EXPECT_EQ(Everything(), before);
}

TEST_F(ToolCopyTargetsTest, SourcesThatCannotBeReadLeaveTheTargetAlone) {
    m_Folder.Write("to", "old");
    for (const char* from : {"missing", "folder", "", "httpd", "x*"}) {
        const Outcome outcome = Copy({from, "to"});
        EXPECT_EQ(outcome.exitCode, 1) << from;
        EXPECT_THAT(outcome.error, StartsWith("vxcio: copy: "));
        EXPECT_EQ(m_Folder.Read("to"), "old");
    }
    for (const char* from : {"", ".", "..", "folder/"}) {
        EXPECT_THAT(Copy({from, "folder"}).error, HasSubstr("names no file")) << from;
    }
    EXPECT_FALSE(std::filesystem::exists(m_Folder.Name("to.vxcio-part")));
}

TEST_F(ToolCopyTargetsTest, OneBadSourceKeepsNotTheOthersFromBeingCopied) {
    const Outcome outcome = Copy({"missing", "a", "folder"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(m_Folder.Read("folder/a"), "content of a");
}

TEST_F(ToolCopyTargetsTest, AFileThatAnotherProgramWritesIsNotAppendedTo) {
    const int held = ::open(m_Folder.Name("b").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(::flock(held, LOCK_EX), 0);
    const Outcome outcome = Copy({"a", "b", "--append"});
    ::close(held);
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(outcome.error, "vxcio: copy: cannot write 'b': another program has it open\n");
    EXPECT_EQ(m_Folder.Read("b"), "content of b");
}

TEST_F(ToolCopyTargetsTest, AFileOfFourGibibytesIsAppendedToWhereItEnds) {
    m_Folder.Write("large", "");
    const std::uint64_t size = (4ull << 30) + 5;
    std::filesystem::resize_file(m_Folder.Name("large"), size);
    EXPECT_EQ(Copy({"a", "large", "--append", "--unbuffered", "--verify"}).exitCode, 0);
    EXPECT_EQ(std::filesystem::file_size(m_Folder.Name("large")), size + 12);
    EXPECT_EQ(RunTool({"cat", m_Folder.Name("large"), "--offset", std::to_string(size)}).out, "content of a");
}
