#include "paths/FakeNetwork.h"

#include "text/Utf16.h"
#include "text/Utf8.h"

#include <algorithm>
#include <new>

namespace vxcio::test {

namespace {

FakeNetwork* g_network = nullptr;

int Copy(const std::wstring& text, wchar_t* room, int characters) {
    const std::size_t length = std::min(text.size(), static_cast<std::size_t>(characters) - 1);
    *std::copy_n(text.data(), length, room) = 0;
    return static_cast<int>(length);
}

std::wstring Hexadecimal(uint16 number) {
    wchar_t text[8];
    std::swprintf(text, std::size(text), L"%x", number);
    return text;
}

} // namespace

std::vector<uint8> RecordBytes(std::wstring_view text) {
    std::vector<uint8> bytes(Utf16Units(text.data(), text.size()) * 2);
    StoreUtf16(text.data(), text.size(), bytes.data());
    return bytes;
}

std::vector<uint8> FolderRecord(const std::wstring& folder) {
    using namespace std::string_literals;
    return RecordBytes(L"CSCFlags=0\0MaxUses=4294967295\0Path="s + folder +
                       L"\0Permissions=0\0Remark=\0Type=0\0\0"s);
}

struct FakeNetwork::Table {
    static int ComputerName(wchar_t* name, int characters) {
        g_network->Note(L"computerName");
        return Copy(g_network->computer, name, characters);
    }
    static void* OpenShares(const wchar_t* computer) {
        g_network->Note(std::wstring(L"openShares ") + computer);
        {
            const std::lock_guard lock(g_network->m_mutex);
            g_network->m_listingCalls = 0;
        }
        return g_network->Open(g_network->hasShares);
    }
    static int NextShares(void*, TakeRemoteName take, void* context) {
        g_network->Note(L"nextShares");
        std::size_t call = 0;
        {
            const std::lock_guard lock(g_network->m_mutex);
            call = g_network->m_listingCalls++;
        }
        if (call >= g_network->shares.size()) {
            return g_network->endOfShares;
        }
        for (const std::wstring& name : g_network->shares[call]) {
            take(context, name.c_str());
        }
        return call + 1 == g_network->shares.size() ? g_network->lastGivingCall : 0;
    }
    static void CloseShares(void*) { g_network->Close(L"closeShares"); }
    static void* OpenShareRecords() {
        g_network->Note(L"openShareRecords");
        return g_network->Open(g_network->hasRecords);
    }
    static int ShareRecord(void*, const wchar_t* share, uint8* record, uint32* bytes) {
        g_network->Note(std::wstring(L"shareRecord ") + share);
        const auto found = g_network->records.find(share);
        if (found == g_network->records.end()) {
            return 2;
        }
        if (found->second.size() > *bytes) {
            return 234;
        }
        std::copy(found->second.begin(), found->second.end(), record);
        *bytes = g_network->claimedBytes.value_or(static_cast<uint32>(found->second.size()));
        return 0;
    }
    static void CloseShareRecords(void*) { g_network->Close(L"closeShareRecords"); }
    static int DriveConnection(const wchar_t* drive, wchar_t* remoteName, int characters) {
        g_network->Note(std::wstring(L"driveConnection ") + drive);
        const auto found = g_network->drives.find(drive);
        return found == g_network->drives.end() ? 0 : Copy(found->second, remoteName, characters);
    }
    static void MountedShares(TakeSharedFolder take, void* context) {
        g_network->Note(L"mountedShares");
        for (const auto& [remoteName, folder] : g_network->mounts) {
            take(context, remoteName.c_str(), folder.c_str());
        }
    }
    static void* OpenSpecialDrives() {
        g_network->Note(L"openSpecialDrives");
        return g_network->Open(g_network->specialDrives.has_value());
    }
    static int SpecialDrive(void*, uint32 index, wchar_t* name, int characters, uint32* type,
                            uint32* number) {
        g_network->Note(L"specialDrive " + std::to_wstring(index));
        if (index >= g_network->specialDrives->size()) {
            return 259;
        }
        const Value& value = (*g_network->specialDrives)[index];
        Copy(value.name, name, characters);
        *type = value.type;
        *number = value.number;
        return 0;
    }
    static void CloseSpecialDrives(void*) { g_network->Close(L"closeSpecialDrives"); }
    static int WorkstationName(wchar_t* name, int characters) {
        g_network->Note(L"workstationName");
        return Copy(g_network->workstation, name, characters);
    }
    static void* OpenProviders() {
        g_network->Note(L"openProviders");
        return g_network->Open(g_network->hasProviders);
    }
    static int ProviderName(void*, wchar_t* name, int characters) {
        g_network->Note(L"providerName");
        return Copy(g_network->provider, name, characters);
    }
    static int ResourceParent(void*, const wchar_t* computer, const wchar_t* provider, wchar_t* parent,
                              int characters) {
        g_network->Note(std::wstring(L"resourceParent ") + computer + L' ' + provider);
        const std::lock_guard lock(g_network->m_mutex);
        return Copy(g_network->m_workgroup, parent, characters);
    }
    static void CloseProviders(void*) { g_network->Close(L"closeProviders"); }

