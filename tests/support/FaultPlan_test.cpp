#include "support/FaultPlan.h"

#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class FaultPlanTest : public testing::Test {
protected:
    FaultPlanTest() { m_folder.Write("clip", "0123456789"); }
    ~FaultPlanTest() override {
        if (m_file != VXC_INVALID_HANDLE) {
            real::VXC_CloseFile(m_file);
        }
    }

    void* Open(const char* name, uint32 access = VXC_GENERIC_READ, uint32 flags = 0) {
        return VXC_CreateFileW(m_folder.Wide(name).c_str(), access,
                               VXC_FILE_SHARE_READ | VXC_FILE_SHARE_WRITE, nullptr, VXC_OPEN_EXISTING, flags,
                               nullptr);
    }
    void OpenClip(uint32 access = VXC_GENERIC_READ) {
        m_file = Open("clip", access);
        ASSERT_NE(m_file, VXC_INVALID_HANDLE);
    }
    void* OpenAlone(const char* name) {
        return VXC_CreateFileW(m_folder.Wide(name).c_str(), VXC_GENERIC_WRITE, 0, nullptr, VXC_OPEN_EXISTING,
                               0, nullptr);
    }
    int Read(uint32 bytes) {
        m_done = 99;
        std::memset(m_buffer, 0, sizeof m_buffer);
        return VXC_ReadFile(m_file, m_buffer, bytes, &m_done, nullptr);
    }
    std::string Got() const { return std::string(m_buffer, m_done); }

    TempFolder m_folder;
    void* m_file = VXC_INVALID_HANDLE;
    char m_buffer[64] = {};
    unsigned long m_done = 0;
};

TEST_F(FaultPlanTest, TheNthCallFailsOnceBeforeItsEffect) {
    OpenClip();
    FaultPlan plan;
    const auto rule = plan.Add(Fail(Op::VXC_ReadFile).Nth(2).WithError(VXC_ERROR_IO_DEVICE));
    EXPECT_EQ(Read(3), 1);
    EXPECT_EQ(Read(3), 0);
    EXPECT_EQ(m_done, 0u);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_IO_DEVICE);
    EXPECT_EQ(Read(3), 1);
    EXPECT_EQ(Got(), "345"); // the failed call moved nothing
    EXPECT_EQ(plan.Fired(rule), 1);
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 3);
    EXPECT_THAT(plan.Account(), testing::ElementsAre("VXC_ReadFile #2 failed before its effect with 1117"));
}

TEST_F(FaultPlanTest, FromTheNthCallOnAllFail) {
    OpenClip();
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_ReadFile).Nth(2).FromThenOn());
    EXPECT_EQ(Read(1), 1);
    EXPECT_EQ(Read(1), 0);
    EXPECT_EQ(Read(1), 0);
    EXPECT_EQ(VXC_GetLastError(), kInjectedError);
    EXPECT_EQ(plan.Fired(), 2);
}

TEST_F(FaultPlanTest, AFailureAfterTheEffectMovedTheData) {
    OpenClip();
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_ReadFile).AfterEffect());
    EXPECT_EQ(Read(3), 0);
    EXPECT_EQ(m_done, 3u);
    EXPECT_EQ(VXC_GetLastError(), kInjectedError);
    EXPECT_EQ(Read(3), 1);
    EXPECT_EQ(Got(), "345");
}

TEST_F(FaultPlanTest, WhatAFailedCallMadeIsClosedAgain) {
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_CreateFileW).AfterEffect());
    void* file = VXC_CreateFileW(m_folder.Wide("new").c_str(), VXC_GENERIC_WRITE, 0, nullptr, VXC_CREATE_NEW,
                                 0, nullptr);
    EXPECT_EQ(file, VXC_INVALID_HANDLE);
    EXPECT_TRUE(std::filesystem::exists(m_folder.Path() / "new"));
    m_file = OpenAlone("new"); // nobody holds it
    EXPECT_NE(m_file, VXC_INVALID_HANDLE);
    plan.Add(Fail(Op::VXC_CreateEventW).AfterEffect());
    EXPECT_EQ(VXC_CreateEventW(nullptr, 0, 0, nullptr), nullptr);
}

TEST_F(FaultPlanTest, AThreadThatFailsToStartNeverRuns) {
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_CreateThread).AfterEffect());
    const auto entry = [](void*) -> uint32 {
        ADD_FAILURE() << "runs";
        return 0;
    };
    EXPECT_EQ(VXC_CreateThread(nullptr, 0, entry, nullptr, 0, nullptr), nullptr);
}

TEST_F(FaultPlanTest, ACloseThatWasSuppressedIsMadeGoodAtTheEnd) {
    {
        FaultPlan plan;
        void* file = OpenAlone("clip");
        ASSERT_NE(file, VXC_INVALID_HANDLE);
        plan.Add(Fail(Op::VXC_CloseFile));
        EXPECT_EQ(VXC_CloseFile(file), 0);
        EXPECT_EQ(OpenAlone("clip"), VXC_INVALID_HANDLE);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_SHARING_VIOLATION); // still held
    }
    m_file = OpenAlone("clip");
    EXPECT_NE(m_file, VXC_INVALID_HANDLE);
}

