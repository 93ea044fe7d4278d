// The library's log about copies, in plain words.
#include "CopyWatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace vxcio::tool;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class CopyWatchTest : public testing::Test {
protected:
    std::vector<std::string> m_Told;
    CopyWatch m_Watch{[this](const std::string& sentence) { m_Told.push_back(sentence); }};

    void Trace(const std::string& text) { m_Watch.Take(INFOTYPE_TRACE, text); }
};

} // namespace

TEST_F(CopyWatchTest, ASlowCopyIsGivenUpAndComesBack) {
    Trace("this->1f40:ReadFileWithTwoHandle--Change to File1 Read\n");
    EXPECT_THAT(m_Told, IsEmpty()); // the first read goes somewhere, too
    Trace("this->1f40:ReadFileWithTwoHandle()--Read File1(/a (1)/clip) time out(wait 2000ms)\n");
    Trace("this->1f40:ReadFileWithTwoHandle()--Begin Change to File2(/b/clip) Read\n");
    Trace("this->1f40:ReadFileWithTwoHandle()--End Change to File2(/b/clip) Read\n");
    EXPECT_FALSE(m_Watch.TakeTrouble()); // the other copy delivered
    Trace("this->1f40:ReadFileWithTwoHandle--Change to File1 Read\n");
    EXPECT_THAT(m_Told,
                ElementsAre("copy 1 '/a (1)/clip' did not answer within 2000 ms: given up until it does",
                            "reading goes on from copy 2 '/b/clip'",
                            "copy 1 is back: reading goes on from it"));
}

TEST_F(CopyWatchTest, BothSlowIsTrouble) {
    Trace("this->1:ReadFileWithTwoHandle()--Read File1(a) time out(wait 2000ms)\n");
    Trace("this->1:ReadFileWithTwoHandle()--Change to File2(b) Time out!!!\n");
    EXPECT_EQ(m_Told.back(), "copy 2 'b' did not answer within 10 s either: given up until it does");
    EXPECT_TRUE(m_Watch.TakeTrouble());
    EXPECT_FALSE(m_Watch.TakeTrouble());
}

TEST_F(CopyWatchTest, AFailedFirstCopyIsGivenUpUntilItIsOpenedAgain) {
    Trace("this->1:ReadFile0ByThread -- Begin VXC_CloseHandle(/a/clip)");
    EXPECT_TRUE(m_Watch.TakeTrouble());
    Trace("this->1:ReadFileWithTwoHandle--Change to File2 Read\n");
    Trace("this->1:CFileSource--ReadFileByThread Re CreateFile(/a/clip) Error, need create again");
    Trace("this->1:CFileSource--ReadFileByThread Re CreateFile(/a/clip) OK");
    Trace("this->1:ReadFileWithTwoHandle--Change to File1 Read\n");
    EXPECT_THAT(m_Told,
                ElementsAre("copy 1 '/a/clip' failed: given up until it can be opened again",
                            "reading goes on from copy 2", "copy 1 '/a/clip' is back: it was opened again"));
}

TEST_F(CopyWatchTest, SourcesAreKeptApart) {
    Trace("this->1:ReadFileWithTwoHandle()--Read File1(a) time out(wait 2000ms)\n");
    m_Told.clear();
    Trace("this->2:ReadFileWithTwoHandle--Change to File1 Read\n");
    EXPECT_THAT(m_Told, IsEmpty());
    Trace("this->1:ReadFileWithTwoHandle--Change to File1 Read\n");
    EXPECT_THAT(m_Told, ElementsAre("copy 1 is back: reading goes on from it"));
}

TEST_F(CopyWatchTest, ACopyThatCouldNotBeOpenedIsRemembered) {
    m_Watch.Take(INFOTYPE_ERROR, "CQLSoftFileHandle::CreateFile(/d) Time Out!!!, WaitTime: 1000 ms\n");
    Trace("this->0x1:CFileSource::OpenFile() two file but only one is OK: File1:/a(Error), File2:/b(OK)");
    Trace("this->0x2:CFileSource::OpenFile() two file but only one is OK: File1:/c(OK), File2:/d(error)");
    const std::vector<LostCopy> lost = m_Watch.TakeLost();
    ASSERT_EQ(lost.size(), 2u);
    EXPECT_EQ(lost[0].number, 1);
    EXPECT_EQ(lost[0].name, "/a");
    EXPECT_FALSE(lost[0].timedOut);
    EXPECT_EQ(lost[1].number, 2);
    EXPECT_EQ(lost[1].name, "/d");
    EXPECT_TRUE(lost[1].timedOut);
    EXPECT_THAT(m_Watch.TakeLost(), IsEmpty());
}

TEST_F(CopyWatchTest, CopiesOfDifferentSizeAreTold) {
    Trace("this->0x1:CFileSource::OpenFile()--Two File Size not same, double file mode may be wrong");
    EXPECT_THAT(m_Told, ElementsAre("the two copies differ in size"));
}

TEST_F(CopyWatchTest, ErrorsAreTroubleAndTheEndOfAFileIsNone) {
    m_Watch.Take(INFOTYPE_ERROR, "ReadFileWithTwoHandle(): pos = 5, want 5 bytes, return 0 bytes(x)");
    Trace("GetDiskSectorSize(clip)--1");
    EXPECT_FALSE(m_Watch.TakeTrouble());
    Trace("ReadFile(nNumberOfBytes=5) error, FileName is[clip], Description is[x]");
    EXPECT_TRUE(m_Watch.TakeTrouble());
    Trace("::SetFilePointer() error(x)");
    EXPECT_TRUE(m_Watch.TakeTrouble());
    m_Watch.Take(INFOTYPE_ERROR, "CQLSoftFileHandle::ReadFile(clip) Time out, WaitTime is 1000 ms !!!");
    EXPECT_TRUE(m_Watch.TakeTrouble());
    EXPECT_THAT(m_Told, IsEmpty());
}
