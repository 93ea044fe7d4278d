// The client's socket calls on their way to the table that was there before.
#include "support/FtpScriptState.h"

#include <stdexcept>
#include <string_view>
#include <utility>

namespace vxcio::test::script {

namespace {

// The script that is alive. Never destroyed: a thread that was left behind may come at any time.
struct Current {
    std::mutex mutex;
    std::shared_ptr<State> state; // guarded by mutex, as the next
    SocketTable real;             // of the last script
};

Current& TheCurrent() {
    static Current* const current = new Current;
    return *current;
}

// The error of the thread's last call that failed. Calls of the hooks' own must not show in it.
thread_local int t_error = 0;

// One call in the hooks.
class Call {
public:
    Call() {
        Current& current = TheCurrent();
        const std::lock_guard currentLock(current.mutex);
        m_state = current.state;
        m_real = current.real;
        if (m_state != nullptr) {
            const std::lock_guard lock(m_state->mutex);
            ++m_state->inFlight;
        }
    }
    ~Call() {
        if (m_state != nullptr) {
            const std::lock_guard lock(m_state->mutex);
            --m_state->inFlight;
            m_state->changed.notify_all();
        }
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    const SocketTable& Real() const { return m_real; }

    // The error with which this call is to fail, or 0; throws where it is to throw.
    int Injected(SocketCall call) {
        if (m_state == nullptr) {
            return 0;
        }
        const std::lock_guard lock(m_state->mutex);
        for (auto at = m_state->faults.begin(); at != m_state->faults.end(); ++at) {
            if (at->call != call) {
                continue;
            }
            if (at->pass-- > 0) {
                return 0;
            }
            const std::optional<int> error = at->error;
            m_state->faults.erase(at);
            if (!error) {
                throw std::runtime_error("a socket call threw");
            }
            t_error = *error;
            return *error;
        }
        return 0;
    }

    // The result of a real call; keeps its error.
    template <class Result>
    Result Done(Result result) {
        if (result == static_cast<Result>(-1)) {
            t_error = m_real.lastError();
        }
        return result;
    }

    // What happened, told to the script: `note` runs with the state's lock held, and what it says of the
    // socket with it.
    template <class Note>
    void Tell(SocketToken token, Note note) {
        if (m_state != nullptr) {
            std::unique_lock lock(m_state->mutex);
            note(*m_state, m_state->clients[token], lock);
            m_state->changed.notify_all();
        }
    }

    State* Script() const { return m_state.get(); }

private:
    std::shared_ptr<State> m_state;
    SocketTable m_real;
};

// Counts a thread that stands in a socket.
class Standing {
public:
    Standing(Call& call, SocketToken token) : m_call(call), m_token(token) { Change(1); }
    ~Standing() { Change(-1); }
    Standing(const Standing&) = delete;
    Standing& operator=(const Standing&) = delete;

private:
    void Change(int by) {
        m_call.Tell(m_token, [&](State&, ClientSocket& client, auto&) { client.standing += by; });
    }

