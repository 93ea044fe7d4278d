// ControlLine.h - the control connection of one client.
#pragma once

#include "xdcam/device/posix/Sockets.h"

#include <functional>
#include <optional>
#include <string>

namespace xdcam {

// One thread.
class ControlLine {
public:
    ControlLine(Socket socket, const Ending& ending, std::function<void(const std::string&)> heard,
                std::function<void(const std::string&)> said);

    // The next line without its end, and without what Telnet has to say. None where there will be no more.
    // Of a line that is too long, only as much as fits.
    std::optional<std::string> Next();
    // A reply of one or more lines with CR LF between them; the last end is added. What the client does not
    // take is lost.
    void Say(const std::string& reply);

    enum class State { Quiet, Abort, Gone };
    // What has come meanwhile. An ABOR is taken, everything else left to Next.
    State Look();
    // Whether more may come that Look would see.
    bool IsListening() const;

    const Socket& Connection() const { return m_socket; }

private:
    bool Receive();
    std::optional<std::string> Take();

    Socket m_socket;
    const Ending& m_ending;
    std::function<void(const std::string&)> m_heard;
    std::function<void(const std::string&)> m_said;
    std::string m_waiting;
    bool m_bGone = false;
    bool m_bSkip = false; // to the next line end
};

} // namespace xdcam
