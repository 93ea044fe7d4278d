// Memory of which a part cannot be read, and a process that may not read memory by the direct call.
#include "platform/SafeCopy.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace vxcio;

namespace {

constexpr std::size_t kBytes = 88;

// Two pages, the second of which cannot be read; pages[0..end) are "readable".
class HalfReadable {
public:
    HalfReadable() : m_page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        m_memory = mmap(nullptr, 2 * m_page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        std::memset(m_memory, 'a', 2 * m_page);
        mprotect(End(), m_page, PROT_NONE);
    }
    ~HalfReadable() { munmap(m_memory, 2 * m_page); }
    HalfReadable(const HalfReadable&) = delete;
    HalfReadable& operator=(const HalfReadable&) = delete;

    // The first byte that cannot be read.
    char* End() const { return static_cast<char*>(m_memory) + m_page; }

private:
    std::size_t m_page;
    void* m_memory;
};

// The three answers that count; 0 when all are right.
int WrongAnswers() {
    const HalfReadable memory;
    char target[kBytes] = {};
    int wrong = 0;
    if (CopyFromAnywhere(target, memory.End() - kBytes, kBytes) != 1 || target[kBytes - 1] != 'a') {
        wrong |= 1;
    }
    if (CopyFromAnywhere(target, memory.End() - kBytes + 1, kBytes) != 0) {
        wrong |= 2;
    }
    if (CopyFromAnywhere(target, memory.End(), kBytes) != 0) {
        wrong |= 4;
    }
    return wrong;
}

// From here on process_vm_readv fails with this error.
void Forbid(int error) {
    sock_filter code[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_process_vm_readv, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {static_cast<unsigned short>(sizeof code / sizeof *code), code};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        std::perror("seccomp");
        std::_Exit(100);
    }
}

// The two descriptors that would be opened next, as one number: what stays open shows in it.
int NextDescriptors() {
    const int first = dup(STDERR_FILENO);
    const int second = dup(STDERR_FILENO);
    close(first);
    close(second);
    return first * 1000 + second;
}

[[noreturn]] void AnswerWithout(int error) {
    Forbid(error);
    const int before = NextDescriptors();
    const int wrong = WrongAnswers();
    std::_Exit(NextDescriptors() == before ? wrong : 50);
}

} // namespace

TEST(SafeCopyTest, MemoryOfWhichAPartCannotBeReadFails) {
    EXPECT_EQ(WrongAnswers(), 0);
}

TEST(SafeCopyDeathTest, AProcessWithoutTheDirectCallGivesTheSameAnswers) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(AnswerWithout(EPERM), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(AnswerWithout(ENOSYS), testing::ExitedWithCode(0), "");
}
