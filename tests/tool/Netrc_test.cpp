// The file of users and passwords.
#include "Netrc.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using namespace vxcio::tool;
using namespace vxcio::test;
using testing::HasSubstr;
using testing::Not;

namespace {

std::vector<NetrcEntry> Parsed(const std::string& text) {
    std::string reason;
    const auto entries = ParseNetrc(text, reason);
    EXPECT_TRUE(entries) << text << ": " << reason;
    return entries.value_or(std::vector<NetrcEntry>{});
}

std::string Refused(const std::string& text) {
    std::string reason;
    EXPECT_FALSE(ParseNetrc(text, reason)) << text;
    return reason;
}

// "login password" of the entry that serves, "-" for what it lacks.
std::string Found(const std::string& text, const std::string& host,
                  const std::optional<std::string>& user = {}) {
    const std::vector<NetrcEntry> entries = Parsed(text);
    const NetrcEntry* const entry = FindNetrc(entries, host, user);
    return entry == nullptr ? "none" : entry->login.value_or("-") + " " + entry->password.value_or("-");
}

} // namespace

TEST(NetrcTest, EntriesStandOnOneLineOrOnMany) {
    const char* const text = "machine a login u password p account x\n"
                             "machine b\n\tlogin v\r\n\tpassword q\n"
                             "default login w password r\n";
    EXPECT_EQ(Found(text, "a"), "u p");
    EXPECT_EQ(Found(text, "B"), "v q");
    EXPECT_EQ(Found(text, "c"), "w r");
    EXPECT_EQ(Found("machine a login u", "b"), "none");
    EXPECT_EQ(Found("", "b"), "none");
}

TEST(NetrcTest, TheFirstEntryForTheUserCounts) {
    const char* const text =
        "machine a login u password p machine a login v password q machine a password any";
    EXPECT_EQ(Found(text, "a"), "u p");
    EXPECT_EQ(Found(text, "a", "v"), "v q");
    EXPECT_EQ(Found(text, "a", "w"), "- any");
    // Nothing behind the default is looked at.
    EXPECT_EQ(Found("default login w password r machine a login u password p", "a", "u"), "none");
}

TEST(NetrcTest, QuotesAndBackslashesKeepBlanks) {
    EXPECT_EQ(Found("machine a login u password \"two words\"", "a"), "u two words");
    EXPECT_EQ(Found("machine a login u password \"a\\\"b\\\\\"", "a"), "u a\"b\\");
    EXPECT_EQ(Found("machine a login u password a\\\\b", "a"), "u a\\b");
    EXPECT_THAT(Refused("machine a login \"u\npassword p"), HasSubstr("quotation"));
}

TEST(NetrcTest, MacrosAndCommentsAreNotLookedAt) {
    const char* const text = "# machine a login no password no\n"
                             "machine a login u\n  password #p # a comment\n"
                             "macdef init\n cd x\n machine b login no\n\n"
                             "machine b login v password q\n";
    EXPECT_EQ(Found(text, "a"), "u #p");
    EXPECT_EQ(Found(text, "b"), "v q");
    EXPECT_EQ(Found("machine a login u password p macdef m\nto the end", "a"), "u p");
}

TEST(NetrcTest, WhatMakesNoSenseIsRefusedWithoutShowingIt) {
    EXPECT_THAT(Refused("machine a login u password two secret"), Not(HasSubstr("secret")));
    EXPECT_THAT(Refused("machine a password"), HasSubstr("no value"));
    EXPECT_THAT(Refused("login u"), HasSubstr("before"));
    EXPECT_THAT(Refused(std::string("machine a password \"p\\\nq\"")), HasSubstr("line end"));
}

TEST(NetrcTest, AFileThatOthersMayUseIsRefused) {
    const TempFolder folder;
    const std::string file = folder.Write("netrc", "machine a");
    std::string text;
    std::string reason;
    std::filesystem::permissions(file, std::filesystem::perms(0600));
    EXPECT_EQ(ReadPrivateFile(file, text, reason), PrivateRead::Good) << reason;
    EXPECT_EQ(text, "machine a");
    for (const unsigned mode : {0640u, 0604u, 0620u, 0601u}) {
        std::filesystem::permissions(file, std::filesystem::perms(mode));
        EXPECT_EQ(ReadPrivateFile(file, text, reason), PrivateRead::Refused) << mode;
        EXPECT_THAT(reason, HasSubstr("chmod 600"));
        EXPECT_EQ(text, "");
    }
    EXPECT_EQ(ReadPrivateFile(folder.Name("none"), text, reason), PrivateRead::Missing);
    EXPECT_EQ(ReadPrivateFile(folder.Path().string(), text, reason), PrivateRead::Refused);
}
