// Copies to a server, which reach it with questions and deletions and end there.
#include "FileCopyFixture.h"

#include <stdexcept>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr uint32 kNotConnected = 0x80000008;

class FileCopyUploadTest : public FileCopyFixture {
protected:
    FileCopyUploadTest() {
        folder.Write("clip", "what is to be sent");
        copy.upload = 1;
    }
    // A question whether the file is there, and the answer.
    void Exists(const std::string& name) {
        ftp->Expect("RNFR " + name).Say("350 and now").Expect("RNTO " + name).Say("250 done");
    }
    void Missing(const std::string& name) { ftp->Expect("RNFR " + name).Say("550 no"); }
    void Delete(const std::string& name) { ftp->Expect("DELE " + name).Say("250 done"); }
    // The end of each upload that may overwrite.
    void ExpectEnd() {
        EXPECT_EQ(Copy(), kNotConnected);
        EXPECT_THAT(copy.Reports(), ElementsAre(CopyReport{VXC_COPY_REFUSED, L"Open dest file /f error!"}));
        EXPECT_EQ(folder.Read("clip"), "what is to be sent");
        Finish();
    }
};

} // namespace

TEST_F(FileCopyUploadTest, ANewFileIsLookedForDeletedAndNotWritten) {
    Logon();
    Missing("/f");
    Delete("/f");
    Delete("/f.qlqlql");
    Quit();
    ftp->Start();
    ExpectEnd();
    EXPECT_THAT(prompts.Asked(), IsEmpty());
}

TEST_F(FileCopyUploadTest, AYesDeletesTheOldFileBeforeTheUploadFails) {
    Logon();
    Exists("/f");
    Delete("/f");
    Delete("/f.qlqlql");
    Quit();
    ftp->Start();
    prompts.SetAnswers({kPromptYes});
    prompts.onQuestion = [&] {
        EXPECT_EQ(ftp->Lines().back(), "RNTO /f");
        EXPECT_THAT(copy.Reports(), IsEmpty());
    };
    copy.onReport = [&](const CopyReport&) { EXPECT_EQ(ftp->Lines().back(), "DELE /f.qlqlql"); };
    ExpectEnd();
    EXPECT_THAT(prompts.Asked(), ElementsAre(Overwrite()));
}

TEST_F(FileCopyUploadTest, ANoDeletesNothing) {
    Logon();
    Exists("/f");
    Quit();
    ftp->Start();
    EXPECT_EQ(Copy(), 1U);
    EXPECT_THAT(prompts.Asked(), ElementsAre(Overwrite()));
    EXPECT_THAT(copy.Reports(), IsEmpty());
    Finish();
}

TEST_F(FileCopyUploadTest, ADeletionThatIsRefusedChangesNothing) {
    Logon();
    Exists("/f");
    ftp->Expect("DELE /f").Say("550 no").Expect("DELE /f.qlqlql").Say("550 no");
    Quit();
    ftp->Start();
    prompts.SetAnswers({0});
    ExpectEnd();
}

TEST_F(FileCopyUploadTest, AResumeLooksForTheTemporaryFileToo) {
    Logon();
    Exists("/f");
    Delete("/f");
    Exists("/f.qlqlql");
    Quit();
    ftp->Start();
    copy.resume = 1;
    prompts.SetAnswers({kPromptYes, kPromptYes});
    ExpectEnd();
    EXPECT_THAT(prompts.Asked(), ElementsAre(Overwrite(), Resume()));
}

TEST_F(FileCopyUploadTest, AResumeThatIsNotWantedDeletesTheTemporaryFile) {
    Logon();
    Missing("/f");
    Delete("/f");
    Exists("/f.qlqlql");
    Delete("/f.qlqlql");
    Quit();
    ftp->Start();
    copy.resume = 1;
    ExpectEnd();
    EXPECT_THAT(prompts.Asked(), ElementsAre(Resume()));
}

TEST_F(FileCopyUploadTest, AResumeWithoutATemporaryFileAsksNothing) {
    Logon();
    Missing("/f");
    Delete("/f");
    Missing("/f.qlqlql");
    Quit();
    ftp->Start();
    copy.resume = 1;
    ExpectEnd();
    EXPECT_THAT(prompts.Asked(), IsEmpty());
}

// A device's files lie in a folder of their own where they are deleted, and not where they are looked for.
TEST_F(FileCopyUploadTest, OtherModesResumeNothing) {
    ftp->Logon("MOVIE", "anonymous");
    Missing("/f");
    Delete("/explodedFile/EXT://f");
    Delete("/explodedFile/EXT://f.qlqlql");
    Quit();
    ftp->Start();
    copy.mode = FTPMODE_EXPLODED;
    copy.resume = 1;
    EXPECT_EQ(Copy(), kNotConnected);
    EXPECT_THAT(copy.Reports(), ElementsAre(CopyReport{VXC_COPY_REFUSED, L"Open dest file /f error!"}));
    Finish(7 * 300); // each reply is read 300 ms late
}

TEST_F(FileCopyUploadTest, WithoutALocalFileNobodyIsCalled) {
    copy.local = folder.Wide("missing");
    ftp->RefuseControl();
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_OPEN_READ);
    EXPECT_THAT(copy.Reports(),
                ElementsAre(CopyReport{VXC_COPY_REFUSED, L"Open source file " + copy.local + L" error!"}));
    EXPECT_THAT(ftp->Story(), IsEmpty());
    Finish();
}

TEST_F(FileCopyUploadTest, AServerThatRefusesTheConnectionIsToldByTheResultAlone) {
    ftp->RefuseControl();
    ftp->Start();
    EXPECT_EQ(Copy(), 0x80000700U);
    EXPECT_THAT(copy.Reports(), IsEmpty());
    Finish(15000);
}

TEST_F(FileCopyUploadTest, WithoutACallbackTheQuestionsCome) {
    Logon();
    Exists("/f");
    Delete("/f");
    Delete("/f.qlqlql");
    Quit();
    ftp->Start();
    copy.hasCallback = false;
    prompts.SetAnswers({kPromptYes});
    EXPECT_EQ(Copy(), kNotConnected);
    EXPECT_THAT(prompts.Asked(), ElementsAre(Overwrite()));
    Finish();
}

TEST_F(FileCopyUploadTest, WhatAPromptThrowsComesThroughBehindAQuit) {
    Logon();
    Exists("/f");
    Quit();
    ftp->Start();
    prompts.onQuestion = [] { throw std::runtime_error("of the host"); };
    EXPECT_THROW(Copy(), std::runtime_error);
    Finish();
}

TEST_F(FileCopyUploadTest, NamesThatAreNullOpenNothing) {
    ftp->Start();
    copy.hasNames = false;
    EXPECT_NE(Copy(), VXC_STATUS_OK);
    ASSERT_EQ(copy.Reports().size(), 1U);
    EXPECT_EQ(copy.Reports()[0].code, VXC_COPY_REFUSED);
    EXPECT_THAT(ftp->Story(), IsEmpty());
    ftp->End();
}
