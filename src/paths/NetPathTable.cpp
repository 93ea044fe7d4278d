// How the table of shares and drives is built, and what the network above this machine is called.
#include "paths/NetPathExchange.h"

#include "frame/Log.h"
#include "paths/PathParts.h"
#include "paths/SpecialDrives.h"
#include "platform/NetworkNames.h"
#include "text/Utf16.h"

#include <algorithm>
#include <atomic>
#include <bitset>
#include <memory>
#include <new>
#include <thread>
#include <utility>

using namespace vxcio;

namespace {

constexpr int kComputerNameCharacters = 128;
constexpr int kRemoteNameCharacters = 1024;
constexpr int kProviderCharacters = 256;
constexpr int kParentCharacters = 1040;
constexpr uint32 kRecordBytes = 2048;
constexpr std::wstring_view kPathKey = L"Path=";
constexpr const wchar_t* kDefaultProvider = L"Microsoft Windows 网络";

// What the system opened, and how it is closed.
using Opened = std::unique_ptr<void, void (*)(void*)>;

std::wstring ComputerRoot(int (*getName)(wchar_t*, int)) {
    wchar_t name[kComputerNameCharacters] = {};
    const int length = getName(name, kComputerNameCharacters);
    return std::wstring(L"\\\\").append(name, static_cast<std::size_t>(std::max(length, 0)));
}

// What a callback collects for a caller that it cannot throw to.
template <class Item>
struct Collected {
    std::vector<Item> all;
    bool isWhole = true;

    template <class Make>
    void Add(Make make) noexcept {
        try {
            all.push_back(make());
        } catch (const std::bad_alloc&) {
            isWhole = false;
        }
    }
    std::vector<Item> Take() {
        if (!isWhole) {
            throw std::bad_alloc();
        }
        return std::move(all);
    }
};

// The names of all shares of this machine, up to where the listing ends or fails.
std::vector<std::wstring> OwnShares() {
    const NetworkNameTable& network = NetworkNames();
    const Opened shares(network.openShares(ComputerRoot(network.computerName).c_str()), network.closeShares);
    if (!shares) {
        return {};
    }
    const TakeRemoteName take = [](void* context, const wchar_t* name) {
        static_cast<Collected<std::wstring>*>(context)->Add([&] { return std::wstring(name); });
    };
    Collected<std::wstring> names;
    for (std::size_t known = 0;; known = names.all.size()) {
        if (network.nextShares(shares.get(), take, &names) != 0) {
            names.all.resize(known); // what a call that failed has given does not count
            return names.Take();
        }
    }
}

// The folder in the record of a share; nothing where the record tells none.
std::optional<std::wstring> FolderIn(uint8* record, uint32 bytes) {
    bytes -= bytes % 2;
    for (uint32 i = 0; i < bytes; i += 2) {
        if (record[i] == 0 && record[i + 1] == 0) {
            record[i] = ';';
        }
    }
    std::wstring text(bytes / 2 + 1, L'\0');
    text.resize(LoadUtf16(record, bytes, text.data()));
    const std::size_t key = text.find(kPathKey);
    if (key == std::wstring::npos) {
        return std::nullopt;
    }
    text = text.substr(key, text.find(L';', key) - key).substr(kPathKey.size());
    text.erase(text.find_last_not_of(L'\\') + 1);
    return text;
}

// A record of a share that a drive or folder of this machine leads to.
NetPathRecord RecordOf(const std::wstring& remoteName, std::wstring local) {
    std::wstring_view host = HostEnd(remoteName);
    host.remove_prefix(std::min(host.find_first_not_of(L'\\'), host.size()));
    if (IsAddress(host)) {
        return {{}, remoteName, std::move(local)};
    }
    return {remoteName, {}, std::move(local)};
}

std::wstring DriveOf(std::size_t index) {
    return {static_cast<wchar_t>(L'C' + static_cast<int>(index)), L':'};
}

// The drives that lead nowhere, by the numbers of their letters from C on.
using UnconnectedDrives = std::bitset<L'Z' - L'C' + 1>;

UnconnectedDrives AddDrives(std::vector<NetPathRecord>& table) {
    UnconnectedDrives unconnected;
    for (std::size_t i = 0; i < unconnected.size(); ++i) {
        const std::wstring drive = DriveOf(i);
        wchar_t remoteName[kRemoteNameCharacters] = {};
        if (NetworkNames().driveConnection(drive.c_str(), remoteName, kRemoteNameCharacters) <= 0) {
            unconnected.set(i);
            continue;
        }
        table.push_back(RecordOf(remoteName, drive));
    }
    return unconnected;
}

void AddMounts(std::vector<NetPathRecord>& table) {
    Collected<NetPathRecord> mounts;
    NetworkNames().mountedShares(
        [](void* context, const wchar_t* remoteName, const wchar_t* local) {
            static_cast<Collected<NetPathRecord>*>(context)->Add([&] { return RecordOf(remoteName, local); });
        },
        &mounts);
    for (NetPathRecord& record : mounts.Take()) {
        table.push_back(std::move(record));
    }
}

// Whose thread builds a table. What it asks may log, and who reads the log may convert a name: for him there
// are no shares yet.
class Building {
public:
    explicit Building(std::atomic<std::thread::id>& builder) noexcept : m_builder(builder) {
        m_builder.store(std::this_thread::get_id(), std::memory_order_relaxed);
    }
    ~Building() { m_builder.store({}, std::memory_order_relaxed); }
    Building(const Building&) = delete;
    Building& operator=(const Building&) = delete;

private:
    std::atomic<std::thread::id>& m_builder;
};

} // namespace

