// Names of shares of this machine through the shared library: converted, and opened from the folder.
#include "module/VXCSoftCodecIO.h"

#include "support/SettingsScope.h"
#include "support/TempFolder.h"
#include "support/posix/SystemTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace vxcio::test;

namespace {

constexpr uint32 kSize = 100'003;
constexpr uint32 kSeed = 5;
constexpr const wchar_t* kName = L"\\\\tower\\MEDIA\\clip.mxf";

// The folder "exported" is the share "media" of the computer TOWER, of the work group STUDIO. What is asked
// of the library runs in a process of its own, as one makes its table of shares once.
class ShareNamesTest : public testing::Test {
protected:
    ShareNamesTest() {
        folder.WritePattern("exported/clip.mxf", kSize, kSeed);
        folder.Write("smb.conf", "[global]\nnetbios name = tower\nworkgroup = studio\n[media]\npath = " +
                                     folder.Name("exported") + "\n");
        settings.Set(L"SambaConfiguration", folder.Wide("smb.conf"));
        settings.Set(L"NotCall_UNC2LOCAL", L"0");
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
    const auto ask = [&] {
        const std::wstring local = Local();
        if (Converted(kName) != local || vxcio::UNC2Local(kName).Compare(local.c_str()) != 0) {
            return 1;
        }
        if (!IsOpened(kName)) {
            return 2;
        }
        if (std::wcscmp(vxcio::Local2UNC(local.c_str()), L"STUDIO\\\\TOWER\\media\\clip.mxf") != 0) {
            return 3;
        }
        if (!IsOpened(vxcio::UNC2Local(vxcio::Local2UNC(local.c_str())))) {
            return 4;
        }
        constexpr const wchar_t* kOther = L"\\\\OTHER\\media\\clip.mxf";
        return Converted(kOther) != kOther || IsOpened(kOther) ? 5 : 0;
    };
    EXPECT_EQ(RunInChild(ask), 0);
}

TEST_F(ShareNamesTest, TheSharesAreTold) {
    EXPECT_EQ(RunInChild([&] {
                  std::wstring all;
                  vxcio::VisitNetPaths(
                      [](void* context, const vxcio::NetPath& path) {
                          *static_cast<std::wstring*>(context) +=
                              std::wstring(path.nameUNC) + L'=' + path.local;
                          return 0;
                      },
                      &all);
                  const std::wstring local = Local();
                  return all == L"\\\\TOWER\\media=" + local.substr(0, local.rfind(L'\\')) ? 0 : 1;
              }),
              0);
}

TEST_F(ShareNamesTest, WithoutTheSettingTheNameStays) {
    settings.Remove(L"NotCall_UNC2LOCAL");
    EXPECT_EQ(RunInChild([] { return Converted(kName) != kName ? 1 : IsOpened(kName) ? 2 : 0; }), 0);
}

TEST_F(ShareNamesTest, ManyThreadsConvertAndOpenAtOnce) {
    EXPECT_EQ(RunInChild([&] {
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
                              const bool isRight =
                                  (i + n) % 3 == 0   ? Converted(kName) == local
                                  : (i + n) % 3 == 1 ? IsOpened(kName)
                                                     : std::wcscmp(vxcio::Local2UNC(local.c_str()),
                                                                   L"STUDIO\\\\TOWER\\media\\clip.mxf") == 0;
                              wrong += isRight ? 0 : 1;
                          }
                      });
                  }
                  for (std::thread& thread : threads) {
                      thread.join();
                  }
                  return wrong.load();
              }),
              0);
}
