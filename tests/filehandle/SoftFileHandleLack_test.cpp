// Thread mode when threads, events or memory lack: the operation's own error, nothing left, nobody waits.
#include "filehandle/ThreadFixture.h"

#include "support/MemoryLack.h"

#include <functional>

using namespace vxcio;
using namespace vxcio::test;

namespace {

using Inspector = SoftFileHandleInspector;

// Without any limit: a wait for a thread that is not there would show.
class LackTest : public HandleTransferTest {
protected:
    uint32 Open(uint32 access = VXC_GENERIC_READ | VXC_GENERIC_WRITE) {
        return OpenThreaded(threaded, Clip(), access);
    }
    uint32 Read(uint32* count) { return threaded.ReadFile(buffer.data(), 10, count, nullptr); }
    uint32 Write(uint32* count) { return threaded.WriteFile(buffer.data(), 10, count, nullptr); }

    // The handle as it is after an operation that lacked something: it does all it is asked for.
    void ExpectItGoesOn() {
        uint32 count = 0;
        EXPECT_EQ(threaded.SetFilePointer(20, VXC_FILE_BEGIN), 20);
        EXPECT_EQ(Read(&count), VXC_STATUS_OK);
        EXPECT_EQ(count, 10U);
        EXPECT_EQ(Write(&count), VXC_STATUS_OK);
        EXPECT_EQ(threaded.GetFileSize(), kSize);
        EXPECT_EQ(threaded.CloseFileHandle(), VXC_STATUS_OK);
    }

    const NoLeakScope leaks;
    TimeOuts endless{VXC_INFINITE, VXC_INFINITE};
    CQLSoftFileHandle threaded;
};

} // namespace

TEST_F(LackTest, OpenWithoutAThreadOrAnEvent) {
    for (const Op op : {Op::VXC_CreateThread, Op::VXC_CreateEventW}) {
        FaultPlan plan;
        plan.Add(Fail(op));
        EXPECT_EQ(Open(VXC_GENERIC_READ), VXC_STATUS_OPEN_READ);
        EXPECT_EQ(Inspector::Record(threaded), nullptr);
        EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), plan.Calls(Op::VXC_CreateFileW));
        EXPECT_EQ(threaded.CloseFileHandle(), VXC_STATUS_OK);
        Inspector::SetStatus(threaded, VXC_STATUS_TIME_OUT); // of an earlier use
        plan.Add(Fail(op));
        EXPECT_EQ(Open(VXC_GENERIC_WRITE), VXC_STATUS_OPEN_WRITE);
        EXPECT_EQ(OpenRead(threaded, Clip()), VXC_STATUS_OK) << "nothing sticks";
        EXPECT_EQ(threaded.CloseFileHandle(), VXC_STATUS_OK);
    }
}

TEST_F(LackTest, ReadWriteAndSeekWithoutAThreadOrAnEvent) {
    const auto fail = [](Op op, int nth) { return Fail(op).Nth(nth); };
    for (const auto& [op, nth] : {std::pair{Op::VXC_CreateThread, 1}, std::pair{Op::VXC_CreateEventW, 1},
                                  std::pair{Op::VXC_CreateEventW, 2}}) {
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        FaultPlan plan;
        uint32 count = 9;
        plan.Add(fail(op, nth));
        EXPECT_EQ(Read(&count), VXC_STATUS_READ);
        EXPECT_EQ(count, 0U);
        count = 9;
        plan.Add(fail(op, nth));
        EXPECT_EQ(Write(&count), VXC_STATUS_WRITE);
        EXPECT_EQ(count, 0U);
        plan.Add(fail(op, nth));
        EXPECT_EQ(threaded.SetFilePointer(5, VXC_FILE_BEGIN), -1);
        EXPECT_EQ(Inspector::Record(threaded)->qwPosition, kUnknownPosition);
        EXPECT_EQ(plan.Fired(), 3);
        ExpectItGoesOn();
    }
}

TEST_F(LackTest, CutSizeAndCloseWithoutAThread) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FaultPlan plan;
    uint32 count = 9;
    plan.Add(Fail(Op::VXC_CreateThread));
    EXPECT_EQ(threaded.GetFileSize(), 0U);
    EXPECT_EQ(threaded.ReadFile(nullptr, 0, &count, nullptr), VXC_STATUS_READ);
    ASSERT_EQ(threaded.SetFilePointer(kSize, VXC_FILE_BEGIN), kSize);
    plan.Add(Fail(Op::VXC_CreateThread));
    threaded.SetEndofFile();
    EXPECT_EQ(threaded.ReadFile(nullptr, 0, &count, nullptr), VXC_STATUS_WRITE);
    EXPECT_EQ(plan.Calls(Op::VXC_SetEndOfFile), 0);
    ASSERT_EQ(threaded.SetFilePointer(0, VXC_FILE_BEGIN), 0);
    plan.Add(Fail(Op::VXC_CreateThread));
    EXPECT_EQ(threaded.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1) << "by the caller itself";
    ASSERT_EQ(OpenThreaded(threaded, folder.Wide("missing")), VXC_STATUS_OPEN_READ);
    plan.Add(Fail(Op::VXC_CreateThread));
    EXPECT_EQ(threaded.CloseFileHandle(), VXC_STATUS_OPEN_READ) << "as the worker would tell it";
}

