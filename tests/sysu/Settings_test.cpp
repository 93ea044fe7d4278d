#include "sysu/SettingsFixture.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class SettingsStoreTest : public SettingsFixture {};

} // namespace

TEST_F(SettingsStoreTest, NumbersAreDecimalOrHexadecimal) {
    Write(std::string(kHead) +
          "a = 1000\nb=0x10\n  c  =   0XfF  \t\nd = 4294967295\ne = 0xFFFFFFFF\nf = 0\ng=007\n");
    EXPECT_EQ(Int(L"a"), 1000u);
    EXPECT_EQ(Int(L"b"), 16u);
    EXPECT_EQ(Int(L"c"), 255u);
    EXPECT_EQ(Int(L"d"), 0xFFFFFFFFu);
    EXPECT_EQ(Int(L"e"), 0xFFFFFFFFu);
    EXPECT_EQ(Int(L"f"), 0u);
    EXPECT_EQ(Int(L"g"), 7u);
}

TEST_F(SettingsStoreTest, ANegativeNumberGivesIts32BitPattern) {
    Write(std::string(kHead) + "a = -1\nb = -0x80000000\nc = -2147483648\nd = -2147483649\ne = -0\n");
    EXPECT_EQ(Int(L"a"), 0xFFFFFFFFu);
    EXPECT_EQ(Int(L"b"), 0x80000000u);
    EXPECT_EQ(Int(L"c"), 0x80000000u);
    EXPECT_EQ(Int(L"d"), 12345u);
    EXPECT_EQ(Int(L"e"), 0u);
}

TEST_F(SettingsStoreTest, WhatIsNoNumberCountsAsAbsentAndLeavesTheVariable) {
    for (const char* const text : {"", "x", "12x", "0x", "-", "+5", "1 2", "4294967296", "0x100000000", "1.5",
                                   "--1", "0x-1", "99999999999999999999999999", "\xC3\xA4", "1;2"}) {
        Write(std::string(kHead) + "a = " + text + "\n");
        EXPECT_EQ(Int(L"a"), 12345u) << text;
    }
}

TEST_F(SettingsStoreTest, AbsentFileSectionOrNameIsAbsent) {
    EXPECT_EQ(Int(L"a"), 12345u);
    Write("[Other]\na = 1\n");
    EXPECT_EQ(Int(L"a"), 12345u);
    Write(std::string(kHead) + "b = 1\n");
    EXPECT_EQ(Int(L"a"), 12345u);
}

TEST_F(SettingsStoreTest, NamesAndSectionsIgnoreCase) {
    Write("[SOFTWARE\\norvex\\softCODEC]\nhandletimeout = 5\n");
    EXPECT_EQ(Int(L"HandleTimeOut"), 5u);
    EXPECT_EQ(Text(kSection, L"HANDLETIMEOUT"), L"5");
}

TEST_F(SettingsStoreTest, NullAndEmptyArgumentsAreAbsent) {
    Write(std::string("stray = 1\n") + kHead + "a = 1\n");
    uint32 value = 9;
    EXPECT_EQ(VXC_GetGlobalIntW(L"Software\\Norvex", L"SoftCodec", nullptr, &value, 1), 0);
    EXPECT_EQ(VXC_GetGlobalIntW(L"Software\\Norvex", L"SoftCodec", L"", &value, 1), 0);
    EXPECT_EQ(VXC_GetGlobalIntW(nullptr, nullptr, L"stray", &value, 1), 0);
    EXPECT_EQ(VXC_GetGlobalIntW(L"Software\\Norvex", L"SoftCodec", L"a", nullptr, 1), 0);
    EXPECT_EQ(value, 9u);
    EXPECT_EQ(VXC_GetGlobalIntW(nullptr, kSection, L"a", &value, 1), 1);
    EXPECT_EQ(value, 1u);
    EXPECT_EQ(ReadSettingText(nullptr, L"a", nullptr, 0, nullptr), -1);
}

