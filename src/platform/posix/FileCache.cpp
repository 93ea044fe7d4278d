#include "platform/FileCache.h"

#include "frame/PlatformTypes.h"
#include "text/WideFormat.h"

#include <cstddef>

namespace vxcio {

namespace {

// Stands for the token of the process, which there is none of here.
constinit char g_token = 0;

// No constructor and no destructor, so any thread may come here at any time.
constinit thread_local uint32 t_lastError = VXC_ERROR_SUCCESS;

int OpenProcessToken(uint32, void** token) {
    *token = &g_token;
    t_lastError = VXC_ERROR_SUCCESS;
    return 1;
}

int LookupPrivilege(const wchar_t*, uint64* luid) {
    *luid = 0;
    t_lastError = VXC_ERROR_SUCCESS;
    return 1;
}

// The call of a process without the privilege: it succeeds, and the last error tells that nothing was given.
int AdjustPrivilege(void*, uint64, uint32) {
    t_lastError = VXC_ERROR_NOT_ALL_ASSIGNED;
    return 1;
}

void CloseToken(void*) {}

// The kernel keeps the size of its cache to itself.
int SetFileCacheSize(uint64, uint64, uint32) {
    t_lastError = VXC_ERROR_SUCCESS;
    return 1;
}

uint32 LastError() {
    return t_lastError;
}

void LastErrorText(wchar_t* text, int characters) {
    if (characters <= 0) {
        return;
    }
    const wchar_t* const meaning =
        t_lastError == VXC_ERROR_NOT_ALL_ASSIGNED ? L"Not all privileges are held" : L"Success";
    FormatWide(text, static_cast<std::size_t>(characters), L"%s", meaning);
}

constinit FileCacheTable g_table = {OpenProcessToken, LookupPrivilege, AdjustPrivilege, CloseToken,
                                    SetFileCacheSize, LastError,       LastErrorText};

} // namespace

FileCacheTable& FileCache() noexcept {
    return g_table;
}

} // namespace vxcio
