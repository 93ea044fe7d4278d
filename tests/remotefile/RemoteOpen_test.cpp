// What an open asks for, and what it makes of the answers.
#include "remotefile/RemoteFixture.h"

#include <cstdlib>

using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

class RemoteOpenTest : public RemoteFixture {};

} // namespace

TEST_F(RemoteOpenTest, OneRequestTellsTheSize) {
    Serve();
    ASSERT_TRUE(Open());
    EXPECT_EQ(remote->GetSize(), kSize);
    EXPECT_THAT(server->Ranges(), ElementsAre("0-65535"));
    const OddRequest request = server->Requests().front();
    EXPECT_EQ(request.line, "GET /clip.mxf HTTP/1.1");
    EXPECT_EQ(request.Header("accept-encoding"), "identity");
    EXPECT_EQ(request.Header("host"), "127.0.0.1:" + std::to_string(server->Port()));
    EXPECT_EQ(request.Header("authorization"), "");
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), IsEmpty());
}

TEST_F(RemoteOpenTest, AFileThatIsShorterThanTheFirstRangeNeedsNoOtherRequest) {
    content = PatternFile(1000, 2);
    Serve();
    ASSERT_TRUE(Open());
    EXPECT_EQ(remote->GetSize(), 1000u);
    EXPECT_EQ(Read(2000), content.bytes);
    EXPECT_EQ(server->Requests().size(), 1u);
}

TEST_F(RemoteOpenTest, AnEmptyFileIsOneOfNoBytes) {
    content.bytes.clear();
    Serve();
    ASSERT_TRUE(Open());
    EXPECT_EQ(remote->GetSize(), 0u);
    EXPECT_EQ(Read(10), "");
    content.givesRanges = false;
    ASSERT_TRUE(Open());
    EXPECT_EQ(remote->GetSize(), 0u);
    EXPECT_EQ(Read(10), "");
    EXPECT_EQ(server->Requests().size(), 2u);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), IsEmpty());
}

TEST_F(RemoteOpenTest, ClosingEndsItAndAnotherOpenBeginsAnew) {
    Serve();
    ASSERT_TRUE(Open());
    EXPECT_EQ(Read(10), Part(0, 10));
    remote->Close();
    EXPECT_EQ(remote->GetSize(), 0u);
    EXPECT_EQ(Read(10), "");
    EXPECT_LT(remote->Seek(0), 0);
    ASSERT_TRUE(Open());
    EXPECT_EQ(Read(10), Part(0, 10));
}

TEST_F(RemoteOpenTest, AFailedOpenLeavesNothingOpen) {
    Serve([](const OddRequest& request, OddReply& reply) {
        return request.number == 1 && reply.Send("HTTP/1.1 404 No\r\nContent-Length: 0\r\n\r\n");
    });
    ASSERT_TRUE(Open());
    EXPECT_FALSE(Open());
    EXPECT_EQ(remote->GetSize(), 0u);
    EXPECT_EQ(Read(10), "");
    EXPECT_LT(remote->Seek(0), 0);
    EXPECT_TRUE(server->WaitForClosed(2));
}

TEST_F(RemoteOpenTest, TheNameIsEncodedWhereItMustBe) {
    Serve();
    ASSERT_TRUE(Open(server->Url(L"/Stra\u00DFe 1/a%20b%zz.mxf?x=1#there")));
    EXPECT_EQ(server->Requests().front().Target(), "/Stra%C3%9Fe%201/a%20b%25zz.mxf?x=1");
}

TEST_F(RemoteOpenTest, WhatIsNoAddressIsTold) {
    for (const wchar_t* name :
         {L"", L"http", L"http://", L"httpfile.mxf", L"ftp://127.0.0.1/a", L"http://:/"}) {
        log.Clear();
        EXPECT_FALSE(Open(name)) << name;
        EXPECT_THAT(Error(), HasSubstr(L"no address"));
    }
    EXPECT_EQ(remote->Open(nullptr), 0);
}

TEST_F(RemoteOpenTest, ALongNameIsNoHarm) {
    Serve();
    const std::wstring path = L"/" + std::wstring(5000, L'\u00FC');
    EXPECT_TRUE(Open(server->Url(path)));
    EXPECT_EQ(server->Requests().front().Target().size(), 30001u);
}

// Statuses and the words in the log.
class RemoteStatusTest : public RemoteFixture,
                         public ::testing::WithParamInterface<std::pair<int, const wchar_t*>> {};

