// The mounted shares of a machine that has some: its mount table is a file of the test's own.
#include "platform/NetworkNames.h"

#include "frame/SoftDataIO.h"
#include "frame/Status.h"
#include "paths/NetPathExchange.h"
#include "platform/posix/OwnMounts.h"
#include "platform/posix/SambaFixture.h"
#include "support/PlatformScope.h"
#include "support/posix/SystemTesting.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <sys/mount.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kMayNot = 77;
constexpr const wchar_t* kDriveMap = L"Software\\Norvex\\DriveMap";

class MountedSharesTest : public SambaFixture {
protected:
    MountedSharesTest() {
        namespace fs = std::filesystem;
        fs::create_directories(m_folder.Path() / "mount/dir");
        fs::create_directory_symlink(m_folder.Path() / "mount/dir", m_folder.Path() / "link");
        m_folder.Write("mount/dir/clip", "content");
        m_folder.Write("mounts", "1 0 0:1 / / rw - ext4 /dev/sda rw\n"
                                 "2 1 0:2 / /mnt/nas rw - cifs //nas/media rw\n"
                                 "3 1 0:3 / /mnt/my\\040clips rw shared:1 - nfs4 server:/export/a rw\n"
                                 "4 1 0:4 / /mnt/new rw - smb3 //10.0.0.5/x rw\n"
                                 "5 1 0:5 / /mnt/back\\134slash rw - cifs //nas/other rw\n"
                                 "6 1 0:6 / " +
                                     m_folder.Name("mount") + " rw - cifs //nas/deep rw\n");
        m_settings.Set(kDriveMap, L"L", m_folder.Wide("link"));
        m_settings.Set(kDriveMap, L"M", L"/mnt/nas/dir");
        m_settings.Set(kDriveMap, L"N", m_folder.Wide("users"));
    }

    // Runs the body in a process with that mount table; 77 where it may have none.
    int Run(const std::function<int()>& body) const {
        return RunInChild([&] {
            const std::string table = "/proc/" + std::to_string(::getpid()) + "/mountinfo";
            if (!HaveOwnMounts() ||
                ::mount(m_folder.Name("mounts").c_str(), table.c_str(), nullptr, MS_BIND, nullptr) != 0) {
                return kMayNot;
            }
            const PlatformScope platform;
            platform.Hosts().firstAddress = [](const char*, uint32*) { return false; }; // nobody is asked
            return body();
        });
    }
    // The folder "mount" as conversions give it.
    std::wstring Mount() const {
        std::wstring name = m_folder.Wide("mount");
        std::replace(name.begin(), name.end(), L'/', L'\\');
        return name;
    }
};

std::wstring ShareOf(const wchar_t* drive) {
    wchar_t name[1024] = {};
    NetworkNames().driveConnection(drive, name, 1024);
    return name;
}

} // namespace

#define VXC_EXPECT_IN_CHILD(body)                                                                            \
    const int result = Run(body);                                                                            \
    if (result == kMayNot) {                                                                                 \
        GTEST_SKIP() << "this process may not have a mount table of its own";                                \
    }                                                                                                        \
    EXPECT_EQ(result, 0)

TEST_F(MountedSharesTest, TheyAreListedInTheOrderOfTheirMounts) {
    VXC_EXPECT_IN_CHILD([&] {
        std::wstring all;
        NetworkNames().mountedShares(
            [](void* context, const wchar_t* share, const wchar_t* folder) {
                *static_cast<std::wstring*>(context) += std::wstring(share) + L"=" + folder + L"\n";
            },
            &all);
        return all == L"\\\\nas\\media=\\mnt\\nas\n\\\\server\\export\\a=\\mnt\\my clips\n"
                      L"\\\\10.0.0.5\\x=\\mnt\\new\n\\\\nas\\deep=" +
                           Mount() + L"\n"
                   ? 0
                   : 1;
    });
}

TEST_F(MountedSharesTest, ADriveLeadsToTheShareThatItsFolderLiesOn) {
    VXC_EXPECT_IN_CHILD([] {
        return ShareOf(L"M:") != L"\\\\nas\\media\\dir"  ? 1
               : ShareOf(L"L:") != L"\\\\nas\\deep\\dir" ? 2 // through a link
               : ShareOf(L"l:") != L"\\\\nas\\deep\\dir" ? 3
               : ShareOf(L"N:") != L""                   ? 4
                                                         : 0;
    });
}

TEST_F(MountedSharesTest, NamesOfSharesBecomeDrivesAndFolders) {
    VXC_EXPECT_IN_CHILD([&] {
        CQLNetPathExchange exchange;
        const auto becomes = [&](const wchar_t* name, const std::wstring& local) {
            return exchange.UNC2Local(name).Compare(local.c_str()) == 0;
        };
        return !becomes(L"\\\\NAS\\media\\dir\\a", L"M:\\a")                  ? 1
               : !becomes(L"\\\\nas\\media\\a", L"\\mnt\\nas\\a")             ? 2
               : !becomes(L"\\\\server\\export\\A\\b", L"\\mnt\\my clips\\b") ? 3
               : !becomes(L"\\\\10.0.0.5\\x\\y", L"\\mnt\\new\\y")            ? 4
               : !becomes(L"\\\\nas\\deep\\dir\\clip", L"L:\\clip")           ? 5
               : !becomes(L"\\\\nas\\deep\\clip", Mount() + L"\\clip")        ? 6
               : !becomes(L"\\\\nas\\other\\clip", L"\\\\nas\\other\\clip")   ? 7
                                                                              : 0;
    });
}

TEST_F(MountedSharesTest, AFileIsOpenedByEachOfItsNames) {
    VXC_EXPECT_IN_CHILD([&] {
        const std::wstring local = Mount() + L"\\dir\\clip";
        for (const wchar_t* name : {L"\\\\NAS\\Deep\\dir\\clip", L"L:\\clip", local.c_str()}) {
            const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
            char bytes[8] = {};
            if (source->OpenFile(name, 0, nullptr, 0) != VXC_STATUS_OK ||
                source->Read(reinterpret_cast<uint8*>(bytes), 7) != 7 || std::string(bytes) != "content") {
                return 1;
            }
        }
        return 0;
    });
}
