// Copies from a server that fail: what is told of it, and what is left.
#include "FileCopyFixture.h"
#include "support/HostTable.h"
#include "support/MemoryLack.h"

#include <stdexcept>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class FileCopyFaultsTest : public FileCopyFixture {};

} // namespace

// ---- The beginning ----

TEST_F(FileCopyFaultsTest, AServerThatRefusesTheConnectionIsToldByTheResultAlone) {
    folder.Write("clip", "what was there");
    ftp->RefuseControl();
    ftp->Start();
    EXPECT_EQ(Copy(), 0x80000700U);
    EXPECT_THAT(copy.Reports(), IsEmpty());
    EXPECT_THAT(prompts.Asked(), IsEmpty());
    EXPECT_EQ(folder.Read("clip"), "what was there");
    Finish(15000); // for the word that the end of the session has
}

TEST_F(FileCopyFaultsTest, ALogonThatIsRefusedIsToldByTheResultAlone) {
    ftp->Say("220 ready").Expect("USER u").Say("331").Expect("PASS p").Say("530 no");
    Quit();
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_FTP_PASSWORD);
    EXPECT_THAT(copy.Reports(), IsEmpty());
    EXPECT_FALSE(IsThere("clip"));
    Finish();
}

TEST_F(FileCopyFaultsTest, AFileThatTheServerDoesNotHaveIsTold) {
    Logon();
    ftp->Passive().Expect("SIZE /f").Say("550 no").Expect("RETR /f").AcceptData().Say("550 no such file");
    Quit();
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_FTP_RETR);
    EXPECT_THAT(copy.Reports(), ElementsAre(CopyReport{VXC_COPY_REFUSED, L"Open source file /f error!"}));
    EXPECT_FALSE(IsThere("clip"));
    Finish();
}

TEST_F(FileCopyFaultsTest, AFileThatTheServerDoesNotHaveTouchesNothingHere) {
    folder.Write("clip", "what was there");
    Logon();
    ftp->Passive().Expect("SIZE /f").Say("550 no").Expect("RETR /f").AcceptData().Say("550 no such file");
    Quit();
    ftp->Start();
    copy.hasCallback = false;
    EXPECT_EQ(Copy(), VXC_STATUS_FTP_RETR);
    EXPECT_THAT(prompts.Asked(), IsEmpty());
    EXPECT_EQ(folder.Read("clip"), "what was there");
    Finish();
}

TEST_F(FileCopyFaultsTest, ATargetThatCannotBeOpenedIsTold) {
    copy.local = folder.Wide("missing/clip");
    Logon();
    Transfer(1000).DExpectClosed();
    Quit();
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_OPEN_WRITE);
    EXPECT_THAT(copy.Reports(),
                ElementsAre(CopyReport{VXC_COPY_REFUSED, L"Open dest file " + copy.local + L" error!"}));
    Finish();
}

// ---- Names ----

TEST_F(FileCopyFaultsTest, NamesThatAreNullAreEmptyOnes) {
    Logon();
    ftp->Passive().Expect("SIZE ").Say("550 no").Expect("RETR ").AcceptData().Say("550 no");
    Quit();
    ftp->Start();
    copy.hasNames = false;
    EXPECT_EQ(Copy(), VXC_STATUS_FTP_RETR);
    ASSERT_EQ(copy.Reports().size(), 1U);
    EXPECT_EQ(copy.Reports()[0].code, VXC_COPY_REFUSED);
    Finish();
}

// Texts have 8191 characters at most.
TEST_F(FileCopyFaultsTest, AVeryLongNameIsCutInReports) {
    copy.local = std::wstring(9000, L'l');
    Logon();
    Transfer(1000).DExpectClosed();
    Quit();
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_OPEN_WRITE);
    const std::wstring whole = L"Open dest file " + copy.local;
    EXPECT_THAT(copy.Reports(), ElementsAre(CopyReport{VXC_COPY_REFUSED, whole.substr(0, 8191)}));
    Finish();
}

// ---- The disk ----

TEST_F(FileCopyFaultsTest, AWriteThatFailsIsMetByTheNextOne) {
    constexpr int64 kSize = 3 * kMiB;
    Logon();
    Transfer(kSize).DSendPattern(kSize).DFin().Say("426 aborted");
    Quit();
    ftp->Start();
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_WriteFile).OnFile(L"clip").FromThenOn().WithError(112));
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, {{VXC_COPY_PROGRESS, L"", kSize, kMiB},
                                                 {VXC_COPY_ENDED, kNotSent, kSize, kMiB}}));
    Finish();
}