TEST_F(FaultPlanTest, ACloseThatWasRepeatedIsNotMadeTwice) {
    FaultPlan plan;
    OpenClip();
    plan.Add(Fail(Op::VXC_CloseFile));
    EXPECT_EQ(VXC_CloseFile(m_file), 0);
    EXPECT_EQ(VXC_CloseFile(m_file), 1);
    m_file = VXC_INVALID_HANDLE;
}

TEST_F(FaultPlanTest, AVoidOperationIsLeftOut) {
    FaultPlan plan;
    plan.Add(Fail(Op::VXCSoftMemCopy));
    char target[] = "ab";
    char source[] = "cd";
    VXCSoftMemCopy(target, source, 2);
    EXPECT_STREQ(target, "ab");
    VXCSoftMemCopy(target, source, 2);
    EXPECT_STREQ(target, "cd");
}

TEST_F(FaultPlanTest, ASetOfOperationsSharesOneCount) {
    OpenClip();
    FaultPlan plan;
    plan.Add(Fail(std::vector<Op>{Op::VXC_ReadFile, Op::VXC_GetFileSize}).Nth(2));
    EXPECT_EQ(Read(1), 1);
    EXPECT_EQ(VXC_GetFileSize(m_file, nullptr), 0xFFFFFFFFu);
    EXPECT_EQ(VXC_GetFileSize(m_file, nullptr), 10u);
}

TEST_F(FaultPlanTest, ASweepOverAnyOperationEndsByItself) {
    int runs = 0;
    for (int n = 1;; ++n) {
        FaultPlan plan;
        plan.Add(FailAny().Nth(n));
        void* file = Open("clip");
        if (file != VXC_INVALID_HANDLE) {
            unsigned long done = 0;
            VXC_ReadFile(file, m_buffer, 4, &done, nullptr);
            VXC_GetTickCount();
            VXC_CloseFile(file);
        }
        if (plan.Fired() == 0) {
            break;
        }
        ++runs;
    }
    EXPECT_EQ(runs, 3);
}

TEST_F(FaultPlanTest, TheInjectedErrorStaysUntilTheNextRealOne) {
    OpenClip();
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_ReadFile).WithError(1117));
    Read(1);
    wchar_t text[64] = {};
    VXC_GetTickCount();
    EXPECT_EQ(VXC_GetLastError(), 1117u);
    EXPECT_EQ(VXC_GetLastErrorStringW(text, 64), 14);
    EXPECT_STREQ(text, L"injected error");
    EXPECT_EQ(VXC_GetLastErrorStringW(text, 4), 3);
    EXPECT_STREQ(text, L"inj");
    std::thread([] { EXPECT_NE(VXC_GetLastError(), 1117u); }).join();
    EXPECT_EQ(Open("missing"), VXC_INVALID_HANDLE);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_FILE_NOT_FOUND);
    VXC_GetLastErrorStringW(text, 64);
    EXPECT_STRNE(text, L"injected error");
}

TEST_F(FaultPlanTest, TheInjectedErrorEndsWithItsPlan) {
    OpenClip();
    {
        FaultPlan plan;
        plan.Add(Fail(Op::VXC_ReadFile).WithError(1117));
        Read(1);
    }
    EXPECT_NE(VXC_GetLastError(), 1117u);
    FaultPlan plan;
    EXPECT_NE(VXC_GetLastError(), 1117u);
}

TEST_F(FaultPlanTest, ARuleCanKeepToOneThread) {
    OpenClip();
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_GetFileSize).OnThisThread());
    std::thread([&] { EXPECT_EQ(VXC_GetFileSize(m_file, nullptr), 10u); }).join();
    EXPECT_EQ(VXC_GetFileSize(m_file, nullptr), 0xFFFFFFFFu);
    plan.Add(Fail(Op::VXC_GetFileSize).OnOtherThreads());
    EXPECT_EQ(VXC_GetFileSize(m_file, nullptr), 10u);
    std::thread([&] { EXPECT_EQ(VXC_GetFileSize(m_file, nullptr), 0xFFFFFFFFu); }).join();
}

TEST_F(FaultPlanTest, ARuleCanKeepToOneFile) {
    m_folder.Write("other", "x");
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_CreateFileW).OnFile(L"/none"));
    plan.Add(Fail(Op::VXC_GetFileSize).OnFile(L"/other").FromThenOn());
    OpenClip();
    void* other = Open("other");
    ASSERT_NE(other, VXC_INVALID_HANDLE);
    EXPECT_EQ(VXC_GetFileSize(m_file, nullptr), 10u);
    EXPECT_EQ(VXC_GetFileSize(other, nullptr), 0xFFFFFFFFu);
    EXPECT_EQ(plan.CallsOn(Op::VXC_GetFileSize, L"/other"), 1);
    EXPECT_EQ(plan.CallsOn(Op::VXC_CreateFileW, L"/clip"), 1);
    VXC_CloseFile(other);
}

