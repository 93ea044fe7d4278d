// Opening a file sink that fails, that follows another open, and what a host must keep for it.
#include "filehandle/ThreadFixture.h"
#include "sinks/SinkOverHost.h"
#include "support/LeakChecks.h"
#include "support/SettingsScope.h"

#include <cstring>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class WriteFileOpenAgainTest : public SinkOverHost {
protected:
    std::vector<uint8> Old() const { return Pattern(kOldSize, 3); }

    static constexpr uint32 kOldSize = 1000;
    const std::string former = folder.WritePattern("target", kOldSize, 3);
    SettingsScope settings;
};

} // namespace

TEST_F(WriteFileOpenAgainTest, AFailedOpenGivesTheHandlesStatus) {
    const std::wstring missing = folder.Wide("no folder/target");
    NoLeakScope leaks;
    LogCapture log;
    FaultPlan plan;
    EXPECT_EQ(sink.OpenFile(missing.c_str(), 1, 1048576, kCreate, kDirect, 0, 0, 0, 0, nullptr),
              VXC_STATUS_OPEN_WRITE);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_FALSE(Inspector::IsOpen(sink));
    EXPECT_EQ(Inspector::Ring(sink), nullptr);
    EXPECT_EQ(Inspector::StageCapacity(sink), 0U);
    EXPECT_EQ(sink.GetFileSize(), 0U);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1);
    EXPECT_EQ(log.Count(L"GetDiskSectorSize"), 0U); // nothing was asked behind it
    uint8 byte = 7;
    EXPECT_EQ(sink.Write(&byte, 1, nullptr), 0);
    EXPECT_EQ(sink.ReadBack(&byte, 1), 0);
    EXPECT_EQ(byte, 7);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_FALSE(Inspector::IsGood(sink)); // until the next open
    ASSERT_EQ(Open(0), VXC_STATUS_OK);
    EXPECT_TRUE(Inspector::IsGood(sink));
    sink.CloseFile();
}

