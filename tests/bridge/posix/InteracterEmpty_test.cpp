// Spaces that a peer has made without a byte in them.
#include "bridge/InteracterTesting.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <unistd.h>

using namespace vxcio::test;

namespace {

// A live name with an empty file behind it.
class EmptySpace {
public:
    explicit EmptySpace(const std::wstring& name)
        : m_path("/dev/shm/vxc." + std::to_string(geteuid()) + "." + std::string(name.begin(), name.end()) +
                 ".m"),
          m_file(open(Draft().c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600)) {
        // It gets its name when it is locked: until then other processes would take it for a dead one.
        EXPECT_EQ(flock(m_file, LOCK_SH), 0);
        EXPECT_EQ(rename(Draft().c_str(), m_path.c_str()), 0);
    }
    ~EmptySpace() {
        unlink(m_path.c_str());
        close(m_file);
    }
    EmptySpace(const EmptySpace&) = delete;
    EmptySpace& operator=(const EmptySpace&) = delete;

private:
    std::string Draft() const { return m_path + "-draft"; }

    const std::string m_path;
    const int m_file;
};

} // namespace

TEST(InteracterEmptyTest, AnEmptyRequestSpaceHasNotTheMarker) {
    const std::wstring id = UniqueId();
    const EmptySpace space(id + L"_InMap");
    const LogCapture log;
    CVXCInteracterImpl receiver(VXC_INTERACTER_RECEIVER);
    receiver.SetReceiverCallback([](void*) { return 0; }, nullptr);
    EXPECT_EQ(receiver.Initialize(0, id.c_str(), 64, 64), -1);
    EXPECT_TRUE(log.Contains(L"Initialize receiver Failed: Child Create SMM Failed!"));
}

TEST(InteracterEmptyTest, AnEmptyReplySpaceHasNotTheMarker) {
    const std::wstring id = UniqueId();
    const LogCapture log;
    CVXCInteracterImpl sender(VXC_INTERACTER_SENDER);
    sender.Assign(0, id.c_str(), 64, 64);
    ASSERT_EQ(sender.InitSenderFirst(), 0);
    const EmptySpace space(id + L"_OutMap");
    EXPECT_EQ(sender.OpenReplySpace(), -1);
    EXPECT_TRUE(log.Contains(L"Child Create SMM Failed!"));
}
