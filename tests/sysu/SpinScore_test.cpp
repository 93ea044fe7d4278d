#include "sysu/posix/PartnerGuess.h"
#include "sysu/posix/SpinScore.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <thread>

using namespace vxcio::sysu;

namespace {

void SpinInVainUntilWorst(SpinScore& score) {
    while (score.Score() > 0) {
        score.InVain();
    }
}

} // namespace

TEST(SpinScoreTest, StartsWithAFewMicroseconds) {
    SpinScore score;
    EXPECT_EQ(score.Patience(), kThreadSpin.few);
}

TEST(SpinScoreTest, GivesUpWhenItDoesNotPayAndTriesAgainNowAndThen) {
    SpinScore score;
    uint32 looks = 0;
    while (score.Patience() != 0) {
        score.InVain();
        ++looks;
    }
    EXPECT_LE(looks, SpinScore::kBest);
    EXPECT_EQ(score.Score(), 0u);
    // That was the first of the waits that sleep at once.
    uint32 slept = 1;
    while (score.Patience() == 0) {
        ++slept;
    }
    EXPECT_EQ(slept, SpinScore::kTryAgain - 1);
    score.InVain();
    EXPECT_EQ(score.Patience(), 0u);
}

TEST(SpinScoreTest, OneSuccessAfterALongSleepBringsAllPatienceBack) {
    SpinScore score;
    SpinInVainUntilWorst(score);
    score.Paid(0);
    EXPECT_EQ(score.Score(), SpinScore::kBest);
    EXPECT_EQ(score.Patience(), kThreadSpin.patient);
}

TEST(SpinScoreTest, PatienceIsLostFasterThanItIsWon) {
    SpinScore score;
    for (uint32 i = 0; i < 2 * SpinScore::kBest; ++i) {
        score.Paid(0);
    }
    EXPECT_EQ(score.Score(), SpinScore::kBest);
    score.InVain();
    EXPECT_EQ(score.Score(), SpinScore::kBest / 2);
    EXPECT_EQ(score.Patience(), kThreadSpin.few);
    score.Paid(0);
    EXPECT_EQ(score.Score(), SpinScore::kBest / 2 + 1);
}

TEST(SpinScoreTest, ASuccessThatCameLateCountsAgainstLooking) {
    SpinScore score;
    const uint32 fresh = score.Score();
    score.Paid(kThreadSpin.few);
    EXPECT_EQ(score.Score(), fresh + 1);
    score.Paid(kThreadSpin.few + 1);
    EXPECT_EQ(score.Score(), fresh);
    // A look that was a try is patient on purpose: there even a late success is news.
    SpinInVainUntilWorst(score);
    score.Paid(kThreadSpin.patient);
    EXPECT_EQ(score.Score(), SpinScore::kBest);
}

TEST(SpinScoreTest, AnAwakePartnerIsLookedForLonger) {
    static_assert(kAwakePartnerSpin.few > kWokenPartnerSpin.patient);
    SpinScore score;
    const uint32 fresh = score.Score();
    EXPECT_EQ(score.Patience(kAwakePartnerSpin), kAwakePartnerSpin.few);
    score.Paid(kAwakePartnerSpin.few, kAwakePartnerSpin);
    EXPECT_EQ(score.Score(), fresh + 1);
    score.Paid(kAwakePartnerSpin.few + 1, kAwakePartnerSpin);
    EXPECT_EQ(score.Score(), fresh);
    score.Paid(kWokenPartnerSpin.few + 1, kWokenPartnerSpin);
    EXPECT_EQ(score.Score(), fresh - 1);
}

TEST(SpinScoreTest, AnAwakePartnerIsWorthALookWhateverWasBefore) {
    SpinScore score;
    const uint32 fresh = score.Score();
    score.Encourage();
    EXPECT_EQ(score.Score(), fresh);
    SpinInVainUntilWorst(score);
    score.Encourage();
    EXPECT_EQ(score.Patience(kAwakePartnerSpin), kAwakePartnerSpin.few);
    score.InVain();
    EXPECT_EQ(score.Score(), 0u);
}

TEST(SpinScoreTest, NowAndThenAPartnerThatSleptIsLookedForLongToo) {
    SpinScore score;
    SpinInVainUntilWorst(score);
    uint64 patience = 0;
    while (patience == 0) {
        patience = score.Patience(kWokenPartnerSpin);
    }
    EXPECT_EQ(patience, kWokenPartnerSpin.again);
    EXPECT_GE(patience, kAwakePartnerSpin.few);
}

TEST(PartnerGuessTest, ASignalThatWokeNobodyMetSomebodyAwake) {
    PartnerGuess guess;
    EXPECT_FALSE(guess.IsAwake());
    guess.HasSignalled(true);
    EXPECT_FALSE(guess.IsAwake());
    guess.HasSignalled(false);
    EXPECT_TRUE(guess.IsAwake());
}

TEST(PartnerGuessTest, SomeLateAnswersDoNotMatterAndMoreDo) {
    for (const bool late : {true, false}) {
        PartnerGuess guess;
        guess.HasSignalled(false);
        for (uint32 i = 0; i < PartnerGuess::kLateAnswers; ++i) {
            EXPECT_TRUE(guess.IsAwake());
            late ? guess.AnswerIsLate() : guess.HasSignalled(true);
        }
        EXPECT_FALSE(guess.IsAwake());
        guess.AnswerIsLate();
        EXPECT_FALSE(guess.IsAwake());
    }
}

TEST(SpinScoreTest, SeesTheCoresOfItsOwnThread) {
    EXPECT_GE(UsableCores(), 1u);
    std::thread([] {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<unsigned>(sched_getcpu()), &one);
        ASSERT_EQ(pthread_setaffinity_np(pthread_self(), sizeof one, &one), 0);
        EXPECT_EQ(UsableCores(), 1u);
    }).join();
}
