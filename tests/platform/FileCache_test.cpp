#include "platform/FileCache.h"

#include "frame/PlatformTypes.h"

#include <gtest/gtest.h>

#include <string>

using namespace vxcio;

TEST(FileCacheTest, ThePrivilegeIsNeverHeld) {
    const FileCacheTable& cache = FileCache();
    void* token = nullptr;
    ASSERT_NE(cache.openProcessToken(40, &token), 0);
    EXPECT_NE(token, nullptr);
    EXPECT_EQ(cache.lastError(), 0u);
    uint64 luid = 1;
    ASSERT_NE(cache.lookupPrivilege(L"SeIncreaseQuotaPrivilege", &luid), 0);
    EXPECT_EQ(luid, 0u);
    EXPECT_EQ(cache.lastError(), 0u);
    EXPECT_NE(cache.adjustPrivilege(token, luid, 2), 0);
    EXPECT_EQ(cache.lastError(), VXC_ERROR_NOT_ALL_ASSIGNED);
    cache.closeToken(token);
}

TEST(FileCacheTest, LimitsAreAcceptedAndDoNothing) {
    EXPECT_NE(FileCache().setFileCacheSize(0x100000, 0x10000000, 1), 0);
    EXPECT_EQ(FileCache().lastError(), 0u);
    EXPECT_NE(FileCache().setFileCacheSize(0, 0, 2), 0);
}

TEST(FileCacheTest, TheErrorTextIsTerminatedAndCut) {
    FileCache().adjustPrivilege(nullptr, 0, 2);
    wchar_t text[64];
    FileCache().lastErrorText(text, 64);
    const std::wstring whole = text;
    EXPECT_FALSE(whole.empty());
    FileCache().lastErrorText(text, 5);
    EXPECT_EQ(text, whole.substr(0, 4));
    text[0] = L'x';
    FileCache().lastErrorText(text, 0);
    EXPECT_EQ(text[0], L'x');
    FileCache().setFileCacheSize(0, 0, 2);
    FileCache().lastErrorText(text, 64);
    EXPECT_NE(text, whole);
}