TEST_F(LackTest, ARequestThatCannotBeSignalledFailsWithoutAWait) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    uint32 count = 9;
    ASSERT_EQ(Read(&count), VXC_STATUS_OK);
    ASSERT_EQ(Write(&count), VXC_STATUS_OK);
    ASSERT_EQ(threaded.SetFilePointer(5, VXC_FILE_BEGIN), 5);
    {
        FaultPlan plan;
        plan.Add(Fail(Op::VXC_SetEvent).FromThenOn().OnThisThread());
        EXPECT_EQ(Read(&count), VXC_STATUS_READ);
        EXPECT_EQ(count, 0U);
        count = 9;
        EXPECT_EQ(Write(&count), VXC_STATUS_WRITE);
        EXPECT_EQ(count, 0U);
        EXPECT_EQ(threaded.SetFilePointer(6, VXC_FILE_BEGIN), -1);
        EXPECT_EQ(plan.Calls(Op::VXC_ReadFile) + plan.Calls(Op::VXC_WriteFile), 0);
    }
    ExpectItGoesOn();
}

TEST_F(LackTest, ARepeatSendsAReadAgainThatCouldNotBeSignalled) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    TestClock clock;
    clock.AutoAdvance(true);
    threaded.SetRepeat(1);
    FaultPlan plan;
    for (int i = 2; i <= 4; ++i) { // behind the position query, the request in all its tries
        plan.Add(Fail(Op::VXC_SetEvent).Nth(i).OnThisThread());
    }
    uint32 count = 0;
    EXPECT_EQ(Read(&count), VXC_STATUS_OK);
    EXPECT_EQ(count, 10U);
    EXPECT_EQ(plan.Fired(), 3);
    EXPECT_EQ(clock.Sleeps().size(), 1U);
}

TEST_F(LackTest, ASignalOrAWaitThatFailsOnceIsMadeAgain) {
    for (const Op op : {Op::VXC_SetEvent, Op::VXC_WaitForSingleObject, Op::VXC_WaitForMultipleObjects}) {
        for (int nth = 1; nth < 30; ++nth) {
            FaultPlan plan;
            plan.Add(Fail(op).Nth(nth));
            ASSERT_EQ(Open(), VXC_STATUS_OK);
            ExpectItGoesOn();
        }
    }
}

TEST_F(LackTest, WithoutMemoryEachOperationFailsByItself) {
    const std::function<bool()> operations[] = {
        [&] { return Open() == VXC_STATUS_OK; },
        [&] {
            uint32 count = 0;
            return Read(&count) == VXC_STATUS_OK && count == 10;
        },
        [&] {
            uint32 count = 0;
            return Write(&count) == VXC_STATUS_OK && count == 10;
        },
        [&] { return threaded.SetFilePointer(5, VXC_FILE_BEGIN) == 5; },
        [&] { return threaded.GetFileSize() == kSize; },
        [&] {
            threaded.SetFilePointer(kSize, VXC_FILE_BEGIN);
            threaded.SetEndofFile();
            uint32 count = 0;
            return threaded.ReadFile(nullptr, 0, &count, nullptr) == VXC_STATUS_OK;
        },
        [&] { return threaded.CloseFileHandle() == VXC_STATUS_OK; },
    };
    const std::size_t close = std::size(operations) - 1;
    for (std::size_t under = 0; under <= close; ++under) {
        int failures = 0;
        for (int nth = 1;; ++nth) {
            for (std::size_t i = 0; i < under; ++i) {
                ASSERT_TRUE(operations[i]()) << i;
            }
            bool worked = false;
            bool came = false;
            {
                MemoryLack lack(nth);
                worked = operations[under]();
                came = lack.Came();
            }
            threaded.CloseFileHandle();
            if (!came) {
                EXPECT_TRUE(worked);
                break;
            }
            failures += worked ? 0 : 1;
        }
        EXPECT_TRUE(failures > 0 || under == close) << under; // a close is done all the same
    }
}
