#include "paths/PathTests.h"

#include <gtest/gtest.h>

using namespace vxcio;

TEST(PathTestsTest, TwoBackslashesAnywhereMakeAUncPath) {
    EXPECT_TRUE(IsUncPath(L"\\\\server\\share\\clip.mxf"));
    EXPECT_TRUE(IsUncPath(L"D:\\media\\\\clip.mxf"));
    EXPECT_FALSE(IsUncPath(L"D:\\media\\clip.mxf"));
    EXPECT_FALSE(IsUncPath(L"//server/share"));
    EXPECT_FALSE(IsUncPath(L""));
    EXPECT_FALSE(IsUncPath(nullptr));
}

TEST(PathTestsTest, LocalPrefixInAnyCaseMakesAUncPath) {
    EXPECT_TRUE(IsUncPath(L"LOCAL\\media"));
    EXPECT_TRUE(IsUncPath(L"local\\"));
    EXPECT_FALSE(IsUncPath(L"LOCAL"));
    EXPECT_FALSE(IsUncPath(L"xLOCAL\\media"));
}

TEST(PathTestsTest, PlainLocalIsTheCounterpart) {
    EXPECT_TRUE(IsPlainLocalPath(L"D:\\media\\clip.mxf"));
    EXPECT_TRUE(IsPlainLocalPath(L""));
    EXPECT_TRUE(IsPlainLocalPath(nullptr));
    EXPECT_FALSE(IsPlainLocalPath(L"Local\\clip.mxf"));
    EXPECT_FALSE(IsPlainLocalPath(L"\\\\s\\c"));
}
