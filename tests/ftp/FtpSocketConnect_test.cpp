// Which addresses of a host are tried.
#include "ftp/FtpSocket.h"

#include "ftp/SocketSeam.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class FtpSocketConnectTest : public ::testing::Test {
protected:
    // The calls since the last time.
    std::vector<std::string> TakeCalls() { return std::exchange(seam.calls, {}); }

    SocketSeam seam;
    LogCapture log;
};

} // namespace

TEST_F(FtpSocketConnectTest, TheHostIsLoggedAsGivenAndLookedUp) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    EXPECT_EQ(socket.Connect(L"b\x00FC\x00DFt.example", 2121), 1);
    const LogLine line = {INFOTYPE_TRACE, L"VXCSoftCodecIO",
                          L"CFTPSocket::Connect()--IP:b\x00FC\x00DFt.example, Port:2121"};
    EXPECT_THAT(log.Lines(), ElementsAre(line));
    EXPECT_THAT(seam.hosts, ElementsAre("b\xC3\xBC\xC3\x9Ft.example"));
    EXPECT_THAT(TakeCalls(), ElementsAre("connect 501 127.0.0.1:2121"));
    EXPECT_EQ(socket.m_nErr, 0);
}

TEST_F(FtpSocketConnectTest, OnlyTheLow16BitsOfAPortCount) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    EXPECT_EQ(socket.Connect(L"host", 0x50015), 1);
    EXPECT_THAT(TakeCalls(), ElementsAre("connect 501 127.0.0.1:21"));
}

TEST_F(FtpSocketConnectTest, AnAddressThatStaysIsTriedOnce) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    seam.Fail("connect", 10061);
    EXPECT_EQ(socket.Connect(L"host", 21), 0);
    EXPECT_EQ(socket.m_nErr, 10061);
    EXPECT_THAT(TakeCalls(), ElementsAre("connect 501 127.0.0.1:21"));
    EXPECT_THAT(seam.hosts, ElementsAre("host", "host")); // the second ends it
}

TEST_F(FtpSocketConnectTest, EachAddressOfANameThatRotatesIsTriedOnce) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    seam.addresses = {0xC0000201u, 0xC0000202u, 0xC0000203u, 0xC0000202u};
    seam.Fail("connect", 10060);
    seam.Fail("connect", 10065);
    seam.Fail("connect", 10061);
    EXPECT_EQ(socket.Connect(L"host", 21), 0);
    EXPECT_EQ(socket.m_nErr, 10061);
    EXPECT_THAT(TakeCalls(), ElementsAre("connect 501 192.0.2.1:21", "connect 501 192.0.2.2:21",
                                         "connect 501 192.0.2.3:21"));
    EXPECT_EQ(seam.hosts.size(), 4u);
}

TEST_F(FtpSocketConnectTest, ALaterAddressConnectsAndTheErrorStays) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    seam.addresses = {0xC0000201u, 0xC0000202u};
    seam.Fail("connect", 10061);
    EXPECT_EQ(socket.Connect(L"host", 21), 1);
    EXPECT_EQ(socket.m_nErr, 10061);
    EXPECT_THAT(TakeCalls(), ElementsAre("connect 501 192.0.2.1:21", "connect 501 192.0.2.2:21"));
}

TEST_F(FtpSocketConnectTest, AnUnknownHostIsNoErrorOfTheSocket) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    seam.addresses = {std::nullopt};
    EXPECT_EQ(socket.Connect(L"nowhere", 21), 0);
    EXPECT_EQ(socket.m_nErr, 0);
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(FtpSocketConnectTest, TheAddressOfZerosIsTriedAsAnyOther) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    seam.addresses = {0u};
    seam.Fail("connect", 10049);
    EXPECT_EQ(socket.Connect(L"0.0.0.0", 21), 0);
    EXPECT_EQ(socket.m_nErr, 10049);
    EXPECT_THAT(TakeCalls(), ElementsAre("connect 501 0.0.0.0:21"));
    EXPECT_EQ(socket.Connect(L"0.0.0.0", 21), 1);
}

TEST_F(FtpSocketConnectTest, ANameThatIsLostOnTheWayEndsTheSearch) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    seam.addresses = {0xC0000201u, std::nullopt};
    seam.Fail("connect", 10061);
    EXPECT_EQ(socket.Connect(L"host", 21), 0);
    EXPECT_THAT(TakeCalls(), ElementsAre("connect 501 192.0.2.1:21"));
}

TEST_F(FtpSocketConnectTest, ANameOf1024BytesIsNoHost) {
    CFTPSocket socket;
    socket.Create();
    EXPECT_EQ(socket.Connect(std::wstring(1023, L'a').c_str(), 21), 1);
    EXPECT_EQ(socket.Connect(std::wstring(1024, L'a').c_str(), 21), 0);
    EXPECT_EQ(socket.Connect((std::wstring(1022, L'a') + L"\x00FC").c_str(), 21), 0); // in bytes
    EXPECT_THAT(seam.hosts, ElementsAre(std::string(1023, 'a')));
    EXPECT_EQ(socket.m_nErr, 0);
}

TEST_F(FtpSocketConnectTest, NoNameIsAnEmptyOne) {
    CFTPSocket socket;
    socket.Create();
    seam.addresses = {std::nullopt};
    EXPECT_EQ(socket.Connect(nullptr, 21), 0);
    EXPECT_THAT(seam.hosts, ElementsAre(""));
    EXPECT_TRUE(log.Contains(L"CFTPSocket::Connect()--IP:, Port:21"));
}