TEST_F(SettingsStoreTest, StringsAreCutToTheCapacityAndTerminated) {
    Write(std::string(kHead) + "a = D:\\*E:\\\nb = \xC3\xA4\xE2\x82\xAC\n");
    wchar_t text[8];
    std::fill(text, text + 8, L'#');
    int size = 8;
    EXPECT_NE(VXC_GetGlobalStringW(L"Software\\Norvex", L"SoftCodec", L"a", text, &size, 1), 0);
    EXPECT_EQ(size, 7);
    EXPECT_STREQ(text, L"D:\\*E:\\");
    std::fill(text, text + 8, L'#');
    size = 4;
    EXPECT_NE(VXC_GetGlobalStringW(L"Software\\Norvex", L"SoftCodec", L"a", text, &size, 1), 0);
    EXPECT_EQ(size, 3);
    EXPECT_STREQ(text, L"D:\\");
    EXPECT_EQ(text[4], L'#');
    size = 8;
    EXPECT_NE(VXC_GetGlobalStringW(L"Software\\Norvex", L"SoftCodec", L"b", text, &size, 1), 0);
    EXPECT_STREQ(text, L"\u00e4\u20ac");
    EXPECT_EQ(size, 2);
}

TEST_F(SettingsStoreTest, AStringWithoutRoomOrValueGivesNothing) {
    Write(std::string(kHead) + "a = x\n");
    wchar_t text[4] = L"old";
    for (int room : {0, -1}) {
        int size = room;
        EXPECT_EQ(VXC_GetGlobalStringW(L"Software\\Norvex", L"SoftCodec", L"a", text, &size, 1), 0);
        EXPECT_EQ(size, room);
    }
    int size = 4;
    EXPECT_EQ(VXC_GetGlobalStringW(L"Software\\Norvex", L"SoftCodec", L"a", nullptr, &size, 1), 0);
    EXPECT_EQ(VXC_GetGlobalStringW(L"Software\\Norvex", L"SoftCodec", L"a", text, nullptr, 1), 0);
    EXPECT_EQ(VXC_GetGlobalStringW(L"Software\\Norvex", L"SoftCodec", L"none", text, &size, 1), 0);
    EXPECT_STREQ(text, L"old");
    EXPECT_EQ(size, 4);
}

TEST_F(SettingsStoreTest, CommentsBlankLinesAndUnknownLinesAreSkipped) {
    Write(std::string("\xEF\xBB\xBF; c\n# c\n\nnonsense\n=5\n[broken\na = 7\n[\n]\n") + kHead +
          "; a = 1\r\n  # a = 2\r\n a = 3 ; not a comment\r\nnonsense\r\n= 4\r\nb = 6\r");
    EXPECT_EQ(Text(kSection, L"a"), L"3 ; not a comment");
    EXPECT_EQ(Int(L"b"), 6u);
    EXPECT_EQ(Listed().size(), 2u);
}

TEST_F(SettingsStoreTest, ABrokenHeadingEndsTheSectionAbove) {
    Write(std::string(kHead) + "a = 1\n[Other\nb = 2\n");
    EXPECT_EQ(Int(L"a"), 1u);
    EXPECT_EQ(Int(L"b"), 12345u);
    EXPECT_EQ(Listed().size(), 1u);
}

TEST_F(SettingsStoreTest, TheLastOfEqualNamesCounts) {
    Write(std::string(kHead) + "a = 1\n[X]\n" + kHead + "A = 2\n");
    EXPECT_EQ(Int(L"a"), 2u);
}

TEST_F(SettingsStoreTest, AChangeOfTheFileIsSeenAtTheNextRead) {
    for (int i = 0; i < 50; ++i) {
        Write(std::string(kHead) + "a = " + std::to_string(100 + i) + "\n"); // same size each time
        ASSERT_EQ(Int(L"a"), static_cast<uint32>(100 + i));
    }
    std::filesystem::remove(m_folder.Path() / "one.conf");
    EXPECT_EQ(Int(L"a"), 12345u);
}

