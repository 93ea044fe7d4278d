#include "sysu/SettingsFixture.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <iterator>
#include <latch>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class SettingsWriteTest : public SettingsFixture {};

} // namespace

TEST_F(SettingsWriteTest, WritingMakesTheUsersFileAndItsFolders) {
    ASSERT_EQ(sysu::UseSettingsPlaces(L"", m_folder.Wide("new/folder/one.conf").c_str()), 1);
    EXPECT_EQ(WriteSettingText(kSection, L"a", L"5"), 0u);
    EXPECT_EQ(m_folder.Read("new/folder/one.conf"), std::string(kHead) + "a = 5\n");
    EXPECT_EQ(Int(L"a"), 5u);
    for (const char* const made : {"new", "new/folder"}) {
        EXPECT_EQ(std::filesystem::status(m_folder.Path() / made).permissions(),
                  std::filesystem::perms::owner_all)
            << "nobody else's business";
    }
}

TEST_F(SettingsWriteTest, WritingMakesANamedFileButNotItsFolders) {
    Use("new.conf");
    EXPECT_EQ(WriteSettingText(kSection, L"a", L"5"), 0u);
    EXPECT_EQ(m_folder.Read("new.conf"), std::string(kHead) + "a = 5\n");
    Use("none/folder/one.conf");
    EXPECT_EQ(WriteSettingText(kSection, L"a", L"5"), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_FALSE(std::filesystem::exists(m_folder.Path() / "none"));
}

TEST_F(SettingsWriteTest, WritingKeepsAllOtherBytes) {
    const std::string before =
        std::string("; first\r\n\r\njunk\r\n") +
        "[Software\\Norvex\\SoftCodec] tail\r\n  a\t=  1  \r\n; about b\r\nb = 2\r\n\r\n[Z]\r\nz = 26";
    Write(before);
    EXPECT_EQ(WriteSettingText(kSection, L"A", L"100"), 0u);
    std::string after = before;
    after.replace(after.find("1  \r\n"), 3, "100");
    EXPECT_EQ(File(), after);
    EXPECT_EQ(WriteSettingText(kSection, L"c", L"3"), 0u);
    after.insert(after.find("b = 2\r\n") + 7, "c = 3\r\n");
    EXPECT_EQ(File(), after);
    EXPECT_EQ(WriteSettingText(L"z", L"y", L"25"), 0u);
    after += "\r\ny = 25\r\n";
    EXPECT_EQ(File(), after);
    EXPECT_EQ(WriteSettingText(L"New", L"n", L""), 0u);
    after += "\r\n[New]\r\nn = \r\n";
    EXPECT_EQ(File(), after);
    EXPECT_EQ(Text(L"New", L"n"), L"");
}

TEST_F(SettingsWriteTest, RemovingKeepsAllOtherBytes) {
    Write(std::string("; x\n") + kHead + "a = 1\n; note\nb = 2\nA=3\n[Y]\na = 4\n");
    EXPECT_EQ(RemoveSetting(kSection, L"a"), 0u);
    EXPECT_EQ(File(), std::string("; x\n") + kHead + "; note\nb = 2\n[Y]\na = 4\n");
    EXPECT_EQ(RemoveSetting(kSection, L"a"), VXC_ERROR_FILE_NOT_FOUND);
}

TEST_F(SettingsWriteTest, RemovingFromNoFileMakesNone) {
    Use("none/one.conf");
    EXPECT_EQ(RemoveSetting(kSection, L"a"), VXC_ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(std::filesystem::exists(m_folder.Path() / "none"));
}

TEST_F(SettingsWriteTest, WhatCouldNotBeReadBackIsRefused) {
    const std::string before = std::string(kHead) + "a = 1\n";
    Write(before);
    for (const wchar_t* const name : {L"", L"a=b", L"a\nb", L"a\r", L"[a", L";a", L"#a", L" a", L"a "}) {
        EXPECT_EQ(WriteSettingText(kSection, name, L"1"), VXC_ERROR_INVALID_PARAMETER) << ToUtf8(name);
        EXPECT_EQ(RemoveSetting(kSection, name), VXC_ERROR_INVALID_PARAMETER) << ToUtf8(name);
    }
    for (const wchar_t* const section : {L"", L"a]b", L"a\nb", L" a"}) {
        EXPECT_EQ(WriteSettingText(section, L"a", L"1"), VXC_ERROR_INVALID_PARAMETER) << ToUtf8(section);
    }
    EXPECT_EQ(WriteSettingText(kSection, L"a", L"1\n[x]"), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(WriteSettingText(kSection, L"a", nullptr), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(WriteSettingText(nullptr, L"a", L"1"), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(WriteSettingText(kSection, nullptr, L"1"), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(File(), before);
}

TEST_F(SettingsWriteTest, NamesAndValuesOfAllScriptsSurvive) {
    EXPECT_EQ(WriteSettingText(L"S\u00e4", L"nas\\m\u00e9dia", L"/mnt/\u20ac x"), 0u);
    EXPECT_EQ(Text(L"S\u00e4", L"nas\\m\u00e9dia"), L"/mnt/\u20ac x");
    const std::wstring bytes = FromUtf8("/mnt/\xFF\xFE");
    EXPECT_EQ(WriteSettingText(kSection, L"raw", bytes.c_str()), 0u);
    EXPECT_EQ(Text(kSection, L"raw"), bytes);
}

TEST_F(SettingsWriteTest, TheModeAndLinksOfTheFileStay) {
    namespace fs = std::filesystem;
    Write(std::string(kHead) + "a = 1\n");
    fs::permissions(m_folder.Path() / "one.conf", fs::perms(0640));
    fs::create_symlink(m_folder.Path() / "one.conf", m_folder.Path() / "link.conf");
    Use("link.conf");
    EXPECT_EQ(WriteSettingText(kSection, L"a", L"2"), 0u);
    EXPECT_TRUE(fs::is_symlink(m_folder.Path() / "link.conf"));
    EXPECT_EQ(fs::status(m_folder.Path() / "one.conf").permissions(), fs::perms(0640));
    EXPECT_EQ(Int(L"a"), 2u);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_folder.Path()), fs::directory_iterator()), 2)
        << "nothing is left beside it";
}

TEST_F(SettingsWriteTest, AFailedWriteLeavesTheFileAndSaysWhy) {
    Write("a");
    Use("one.conf/below/two.conf");
    EXPECT_EQ(WriteSettingText(kSection, L"a", L"1"), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(File(), "a");
    const std::string binary = std::string("x\0y", 3);
    Use("one.conf");
    Write(binary);
    EXPECT_EQ(WriteSettingText(kSection, L"a", L"1"), VXC_ERROR_GEN_FAILURE);
    EXPECT_EQ(File(), binary) << "what is no settings file is not overwritten";
}

TEST_F(SettingsWriteTest, ARefusedWriteLeavesTheOldFileWholeAndNothingBesideIt) {
    const std::string before = std::string(kHead) + "a = 1\n";
    Write(before);
    rlimit former{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &former), 0);
    const rlimit small{before.size(), former.rlim_max}; // stops the write as a full disk does
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const uint32 result = WriteSettingText(kSection, L"b", L"2");
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &former), 0);
    EXPECT_EQ(result, VXC_ERROR_FILE_TOO_LARGE);
    EXPECT_EQ(File(), before);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder.Path()),
                            std::filesystem::directory_iterator()),
              1);
}

