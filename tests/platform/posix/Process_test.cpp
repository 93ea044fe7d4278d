#include "platform/Process.h"

#include "frame/SystemLayer.h"
#include "support/posix/SystemTesting.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;

TEST(ProcessTest, AStartedProgramHasAHandleThatMayBeClosedAtOnce) {
    EXPECT_EQ(RunInChild([] {
                  int ended[2] = {-1, -1};
                  if (::pipe(ended) != 0 || ::dup2(ended[1], STDOUT_FILENO) < 0) {
                      return 1;
                  }
                  ::close(ended[1]);
                  void* const process = Process().start(L"/bin/echo gone on");
                  if (process == nullptr) {
                      return 2;
                  }
                  Process().closeProcess(process);
                  ::close(STDOUT_FILENO);
                  std::string text;
                  char c = 0;
                  while (::read(ended[0], &c, 1) == 1) {
                      text += c;
                  }
                  return text == "gone on\n" ? 0 : 3;
              }),
              0);
}

TEST(ProcessTest, AProgramThatCannotBeStartedGivesNoHandle) {
    EXPECT_EQ(Process().start(L"/no/such/program 1"), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_FILE_NOT_FOUND);
}

TEST(ProcessTest, NumbersAreThoseOfTheKernel) {
    EXPECT_EQ(Process().processId(), static_cast<uint32>(::getpid()));
    EXPECT_EQ(Process().threadId(), static_cast<uint32>(::syscall(SYS_gettid)));
}

TEST(ProcessTest, RandomNumbersAreTheOnesThatNobodyHasSeeded) {
    // A process of its own, in which nobody has drawn one.
    EXPECT_EQ(RunInChild([] {
                  ::srand(1); // what a generator that nobody seeds begins with
                  const int first = Process().random();
                  const int second = Process().random();
                  ::srand(1);
                  return first == ::rand() && second == ::rand() && first != second ? 0 : 1;
              }),
              0);
}