TEST_F(SettingsStoreTest, AYoungFileThatChangesWithoutANewTimeIsReadAgain) {
    const auto file = m_folder.Path() / "one.conf";
    // A little ahead, as on a share whose clock is, so that it stays young however long this takes.
    const auto now = std::filesystem::file_time_type::clock::now() + std::chrono::hours(1);
    Write(std::string(kHead) + "a = 1\n");
    std::filesystem::last_write_time(file, now);
    EXPECT_EQ(Int(L"a"), 1u);
    {
        std::fstream same(file); // in place: the same inode and size
        same << kHead << "a = 2\n";
    }
    std::filesystem::last_write_time(file, now);
    EXPECT_EQ(Int(L"a"), 2u);
}

TEST_F(SettingsStoreTest, AnOldUnchangedFileIsNotReadAgain) {
    Write(std::string(kHead) + "a = 1\n");
    const auto file = m_folder.Path() / "one.conf";
    const auto old = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    std::filesystem::last_write_time(file, old);
    EXPECT_EQ(Int(L"a"), 1u);
    {
        std::fstream same(file); // in place: the same inode and size
        same << kHead << "a = 2\n";
    }
    std::filesystem::last_write_time(file, old);
    EXPECT_EQ(Int(L"a"), 1u) << "the same version";
    std::filesystem::last_write_time(file, old + std::chrono::nanoseconds(1000));
    EXPECT_EQ(Int(L"a"), 2u) << "another version";
}

TEST_F(SettingsStoreTest, TheEnvironmentChangesNothing) {
    UseSettingsFile(nullptr);
    wchar_t before[600];
    wchar_t after[600];
    const int length = SettingsFileName(SETTINGS_FILE_USER, before, 600);
    const char* const home = std::getenv("HOME");
    const std::string saved = home == nullptr ? "" : home;
    setenv("HOME", m_folder.Path().c_str(), 1);
    setenv("XDG_CONFIG_HOME", m_folder.Path().c_str(), 1);
    UseSettingsFile(nullptr); // looks the names up anew
    EXPECT_EQ(SettingsFileName(SETTINGS_FILE_USER, after, 600), length);
    unsetenv("XDG_CONFIG_HOME");
    home == nullptr ? unsetenv("HOME") : setenv("HOME", saved.c_str(), 1);
    ASSERT_GT(length, 0);
    EXPECT_STREQ(before, after);
    EXPECT_NE(std::wstring(after).find(L"/.config/norvex/softcodec.conf"), std::wstring::npos);
}

TEST_F(SettingsStoreTest, FileNamesAreTold) {
    wchar_t name[600];
    const std::wstring expected = m_folder.Wide("one.conf");
    for (const SettingsFile which : {SETTINGS_FILE_MACHINE, SETTINGS_FILE_USER}) {
        EXPECT_EQ(SettingsFileName(which, name, 600), static_cast<int>(expected.size()));
        EXPECT_EQ(name, expected);
    }
    EXPECT_EQ(SettingsFileName(SETTINGS_FILE_USER, name, 5), 4);
    EXPECT_EQ(name, expected.substr(0, 4));
    EXPECT_EQ(SettingsFileName(static_cast<SettingsFile>(2), name, 600), 0);
    EXPECT_EQ(SettingsFileName(SETTINGS_FILE_USER, nullptr, 600), 0);
    UseSettingsFile(nullptr);
    EXPECT_GT(SettingsFileName(SETTINGS_FILE_MACHINE, name, 600), 0);
    EXPECT_STREQ(name, L"/etc/norvex/softcodec.conf");
}

