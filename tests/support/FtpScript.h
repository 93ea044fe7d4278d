// FtpScript.h - an FTP server (RFC 959) that says and expects exactly what a test has written down.
//
//   FtpScript ftp;
//   ftp.Logon("u", "p").Expect("DELE /a").Say("250 gone").Expect("NOOP").After(300).Say("200 ok");
//   ftp.Start();
//   ... io.Connect(FTPMODE_NORMAL, ftp.Host(), L"u", L"p", ftp.Port(), 0) ...
//   EXPECT_EQ(ftp.Spent(), 300);
//   ftp.Finish();
//
// The connections are real; time is not. While a script lives a test clock runs, on which VXC_Sleep moves the
// time by itself and a wait with a limit stands until the test moves it. The server answers in no time: what
// the client asks its control connection for readable bytes, the count comes when the server is at rest, that
// is, has read all that the client has sent, has done every step that needs no more from the client or the
// clock, and what it has said has arrived. So a reply that is there at once costs nothing, and a silent
// server exactly what the client is ready to wait.
//
// One at a time, made before the objects that talk to it and so destroyed after them. A step that does not
// come out ends the script: the first reason is kept, all connections are closed so that the client comes
// back, and Finish fails the test with it.
#pragma once

#include "support/FtpScriptState.h"
#include "support/FtpScriptStep.h"
#include "support/PlatformScope.h"
#include "support/TestClock.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio::test {

namespace script {
class Server;
}

// Steps may also be added while the script runs, behind those that are there. All other functions: any
// thread.
class FtpScript {
public:
    using Place = script::Place;

    // Listens at this address; 0 is the host's own, to which data connections of active transfers lead.
    explicit FtpScript(uint32 address = 0);
    // Does what Finish does where nobody has called it, and reports a failure that nobody has taken.
    ~FtpScript();
    FtpScript(const FtpScript&) = delete;
    FtpScript& operator=(const FtpScript&) = delete;

    // ---- Steps of the control connection. The first connection is accepted before the first step.

    // A further one; the server goes on with that one alone.
    FtpScript& AcceptControl(Place place = Place::Here());
    // Exactly this line, CR LF behind it; exactly these bytes; any one line.
    FtpScript& Expect(std::string_view line, Place place = Place::Here());
    FtpScript& ExpectRaw(std::string_view bytes, Place place = Place::Here());
    FtpScript& ExpectAny(Place place = Place::Here());
    // The client has closed its side, and sent nothing before.
    FtpScript& ExpectClosed(Place place = Place::Here());
    // A line, CR LF added; these bytes.
    FtpScript& Say(std::string_view line, Place place = Place::Here());
    FtpScript& SayRaw(std::string_view bytes, Place place = Place::Here());
    // These bytes in pieces, with so much time between them.
    FtpScript& Split(const std::vector<std::string>& pieces, uint32 milliseconds,
                     Place place = Place::Here());
    // A line in which each "@" is h,h,h,h,p,p: the address and the port of the latest Listen.
    FtpScript& SayPort(std::string_view line, Place place = Place::Here());
    // The next step is done when this time has passed.
    FtpScript& After(uint32 milliseconds, Place place = Place::Here());
    // The same, and no byte may come meanwhile. Without a time: no byte may come any more at all, which the
    // end of the script means as well.
    FtpScript& Quiet(uint32 milliseconds, Place place = Place::Here());
    FtpScript& Quiet(Place place = Place::Here());
    // The next step is done when the test has called GoOn.
    FtpScript& UntilTold(Place place = Place::Here());
    // Ends the server's side of the connection; it still listens to the client.
    FtpScript& Fin(Place place = Place::Here());
    // Resets the connection.
    FtpScript& Rst(Place place = Place::Here());

    // ---- Steps of the data connection.

