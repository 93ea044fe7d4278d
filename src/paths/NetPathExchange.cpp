#include "paths/NetPathExchange.h"

#include "frame/Log.h"
#include "paths/PathParts.h"
#include "paths/PathTests.h"
#include "paths/SpecialDrives.h"
#include "platform/HostNames.h"
#include "platform/NetworkNames.h"
#include "platform/Sockets.h"
#include "text/FoldCase.h"
#include "text/Utf8.h"

#include <algorithm>
#include <new>
#include <utility>

using namespace vxcio;

namespace {

constexpr uint16 kSocketVersion = 0x0202;
constexpr const wchar_t* kLocal = L"Local";
constexpr const wchar_t* kLocalMark = L"Local\\";
constexpr const wchar_t* kNoAnswer = L"?";
constexpr std::size_t kHostStart = 2; // behind the two backslashes

CVXCString ToString(const std::wstring& text) noexcept {
    return {text.c_str(), static_cast<int>(text.size())};
}

// \\host\share with another host.
std::wstring WithHost(std::wstring_view name, std::wstring_view host) {
    return std::wstring(L"\\\\").append(host).append(name.substr(HostEnd(name).size()));
}

std::wstring_view HostOf(std::wstring_view name) noexcept {
    const std::wstring_view host = HostEnd(name);
    return host.substr(std::min(kHostStart, host.size()));
}

// \\workgroup\computer\share without its first part, in lower case; other roots as they are.
std::wstring WithoutWorkgroup(const std::wstring& root, const std::wstring& workgroup) {
    std::wstring lower = LowerCase(root);
    if (lower.find(LowerCase(workgroup)) != kHostStart) {
        return root;
    }
    lower.erase(0, lower.find_first_not_of(L'\\'));
    const std::size_t end = lower.find(L'\\');
    return end == std::wstring::npos ? root : L'\\' + lower.substr(end);
}

} // namespace

CQLNetPathExchange::CQLNetPathExchange() noexcept {
    uint16 version = 0;
    const bool isUp = Sockets().startup(kSocketVersion, &version) == 0;
    if (isUp && version == kSocketVersion) {
        m_bStarted = 1;
        return;
    }
    VXCMSGW(kModuleName, L"Could not find a usable WinSock DLL!\n");
    if (isUp) {
        Sockets().cleanup();
    }
}

CQLNetPathExchange::~CQLNetPathExchange() {
    Sockets().cleanup();
}

// ---- from shares ------------------------------------------------------------------------------------

// One conversion on its way through the table.
class CQLNetPathExchange::Lookup {
public:
    Lookup(CQLNetPathExchange& exchange, std::wstring name)
        : m_exchange(exchange), m_name(std::move(name)), m_isAddress(IsAddress(HostOf(m_name))) {}

    // What lies behind the root of this record; nothing where the name is not below it.
    std::optional<std::wstring> Suffix(std::size_t index) {
        const NetPathRecord& record = m_exchange.m_PathTable[index];
        if (m_isAddress) {
            return SuffixBelow(m_name, m_exchange.AddressRoot(index));
        }
        if (!record.strNameUNC.empty()) {
            return SuffixBelow(m_name, WithoutWorkgroup(record.strNameUNC, m_exchange.Workgroup()));
        }
        if (!m_nameByAddress) {
            const std::wstring address = m_exchange.Resolve(HostOf(m_name));
            m_nameByAddress = address.empty() ? std::wstring() : WithHost(m_name, address);
        }
        if (m_nameByAddress->empty()) {
            return std::nullopt;
        }
        return SuffixBelow(*m_nameByAddress, m_exchange.AddressRoot(index));
    }

private:
    CQLNetPathExchange& m_exchange;
    const std::wstring m_name;
    const bool m_isAddress;
    std::optional<std::wstring> m_nameByAddress; // empty: the host has no address
};

// The root with an address. It is asked for at the first need and kept, also where there was none.
std::wstring CQLNetPathExchange::AddressRoot(std::size_t index) {
    NetPathRecord& record = m_PathTable[index];
    {
        const std::lock_guard lock(m_Mutex);
        if (!record.strIPUNC.empty()) {
            return record.strIPUNC;
        }
    }
    std::wstring root = WithHost(record.strNameUNC, Resolve(HostOf(record.strNameUNC)));
    const std::lock_guard lock(m_Mutex);
    if (record.strIPUNC.empty()) {
        record.strIPUNC = root;
    }
    return record.strIPUNC;
}

std::wstring CQLNetPathExchange::Resolve(std::wstring_view host) const {
    uint32 address = 0;
    if (m_bStarted == 0 || !HostNames().firstAddress(ToUtf8(host).c_str(), &address)) {
        return {};
    }
    std::wstring text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_wstring(address >> shift & 0xFF);
        text += shift > 0 ? L"." : L"";
    }
    return text;
}