TEST_F(SettingsStoreTest, ARelativeNameStaysWhereItWasNamed) {
    ASSERT_EQ(UseSettingsFile(L"rel.conf"), 1);
    wchar_t name[600];
    ASSERT_GT(SettingsFileName(SETTINGS_FILE_USER, name, 600), 0);
    EXPECT_EQ(name, (std::filesystem::current_path() / "rel.conf").wstring());
}

TEST_F(SettingsStoreTest, TheUsersValueWinsOverTheMachines) {
    UseTwo(std::string(kHead) + "a = 1\nb = 2\nc = 3\n", std::string(kHead) + "A = 10\nc = junk\n");
    EXPECT_EQ(Int(L"a"), 10u);
    EXPECT_EQ(Int(L"b"), 2u);
    EXPECT_EQ(Int(L"c"), 12345u) << "a value that is no number still hides the machine's";
    wchar_t text[10];
    SettingsFile from = SETTINGS_FILE_MACHINE;
    EXPECT_EQ(ReadSettingText(kSection, L"a", text, 10, &from), 2);
    EXPECT_EQ(from, SETTINGS_FILE_USER);
    EXPECT_EQ(ReadSettingText(kSection, L"b", text, 10, &from), 1);
    EXPECT_EQ(from, SETTINGS_FILE_MACHINE);
    EXPECT_EQ(Listed(), (std::vector<std::wstring>{L"Software\\Norvex\\SoftCodec|A|10|user",
                                                   L"Software\\Norvex\\SoftCodec|b|2|machine",
                                                   L"Software\\Norvex\\SoftCodec|c|junk|user"}));
}

TEST_F(SettingsStoreTest, OnlyTheUsersFileIsWritten) {
    const std::string machine = std::string(kHead) + "a = 1\n";
    UseTwo(machine, "");
    EXPECT_EQ(WriteSettingText(kSection, L"a", L"2"), 0u);
    EXPECT_EQ(Int(L"a"), 2u);
    EXPECT_EQ(m_folder.Read("machine.conf"), machine);
    EXPECT_EQ(RemoveSetting(kSection, L"a"), 0u);
    EXPECT_EQ(Int(L"a"), 1u);
    EXPECT_EQ(RemoveSetting(kSection, L"a"), VXC_ERROR_FILE_NOT_FOUND)
        << "the machine's value is not the user's";
}

TEST_F(SettingsStoreTest, AUserWithoutAHomeHasOnlyTheMachinesFile) {
    m_folder.Write("machine.conf", std::string(kHead) + "a = 1\n");
    ASSERT_EQ(sysu::UseSettingsPlaces(m_folder.Wide("machine.conf").c_str(), L""), 1);
    EXPECT_EQ(Int(L"a"), 1u);
    wchar_t name[600];
    EXPECT_EQ(SettingsFileName(SETTINGS_FILE_USER, name, 600), 0);
    EXPECT_EQ(WriteSettingText(kSection, L"a", L"2"), VXC_ERROR_PATH_NOT_FOUND);
}

TEST_F(SettingsStoreTest, TextLengthIsOfWhatWasCopied) {
    Write(std::string(kHead) + "a = hello\nempty =\n");
    wchar_t text[4];
    EXPECT_EQ(ReadSettingText(kSection, L"a", text, 4, nullptr), 3);
    EXPECT_STREQ(text, L"hel");
    EXPECT_EQ(ReadSettingText(kSection, L"a", nullptr, 0, nullptr), 0);
    EXPECT_EQ(ReadSettingText(kSection, L"empty", text, 4, nullptr), 0);
    EXPECT_EQ(text[0], 0);
    text[0] = L'#';
    EXPECT_EQ(ReadSettingText(kSection, L"none", text, 4, nullptr), -1);
    EXPECT_EQ(text[0], L'#');
}

