// Copies that fail: File1 is opened again in the background, File2 is not.
#include "filehandle/HandleFixture.h"
#include "sources/TwoCopiesFixture.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Inspector = FileSourceInspector;

namespace {

class TwoHandleErrorsTest : public TwoCopiesClockFixture {
protected:
    std::wstring BeginClose(const std::wstring& name) const {
        return Line(L":ReadFile0ByThread -- Begin VXC_CloseHandle(" + name + L")");
    }
    std::wstring EndClose(const std::wstring& name) const {
        return Line(L":ReadFile0ByThread -- End VXC_CloseHandle(" + name + L")");
    }
    std::wstring OpenFails(const std::wstring& name) const {
        return Line(L":CFileSource--ReadFileByThread Re CreateFile(" + name + L") Error, need create again");
    }
    std::wstring OpenWorks(const std::wstring& name) const {
        return Line(L":CFileSource--ReadFileByThread Re CreateFile(" + name + L") OK");
    }
    std::wstring ChangeTo(int file) const {
        return Line(L":ReadFileWithTwoHandle--Change to File" + std::to_wstring(file) + L" Read\n");
    }
    // Ends pauses until the close has come through: the reader looks for its end after a pause alone.
    ::testing::AssertionResult FinishClose(std::future<uint32>& close) {
        const auto end = std::chrono::steady_clock::now() + kHangLimit;
        while (close.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
            if (std::chrono::steady_clock::now() > end) {
                return ::testing::AssertionFailure() << "the close hangs";
            }
            clock.Advance(100);
        }
        return close.get() == VXC_STATUS_OK ? ::testing::AssertionSuccess() : ::testing::AssertionFailure();
    }
    void FailFirst(Op op, int nth = 1) { plan.Add(Fail(op).OnFile(L"copy1").Nth(nth)); }
    void FailOpensOfFirst(int times) {
        for (int i = 1; i <= times; ++i) {
            FailFirst(Op::VXC_CreateFileW, i);
        }
    }
};

} // namespace

TEST_F(TwoHandleErrorsTest, AReadErrorOfTheFirstCopyGivesNothingAndOpensItAgain) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Read(10);
    FailFirst(Op::VXC_ReadFile);
    LogCapture log;
    EXPECT_TRUE(Read(100).empty());
    EXPECT_EQ(Inspector::FilePos(source), 10);
    EXPECT_THAT(OwnLines(log), ElementsAre(BeginClose(Copy1()), EndClose(Copy1()), OpenWorks(Copy1())));
    const auto texts = log.Texts();
    const auto begin = std::find(texts.begin(), texts.end(), BeginClose(Copy1()));
    EXPECT_GT(std::find(begin, texts.end(), EndClose(Copy1())) - begin, 1); // the handle's own lines between
    EXPECT_EQ(plan.CallsOn(Op::VXC_CloseFile, L"copy1"), 1);
    EXPECT_EQ(plan.CallsOn(Op::VXC_CreateFileW, L"copy1"), 2);
    EXPECT_TRUE(clock.Sleeps().empty());
    EXPECT_EQ(Read(100), Bytes(10, 100)); // by the first copy again
    EXPECT_EQ(plan.CallsOn(Op::VXC_ReadFile, L"copy2"), 0);
}

TEST_F(TwoHandleErrorsTest, AnErrorAfterSomeBytesDeliversNone) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    plan.Add(Fail(Op::VXC_ReadFile).OnFile(L"copy1").AfterEffect());
    EXPECT_TRUE(Read(100).empty());
    EXPECT_EQ(Inspector::FilePos(source), 0);
    EXPECT_EQ(Read(100), Bytes(0, 100));
}