std::wstring CQLNetPathExchange::ToLocal(const std::wstring& path) {
    BuildTable();
    const std::size_t first = path.find(L'\\');
    if (first == std::wstring::npos) {
        return path;
    }
    if (EqualsFolded(std::wstring_view(path).substr(0, first), kLocal)) {
        return path.substr(first + 1);
    }
    std::wstring name = path.substr(first);
    if (HostEnd(name).size() == name.size()) {
        return path; // a host and nothing behind it
    }
    Lookup lookup(*this, std::move(name));
    for (std::size_t i = 0; i < m_PathTable.size(); ++i) {
        if (const auto suffix = lookup.Suffix(i)) {
            return m_PathTable[i].strLocal + *suffix;
        }
    }
    return path;
}

void CQLNetPathExchange::ConvertUNC2Local(const wchar_t* path, CVXCString& out) noexcept {
    const CVXCString given(path);
    try {
        out = ToString(ToLocal(given.c_str()));
    } catch (const std::bad_alloc&) {
        out = given;
    }
}

CVXCString CQLNetPathExchange::UNC2Local(const wchar_t* path) noexcept {
    const CVXCString given(path);
    CVXCString out = given;
    if (IsUncPath(given)) {
        ConvertUNC2Local(given, out);
    }
    if (out.Compare(kNoAnswer) == 0) {
        const wchar_t* const share = std::wcsstr(given, L"\\\\");
        if (share != nullptr) {
            ConvertUNC2Local(share, out);
        }
        if (out.Compare(kNoAnswer) == 0) {
            out = given;
        }
    }
    if (out.Compare(given) != 0) {
        Log(INFOTYPE_PATH, L"U2L:(UNCPath:%s,LocalPath:%s", given.c_str(), out.c_str());
    }
    return out;
}

// ---- to shares --------------------------------------------------------------------------------------

std::wstring CQLNetPathExchange::ToUNC(const std::wstring& path) {
    BuildTable();
    if (path.empty()) {
        return {};
    }
    if (IsOnSpecialDrive(path)) {
        return kLocalMark + path;
    }
    const std::wstring workgroup = Workgroup();
    for (std::size_t i = 0; i < m_PathTable.size(); ++i) {
        const NetPathRecord& record = m_PathTable[i];
        const auto suffix = SuffixBelow(path, record.strLocal);
        if (!suffix) {
            continue;
        }
        if (record.strNameUNC.empty()) {
            return workgroup + AddressRoot(i) + *suffix;
        }
        std::wstring whole = LowerCase(record.strNameUNC + *suffix);
        if (whole.starts_with(L"\\\\") && whole.find(LowerCase(workgroup)) == kHostStart) {
            whole.erase(0, whole.find_first_not_of(L'\\'));
            const std::size_t end = whole.find(L'\\');
            return end == std::wstring::npos ? whole : whole.insert(end, 1, L'\\');
        }
        return workgroup + record.strNameUNC + *suffix;
    }
    return kLocalMark + path;
}

void CQLNetPathExchange::ConvertLocal2UNC(const wchar_t* path, CVXCString& out) noexcept {
    const CVXCString given(path);
    try {
        out = ToString(ToUNC(given.c_str()));
    } catch (const std::bad_alloc&) {
        out = given;
    }
}

CVXCString CQLNetPathExchange::Local2UNC(const wchar_t* path) noexcept {
    if (!IsPlainLocalPath(path)) {
        return path;
    }
    CVXCString out;
    ConvertLocal2UNC(path, out);
    return out;
}

// ---- plain questions --------------------------------------------------------------------------------

int CQLNetPathExchange::MatchPathRoot(const wchar_t* path, const wchar_t* root, CVXCString& suffix) noexcept {
    try {
        const auto rest = SuffixBelow(path == nullptr ? L"" : path, root == nullptr ? L"" : root);
        if (!rest) {
            return 0;
        }
        suffix += rest->c_str();
        return 1;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

int CQLNetPathExchange::IsIPv4Address(const wchar_t* text) noexcept {
    return text != nullptr && IsAddress(text) ? 1 : 0;
}

int CQLNetPathExchange::Visit(NetPathVisitor visit, void* context) noexcept {
    int calls = 0;
    try {
        BuildTable();
        for (const NetPathRecord& record : m_PathTable) {
            std::wstring address;
            {
                const std::lock_guard lock(m_Mutex);
                address = record.strIPUNC;
            }
            ++calls;
            if (visit(context, {record.strNameUNC.c_str(), address.c_str(), record.strLocal.c_str()}) == 0) {
                break;
            }
        }
    } catch (const std::bad_alloc&) {
        // the rest is left out
    }
    return calls;
}

int CQLNetPathExchange::VisitSpecialDrives(SpecialDriveVisitor visit, void* context) noexcept {
    int calls = 0;
    try {
        BuildTable();
        for (const std::wstring& drive : SpecialDrives()) {
            ++calls;
            if (visit(context, drive.c_str()) == 0) {
                break;
            }
        }
    } catch (const std::bad_alloc&) {
        // the rest is left out
    }
    return calls;
}