TEST_F(SettingsStoreTest, VisitingEndsWhenAsked) {
    Write("[b]\nx = 1\n[A]\ny = 2\nx = 3\n");
    EXPECT_EQ(Listed(), (std::vector<std::wstring>{L"A|x|3|user", L"A|y|2|user", L"b|x|1|user"}));
    const auto stop = [](void*, const wchar_t*, const wchar_t*, const wchar_t*, SettingsFile) { return 0; };
    EXPECT_EQ(VisitSettings(stop, nullptr), 1);
    EXPECT_EQ(VisitSettings(nullptr, nullptr), 0);
}

TEST_F(SettingsStoreTest, GarbageNeverCrashesAndIsNotedOncePerVersion) {
    int notes = 0;
    SetLogReceiver(
        [](void* context, INFOTYPE level, const wchar_t*, const wchar_t* text) {
            *static_cast<int*>(context) +=
                level == INFOTYPE_ERROR && std::wstring(text).find(L"one.conf") != std::wstring::npos;
        },
        &notes, INFOTYPE_TRACE);
    Write(std::string(kHead) + "a = 1\n" + std::string(1, '\0') + "b = 2\n");
    EXPECT_EQ(Int(L"a"), 12345u);
    EXPECT_EQ(Int(L"b"), 12345u);
    EXPECT_EQ(notes, 1);
    Write(std::string(kHead) + "a = 1\n" + std::string(1024 * 1024, ';'));
    EXPECT_EQ(Int(L"a"), 12345u);
    EXPECT_EQ(Int(L"a"), 12345u);
    EXPECT_EQ(notes, 2);
    Write(std::string(kHead) + "a = 1\n");
    EXPECT_EQ(Int(L"a"), 1u);
    std::filesystem::remove(m_folder.Path() / "one.conf");
    std::filesystem::create_directory(m_folder.Path() / "one.conf");
    EXPECT_EQ(Int(L"a"), 12345u);
    EXPECT_EQ(notes, 3);
    SetLogReceiver(nullptr, nullptr, INFOTYPE_ERROR);
}

TEST_F(SettingsStoreTest, AFileOfTheLargestSizeIsRead) {
    std::string text = std::string(kHead) + "a = 1\n";
    text += std::string(1024 * 1024 - text.size(), ';');
    Write(text);
    EXPECT_EQ(Int(L"a"), 1u);
    EXPECT_EQ(WriteSettingText(kSection, L"b", L"2"), VXC_ERROR_FILE_TOO_LARGE);
    EXPECT_EQ(File(), text);
}

TEST_F(SettingsStoreTest, RandomBytesNeverCrash) {
    for (uint32 seed = 0; seed < 200; ++seed) {
        const std::vector<uint8> bytes = Pattern(500, seed);
        std::string text(bytes.begin(), bytes.end());
        std::replace(text.begin(), text.end(), '\0', '=');
        Write(std::string(kHead) + text + "\n[Good]\nlast = 5\n");
        EXPECT_EQ(Text(L"Good", L"last"), L"5");
    }
}

TEST_F(SettingsStoreTest, AChangeOfTheFileInUseMeetsReadersOnOtherThreads) {
    m_folder.Write("one.conf", std::string(kHead) + "a = 1\n");
    m_folder.Write("two.conf", std::string(kHead) + "a = 2\n");
    std::atomic<bool> stop{false};
    std::thread reader([&] {
        while (!stop) {
            const uint32 value = Int(L"a");
            EXPECT_TRUE(value == 1 || value == 2);
        }
    });
    for (int i = 0; i < 200; ++i) {
        Use(i % 2 == 0 ? "two.conf" : "one.conf");
    }
    stop = true;
    reader.join();
}

TEST_F(SettingsStoreTest, TheLastErrorStays) {
    EXPECT_EQ(VXC_GetFunction(nullptr, "x"), nullptr);
    const uint32 before = VXC_GetLastError();
    EXPECT_NE(before, 0u);
    EXPECT_EQ(Int(L"none"), 12345u);
    EXPECT_EQ(VXC_GetLastError(), before);
}
