// What becomes of the names that a file source opens.
#include "sources/TwoCopiesFixture.h"

#include "paths/FakeNetwork.h"
#include "paths/MediumPathState.h"
#include "paths/NetPathFixture.h"
#include "paths/NetPaths.h"
#include "support/HostTable.h"
#include "support/SettingsScope.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using Inspector = FileSourceInspector;

namespace {

std::wstring g_asked; // the roots that somebody asked about, each with a bar behind it

// The folder of the test is shared as \\HOST\clips.
class FileSourceNamesTest : public FileSourceFixture {
protected:
    FileSourceNamesTest() {
        Forget();
        const std::wstring clip = Local("clip");
        network.AddShare(L"clips", clip.substr(0, clip.rfind(L'\\')));
        settings.Set(L"NotCall_UNC2LOCAL", L"0");
        g_asked.clear();
    }
    ~FileSourceNamesTest() override {
        source.CloseFile();
        Forget();
    }
    static void Forget() {
        ForgetMediumPathSetting();
        ForgetSpecialDrives();
        NetPathInspector::Forget(NetPathExchange());
    }
    // A file of the folder as the rules give it.
    std::wstring Local(const char* file) const {
        std::wstring path = folder.Wide(file);
        std::replace(path.begin(), path.end(), L'/', L'\\');
        return path;
    }

    FakeNetwork network;
    SettingsScope settings;
};

} // namespace