TEST_F(WriteFileOpenAgainTest, AFailedOpenLeavesTheWayOfWritingOfTheFormerOne) {
    ASSERT_EQ(Open(1), VXC_STATUS_OK);
    Write(Pattern(10, 1));
    sink.CloseFile();
    EXPECT_EQ(sink.OpenFile(L"", 0, 1048576, kAppend, kDirect, 0, 0, 0, 0, nullptr), VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(Inspector::WriteMode(sink), 1U);
    EXPECT_EQ(Inspector::LastOperation(sink), 1);
    EXPECT_EQ(Inspector::OpenMode(sink), kAppend);
    EXPECT_EQ(Inspector::Position(sink), 0U);
    EXPECT_EQ(sink.GetFileSize(), 0U);
    EXPECT_EQ(sink.Seek(50, 1), 50); // and there is no ring to flush
    EXPECT_EQ(sink.GetFileSize(), 50U);
}

TEST_F(WriteFileOpenAgainTest, AHostMayFreeItsTableOnceTheFileIsOpen) {
    for (const uint32 bufferBytes : {0U, 1U}) {
        HostTable freed(L"freed.mxf");
        ASSERT_EQ(sink.OpenFile(freed.Tagged().c_str(), bufferBytes, 1048576, kCreate, kDirect, 0, 0, 0, 0,
                                nullptr),
                  VXC_STATUS_OK);
        std::memset(&freed.Table(), 0, sizeof freed.Table()); // in case the memory is not used again
        freed.FreeTable();
        EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
        EXPECT_EQ(freed.Content(), Pattern(1000, 1)); // opened again and cut
        EXPECT_EQ(freed.Calls(HostFunction::Open), 2);
        EXPECT_EQ(freed.Log().back().function, HostFunction::CloseFile);
        EXPECT_EQ(freed.OpenHandles(), 0);
    }
}

TEST_F(WriteFileOpenAgainTest, ATableThatIsNoneFailsTheOpen) {
    const std::wstring name = L"clip.mxf0000000000000010VXCIO8";
    EXPECT_EQ(sink.OpenFile(name.c_str(), 0, 0, kCreate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OPEN_WRITE);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_FALSE(Inspector::IsOpen(sink));
}

TEST_F(WriteFileOpenAgainTest, AHostsFailedOpenIsClosedOnce) {
    host.Fail(HostFunction::Open, 5);
    EXPECT_EQ(OpenHost(1), VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(host.ClosedInvalid(), 1);
    EXPECT_EQ(host.OpenHandles(), 0);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(OpenHost(0), VXC_STATUS_OK);
}

TEST_F(WriteFileOpenAgainTest, AnOpenThatHangsGivesTheTimeOut) {
    const HealthyDrive drive(L'h'); // of the host's name
    TestClock clock;
    const TimeOuts limits(5000, 5000);
    Gate gate;
    host.Hold(HostFunction::Open, gate);
    std::thread caller([&] { EXPECT_EQ(OpenHost(1, kDirect), VXC_STATUS_TIME_OUT); });
    EXPECT_TRUE(gate.WaitUntilReached());
    EXPECT_TRUE(clock.WaitForSleepers(1));
    clock.Advance(5000);
    caller.join();
    EXPECT_FALSE(Inspector::IsOpen(sink));
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(Inspector::Ring(sink), nullptr);
    EXPECT_EQ(OpenHost(0), VXC_STATUS_TIME_OUT); // a disk that is known to be dead
    gate.Open();
    drive.Heal();
    EXPECT_EQ(OpenHost(0), VXC_STATUS_OK);
}

TEST_F(WriteFileOpenAgainTest, NamesThatNoFileCanHaveFail) {
    EXPECT_EQ(sink.OpenFile(nullptr, 0, 0, kCreate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(sink.OpenFile(L"", 1, 0, kUpdate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OPEN_WRITE);
    const std::wstring aFolder = folder.Wide(".");
    EXPECT_EQ(sink.OpenFile(aFolder.c_str(), 0, 0, kUpdate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(sink.OpenFile(L"Q:\\unmapped", 0, 0, kCreate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(Content(), Old());
}

TEST_F(WriteFileOpenAgainTest, ATargetThatIsBeingWrittenIsNotTouched) {
    ASSERT_EQ(Open(0, 0, kUpdate), VXC_STATUS_OK);
    CWriteFileEx1 other;
    for (const uint32 mode : {kCreate, kAppend, kUpdate}) {
        EXPECT_EQ(other.OpenFile(Target().c_str(), 0, 0, mode, 0, 0, 0, 0, 0, nullptr),
                  VXC_STATUS_OPEN_WRITE);
        EXPECT_EQ(Content(), Old());
    }
    CQLSoftFileHandle reader;
    EXPECT_EQ(OpenRead(reader, Target()), VXC_STATUS_OK); // whoever lets others write may read
    sink.CloseFile();
    EXPECT_EQ(other.OpenFile(Target().c_str(), 0, 0, kCreate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OK);
}

TEST_F(WriteFileOpenAgainTest, AnOpenSinkIsClosedFirst) {
    for (const WritePath& path : kWritePaths) {
        NoLeakScope leaks;
        ASSERT_EQ(Open(path), VXC_STATUS_OK);
        EXPECT_EQ(Write(Pattern(777, 6)), 777);
        sink.Seek(1000, 1);
        sink.ReadBack(nullptr, 0xFFFFFFFF);
        const std::wstring other = folder.Wide("other");
        FaultPlan plan;
        ASSERT_EQ(sink.OpenFile(other.c_str(), 0, 1048576, kCreate, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OK);
        EXPECT_GE(plan.Calls(Op::VXC_CloseFile), 1);
        EXPECT_EQ(Slice(Content(), 0, 777), Pattern(777, 6)) << path.name;
        EXPECT_EQ(Inspector::Position(sink), 0U);
        EXPECT_EQ(sink.GetFileSize(), 0U);
        EXPECT_EQ(Inspector::LastOperation(sink), 0);
        EXPECT_EQ(Inspector::StageCapacity(sink), 0U);
        EXPECT_FALSE(Inspector::ReadCache(sink));
        EXPECT_EQ(Inspector::Ring(sink), nullptr);
        EXPECT_EQ(Write(Pattern(5, 7)), 5);
        sink.CloseFile();
        EXPECT_EQ(folder.Read("other").size(), 5U);
    }
}

TEST_F(WriteFileOpenAgainTest, ASinkCanBeOpenedAgainAfterItsClose) {
    for (const WritePath& first : kWritePaths) {
        for (const WritePath& second : kWritePaths) {
            ASSERT_EQ(Open(first), VXC_STATUS_OK);
            EXPECT_EQ(Write(Pattern(3000, 1)), 3000);
            EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
            ASSERT_EQ(Open(second, kAppend), VXC_STATUS_OK);
            EXPECT_EQ(Write(Pattern(100, 2)), 100);
            EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
            std::vector<uint8> expected = Pattern(3000, 1);
            const std::vector<uint8> more = Pattern(100, 2);
            expected.insert(expected.end(), more.begin(), more.end());
            EXPECT_EQ(Content(), expected) << first.name << second.name;
        }
    }
}

TEST_F(WriteFileOpenAgainTest, AnOpenSetsAFailedSinkGoodAgain) {
    ASSERT_EQ(OpenHost(0), VXC_STATUS_OK);
    host.Fail(HostFunction::Write, 112);
    EXPECT_EQ(Write(Pattern(10, 1)), 0);
    EXPECT_FALSE(Inspector::IsGood(sink));
    sink.CloseFile();
    EXPECT_FALSE(Inspector::IsGood(sink));
    ASSERT_EQ(OpenHost(0), VXC_STATUS_OK);
    EXPECT_TRUE(Inspector::IsGood(sink));
    EXPECT_EQ(Write(Pattern(10, 1)), 10);
}

TEST_F(WriteFileOpenAgainTest, AForgottenCloseIsDoneByTheDestructor) {
    for (const WritePath& path : kWritePaths) {
        NoLeakScope leaks;
        {
            CWriteFileEx1 scoped;
            ASSERT_EQ(scoped.OpenFile(Target().c_str(), path.bufferBytes, 1048576, kCreate, path.flags, 0, 0,
                                      0, 0, nullptr),
                      VXC_STATUS_OK);
            const std::vector<uint8> bytes = Pattern(1001, 8);
            EXPECT_EQ(scoped.Write(bytes.data(), 1001, nullptr), 1001);
        }
        EXPECT_EQ(Content(), Pattern(1001, 8)) << path.name;
    }
}
