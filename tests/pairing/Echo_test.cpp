// What goes to the plug-in and comes back, bit for bit between all widths.
#include "pairing/Bridge.h"

#include "bridge/RecordsModel.h"
#include "bridge/RecordsStreams.h"
#include "server/plug/EchoRecords.h"

#include <atomic>
#include <bit>
#include <cstring>
#include <limits>
#include <random>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class EchoTest : public BridgeTest {
protected:
    void SetUp() override {
        BridgeTest::SetUp();
        Start();
        m_plug = Load();
    }

    unsigned long long m_plug = 0;
};

// The bits of a number that is none, signalling.
constexpr uint32 kFloatBits = 0x7FA12345u;
constexpr uint64 kDoubleBits = 0xFFF4123456789ABCu;

// Sets a record to other values than any that is sent.
template <class Record>
void Spoil(Record& record) {
    MakeOld(record, 0);
}

} // namespace

TEST_F(EchoTest, EveryScalarComesBackBitForBit) {
    Channel channel(m_plug);
    signed char a = std::numeric_limits<signed char>::min();
    unsigned char b = 0xA5;
    short c = std::numeric_limits<short>::min();
    unsigned short d = 0xBEEF;
    int e = std::numeric_limits<int>::min();
    unsigned int f = 0xDEADBEEFu;
    long long g = std::numeric_limits<long long>::min();
    unsigned long long h = 0x0123456789ABCDEFull;
    uint32 floatBits = kFloatBits;
    uint64 doubleBits = kDoubleBits;
    float i;
    double j;
    std::memcpy(&i, &floatBits, sizeof i);
    std::memcpy(&j, &doubleBits, sizeof j);
    CVXCString k = L"text \x20AC \x1F3AC";
    const auto write = [&](CVXCSerialize& request) {
        request << a << b << c << d << e << f << g << h << i << j << k;
    };
    const auto read = [&](CVXCSerialize& reply) {
        a = 0;
        b = 0;
        c = 0;
        d = 0;
        e = 0;
        f = 0;
        g = 0;
        h = 0;
        std::memset(&i, 0, sizeof i);
        std::memset(&j, 0, sizeof j);
        k = L"";
        reply >> a >> b >> c >> d >> e >> f >> g >> h >> i >> j >> k;
        EXPECT_EQ(reply.m_nError, VXC_SERIALIZE_OK);
    };
    ASSERT_EQ(channel.Call(L"EchoScalars", write, read), 0u);
    EXPECT_EQ(a, std::numeric_limits<signed char>::min());
    EXPECT_EQ(b, 0xA5);
    EXPECT_EQ(c, std::numeric_limits<short>::min());
    EXPECT_EQ(d, 0xBEEF);
    EXPECT_EQ(e, std::numeric_limits<int>::min());
    EXPECT_EQ(f, 0xDEADBEEFu);
    EXPECT_EQ(g, std::numeric_limits<long long>::min());
    EXPECT_EQ(h, 0x0123456789ABCDEFull);
    std::memcpy(&floatBits, &i, sizeof i);
    std::memcpy(&doubleBits, &j, sizeof j);
    EXPECT_EQ(floatBits, kFloatBits);
    EXPECT_EQ(doubleBits, kDoubleBits);
    EXPECT_STREQ(k.c_str(), L"text \x20AC \x1F3AC");
}

TEST_F(EchoTest, EveryRecordComesBackFieldForField) {
    Channel channel(m_plug);
    for (uint32 number = 0; number < kEchoRecords; ++number) {
        WithEchoRecord(number, [&]<class Record>(Record&) {
            FullRecord<Record> sent(100 + number, 3001);
            Record back{};
            Spoil(back);
            unsigned int end = 0;
            const uint32 result = channel.Call(
                L"EchoRecord", [&](CVXCSerialize& request) { request << number << sent.record; },
                [&](CVXCSerialize& reply) {
                    reply >> back;
                    EXPECT_EQ(reply.m_nError, VXC_SERIALIZE_OK);
                    end = reply.m_dwPosition;
                });
            EXPECT_EQ(result, 0u) << number;
            EXPECT_EQ(Differences(SlotsOf(sent.record), SlotsOf(back), &g_untouched), "") << number;
            EXPECT_EQ(end, 15 + StreamOf(SlotsOf(sent.record)).size()) << number;
            FreeAttachments(SlotsOf(back), &g_untouched);
        });
    }
}

