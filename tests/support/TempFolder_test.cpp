#include "support/TempFolder.h"

#include "text/Utf8.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>

using namespace vxcio;
using namespace vxcio::test;

namespace fs = std::filesystem;

TEST(TempFolderTest, EachIsNewEmptyAndGoneAfterwards) {
    fs::path path;
    {
        TempFolder folder;
        TempFolder other;
        path = folder.Path();
        EXPECT_TRUE(fs::is_directory(path));
        EXPECT_TRUE(fs::is_empty(path));
        EXPECT_NE(path, other.Path());
        folder.Write("a/b/c.bin", "deep");
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST(TempFolderTest, ReadOnlyContentIsRemovedTooAndLinksAreNotFollowed) {
    TempFolder outside;
    outside.Write("kept/file", "x");
    fs::path path;
    {
        TempFolder folder;
        path = folder.Path();
        folder.Write("locked/file", "x");
        fs::create_directory_symlink(outside.Path() / "kept", path / "link");
        ASSERT_EQ(chmod(folder.Name("locked/file").c_str(), 0), 0);
        ASSERT_EQ(chmod(folder.Name("locked").c_str(), 0500), 0);
    }
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(outside.Read("kept/file"), "x");
}

TEST(TempFolderTest, TheDiskTakesUnbufferedTransfer) {
    TempFolder folder(TempFolder::Kind::Disk);
    const std::string name = folder.WritePattern("direct.bin", 4096, 1);
    const int file = open(name.c_str(), O_RDONLY | O_DIRECT | O_CLOEXEC);
    ASSERT_GE(file, 0);
    std::unique_ptr<void, decltype(&std::free)> block(std::aligned_alloc(4096, 4096), &std::free);
    EXPECT_EQ(pread(file, block.get(), 4096, 0), 4096);
    close(file);
}

TEST(TempFolderTest, MemoryIsAFileSystemInMemory) {
    TempFolder folder(TempFolder::Kind::Memory);
    struct statfs facts = {};
    ASSERT_EQ(statfs(folder.Path().c_str(), &facts), 0);
    EXPECT_EQ(facts.f_type, 0x01021994); // tmpfs
}

TEST(TempFolderTest, NamesLieInTheFolderNarrowAndWide) {
    TempFolder folder;
    EXPECT_EQ(folder.Name("clip \xC3\xA4.mxf"), folder.Path().string() + "/clip \xC3\xA4.mxf");
    EXPECT_EQ(folder.Wide("clip \xC3\xA4.mxf"), FromUtf8(folder.Name("clip \xC3\xA4.mxf")));
}

TEST(TempFolderTest, WhatWasWrittenIsReadBackAndReplaced) {
    TempFolder folder;
    EXPECT_EQ(folder.Write("text", std::string_view("a\0b", 3)), folder.Name("text"));
    EXPECT_EQ(folder.Read("text"), std::string("a\0b", 3));
    folder.Write("text", "c");
    EXPECT_EQ(folder.Read("text"), "c");
    EXPECT_THROW(folder.Read("missing"), std::runtime_error);
    fs::create_directory(folder.Path() / "folder");
    EXPECT_THROW(folder.Write("folder", "x"), std::runtime_error);
}

TEST(PatternTest, IsTheSameForTheSameSeedAndDiffersOtherwise) {
    EXPECT_EQ(Pattern(100, 1), Pattern(100, 1));
    EXPECT_NE(Pattern(100, 1), Pattern(100, 2));
    EXPECT_TRUE(Pattern(0, 1).empty());
    const std::vector<uint8> longer = Pattern(100, 7);
    const std::vector<uint8> shorter = Pattern(13, 7);
    EXPECT_TRUE(std::equal(shorter.begin(), shorter.end(), longer.begin()));
    // Fixed for good, so that digests of patterns can be written down.
    EXPECT_EQ(Pattern(4, 0), (std::vector<uint8>{0xAF, 0xCD, 0x1D, 0x7B}));
}

TEST(PatternTest, FillsTheFile) {
    TempFolder folder;
    folder.WritePattern("p", 1001, 3);
    const std::string content = folder.Read("p");
    const std::vector<uint8> expected = Pattern(1001, 3);
    ASSERT_EQ(content.size(), expected.size());
    EXPECT_EQ(std::memcmp(content.data(), expected.data(), expected.size()), 0);
}