TEST_F(FileSourceNamesTest, AFileOfAShareOfThisMachineIsReadFromItsFolder) {
    ASSERT_EQ(source.OpenFile(L"\\\\host\\CLIPS\\clip", 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::File1(source), Local("clip"));
    EXPECT_EQ(Read(kSize), content);
}

TEST_F(FileSourceNamesTest, WithoutTheSettingANameOfAShareIsOpenedAsItStands) {
    settings.Remove(L"NotCall_UNC2LOCAL");
    EXPECT_EQ(source.OpenFile(L"\\\\HOST\\clips\\clip", 0, nullptr, 0), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(Inspector::File1(source), L"\\\\HOST\\clips\\clip");
    EXPECT_EQ(network.Count(L"openShares"), 0U);
}

TEST_F(FileSourceNamesTest, AMarkedNameIsOpenedWithoutItsMark) {
    settings.Remove(L"NotCall_UNC2LOCAL");
    ASSERT_EQ(source.OpenFile((L"LOCAL\\" + Clip()).c_str(), 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::File1(source), Clip());
    EXPECT_EQ(Read(10), Bytes(0, 10));
}

TEST_F(FileSourceNamesTest, ANameOfAMediumIsOpenedAsItStands) {
    EXPECT_EQ(source.OpenFile(L"P2*\\\\HOST\\clips\\clip", 0, nullptr, 0), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(Inspector::File1(source), L"P2*\\\\HOST\\clips\\clip");
}

TEST_F(FileSourceNamesTest, BothCopiesGoByTheRules) {
    folder.WritePattern("copy", kSize, kSeed);
    ASSERT_EQ(source.OpenFile(L"\\\\HOST\\clips\\clip", 0, L"\\\\HOST\\clips\\copy", 0), VXC_STATUS_OK);
    EXPECT_EQ(FileSourceTwoInspector::TwoHandle(source), 1U);
    EXPECT_EQ(Inspector::File1(source), Local("clip"));
    EXPECT_EQ(FileSourceTwoInspector::File2(source), Local("copy"));
    EXPECT_EQ(Read(kSize), content);
    ASSERT_EQ(source.OpenFile(Clip().c_str(), 0, (L"local\\" + folder.Wide("copy")).c_str(), 0),
              VXC_STATUS_OK);
    EXPECT_EQ(Inspector::File1(source), Clip());
    EXPECT_EQ(FileSourceTwoInspector::File2(source), folder.Wide("copy"));
}

TEST_F(FileSourceNamesTest, ASecondNameThatTheRulesEmptyStillCounts) {
    // It was given, so there are two copies, of which one cannot be opened.
    LogCapture log;
    ASSERT_EQ(source.OpenFile(Clip().c_str(), 0, L"LOCAL\\", 0), VXC_STATUS_OK);
    EXPECT_TRUE(log.Contains(L"two file but only one is OK"));
    EXPECT_EQ(Read(10), Bytes(0, 10));
}

TEST_F(FileSourceNamesTest, TheDriveIsAskedForByTheNameAsGivenAndTheDiskByTheNameThatIsOpened) {
    DiskQueries().rootLength = [](const wchar_t* path) {
        g_asked += std::wstring(path) + L'|';
        return 3;
    };
    ASSERT_EQ(source.OpenFile(L"\\\\HOST\\clips\\clip", 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_EQ(g_asked, L"\\\\HOST\\clips\\clip|" + Local("clip") + L"|");
    g_asked.clear();
    ASSERT_EQ(source.OpenFile((L"LOCAL\\" + Clip()).c_str(), 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_EQ(g_asked, L"LOCAL\\" + Clip() + L"|" + Clip() + L"|");
}

TEST_F(FileSourceNamesTest, TheStepsOfAnOpenAreLoggedInTheirOrder) {
    settings.Set(L"ReadBlockSize", L"2");
    UNC2Local(L"\\\\HOST\\clips\\clip"); // the table is there
    FaultPlan plan;
    plan.Add(Answer(Op::VXC_GetDriveTypeW, VXC_DRIVE_CDROM));
    LogCapture log;
    ASSERT_EQ(source.OpenFile(L"\\\\HOST\\clips\\clip", 0, nullptr, 0), VXC_STATUS_OK);
    auto texts = log.Texts();
    ASSERT_GE(texts.size(), 5U);
    texts.resize(5);
    EXPECT_THAT(texts,
                ElementsAre(L"CFileSource::OpenFile()-m_dwReadBlockSize = 0x200000 bytes(Register = 2)",
                            L"CFileSource::OpenFile--This is CDROM Path Name, Change to "
                            L"VXC_FILE_FLAG_SEQUENTIAL_SCAN",
                            L"ConvertUNC2LocalPathName(), registry for NotCall_UNC2LOCAL = 0",
                            L"U2L:(UNCPath:\\\\HOST\\clips\\clip,LocalPath:" + Local("clip"),
                            L"GetDiskSectorSize(" + Local("clip") + L")--1"));
}

TEST_F(FileSourceNamesTest, NamesWithAHostsFunctionsGoByNoRule) {
    HostTable host(L"\\\\HOST\\clips\\clip", content);
    host.AddFile(L"LOCAL\\x", content);
    LogCapture log;
    ASSERT_EQ(source.OpenFile(host.Tagged().c_str(), 0, L"\\\\HOST\\clips\\clip", 0), VXC_STATUS_OK);
    EXPECT_EQ(host.Log().at(0).name, L"\\\\HOST\\clips\\clip");
    EXPECT_EQ(FileSourceTwoInspector::TwoHandle(source), 0U);
    ASSERT_EQ(source.OpenFile(host.Tagged(L"LOCAL\\x").c_str(), 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_EQ(Read(10), Bytes(0, 10));
    EXPECT_FALSE(log.Contains(L"NotCall_UNC2LOCAL"));
    EXPECT_EQ(network.Count(L"openShares"), 0U);
    source.CloseFile(); // while the host is there
}

TEST_F(FileSourceNamesTest, ManySourcesOpenOverTheShareAtOnce) {
    network.SetHost("HOST", 0x0A000001);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i) {
        threads.emplace_back([&, i] {
            const wchar_t* const name = i % 2 == 0 ? L"\\\\HOST\\clips\\clip" : L"\\\\10.0.0.1\\clips\\clip";
            for (int n = 0; n < 20; ++n) {
                CFileSource own;
                uint8 byte = 0;
                const bool isOpen = own.OpenFile(name, 0, nullptr, 0) == VXC_STATUS_OK;
                wrong += isOpen && own.Read(&byte, 1) == 1 && byte == content[0] ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(network.Count(L"openShares"), 1U);
}
