// FtpScriptState.h - what the server of a script and the client's socket calls share: how far the script is,
// and how much went over each connection at either end. Inner header of FtpScript.
#pragma once

#include "support/FtpScriptStep.h"
#include "support/TestClock.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vxcio::test::script {

class Server;

// Tells a connection at both ends. One that the client has made is known by its two ports, one that the
// server has made by the port that was dialled and how many came before it there.
constexpr uint64 KeyOfPorts(uint16 serverPort, uint16 clientPort) {
    return uint64{serverPort} << 16 | clientPort;
}
constexpr uint64 KeyOfDial(uint16 clientPort, uint64 before) {
    return (before + 1) << 32 | clientPort;
}

enum class Role { Socket, Control, Listener, Data };

// A socket of the client.
struct ClientSocket {
    Role role = Role::Socket;
    int number = 0; // among those of its role, from 1
    uint64 key = 0; // once connected
    uint16 serverPort = 0;
    uint16 ownPort = 0; // of a listener
    uint64 sent = 0;
    uint64 received = 0;
    bool connected = false;
    // How often it was shut down and closed. The server looks again after each: a shutdown is the end of
    // what comes from the client, but only the close refuses what the server still has to send.
    int ends = 0;
    int standing = 0; // threads that wait in it
    uint64 accepted = 0;
};

// The server's end of a connection.
struct Channel {
    explicit Channel(uint64 itsKey = 0) : key(itsKey) {}

    uint64 key;
    uint64 sent = 0;
    uint64 received = 0;
    bool sawEnd = false;   // of the client's side
    bool finished = false; // has ended its own
};

// What the step in which the server stands waits for.
struct Awaited {
    bool control = false;  // bytes or the end of the control connection
    bool data = false;     // the same of the data connection
    uint16 connectsTo = 0; // more connections to this port than were accepted
    uint64 accepted = 0;
    std::optional<uint64> time; // of the clock
    bool told = false;
    // A connection that takes no more until its client receives or goes, as that client was at the last try.
    const Channel* full = nullptr;
    uint64 fullReceived = 0;
    int fullEnds = 0;
};

// Everything under `mutex`, save where a function says otherwise.
class State {
public:
    State(const SocketTable& realTable, TestClock& clock) : real(realTable), m_clock(&clock) {}

    const SocketTable real;
    std::mutex mutex;
    std::condition_variable changed;

    // The script.
    std::deque<Step> steps;
    std::size_t next = 0; // the step that is being done
    int told = 0;
    std::string failure;
    bool hasFailed = false;
    // Nobody looks at what still happens.
    bool isOver = false;
    std::chrono::milliseconds limit;

    // The server's ends.
    Server* server = nullptr; // while it runs
    bool waits = false;       // it stands in a wait, for what `awaited` says
    Awaited awaited;
    std::map<uint64, Channel> channels;
    const Channel* control = nullptr; // the latest; null before the first
    const Channel* data = nullptr;
    uint16 controlPort = 0;
    struct DataKey {
        uint64 key;
        bool dialled;
    };
    std::vector<DataKey> dataKeys; // of all data connections
    std::string heard;             // all bytes of all control connections
    std::string received;          // of the last DReceive

    // The client's.
    std::map<SocketToken, ClientSocket> clients;
    std::vector<Event> events;
    int inFlight = 0; // calls that are in the hooks

    struct Fault {
        SocketCall call;
        int pass;
        std::optional<int> error; // none: throws
    };
    std::vector<Fault> faults;

    ClientSocket* ClientOf(const Channel& channel);
    const Channel* ChannelOf(const ClientSocket& client) const;
    int ConnectionsTo(uint16 port) const;
    // Gives the socket its role, and its number with it.
    void SetRole(ClientSocket& client, Role role);

    // Keeps the first reason, with the step, and lets go who waits in a socket of the client.
    void Fail(const std::string& reason);
    void FailAt(const std::string& where, const std::string& reason);
    std::string NextStep() const;
    void WakeClients();

    // Whether the server has nothing to do before the client, the clock or the test moves.
    bool IsAtRest();
    // Waits for that; the script has failed where it does not come.
    void Rest(std::unique_lock<std::mutex>& lock);
    // Waits for that, and until all that was said on this control connection has arrived; without `mutex`.
    void RestBeforeLook(SocketToken token);
    bool ReceiverWaits();

    uint64 Now() const { return m_clock->Now(); }

private:
    bool HasInput(const Channel* channel);

    TestClock* const m_clock; // alive while the server runs and a script is current
};

// The script that is alive, or null.
std::shared_ptr<State> CurrentScript();
// Makes it the current one and puts the hooks in place; takes it away again. The table itself is put back by
// who has saved it.
void Install(const std::shared_ptr<State>& state);
void Uninstall();

} // namespace vxcio::test::script
