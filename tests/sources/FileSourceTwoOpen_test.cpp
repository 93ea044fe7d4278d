// Opening and closing two copies of one file.
#include "sources/TwoCopiesFixture.h"

#include "support/HostTable.h"
#include "support/MemoryLack.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Inspector = FileSourceInspector;

namespace {

class TwoHandleOpenTest : public TwoCopiesFixture {
protected:
    std::wstring OnlyOne(const std::wstring& first, const wchar_t* how1, const std::wstring& second,
                         const wchar_t* how2) const {
        return Line(L":CFileSource::OpenFile() two file but only one is OK: File1:" + first + how1 +
                        L", File2:" + second + how2,
                    true);
    }
    std::wstring Zero(const std::wstring& name) const {
        return Line(L":CFileSource: File Size of " + name + L" is Zero !!!\n", true);
    }
    std::wstring SizesDiffer() const {
        return Line(L":CFileSource::OpenFile()--Two File Size not same, double file mode may be wrong", true);
    }
    std::wstring Succeeded() const {
        return Line(L":CFileSource: DoubleHandleMode OpenFile(File1:" + Copy1() + L", File2:" + Copy2() +
                        L") Sucessed",
                    true);
    }
};

} // namespace

TEST_F(TwoHandleOpenTest, BothCopiesStayInUse) {
    LogCapture log;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_THAT(OwnLines(log), ElementsAre(Succeeded()));
    EXPECT_EQ(Two::TwoHandle(source), 1U);
    EXPECT_EQ(LastFile(), -1);
    EXPECT_EQ(Inspector::Inner(source).m_qwFileSize, kSize);
    EXPECT_EQ(Read(kSize), content);
    EXPECT_TRUE(Read(1).empty());
}

TEST_F(TwoHandleOpenTest, BothHandlesHaveWorkers) {
    LogCapture log;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_TRUE(log.Contains(L"CQLSoftFileHandle::CreateFile(" + Copy1() + L") is Double Thread Mode"));
    EXPECT_TRUE(log.Contains(L"CQLSoftFileHandle::CreateFile(" + Copy2() + L") is Double Thread Mode"));
}

TEST_F(TwoHandleOpenTest, TheSecondCopyIsOpenedLikeTheFirst) {
    // A writer that shares with readers alone would exclude an open that shares less than both.
    CQLSoftFileHandle writer;
    ASSERT_EQ(writer.CreateFile(Copy2().c_str(), VXC_GENERIC_WRITE, VXC_FILE_SHARE_READ, nullptr,
                                VXC_OPEN_EXISTING, 0, nullptr, 0),
              VXC_STATUS_OK);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Two::TwoHandle(source), 1U);
}

TEST_F(TwoHandleOpenTest, TheThresholdIsTheSettingOrTwoSeconds) {
    EXPECT_EQ(Two::Threshold(source), 200U);
    SettingsScope settings;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Two::Threshold(source), 2000U);
    settings.Set(L"DoubleRdThreshold", L"350");
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Two::Threshold(source), 350U);
    settings.Set(L"DoubleRdThreshold", L"0");
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Two::Threshold(source), 2000U);
}

