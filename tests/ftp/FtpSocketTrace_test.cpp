// What a socket leaves in the log. One that has failed once leaves a line at each way in and out.
#include "ftp/FtpSocket.h"

#include "ftp/SocketSeam.h"
#include "support/LogCapture.h"
#include "support/MemoryLack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <optional>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

namespace {

class FtpSocketTraceTest : public ::testing::Test {
protected:
    FtpSocketTraceTest() { socket.Create(); }

    std::vector<LogLine> LinesOf(const std::function<void()>& call) {
        log.Clear();
        call();
        return log.Lines();
    }
    static LogLine Trace(const std::wstring& function, int line, int error = 7) {
        return {INFOTYPE_ERROR, L"VXCSoftCodecIO",
                L"m_nErr = " + std::to_wstring(error) + L" CFTPSocket::" + function + L" line:" +
                    std::to_wstring(line)};
    }
    static LogLine Message(const std::wstring& text) { return {INFOTYPE_TRACE, L"VXCSoftCodecIO", text}; }

    // The call on a socket whose last error is 7.
    std::vector<LogLine> TracesOf(const std::function<void()>& call) {
        socket.m_nErr = 7;
        return LinesOf(call);
    }

    SocketSeam seam;
    LogCapture log;
    CFTPSocket socket;
    CVXCString text;
    unsigned port = 0;
    char buffer[8] = {};
};

} // namespace

TEST_F(FtpSocketTraceTest, ASocketThatNeverFailedLeavesNoTrace) {
    seam.packets = {{"line\r\n"}, {"x"}};
    SocketToken accepted = kNoSocket;
    EXPECT_THAT(LinesOf([&] {
                    CFTPSocket client;
                    socket.Create();
                    socket.Bind(0);
                    socket.Listen();
                    socket.Accept(client);
                    socket.Accept1(&accepted);
                    socket.WriteString(L"x");
                    socket.ReadString(text, 0);
                    socket.GetSockName(text, port);
                    socket.Receive(buffer, 1, 0);
                    socket.Send(buffer, 1, 0);
                    socket.Close();
                }),
                IsEmpty());
}

TEST_F(FtpSocketTraceTest, Create) {
    EXPECT_THAT(TracesOf([&] { socket.Create(); }), ElementsAre(Trace(L"Create", 76), Trace(L"Create", 94)));
    seam.Fail("open", 10024);
    seam.Fail("close", 10038);
    EXPECT_THAT(TracesOf([&] { socket.Create(); }),
                ElementsAre(Trace(L"Create", 76), Trace(L"Create", 90, 10038)));
    seam.version = 0x0101;
    CFTPSocket old;
    old.m_nErr = 7;
    EXPECT_THAT(LinesOf([&] { old.Create(); }), ElementsAre(Trace(L"Create", 76), Trace(L"Create", 80)));
}

TEST_F(FtpSocketTraceTest, Connect) {
    const LogLine message = Message(L"CFTPSocket::Connect()--IP:h, Port:21");
    EXPECT_THAT(TracesOf([&] { socket.Connect(L"h", 21); }),
                ElementsAre(Trace(L"Connect", 102), message, Trace(L"Connect", 159)));
    seam.Fail("connect", 10061);
    EXPECT_THAT(TracesOf([&] { socket.Connect(L"h", 21); }), ElementsAre(Trace(L"Connect", 102), message));
    seam.addresses = {std::nullopt};
    EXPECT_THAT(TracesOf([&] { socket.Connect(L"h", 21); }),
                ElementsAre(Trace(L"Connect", 102), message, Trace(L"Connect", 128)));
}

TEST_F(FtpSocketTraceTest, WriteString) {
    EXPECT_THAT(TracesOf([&] { socket.WriteString(L"x"); }),
                ElementsAre(Trace(L"WriteString", 196), Trace(L"WriteString", 227)));
    seam.Fail("send", 10054);
    EXPECT_THAT(TracesOf([&] { socket.WriteString(L"x"); }),
                ElementsAre(Trace(L"WriteString", 196),
                            Message(L"CFTPSocket:: send() err: WSAGetLastError() = 10054 \n"),
                            Trace(L"WriteString", 223, 10054)));
}

