// Copies from a server to a local file: what is said, asked and reported, and what stands there at the end.
#include "FileCopyFixture.h"
#include "support/HostTable.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class FileCopyTest : public FileCopyFixture {};

class FileCopyDiskTest : public FileCopyFixture {
protected:
    FileCopyDiskTest() : FileCopyFixture(false, TempFolder::Kind::Disk) {}
};

class FileCopySizeTest : public FileCopyFixture, public ::testing::WithParamInterface<int64> {};

// What a whole copy of so many bytes reports behind its beginning.
std::vector<CopyReport> Blocks(int64 size) {
    std::vector<CopyReport> reports;
    for (int64 at = 0; at < size; at += kMiB) {
        reports.push_back({VXC_COPY_PROGRESS, L"", size, std::min(at + kMiB, size)});
    }
    reports.push_back({VXC_COPY_ENDED, kCopied, size, size});
    return reports;
}

} // namespace

TEST_F(FileCopyTest, ANewFileIsCopiedWithoutAQuestion) {
    Logon();
    Serve(100'000);
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, Blocks(100'000)));
    EXPECT_THAT(Asked(), ElementsAre("TYPE I", "PASV", "SIZE /f", "RETR /f"));
    EXPECT_THAT(prompts.Asked(), IsEmpty());
    EXPECT_TRUE(HasPattern("clip", 100'000));
    EXPECT_FALSE(IsThere("clip.qlqlql"));
    Finish();
}

TEST_P(FileCopySizeTest, BlocksOf1MiBAreReportedOneByOne) {
    Logon();
    Serve(GetParam());
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, Blocks(GetParam())));
    EXPECT_TRUE(HasPattern("clip", GetParam()));
    Finish();
}

INSTANTIATE_TEST_SUITE_P(Sizes, FileCopySizeTest,
                         ::testing::Values(0, 1, kMiB - 1, kMiB, kMiB + 1, 3 * kMiB - 1, 3 * kMiB),
                         ::testing::PrintToStringParamName());

// The sink writes whole sectors past the cache.
TEST_F(FileCopyDiskTest, AFileEndsAtItsLastByteOnARealDisk) {
    Logon();
    Serve(1000);
    ftp->Start();
    FaultPlan plan;
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_TRUE(HasPattern("clip", 1000));
    EXPECT_GT(plan.CallsOn(Op::VXC_SetEndOfFile, L"clip"), 0); // which makes it so
    Finish();
}

// ---- What is there already ----

TEST_F(FileCopyTest, AFileThatIsNotToBeOverwrittenStaysAsItIs) {
    folder.Write("clip", "what was there");
    folder.Write("clip.qlqlql", "and there");
    Logon();
    Transfer(5).DExpectClosed();
    Quit();
    ftp->Start();
    prompts.SetAnswers({kPromptNo});
    std::vector<std::string> before;
    prompts.onQuestion = [&] { before = ftp->Lines(); };
    EXPECT_EQ(Copy(), 1U);
    EXPECT_THAT(prompts.Asked(), ElementsAre(Overwrite()));
    EXPECT_EQ(before.back(), "RETR /f"); // the source was open by then
    EXPECT_THAT(copy.Reports(), IsEmpty());
    EXPECT_EQ(folder.Read("clip"), "what was there");
    EXPECT_EQ(folder.Read("clip.qlqlql"), "and there");
    Finish();
}

class FileCopyAnswerTest : public FileCopyFixture, public ::testing::WithParamInterface<int> {};

TEST_P(FileCopyAnswerTest, EveryAnswerButNoOverwrites) {
    folder.Write("clip", std::string(5000, 'x'));
    Logon();
    Serve(5);
    ftp->Start();
    prompts.SetAnswers({GetParam()});
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_THAT(prompts.Asked(), ElementsAre(Overwrite()));
    EXPECT_EQ(copy.Reports(), Begun(copy.local, Blocks(5)));
    EXPECT_TRUE(HasPattern("clip", 5));
    Finish();
}

INSTANTIATE_TEST_SUITE_P(Answers, FileCopyAnswerTest, ::testing::Values(kPromptYes, 0, 2, -1),
                         [](const auto& entry) { return "Answer" + std::to_string(entry.index); });

// It is deleted, not emptied: another name of it keeps what stood there.
TEST_F(FileCopyTest, TheFormerTargetIsDeletedFirst) {
    folder.Write("other", "what was there");
    std::filesystem::create_hard_link(folder.Path() / "other", folder.Path() / "clip");
    Logon();
    Serve(5);
    ftp->Start();
    prompts.SetAnswers({kPromptYes});
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_TRUE(HasPattern("clip", 5));
    EXPECT_EQ(folder.Read("other"), "what was there");
    Finish();
}

TEST_F(FileCopyTest, WithoutAResumeATemporaryFileIsDeletedWithoutAQuestion) {
    folder.Write("clip.qlqlql", "half of it");
    Logon();
    Serve(5);
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_THAT(prompts.Asked(), IsEmpty());
    EXPECT_FALSE(IsThere("clip.qlqlql"));
    EXPECT_TRUE(HasPattern("clip", 5));
    Finish();
}

TEST_F(FileCopyTest, WithoutACallbackItIsAskedAllTheSame) {
    folder.Write("clip", "what was there");
    Logon();
    Serve(5);
    ftp->Start();
    prompts.SetAnswers({kPromptYes});
    copy.hasCallback = false;
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_THAT(prompts.Asked(), ElementsAre(Overwrite()));
    EXPECT_THAT(copy.Reports(), IsEmpty());
    EXPECT_TRUE(HasPattern("clip", 5));
    Finish();
}

// ---- Cancelling ----

class FileCopyCancelTest : public FileCopyFixture, public ::testing::WithParamInterface<int> {};

TEST_P(FileCopyCancelTest, ACopyEndsBeforeTheNextBlock) {
    const int64 done = GetParam() * kMiB;
    constexpr int64 kSize = 4 * kMiB;
    Logon();
    Transfer(kSize).DSendPattern(kSize).DFin().Say("426 aborted");
    Quit();
    ftp->Start();
    copy.hasCancel = true;
    copy.cancel = done == 0 ? 1 : 0;
    std::vector<CopyReport> expected;
    for (int64 at = kMiB; at <= done; at += kMiB) {
        expected.push_back({VXC_COPY_PROGRESS, L"", kSize, at});
    }
    expected.push_back({VXC_COPY_ENDED, kCancelled, kSize, done});
    copy.onReport = [&](const CopyReport& report) {
        if (report.code == VXC_COPY_PROGRESS && report.done == done) {
            copy.cancel = -5;
        }
    };
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, expected));
    EXPECT_TRUE(HasPattern("clip", done));
    Finish();
}

