// Questions to the user: who answers them.
#include "support/Prompts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

constexpr uint32 kYesNo = 4;

// Puts back what holds without a host.
class PromptTest : public ::testing::Test {
protected:
    ~PromptTest() override { SetPrompt(nullptr, nullptr); }
};

int AnswerOfContext(void* context, const wchar_t*, const wchar_t*, uint32) {
    return *static_cast<const int*>(context);
}

} // namespace

#ifndef _WIN32
TEST_F(PromptTest, WithoutAHostTheAnswerIsNo) {
    EXPECT_EQ(AskUser(L"text", L"caption", kYesNo), kPromptNo);
    EXPECT_EQ(AskUser(L"", L"", 0), kPromptNo);
    EXPECT_EQ(AskUser(nullptr, nullptr, kYesNo), kPromptNo);
}

TEST_F(PromptTest, APromptThatIsTakenAwayAnswersNoMore) {
    {
        const Prompts prompts({kPromptYes, kPromptYes});
        EXPECT_EQ(AskUser(L"text", L"caption", kYesNo), kPromptYes);
    }
    EXPECT_EQ(AskUser(L"text", L"caption", kYesNo), kPromptNo);
}
#endif

TEST_F(PromptTest, ThePromptGetsTheQuestionAsItIs) {
    const Prompts prompts({kPromptYes, 0, -1});
    EXPECT_EQ(AskUser(L"first %s", L"caption", kYesNo), kPromptYes);
    EXPECT_EQ(AskUser(L"second", L"", 0xFFFFFFFF), 0);
    EXPECT_EQ(AskUser(L"third", L"c", 0), -1);
    EXPECT_THAT(prompts.Asked(),
                ElementsAre(Question{L"first %s", L"caption", kYesNo}, Question{L"second", L"", 0xFFFFFFFF},
                            Question{L"third", L"c", 0}));
}

TEST_F(PromptTest, APromptIsCalledWithItsContext) {
    int first = 11;
    int second = 12;
    SetPrompt(AnswerOfContext, &first);
    EXPECT_EQ(AskUser(L"", L"", kYesNo), 11);
    SetPrompt(AnswerOfContext, &second);
    EXPECT_EQ(AskUser(L"", L"", kYesNo), 12);
}

TEST_F(PromptTest, APromptIsCalledOnTheThreadThatAsks) {
    Prompts prompts;
    std::thread::id where;
    prompts.onQuestion = [&] { where = std::this_thread::get_id(); };
    std::thread asker([&] {
        AskUser(L"", L"", kYesNo);
        EXPECT_EQ(where, std::this_thread::get_id());
    });
    asker.join();
    AskUser(L"", L"", kYesNo);
    EXPECT_EQ(where, std::this_thread::get_id());
}

TEST_F(PromptTest, APromptMaySetAnotherAndAskIt) {
    int answer = 31;
    Prompts prompts({kPromptYes});
    prompts.onQuestion = [&] {
        SetPrompt(AnswerOfContext, &answer);
        EXPECT_EQ(AskUser(L"", L"", kYesNo), 31);
    };
    EXPECT_EQ(AskUser(L"", L"", kYesNo), kPromptYes);
    EXPECT_EQ(AskUser(L"", L"", kYesNo), 31);
}

TEST_F(PromptTest, WhatAPromptThrowsComesThroughAndTheNextQuestionIsAsked) {
    Prompts prompts({0, kPromptYes});
    prompts.onQuestion = [&] {
        if (prompts.Asked().size() == 1) {
            throw std::runtime_error("of the host");
        }
    };
    EXPECT_THROW(AskUser(L"", L"", kYesNo), std::runtime_error);
    EXPECT_EQ(AskUser(L"", L"", kYesNo), kPromptYes);
}

// The user may think for long; others go on meanwhile.
TEST_F(PromptTest, AQuestionThatIsNotAnsweredYetHoldsNobody) {
    static std::atomic<int> s_state;
    s_state = 0;
    SetPrompt(
        [](void*, const wchar_t*, const wchar_t*, uint32) {
            s_state = 1;
            s_state.notify_all();
            s_state.wait(1);
            return 41;
        },
        nullptr);
    int slow = 0;
    std::thread asker([&] { slow = AskUser(L"", L"", kYesNo); });
    s_state.wait(0);
    int answer = 42;
    SetPrompt(AnswerOfContext, &answer);
    EXPECT_EQ(AskUser(L"", L"", kYesNo), 42);
    s_state = 2;
    s_state.notify_all();
    asker.join();
    EXPECT_EQ(slow, 41);
}

// Each answer is that of a function with its own context, however often they change.
TEST_F(PromptTest, QuestionsOfManyThreadsMeetWholePairsWhileThePromptChanges) {
    static int s_first = 51;
    static int s_second = 52;
    const auto first = [](void* context, const wchar_t*, const wchar_t*, uint32) {
        return context == &s_first ? s_first : 0;
    };
    const auto second = [](void* context, const wchar_t*, const wchar_t*, uint32) {
        return context == &s_second ? s_second : 0;
    };
    SetPrompt(first, &s_first);
    constexpr int kAskers = 3;
    std::atomic<int> begun = 0;
    std::atomic<bool> isOver = false;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> askers;
    for (int i = 0; i < kAskers; ++i) {
        askers.emplace_back([&] {
            for (bool isFirst = true; isFirst || !isOver; isFirst = false) {
                const int answer = AskUser(L"", L"", kYesNo);
                wrong += answer == 51 || answer == 52 ? 0 : 1;
                begun += isFirst ? 1 : 0;
            }
        });
    }
    while (begun < kAskers) {
        std::this_thread::yield();
    }
    for (int i = 0; i < 20'000; ++i) {
        SetPrompt(second, &s_second);
        SetPrompt(first, &s_first);
    }
    isOver = true;
    for (std::thread& asker : askers) {
        asker.join();
    }
    EXPECT_EQ(wrong, 0);
}