TEST_F(TwoHandleOpenTest, AnOpenOfOneFileLeavesTheThreshold) {
    const SettingsScope settings({{L"DoubleRdThreshold", L"350"}});
    ASSERT_EQ(source.OpenFile(Copy1().c_str(), 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_EQ(Two::Threshold(source), 200U);
}

TEST_F(TwoHandleOpenTest, WithBothMissingTheOpenFailsAndReadsGiveNothing) {
    const std::wstring first = folder.Wide("none1");
    const std::wstring second = folder.Wide("none2");
    LogCapture log;
    EXPECT_EQ(Open(first, second), VXC_STATUS_OPEN_READ);
    EXPECT_THAT(OwnLines(log), ElementsAre(Line(L":CFileSource: DoubleHandleMode OpenFile(File1:" + first +
                                                    L", File2:" + second + L") all failed",
                                                true)));
    EXPECT_EQ(Two::TwoHandle(source), 1U);
    EXPECT_NE(Two::File(source, 0), nullptr);
    EXPECT_NE(Two::File(source, 1), nullptr);
    EXPECT_TRUE(Read(10).empty());
    AlignedBuffer block(10, 0);
    EXPECT_EQ(Two::ReadInto(source, block, 10), 0U);
    EXPECT_EQ(source.GetFileSize(), 0U);
    log.Clear();
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    const std::wstring close =
        L":CFileSource::CloseFile(): DoubleHandleMode: File1:" + first + L", File2:" + second;
    EXPECT_EQ(log.Texts().front(), Line(close + L" -- Begin"));
    EXPECT_EQ(log.Texts().back(), Line(close + L" -- End"));
    EXPECT_EQ(Two::File(source, 0), nullptr);
    EXPECT_EQ(Two::File(source, 1), nullptr);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
}

TEST_F(TwoHandleOpenTest, WithBothEmptyTheOpenFailsWithACodeOfItsOwn) {
    folder.Write("copy1", "");
    folder.Write("copy2", "");
    LogCapture log;
    EXPECT_EQ(Open(), VXC_STATUS_EMPTY_FILE);
    EXPECT_EQ(VXC_STATUS_EMPTY_FILE, 0x80000102U);
    EXPECT_THAT(OwnLines(log), ElementsAre(Zero(Copy1()), Zero(Copy2()),
                                           Line(L":CFileSource: DoubleHandleMode OpenFile(File1:" + Copy1() +
                                                    L", File2:" + Copy2() + L") all failed",
                                                true)));
}

TEST_F(TwoHandleOpenTest, TheStatusOfTwoFailedOpensIsThatOfTheFirst) {
    folder.Write("copy1", "");
    EXPECT_EQ(Open(Copy1(), folder.Wide("none")), VXC_STATUS_EMPTY_FILE);
    EXPECT_EQ(Open(folder.Wide("none"), Copy1()), VXC_STATUS_OPEN_READ);
}

TEST_F(TwoHandleOpenTest, AMissingFirstCopyLeavesItsPlaceToTheSecond) {
    const std::wstring missing = folder.Wide("none");
    LogCapture log;
    ASSERT_EQ(Open(missing, Copy2()), VXC_STATUS_OK);
    EXPECT_THAT(OwnLines(log), ElementsAre(OnlyOne(missing, L"(Error)", Copy2(), L"(OK)")));
    EXPECT_EQ(Two::TwoHandle(source), 0U);
    EXPECT_EQ(Inspector::File1(source), Copy2());
    EXPECT_EQ(Two::File(source, 1), nullptr);
    EXPECT_EQ(Inspector::Inner(source).m_qwFileSize, 0U); // until somebody asks
    EXPECT_EQ(source.GetFileSize(), kSize);
    EXPECT_EQ(Read(kSize), content);
    log.Clear();
    source.CloseFile();
    EXPECT_EQ(log.Texts().front(),
              Line(L":CFileSource::CloseFile(): SingleHandleMode: File1:" + Copy2() + L" -- Begin"));
}

TEST_F(TwoHandleOpenTest, AMissingSecondCopyLeavesTheFirstAlone) {
    const std::wstring missing = folder.Wide("none");
    LogCapture log;
    ASSERT_EQ(Open(Copy1(), missing), VXC_STATUS_OK);
    EXPECT_THAT(OwnLines(log), ElementsAre(OnlyOne(Copy1(), L"(OK)", missing, L"(error)")));
    EXPECT_EQ(Two::TwoHandle(source), 0U);
    EXPECT_NE(Two::File(source, 1), nullptr); // unused, until the close
    EXPECT_EQ(Inspector::Inner(source).m_qwFileSize, kSize);
    EXPECT_EQ(Read(kSize), content);
    log.Clear();
    source.CloseFile();
    EXPECT_EQ(Two::File(source, 1), nullptr);
    EXPECT_EQ(log.Texts().front(),
              Line(L":CFileSource::CloseFile(): SingleHandleMode: File1:" + Copy1() + L" -- Begin"));
}

TEST_F(TwoHandleOpenTest, AnEmptyFirstCopyCountsAsFailed) {
    folder.Write("copy1", "");
    LogCapture log;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_THAT(OwnLines(log),
                ElementsAre(Zero(Copy1()), SizesDiffer(), OnlyOne(Copy1(), L"(Error)", Copy2(), L"(OK)")));
    EXPECT_EQ(Read(kSize), content);
}

TEST_F(TwoHandleOpenTest, AnEmptySecondCopyCountsAsFailed) {
    folder.Write("copy2", "");
    LogCapture log;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_THAT(OwnLines(log),
                ElementsAre(Zero(Copy2()), SizesDiffer(), OnlyOne(Copy1(), L"(OK)", Copy2(), L"(error)")));
    EXPECT_EQ(Read(kSize), content);
    EXPECT_NE(Two::File(source, 1), nullptr);
}

TEST_F(TwoHandleOpenTest, SizesMayDifferByOnePage) {
    for (const auto& [size, warns] : {std::pair{kSize - 4096, false}, std::pair{kSize - 4097, true},
                                      std::pair{kSize + 4096, false}, std::pair{kSize + 4097, true}}) {
        folder.WritePattern("copy2", size, kSeed);
        LogCapture log;
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        if (warns) {
            EXPECT_THAT(OwnLines(log), Contains(SizesDiffer())) << size;
        } else {
            EXPECT_FALSE(log.Contains(L"Two File Size not same")) << size;
        }
        EXPECT_EQ(OwnLines(log).back(), Succeeded()) << size;
        EXPECT_EQ(Two::TwoHandle(source), 1U);
        EXPECT_EQ(Inspector::Inner(source).m_qwFileSize, kSize); // of the first
    }
}

TEST_F(TwoHandleOpenTest, AFileThatCannotBeOpenedHasNoSizeToCompare) {
    LogCapture log;
    ASSERT_EQ(Open(folder.Wide("none"), Copy2()), VXC_STATUS_OK);
    ASSERT_EQ(Open(Copy1(), folder.Wide("none")), VXC_STATUS_OK);
    EXPECT_FALSE(log.Contains(L"Two File Size not same"));
}

TEST_F(TwoHandleOpenTest, TheSectorIsTheLargerOfBothDisks) {
    static std::vector<std::wstring> s_asked;
    static uint32 s_first = 0;
    s_asked.clear();
    PlatformScope platform;
    DiskQueries().getDiskFreeSpace = [](const wchar_t* root, uint32* size) {
        s_asked.push_back(root);
        *size = s_asked.size() % 2 == 1 ? s_first : 2048;
        return 1;
    };
    s_first = 4096;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::SectorSize(source), 4096U);
    s_first = 1024;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::SectorSize(source), 2048U);
    EXPECT_EQ(s_asked.size(), 4U);
    s_asked.clear();
    // A copy that is not there has the usual sector, and its disk is not asked.
    ASSERT_EQ(Open(Copy1(), folder.Wide("none")), VXC_STATUS_OK);
    EXPECT_EQ(s_asked.size(), 1U);
    EXPECT_EQ(Inspector::SectorSize(source), 1024U);
}

