// Copies that are to be resumed: the data goes to a temporary name, which becomes the file's when it is
// whole.
#include "FileCopyFixture.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class FileCopyResumeTest : public FileCopyFixture {
protected:
    FileCopyResumeTest() {
        copy.resume = 1;
        Logon();
    }
    // Whether only the temporary name stands there once the transfer has begun.
    void WatchNames() {
        copy.onReport = [this](const CopyReport& report) {
            if (report.code == VXC_COPY_BEGINS) {
                EXPECT_TRUE(IsThere("clip.qlqlql"));
                EXPECT_EQ(std::filesystem::file_size(folder.Path() / "clip.qlqlql"), 0U);
                EXPECT_FALSE(IsThere("clip"));
            }
        };
    }
};

const std::vector<CopyReport> kWhole = {{VXC_COPY_PROGRESS, L"", 1000, 1000},
                                        {VXC_COPY_ENDED, kCopied, 1000, 1000}};

} // namespace

TEST_F(FileCopyResumeTest, AWholeFileGetsItsName) {
    Serve(1000);
    ftp->Start();
    WatchNames();
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, kWhole));
    EXPECT_THAT(Asked(), ElementsAre("TYPE I", "PASV", "SIZE /f", "RETR /f"));
    EXPECT_THAT(prompts.Asked(), IsEmpty());
    EXPECT_TRUE(HasPattern("clip", 1000));
    EXPECT_FALSE(IsThere("clip.qlqlql"));
    Finish();
}

TEST_F(FileCopyResumeTest, BlocksOfALargeFileArriveWhole) {
    constexpr int64 kSize = 3 * kMiB - 1;
    Serve(kSize);
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, {{VXC_COPY_PROGRESS, L"", kSize, kMiB},
                                                 {VXC_COPY_PROGRESS, L"", kSize, 2 * kMiB},
                                                 {VXC_COPY_PROGRESS, L"", kSize, kSize},
                                                 {VXC_COPY_ENDED, kCopied, kSize, kSize}}));
    EXPECT_TRUE(HasPattern("clip", kSize));
    Finish();
}

// The server is asked for no position, and never said not to know one.
TEST_F(FileCopyResumeTest, AYesToTheQuestionBeginsAnewAllTheSame) {
    folder.WritePattern("clip.qlqlql", 500, 9);
    Serve(1000);
    ftp->Start();
    prompts.SetAnswers({kPromptYes});
    WatchNames();
    FaultPlan plan;
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_THAT(prompts.Asked(), ElementsAre(Resume()));
    EXPECT_EQ(plan.CallsOn(Op::VXC_DeleteFileW, L"clip.qlqlql"), 0);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, kWhole));
    EXPECT_THAT(Asked(), ElementsAre("TYPE I", "PASV", "SIZE /f", "RETR /f"));
    EXPECT_TRUE(HasPattern("clip", 1000));
    EXPECT_FALSE(IsThere("clip.qlqlql"));
    Finish();
}

TEST_F(FileCopyResumeTest, ANoToTheQuestionDeletesTheTemporaryFileAndGoesOn) {
    folder.Write("clip.qlqlql", "half of it");
    Serve(1000);
    ftp->Start();
    WatchNames();
    FaultPlan plan;
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_THAT(prompts.Asked(), ElementsAre(Resume()));
    EXPECT_EQ(plan.CallsOn(Op::VXC_DeleteFileW, L"clip.qlqlql"), 1);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, kWhole));
    EXPECT_TRUE(HasPattern("clip", 1000));
    Finish();
}

TEST_F(FileCopyResumeTest, BothQuestionsComeAndTheTargetIsDeletedInBetween) {
    folder.Write("clip", "what was there");
    folder.Write("clip.qlqlql", "half of it");
    Serve(1000);
    ftp->Start();
    prompts.SetAnswers({0, 0});
    bool wasThere = true;
    prompts.onQuestion = [&] { wasThere = IsThere("clip"); };
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_THAT(prompts.Asked(), ElementsAre(Overwrite(), Resume()));
    EXPECT_FALSE(wasThere);
    EXPECT_TRUE(HasPattern("clip", 1000));
    Finish();
}