TEST_P(RemoteStatusTest, IsTold) {
    const int status = GetParam().first;
    Serve([&](const OddRequest&, OddReply& reply) { return reply.Send(content.Head(status, 0)); });
    EXPECT_FALSE(Open());
    EXPECT_THAT(Error(), HasSubstr(GetParam().second));
    EXPECT_EQ(log.Lines().front().module, L"QLRRemoteFileU");
    EXPECT_EQ(server->Requests().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(All, RemoteStatusTest,
                         ::testing::Values(std::pair(401, L"asks for a name and password (401)"),
                                           std::pair(403, L"forbids it (403)"),
                                           std::pair(404, L"no such file (404)"),
                                           std::pair(410, L"no longer there (410)"), std::pair(416, L"(416)"),
                                           std::pair(500, L"answers 500"), std::pair(503, L"answers 503"),
                                           std::pair(204, L"answers 204")),
                         [](const auto& one) { return "Status" + std::to_string(one.param.first); });

// Whole answers to the open that are of no use, and the words in the log.
struct OddAnswer {
    const char* name;
    std::string answer;
    const wchar_t* words;
};

class RemoteOddAnswerTest : public RemoteFixture, public ::testing::WithParamInterface<OddAnswer> {};

TEST_P(RemoteOddAnswerTest, FailsTheOpenWithItsReason) {
    Serve([](const OddRequest&, OddReply& reply) {
        reply.Send(GetParam().answer);
        reply.Close();
        return true;
    });
    EXPECT_FALSE(Open());
    EXPECT_THAT(Error(), HasSubstr(GetParam().words));
}

INSTANTIATE_TEST_SUITE_P(
    All, RemoteOddAnswerTest,
    ::testing::Values(
        OddAnswer{"Nothing", "", L"closed without an answer"},
        OddAnswer{"Garbage", "\x01\x02 what?\r\n\r\nmore", L"not HTTP"},
        OddAnswer{"HalfAHeader", "HTTP/1.1 206 Part\r\nContent-Le", L"the s"},
        OddAnswer{"ChunkedWithoutLength",
                  "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n",
                  L"does not tell the size"},
        OddAnswer{"OldAndWithoutLength", "HTTP/1.0 200 OK\r\n\r\nabc", L"does not tell the size"},
        OddAnswer{"UnknownTotal",
                  "HTTP/1.1 206 Part\r\nContent-Length: 3\r\nContent-Range: bytes 0-2/*\r\n\r\nabc",
                  L"does not tell the size"},
        OddAnswer{"NoRangeTold", "HTTP/1.1 206 Part\r\nContent-Length: 3\r\n\r\nabc",
                  L"does not tell the size"},
        OddAnswer{"OtherRange",
                  "HTTP/1.1 206 Part\r\nContent-Length: 3\r\nContent-Range: bytes 1-3/9\r\n\r\nabc",
                  L"another range"},
        OddAnswer{"SizeBeyondMeasure",
                  "HTTP/1.1 206 Part\r\nContent-Length: 3\r\n"
                  "Content-Range: bytes 0-2/9223372036854775808\r\n\r\nabc",
                  L"does not tell the size"},
        OddAnswer{"NothingThereButNotEmpty",
                  "HTTP/1.1 416 No\r\nContent-Length: 0\r\nContent-Range: bytes */5\r\n\r\n",
                  L"nothing at this place of the file (416)"},
        OddAnswer{"NegativeLength", "HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\nabc", L"127.0.0.1"},
        OddAnswer{"Encoded", "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 3\r\n\r\nabc",
                  L"not its bytes"},
        OddAnswer{"HugeHeader",
                  "HTTP/1.1 200 OK\r\nContent-Length: 3\r\nX: " + std::string(200'000, 'x') + "\r\n\r\nabc",
                  L"header"}),
    [](const auto& one) { return one.param.name; });

TEST_F(RemoteOpenTest, AHeaderWithoutEndEnds) {
    Serve([](const OddRequest&, OddReply& reply) {
        reply.Send("HTTP/1.1 200 OK\r\n");
        while (reply.Send("X-More: and more, and more, and more, and more\r\n")) {
        }
        return true;
    });
    EXPECT_FALSE(Open());
    EXPECT_THAT(Error(), HasSubstr(L"the header of the answer has no end"));
}

TEST_F(RemoteOpenTest, AnOldServerThatClosesAfterEachAnswerIsReadAllTheSame) {
    Serve([&](const OddRequest& request, OddReply& reply) {
        content.Answer(request, reply);
        reply.Close();
        return true;
    });
    ASSERT_TRUE(Open());
    EXPECT_EQ(Whole(100'000), content.bytes);
    EXPECT_EQ(server->Connections(), static_cast<int>(server->Requests().size()));
}

TEST_F(RemoteOpenTest, AServerThatIsNotThereIsTold) {
    std::wstring url;
    {
        const OddHttpServer gone([](const OddRequest&, OddReply&) {});
        url = gone.Url();
    }
    EXPECT_FALSE(Open(url));
    EXPECT_THAT(Error(), HasSubstr(L"no connection to the host"));
}

TEST_F(RemoteOpenTest, AHostThatNobodyKnowsIsTold) {
    settings.Set(L"HttpTimeOut", L"5000"); // where no name server answers at all
    EXPECT_FALSE(Open(L"http://nowhere.invalid/a"));
    EXPECT_THAT(Error(), ::testing::AnyOf(HasSubstr(L"host is not known"), HasSubstr(L"in time")));
}

TEST_F(RemoteOpenTest, TheEnvironmentNamesNoProxy) {
    Serve();
    ::setenv("http_proxy", "http://127.0.0.1:9", 1);
    EXPECT_TRUE(Open());
    ::unsetenv("http_proxy");
}

TEST_F(RemoteOpenTest, TheProxyOfTheSettingsIsAskedWhateverTheEnvironmentSays) {
    Serve();
    settings.Set(L"HttpProxy", L"http://127.0.0.1:" + std::to_wstring(server->Port()));
    ::setenv("no_proxy", "*", 1);
    EXPECT_TRUE(Open(L"http://far.invalid/clip.mxf"));
    ::unsetenv("no_proxy");
    ASSERT_EQ(server->Requests().size(), 1u);
    EXPECT_EQ(server->Requests().front().Target(), "http://far.invalid/clip.mxf");
}
