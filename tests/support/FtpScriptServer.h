// FtpScriptServer.h - the thread that does the steps of a script. Inner header of FtpScript.
#pragma once

#include "support/FtpScriptState.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace vxcio::test::script {

// One descriptor of the server's own.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : m_number(number) {}
    Descriptor(Descriptor&& other) noexcept : m_number(other.m_number) { other.m_number = -1; }
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor() { Close(); }
    void Close();
    int Number() const { return m_number; }
    bool IsOpen() const { return m_number >= 0; }

private:
    int m_number = -1;
};

//   server thread                         client's thread, in a hook
//   steps, as far as they go
//   awaited = what the next needs
//   waits = true, state.changed   ----->  Rest: at rest, as far as the counters of both ends say
//   poll (state unlocked)         <-----  bytes, connections; Wake for what no descriptor tells
//   waits = false, take what came
class Server {
public:
    // Listens at the address, at a port of the system's choice.
    Server(State& state, uint32 address);
    // Ends the thread and closes everything.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    uint16 Port() const { return m_port; }
    void RefuseControl() { m_controlListener.Close(); }
    void Start();
    void Stop();
    // Any thread.
    void Wake() const;
    // Whether something has come on a data connection that is to be left alone; with the state's lock.
    void LookAtHeld();

private:
    enum class Progress { Done, Wait };

    struct DataListener {
        Descriptor socket;
        uint16 port = 0;
        uint64 accepted = 0;
    };
    struct Data {
        Descriptor socket;
        Channel* channel = nullptr;
        bool isHeld = false;
    };

    void Run();
    // These with the state's lock.
    void RunSteps();
    Progress Do(const Step& step);
    Progress DoControl(const Step& step);
    Progress DoData(const Step& step);
    bool PollOnce(std::unique_lock<std::mutex>& lock);
    bool IsBounded() const;
    void TakeControl();
    void CloseAll();

    Progress AcceptControl();
    Progress Expect(const Step& step);
    Progress ExpectPort();
    Progress WaitForTime(const Step& step);
    Progress Say(std::string_view bytes);
    Progress Listen();
    Progress AcceptData(uint64 number);
    bool IsDataThere();
    Progress Dial();
    Progress SendData(const Step& step);
    Progress ReceiveData(uint64 bytes);
    Progress ExpectDataClosed();
    Progress ResetData();
    Data* CurrentData();
    // Sends as much as goes. Done when all went, or the other side wants no more.
    Progress SendOn(const Descriptor& socket, Channel& channel, std::string_view bytes);
    Progress WaitUntilNotFull(const Channel& channel);
    DataListener* ListenerOf(uint64 number);
    void AddData(Descriptor socket, uint64 key, bool dialled);

    State& m_state;
    const uint32 m_address;
    uint16 m_port = 0;
    Descriptor m_wake;
    Descriptor m_controlListener;
    std::thread m_thread;

    // Of the server's thread, under the state's lock.
    bool m_stop = false;
    Descriptor m_control;
    Channel* m_controlChannel = nullptr;
    uint64 m_controlAccepted = 0;
    std::string m_heard; // not yet expected
    std::vector<DataListener> m_listeners;
    std::map<uint16, uint64> m_dials;
    std::vector<Data> m_data; // the last is the current one
    uint16 m_dialPort = 0;
    // Of the step that is being done.
    bool m_begun = false;
    uint64 m_deadline = 0;
    uint64 m_moved = 0;
    std::chrono::steady_clock::time_point m_lastActivity;
    // What poll is to look at.
    int m_pollIn = -1;
    int m_pollOut = -1;
};

} // namespace vxcio::test::script