TEST_F(TwoHandleOpenTest, ANameWithAHostsFunctionsHasOneCopy) {
    HostTable host(L"clip.mxf", content);
    ASSERT_EQ(source.OpenFile(host.Tagged().c_str(), 0, Copy2().c_str(), 0), VXC_STATUS_OK);
    EXPECT_EQ(Two::TwoHandle(source), 0U);
    EXPECT_EQ(Two::File(source, 1), nullptr);
    EXPECT_EQ(Read(kSize), content);
}

TEST_F(TwoHandleOpenTest, RepeatGoesToBothCopies) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source.SetReadRepeat(7), 0U);
    EXPECT_EQ(source.SetReadRepeat(0), 7U);
}

TEST_F(TwoHandleOpenTest, CloseEndsTheReadersOfTheFirstCopyFirst) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Read(10);
    LogCapture log;
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    const std::wstring close =
        L":CFileSource::CloseFile(): DoubleHandleMode: File1:" + Copy1() + L", File2:" + Copy2();
    EXPECT_THAT(OwnLines(log), ElementsAre(Line(close + L" -- Begin"), Line(L":ReadFile0ByThread() Quit"),
                                           Line(L":ReadFile1ByThread() Quit"), Line(close + L" -- End")));
    EXPECT_TRUE(Read(10).empty());
}

TEST_F(TwoHandleOpenTest, CloseLeavesNothing) {
    NoLeakScope leaks;
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        EXPECT_EQ(Read(kSize), content);
        source.CloseFile();
    }
}

TEST_F(TwoHandleOpenTest, OpeningAgainEndsTheFormerReaders) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Read(10);
    LogCapture log;
    ASSERT_EQ(Open(Copy2(), Copy1()), VXC_STATUS_OK);
    EXPECT_EQ(log.Count(L"ByThread() Quit"), 2U);
    EXPECT_EQ(Read(kSize), content);
}

TEST_F(TwoHandleOpenTest, ReadersThatCannotStartFailTheOpen) {
    // The last thread of an open is the reader of the second copy, the last event its request.
    for (const Op op : {Op::VXC_CreateThread, Op::VXC_CreateEventW}) {
        int calls = 0;
        {
            FaultPlan plan;
            ASSERT_EQ(Open(), VXC_STATUS_OK);
            calls = plan.Calls(op);
            source.CloseFile();
        }
        const int made = op == Op::VXC_CreateThread ? 2 : 5;
        for (int back = 0; back < made; ++back) {
            NoLeakScope leaks;
            FaultPlan plan;
            const auto rule = plan.Add(Fail(op).Nth(calls - back));
            EXPECT_EQ(Open(), VXC_STATUS_OPEN_READ) << OpName(op) << back;
            EXPECT_EQ(plan.Fired(rule), 1);
            EXPECT_EQ(Two::Reading(source), nullptr);
            EXPECT_TRUE(Read(10).empty());
            EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
        }
    }
    EXPECT_EQ(Open(), VXC_STATUS_OK);
}

