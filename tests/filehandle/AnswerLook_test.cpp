// Looking for an answer before sleeping until it comes.
#include "filehandle/AnswerLook.h"

#include <gtest/gtest.h>

using namespace vxcio;

namespace {

// Whether the look looks at all; it is in vain.
bool LooksInVain(AnswerLook& look) {
    int looked = 0;
    EXPECT_FALSE(look.Succeeds([&] {
        ++looked;
        return false;
    }));
    return looked > 0;
}

int WaitsWithoutALook(AnswerLook& look) {
    int waits = 0;
    while (!LooksInVain(look)) {
        ++waits;
    }
    return waits;
}

} // namespace

TEST(AnswerLookTest, AnAnswerThatIsThereIsSeenAtOnce) {
    AnswerLook look;
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(look.Succeeds([] { return true; }));
    }
}

TEST(AnswerLookTest, AnAnswerIsSeenALittleLaterToo) {
    bool seen = false;
    for (int attempt = 0; attempt < 1000 && !seen; ++attempt) { // this thread may lose its core meanwhile
        AnswerLook look;
        int times = 0;
        seen = look.Succeeds([&] { return ++times == 3; });
    }
    EXPECT_TRUE(seen);
}

TEST(AnswerLookTest, EachVainLookDoublesTheWaitsWithoutOneUpToALimit) {
    AnswerLook look;
    ASSERT_TRUE(LooksInVain(look));
    for (uint32 vain = 1; vain <= AnswerLook::kMostVainLooks; ++vain) {
        EXPECT_EQ(WaitsWithoutALook(look), 1 << vain);
    }
    EXPECT_EQ(WaitsWithoutALook(look), 1 << AnswerLook::kMostVainLooks);
}

TEST(AnswerLookTest, ALookThatPaysOffForgetsTheVainOnes) {
    AnswerLook look;
    ASSERT_TRUE(LooksInVain(look));
    EXPECT_EQ(WaitsWithoutALook(look), 2);
    for (int i = 0; i < 4; ++i) { // the waits that the second vain look costs
        EXPECT_FALSE(look.Succeeds([] { return true; }));
    }
    EXPECT_TRUE(look.Succeeds([] { return true; }));
    EXPECT_TRUE(LooksInVain(look)) << "nothing is skipped after one that paid off";
    EXPECT_EQ(WaitsWithoutALook(look), 2);
}
