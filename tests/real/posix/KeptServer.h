// KeptServer.h - a server program that runs for the length of a test.
#pragma once

#include <string>
#include <vector>

namespace vxcio::test {

// The program and all processes that come from it. They end with this object, and with the test process
// however that ends. One thread at a time uses it.
class KeptServer {
public:
    // What the program says goes to the file `log`. Throws std::runtime_error where no process can be
    // started; that the program cannot be run shows in IsRunning and in the log.
    KeptServer(const std::string& log, std::vector<std::string> command);
    ~KeptServer();
    KeptServer(const KeptServer&) = delete;
    KeptServer& operator=(const KeptServer&) = delete;

    bool IsRunning();
    // Each returns when every process is so.
    void Stop();     // as by SIGSTOP: the system still answers for its sockets, but it does not
    void Continue(); // undoes Stop
    void Kill();     // for good

private:
    int Order(char order);

    int m_pid = -1;
    int m_orders = -1;
    int m_answers = -1;
};

} // namespace vxcio::test
