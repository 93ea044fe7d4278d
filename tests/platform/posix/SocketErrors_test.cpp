// Errors of the system under their numbers.
#include "platform/posix/SocketErrors.h"

#include "platform/SocketPair.h"

#include <gtest/gtest.h>

using namespace vxcio;
using namespace vxcio::test;

TEST(SocketErrorNumberTest, ErrorsOfSocketsHaveNumbersOfTheirOwn) {
    const struct {
        int error;
        int number;
    } cases[] = {{EINTR, 10004},         {EBADF, 10038},       {ENOTSOCK, 10038},     {EACCES, 10013},
                 {EPERM, 10013},         {EFAULT, 10014},      {EINVAL, 10022},       {EMFILE, 10024},
                 {ENFILE, 10024},        {EAGAIN, 10035},      {EWOULDBLOCK, 10035},  {EADDRINUSE, 10048},
                 {EADDRNOTAVAIL, 10049}, {ENETUNREACH, 10051}, {ECONNABORTED, 10053}, {ECONNRESET, 10054},
                 {EPIPE, 10054},         {ENOBUFS, 10055},     {ENOMEM, 10055},       {EISCONN, 10056},
                 {ENOTCONN, 10057},      {ETIMEDOUT, 10060},   {ECONNREFUSED, 10061}, {EHOSTUNREACH, 10065}};
    for (const auto& one : cases) {
        EXPECT_EQ(NumberOfError(one.error), one.number) << one.error;
    }
}

TEST(SocketErrorNumberTest, OthersStandBehind10000) {
    EXPECT_EQ(NumberOfError(ENOENT), 10000 + ENOENT);
    EXPECT_EQ(NumberOfError(EINPROGRESS), 10000 + EINPROGRESS);
    EXPECT_EQ(NumberOfError(EOPNOTSUPP), 10000 + EOPNOTSUPP);
}

TEST(SocketErrorNumberTest, NoneIsTheSystemsOwn) {
    // One of them means something to who closes a socket.
    for (int error = 1; error <= 133; ++error) {
        EXPECT_GE(NumberOfError(error), 10000) << error;
        EXPECT_NE(NumberOfError(error), 88) << error;
    }
}

TEST(SocketErrorNumberTest, AnAddressOfAGroupIsOutOfReach) {
    const Socket socket;
    EXPECT_EQ(Sockets().connect(socket.Token(), 0xE0000001u, 9), -1);
    EXPECT_EQ(Sockets().lastError(), 10051);
}
