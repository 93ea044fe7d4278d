// Opening a file sink where memory, events or a thread lack.
#include "sinks/SinkOverHost.h"
#include "sinks/WriteFile.h"
#include "support/LeakChecks.h"
#include "support/MemoryLack.h"
#include "support/SettingsScope.h"

#include <memory>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class WriteFileOpenLackTest : public SinkFixture {
protected:
    void ExpectNothingLeft(const std::string& what) {
        EXPECT_FALSE(Inspector::IsGood(sink)) << what;
        EXPECT_FALSE(Inspector::IsOpen(sink)) << what;
        EXPECT_EQ(Inspector::Ring(sink), nullptr) << what;
        EXPECT_EQ(Inspector::StageCapacity(sink), 0U) << what;
        EXPECT_FALSE(Inspector::HasSectorBuffer(sink)) << what;
        EXPECT_EQ(Write(Pattern(10, 1)), 0) << what;
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK) << what;
    }

    const std::string former = folder.WritePattern("target", 1000, 3);
    SettingsScope settings;
};

} // namespace

TEST_F(WriteFileOpenLackTest, WithoutEventsOrAThreadTheOpenFails) {
    for (const Op op : {Op::VXC_CreateEventW, Op::VXC_CreateThread, Op::VXC_ResumeThread}) {
        int fired = 0;
        for (int nth = 1;; ++nth) {
            NoLeakScope leaks;
            const std::string what = OpName(op) + std::string(" #") + std::to_string(nth);
            FaultPlan plan;
            LogCapture log;
            plan.Add(Fail(op).Nth(nth));
            const uint32 status = Open(1, kDirect, kUpdate);
            if (plan.Fired() == 0) {
                EXPECT_EQ(status, VXC_STATUS_OK) << what;
                EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK) << what;
                break;
            }
            ++fired;
            EXPECT_EQ(status, VXC_STATUS_OPEN_WRITE) << what;
            ExpectNothingLeft(what);
            EXPECT_TRUE(log.Contains(L"no memory or thread for a ring of 1 bytes")) << what;
            EXPECT_FALSE(log.Contains(L"WriteDataThread")) << what;
            EXPECT_EQ(Content(), Pattern(1000, 3)) << what;
        }
        // Two events of each node and the one that ends the thread.
        EXPECT_EQ(fired, op == Op::VXC_CreateEventW ? 5 : 1) << OpName(op);
    }
}

TEST_F(WriteFileOpenLackTest, AfterAFailureTheSinkOpensAgain) {
    {
        FaultPlan plan;
        plan.Add(Fail(Op::VXC_CreateThread));
        EXPECT_EQ(Open(1), VXC_STATUS_OPEN_WRITE);
    }
    EXPECT_TRUE(Content().empty()); // created, and closed
    ASSERT_EQ(Open(1), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(100, 1)), 100);
    sink.CloseFile();
    EXPECT_EQ(Content(), Pattern(100, 1));
}

TEST_F(WriteFileOpenLackTest, WhereMemoryLacksTheOpenFailsAsAWhole) {
    for (const WritePath& path : kWritePaths) {
        int failed = 0;
        for (int nth = 1;; ++nth) {
            NoLeakScope leaks;
            const std::string what = path.name + std::string(" #") + std::to_string(nth);
            bool came = false;
            uint32 status = VXC_STATUS_OK;
            {
                const MemoryLack lack(nth);
                status = Open(path, kUpdate);
                came = lack.Came();
            }
            if (status == VXC_STATUS_OK) {
                // Nothing lacked, or a text alone: the sink is whole.
                EXPECT_TRUE(Inspector::IsGood(sink)) << what;
                EXPECT_EQ(sink.GetFileSize(), 1000U) << what;
                EXPECT_EQ(Inspector::Ring(sink) != nullptr, path.bufferBytes != 0) << what;
                EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK) << what;
            } else {
                ++failed;
                EXPECT_EQ(status, VXC_STATUS_OPEN_WRITE) << what;
                ExpectNothingLeft(what);
            }
            EXPECT_EQ(Content(), Pattern(1000, 3)) << what;
            if (!came) {
                EXPECT_EQ(status, VXC_STATUS_OK) << what;
                break;
            }
        }
        // The name, the handle and its record; of a ring also itself, its nodes and their buffers.
        EXPECT_GE(failed, path.bufferBytes != 0 ? 6 : 3) << path.name;
    }
}

TEST_F(WriteFileOpenLackTest, WhereMemoryLacksAHostsFileIsClosedInFullOrNotOpened) {
    for (int nth = 1;; ++nth) {
        HostTable host(L"host.mxf");
        bool came = false;
        uint32 status = VXC_STATUS_OK;
        {
            const std::wstring name = host.Tagged();
            const MemoryLack lack(nth);
            status = sink.OpenFile(name.c_str(), 0, 1048576, kCreate, kDirect, 0, 0, 0, 0, nullptr);
            came = lack.Came();
        }
        host.FreeTable();
        if (status == VXC_STATUS_OK) {
            EXPECT_TRUE(Inspector::HasCallbacks(sink)) << nth;
            EXPECT_EQ(Write(Pattern(1000, 1)), 1000) << nth;
            EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
            EXPECT_EQ(host.Content(), Pattern(1000, 1)) << nth;
        } else {
            EXPECT_EQ(status, VXC_STATUS_OPEN_WRITE) << nth;
            ExpectNothingLeft(std::to_string(nth));
        }
        EXPECT_EQ(host.OpenHandles(), 0) << nth;
        if (!came) {
            EXPECT_EQ(status, VXC_STATUS_OK);
            break;
        }
    }
}

TEST_F(WriteFileOpenLackTest, AFacadeWithoutMemoryIsNone) {
    int lacked = 0;
    for (int nth = 1;; ++nth) {
        const MemoryLack lack(nth);
        const std::unique_ptr<CQLSoftDataSink> made(CQLSoftDataSink::Construct(IOWORKMODE_FILE));
        if (!lack.Came()) {
            EXPECT_NE(made, nullptr);
            break;
        }
        lacked += made == nullptr ? 1 : 0;
    }
    EXPECT_GE(lacked, 4); // itself, the sink behind it, and the inner objects of both
    for (int nth = 1; nth <= 2; ++nth) {
        const MemoryLack lack(nth);
        const std::unique_ptr<CQLSoftDataSinkEx1> made(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FILE));
        EXPECT_EQ(made, nullptr);
        EXPECT_TRUE(lack.Came());
    }
}

TEST_F(WriteFileOpenLackTest, ADigestWithoutMemoryIsNotGivenOut) {
    sink.EnableMD5_Check(0);
    uint8 mark = 0;
    uint8* digest = &mark;
    int length = 7;
    const MemoryLack lack(1);
    EXPECT_EQ(sink.GetMD5_check(0, digest, length), 0);
    EXPECT_TRUE(lack.Came());
    EXPECT_EQ(digest, &mark);
    EXPECT_EQ(length, 7);
}
