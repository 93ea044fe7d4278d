// The hand-overs of thread mode a thousand times over: an answer and its time-out in the same moment.
#include "filehandle/ThreadFixture.h"

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <memory>

using namespace vxcio;
using namespace vxcio::test;

namespace {

using Inspector = SoftFileHandleInspector;

constexpr int kRounds = 1000;

class RaceTest : public HungTest {
protected:
    // From now on these functions pass the gate, which is open between the races.
    void Watch(std::initializer_list<HostFunction> functions) {
        gate.Open();
        for (const HostFunction function : functions) {
            host.Hold(function, gate, 1, true);
        }
    }
    // Runs an operation that uses a watched function, and lets its worker go and the limit pass at the same
    // time.
    void Race(const std::function<void()>& operation) {
        gate.Close();
        std::thread caller(operation);
        ASSERT_TRUE(gate.WaitUntilReached());
        ASSERT_TRUE(clock.WaitForSleepers(1));
        std::thread opener([this] { gate.Open(); });
        clock.Advance(kLimit + 1);
        opener.join();
        caller.join();
    }
};

} // namespace

TEST_F(RaceTest, AReadIsWholeOrNotThere) {
    Watch({HostFunction::Read});
    const std::vector<uint8> content = host.Content();
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
        std::fill(buffer.begin(), buffer.end(), uint8{0xEE});
        uint32 status = 1;
        uint32 count = 9;
        Race([&] { status = Read(kSize, &count); });
        if (status == VXC_STATUS_OK) {
            ASSERT_EQ(count, kSize);
            ASSERT_EQ(buffer, content);
        } else {
            ASSERT_EQ(status, VXC_STATUS_TIME_OUT);
            ASSERT_EQ(count, 0U);
        }
        handle.CloseFileHandle();
        if (status != VXC_STATUS_OK) {
            ASSERT_EQ(buffer, std::vector<uint8>(kSize, 0xEE));
        }
    }
    EXPECT_EQ(host.OpenHandles(), 0);
}

TEST_F(RaceTest, ABlockComesBackWholeOrEmpty) {
    Watch({HostFunction::Read});
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
        AlignedBuffer block(kSize, 4096);
        uint32 status = 1;
        uint32 count = 9;
        Race([&] { status = handle.ReadBlock(block, kSize, &count); });
        if (status == VXC_STATUS_OK) {
            ASSERT_EQ(count, kSize);
            ASSERT_EQ(std::vector<uint8>(block.Data(), block.Data() + kSize), host.Content());
        } else {
            ASSERT_FALSE(block);
            ASSERT_EQ(count, 0U);
        }
        handle.CloseFileHandle();
    }
}

TEST_F(RaceTest, AHandleIsDeletedAsItsWorkerComesBack) {
    Watch({HostFunction::Read});
    for (int round = 0; round < kRounds; ++round) {
        auto own = std::make_unique<CQLSoftFileHandle>();
        ASSERT_EQ(OpenThreaded(*own, host.Tagged()), VXC_STATUS_OK);
        Race([&] {
            std::vector<uint8> memory(kSize);
            uint32 count = 0;
            own->ReadFile(memory.data(), kSize, &count, nullptr);
        });
        own.reset();
        drive.Heal();
    }
}

TEST_F(RaceTest, AnOpenIsOpenOrLateAndTheCloseClosesBoth) {
    Watch({HostFunction::Open});
    for (int round = 0; round < kRounds; ++round) {
        uint32 status = 1;
        Race([&] { status = Open(kShared); });
        ASSERT_TRUE(status == VXC_STATUS_OK || status == VXC_STATUS_TIME_OUT);
        if (status == VXC_STATUS_OK) {
            ASSERT_EQ(handle.GetFileSize(), kSize);
        }
        ASSERT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
        ASSERT_EQ(host.OpenHandles(), 0);
    }
}