TEST_F(TwoHandleErrorsTest, ASeekErrorOfTheFirstCopyOpensItAgain) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    source.Seek(400, 1);
    FailFirst(Op::VXC_SetFilePointer);
    LogCapture log;
    EXPECT_TRUE(Read(100).empty());
    EXPECT_THAT(OwnLines(log),
                ElementsAre(ChangeTo(1), BeginClose(Copy1()), EndClose(Copy1()), OpenWorks(Copy1())));
    EXPECT_EQ(plan.CallsOn(Op::VXC_ReadFile, L"copy1"), 0);
    EXPECT_EQ(Read(100), Bytes(400, 100));
}

TEST_F(TwoHandleErrorsTest, ACopyThatCannotBeOpenedIsTriedOnceASecond) {
    std::future<std::vector<uint8>> read;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FailFirst(Op::VXC_ReadFile);
    FailOpensOfFirst(5);
    LogCapture log;
    read = ReadLater(100);
    // The read waits two seconds for a copy that begins to be opened again meanwhile.
    ASSERT_TRUE(clock.WaitForSleeps(1));
    ASSERT_TRUE(clock.WaitForSleepers(2));
    clock.Advance(1000);
    ASSERT_TRUE(log.WaitFor(OpenFails(Copy1()), 1));
    ASSERT_TRUE(clock.WaitForSleeps(2));
    clock.Advance(1000);
    EXPECT_EQ(read.get(), Bytes(0, 100));
    EXPECT_TRUE(log.Contains(L"Begin Change to File2"));

    // Busy as it is, every read goes to the second, without a limit.
    for (std::size_t i = 2; i < 5; ++i) {
        ASSERT_TRUE(log.WaitFor(OpenFails(Copy1()), i));
        EXPECT_EQ(Read(100), Bytes((i - 1) * 100, 100));
        ASSERT_TRUE(clock.WaitForSleeps(i + 1));
        EXPECT_EQ(clock.Sleepers(), 1);
        clock.Advance(1000);
    }
    ASSERT_TRUE(log.WaitFor(OpenWorks(Copy1())));
    ASSERT_TRUE(BecomesIdle(0));
    EXPECT_THAT(clock.Sleeps(), ElementsAre(1000, 1000, 1000, 1000, 1000));
    EXPECT_EQ(log.Count(OpenFails(Copy1())), 5U);
    EXPECT_EQ(log.Count(BeginClose(Copy1())), 1U);
    log.Clear();
    EXPECT_EQ(Read(100), Bytes(400, 100));
    EXPECT_THAT(OwnLines(log), ElementsAre(ChangeTo(1)));
}