void CQLNetPathExchange::AddOwnShares(std::vector<NetPathRecord>& table) const {
    const std::vector<std::wstring> names = OwnShares();
    if (names.empty()) {
        return;
    }
    const NetworkNameTable& network = NetworkNames();
    const Opened records(network.openShareRecords(), network.closeShareRecords);
    for (const std::wstring& name : names) {
        if (!records) {
            return;
        }
        uint8 record[kRecordBytes] = {};
        uint32 bytes = kRecordBytes;
        const std::wstring share = name.substr(name.rfind(L'\\') + 1);
        if (network.shareRecord(records.get(), share.c_str(), record, &bytes) != 0) {
            continue;
        }
        if (auto folder = FolderIn(record, std::min(bytes, kRecordBytes))) {
            table.push_back({name, {}, std::move(*folder)});
        }
    }
}

void CQLNetPathExchange::BuildTable() {
    if (m_bInitialized.load(std::memory_order_acquire) != 0 ||
        m_builder.load(std::memory_order_relaxed) == std::this_thread::get_id()) {
        return;
    }
    UnconnectedDrives unconnected;
    {
        const std::lock_guard lock(m_BuildMutex);
        if (m_bInitialized.load(std::memory_order_relaxed) != 0) {
            return;
        }
        const Building building(m_builder);
        std::vector<NetPathRecord> table;
        AddOwnShares(table);
        unconnected = AddDrives(table);
        AddMounts(table);
        ReadSpecialDrives();
        m_PathTable = std::move(table);
        m_bInitialized.store(1, std::memory_order_release);
    }
    // Without the lock, as who reads the log may convert a name.
    for (std::size_t i = 0; i < unconnected.size(); ++i) {
        if (unconnected.test(i)) {
            LogMessage(L"Local disk [%s] WNetGetConnection Failure!", DriveOf(i).c_str());
        }
    }
}

std::wstring CQLNetPathExchange::Workgroup() {
    {
        const std::lock_guard lock(m_Mutex);
        if (!m_strWorkgroup.empty()) {
            return m_strWorkgroup;
        }
    }
    const NetworkNameTable& network = NetworkNames();
    const std::wstring computer = ComputerRoot(network.workstationName);
    const Opened providers(network.openProviders(), network.closeProviders);
    if (!providers) {
        return {};
    }
    wchar_t provider[kProviderCharacters] = {};
    const bool hasProvider = network.providerName(providers.get(), provider, kProviderCharacters) > 0;
    wchar_t parent[kParentCharacters] = {};
    const int length =
        network.resourceParent(providers.get(), computer.c_str(), hasProvider ? provider : kDefaultProvider,
                               parent, kParentCharacters);
    std::wstring found(parent, static_cast<std::size_t>(std::clamp(length, 0, kParentCharacters)));
    const std::lock_guard lock(m_Mutex);
    if (m_strWorkgroup.empty()) {
        m_strWorkgroup = std::move(found);
    }
    return m_strWorkgroup;
}
