// Servers that break off, send other than they said, or have another file now.
#include "remotefile/RemoteFixture.h"
#include "support/Bounded.h"

#include <chrono>

using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

class RemoteFaultsTest : public RemoteFixture {
protected:
    // The right head of the answer to a range, but for what a test changes in it.
    std::string RangeHead(uint64 first, uint64 last, uint64 length, uint64 total = kSize) const {
        return content.Head(206, length,
                            "Content-Range: bytes " + std::to_string(first) + "-" + std::to_string(last) +
                                "/" + std::to_string(total) + "\r\n");
    }
    // Opens, and has the answer to the first range behind that be this one.
    void OpenThenAnswer(std::function<void(OddReply&)> answer) {
        Serve([answer](const OddRequest& request, OddReply& reply) {
            if (request.number != 1) {
                return false;
            }
            answer(reply);
            return true;
        });
        ASSERT_TRUE(Open());
    }
};

} // namespace

TEST_F(RemoteFaultsTest, AnAnswerThatBreaksOffIsGoneOnWith) {
    OpenThenAnswer([this](OddReply& reply) {
        reply.Send(RangeHead(1'000'000, 1'065'535, 65536));
        reply.Send(Part(1'000'000, 1000));
        reply.Close();
    });
    EXPECT_TRUE(IsPart(1'000'000, 5000));
    EXPECT_EQ(server->Requests().size(), 3u);
    EXPECT_EQ(server->Requests().back().Range()->first, 1'001'000u);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), IsEmpty());
    EXPECT_TRUE(log.Contains(L"once more from there"));
}

TEST_F(RemoteFaultsTest, AResetIsGoneOnBehind) {
    OpenThenAnswer([this](OddReply& reply) {
        reply.Send(RangeHead(1'000'000, 1'065'535, 65536));
        reply.Reset();
    });
    EXPECT_TRUE(IsPart(1'000'000, 5000));
    EXPECT_EQ(server->Requests().back().Range()->first, 1'000'000u);
}

TEST_F(RemoteFaultsTest, AServerThatClosesAfterEachPieceIsReadAsLongAsSomethingComes) {
    Serve([this](const OddRequest& request, OddReply& reply) {
        const auto first = request.Range()->first;
        if (first == 0) {
            return false;
        }
        reply.Send(RangeHead(first, kSize - 1, kSize - first));
        reply.Send(Part(first, 100'000));
        reply.Close();
        return true;
    });
    ASSERT_TRUE(Open());
    EXPECT_EQ(Whole(1'000'000), content.bytes);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), IsEmpty());
}

