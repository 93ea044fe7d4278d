// FakeFileCache.h - file cache calls that answer as a test wants and write down what they were asked.
#pragma once

#include "platform/FileCache.h"
#include "support/PlatformScope.h"

#include <string>
#include <vector>

namespace vxcio::test {

// In place of the system's calls while it lives; one at a time.
class FakeFileCache {
public:
    FakeFileCache();
    ~FakeFileCache();
    FakeFileCache(const FakeFileCache&) = delete;
    FakeFileCache& operator=(const FakeFileCache&) = delete;

    // What the calls give.
    int openResult = 1;
    int lookupResult = 1;
    int adjustResult = 1;
    int cacheResult = 1;
    uint32 error = 0; // the last error after any call
    std::wstring errorText = L"no such thing";

    // The calls in order, "open 40", "lookup NAME", "adjust 2", "close", "cache MIN MAX FLAGS".
    std::vector<std::wstring> calls;

private:
    PlatformScope m_scope;
};

} // namespace vxcio::test
