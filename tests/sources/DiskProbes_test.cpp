#include "sources/DiskProbes.h"

#include "frame/PlatformTypes.h"
#include "platform/DiskQueries.h"
#include "support/LogCapture.h"
#include "support/PlatformScope.h"

#include <gmock/gmock.h>

#include <string>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

std::wstring g_root;

class DiskProbesTest : public ::testing::Test {
protected:
    DiskProbesTest() {
        g_root.clear();
        DiskQueries().getDiskFreeSpace = [](const wchar_t* root, uint32* size) {
            g_root = root;
            *size = 4096;
            return 1;
        };
        DiskQueries().getDriveType = [](const wchar_t* root) {
            g_root = root;
            return uint32{5};
        };
        DiskQueries().rootLength = [](const wchar_t*) { return 3; };
    }

    PlatformScope platform;
    LogCapture log;
};

} // namespace

TEST_F(DiskProbesTest, SectorSizeIsTheDisksAndBothStepsAreLogged) {
    EXPECT_EQ(GetDiskSectorSize(L"D:\\media\\clip.mxf"), 4096U);
    EXPECT_EQ(g_root, L"D:\\");
    EXPECT_THAT(log.Texts(), ElementsAre(L"GetDiskSectorSize(D:\\media\\clip.mxf)--1",
                                         L"GetDiskSectorSize(D:\\)--SectorSize is 4096 --2"));
    EXPECT_EQ(log.Lines().at(0).level, INFOTYPE_TRACE);
    EXPECT_EQ(log.Lines().at(1).level, INFOTYPE_TRACE);
}

TEST_F(DiskProbesTest, AFailedQueryGives512AndALoggedError) {
    DiskQueries().getDiskFreeSpace = [](const wchar_t* root, uint32*) {
        g_root = root;
        return 0;
    };
    EXPECT_EQ(GetDiskSectorSize(L"\\\\server\\share\\clip.mxf"), 512U);
    EXPECT_EQ(g_root, L"\\\\s");
    ASSERT_EQ(log.Lines().size(), 3U);
    EXPECT_EQ(log.Lines().at(1).text, L"GetDiskSectorSize()--::GetDiskFreeSpace() return FALSE!!");
    EXPECT_EQ(log.Lines().at(1).level, INFOTYPE_ERROR);
    EXPECT_EQ(log.Lines().at(2).text, L"GetDiskSectorSize(\\\\s)--SectorSize is 512 --2");
}

TEST_F(DiskProbesTest, AnAnswerOfZeroGives512AndALoggedError) {
    DiskQueries().getDiskFreeSpace = [](const wchar_t*, uint32* size) {
        *size = 0;
        return 1;
    };
    EXPECT_EQ(GetDiskSectorSize(L"D:\\clip.mxf"), 512U);
    ASSERT_EQ(log.Lines().size(), 3U);
    EXPECT_EQ(log.Lines().at(1).text,
              L"GetDiskSectorSize()-- BytesPerSector = 0(Get from ::GetDiskFreeSpace()), Change to 512");
    EXPECT_EQ(log.Lines().at(1).level, INFOTYPE_ERROR);
}

TEST_F(DiskProbesTest, DriveTypeOfALocalPathIsThatOfItsRoot) {
    EXPECT_EQ(GetDiskDriveType(L"D:\\media\\clip.mxf"), VXC_DRIVE_CDROM);
    EXPECT_EQ(g_root, L"D:\\");
}

TEST_F(DiskProbesTest, DriveTypeOfAShareIsThatOfThePathUpToItsLastBackslash) {
    GetDiskDriveType(L"\\\\server\\share\\folder\\clip.mxf");
    EXPECT_EQ(g_root, L"\\\\server\\share\\folder\\");
    GetDiskDriveType(L"LOCAL\\clip.mxf");
    EXPECT_EQ(g_root, L"LOCAL\\");
}

TEST_F(DiskProbesTest, NullAndEmptyPathsAreAskedAsTheyAre) {
    EXPECT_EQ(GetDiskSectorSize(nullptr), 4096U);
    EXPECT_EQ(g_root, L"");
    GetDiskDriveType(L"");
    EXPECT_EQ(g_root, L"");
}