TEST_F(FtpSocketTraceTest, ReadString) {
    seam.packets = {{"line\r\n"}};
    EXPECT_THAT(TracesOf([&] { socket.ReadString(text, 0); }),
                ElementsAre(Trace(L"ReadString", 234), Trace(L"ReadString", 327)));
    EXPECT_THAT(TracesOf([&] { socket.ReadString(text, 100); }),
                ElementsAre(Trace(L"ReadString", 234), Trace(L"ReadString", 289)));
    seam.packets = {{.bytes = "x", .error = 10054}};
    EXPECT_THAT(TracesOf([&] { socket.ReadString(text, 100); }),
                ElementsAre(Trace(L"ReadString", 234),
                            Message(L"CFTPSocket:: ReadString recv() err: WSAGetLastError() = 10054 \n"),
                            Trace(L"ReadString", 305, 10054)));
    seam.Fail("readable", 10038);
    EXPECT_THAT(TracesOf([&] { socket.ReadString(text, 100); }),
                ElementsAre(Trace(L"ReadString", 234),
                            Message(L"CFTPSocket:: ReadString WSAIoctl() err: WSAGetLastError() = 10038 "
                                    L"nByteNum = 0\n"),
                            Trace(L"ReadString", 289, 10038)));
}

TEST_F(FtpSocketTraceTest, TheTimeThatALineHasTaken) {
    seam.packets = {{"li", 300}, {"ne\r\nmore\r\n", 401}};
    EXPECT_THAT(LinesOf([&] { socket.ReadString(text, 1000); }),
                ElementsAre(Message(L"CFTPSocket::ReadString() Wait Time: 300 ms"),
                            Message(L"CFTPSocket::ReadString() Wait Time: 500 ms")));
    EXPECT_THAT(LinesOf([&] { socket.ReadString(text, 1000); }), IsEmpty()); // it was there
    EXPECT_THAT(LinesOf([&] { socket.ReadString(text, 1000); }), IsEmpty()); // none came
}

TEST_F(FtpSocketTraceTest, GetSockName) {
    EXPECT_THAT(TracesOf([&] { socket.GetSockName(text, port); }),
                ElementsAre(Trace(L"GetSockName", 333), Trace(L"GetSockName", 372)));
    seam.ownPort = 0;
    EXPECT_THAT(TracesOf([&] { socket.GetSockName(text, port); }),
                ElementsAre(Trace(L"GetSockName", 333), Trace(L"GetSockName", 368)));
    seam.Fail("name", 10022);
    EXPECT_THAT(TracesOf([&] { socket.GetSockName(text, port); }),
                ElementsAre(Trace(L"GetSockName", 333), Trace(L"GetSockName", 342, 10022)));
}

TEST_F(FtpSocketTraceTest, GetSockNameWithoutMemoryForTheText) {
    // The lines of the log need memory as well. A call that lacks it for them alone succeeds.
    int failures = 0;
    for (int n = 1; n < 100; ++n) {
        socket.m_nErr = 7;
        text = L"before";
        port = 1;
        log.Clear();
        MemoryLack lack(n);
        const int result = socket.GetSockName(text, port);
        if (!lack.Came()) {
            break;
        }
        if (result == 0) {
            ++failures;
            EXPECT_THAT(log.Lines(), ElementsAre(Trace(L"GetSockName", 333), Trace(L"GetSockName", 352)));
            EXPECT_STREQ(text, L"before");
            EXPECT_EQ(port, 1u);
        }
    }
    EXPECT_GT(failures, 0);
}

TEST_F(FtpSocketTraceTest, Bind) {
    EXPECT_THAT(TracesOf([&] { socket.Bind(0); }), ElementsAre(Trace(L"Bind", 378), Trace(L"Bind", 411)));
    seam.Fail("bind", 10048);
    EXPECT_THAT(TracesOf([&] { socket.Bind(0); }),
                ElementsAre(Trace(L"Bind", 378), Trace(L"Bind", 407, 10048)));
    seam.ownAddress = 0;
    EXPECT_THAT(TracesOf([&] { socket.Bind(0); }), ElementsAre(Trace(L"Bind", 378), Trace(L"Bind", 397)));
}