INSTANTIATE_TEST_SUITE_P(Blocks, FileCopyCancelTest, ::testing::Values(0, 1, 2, 3),
                         ::testing::PrintToStringParamName());

TEST_F(FileCopyTest, ACancelBehindTheLastBlockComesTooLate) {
    Logon();
    Serve(2 * kMiB);
    ftp->Start();
    copy.hasCancel = true;
    copy.onReport = [&](const CopyReport& report) { copy.cancel = report.done == 2 * kMiB ? 1 : 0; };
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, Blocks(2 * kMiB)));
    Finish();
}

TEST_F(FileCopyTest, ACancelThatNobodySetsIsNone) {
    Logon();
    Serve(5);
    ftp->Start();
    copy.hasCancel = true;
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, Blocks(5)));
    EXPECT_EQ(copy.cancel, 0);
    Finish();
}

// ---- Sizes that are not those of the file ----

TEST_F(FileCopyTest, WithoutASizeACopyIsNotKnownToBeWhole) {
    Logon();
    ftp->Passive().Expect("SIZE /f").Say("500 what").Expect("RETR /f").AcceptData().Say("150 here");
    ftp->DSendPattern(1000).DFin().Say("226 done");
    Quit();
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(),
              Begun(copy.local, {{VXC_COPY_PROGRESS, L"", 0, 1000}, {VXC_COPY_ENDED, L"", 0, 1000}}));
    EXPECT_TRUE(HasPattern("clip", 1000));
    Finish();
}

TEST_F(FileCopyTest, ASourceThatEndsEarlyEndsTheCopyWithoutAWord) {
    Logon();
    Transfer(2000).DSendPattern(1000).DFin().Say("226 done");
    Quit();
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(),
              Begun(copy.local, {{VXC_COPY_PROGRESS, L"", 2000, 1000}, {VXC_COPY_ENDED, L"", 2000, 1000}}));
    EXPECT_TRUE(HasPattern("clip", 1000));
    Finish();
}

TEST_F(FileCopyTest, ASourceThatEndsAtOnceEndsTheCopyWithoutAWord) {
    Logon();
    Transfer(2000).DFin().Say("226 done");
    Quit();
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, {{VXC_COPY_ENDED, L"", 2000, 0}}));
    EXPECT_TRUE(HasPattern("clip", 0));
    Finish();
}

// ---- Modes ----

TEST_F(FileCopyTest, InTheOrdinaryModeADownloadIsPassiveWhateverIsAsked) {
    Logon();
    Serve(5);
    ftp->Start();
    copy.passive = 0;
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_THAT(Asked(), ElementsAre("TYPE I", "PASV", "SIZE /f", "RETR /f"));
    Finish();
}

TEST_F(FileCopyTest, InTheOtherModesTransfersAreActiveAndNothingIsResumed) {
    folder.Write("clip.qlqlql", "half of it");
    Logon();
    ftp->Active().Expect("SIZE /f").Say("213 5").Expect("RETR /f").Dial().Say("150 here");
    ftp->DSendPattern(5).DFin().Say("226 done");
    Quit();
    ftp->Start();
    copy.mode = FTPMODE_DELAYED;
    copy.resume = 1;
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, Blocks(5)));
    EXPECT_THAT(prompts.Asked(), IsEmpty());
    EXPECT_FALSE(IsThere("clip.qlqlql"));
    EXPECT_TRUE(HasPattern("clip", 5));
    Finish(9 * 300); // each reply is read 300 ms late: 3 of the logon, 6 of the transfer
}

// ---- Names ----

TEST_F(FileCopyTest, AHostsOwnFileFunctionsWriteTheFile) {
    HostTable host(L"host.mxf");
    copy.local = host.Tagged();
    Logon();
    Serve(kMiB + 1);
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, Blocks(kMiB + 1)));
    const std::vector<uint8> content = host.Content();
    EXPECT_TRUE(std::string(content.begin(), content.end()) == FtpScript::Pattern(kMiB + 1));
    EXPECT_EQ(host.OpenHandles(), 0);
    Finish();
}