    Call& m_call;
    const SocketToken m_token;
};

int Startup(uint16 wanted, uint16* version) {
    Call call;
    const int error = call.Injected(SocketCall::Startup);
    return error != 0 ? error : call.Real().startup(wanted, version);
}

void Cleanup() {
    Call call;
    call.Real().cleanup();
}

SocketToken Open() {
    Call call;
    const SocketToken token =
        call.Injected(SocketCall::Open) != 0 ? kNoSocket : call.Done(call.Real().open());
    call.Tell(token, [&](State& state, ClientSocket&, auto&) {
        state.events.push_back({Verb::Open, token, {}, token != kNoSocket});
    });
    return token;
}

int Connect(SocketToken token, uint32 address, uint16 port) {
    Call call;
    const int result =
        call.Injected(SocketCall::Connect) != 0 ? -1 : call.Done(call.Real().connect(token, address, port));
    uint32 ownAddress = 0;
    uint16 ownPort = 0;
    if (result == 0) {
        call.Real().name(token, &ownAddress, &ownPort);
    }
    call.Tell(token, [&](State& state, ClientSocket& client, auto& lock) {
        state.SetRole(client, port == state.controlPort ? Role::Control : Role::Data);
        state.events.push_back({Verb::Connect, token, {}, result == 0});
        if (result == 0) {
            client.serverPort = port;
            client.key = KeyOfPorts(port, ownPort);
            client.connected = true;
            state.Rest(lock);
        }
    });
    return result;
}

int Bind(SocketToken token, uint32 address, uint16 port) {
    Call call;
    const int result =
        call.Injected(SocketCall::Bind) != 0 ? -1 : call.Done(call.Real().bind(token, address, port));
    call.Tell(token, [&](State& state, ClientSocket& client, auto&) {
        state.SetRole(client, Role::Listener);
        state.events.push_back({Verb::Bind, token, {}, result == 0});
    });
    return result;
}

int Listen(SocketToken token, int backlog) {
    Call call;
    const int result =
        call.Injected(SocketCall::Listen) != 0 ? -1 : call.Done(call.Real().listen(token, backlog));
    uint32 address = 0;
    uint16 port = 0;
    if (result == 0) {
        call.Real().name(token, &address, &port);
    }
    call.Tell(token, [&](State& state, ClientSocket& client, auto&) {
        client.ownPort = port;
        state.events.push_back({Verb::Listen, token, {}, result == 0});
    });
    return result;
}

SocketToken Accept(SocketToken listener) {
    Call call;
    SocketToken token = kNoSocket;
    if (call.Injected(SocketCall::Accept) == 0) {
        const Standing standing(call, listener);
        bool isLate = false; // nobody dials any more
        call.Tell(listener, [&](State& state, ClientSocket&, auto&) { isLate = state.hasFailed; });
        if (isLate) {
            call.Real().shutdown(listener);
        }
        token = call.Done(call.Real().accept(listener));
    }
    call.Tell(token, [&](State& state, ClientSocket& client, auto&) {
        state.events.push_back({Verb::Accept, token, {}, token != kNoSocket});
        if (token != kNoSocket) {
            ClientSocket& from = state.clients[listener];
            state.SetRole(client, Role::Data);
            client.key = KeyOfDial(from.ownPort, from.accepted++);
            client.connected = true;
        }
    });
    return token;
}

int Send(SocketToken token, const void* data, uint32 bytes) {
    Call call;
    const int result =
        call.Injected(SocketCall::Send) != 0 ? -1 : call.Done(call.Real().send(token, data, bytes));
    call.Tell(token, [&](State& state, ClientSocket& client, auto& lock) {
        client.sent += result > 0 ? static_cast<uint64>(result) : 0;
        if (client.role == Role::Data) {
            return;
        }
        std::string_view text(static_cast<const char*>(data), bytes);
        if (text.ends_with("\r\n")) {
            text.remove_suffix(2);
        }
        state.events.push_back({Verb::Send, token, std::string(text), result >= 0});
        state.Rest(lock);
    });
    return result;
}

void NoteReceived(Call& call, SocketToken token, int result) {
    call.Tell(token, [&](State&, ClientSocket& client, auto&) {
        client.received += result > 0 ? static_cast<uint64>(result) : 0;
    });
}

int Receive(SocketToken token, void* buffer, uint32 bytes) {
    Call call;
    if (call.Injected(SocketCall::Receive) != 0) {
        return -1;
    }
    int result = 0;
    {
        const Standing standing(call, token);
        result = call.Done(call.Real().receive(token, buffer, bytes));
    }
    NoteReceived(call, token, result);
    return result;
}

int ReceiveNow(SocketToken token, void* buffer, uint32 bytes) {
    Call call;
    if (call.Injected(SocketCall::ReceiveNow) != 0) {
        return -1;
    }
    const int result = call.Done(call.Real().receiveNow(token, buffer, bytes));
    NoteReceived(call, token, result);
    return result;
}

int WaitReadable(SocketToken token) {
    Call call;
    if (call.Injected(SocketCall::WaitReadable) != 0) {
        return -1;
    }
    const Standing standing(call, token);
    return call.Done(call.Real().waitReadable(token));
}

// The look for the count that follows waits for the server.
int LookReadable(SocketToken, uint32) {
    return 1;
}

int Readable(SocketToken token, uint32* bytes) {
    Call call;
    if (call.Injected(SocketCall::Readable) != 0) {
        return -1;
    }
    if (call.Script() != nullptr) {
        call.Script()->RestBeforeLook(token);
    }
    return call.Done(call.Real().readable(token, bytes));
}

int Name(SocketToken token, uint32* address, uint16* port) {
    Call call;
    return call.Injected(SocketCall::Name) != 0 ? -1 : call.Done(call.Real().name(token, address, port));
}

int End(Verb verb, SocketToken token) {
    Call call;
    const int result =
        call.Done(verb == Verb::Shutdown ? call.Real().shutdown(token) : call.Real().close(token));
    call.Tell(token, [&](State& state, ClientSocket& client, auto&) {
        state.events.push_back({verb, token, {}, result == 0});
        client.ends += result == 0 ? 1 : 0;
    });
    return result;
}

int Shutdown(SocketToken token) {
    return End(Verb::Shutdown, token);
}

int Close(SocketToken token) {
    return End(Verb::Close, token);
}

int LastError() {
    return t_error;
}

} // namespace

std::shared_ptr<State> CurrentScript() {
    Current& current = TheCurrent();
    const std::lock_guard lock(current.mutex);
    return current.state;
}

void Install(const std::shared_ptr<State>& state) {
    Current& current = TheCurrent();
    {
        const std::lock_guard lock(current.mutex);
        current.state = state;
        current.real = state->real;
    }
    Sockets() = {
        .startup = Startup,
        .cleanup = Cleanup,
        .open = Open,
        .connect = Connect,
        .bind = Bind,
        .listen = Listen,
        .accept = Accept,
        .send = Send,
        .receive = Receive,
        .receiveNow = ReceiveNow,
        .waitReadable = WaitReadable,
        .lookReadable = LookReadable,
        .readable = Readable,
        .name = Name,
        .shutdown = Shutdown,
        .close = Close,
        .lastError = LastError,
    };
}

void Uninstall() {
    Current& current = TheCurrent();
    const std::lock_guard lock(current.mutex);
    current.state.reset();
}

} // namespace vxcio::test::script
