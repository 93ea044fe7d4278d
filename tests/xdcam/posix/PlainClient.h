// PlainClient.h - a client of a device that knows nothing of FTP but how replies end.
#pragma once

#include <string>

namespace vxcio::test {

// One thread. What does not come within a minute is empty.
class PlainClient {
public:
    PlainClient(const std::string& address, int port); // has read the greeting
    ~PlainClient();
    PlainClient(const PlainClient&) = delete;
    PlainClient& operator=(const PlainClient&) = delete;

    // The whole reply, lines joined by '\n'; empty where the connection has ended.
    std::string Ask(const std::string& command);
    std::string Reply();
    void Send(const std::string& bytes) const;
    void LogOn(const std::string& user = "u", const std::string& password = "p");

    // Where the next active transfer will come: gives the word for PORT.
    std::string Listen();
    // All data of the connection that comes there, or as much as `bytes`.
    std::string Data(std::size_t bytes = std::string::npos);
    // Whether that connection ended by a reset.
    bool WasReset() const { return m_bReset; }
    void CloseData();

    const std::string& Greeting() const { return m_greeting; }

private:
    std::string Line();

    std::string m_address;
    int m_control = -1;
    int m_listener = -1;
    int m_data = -1;
    bool m_bReset = false;
    std::string m_waiting;
    std::string m_greeting;
};

} // namespace vxcio::test
