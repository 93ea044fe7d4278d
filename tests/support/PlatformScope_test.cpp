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
    const auto openSocket = Sockets().open;
    const auto ownAddress = HostNames().ownAddress;
    const auto year = UtcClock().year;
    {
        PlatformScope platform;
        platform.Disks().getDriveType = [](const wchar_t*) { return VXC_DRIVE_CDROM; };
        platform.Cache().closeToken = nullptr;
        platform.Module().pinModule = nullptr;
        platform.SocketCalls().open = nullptr;
        platform.Hosts().ownAddress = [] { return uint32{0x7F000001}; };
        platform.Utc().year = [] { return 1999; };
        EXPECT_EQ(Sockets().open, nullptr);
        EXPECT_EQ(HostNames().ownAddress(), 0x7F000001u);
        EXPECT_EQ(UtcClock().year(), 1999);
        SystemVersion().getVersion = nullptr; // directly, as a test may
        EXPECT_EQ(DiskQueries().getDriveType(L"/"), VXC_DRIVE_CDROM);
        EXPECT_EQ(FileCache().closeToken, nullptr);
        EXPECT_EQ(ModulePath().pinModule, nullptr);
    }
    EXPECT_EQ(DiskQueries().getDriveType, driveType);
    EXPECT_EQ(FileCache().closeToken, closeToken);
    EXPECT_EQ(ModulePath().pinModule, pinModule);
    EXPECT_EQ(SystemVersion().getVersion, getVersion);
    EXPECT_EQ(Sockets().open, openSocket);
    EXPECT_EQ(HostNames().ownAddress, ownAddress);
    EXPECT_EQ(UtcClock().year, year);
}
