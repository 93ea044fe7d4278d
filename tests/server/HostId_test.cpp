// Whom the server serves.
#include "server/HostId.h"

#include <gtest/gtest.h>

#include <vector>

using vxcserver::HostId;
using vxcserver::TakeHostId;

namespace {

std::optional<HostId> Take(const std::vector<const char*>& words) {
    return TakeHostId(static_cast<int>(words.size()), words.data());
}

} // namespace

TEST(HostIdTest, TheIdIsKeptWithItsZeros) {
    const std::optional<HostId> host = Take({"/x/VXC32ServU.exe", "00012345"});
    ASSERT_TRUE(host.has_value());
    EXPECT_EQ(host->text, L"00012345");
    EXPECT_EQ(host->process, 12345u);
}

TEST(HostIdTest, TheLastWordCountsHoweverTheLineWasCut) {
    EXPECT_EQ(Take({"/a dir/x", "y/VXC32ServU.exe", "00000042"})->text, L"00000042");
    EXPECT_EQ(Take({"VXC32ServU.exe", "x y/VXC32ServU.exe  00000043"})->text, L"00000043");
    EXPECT_EQ(Take({"VXC32ServU.exe", "7", "8"})->process, 8u);
}

TEST(HostIdTest, LargeNumbersAreTakenAsFarAsTheyAreProcesses) {
    EXPECT_EQ(Take({"s", "4294967295"})->process, 0xFFFFFFFFu);
    EXPECT_EQ(Take({"s", "4194304"})->process, 4194304u);
    EXPECT_FALSE(Take({"s", "4294967296"}).has_value());
    EXPECT_FALSE(Take({"s", "18446744073709551617"}).has_value());
    const std::string endless(5000, '1');
    EXPECT_FALSE(Take({"s", endless.c_str()}).has_value());
}

TEST(HostIdTest, WhatIsNoNumberIsRefused) {
    EXPECT_FALSE(Take({}).has_value());
    EXPECT_FALSE(Take({"VXC32ServU.exe"}).has_value());
    EXPECT_FALSE(Take({"00000042"}).has_value()); // the program's own name
    for (const char* word :
         {"", " ", "42 ", "-1", "+1", "0x10", "12a", "0", "00000000", "1.5", "../1", "--help"}) {
        EXPECT_FALSE(Take({"VXC32ServU.exe", word}).has_value()) << word;
    }
}
