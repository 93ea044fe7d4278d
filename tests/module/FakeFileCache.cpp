#include "FakeFileCache.h"

#include <algorithm>
#include <cstddef>

namespace vxcio::test {

namespace {

constexpr uint64 kLuid = 5;

FakeFileCache* g_fake = nullptr;
char g_token;

int Open(uint32 accessMask, void** token) {
    g_fake->calls.push_back(L"open " + std::to_wstring(accessMask));
    *token = g_fake->openResult != 0 ? &g_token : nullptr;
    return g_fake->openResult;
}

int Lookup(const wchar_t* name, uint64* luid) {
    g_fake->calls.push_back(std::wstring(L"lookup ") + name);
    *luid = kLuid;
    return g_fake->lookupResult;
}

int Adjust(void* token, uint64 luid, uint32 attributes) {
    const bool rightOnes = token == &g_token && luid == kLuid;
    g_fake->calls.push_back((rightOnes ? L"adjust " : L"adjust another ") + std::to_wstring(attributes));
    return g_fake->adjustResult;
}

void CloseToken(void* token) {
    g_fake->calls.emplace_back(token == &g_token ? L"close" : L"close another");
}

int SetCache(uint64 minimum, uint64 maximum, uint32 flags) {
    g_fake->calls.push_back(L"cache " + std::to_wstring(minimum) + L" " + std::to_wstring(maximum) + L" " +
                            std::to_wstring(flags));
    return g_fake->cacheResult;
}

uint32 Error() {
    return g_fake->error;
}

void ErrorText(wchar_t* text, int characters) {
    const std::wstring& whole = g_fake->errorText;
    const std::size_t length = std::min(whole.size(), static_cast<std::size_t>(characters) - 1);
    *std::copy_n(whole.data(), length, text) = 0;
}

} // namespace

FakeFileCache::FakeFileCache() {
    g_fake = this;
    FileCache() = {Open, Lookup, Adjust, CloseToken, SetCache, Error, ErrorText};
}

FakeFileCache::~FakeFileCache() {
    g_fake = nullptr;
}

} // namespace vxcio::test