TEST_F(FileCopyFaultsTest, AHostThatWritesLessThanAskedEndsTheCopy) {
    constexpr int64 kSize = 3 * kMiB;
    HostTable host;
    host.ShortenWrites(5000);
    copy.local = host.Tagged();
    Logon();
    Transfer(kSize).DSendPattern(kSize).DFin().Say("426 aborted");
    Quit();
    ftp->Start();
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    ASSERT_FALSE(copy.Reports().empty());
    EXPECT_EQ(copy.Reports().back(), (CopyReport{VXC_COPY_ENDED, kNotSent, kSize, kMiB}));
    EXPECT_EQ(host.OpenHandles(), 0);
    Finish();
}

namespace {

// A failure that comes when no write is left to meet it.
struct LateFault {
    const char* name;
    int64 size;
    int resume;
    Op op;
    int nth;
};

class FileCopyLateFaultTest : public FileCopyFixture, public ::testing::WithParamInterface<LateFault> {};

} // namespace

// The sink takes what it is given, and its close gives 0 whatever became of that: who must know looks at the
// file.
TEST_P(FileCopyLateFaultTest, WhatIsLostBehindTheLastWriteIsToldByNoReport) {
    const LateFault& fault = GetParam();
    Logon();
    Serve(fault.size);
    ftp->Start();
    copy.resume = fault.resume;
    FaultPlan plan;
    const std::wstring file = fault.resume != 0 ? L"clip.qlqlql" : L"clip";
    const auto rule = plan.Add(Fail(fault.op).OnFile(file).Nth(fault.nth).FromThenOn());
    EXPECT_EQ(Copy(), VXC_STATUS_OK);
    EXPECT_GE(plan.Fired(rule), 1);
    EXPECT_EQ(copy.Reports(), Begun(copy.local, {{VXC_COPY_PROGRESS, L"", fault.size, fault.size},
                                                 {VXC_COPY_ENDED, kCopied, fault.size, fault.size}}));
    EXPECT_FALSE(HasPattern("clip", fault.size));
    EXPECT_FALSE(IsThere("clip.qlqlql"));
    Finish();
}

INSTANTIATE_TEST_SUITE_P(Faults, FileCopyLateFaultTest,
                         ::testing::Values(LateFault{"WholeSectors", kMiB, 0, Op::VXC_WriteFile, 1},
                                           LateFault{"LastSector", kMiB - 1, 0, Op::VXC_WriteFile, 2},
                                           LateFault{"OnlySector", 1000, 0, Op::VXC_WriteFile, 1},
                                           LateFault{"Cut", 1000, 0, Op::VXC_CreateFileW, 2},
                                           LateFault{"RingsFirst", 1000, 1, Op::VXC_WriteFile, 1},
                                           LateFault{"RingsLast", kMiB, 1, Op::VXC_WriteFile, 2},
                                           LateFault{"RingsCut", 1000, 1, Op::VXC_CreateFileW, 2}),
                         [](const auto& entry) { return std::string(entry.param.name); });

// A question is asked whole or not at all, and without one nothing is overwritten; but where memory lacks to
// look for the target (a call and its path), that counts as missing.
TEST_F(FileCopyFaultsTest, WhereMemoryLacksForTheQuestionNothingIsOverwritten) {
    int questions = 0;
    int unasked = 0;
    for (int nth = 1;; ++nth) {
        folder.Write("clip", "what was there");
        ftp.reset(); // one at a time
        ftp.emplace();
        Logon();
        Transfer(5).DSendPattern(5).DFin().Say("226 done");
        Quit();
        ftp->Start();
        prompts.SetAnswers({kPromptYes});
        uint32 result = 0;
        bool came = false;
        {
            const MemoryLack lack(nth);
            result = Copy();
            came = lack.Came();
        }
        if (!prompts.Asked().empty()) {
            ASSERT_THAT(prompts.Asked(), ElementsAre(Overwrite())) << nth;
            ++questions;
        } else if (result == VXC_STATUS_OK) {
            ++unasked;
        } else {
            ASSERT_EQ(folder.Read("clip"), "what was there") << nth;
        }
        const bool isWhole = !copy.Reports().empty() && copy.Reports().back().text == kCopied;
        // Where it lacks for the cut at the end, zeros stand behind the file up to a whole sector.
        ASSERT_TRUE(!isWhole || folder.Read("clip").starts_with(FtpScript::Pattern(5))) << nth;
        ftp->End(); // what is said of it where memory lacks is up to each command
        if (!came) {
            ASSERT_TRUE(isWhole);
            break;
        }
        ASSERT_LT(nth, 2000);
    }
    EXPECT_GT(questions, 10);
    EXPECT_EQ(unasked, 2);
}

