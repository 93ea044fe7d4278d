#include "support/PlatformScope.h"

#include "frame/PlatformTypes.h"

#include <gtest/gtest.h>

using namespace vxcio;
using namespace vxcio::test;

TEST(PlatformScopeTest, EveryTableIsReplacedAndPutBack) {
    const auto driveType = DiskQueries().getDriveType;
    const auto closeToken = FileCache().closeToken;
    const auto pinModule = ModulePath().pinModule;
    const auto getVersion = SystemVersion().getVersion;
    {
        PlatformScope platform;
        platform.Disks().getDriveType = [](const wchar_t*) { return VXC_DRIVE_CDROM; };
        platform.Cache().closeToken = nullptr;
        platform.Module().pinModule = nullptr;
        SystemVersion().getVersion = nullptr; // directly, as a test may
        EXPECT_EQ(DiskQueries().getDriveType(L"/"), VXC_DRIVE_CDROM);
        EXPECT_EQ(FileCache().closeToken, nullptr);
        EXPECT_EQ(ModulePath().pinModule, nullptr);
    }
    EXPECT_EQ(DiskQueries().getDriveType, driveType);
    EXPECT_EQ(FileCache().closeToken, closeToken);
    EXPECT_EQ(ModulePath().pinModule, pinModule);
    EXPECT_EQ(SystemVersion().getVersion, getVersion);
}
