#include "support/LogCapture.h"

#include "frame/SystemLayer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <thread>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using testing::ElementsAre;

TEST(LogCaptureTest, KeepsLinesOfAllLevelsInOrder) {
    LogCapture log;
    VXC_OutputW(L"A", INFOTYPE_TRACE, L"number %d", 5);
    VXC_OutputW(L"B", INFOTYPE_ERROR, L"text %s", L"wide");
    VXC_OutputW(L"A", static_cast<INFOTYPE>(1000), L"far");
    EXPECT_THAT(log.Lines(), ElementsAre(LogLine{INFOTYPE_TRACE, L"A", L"number 5"},
                                         LogLine{INFOTYPE_ERROR, L"B", L"text wide"},
                                         LogLine{static_cast<INFOTYPE>(1000), L"A", L"far"}));
    EXPECT_THAT(log.Texts(), ElementsAre(L"number 5", L"text wide", L"far"));
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), ElementsAre(L"text wide"));
}

TEST(LogCaptureTest, FindsAndCountsParts) {
    LogCapture log;
    VXCMSGW(L"A", L"open clip");
    VXCMSGW(L"A", L"close clip");
    EXPECT_TRUE(log.Contains(L"close"));
    EXPECT_FALSE(log.Contains(L"read"));
    EXPECT_EQ(log.Count(L"clip"), 2u);
    log.Clear();
    EXPECT_FALSE(log.Contains(L"clip"));
    EXPECT_TRUE(log.Lines().empty());
}

TEST(LogCaptureTest, WaitsForALineOfAnotherThread) {
    LogCapture log;
    std::thread thread([] {
        VXCMSGW(L"A", L"first clip");
        VXCMSGW(L"A", L"second clip");
    });
    EXPECT_TRUE(log.WaitFor(L"clip", 2));
    EXPECT_TRUE(log.WaitFor(L"first"));
    thread.join();
}

TEST(LogCaptureTest, KeepsTheLinesOfManyThreads) {
    LogCapture log;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int k = 0; k < 50; ++k) {
                VXCMSGW(L"A", L"line");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(log.Count(L"line"), 200u);
}

TEST(LogCaptureTest, ListensUpToALevelWhenAskedTo) {
    LogCapture log(INFOTYPE_ERROR);
    EXPECT_NE(IsLogRead(INFOTYPE_ERROR), 0);
    EXPECT_EQ(IsLogRead(INFOTYPE_TRACE), 0);
    VXCMSGW(L"A", L"trace");
    VXCERRORW(L"A", L"error");
    EXPECT_THAT(log.Texts(), ElementsAre(L"error"));
}

TEST(LogCaptureTest, TheInnerOneTakesTheLinesAndGivesThemBack) {
    {
        LogCapture outer;
        {
            LogCapture inner;
            VXCMSGW(L"A", L"one");
            EXPECT_THAT(inner.Texts(), ElementsAre(L"one"));
        }
        VXCMSGW(L"A", L"two");
        EXPECT_THAT(outer.Texts(), ElementsAre(L"two"));
    }
    EXPECT_EQ(IsLogRead(INFOTYPE_ERROR), 0);
}

TEST(LogCaptureTest, ALineShowsReadablyInMessages) {
    std::ostringstream out;
    out << LogLine{INFOTYPE_TRACE, L"A", L"text"};
    EXPECT_EQ(out.str(), "8 A: text");
}
