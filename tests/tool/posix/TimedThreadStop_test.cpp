// A wish to stop and the thread that works on servers, each in a process of its own: the wish stays.
#include "support/Bounded.h"
#include "support/Gate.h"
#include "support/posix/SystemTesting.h"

#include "Terminal.h"
#include "TimedThread.h"

#include <gtest/gtest.h>

#include <csignal>
#include <memory>

using namespace vxcio::test;
using vxcio::tool::TimedThread;

namespace {

constexpr int kGood = 0;
constexpr int kBad = 1;

// Work that asks to stop, when `asks`, and does not end by itself.
std::function<void()> Stuck(bool asks) {
    return [gate = std::make_shared<Gate>(), asks] {
        if (asks) {
            std::raise(SIGINT);
        }
        gate->Pass();
    };
}

// The work stays where it is, so the process ends without.
int End(int code) {
    std::_Exit(code);
}

} // namespace

TEST(ToolTimedThreadStopTest, AWishThatComesWithTheBeginOfTheWorkEndsTheWait) {
    for (int i = 0; i < 20; ++i) { // it comes before the wait mostly
        EXPECT_EQ(RunInChild([] {
                      vxcio::tool::PrepareSignals();
                      auto* const thread = new TimedThread;
                      return End(!thread->Do(kHangLimit * 10, Stuck(true)) && thread->IsLost() ? kGood
                                                                                               : kBad);
                  }),
                  kGood);
    }
}

TEST(ToolTimedThreadStopTest, AnEarlierWishEndsOnlyWaitsThatCleanNothingUp) {
    EXPECT_EQ(RunInChild([] {
                  vxcio::tool::PrepareSignals();
                  std::raise(SIGINT);
                  TimedThread cleaner;
                  if (!cleaner.Do(kHangLimit, [] {}) || cleaner.IsLost()) {
                      return End(kBad);
                  }
                  auto* const thread = new TimedThread;
                  const bool isDone = thread->Do(kHangLimit * 10, Stuck(false), TimedThread::Stop::OnAnyWish);
                  return End(!isDone && thread->IsLost() ? kGood : kBad);
              }),
              kGood);
}
