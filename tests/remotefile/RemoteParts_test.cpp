// The parts of the module by themselves: names, heads of answers, ranges.
#include "HttpHead.h"
#include "HttpUrl.h"
#include "RangePlan.h"

#include <gtest/gtest.h>

using namespace vxcio;

namespace {

HttpHead Parsed(std::string_view text) {
    HttpHead head;
    EXPECT_TRUE(ParseContentRange(text, head)) << text;
    return head;
}

} // namespace

TEST(HttpUrlTest, NamesAreEncodedAndPartsTakenOut) {
    const auto url = ParseHttpUrl(L"HTTP://u%40x:p%C3%BC w@host:8080/a b/\u00FC%41?q=\u20AC#end");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->address, "http://host:8080/a%20b/%C3%BC%41?q=%E2%82%AC");
    EXPECT_EQ(url->origin, "http://host:8080");
    EXPECT_TRUE(url->hasUser);
    EXPECT_EQ(url->user, "u@x");
    EXPECT_EQ(url->password, "p\xC3\xBC w");
}

TEST(HttpUrlTest, AnAddressWithoutPathOrUserIsWhole) {
    const auto url = ParseHttpUrl(L"https://host#end");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->address, "https://host/");
    EXPECT_EQ(url->origin, "https://host:443");
    EXPECT_FALSE(url->hasUser);
}

TEST(HttpUrlTest, BytesOfNamesThatAreNoTextStayThemselves) {
    const auto url = ParseHttpUrl(L"http://host/\xDCFF");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->address, "http://host/%FF");
}

TEST(HttpUrlTest, OriginsTellServersApart) {
    EXPECT_EQ(OriginOf("http://host/a"), OriginOf("http://host:80/b"));
    EXPECT_NE(OriginOf("http://host/a"), OriginOf("https://host/a"));
    EXPECT_NE(OriginOf("http://host/a"), OriginOf("http://host:81/a"));
    EXPECT_EQ(OriginOf("nothing"), "");
}

TEST(HttpUrlTest, AShownAddressHasNoPassword) {
    EXPECT_EQ(ShownAddress("http://u:secret@h/a"), "http://u:***@h/a");
    EXPECT_EQ(ShownAddress("http://u:s:e@c@h:1/a"), "http://u:***@h:1/a");
    EXPECT_EQ(ShownAddress("http://u@h/a"), "http://u@h/a");
    EXPECT_EQ(ShownAddress("http://h:80/a@2x"), "http://h:80/a@2x");
    EXPECT_EQ(ShownText("http://u:s/e@h/a"), "http://***@h/a");
    EXPECT_EQ(ShownText("http"), "http");
}

TEST(HttpHeadTest, RangesAreReadAsTheyStand) {
    const HttpHead whole = Parsed("bytes 5-9/100");
    EXPECT_TRUE(whole.hasRange);
    EXPECT_EQ(whole.rangeFirst, 5u);
    EXPECT_EQ(whole.rangeLast, 9u);
    EXPECT_EQ(whole.total, 100u);
    EXPECT_FALSE(Parsed("bytes 0-0/*").total);
    EXPECT_FALSE(Parsed("Bytes */7").hasRange);
    EXPECT_EQ(Parsed("BYTES */7").total, 7u);
    EXPECT_EQ(Parsed(" bytes 0-18446744073709551614/18446744073709551615 ").rangeLast, ~uint64{0} - 1);
}

TEST(HttpHeadTest, WhatIsNoRangeChangesNothing) {
    for (const char* text :
         {"", "bytes", "bytes ", "bytes 5-9", "bytes 9-5/100", "bytes 5-100/100", "bytes -9/100",
          "bytes 5-/100", "bytes 5-9/", "bytes 5-9/100x", "bytes 5-9/ 100", "items 5-9/100", "bytes +5-9/100",
          "bytes 5-9/18446744073709551616", "bytes x/100"}) {
        HttpHead head;
        EXPECT_FALSE(ParseContentRange(text, head)) << text;
        EXPECT_FALSE(head.hasRange);
        EXPECT_FALSE(head.total);
    }
}

TEST(HttpHeadTest, LinesAreTakenWhateverTheirCaseAndALaterAnswerForgetsThem) {
    HttpHead head;
    for (const char* line : {"HTTP/1.1 206 x\r\n", "content-range: bytes 1-2/9\r\n", "ETAG:\"a\"\r\n",
                             "Last-Modified: then \r\n", "Content-Encoding: gzip\r\n", "LOCATION: /x\r\n",
                             "ETagged: \"b\"\r\n", "no colon\r\n", "\r\n"}) {
        TakeHeaderLine(line, head);
    }
    EXPECT_EQ(head.total, 9u);
    EXPECT_EQ(head.tag, "\"a\"");
    EXPECT_EQ(head.date, "then");
    EXPECT_TRUE(head.isEncoded);
    EXPECT_TRUE(head.leadsElsewhere);
    TakeHeaderLine("HTTP/1.1 200 OK\r\n", head);
    EXPECT_FALSE(head.total);
    EXPECT_EQ(head.tag, "");
    EXPECT_FALSE(head.isEncoded);
    TakeHeaderLine("Content-Encoding: Identity\r\n", head);
    EXPECT_FALSE(head.isEncoded);
}

TEST(RangePlanTest, ItGrowsUntilTheRestIsWanted) {
    RangePlan plan;
    constexpr uint64 kSize = 100'000'000;
    uint64 position = RangePlan::kFirst;
    plan.Took(position);
    for (const uint64 length : std::initializer_list<uint64>{128 << 10, 256 << 10, 512 << 10, 1 << 20}) {
        EXPECT_EQ(plan.LastByte(position, position, 1000, kSize), position + length - 1);
        position += length;
        plan.Took(length);
    }
    EXPECT_FALSE(plan.LastByte(position, position, 1000, kSize));
    // A jump begins again.
    EXPECT_EQ(plan.LastByte(position, 5, 1000, kSize), 5 + RangePlan::kFirst - 1);
    EXPECT_EQ(plan.LastByte(5, 50'000'000, 3'000'000, kSize), 52'999'999u);
}
