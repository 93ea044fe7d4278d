#include "module/LibInfo.h"

#include "platform/SystemVersion.h"
#include "support/PlatformScope.h"

#include <gtest/gtest.h>

#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

SystemVersionRecord g_record;
int g_versionResult;
std::vector<int> g_exits;

int FakeVersion(SystemVersionRecord* record) {
    *record = g_record;
    return g_versionResult;
}

void FakeExit(int code) {
    g_exits.push_back(code);
}

class IsRunNT4OSTest : public testing::Test {
protected:
    void SetUp() override {
        g_record = {4, 0, 1381, 2};
        g_versionResult = 1;
        g_exits.clear();
        SystemVersion() = {FakeVersion, FakeExit};
    }

    PlatformScope m_scope;
};

} // namespace

TEST(LibInfoTest, TheRecordIsOneAndTellsTheVersions) {
    const QLLibInfo* const info = QLGetLibInfo();
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(QLGetLibInfo(), info);
    EXPECT_EQ(info->InfoVersion, 1u);
    EXPECT_STREQ(info->LibVersion, "3.0.18.0");
    EXPECT_STREQ(info->InterfaceVersion, "3.0.0.7");
    EXPECT_STREQ(info->BuildTime, "13:33:35");
    EXPECT_STREQ(info->BuildDate, "Jan  3 2017");
}

TEST_F(IsRunNT4OSTest, BuildsBelow2195AreNt4) {
    g_record.buildNumber = 1381;
    EXPECT_EQ(IsRunNT4OS(), 1);
    g_record.buildNumber = 2194;
    EXPECT_EQ(IsRunNT4OS(), 1);
    g_record.buildNumber = 2195;
    EXPECT_EQ(IsRunNT4OS(), 0);
    g_record.buildNumber = 22000;
    EXPECT_EQ(IsRunNT4OS(), 0);
    EXPECT_TRUE(g_exits.empty());
}

TEST_F(IsRunNT4OSTest, AVersionThatIsNotToldIsNone) {
    g_versionResult = 0;
    g_record.platformId = 1;
    EXPECT_EQ(IsRunNT4OS(), 0);
    EXPECT_TRUE(g_exits.empty());
}

TEST_F(IsRunNT4OSTest, ASystemOfBeforeNtEndsTheProcess) {
    g_record.platformId = 1;
    IsRunNT4OS();
    EXPECT_EQ(g_exits, std::vector<int>{0});
}

TEST(IsRunNT4OSHereTest, ThisSystemIsNone) {
    EXPECT_EQ(IsRunNT4OS(), 0);
}
