// FakeNetwork.h - a machine with shares, drives, mounts, a work group and hosts, as a test says.
#pragma once

#include "support/Gate.h"
#include "support/PlatformScope.h"

#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vxcio::test {

// What a record of a share holds of these characters: 16-bit units, low byte first, without any end of its
// own.
std::vector<uint8> RecordBytes(std::wstring_view text);
// The whole record of a share of this folder.
std::vector<uint8> FolderRecord(const std::wstring& folder);

// Takes the place of the tables of network names, host names and the start of sockets while it lives; one at
// a time. The members say what the machine has; no other thread may use it while they change. Any thread may
// call the functions.
class FakeNetwork {
public:
    FakeNetwork();
    ~FakeNetwork();
    FakeNetwork(const FakeNetwork&) = delete;
    FakeNetwork& operator=(const FakeNetwork&) = delete;

    std::wstring computer = L"HOST"; // empty: not known
    bool hasShares = true;           // they can be listed
    // Names that each call of the listing gives; the call behind the last one gives none and endOfShares.
    std::vector<std::vector<std::wstring>> shares;
    int endOfShares = 259;
    // Where not 0, the last listing call that gives names gives this number with them.
    int lastGivingCall = 0;
    bool hasRecords = true;
    std::map<std::wstring, std::vector<uint8>> records; // by the name of the share
    std::optional<uint32> claimedBytes;                 // what each record says to be long
    std::map<std::wstring, std::wstring> drives;        // "Z:" to "\\server\share"
    std::vector<std::pair<std::wstring, std::wstring>> mounts;

    struct Value {
        std::wstring name;
        uint32 type;
        uint32 number;
    };
    std::optional<std::vector<Value>> specialDrives;

    std::wstring workstation = L"HOST";
    bool hasProviders = true;
    std::wstring provider = L"Provider";

    int startupResult = 0;
    uint16 startupVersion = 0x0202;

    // One share of the machine with its folder.
    void AddShare(const std::wstring& name, const std::wstring& folder);

    void SetWorkgroup(const std::wstring& name);
    void SetHost(const std::string& name, uint32 address);
    void RemoveHost(const std::string& name);
    // Lookups of this host stop at the gate.
    void HoldHost(const std::string& name, Gate& gate);
    // The next call whose line in Calls() begins with this text stops at the gate.
    void HoldCall(const std::wstring& begin, Gate& gate);
    // The next such call throws std::bad_alloc.
    void LackMemoryAt(const std::wstring& begin);

    // The calls in their order, with what they were asked: "driveConnection C:", "firstAddress srv".
    std::vector<std::wstring> Calls() const;
    // Those that begin with this text.
    std::vector<std::wstring> Calls(std::wstring_view begin) const;
    std::size_t Count(std::wstring_view begin) const { return Calls(begin).size(); }
    void ClearCalls();
    // What was opened and not closed.
    int StillOpen() const;

private:
    struct Table; // the functions that stand in the tables

    void Note(const std::wstring& call);
    void* Open(bool isThere);
    void Close(const wchar_t* call);

    const PlatformScope m_platform;
    mutable std::mutex m_mutex;
    // Guarded by m_mutex.
    std::vector<std::wstring> m_calls;
    std::map<std::string, uint32> m_hosts;
    std::map<std::string, Gate*> m_held;
    std::wstring m_workgroup;
    std::wstring m_lackAt;
    std::pair<std::wstring, Gate*> m_heldCall;
    std::size_t m_listingCalls = 0;
    int m_open = 0;
};

} // namespace vxcio::test