TEST_F(EchoTest, ADescriptionComesBackWithEachOfItsPayloads) {
    Channel channel(m_plug);
    const auto echo = [&](SMediaDescript& sent, SMediaDescript& back) {
        return channel.Call(
            L"EchoDescription", [&](CVXCSerialize& request) { request << sent; },
            [&](CVXCSerialize& reply) {
                reply >> back;
                EXPECT_EQ(reply.m_nError, VXC_SERIALIZE_OK);
            });
    };
    SMediaDescript back = {};

    FullRecord<SMediaDescriptFiles> files(1);
    SMediaDescript first = {EPlugValue{1}, reinterpret_cast<unsigned char*>(&files.record), 0};
    ASSERT_EQ(echo(first, back), 0u);
    ASSERT_NE(back.data, nullptr);
    EXPECT_EQ(std::memcmp(back.data, &files.record, sizeof files.record), 0);
    SerilizeFree(back.data);

    std::vector<unsigned char> room(100, 0);
    unsigned char bytes[] = {9, 8, 7, 6, 5};
    SMediaDescript second = {EPlugValue{2}, bytes, 5};
    back = {EPlugValue{}, room.data(), 0};
    ASSERT_EQ(echo(second, back), 0u);
    EXPECT_EQ(back.size, 5u);
    EXPECT_EQ(std::memcmp(room.data(), bytes, 5), 0);

    FullRecord<SMediaDescriptExtra> extra(2);
    extra.record.extra = bytes;
    extra.record.extraSize = 4;
    SMediaDescript third = {EPlugValue{3}, reinterpret_cast<unsigned char*>(&extra.record), 0};
    back = {};
    ASSERT_EQ(echo(third, back), 0u);
    ASSERT_NE(back.data, nullptr);
    auto* const copy = reinterpret_cast<SMediaDescriptExtra*>(back.data);
    EXPECT_EQ(Differences(SlotsOf(extra.record), SlotsOf(*copy), &g_untouched), "");
    ASSERT_EQ(copy->extraSize, 4u);
    EXPECT_EQ(std::memcmp(copy->extra, bytes, 4), 0);
    SerilizeFree(copy->extra);
    SerilizeFree(back.data);
}

TEST_F(EchoTest, AMebibyteGoesOutAndBack) {
    Channel channel(m_plug, UniqueId(), 1100000, 1100000);
    std::vector<unsigned char> payload(1048576);
    std::mt19937 random(7);
    for (unsigned char& byte : payload) {
        byte = static_cast<unsigned char>(random());
    }
    bool same = false;
    const uint32 result = channel.Call(
        L"EchoBlock",
        [&](CVXCSerialize& request) {
            request.WriteBlock(payload.data(), static_cast<unsigned int>(payload.size()));
        },
        [&](CVXCSerialize& reply) {
            unsigned char* bytes = nullptr;
            unsigned int count = 0;
            reply.ReadBlock(bytes, count, 0);
            same = count == payload.size() && std::memcmp(bytes, payload.data(), count) == 0;
        });
    EXPECT_EQ(result, 0u);
    EXPECT_TRUE(same);
}

TEST_F(EchoTest, NumberedCommandsReachThePlugIn) {
    Channel channel(m_plug);
    CVXCInteracter& end = channel.End();
    end.Lock();
    CVXCSerialize request;
    CVXCSerialize reply;
    EXPECT_EQ(RemoteCall_In(&end, static_cast<EVXC32_RCALL_CMD>(7), nullptr, nullptr, request), 0);
    EXPECT_EQ(request.m_dwPosition, 16u);
    EXPECT_EQ(RemoteCall_Out(&end, kPatience, nullptr, request, reply), 0);
    uint32 command = 0;
    reply >> command;
    EXPECT_EQ(command, 7u);
    end.Unlock();
}

TEST_F(EchoTest, TenThousandCallsGetTheirOwnAnswers) {
    Channel channel(m_plug);
    for (uint32 i = 0; i < 10000; ++i) {
        uint32 sum = 0;
        ASSERT_EQ(channel.Call(
                      L"Add", [i](CVXCSerialize& request) { request << i << 1000000u; },
                      [&sum](CVXCSerialize& reply) { reply >> sum; }),
                  0u);
        ASSERT_EQ(sum, i + 1000000);
    }
}

TEST_F(EchoTest, TwoThreadsShareAChannelUnderItsLock) {
    Channel channel(m_plug);
    std::atomic<int> wrong{0};
    const auto run = [&](uint32 base) {
        for (uint32 i = 0; i < 2000; ++i) {
            uint32 sum = 0;
            const uint32 result = channel.Call(
                L"Add", [&](CVXCSerialize& request) { request << base << i; },
                [&](CVXCSerialize& reply) { reply >> sum; });
            wrong += result == 0 && sum == base + i ? 0 : 1;
        }
    };
    std::thread other(run, 500000u);
    run(7u);
    other.join();
    EXPECT_EQ(wrong.load(), 0);
}

TEST_F(EchoTest, AHundredThousandCallsLoseNoWakeUp) {
    Channel channel(m_plug);
    for (int i = 0; i < 100000; ++i) {
        ASSERT_EQ(channel.Call(L"Empty", 10000), 0u) << i;
    }
}
