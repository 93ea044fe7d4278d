// FakeServer.h - a plug-in server in the test's own process, and messages put together by hand.
//
//   FakeServer server;                                   starting a program makes a Receiver from here on
//   server.On(L"Call_LoadPlug", Message({ReplyHead(0), Q64(77)}));
//   ASSERT_EQ(CreateVXC32ServProcess(), 0);
#pragma once

#include "bridge/Interacter.h"
#include "frame/Types.h"
#include "platform/Process.h"
#include "support/Gate.h"

#include <atomic>
#include <functional>
#include <initializer_list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio::test {

using Bytes = std::vector<uint8>;

// The wire, byte for byte: values behind their tags, and the heads of messages.
Bytes L32(uint32 value);
Bytes Q64(uint64 value);
Bytes Text(std::u16string_view text);
Bytes Message(std::initializer_list<Bytes> parts);
Bytes RequestHead(uint32 size, uint32 command, std::u16string_view name);
// Its size is not what it should be: hosts do not look at it.
Bytes ReplyHead(uint32 result);
// A reply with its 16 zeros behind, as the server leaves it, so that nothing old is read for a value.
Bytes Cleared(Bytes reply);

struct FakeRequest {
    uint32 command = 0;
    std::wstring name;
    Bytes bytes; // as many as the message says, at most the space
};

// What stands in the reply space before end is signalled; nothing leaves it as it was.
using FakeAnswer = std::function<std::optional<Bytes>(const FakeRequest& request)>;

// Replaces the start of programs from its construction to its destruction; one at a time. It holds its end of
// the channel until End, or until its own end, also after a stop that it has answered. Set up by the test's
// thread before the start; the questions may come from any thread.
class FakeServer {
public:
    FakeServer();
    ~FakeServer();
    FakeServer(const FakeServer&) = delete;
    FakeServer& operator=(const FakeServer&) = delete;

    // How it starts. Without any of these it comes up at once.
    void ComeUp() { m_start = Start::Serves; }
    void FailToStart() { m_start = Start::Fails; } // with last error 3
    void ComeUpDead() { m_start = Start::Dead; }   // and open nothing, unless later with ComeUpNow
    void StartForReal() { Process().start = m_table.start; }
    void ComeUpWithMarker(std::string_view marker);
    void SetReplyBytes(uint32 bytes) { m_replyBytes = bytes; }
    // Called within the start, on the thread of the host.
    void WithinStart(std::function<void()> act) { m_within = std::move(act); }

    // What it answers to a call of that name, and a head with result 0 to all others.
    void On(const wchar_t* name, FakeAnswer answer);
    void On(const wchar_t* name, Bytes reply);
    // Keeps every call without an answer until the gate opens. End opens it.
    void Hold() { m_gate.Close(); }
    void LetGo() { m_gate.Open(); }
    [[nodiscard]] bool WaitUntilHeld() { return m_gate.WaitUntilReached(); }

    void End();
    void ComeUpNow(const std::wstring& id);

    std::vector<std::wstring> CommandLines() const;
    int Closed() const { return m_closed.load(); }
    std::vector<FakeRequest> Requests() const;
    std::vector<std::wstring> Names() const;

private:
    enum class Start { Serves, Fails, Dead };

    static void* StartProgram(const wchar_t* commandLine);
    static void CloseProgram(void* process);
    static int Receive(void* server);
    void* Started(const std::wstring& commandLine);
    void Serve();

    const ProcessTable m_table;
    Start m_start = Start::Serves;
    std::string m_marker;
    uint32 m_replyBytes = 1048576;
    std::function<void()> m_within;
    Gate m_gate;
    CVXCInteracter* m_receiver = nullptr;
    std::atomic<int> m_closed{0};
    mutable std::mutex m_mutex;
    std::map<std::wstring, FakeAnswer> m_answers; // guarded by the mutex, as the two below
    std::vector<std::wstring> m_commandLines;
    std::vector<FakeRequest> m_requests;
};

} // namespace vxcio::test
