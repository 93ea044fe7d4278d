// Sockets.h - connections of a device. None of them holds a thread when the device ends.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <optional>
#include <string>

namespace xdcam {

// Has a descriptor that is readable from the moment on at which all shall end. Any thread may call.
class Ending {
public:
    Ending();
    ~Ending();
    Ending(const Ending&) = delete;
    Ending& operator=(const Ending&) = delete;

    void Begin();
    int Descriptor() const { return m_read; }

private:
    int m_read = -1;
    int m_write = -1;
};

// Owns a descriptor.
class Socket {
public:
    explicit Socket(int descriptor = -1) : m_descriptor(descriptor) {}
    ~Socket() { Close(); }
    Socket(Socket&& other) noexcept : m_descriptor(other.m_descriptor) { other.m_descriptor = -1; }
    Socket& operator=(Socket&& other) noexcept;

    int Descriptor() const { return m_descriptor; }
    bool IsOpen() const { return m_descriptor >= 0; }
    void Close();
    // Without the usual end: the other side learns of it by an error.
    void Reset();

private:
    int m_descriptor;
};

// Throws std::runtime_error.
Socket ListenAt(const std::string& address, int port);
std::optional<in_addr> AddressOf(const std::string& text);
sockaddr_in OwnAddress(const Socket& socket);
sockaddr_in PeerAddress(const Socket& socket);

// What a wait comes out with.
enum class Waited { Ready, TimedOut, Ended };
// Until one of the events of poll() is there, or until the end; without a time for ever.
Waited WaitFor(const Socket& socket, short events, const Ending& ending,
               std::optional<std::chrono::milliseconds> limit = std::nullopt);
// False where the end came before.
bool Pause(std::chrono::milliseconds time, const Ending& ending);

// The next client; closed where the end came or nobody within the limit.
Socket AcceptAt(const Socket& listener, const Ending& ending,
                std::optional<std::chrono::milliseconds> limit = std::nullopt);
// From this own address to that one; closed where nobody takes it.
Socket Dial(const sockaddr_in& from, const sockaddr_in& to, const Ending& ending,
            std::chrono::milliseconds limit);

} // namespace xdcam
