// Names of shares of this machine through the shared library: converted, and opened from the folder.
#include "module/VXCSoftCodecIO.h"

#include "support/SettingsScope.h"
#include "support/TempFolder.h"
#include "support/posix/SystemTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cwchar>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace vxcio::test;

namespace {

constexpr uint32 kSize = 100'003;
constexpr uint32 kSeed = 5;
constexpr const wchar_t* kName = L"\\\\tower\\MEDIA\\clip.mxf";
constexpr const wchar_t* kWholeName = L"STUDIO\\\\TOWER\\media\\clip.mxf";

// The folder "exported" is the share "media" of the computer TOWER, of the work group STUDIO.
class ShareNamesTest : public testing::Test {
protected:
    ShareNamesTest() {
        folder.WritePattern("exported/clip.mxf", kSize, kSeed);
        folder.Write("smb.conf", "[global]\nnetbios name = tower\nworkgroup = studio\n[media]\npath = " +
                                     folder.Name("exported") + "\n");
        settings.Set(L"SambaConfiguration", folder.Wide("smb.conf"));
        settings.Set(L"NotCall_UNC2LOCAL", L"0");
    }

    // True in a process that runs this test alone, and false in another one, which starts that first: a
    // process makes its table of shares once, and reads the setting once.
    static bool IsAlone() {
        constexpr const char* kMark = "VXC_SHARE_NAMES_ALONE";
        if (std::getenv(kMark) != nullptr) {
            return true;
        }
        const std::string program = std::filesystem::read_symlink("/proc/self/exe");
        const std::string name = testing::UnitTest::GetInstance()->current_test_info()->name();
        EXPECT_TRUE(RunQuietly(
            {"/usr/bin/env", std::string(kMark) + "=1", program, "--gtest_filter=ShareNamesTest." + name}))
            << "by itself, with " << kMark << " set, it says why";
        return false;
    }

    // The file's name in its folder, as conversions give it.
    std::wstring Local() const {
        std::wstring name = folder.Wide("exported/clip.mxf");
        std::replace(name.begin(), name.end(), L'/', L'\\');
        return name;
    }

    const TempFolder folder{TempFolder::Kind::Memory};
    SettingsScope settings;
};

std::wstring Converted(const wchar_t* name) {
    wchar_t out[1024] = {};
    EXPECT_EQ(ConvertUNC2LocalPathName(name, out), 1);
    return out;
}

bool IsOpened(const wchar_t* name) {
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    if (source->OpenFile(name, 0, nullptr, 0) != VXC_STATUS_OK) {
        return false;
    }
    std::vector<uint8> bytes(kSize + 1);
    uint32 filled = 0;
    for (int got = 1; got > 0 && filled < bytes.size(); filled += static_cast<uint32>(got)) {
        got = std::max(source->Read(bytes.data() + filled, static_cast<uint32>(bytes.size()) - filled), 0);
    }
    source->CloseFile();
    bytes.resize(filled);
    return bytes == Pattern(kSize, kSeed);
}

} // namespace

TEST_F(ShareNamesTest, AFileIsOpenedByTheNameOfItsShare) {
    if (!IsAlone()) {
        return;
    }
    const std::wstring local = Local();
    EXPECT_EQ(Converted(kName), local);
    EXPECT_STREQ(vxcio::UNC2Local(kName), local.c_str());
    EXPECT_TRUE(IsOpened(kName));
    EXPECT_STREQ(vxcio::Local2UNC(local.c_str()), kWholeName);
    EXPECT_TRUE(IsOpened(vxcio::UNC2Local(kWholeName)));
    constexpr const wchar_t* kOther = L"\\\\OTHER\\media\\clip.mxf";
    EXPECT_EQ(Converted(kOther), kOther);
    EXPECT_FALSE(IsOpened(kOther));
}

TEST_F(ShareNamesTest, TheSharesAreTold) {
    if (!IsAlone()) {
        return;
    }
    std::wstring first;
    vxcio::VisitNetPaths(
        [](void* context, const vxcio::NetPath& path) {
            *static_cast<std::wstring*>(context) += std::wstring(path.nameUNC) + L'=' + path.local;
            return 0;
        },
        &first);
    const std::wstring local = Local();
    EXPECT_EQ(first, L"\\\\TOWER\\media=" + local.substr(0, local.rfind(L'\\')));
}

TEST_F(ShareNamesTest, WithoutTheSettingTheNameStays) {
    if (!IsAlone()) {
        return;
    }
    settings.Remove(L"NotCall_UNC2LOCAL");
    EXPECT_EQ(Converted(kName), kName);
    EXPECT_FALSE(IsOpened(kName));
}

TEST_F(ShareNamesTest, ManyThreadsConvertAndOpenAtOnce) {
    if (!IsAlone()) {
        return;
    }
    constexpr int kThreads = 8;
    const std::wstring local = Local();
    std::atomic<int> arrived{0};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            // Together, so that they meet where the table is made.
            ++arrived;
            while (arrived < kThreads) {
                std::this_thread::yield();
            }
            for (int n = 0; n < 20; ++n) {
                const bool isRight = (i + n) % 3 == 0 ? Converted(kName) == local
                                     : (i + n) % 3 == 1
                                         ? IsOpened(kName)
                                         : std::wcscmp(vxcio::Local2UNC(local.c_str()), kWholeName) == 0;
                wrong += isRight ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}