// ---- A callback or prompt that throws ----

namespace {

struct Thrown {
    const char* name;
    int report; // 0: the prompt
};

class FileCopyThrowTest : public FileCopyFixture, public ::testing::WithParamInterface<Thrown> {};

} // namespace

TEST_P(FileCopyThrowTest, ItComesThroughAndNothingIsLeft) {
    folder.Write("clip", "what was there");
    Logon();
    Transfer(2 * kMiB).DSendPattern(2 * kMiB).DFin().Say("226 done");
    Quit();
    ftp->Start();
    prompts.SetAnswers({kPromptYes});
    if (GetParam().report == 0) {
        prompts.onQuestion = [] { throw std::runtime_error("of the host"); };
    }
    copy.onReport = [&](const CopyReport&) {
        if (std::ssize(copy.Reports()) == GetParam().report) {
            throw std::runtime_error("of the host");
        }
    };
    EXPECT_THROW(Copy(), std::runtime_error);
    EXPECT_EQ(std::ssize(copy.Reports()), GetParam().report);
    Finish();
}

INSTANTIATE_TEST_SUITE_P(Reports, FileCopyThrowTest,
                         ::testing::Values(Thrown{"Prompt", 0}, Thrown{"Opened", 1}, Thrown{"PleaseWait", 2},
                                           Thrown{"Begins", 3}, Thrown{"FirstBlock", 4},
                                           Thrown{"LastBlock", 5}, Thrown{"Ended", 6}),
                         [](const auto& entry) { return std::string(entry.param.name); });

TEST_F(FileCopyFaultsTest, AThrowOutOfARefusalComesThrough) {
    Logon();
    ftp->Passive().Expect("SIZE /f").Say("550 no").Expect("RETR /f").AcceptData().Say("550 no such file");
    Quit();
    ftp->Start();
    copy.onReport = [](const CopyReport&) { throw std::runtime_error("of the host"); };
    EXPECT_THROW(Copy(), std::runtime_error);
    Finish();
}

TEST_F(FileCopyFaultsTest, AThrowOutOfARefusalOfTheTargetComesThrough) {
    copy.local = folder.Wide("missing/clip");
    Logon();
    Transfer(1000).DExpectClosed();
    Quit();
    ftp->Start();
    copy.onReport = [](const CopyReport&) { throw std::runtime_error("of the host"); };
    EXPECT_THROW(Copy(), std::runtime_error);
    Finish();
}

// ---- A source that falls silent ----

namespace {

class FileCopyDeadSourceTest : public FileCopyFixture, public ::testing::WithParamInterface<int> {
protected:
    FileCopyDeadSourceTest() : FileCopyFixture(true) { settings.Set(L"FtpTimeOut", L"1000"); }
};

} // namespace

TEST_P(FileCopyDeadSourceTest, TheCopyEndsWithoutAWordAndWithoutAnError) {
    constexpr int64 kSize = 3 * kMiB;
    copy.resume = GetParam();
    Logon();
    Transfer(kSize).DSendPattern(kMiB + 5).DHold();
    Quit();
    ftp->Start();
    uint32 result = 1;
    std::thread copying([&] { result = Copy(); });
    EXPECT_TRUE(ftp->WaitUntilReceiverWaits());
    EXPECT_TRUE(ftp->Clock().WaitForSleepers(1));
    EXPECT_EQ(ftp->Clock().Advance(1000), 1);
    copying.join();
    EXPECT_EQ(result, VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports(),
              Begun(copy.local, {{VXC_COPY_PROGRESS, L"", kSize, kMiB}, {VXC_COPY_ENDED, L"", kSize, kMiB}}));
    EXPECT_TRUE(HasPattern(copy.resume != 0 ? "clip.qlqlql" : "clip", kMiB));
    EXPECT_NE(IsThere("clip"), IsThere("clip.qlqlql"));
    Finish(1000);
}

INSTANTIATE_TEST_SUITE_P(Ways, FileCopyDeadSourceTest, ::testing::Values(0, 1),
                         [](const auto& entry) { return entry.param == 0 ? "Anew" : "Resumed"; });