TEST_F(RemoteFaultsTest, ThreeTriesWithoutAByteEndTheReadAndTheNextBeginsAnew) {
    Serve([](const OddRequest& request, OddReply& reply) {
        const bool isOdd = request.number >= 1 && request.number <= 3;
        if (isOdd) {
            reply.Send("HTTP/1.1 503 Busy\r\nContent-Length: 0\r\n\r\n");
        }
        return isOdd;
    });
    ASSERT_TRUE(Open());
    EXPECT_EQ(ReadAt(60'000, 10'000), Part(60'000, 5536)); // what was kept
    EXPECT_EQ(server->Requests().size(), 4u);
    EXPECT_THAT(Error(), HasSubstr(L"answers 503"));
    EXPECT_EQ(Read(100), Part(65536, 100));
}

TEST_F(RemoteFaultsTest, LessThanSaidIsAskedForAgain) {
    OpenThenAnswer([this](OddReply& reply) {
        reply.Send(RangeHead(1'000'000, 1'065'535, 500)); // a whole response, of another length
        reply.Send(Part(1'000'000, 500));
    });
    EXPECT_TRUE(IsPart(1'000'000, 5000));
    EXPECT_TRUE(log.Contains(L"sent less than it had said"));
}

TEST_F(RemoteFaultsTest, MoreThanSaidIsNoPartOfTheFile) {
    OpenThenAnswer([this](OddReply& reply) {
        reply.Send(RangeHead(1'000'000, 1'000'999, 5000));
        reply.Send(Part(1'000'000, 1000) + std::string(4000, '#'));
    });
    EXPECT_TRUE(IsPart(1'000'000, 5000));
    EXPECT_TRUE(IsPart(1'500'000, 5000));
}

TEST_F(RemoteFaultsTest, BytesBehindAResponseAreNoPartOfTheNext) {
    OpenThenAnswer([this](OddReply& reply) {
        reply.Send(RangeHead(1'000'000, 1'065'535, 65536));
        reply.Send(Part(1'000'000, 65536) + "HTTP/1.1 206 Bad\r\nContent-Length: 5\r\n\r\nwrong");
    });
    EXPECT_TRUE(IsPart(1'000'000, 65536));
    EXPECT_TRUE(IsPart(1'500'000, 5000));
}

TEST_F(RemoteFaultsTest, AnotherRangeIsNotTakenForTheOneThatWasAskedFor) {
    OpenThenAnswer([this](OddReply& reply) {
        reply.Send(RangeHead(1'000'001, 1'065'535, 65535));
        reply.Send(Part(1'000'001, 65535));
    });
    EXPECT_TRUE(IsPart(1'000'000, 5000));
    EXPECT_EQ(server->Requests().size(), 3u);
    EXPECT_TRUE(log.Contains(L"another range"));
}

TEST_F(RemoteFaultsTest, OtherRangesAllTheTimeEndTheReadWithTheirReason) {
    Serve([this](const OddRequest& request, OddReply& reply) {
        const bool isOdd = request.number > 0;
        if (isOdd) {
            reply.Send(RangeHead(0, 9, 10));
            reply.Send(Part(0, 10));
        }
        return isOdd;
    });
    ASSERT_TRUE(Open());
    EXPECT_EQ(ReadAt(1'000'000, 5000), "");
    EXPECT_EQ(server->Requests().size(), 4u);
    EXPECT_THAT(Error(), HasSubstr(L"another range"));
}

TEST_F(RemoteFaultsTest, AnotherTotalIsAnotherFile) {
    OpenThenAnswer([this](OddReply& reply) {
        reply.Send(RangeHead(65536, 131'071, 65536, kSize + 1));
        reply.Send(Part(65536, 65536));
    });
    EXPECT_EQ(ReadAt(60'000, 20'000), Part(60'000, 5536)); // what came before
    EXPECT_THAT(Error(), HasSubstr(L"has changed"));
    EXPECT_EQ(Read(10), "");
    EXPECT_EQ(server->Requests().size(), 2u); // it is not asked again
    remote->Close();
    EXPECT_TRUE(Open());
    EXPECT_TRUE(IsPart(1'000'000, 10));
}

TEST_F(RemoteFaultsTest, AFileThatHasBecomeShorterHasChanged) {
    Serve();
    ASSERT_TRUE(Open());
    content.bytes.resize(70'000);
    EXPECT_EQ(ReadAt(1'000'000, 10), "");
    EXPECT_THAT(Error(), HasSubstr(L"smaller"));
    EXPECT_EQ(ReadAt(66'000, 10), "");
    EXPECT_EQ(server->Requests().size(), 2u); // it is not asked again
}

TEST_F(RemoteFaultsTest, AnotherStrongTagIsAnotherFile) {
    Serve();
    ASSERT_TRUE(Open());
    content.tag = "\"two\"";
    EXPECT_EQ(ReadAt(1'000'000, 10), "");
    EXPECT_THAT(Error(), HasSubstr(L"has changed"));
}

TEST_F(RemoteFaultsTest, AnotherDateIsAnotherFileAlsoWithoutRanges) {
    content.givesRanges = false;
    Serve();
    ASSERT_TRUE(Open());
    EXPECT_TRUE(IsPart(1'000'000, 10));
    content.date = "Tue, 03 Jun 2025 10:00:01 GMT";
    EXPECT_TRUE(IsPart(1'100'000, 10)); // the response of before
    EXPECT_EQ(ReadAt(900'000, 10), "");
    EXPECT_THAT(Error(), HasSubstr(L"has changed"));
}

TEST_F(RemoteFaultsTest, WeakTagsAndMissingOnesTellNothing) {
    content.tag = "W/\"one\"";
    Serve();
    ASSERT_TRUE(Open());
    content.tag = "W/\"two\"";
    EXPECT_TRUE(IsPart(1'000'000, 10));
    content.tag = "";
    content.date = "";
    EXPECT_TRUE(IsPart(2'000'000, 10));
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), IsEmpty());
}

TEST_F(RemoteFaultsTest, ARangeBeyondTheFileIsNone) {
    OpenThenAnswer([](OddReply& reply) {
        reply.Send(
            "HTTP/1.1 206 Part\r\nContent-Length: 20\r\nContent-Range: bytes 3000007-3000026/*\r\n\r\n" +
            std::string(20, '#'));
    });
    EXPECT_EQ(ReadAt(kSize - 10, 1000), Part(kSize - 10, 10));
    EXPECT_EQ(server->Requests().size(), 3u);
    EXPECT_TRUE(log.Contains(L"another range"));
}

TEST_F(RemoteFaultsTest, APartThatIsEncodedEndsTheRead) {
    OpenThenAnswer([this](OddReply& reply) {
        reply.Send(content.Head(
            206, 10, "Content-Encoding: gzip\r\nContent-Range: bytes 1000000-1000009/3000017\r\n"));
        reply.Send("0123456789");
    });
    EXPECT_EQ(ReadAt(1'000'000, 10), "");
    EXPECT_THAT(Error(), HasSubstr(L"not its bytes"));
    EXPECT_EQ(server->Requests().size(), 2u);
}

TEST_F(RemoteFaultsTest, AHeadWithNothingBehindItIsEnoughForTheOpen) {
    Serve([this](const OddRequest& request, OddReply& reply) {
        if (request.number == 0) {
            reply.Send(RangeHead(0, 65535, 65536));
            reply.Close();
        }
        return request.number == 0;
    });
    ASSERT_TRUE(Open());
    EXPECT_EQ(remote->GetSize(), kSize);
    EXPECT_TRUE(IsPart(0, 1000));
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), IsEmpty());
}

TEST_F(RemoteFaultsTest, ABreakInTheAnswerToTheOpenIsMendedByTheReads) {
    Serve([this](const OddRequest& request, OddReply& reply) {
        if (request.number != 0) {
            return false;
        }
        reply.Send(RangeHead(0, 65535, 65536));
        reply.Send(Part(0, 100));
        reply.Close();
        return true;
    });
    ASSERT_TRUE(Open());
    EXPECT_TRUE(IsPart(0, 1000));
    EXPECT_EQ(server->Requests().back().Range()->first, 100u);
}

// ---- stalls: the least that can be set is a second; who must have an answer before has more time ---------

TEST_F(RemoteFaultsTest, AnOpenEndsWhereverTheServerStopsToSpeak) {
    settings.Set(L"HttpTimeOut", L"1000");
    for (const std::string& said :
         {std::string(), std::string("HTTP/1.1 206 Par"), RangeHead(0, 65535, 65536) + Part(0, 1000)}) {
        log.Clear();
        Serve([said](const OddRequest&, OddReply& reply) {
            reply.Send(said);
            reply.Hang();
            return true;
        });
        EXPECT_FALSE(Open());
        EXPECT_THAT(Error(), HasSubstr(L"in time"));
    }
}

TEST_F(RemoteFaultsTest, AReadEndsWithWhatCameWhenTheServerStopsToSpeak) {
    settings.Set(L"HttpTimeOut", L"4000");
    OpenThenAnswer([this](OddReply& reply) {
        reply.Send(RangeHead(1'000'000, 1'065'535, 65536));
        reply.Send(Part(1'000'000, 1000));
        reply.Hang();
    });
    // However much is wanted, nobody is waited for longer.
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ReadAt(1'000'000, 2'000'000), Part(1'000'000, 1000));
    EXPECT_LT(std::chrono::steady_clock::now() - start, kHangLimit);
    EXPECT_THAT(Error(), HasSubstr(L"in time"));
    EXPECT_EQ(server->Requests().size(), 2u); // within the read that was all
    EXPECT_EQ(Read(4000), Part(1'001'000, 4000));
}

TEST_F(RemoteFaultsTest, AServerThatSendsAByteNowAndThenHoldsUpNobodyForEver) {
    settings.Set(L"HttpTimeOut", L"4000");
    OpenThenAnswer([this](OddReply& reply) {
        reply.Send(RangeHead(1'000'000, 1'065'535, 65536));
        for (uint64 i = 0; reply.Send(Part(1'000'000 + i, 1)) && reply.Pause(100); ++i) {
        }
    });
    const std::string got = ReadAt(1'000'000, 5000); // each wait is short, but not all of them
    EXPECT_LT(got.size(), 60u);
    EXPECT_EQ(got, Part(1'000'000, got.size()));
    EXPECT_THAT(Error(), HasSubstr(L"in time"));
}

TEST_F(RemoteFaultsTest, AServerThatIsSlowButNotTooSlowHasItsTime) {
    settings.Set(L"HttpTimeOut", L"3000");
    content.givesRanges = false;
    Serve([this](const OddRequest&, OddReply& reply) {
        reply.Send(content.Head(200, kSize));
        reply.Send(Part(0, 65536));
        for (uint64 first = 65536; reply.Pause(400) && reply.Send(Part(first, 10'000)); first += 10'000) {
        }
        return true;
    });
    ASSERT_TRUE(Open());
    EXPECT_TRUE(IsPart(65536, 90'000));           // longer than it may be silent,
    EXPECT_TRUE(IsPart(65536 + 90'000 * 2, 100)); // and what is read over has its time as well
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), IsEmpty());
}

TEST_F(RemoteFaultsTest, ATimeOutThatIsTooShortCountsAsNotSet) {
    settings.Set(L"HttpTimeOut", L"999");
    Serve([](const OddRequest&, OddReply& reply) {
        reply.Pause(1500);
        return false;
    });
    EXPECT_TRUE(Open());
}

TEST_F(RemoteFaultsTest, AnObjectThatIsDeletedInTheMiddleOfAnAnswerEndsItsConnection) {
    OpenThenAnswer([this](OddReply& reply) {
        reply.Send(RangeHead(1'000'000, 1'065'535, 65536));
        reply.Send(Part(1'000'000, 1000));
        reply.Hang();
    });
    EXPECT_TRUE(IsPart(1'000'000, 1000));
    remote.reset();
    EXPECT_TRUE(server->WaitForClosed(1));
    log.Clear();
}

TEST_F(RemoteFaultsTest, AnObjectDeletesItselfAsWell) {
    Serve();
    ASSERT_TRUE(Open());
    delete remote.release(); // as the library does where all went well
    EXPECT_TRUE(server->WaitForClosed(1));
}
