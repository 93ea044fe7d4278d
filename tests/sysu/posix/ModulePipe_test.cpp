#include "frame/SystemLayer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>

using vxcio::test::TempFolder;

TEST(ModulesTest, APipeIsNoModuleAndIsNotWaitedFor) {
    const TempFolder folder;
    const std::string name = folder.Path().string() + "/pipe.so";
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    EXPECT_EQ(VXC_LoadModuleExW(folder.Wide("pipe.so").c_str(), 0, 0), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_MOD_NOT_FOUND);
}