    // A new port for data; those that are there stay.
    FtpScript& Listen(Place place = Place::Here());
    // Nobody listens there any more.
    FtpScript& RefuseData(Place place = Place::Here());
    // Waits for a connection to the latest port, or to the n-th, counted from 0.
    FtpScript& AcceptData(Place place = Place::Here());
    FtpScript& AcceptDataOn(std::size_t n, Place place = Place::Here());
    // The client has connected to the latest port and waits there, or has not.
    FtpScript& DataIsThere(Place place = Place::Here());
    FtpScript& NoDataYet(Place place = Place::Here());
    // "PORT h,h,h,h,p,p" with the client's own address of the control connection; then connects there.
    FtpScript& ExpectPort(Place place = Place::Here());
    FtpScript& Dial(Place place = Place::Here());
    // Sends; done when the system has taken all, or the client does not want more.
    FtpScript& DSend(std::string_view bytes, Place place = Place::Here());
    // The pattern with this seed (PatternByte) from position `from` on.
    FtpScript& DSendPattern(uint64 bytes, uint32 seed = 0, uint64 from = 0, Place place = Place::Here());
    // Collects all until the client closes; or exactly so many bytes.
    FtpScript& DReceive(Place place = Place::Here());
    FtpScript& DReceive(uint64 bytes, Place place = Place::Here());
    // Ends the server's side; resets.
    FtpScript& DFin(Place place = Place::Here());
    FtpScript& DRst(Place place = Place::Here());
    // From here to the end of the script the client neither sends nor closes.
    FtpScript& DHold(Place place = Place::Here());
    // At this moment the client has neither sent nor closed; it has closed, and sent nothing before.
    FtpScript& DExpectNothing(Place place = Place::Here());
    FtpScript& DExpectClosed(Place place = Place::Here());

    // ---- Steps that always come together.

    // 220, USER 331, PASS 230.
    FtpScript& Logon(std::string_view user, std::string_view password, Place place = Place::Here());
    // TYPE I 200, PASV, Listen and this reply.
    FtpScript& Passive(std::string_view reply = "227 Entering Passive Mode (@)", Place place = Place::Here());
    // TYPE I 200, ExpectPort 200.
    FtpScript& Active(Place place = Place::Here());

    // ---- The run.

    // The control port refuses connections from here on. Before Start.
    void RefuseControl();
    void Start();
    const wchar_t* Host() const { return m_host.c_str(); }
    int Port() const { return m_port; }
    TestClock& Clock() { return m_clock; }
    // Milliseconds of the test clock since Start or the last Mark.
    int64 Spent() const;
    void Mark();
    // Lets one UntilTold go on, and comes back when the server is at rest.
    void GoOn();
    // Blocks until the server is at rest.
    void Settle();
    // Blocks until a thread waits for bytes of the latest data connection and has received all that was sent.
    // False when that did not come (Bounded.h).
    [[nodiscard]] bool WaitUntilReceiverWaits();
    // Fails the test unless every step has been done, nothing came that no step expects, and the script is at
    // rest. What comes later is of no interest any more.
    void Finish(Place place = Place::Here());
    // The same, but hands out the reason, or nothing, instead of failing the test.
    std::string End();
    // Why the script has failed so far, or nothing; the test does not fail for it any more.
    std::string TakeFailure();
    // How long the server stands in one step, in real time, before the script has failed.
    void LimitWaits(std::chrono::milliseconds limit);

    // ---- What happened.

    // All lines of all control connections in order, without CR LF.
    std::vector<std::string> Lines() const;
    // What the last DReceive collected.
    std::string Received() const;
    // Data connections that the server had: how many bytes went out and came in.
    std::vector<script::DataConnection> DataConnections() const;
    // What the client did with its sockets, in order.
    std::vector<script::Event> Events() const;
    // The same as lines: "control connect", "control send USER u", "listener bind", "data accept",
    // "data shutdown"; from the second of a kind on "control2", "data2".
    std::vector<std::string> Story() const;
    // How many of these; of all sockets, or of one.
    int Count(script::Verb verb) const;
    int Count(script::Verb verb, SocketToken token) const;

    // ---- Calls of the client's sockets that go wrong, once each.

    // After `pass` more calls of this kind the next one is not made and fails with this number.
    void FailNext(script::SocketCall call, int error, int pass = 0);
    // ... throws a std::runtime_error.
    void ThrowNext(script::SocketCall call, int pass = 0);

    // The byte of the pattern at a position, and a piece of it.
    static uint8 PatternByte(uint64 position, uint32 seed) { return script::PatternByte(position, seed); }
    static std::string Pattern(uint64 bytes, uint32 seed = 0, uint64 from = 0);

private:
    FtpScript& Add(script::StepKind kind, Place place, std::string_view text = {}, uint64 number = 0,
                   uint32 seed = 0, uint64 from = 0);

    PlatformScope m_platform;
    TestClock m_clock;
    std::shared_ptr<script::State> m_state; // calls in flight hold it too
    std::unique_ptr<script::Server> m_server;
    std::wstring m_host;
    int m_port = 0;
    uint64 m_mark = 0;
    bool m_isStarted = false;
};

using script::SocketCall;
using script::Verb;

} // namespace vxcio::test
