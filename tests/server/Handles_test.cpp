// The numbers by which a host names what the server holds.
#include "server/Handles.h"

#include <gmock/gmock.h>

#include <set>

using namespace vxcserver;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Plugs = HandleTable<int, HandleKind::Plug>;
using Channels = HandleTable<int, HandleKind::Channel>;

std::shared_ptr<int> Object(int value = 0) {
    return std::make_shared<int>(value);
}

constexpr uint64 Made(uint64 kind, uint64 generation, uint64 place) {
    return kind << 48 | generation << 32 | place;
}

} // namespace

TEST(HandlesTest, TheFirstHandleTellsKindGenerationAndPlace) {
    Plugs plugs;
    Channels channels;
    EXPECT_EQ(plugs.Add(Object()), 0x0001000100000001u);
    EXPECT_EQ(channels.Add(Object()), 0x0002000100000001u);
    EXPECT_EQ(channels.Add(Object()), 0x0002000100000002u);
}

TEST(HandlesTest, AHandleFindsItsOwnObject) {
    Plugs plugs;
    const uint64 first = plugs.Add(Object(1));
    const uint64 second = plugs.Add(Object(2));
    ASSERT_NE(plugs.Find(first), nullptr);
    ASSERT_NE(plugs.Find(second), nullptr);
    EXPECT_EQ(*plugs.Find(first), 1);
    EXPECT_EQ(*plugs.Find(second), 2);
    EXPECT_THAT(plugs.Handles(), ElementsAre(first, second));
}

TEST(HandlesTest, AHandleOfAnotherKindIsRefused) {
    Plugs plugs;
    Channels channels;
    const uint64 plug = plugs.Add(Object());
    const uint64 channel = channels.Add(Object());
    EXPECT_EQ(plugs.Find(channel), nullptr);
    EXPECT_EQ(channels.Find(plug), nullptr);
    plugs.Remove(plug);
    EXPECT_FALSE(channels.IsGone(plug));
    EXPECT_TRUE(plugs.IsGone(plug));
}

TEST(HandlesTest, ARemovedOneIsGoneAndWasKnown) {
    Plugs plugs;
    const uint64 handle = plugs.Add(Object());
    EXPECT_FALSE(plugs.IsGone(handle));
    plugs.Remove(handle);
    EXPECT_EQ(plugs.Find(handle), nullptr);
    EXPECT_TRUE(plugs.IsGone(handle));
    EXPECT_THAT(plugs.Handles(), IsEmpty());
}

TEST(HandlesTest, AReusedPlaceHasAnotherNumberAndTheStaleOneIsRefused) {
    Plugs plugs;
    const uint64 stale = plugs.Add(Object(1));
    plugs.Remove(stale);
    const uint64 fresh = plugs.Add(Object(2));
    EXPECT_EQ(fresh, Made(1, 2, 1));
    EXPECT_EQ(plugs.Find(stale), nullptr);
    EXPECT_TRUE(plugs.IsGone(stale));
    plugs.Remove(stale); // changes nothing
    ASSERT_NE(plugs.Find(fresh), nullptr);
    EXPECT_EQ(*plugs.Find(fresh), 2);
}

TEST(HandlesTest, RemovingLetsGoOfTheObject) {
    Plugs plugs;
    const std::shared_ptr<int> object = Object();
    const uint64 handle = plugs.Add(object);
    EXPECT_EQ(object.use_count(), 2);
    plugs.Remove(handle);
    EXPECT_EQ(object.use_count(), 1);
}

TEST(HandlesTest, MadeUpNumbersWereNeverKnown) {
    Plugs plugs;
    const uint64 held = plugs.Add(Object());
    const uint64 gone = plugs.Add(Object());
    plugs.Remove(gone);
    for (const uint64 handle :
         {uint64{0}, uint64{1}, ~uint64{0}, Made(1, 1, 0), Made(1, 1, 3), Made(1, 1, 0xFFFFFFFF),
          Made(1, 0, 1), Made(1, 0, 2), Made(1, 2, 1), Made(1, 2, 2), Made(1, 0xFFFF, 1), Made(0, 1, 1),
          Made(3, 1, 2), Made(0x8001, 1, 2), held ^ uint64{1} << 63, uint64{0x7FFFFFFFE000}}) {
        EXPECT_EQ(plugs.Find(handle), nullptr) << std::hex << handle;
        EXPECT_FALSE(plugs.IsGone(handle)) << std::hex << handle;
        plugs.Remove(handle);
    }
    EXPECT_NE(plugs.Find(held), nullptr);
}

TEST(HandlesTest, AnEmptyTableKnowsNothing) {
    const Plugs plugs;
    EXPECT_EQ(plugs.Find(0), nullptr);
    EXPECT_EQ(plugs.Find(Made(1, 1, 1)), nullptr);
    EXPECT_FALSE(plugs.IsGone(Made(1, 1, 1)));
}

TEST(HandlesTest, APlaceThatHasHadAllGenerationsIsNotUsedAgain) {
    Channels channels;
    std::set<uint64> seen;
    for (int i = 0; i < 0xFFFF; ++i) {
        const uint64 handle = channels.Add(Object());
        ASSERT_TRUE(seen.insert(handle).second);
        channels.Remove(handle);
    }
    EXPECT_EQ(*seen.rbegin(), Made(2, 0xFFFF, 1));
    const uint64 next = channels.Add(Object());
    EXPECT_EQ(next, Made(2, 1, 2));
    EXPECT_TRUE(channels.IsGone(Made(2, 1, 1)));
    EXPECT_TRUE(channels.IsGone(Made(2, 0xFFFF, 1)));
    EXPECT_FALSE(channels.IsGone(next));
}