TEST_F(FaultPlanTest, ARuleCanKeepToOneHandle) {
    OpenClip();
    void* second = Open("clip");
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_GetFileSize).OnHandle(second));
    EXPECT_EQ(VXC_GetFileSize(m_file, nullptr), 10u);
    EXPECT_EQ(VXC_GetFileSize(second, nullptr), 0xFFFFFFFFu);
    VXC_CloseFile(second);
}

TEST_F(FaultPlanTest, ARemovedRuleTakesNoCall) {
    OpenClip();
    FaultPlan plan;
    const auto rule = plan.Add(Fail(Op::VXC_ReadFile).FromThenOn());
    EXPECT_EQ(Read(1), 0);
    plan.Remove(rule);
    EXPECT_EQ(Read(1), 1);
}

TEST_F(FaultPlanTest, ATransferIsCutShort) {
    OpenClip(VXC_GENERIC_READ | VXC_GENERIC_WRITE);
    FaultPlan plan;
    plan.Add(CutShort(Op::VXC_ReadFile, 4));
    EXPECT_EQ(Read(8), 1);
    EXPECT_EQ(Got(), "0123");
    EXPECT_EQ(m_buffer[4], 0);
    EXPECT_EQ(Read(2), 1);
    EXPECT_EQ(Got(), "45");
    plan.Add(CutShort(Op::VXC_WriteFile, 1));
    EXPECT_EQ(VXC_WriteFile(m_file, "XYZ", 3, &m_done, nullptr), 1);
    EXPECT_EQ(m_done, 1u);
    EXPECT_EQ(m_folder.Read("clip"), "012345X789");
}

TEST_F(FaultPlanTest, AnUnbufferedReadIsCutToAnyLength) {
    const std::vector<uint8> content = Pattern(8192, 5);
    m_folder.WritePattern("sectors", 8192, 5);
    void* file = Open("sectors", VXC_GENERIC_READ, VXC_FILE_FLAG_NO_BUFFERING);
    ASSERT_NE(file, VXC_INVALID_HANDLE);
    std::unique_ptr<void, decltype(&std::free)> block(std::aligned_alloc(4096, 4096), &std::free);
    FaultPlan plan;
    plan.Add(CutShort(Op::VXC_ReadFile, 100));
    EXPECT_EQ(VXC_ReadFile(file, block.get(), 4096, &m_done, nullptr), 1);
    EXPECT_EQ(m_done, 100u);
    EXPECT_EQ(std::memcmp(block.get(), content.data(), 100), 0);
    int32 high = 0;
    EXPECT_EQ(VXC_SetFilePointer(file, 0, &high, VXC_FILE_CURRENT), 100u);
    VXC_CloseFile(file);
}

TEST_F(FaultPlanTest, ACallStandsAtTheGateBeforeItsEffect) {
    OpenClip(VXC_GENERIC_WRITE);
    Gate gate;
    FaultPlan plan;
    plan.Add(Hold(Op::VXC_SetEndOfFile, gate));
    std::thread thread([&] { EXPECT_EQ(VXC_SetEndOfFile(m_file), 1); });
    ASSERT_TRUE(gate.WaitUntilReached());
    EXPECT_EQ(m_folder.Read("clip").size(), 10u);
    gate.Open();
    thread.join();
    EXPECT_EQ(m_folder.Read("clip").size(), 0u);
}

TEST_F(FaultPlanTest, ACallStandsAtTheGateAfterItsEffectAndMayFailThen) {
    OpenClip(VXC_GENERIC_WRITE);
    Gate gate;
    FaultPlan plan;
    plan.Add(Hold(Op::VXC_SetEndOfFile, gate).AfterEffect());
    plan.Add(Fail(Op::VXC_SetEndOfFile).AfterEffect());
    std::thread thread([&] { EXPECT_EQ(VXC_SetEndOfFile(m_file), 0); });
    ASSERT_TRUE(gate.WaitUntilReached());
    EXPECT_EQ(m_folder.Read("clip").size(), 0u);
    gate.Open();
    thread.join();
}

TEST_F(FaultPlanTest, ACallThatIsHeldOutlivesThePlan) {
    OpenClip();
    Gate gate;
    std::thread thread;
    {
        FaultPlan plan;
        plan.Add(Hold(Op::VXC_GetFileSize, gate));
        plan.Add(Fail(Op::VXC_GetFileSize));
        thread = std::thread([&] { EXPECT_EQ(VXC_GetFileSize(m_file, nullptr), 0xFFFFFFFFu); });
        ASSERT_TRUE(gate.WaitUntilReached());
    }
    EXPECT_EQ(VXC_GetFileSize(m_file, nullptr), 10u);
    gate.Open();
    thread.join();
}

TEST_F(FaultPlanTest, CallsAreCountedFromAllThreads) {
    FaultPlan plan;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int k = 0; k < 100; ++k) {
                VXC_GetTickCount();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(plan.Calls(Op::VXC_GetTickCount), 400);
    EXPECT_EQ(plan.Calls(), 400);
}

} // namespace