TEST_F(FileCopyResumeTest, AFileThatIsNotToBeOverwrittenStaysAndSoDoesTheTemporaryOne) {
    folder.Write("clip", "what was there");
    folder.Write("clip.qlqlql", "half of it");
    Transfer(1000).DExpectClosed();
    Quit();
    ftp->Start();
    EXPECT_EQ(Copy(), 1U);
    EXPECT_THAT(prompts.Asked(), ElementsAre(Overwrite()));
    EXPECT_EQ(folder.Read("clip"), "what was there");
    EXPECT_EQ(folder.Read("clip.qlqlql"), "half of it");
    Finish();
}

// ---- What is not whole keeps the temporary name ----

TEST_F(FileCopyResumeTest, AShortFileKeepsTheTemporaryName) {
    Transfer(2000).DSendPattern(1000).DFin().Say("226 done");
    Quit();
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(),
              Begun(copy.local, {{VXC_COPY_PROGRESS, L"", 2000, 1000}, {VXC_COPY_ENDED, L"", 2000, 1000}}));
    EXPECT_FALSE(IsThere("clip"));
    EXPECT_TRUE(HasPattern("clip.qlqlql", 1000));
    Finish();
}

TEST_F(FileCopyResumeTest, ACancelledFileKeepsTheTemporaryName) {
    Transfer(2 * kMiB).DSendPattern(2 * kMiB).DFin().Say("426 aborted");
    Quit();
    ftp->Start();
    copy.hasCancel = true;
    copy.onReport = [&](const CopyReport& report) { copy.cancel = report.done == kMiB ? 1 : 0; };
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, {{VXC_COPY_PROGRESS, L"", 2 * kMiB, kMiB},
                                                 {VXC_COPY_ENDED, kCancelled, 2 * kMiB, kMiB}}));
    EXPECT_FALSE(IsThere("clip"));
    EXPECT_TRUE(HasPattern("clip.qlqlql", kMiB));
    Finish();
}

TEST_F(FileCopyResumeTest, ACancelBehindTheLastBlockComesTooLate) {
    Serve(1000);
    ftp->Start();
    copy.hasCancel = true;
    copy.onReport = [&](const CopyReport& report) { copy.cancel = report.done == 1000 ? 1 : 0; };
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, kWhole));
    EXPECT_TRUE(HasPattern("clip", 1000));
    Finish();
}

TEST_F(FileCopyResumeTest, AFileOfUnknownSizeKeepsTheTemporaryName) {
    ftp->Passive().Expect("SIZE /f").Say("500 what").Expect("RETR /f").AcceptData().Say("150 here");
    ftp->DSendPattern(1000).DFin().Say("226 done");
    Quit();
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(),
              Begun(copy.local, {{VXC_COPY_PROGRESS, L"", 0, 1000}, {VXC_COPY_ENDED, L"", 0, 1000}}));
    EXPECT_FALSE(IsThere("clip"));
    EXPECT_TRUE(HasPattern("clip.qlqlql", 1000));
    Finish();
}

// ---- The sink ----

TEST_F(FileCopyResumeTest, WhereTheFirstOpenFailsASecondOneWithoutARingIsTried) {
    Serve(1000);
    ftp->Start();
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_CreateFileW).OnFile(L"clip.qlqlql"));
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, kWhole));
    EXPECT_TRUE(HasPattern("clip", 1000));
    Finish();
}

TEST_F(FileCopyResumeTest, ATargetThatCannotBeOpenedIsTriedTwiceAndTold) {
    Transfer(1000).DExpectClosed();
    Quit();
    ftp->Start();
    FaultPlan plan;
    const auto rule = plan.Add(Fail(Op::VXC_CreateFileW).OnFile(L"clip.qlqlql").FromThenOn());
    EXPECT_EQ(Copy(), VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(plan.Fired(rule), 2);
    EXPECT_THAT(copy.Reports(),
                ElementsAre(CopyReport{VXC_COPY_REFUSED, L"Open dest file " + copy.local + L" error!"}));
    Finish();
}
