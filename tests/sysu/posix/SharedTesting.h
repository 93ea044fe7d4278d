// SharedTesting.h - what the tests of shared names have in common: names, files, other processes.
#pragma once

#include "sysu/NamedObjects.h"
#include "sysu/posix/SharedPath.h"

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace vxcio::test {

using sysu::SharedKind;
using sysu::SharedPath;

// A name that no other process has, also on a machine where these tests run several times at once.
std::wstring OwnName(const std::wstring& what);

bool IsFileThere(const std::string& path);

// A section of this process that is closed at the end of its scope.
class HeldSection {
public:
    explicit HeldSection(void* handle) : m_handle(handle) {}
    ~HeldSection() { Close(); }
    HeldSection(const HeldSection&) = delete;
    HeldSection& operator=(const HeldSection&) = delete;

    void* Get() const { return m_handle; }
    bool Close();

private:
    void* m_handle;
};

// Runs `body` in a child that has a folder of shared memory to itself, with so many bytes ("64k"), and
// fails the test where it fails there. False where this process may not mount.
[[nodiscard]] bool InOwnFolder(const std::string& bytes, const std::function<void()>& body);

// Runs `body` in a child, and fails the test where it fails there.
void InChild(const std::function<void()>& body);

// The programs of SharedPeer.cpp, one for each width that is built.
std::vector<std::string> Peers();

// One of them that runs. It is killed at the end of its scope unless it has ended.
class Peer {
public:
    Peer(const std::string& program, std::vector<std::string> words);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    pid_t Process() const { return m_process; }
    // Waits for its line; false when it ends without one.
    bool IsReady();
    void CloseInput();
    void Kill();
    // Waits for its end: the exit code, or 1000 and the signal.
    int Result();

private:
    pid_t m_process = -1;
    int m_input = -1;
    int m_output = -1;
};

// Whether the only thread of the process sleeps in the system.
bool Sleeps(pid_t process);

} // namespace vxcio::test
