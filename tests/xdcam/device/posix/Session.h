// Session.h - one client of a device.
#pragma once

#include "xdcam/device/ClipFolder.h"
#include "xdcam/device/XdcamDevice.h"
#include "xdcam/device/posix/ControlLine.h"
#include "xdcam/device/posix/DataSending.h"
#include "xdcam/device/posix/Sockets.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace xdcam {

// What sessions have in common. It outlives them.
struct SessionPlace {
    const DeviceOptions& options;
    const ClipFolder& folder;
    const Ending& ending;
    std::function<Trouble(const std::string& command)> troubleOf;
    std::function<void(const std::string&)> heard;
    std::function<void(const std::string&)> said;
};

// One thread runs it.
class Session {
public:
    Session(Socket socket, const SessionPlace& place);

    // From the greeting on until one side has enough.
    void Run();

private:
    struct Command;
    static const Command* Known(const std::string& name);

    void Obey(const std::string& line);
    void Do(const std::string& name, const std::string& argument);
    void Say(const std::string& reply) { m_control.Say(reply); }
    void Refuse(const std::string& reply);

    void User(const std::string& name);
    void Pass(const std::string& password);
    void Quit(const std::string& argument);
    void Type(const std::string& type);
    void Port(const std::string& address);
    void Passive(const std::string& argument);
    void Here(const std::string& argument);
    void Enter(const std::string& folder);
    void Up(const std::string& argument);
    void Size(const std::string& file);
    void Restart(const std::string& place);
    void Retrieve(const std::string& file);
    void ListLong(const std::string& folder);
    void ListNames(const std::string& folder);
    void List(const std::string& folder, bool withDetails);
    void Status(const std::string& clip);
    void Stretch(const std::string& argument);
    void Space(const std::string& argument);
    void Done(const std::string& argument);
    void System(const std::string& argument);
    void Abort(const std::string& argument);
    void Protected(const std::string& argument);

    // The reply before the data, the connection, the data, the reply behind it.
    void Send(const DataReader& reader);
    void SendText(const std::string& text);
    Socket DataConnection();

    const SessionPlace& m_place;
    ControlLine m_control;
    std::string m_user;
    bool m_bLoggedOn = false;
    bool m_bOver = false;
    std::string m_folder = "/";
    std::uint64_t m_qwRestart = 0;
    std::optional<sockaddr_in> m_port; // where the client listens
    Socket m_listener;                 // where this side does
    Trouble m_trouble;                 // of the command under way
};

} // namespace xdcam