TEST_F(RaceTest, AWriteIsWholeOrLate) {
    Watch({HostFunction::Write});
    for (int round = 0; round < kRounds; ++round) {
        const std::vector<uint8> ten(10, static_cast<uint8>(round));
        uint32 count = 9;
        uint32 status = 1;
        ASSERT_EQ(Open(kShared, VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
        Race([&] { status = handle.WriteFile(ten.data(), 10, &count, nullptr); });
        ASSERT_TRUE(status == VXC_STATUS_OK || status == VXC_STATUS_TIME_OUT);
        ASSERT_EQ(count, status == VXC_STATUS_OK ? 10U : 0U);
        ASSERT_EQ(handle.CloseFileHandle(), status);
        const std::vector<uint8> content = host.Content(kShared); // the late one was written before the close
        ASSERT_EQ(std::vector<uint8>(content.begin(), content.begin() + 10), ten);
    }
    EXPECT_EQ(host.OpenHandles(), 0);
}

TEST_F(RaceTest, ACutIsDoneOrLate) {
    Watch({HostFunction::SetEndofFile});
    for (int round = 0; round < kRounds; ++round) {
        const uint32 size = kSize - static_cast<uint32>(round % 2);
        ASSERT_EQ(Open(kShared, VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
        ASSERT_EQ(handle.SetFilePointer(size, VXC_FILE_BEGIN), size);
        Race([&] { handle.SetEndofFile(); });
        const uint32 status = Status();
        ASSERT_TRUE(status == VXC_STATUS_OK || status == VXC_STATUS_TIME_OUT);
        ASSERT_EQ(Inspector::Record(handle)->qwPosition, size);
        ASSERT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
        ASSERT_EQ(host.Content(kShared).size(), size);
    }
    EXPECT_EQ(host.OpenHandles(), 0);
}

TEST_F(RaceTest, ASizeIsToldOrLate) {
    Watch({HostFunction::GetFileSize});
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
        uint64 size = 1;
        Race([&] { size = handle.GetFileSize(); });
        const uint32 status = Status();
        ASSERT_TRUE(status == VXC_STATUS_OK || status == VXC_STATUS_TIME_OUT);
        ASSERT_EQ(size, status == VXC_STATUS_OK ? kSize : 0U);
        ASSERT_EQ(handle.CloseFileHandle(), status);
    }
    EXPECT_EQ(host.OpenHandles(), 0);
}

TEST_F(RaceTest, ACloseIsDoneOrLateAndTheHandleIsFree) {
    Watch({HostFunction::CloseFile});
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
        uint32 status = 1;
        Race([&] { status = handle.CloseFileHandle(); });
        ASSERT_TRUE(status == VXC_STATUS_OK || status == VXC_STATUS_TIME_OUT);
        ASSERT_EQ(Inspector::Record(handle), nullptr);
    }
}

TEST_F(RaceTest, ASeekIsThereOrLate) {
    Watch({HostFunction::SetFilePointer});
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
        Race([&] { ASSERT_EQ(handle.SetFilePointer(7, VXC_FILE_BEGIN), 7); });
        if (Status() == VXC_STATUS_OK) {
            uint32 count = 0;
            ASSERT_EQ(Read(1, &count), VXC_STATUS_OK);
            ASSERT_EQ(buffer[0], host.Content()[7]);
        }
        handle.CloseFileHandle();
    }
}

TEST_F(RaceTest, RequestsThatFollowEachOtherNeverMix) {
    ASSERT_EQ(Open(kShared, VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    for (uint32 round = 0; round < 5 * kRounds; ++round) {
        const uint32 at = round * 7 % (kSize - 8);
        const std::vector<uint8> eight(8, static_cast<uint8>(round));
        uint32 count = 0;
        ASSERT_EQ(handle.SetFilePointer(0, VXC_FILE_BEGIN), 0);
        ASSERT_EQ(handle.SetFilePointer(at, VXC_FILE_BEGIN), at);
        ASSERT_EQ(handle.WriteFile(eight.data(), 8, &count, nullptr), VXC_STATUS_OK);
        ASSERT_EQ(handle.SetFilePointer(0, VXC_FILE_BEGIN), 0);
        ASSERT_EQ(handle.SetFilePointer(at, VXC_FILE_BEGIN), at);
        ASSERT_EQ(Read(8, &count), VXC_STATUS_OK);
        ASSERT_EQ(count, 8U);
        ASSERT_EQ(std::vector<uint8>(buffer.begin(), buffer.begin() + 8), eight);
    }
}
