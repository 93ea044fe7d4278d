#include "support/ForwardingLayer.h"

#include "support/FaultPlan.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>

using namespace vxcio::test;

namespace {

// Runs before main, and before or after the statics of any other file.
const uint32 g_ticksAtStart = VXC_GetTickCount();

} // namespace

TEST(ForwardingLayerTest, EveryOperationOfTheListHasItsMemberAndItsName) {
    std::set<std::string> names;
    for (std::size_t i = 0; i < AllOps().size(); ++i) {
        EXPECT_EQ(static_cast<std::size_t>(AllOps()[i]), i);
        names.insert(OpName(AllOps()[i]));
    }
    EXPECT_EQ(names.size(), AllOps().size());
    EXPECT_EQ(AllOps().front(), Op::VXC_CreateFileW);
    EXPECT_STREQ(OpName(Op::VXC_ReadFile), "VXC_ReadFile");
    EXPECT_STREQ(OpName(Op::VXCSoftMemCopy), "VXCSoftMemCopy");
}

TEST(ForwardingLayerTest, TheListTellsWhatMayBlockAndWhatCanFail) {
    EXPECT_TRUE(MayBlock(Op::VXC_ReadFile));
    EXPECT_TRUE(MayBlock(Op::VXC_Sleep));
    EXPECT_FALSE(MayBlock(Op::VXC_SetEvent));
    EXPECT_TRUE(CanFail(Op::VXC_WaitForSingleObject));
    for (const Op op : {Op::VXC_Sleep, Op::VXC_GetTickCount, Op::VXC_GetLastError,
                        Op::VXC_GetLastErrorStringW, Op::VXC_CloseModule, Op::VXCSoftMemCopy}) {
        EXPECT_FALSE(CanFail(op)) << OpName(op);
    }
}

TEST(ForwardingLayerTest, OperationsWorkDuringStaticInitialisation) {
    EXPECT_LT(VXC_GetTickCount() - g_ticksAtStart, 60'000u * 60);
}

TEST(ForwardingLayerTest, OperationsReachTheSystemLibraryWithAndWithoutAPlan) {
    TempFolder folder;
    folder.Write("clip", "media");
    for (const bool planned : {false, true}) {
        const auto plan = planned ? std::make_unique<FaultPlan>() : nullptr;
        void* file = VXC_CreateFileW(folder.Wide("clip").c_str(), VXC_GENERIC_READ, VXC_FILE_SHARE_READ,
                                     nullptr, VXC_OPEN_EXISTING, 0, nullptr);
        ASSERT_NE(file, VXC_INVALID_HANDLE);
        char buffer[16] = {};
        unsigned long done = 0;
        EXPECT_EQ(VXC_ReadFile(file, buffer, sizeof buffer, &done, nullptr), 1);
        EXPECT_EQ(std::string(buffer, done), "media");
        EXPECT_EQ(VXC_CloseFile(file), 1);
        char copy[4] = {};
        VXCSoftMemCopy(copy, buffer, 3);
        EXPECT_STREQ(copy, "med");
    }
}

TEST(ForwardingLayerTest, TheProgramsOperationsAreNotTheLibrarys) {
    FaultPlan plan;
    EXPECT_NE(VXC_GetTickCount(), 0u);
    EXPECT_EQ(plan.Calls(Op::VXC_GetTickCount), 1);
    EXPECT_NE(real::VXC_GetTickCount(), 0u);
    EXPECT_EQ(plan.Calls(Op::VXC_GetTickCount), 1);
}