TEST_F(SettingsWriteTest, ALineSetAnywhereReadsBackAndAllOthersStay) {
    // Files put together from pieces, whole and broken; the value that is set must count, nothing else move.
    const char* const pieces[] = {"[S]\n",     "[s]\r\n",   "[T]\n",     "[broken\n", "[\n",
                                  "]\n",       "a = 1\n",   "A=2\r",     "b=\n",      "=x\n",
                                  "; a = 9\n", " # [S]\n",  "\n",        "  \t\n",    "junk\r\n",
                                  "a\n",       "[ S ] x\n", "c = [S]\n", "[]\n"};
    const std::vector<uint8> choices = Pattern(6000, 7);
    std::size_t at = 0;
    for (int round = 0; round < 400; ++round) {
        std::string text;
        for (int i = 0; i < 12; ++i) {
            text += pieces[choices[at++] % std::size(pieces)];
        }
        if (round % 3 == 0) {
            text.pop_back(); // no line end at the end
        }
        Write(text);
        auto expected = Listed();
        std::erase_if(expected, [](const std::wstring& line) {
            return line.starts_with(L"S|a|") || line.starts_with(L"s|a|") || line.starts_with(L"S|A|") ||
                   line.starts_with(L"s|A|");
        });
        ASSERT_EQ(WriteSettingText(L"S", L"a", L"new"), 0u) << text;
        ASSERT_EQ(Text(L"S", L"a"), L"new") << text << "---\n" << File();
        ASSERT_EQ(Listed().size(), expected.size() + 1) << text << "---\n" << File();
        ASSERT_EQ(RemoveSetting(L"S", L"a"), 0u);
        ASSERT_EQ(Text(L"S", L"a"), L"-") << text << "---\n" << File();
        auto rest = Listed();
        // The spelling of a section is that of its first value; only the case may change.
        ASSERT_EQ(rest.size(), expected.size()) << text << "---\n" << File();
    }
}

TEST_F(SettingsWriteTest, WritersOnManyThreadsLoseNothingAndReadersSeeWholeFiles) {
    std::atomic<bool> stop{false};
    std::thread reader([&] {
        while (!stop) {
            const std::wstring text = Text(kSection, L"t0");
            EXPECT_TRUE(text == L"-" || text == L"value") << ToUtf8(text);
        }
    });
    constexpr int kWriters = 4;
    constexpr int kValues = 200;
    std::latch start(kWriters);
    std::vector<std::thread> writers;
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.emplace_back([&start, writer] {
            start.arrive_and_wait();
            for (int i = writer; i < kValues; i += kWriters) {
                EXPECT_EQ(WriteSettingText(kSection, (L"t" + std::to_wstring(i)).c_str(), L"value"), 0u);
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    stop = true;
    reader.join();
    EXPECT_EQ(Listed().size(), static_cast<std::size_t>(kValues));
}
