// Memory that lacks, and copies of the object that share one queue.
#include "EsFrames.h"

#include "support/MemoryLack.h"

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

using namespace vxcio::test;

namespace {

using EsBufferLackTest = EsFrames;

constexpr auto kData = PLUG_STREAMSTATE_DATA;
constexpr auto kEnd = PLUG_STREAMSTATE_END;

} // namespace

TEST_F(EsBufferLackTest, WithoutMemoryForANodeNothingChanges) {
    Put(buffer, 0, "a", "A");
    Put(buffer, 0, "b", "B");
    std::string data = "new";
    std::string extra = "NEW";
    auto* const bytes = reinterpret_cast<unsigned char*>(data.data());
    auto* const more = reinterpret_cast<unsigned char*>(extra.data());
    for (int nth = 1; nth <= 3; ++nth) { // the node, its data, its second run
        SCOPED_TRACE(nth);
        const MemoryLack lack(nth);
        EXPECT_EQ(buffer.PutDate(0, bytes, 3, more, 3), 0);
        EXPECT_TRUE(lack.Came());
        EXPECT_EQ(buffer.GetFrameCount(0), 1u);
    }
    const MemoryLack lack(4);
    EXPECT_EQ(buffer.PutDate(0, bytes, 3, more, 3), 1);
    EXPECT_FALSE(lack.Came()); // no more than three
    ExpectFrame(Get(buffer), 0, "a", kData);
    ExpectFrame(Get(buffer), 0, "b", kData);
    buffer.SetEndOfInput();
    const EsGot got = Get(buffer);
    ExpectFrame(got, 0, "new", kEnd);
    EXPECT_EQ(got.Extra(), "NEW");
}

TEST_F(EsBufferLackTest, WithoutMemoryForTheFirstNodeTheQueueStaysEmpty) {
    for (int nth = 1; nth <= 3; ++nth) {
        SCOPED_TRACE(nth);
        const MemoryLack lack(nth);
        EXPECT_EQ(Put(buffer, 0, "a", "A"), 0);
        EXPECT_TRUE(lack.Came());
        EXPECT_EQ(Get(buffer).stream, EsGot::kUntouched);
    }
    buffer.SetEndOfInput();
    EXPECT_EQ(buffer.GetFrameCount(0), 0u);
    EXPECT_EQ(Put(buffer, 0, "a", "A"), 1);
    ExpectFrame(Get(buffer), 0, "a", kEnd);
}

TEST_F(EsBufferLackTest, WithoutMemoryForAUsedNodeWhatWasGivenStays) {
    Put(buffer, 0, "a", "A");
    Put(buffer, 0, "b", "B");
    const EsGot a = Get(buffer);
    std::string large(101, 'l');
    for (int nth = 1; nth <= 2; ++nth) { // its data, its second run
        SCOPED_TRACE(nth);
        const MemoryLack lack(nth);
        EXPECT_EQ(Put(buffer, 0, large, large), 0);
        EXPECT_TRUE(lack.Came());
        EXPECT_EQ(a.Data(), "a");
        EXPECT_EQ(a.Extra(), "A");
    }
    EXPECT_EQ(TakenByPut(buffer, std::string(100, 's'), "S"), 0); // the old buffers are there
    ExpectFrame(Get(buffer), 0, "b", kData);
    buffer.SetEndOfInput();
    const EsGot got = Get(buffer);
    ExpectFrame(got, 0, std::string(100, 's'), kEnd);
    EXPECT_EQ(got.data, a.data);
    EXPECT_EQ(got.Extra(), "S");
}

TEST(EsBufferWithoutMemoryTest, AnObjectThatFoundNoMemoryTakesNothingAndGivesNothing) {
    std::unique_ptr<CSoftEsBuffer> buffer;
    void* const place = ::operator new(sizeof(CSoftEsBuffer));
    {
        const MemoryLack lack(1);
        buffer.reset(new (place) CSoftEsBuffer);
        ASSERT_TRUE(lack.Came());
    }
    EXPECT_EQ(buffer->Init(100), 1);
    EXPECT_EQ(Put(*buffer, 0, "a"), 0);
    buffer->SetEndOfInput();
    EXPECT_EQ(buffer->GetFrameCount(0), 0u);
    const EsGot got = Get(*buffer);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.size, 0);
    EXPECT_EQ(got.stream, EsGot::kUntouched);
    buffer->Close();
    const CSoftEsBuffer copy(*buffer);
    CSoftEsBuffer good;
    Put(good, 0, "a");
    *buffer = good; // it may share a good one
    EXPECT_EQ(Put(*buffer, 0, "b"), 1);
    EXPECT_EQ(good.GetFrameCount(0), 1u);
}

TEST(EsBufferCopiesTest, CopiesShareOneQueueAndMayGoInEachOrder) {
    std::array<std::size_t, 3> order{0, 1, 2};
    do {
        SCOPED_TRACE(::testing::PrintToString(order));
        std::vector<std::unique_ptr<CSoftEsBuffer>> all;
        all.push_back(std::make_unique<CSoftEsBuffer>());
        all[0]->Init(10);
        all.push_back(std::make_unique<CSoftEsBuffer>(*all[0]));
        all.push_back(std::make_unique<CSoftEsBuffer>());
        Put(*all[2], 7, "its own, which goes");
        *all[2] = *all[1];
        Put(*all[0], 0, "a", "A");
        Put(*all[1], 0, "b");
        Put(*all[2], 0, "c");
        EXPECT_EQ(all[0]->GetFrameCount(0), 2u);
        CSoftEsBuffer& last = *all[order[2]];
        const EsGot a = Get(last);
        all[order[0]].reset();
        EXPECT_EQ(a.Data(), "a");
        all[order[1]].reset();
        EXPECT_EQ(a.Extra(), "A");
        ExpectFrame(Get(last), 0, "b", kData);
        last.SetEndOfInput();
        ExpectFrame(Get(last), 0, "c", kEnd);
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(EsBufferCopiesTest, AssignmentToItselfAndToACopyChangesNothing) {
    CSoftEsBuffer buffer;
    Put(buffer, 0, "a");
    CSoftEsBuffer copy(buffer);
    CSoftEsBuffer& same = buffer;
    EXPECT_EQ(&(buffer = same), &buffer);
    EXPECT_EQ(&(copy = buffer), &copy);
    buffer.SetEndOfInput();
    ExpectFrame(Get(copy), 0, "a", kEnd);
    EXPECT_EQ(buffer.GetFrameCount(0), 0u);
}

TEST(EsBufferCopiesTest, CloseByOneClosesForAll) {
    CSoftEsBuffer buffer;
    CSoftEsBuffer copy(buffer);
    Put(buffer, 0, "a");
    copy.Close();
    EXPECT_EQ(Get(buffer).stream, EsGot::kUntouched);
}
