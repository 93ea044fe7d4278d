// NetPathExchange.h - the table of the shares of this machine and of its drives that lead to shares, and the
// conversion between the two forms of a name.
//
// One object serves the process (NetPathAttach); tests make others. Any thread may convert. The table is
// built at the first conversion; of its records only the addresses change afterwards. No lock is held while a
// host or the work group is asked for.
#pragma once

#include "frame/Types.h"
#include "frame/VXCString.h"
#include "paths/NetPaths.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace vxcio {
struct NetPathInspector; // doors for tests

struct NetPathRecord {
    std::wstring strNameUNC; // root with a host name; empty when the server is known by its address only
    std::wstring strIPUNC;   // root with an address; filled on demand
    std::wstring strLocal;   // folder without backslashes at its end, or a drive, "Z:"
};
} // namespace vxcio

class CQLNetPathExchange {
public:
    CQLNetPathExchange() noexcept;
    CQLNetPathExchange(const CQLNetPathExchange&) = delete;
    CQLNetPathExchange& operator=(const CQLNetPathExchange&) = delete;
    virtual ~CQLNetPathExchange();

    // The name by which a file of a share is reached on this machine.
    CVXCString UNC2Local(const wchar_t* path) noexcept;
    // The lookup behind it. `out` is the path where no record fits.
    void ConvertUNC2Local(const wchar_t* path, CVXCString& out) noexcept;
    // The reverse lookup, and the one that leaves what is no plain local path as it is.
    void ConvertLocal2UNC(const wchar_t* path, CVXCString& out) noexcept;
    CVXCString Local2UNC(const wchar_t* path) noexcept;

    // 1 where the path lies at or below the root, part by part, with case ignored; the parts behind it are
    // appended to `suffix`, each with a backslash in front. Otherwise 0, and the suffix is left alone.
    static int MatchPathRoot(const wchar_t* path, const wchar_t* root, CVXCString& suffix) noexcept;
    // 1 for four numbers up to 255 with dots between. A group may have any number of digits, also none.
    static int IsIPv4Address(const wchar_t* text) noexcept;

    // What stands in front of the names of shares that lie on this machine: asked for until it is known, then
    // kept. May throw std::bad_alloc.
    std::wstring Workgroup();

    int Visit(vxcio::NetPathVisitor visit, void* context) noexcept;
    int VisitSpecialDrives(vxcio::SpecialDriveVisitor visit, void* context) noexcept;

private:
    friend struct vxcio::NetPathInspector;
    class Lookup;

    // These may throw std::bad_alloc.
    void BuildTable();
    void AddOwnShares(std::vector<vxcio::NetPathRecord>& table) const;
    std::wstring ToLocal(const std::wstring& path);
    std::wstring ToUNC(const std::wstring& path);
    std::wstring Resolve(std::wstring_view host) const;
    std::wstring AddressRoot(std::size_t index);

    uint32 m_bStarted = 0; // the socket interface, without which no host is found
    std::mutex m_BuildMutex;
    std::atomic<std::thread::id> m_builder{}; // the thread that holds it to build
    std::atomic<uint32> m_bInitialized{0};    // the table is there and does not change but for addresses
    std::mutex m_Mutex;                       // guards strIPUNC of the records and m_strWorkgroup
    std::vector<vxcio::NetPathRecord> m_PathTable;
    std::wstring m_strWorkgroup; // name of the network above this machine; empty until it is known
};

namespace vxcio {

// The object of the process, made at the first call.
CQLNetPathExchange& NetPathExchange() noexcept;

// What loading and unloading the library do with it.
void NetPathAttach() noexcept;
void NetPathDetach() noexcept;

} // namespace vxcio
