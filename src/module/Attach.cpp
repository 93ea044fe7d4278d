#include "module/Attach.h"

#include "bridge/SystemSender.h"
#include "frame/Log.h"
#include "frame/ModuleValues.h"
#include "frame/ReadSetting.h"
#include "platform/FileCache.h"
#include "platform/ModulePath.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace vxcio {

namespace {

constexpr uint32 kLeastTimeOut = 1000;     // milliseconds; less is taken for a mistake
constexpr uint32 kReplacedTimeOut = 10000; // milliseconds
constexpr uint32 kTokenAccess = 40;        // adjust and query privileges
constexpr uint32 kPrivilegeEnabled = 2;
constexpr uint32 kCacheMinimum = 0x100000;   // bytes
constexpr uint32 kCacheMaximum = 0x10000000; // bytes, unless the setting says otherwise
constexpr uint32 kHardMaximumOn = 1;
constexpr uint32 kHardMaximumOff = 2;
constexpr int kErrorCharacters = 512;

void Store(std::atomic<uint32>& value, uint32 to) noexcept {
    value.store(to, std::memory_order_relaxed);
}

// Text of the last error of the file cache calls.
class CacheErrorText {
public:
    CacheErrorText() noexcept { FileCache().lastErrorText(m_Text, kErrorCharacters); }
    const wchar_t* c_str() const noexcept { return m_Text; }

private:
    wchar_t m_Text[kErrorCharacters] = {};
};

void FindModuleDirectory() noexcept {
    auto& directory = Module().szModuleDirectory;
    wchar_t path[sizeof directory / sizeof(wchar_t)] = {};
    const int length = ModulePath().getModulePath(path, static_cast<int>(std::size(path)));
    const std::wstring_view whole(path, static_cast<std::size_t>(std::max(length, 0)));
    const std::size_t separator = whole.find_last_of(L"\\/");
    const std::size_t kept = separator == std::wstring_view::npos ? 0 : separator;
    *std::copy_n(path, kept, directory) = 0;
}

void ReadTimeOuts() noexcept {
    uint32 read = VXC_INFINITE;
    if (ReadSetting(L"HandleTimeOut", &read) != 0) {
        LogTrace(L"CQLSoftFileHandle() -- ReadHandleTimeOut:%d ms", read);
    } else {
        LogTrace(L"%s", L"CQLSoftFileHandle() -- not set Registry for ReadHandleTimeOut)");
    }
    if (read < kLeastTimeOut) {
        LogTrace(L"CQLSoftFileHandle() -- Modify ReadHandleTimeOut from  %d ms to 10s", read);
        read = kReplacedTimeOut;
    }
    Store(Module().ReadHandleTimeOut, read);

    uint32 write = read;
    if (ReadSetting(L"WriteHandleTimeOut", &write) != 0) {
        LogTrace(L"CQLSoftFileHandle() -- WriteHandleTimeOut:%d ms", write);
    } else {
        LogTrace(L"%s", L"CQLSoftFileHandle() -- not set Registry for WriteHandleTimeOut)");
    }
    if (write < kLeastTimeOut) {
        LogTrace(L"CQLSoftFileHandle() -- Modify WriteHandleTimeOut from  %d ms to 10s", write);
        write = kReplacedTimeOut;
    }
    Store(Module().WriteHandleTimeOut, write);
}

void ReadBitrateFlag() noexcept {
    uint32 value = 0;
    if (ReadSetting(L"EnableBitrateInfo", &value) != 0) {
        LogTrace(L"CQLSoftFileHandle() -- Registry for EnableBitrateInfo = %d)", value);
    } else {
        LogTrace(L"%s", L"CQLSoftFileHandle() -- not set Registry for EnableBitrateInfo)");
    }
    Store(Module().EnableBitrateInfo, value != 0 ? 1 : 0);
}

// What is done with the open token of the process. 1 when the privilege is on.
uint32 EnablePrivilege(void* token) noexcept {
    const FileCacheTable& cache = FileCache();
    uint64 luid = 0;
    if (cache.lookupPrivilege(L"SeIncreaseQuotaPrivilege", &luid) == 0) {
        LogTrace(L"LookupPrivilegeValue error: %s", CacheErrorText().c_str());
        return 0;
    }
    if (cache.adjustPrivilege(token, luid, kPrivilegeEnabled) == 0) {
        LogTrace(L"AdjustTokenPrivileges error: %s", CacheErrorText().c_str());
        return 0;
    }
    if (cache.lastError() == VXC_ERROR_NOT_ALL_ASSIGNED) {
        LogTrace(L"%s", L"The token does not have the specified privilege.");
        return 0;
    }
    return 1;
}

uint32 EnablePrivilegeForProcess() noexcept {
    const FileCacheTable& cache = FileCache();
    void* token = nullptr;
    if (cache.openProcessToken(kTokenAccess, &token) == 0) {
        LogTrace(L"OpenProcessToken failed with error code 0x%X!", cache.lastError());
        return 0;
    }
    const uint32 enabled = EnablePrivilege(token);
    cache.closeToken(token);
    return enabled;
}

void LimitFileCache() noexcept {
    uint32 maximum = kCacheMaximum;
    if (ReadSetting(L"SetSystemFileCacheSize", &maximum) != 0 && maximum == 0) {
        return;
    }
    if (FileCache().setFileCacheSize(kCacheMinimum, maximum, kHardMaximumOn) != 0) {
        LogTrace(L"SetSystemFileCacheSize(0x%0x,0x%0x,Enable) Sucessed", kCacheMinimum, maximum);
    } else {
        LogTrace(L"SetSystemFileCacheSize(0x%0x,0x%0x,Enable) Failed(%s)", kCacheMinimum, maximum,
                 CacheErrorText().c_str());
    }
}

} // namespace

void ModuleAttach() noexcept {
    LogTrace(L"%s", L"VXCSoftDataIO Module--Begin DLL_PROCESS_ATTACH");
    FindModuleDirectory();
    ReadTimeOuts();
    ReadBitrateFlag();
    LogTrace(L"%s", L"EnablePrivilegeForProcess()-1");
    const uint32 privilege = EnablePrivilegeForProcess();
    Store(Module().FileCachePrivilege, privilege);
    LogTrace(L"EnablePrivilegeForProcess()-return %d(TRUE or FALSE)", privilege);
    if (privilege != 0) {
        LimitFileCache();
    }
}

void ModuleDetach() noexcept {
    // The server is not told to quit: it ends by itself when its host is gone.
    DetachServerProcess();
    // Asked even when attach left the cache alone.
    if (Module().FileCachePrivilege.load(std::memory_order_relaxed) == 0) {
        return;
    }
    if (FileCache().setFileCacheSize(0, 0, kHardMaximumOff) != 0) {
        LogTrace(L"%s", L"SetSystemFileCacheSize(Disable) Sucessed\n");
    } else {
        LogTrace(L"SetSystemFileCacheSize(Disable) Failed(%s)\n", CacheErrorText().c_str());
    }
}

} // namespace vxcio