TEST_F(FtpSocketTraceTest, Listen) {
    EXPECT_THAT(TracesOf([&] { socket.Listen(); }),
                ElementsAre(Trace(L"Listen", 417), Trace(L"Listen", 426)));
    seam.Fail("listen", 10022);
    EXPECT_THAT(TracesOf([&] { socket.Listen(); }),
                ElementsAre(Trace(L"Listen", 417), Trace(L"Listen", 422, 10022)));
}

TEST_F(FtpSocketTraceTest, Accept) {
    CFTPSocket client;
    EXPECT_THAT(TracesOf([&] { socket.Accept(client); }),
                ElementsAre(Trace(L"Accept", 432), Trace(L"Accept", 443)));
    seam.Fail("accept", 10004);
    EXPECT_THAT(TracesOf([&] { socket.Accept(client); }),
                ElementsAre(Trace(L"Accept", 432), Trace(L"Accept", 440, 10004)));
}

TEST_F(FtpSocketTraceTest, Accept1) {
    SocketToken accepted = kNoSocket;
    EXPECT_THAT(TracesOf([&] { socket.Accept1(&accepted); }),
                ElementsAre(Trace(L"Accept1", 449), Trace(L"Accept1", 461)));
    seam.Fail("accept", 10004);
    EXPECT_THAT(TracesOf([&] { socket.Accept1(&accepted); }),
                ElementsAre(Trace(L"Accept1", 449), Trace(L"Accept1", 461)));
    socket.m_hSocket = kNoSocket;
    seam.Fail("accept", 10038);
    EXPECT_THAT(TracesOf([&] { socket.Accept1(&accepted); }),
                ElementsAre(Trace(L"Accept1", 449), Trace(L"Accept1", 457, 10038)));
}

TEST_F(FtpSocketTraceTest, Close) {
    EXPECT_THAT(TracesOf([&] { socket.Close(); }), ElementsAre(Trace(L"Close", 470), Trace(L"Close", 478)));
    socket.m_nErr = 88;
    EXPECT_THAT(LinesOf([&] { socket.Close(); }),
                ElementsAre(Trace(L"Close", 470, 88), Trace(L"Close", 478, 88)));
    socket.m_hSocket = 0;
    EXPECT_THAT(TracesOf([&] { socket.Close(); }), ElementsAre(Trace(L"Close", 470)));
}

TEST_F(FtpSocketTraceTest, Receive) {
    const LogLine message = Message(L"CFTPSocket:: recv() err: WSAGetLastError() = 10054 \n");
    seam.packets = {{"a"}, {""}};
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(TracesOf([&] { socket.Receive(buffer, 1, 0); }),
                    ElementsAre(Trace(L"Receive", 484), Trace(L"Receive", 494)));
    }
    const std::vector<LogLine> failed = {Trace(L"Receive", 484), message, Trace(L"Receive", 494, 10054)};
    seam.Fail("receive", 10054);
    EXPECT_THAT(TracesOf([&] { socket.Receive(buffer, 1, 0); }), ElementsAreArray(failed));
    seam.Fail("receiveNow", 10054);
    std::mutex lock;
    const bool stopped = false;
    EXPECT_THAT(TracesOf([&] { socket.Receive(buffer, 1, lock, stopped); }), ElementsAreArray(failed));
}

TEST_F(FtpSocketTraceTest, Send) {
    EXPECT_THAT(TracesOf([&] { socket.Send("x", 1, 0); }),
                ElementsAre(Trace(L"Send", 500), Trace(L"Send", 509)));
    seam.Fail("send", 10054);
    EXPECT_THAT(TracesOf([&] { socket.Send("x", 1, 0); }),
                ElementsAre(Trace(L"Send", 500), Message(L"send() err: WSAGetLastError() = 10054 \n"),
                            Trace(L"Send", 509, 10054)));
}
