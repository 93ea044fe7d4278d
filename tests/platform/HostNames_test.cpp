#include "platform/HostNames.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>

using namespace vxcio;

namespace {

constexpr uint32 kLoopback = 0x7F000001u;

std::optional<uint32> AddressOf(const char* host) {
    uint32 address = 0;
    return HostNames().firstAddress(host, &address) ? std::optional(address) : std::nullopt;
}

class HostNamesTest : public ::testing::Test {
protected:
    ~HostNamesTest() override { HostNames() = m_table; }

private:
    const HostNameTable m_table = HostNames();
};

} // namespace

TEST_F(HostNamesTest, ADottedAddressIsItsOwnName) {
    EXPECT_EQ(AddressOf("127.0.0.1"), kLoopback);
    EXPECT_EQ(AddressOf("192.0.2.200"), 0xC00002C8u);
    EXPECT_EQ(AddressOf("255.254.253.252"), 0xFFFEFDFCu);
    EXPECT_EQ(AddressOf("0.0.0.0"), 0u);
}

TEST_F(HostNamesTest, TheLocalHostIsFoundByItsName) {
    EXPECT_EQ(AddressOf("localhost"), kLoopback);
}

TEST_F(HostNamesTest, AHostWithoutAddressIsUnknown) {
    for (const char* host : {"", "256.1.1.1", "name with blanks", "::1" /* of the other kind */}) {
        uint32 address = 7;
        EXPECT_FALSE(HostNames().firstAddress(host, &address)) << host;
        EXPECT_EQ(address, 7u) << host;
    }
}

TEST_F(HostNamesTest, EachOfManyThreadsGetsItsOwnAnswers) {
    std::vector<std::thread> threads;
    for (uint32 k = 1; k <= 8; ++k) {
        threads.emplace_back([k] {
            const std::string dotted = "127.0.0." + std::to_string(k);
            for (int i = 0; i < 1000; ++i) {
                ASSERT_EQ(AddressOf(dotted.c_str()), kLoopback - 1 + k) << i;
                ASSERT_EQ(AddressOf("localhost"), kLoopback) << i;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(HostNamesTest, TheOwnAddressIsThatOfTheOwnName) {
    HostNames().firstAddress = [](const char* host, uint32* address) {
        *address = 0xC0000207u;
        return *host != 0;
    };
    EXPECT_EQ(HostNames().ownAddress(), 0xC0000207u);
}

TEST_F(HostNamesTest, AnOwnNameThatLeadsBackOrNowhereLeavesTheInterfaces) {
    HostNames().firstAddress = [](const char*, uint32*) { return false; };
    const uint32 unknown = HostNames().ownAddress();
    HostNames().firstAddress = [](const char*, uint32* address) {
        *address = 0;
        return true;
    };
    EXPECT_EQ(HostNames().ownAddress(), unknown);
    HostNames().firstAddress = [](const char*, uint32* address) {
        *address = 0x7F000101u;
        return true;
    };
    const uint32 back = HostNames().ownAddress();
    // On a host without any other interface the address that leads back is all there is.
    if (back == 0x7F000101u) {
        EXPECT_EQ(unknown, kLoopback);
    } else {
        EXPECT_NE(back >> 24, 127u);
        EXPECT_EQ(unknown, back);
    }
}
