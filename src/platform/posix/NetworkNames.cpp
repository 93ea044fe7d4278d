// Shares from Samba's configuration, drives and mounted shares from the system layer, drives that stay local
// from the settings. What the tables of the interface call a listing that was opened is a list of its names.
#include "platform/NetworkNames.h"

#include "frame/SystemLayer.h"
#include "platform/posix/SambaShares.h"
#include "sysu/HostControl.h"
#include "text/FoldCase.h"
#include "text/Utf16.h"
#include "text/Utf8.h"

#include <algorithm>
#include <climits>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

namespace vxcio {

namespace {

constexpr const wchar_t* kSpecialDrives = L"Software\\Norvex\\QLSpecialDrivers";
constexpr const wchar_t* kProvider = L"Samba";
constexpr int kMoreData = 234;
constexpr int kNoMoreItems = 259;
constexpr int kNotFound = 2;

// Copies a text, cut to the room; its length as copied.
int GiveOut(std::wstring_view text, wchar_t* room, int characters) noexcept {
    if (room == nullptr || characters <= 0) {
        return 0;
    }
    const std::size_t length = std::min(text.size(), static_cast<std::size_t>(characters) - 1);
    *std::copy_n(text.data(), length, room) = 0;
    return static_cast<int>(length);
}

// Names of computers and work groups are in upper case.
std::wstring NetworkName(const std::string& name) {
    return UpperCase(FromUtf8(name));
}

// The name by which Windows would know this machine.
std::wstring ComputerName(const SambaConfiguration& samba) {
    std::string name = samba.netbiosName;
    if (name.empty() || name.find('%') != std::string::npos) { // which stands for the host name mostly
        char host[HOST_NAME_MAX + 1] = {};
        if (::gethostname(host, sizeof host - 1) == 0) {
            name = host;
        }
        name = name.substr(0, name.find('.'));
    }
    return NetworkName(name);
}

int GiveComputerName(wchar_t* name, int characters) {
    try {
        return GiveOut(ComputerName(*OwnSamba()), name, characters);
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

// Whether a share can be told in a name and a record: a backslash would make two names of one, a zero ends a
// text, and whoever reads the record takes a folder up to the first semicolon.
bool HasWideForm(const SambaShare& share) noexcept {
    constexpr std::string_view kNotInNames("\\\0", 2);
    constexpr std::string_view kNotInFolders("\\;\0", 3);
    return share.name.find_first_of(kNotInNames) == std::string::npos &&
           share.path.find_first_of(kNotInFolders) == std::string::npos;
}

struct Shares {
    std::vector<std::wstring> names; // \\COMPUTER\share
    bool isGiven = false;
};

void* OpenShares(const wchar_t* computer) {
    try {
        const std::shared_ptr<const SambaConfiguration> samba = OwnSamba();
        const std::wstring own = L"\\\\" + ComputerName(*samba);
        if (computer == nullptr || !EqualsFolded(computer, own)) {
            return nullptr;
        }
        auto shares = std::make_unique<Shares>();
        for (const SambaShare& share : samba->shares) {
            if (HasWideForm(share)) {
                shares->names.push_back(own + L'\\' + FromUtf8(share.name));
            }
        }
        return shares.release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

int NextShares(void* opened, TakeRemoteName take, void* context) {
    auto& shares = *static_cast<Shares*>(opened);
    if (shares.isGiven) {
        return kNoMoreItems;
    }
    shares.isGiven = true;
    for (const std::wstring& name : shares.names) {
        take(context, name.c_str());
    }
    return 0;
}

void CloseShares(void* opened) {
    delete static_cast<Shares*>(opened);
}

using ShareRecords = std::shared_ptr<const SambaConfiguration>;

void* OpenShareRecords() {
    try {
        return std::make_unique<ShareRecords>(OwnSamba()).release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

int ShareRecord(void* records, const wchar_t* share, uint8* record, uint32* bytes) {
    try {
        const auto& shares = (*static_cast<const ShareRecords*>(records))->shares;
        const std::string wanted = ToUtf8(share);
        const auto found = std::find_if(shares.begin(), shares.end(), [&](const SambaShare& entry) {
            return entry.name == wanted && HasWideForm(entry);
        });
        if (found == shares.end()) {
            return kNotFound;
        }
        std::string path = found->path;
        std::replace(path.begin(), path.end(), '/', '\\');
        std::wstring text = L"Path=" + FromUtf8(path);
        text.append(2, L'\0'); // ends the text and the list
        const std::size_t size = Utf16Units(text.data(), text.size()) * 2;
        if (size > *bytes) {
            return kMoreData;
        }
        StoreUtf16(text.data(), text.size(), record);
        *bytes = static_cast<uint32>(size);
        return 0;
    } catch (const std::bad_alloc&) {
        return VXC_ERROR_NOT_ENOUGH_MEMORY;
    }
}

void CloseShareRecords(void* records) {
    delete static_cast<ShareRecords*>(records);
}

// A name that does not fit is none: cut, it would be that of another folder.
int DriveConnection(const wchar_t* drive, wchar_t* remoteName, int characters) {
    try {
        std::wstring name(static_cast<std::size_t>(std::max(characters, 0)) + 1, L'\0');
        const int length = DriveShareName(drive[0], name.data(), static_cast<int>(name.size()));
        return length < characters
                   ? GiveOut({name.data(), static_cast<std::size_t>(length)}, remoteName, characters)
                   : 0;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

void MountedShares(TakeSharedFolder take, void* context) {
    struct Taker {
        TakeSharedFolder take;
        void* context;
    } given{take, context};
    VisitShareMounts(
        [](void* to, const wchar_t* share, const wchar_t* folder) {
            const auto& taker = *static_cast<Taker*>(to);
            try {
                std::wstring local(folder);
                if (local.find(L'\\') == std::wstring::npos) {
                    std::replace(local.begin(), local.end(), L'/', L'\\');
                    taker.take(taker.context, share, local.c_str());
                }
            } catch (const std::bad_alloc&) {
                return 0;
            }
            return 1;
        },
        &given);
}

struct SpecialDrive {
    std::wstring name;
    bool isNumber;
    uint32 number;
};
using SpecialDriveList = std::vector<SpecialDrive>;

void* OpenSpecialDrives() {
    try {
        auto drives = std::make_unique<SpecialDriveList>();
        VisitSettings(
            [](void* context, const wchar_t* section, const wchar_t* name, const wchar_t*, SettingsFile) {
                if (!EqualsFolded(section, kSpecialDrives)) {
                    return 1;
                }
                uint32 number = 0;
                const bool isNumber =
                    VXC_GetGlobalIntW(L"Software\\Norvex", L"QLSpecialDrivers", name, &number, 1) != 0;
                try {
                    static_cast<SpecialDriveList*>(context)->push_back({name, isNumber, number});
                } catch (const std::bad_alloc&) {
                    return 0;
                }
                return 1;
            },
            drives.get());
        return drives->empty() ? nullptr : drives.release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

int GiveSpecialDrive(void* opened, uint32 index, wchar_t* name, int characters, uint32* type,
                     uint32* number) {
    const auto& drives = *static_cast<const SpecialDriveList*>(opened);
    if (index >= drives.size()) {
        return kNoMoreItems;
    }
    const SpecialDrive& drive = drives[index];
    GiveOut(drive.name, name, characters);
    *type = drive.isNumber ? kValueNumber : kValueString;
    *number = drive.number;
    return 0;
}

void CloseSpecialDrives(void* opened) {
    delete static_cast<SpecialDriveList*>(opened);
}

// There is one provider and nothing to open.
void* OpenProviders() {
    static char there = 0;
    return &there;
}

int ProviderName(void*, wchar_t* name, int characters) {
    return GiveOut(kProvider, name, characters);
}

int ResourceParent(void*, const wchar_t*, const wchar_t*, wchar_t* parent, int characters) {
    try {
        return GiveOut(NetworkName(OwnSamba()->workgroup), parent, characters);
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

void CloseProviders(void*) {}

constinit NetworkNameTable g_table = {
    .computerName = GiveComputerName,
    .openShares = OpenShares,
    .nextShares = NextShares,
    .closeShares = CloseShares,
    .openShareRecords = OpenShareRecords,
    .shareRecord = ShareRecord,
    .closeShareRecords = CloseShareRecords,
    .driveConnection = DriveConnection,
    .mountedShares = MountedShares,
    .openSpecialDrives = OpenSpecialDrives,
    .specialDrive = GiveSpecialDrive,
    .closeSpecialDrives = CloseSpecialDrives,
    .workstationName = GiveComputerName,
    .openProviders = OpenProviders,
    .providerName = ProviderName,
    .resourceParent = ResourceParent,
    .closeProviders = CloseProviders,
};

} // namespace

NetworkNameTable& NetworkNames() noexcept {
    return g_table;
}

} // namespace vxcio