TEST_F(TwoHandleErrorsTest, TheCopyIsOpenedAgainAsItWasOpenedFirst) {
    ASSERT_EQ(Open(VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    FailFirst(Op::VXC_ReadFile);
    EXPECT_TRUE(Read(512).empty());
    LogCapture log;
    EXPECT_EQ(Read(512), Bytes(0, 512));
    Module().EnableBitrateInfo = 1;
    FailFirst(Op::VXC_ReadFile);
    Read(512);
    Module().EnableBitrateInfo = 0;
    EXPECT_TRUE(log.Contains(L"CQLSoftFileHandle::CreateFile(FileName[" + Copy1() +
                             L"], dwFlagsAndAttributes[0x20000000], bFileHandle_Thread_Mode[1] End)"));
}

TEST_F(TwoHandleErrorsTest, ACopyThatIsBeingWrittenIsOpenedAgainAllTheSame) {
    CQLSoftFileHandle writer;
    ASSERT_EQ(writer.CreateFile(Copy1().c_str(), VXC_GENERIC_WRITE, VXC_FILE_SHARE_READ, nullptr,
                                VXC_OPEN_EXISTING, 0, nullptr, 0),
              VXC_STATUS_OK);
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FailFirst(Op::VXC_ReadFile);
    LogCapture log;
    std::future<std::vector<uint8>> read = ReadLater(100);
    EXPECT_TRUE(log.WaitFor(OpenWorks(Copy1())));
    clock.Advance(kThreshold); // ends the read where the copy is not back
    read.wait();
    EXPECT_TRUE(clock.Sleeps().empty());
}

TEST_F(TwoHandleErrorsTest, AnErrorOfTheSecondCopyGivesNothingAndOpensNothing) {
    Gate gate;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ASSERT_EQ(MakeFirstBusy(gate).size(), 100U);
    LogCapture log;
    plan.Add(Fail(Op::VXC_ReadFile).OnFile(L"copy2"));
    EXPECT_TRUE(Read(100).empty());
    EXPECT_EQ(Read(100), Bytes(100, 100)); // the next request simply tries again
    plan.Add(Fail(Op::VXC_SetFilePointer).OnFile(L"copy2"));
    source.Seek(700, 1);
    EXPECT_TRUE(Read(100).empty());
    EXPECT_EQ(Read(100), Bytes(700, 100));
    EXPECT_THAT(OwnLines(log), IsEmpty());
    EXPECT_EQ(plan.CallsOn(Op::VXC_CreateFileW, L"copy2"), 1);
    EXPECT_EQ(plan.CallsOn(Op::VXC_CloseFile, L"copy2"), 0);
}

TEST_F(TwoHandleErrorsTest, AfterAnErrorOfTheSecondTheFirstServesWhenIdle) {
    Gate gate;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ASSERT_EQ(MakeFirstBusy(gate).size(), 100U);
    plan.Add(Fail(Op::VXC_ReadFile).OnFile(L"copy2"));
    EXPECT_TRUE(Read(100).empty());
    gate.Open();
    ASSERT_TRUE(BecomesIdle(0));
    EXPECT_EQ(Read(100), Bytes(100, 100));
    EXPECT_EQ(LastFile(), 0);
}

TEST_F(TwoHandleErrorsTest, AMissingFileEndsTheOpeningOnlyAtTheClose) {
    std::future<std::vector<uint8>> read;
    std::future<uint32> close;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FailFirst(Op::VXC_ReadFile);
    std::filesystem::remove(folder.Path() / "copy1");
    LogCapture log;
    read = ReadLater(100);
    ASSERT_TRUE(clock.WaitForSleepers(2));
    clock.Advance(kThreshold); // of the sleep, too
    EXPECT_EQ(read.get(), Bytes(0, 100));
    ASSERT_TRUE(log.WaitFor(OpenFails(Copy1())));
    ASSERT_TRUE(clock.WaitForSleeps(2)); // asleep again
    log.Clear();
    close = std::async(std::launch::async, [&] { return source.CloseFile(); });
    ASSERT_TRUE(log.WaitFor(L"-- Begin"));
    // The reader looks after its sleep alone.
    EXPECT_NE(close.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    EXPECT_TRUE(FinishClose(close));
    EXPECT_FALSE(log.Contains(OpenWorks(Copy1())));
    EXPECT_TRUE(log.Contains(Line(L":ReadFile0ByThread() Quit")));
}

TEST_F(TwoHandleErrorsTest, ACopyThatTimesOutInItsHandleIsTriedUntilTheClose) {
    // The mark of a letter stays for the life of the process: K is used here alone.
    SettingsScope settings;
    settings.Set(L"Software\\Norvex\\DriveMap", L"K", folder.Wide(""));
    const HandleTimeOutScope timeOut(500);
    const std::wstring first = L"K:\\copy1";
    std::future<std::vector<uint8>> read;
    std::future<uint32> close;
    Gate gate;
    ASSERT_EQ(Open(first, Copy2()), VXC_STATUS_OK);
    void* const file = SoftFileHandleInspector::Record(*Two::File(source, 0))->hFile;
    plan.Add(Hold(Op::VXC_ReadFile, gate).OnFile(L"copy1").AfterEffect());
    LogCapture log;
    read = ReadLater(100);
    ASSERT_TRUE(gate.WaitUntilReached());
    ASSERT_TRUE(clock.WaitForSleepers(2)); // the reader for its handle, the caller for the reader
    clock.Advance(500);
    ASSERT_TRUE(log.WaitFor(L"SetDiskError(K)"));
    ASSERT_TRUE(log.WaitFor(EndClose(first)));
    // The new open fails at once on a marked letter, with a pause of a second after each attempt.
    ASSERT_TRUE(
        log.WaitFor(L"CQLSoftFileHandle::CreateFileThread() of K:\\copy1 , Find Disk Time out error"));
    ASSERT_TRUE(clock.WaitForSleeps(1));
    clock.Advance(1000);
    ASSERT_TRUE(log.WaitFor(OpenFails(first)));
    ASSERT_TRUE(clock.WaitForSleeps(2));
    clock.Advance(500); // two seconds since the read began
    EXPECT_EQ(read.get(), Bytes(0, 100));
    EXPECT_EQ(Read(100), Bytes(100, 100));
    close = std::async(std::launch::async, [&] { return source.CloseFile(); });
    ASSERT_TRUE(log.WaitFor(L"CloseFile(): DoubleHandleMode"));
    EXPECT_TRUE(FinishClose(close));
    VXC_CloseFile(file); // left open with its worker, which has done with it
}

TEST_F(TwoHandleErrorsTest, ASecondCopyThatTimedOutInItsHandleGivesNothingEver) {
    Gate busy;
    Gate hung;
    std::future<std::vector<uint8>> read;
    const HandleTimeOutScope timeOut(5000);
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    HoldReads(hung, L"copy2");
    HoldReads(busy, L"copy1");
    read = ReadLater(100);
    ASSERT_TRUE(busy.WaitUntilReached());
    ASSERT_TRUE(clock.WaitForSleepers(2));
    clock.Advance(2000); // the read turns to the second copy
    ASSERT_TRUE(hung.WaitUntilReached());
    ASSERT_TRUE(clock.WaitForSleepers(3));
    busy.Open();
    ASSERT_TRUE(BecomesIdle(0));
    clock.Advance(5000);
    EXPECT_TRUE(read.get().empty());
    ASSERT_TRUE(BecomesIdle(1));
    EXPECT_EQ(LastFile(), 1);
    EXPECT_EQ(Read(100), Bytes(0, 100)); // by the first
    Gate again;
    HoldReads(again, L"copy1");
    read = ReadLater(100);
    ASSERT_TRUE(again.WaitUntilReached());
    ASSERT_TRUE(clock.WaitForSleepers(2));
    clock.Advance(2000);
    EXPECT_TRUE(read.get().empty());
    EXPECT_TRUE(Read(100).empty()); // the status of its handle stays
    EXPECT_EQ(plan.CallsOn(Op::VXC_CreateFileW, L"copy2"), 1);
    again.Open();
    ASSERT_TRUE(BecomesIdle(0));
    hung.Open();
    source.CloseFile();
}

TEST_F(TwoHandleErrorsTest, ACopyThatCannotBeAskedToTakeOverGivesNothing) {
    std::future<std::vector<uint8>> read;
    Gate gate;
    ASSERT_EQ(Open(VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    HoldReads(gate, L"copy1");
    plan.Add(Fail(Op::VXC_ResetEvent).OnHandle(CopyReaderInspector::DoneEvent(Reader(1))));
    read = ReadLater(100); // would be widened and so report its full size
    ASSERT_TRUE(gate.WaitUntilReached());
    ASSERT_TRUE(PassWait(kThreshold));
    EXPECT_TRUE(read.get().empty());
    EXPECT_EQ(Inspector::FilePos(source), 0);
    EXPECT_EQ(LastFile(), -1);
    EXPECT_EQ(Read(100), Bytes(0, 100));
}

TEST_F(TwoHandleErrorsTest, BothCopiesMayComeShortWithoutAnError) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    std::filesystem::resize_file(folder.Path() / "copy1", 50);
    LogCapture log;
    EXPECT_EQ(Read(100), Bytes(0, 50)); // a copy that was cut while it is read
    EXPECT_TRUE(Read(100).empty());
    EXPECT_THAT(OwnLines(log), ElementsAre(ChangeTo(1)));
}
