#include "platform/HostNames.h"

#include <gtest/gtest.h>

using namespace vxcio;

namespace {

constexpr uint32 kLoopback = 0x7F000001u;

class HostNamesTest : public ::testing::Test {
protected:
    ~HostNamesTest() override { HostNames() = m_table; }

private:
    const HostNameTable m_table = HostNames();
};

} // namespace

TEST_F(HostNamesTest, ADottedAddressIsItsOwnName) {
    EXPECT_EQ(HostNames().firstAddress("127.0.0.1"), kLoopback);
    EXPECT_EQ(HostNames().firstAddress("192.0.2.200"), 0xC00002C8u);
    EXPECT_EQ(HostNames().firstAddress("255.254.253.252"), 0xFFFEFDFCu);
}

TEST_F(HostNamesTest, TheLocalHostIsFoundByItsName) {
    EXPECT_EQ(HostNames().firstAddress("localhost"), kLoopback);
}

TEST_F(HostNamesTest, AHostWithoutAddressIsUnknown) {
    EXPECT_EQ(HostNames().firstAddress(""), 0u);
    EXPECT_EQ(HostNames().firstAddress("256.1.1.1"), 0u);
    EXPECT_EQ(HostNames().firstAddress("name with blanks"), 0u);
    EXPECT_EQ(HostNames().firstAddress("::1"), 0u); // of the other kind
}

TEST_F(HostNamesTest, TheOwnAddressIsThatOfTheOwnName) {
    HostNames().firstAddress = [](const char* host) -> uint32 { return *host != 0 ? 0xC0000207u : 0; };
    EXPECT_EQ(HostNames().ownAddress(), 0xC0000207u);
}

TEST_F(HostNamesTest, AnOwnNameThatLeadsBackOrNowhereLeavesTheInterfaces) {
    HostNames().firstAddress = [](const char*) -> uint32 { return 0; };
    const uint32 unknown = HostNames().ownAddress();
    HostNames().firstAddress = [](const char*) -> uint32 { return 0x7F000101u; };
    const uint32 back = HostNames().ownAddress();
    // On a host without any other interface the address that leads back is all there is.
    if (back == 0x7F000101u) {
        EXPECT_EQ(unknown, kLoopback);
    } else {
        EXPECT_NE(back >> 24, 127u);
        EXPECT_EQ(unknown, back);
    }
}