    static bool FirstAddress(const char* host, uint32* address) {
        g_network->Note(L"firstAddress " + FromUtf8(host));
        Gate* held = nullptr;
        {
            const std::lock_guard lock(g_network->m_mutex);
            const auto gate = g_network->m_held.find(host);
            held = gate == g_network->m_held.end() ? nullptr : gate->second;
        }
        if (held != nullptr) {
            held->Pass();
        }
        const std::lock_guard lock(g_network->m_mutex);
        const auto found = g_network->m_hosts.find(host);
        if (found == g_network->m_hosts.end()) {
            return false;
        }
        *address = found->second;
        return true;
    }
    static int Startup(uint16 wanted, uint16* version) {
        g_network->Note(L"startup " + Hexadecimal(wanted));
        *version = g_network->startupVersion;
        return g_network->startupResult;
    }
    static void Cleanup() { g_network->Note(L"cleanup"); }
};

FakeNetwork::FakeNetwork() {
    g_network = this;
    NetworkNames() = {
        .computerName = Table::ComputerName,
        .openShares = Table::OpenShares,
        .nextShares = Table::NextShares,
        .closeShares = Table::CloseShares,
        .openShareRecords = Table::OpenShareRecords,
        .shareRecord = Table::ShareRecord,
        .closeShareRecords = Table::CloseShareRecords,
        .driveConnection = Table::DriveConnection,
        .mountedShares = Table::MountedShares,
        .openSpecialDrives = Table::OpenSpecialDrives,
        .specialDrive = Table::SpecialDrive,
        .closeSpecialDrives = Table::CloseSpecialDrives,
        .workstationName = Table::WorkstationName,
        .openProviders = Table::OpenProviders,
        .providerName = Table::ProviderName,
        .resourceParent = Table::ResourceParent,
        .closeProviders = Table::CloseProviders,
    };
    HostNames().firstAddress = Table::FirstAddress;
    Sockets().startup = Table::Startup;
    Sockets().cleanup = Table::Cleanup;
}

FakeNetwork::~FakeNetwork() {
    g_network = nullptr;
}

void FakeNetwork::AddShare(const std::wstring& name, const std::wstring& folder) {
    shares.push_back({L"\\\\" + computer + L'\\' + name});
    records[name] = FolderRecord(folder);
}

void FakeNetwork::SetWorkgroup(const std::wstring& name) {
    const std::lock_guard lock(m_mutex);
    m_workgroup = name;
}

void FakeNetwork::SetHost(const std::string& name, uint32 address) {
    const std::lock_guard lock(m_mutex);
    m_hosts[name] = address;
}

void FakeNetwork::RemoveHost(const std::string& name) {
    const std::lock_guard lock(m_mutex);
    m_hosts.erase(name);
}

void FakeNetwork::HoldHost(const std::string& name, Gate& gate) {
    const std::lock_guard lock(m_mutex);
    m_held[name] = &gate;
}

void FakeNetwork::HoldCall(const std::wstring& begin, Gate& gate) {
    const std::lock_guard lock(m_mutex);
    m_heldCall = {begin, &gate};
}

void FakeNetwork::LackMemoryAt(const std::wstring& begin) {
    const std::lock_guard lock(m_mutex);
    m_lackAt = begin;
}

std::vector<std::wstring> FakeNetwork::Calls() const {
    return Calls({});
}

std::vector<std::wstring> FakeNetwork::Calls(std::wstring_view begin) const {
    const std::lock_guard lock(m_mutex);
    std::vector<std::wstring> calls;
    std::copy_if(m_calls.begin(), m_calls.end(), std::back_inserter(calls),
                 [&](const std::wstring& call) { return call.starts_with(begin); });
    return calls;
}

void FakeNetwork::ClearCalls() {
    const std::lock_guard lock(m_mutex);
    m_calls.clear();
}

int FakeNetwork::StillOpen() const {
    const std::lock_guard lock(m_mutex);
    return m_open;
}

void FakeNetwork::Note(const std::wstring& call) {
    Gate* held = nullptr;
    {
        const std::lock_guard lock(m_mutex);
        m_calls.push_back(call);
        if (!m_lackAt.empty() && call.starts_with(m_lackAt)) {
            m_lackAt.clear();
            throw std::bad_alloc();
        }
        if (m_heldCall.second != nullptr && call.starts_with(m_heldCall.first)) {
            held = std::exchange(m_heldCall.second, nullptr);
        }
    }
    if (held != nullptr) {
        held->Pass();
    }
}

void* FakeNetwork::Open(bool isThere) {
    const std::lock_guard lock(m_mutex);
    m_open += isThere ? 1 : 0;
    return isThere ? this : nullptr;
}

void FakeNetwork::Close(const wchar_t* call) {
    const std::lock_guard lock(m_mutex);
    m_calls.push_back(call);
    --m_open;
}

} // namespace vxcio::test