TEST_F(TwoHandleOpenTest, AFailureOfAnyStepLeavesNothingBehind) {
    for (int n = 1;; ++n) {
        ASSERT_LT(n, 200);
        NoLeakScope leaks;
        FaultPlan plan;
        const auto rule = plan.Add(Fail({Op::VXC_CreateThread, Op::VXC_CreateEventW, Op::VXC_CreateFileW,
                                         Op::VXC_GetFileSize, Op::VXC_SetEvent, Op::VXC_ResetEvent})
                                       .Nth(n));
        const uint32 status = Open();
        const std::vector<uint8> read = Read(kSize);
        EXPECT_TRUE(read.empty() || (status == VXC_STATUS_OK && read == content)) << n;
        source.CloseFile();
        if (plan.Fired(rule) == 0) {
            EXPECT_EQ(status, VXC_STATUS_OK);
            EXPECT_EQ(read, content);
            break;
        }
    }
}

TEST_F(TwoHandleOpenTest, LackOfMemoryFailsTheOpenOrLeavesOneCopy) {
    for (int n = 1;; ++n) {
        ASSERT_LT(n, 50);
        MemoryLack lack(n);
        const uint32 status = Open();
        if (!lack.Came()) {
            EXPECT_EQ(status, VXC_STATUS_OK);
            EXPECT_EQ(Two::TwoHandle(source), 1U);
            break;
        }
        EXPECT_TRUE(status == VXC_STATUS_OPEN_READ || Two::TwoHandle(source) == 0 ||
                    Two::Reading(source) != nullptr)
            << n;
        if (status != VXC_STATUS_OK) {
            EXPECT_TRUE(Read(10).empty());
        }
    }
}

TEST_F(TwoHandleOpenTest, AFirstCopyWhoseOpenHangsIsLeftBehind) {
    for (const bool hasLetter : {true, false}) {
        SettingsScope settings;
        settings.Set(L"Software\\Norvex\\DriveMap", L"J", folder.Wide(""));
        const HandleTimeOutScope timeOut(3000);
        const std::wstring first = hasLetter ? L"J:\\copy1" : Copy1();
        std::future<uint32> open;
        Gate gate;
        FaultPlan plan;
        TestClock clock;
        plan.Add(Hold(Op::VXC_CreateFileW, gate).OnFile(L"copy1"));
        LogCapture log;
        open = std::async(std::launch::async, [&] { return Open(first, Copy2()); });
        ASSERT_TRUE(gate.WaitUntilReached());
        ASSERT_TRUE(clock.WaitForSleepers(1));
        clock.Advance(3000);
        // Freeing the first handle would wait for its worker once more, and nothing moves the clock.
        ASSERT_EQ(open.wait_for(kHangLimit), std::future_status::ready);
        EXPECT_EQ(open.get(), VXC_STATUS_OK);
        EXPECT_TRUE(log.Contains(OnlyOne(first, L"(Error)", Copy2(), L"(OK)")));
        EXPECT_EQ(log.Count(L"Not All Thread Quit"), 0U);
        EXPECT_EQ(Two::TwoHandle(source), 0U);
        EXPECT_EQ(source.GetFileSize(), kSize);
        source.CloseFile();
        gate.Open();
        EXPECT_EQ(FreeDroppedHandles(), 1);
    }
}

TEST_F(TwoHandleOpenTest, AFirstCopyWhoseSizeHangsIsLeftBehindToo) {
    const HandleTimeOutScope timeOut(3000);
    std::future<uint32> open;
    Gate gate;
    FaultPlan plan;
    TestClock clock;
    plan.Add(Hold(Op::VXC_GetFileSize, gate).OnFile(L"copy1"));
    LogCapture log;
    open = std::async(std::launch::async, [&] { return Open(); });
    ASSERT_TRUE(gate.WaitUntilReached());
    ASSERT_TRUE(clock.WaitForSleepers(1));
    clock.Advance(3000);
    ASSERT_EQ(open.wait_for(kHangLimit), std::future_status::ready);
    EXPECT_EQ(open.get(), VXC_STATUS_OK);
    EXPECT_TRUE(log.Contains(Zero(Copy1())));
    EXPECT_TRUE(log.Contains(OnlyOne(Copy1(), L"(Error)", Copy2(), L"(OK)")));
    source.CloseFile();
    gate.Open();
    EXPECT_EQ(FreeDroppedHandles(), 1);
}

TEST_F(TwoHandleOpenTest, AFirstCopyThatOnlyFailedIsFreed) {
    folder.Write("copy1", "");
    FaultPlan plan;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(plan.CallsOn(Op::VXC_CloseFile, L"copy1"), 1);
    EXPECT_EQ(plan.CallsOn(Op::VXC_CloseFile, L"copy2"), 0);
    EXPECT_EQ(FreeDroppedHandles(), 0);
}
