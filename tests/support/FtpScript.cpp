#include "support/FtpScript.h"

#include "platform/HostNames.h"
#include "support/Bounded.h"
#include "support/FtpScriptServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace vxcio::test {

namespace {

constexpr uint32 kLoopback = 0x7F000001;

std::wstring Dotted(uint32 address) {
    std::wstring text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_wstring(address >> shift & 0xFF) + (shift > 0 ? L"." : L"");
    }
    return text;
}

std::string NameOf(const script::ClientSocket& client) {
    static constexpr const char* kNames[] = {"socket", "control", "listener", "data"};
    return std::string(kNames[static_cast<int>(client.role)]) +
           (client.number > 1 ? std::to_string(client.number) : "");
}

const char* NameOf(Verb verb) {
    static constexpr const char* kNames[] = {"open",   "connect", "bind",     "listen",
                                             "accept", "send",    "shutdown", "close"};
    return kNames[static_cast<int>(verb)];
}

} // namespace

FtpScript::FtpScript(uint32 address) {
    if (address == 0) {
        address = HostNames().ownAddress();
    }
    if (address == 0) {
        address = kLoopback;
    }
    m_clock.AutoAdvanceSleeps(true);
    m_state = std::make_shared<script::State>(Sockets(), m_clock);
    m_state->limit = kHangLimit;
    m_server = std::make_unique<script::Server>(*m_state, address);
    EXPECT_NE(m_server->Port(), 0) << "no port could be had";
    m_host = Dotted(address);
    m_port = m_server->Port();
    m_state->controlPort = m_server->Port();
    script::Install(m_state);
}

FtpScript::~FtpScript() {
    Finish();
    m_server->Stop();
    script::Uninstall();
    std::unique_lock lock(m_state->mutex);
    m_state->WakeClients();
    if (!WaitBounded(m_state->changed, lock, [&] { return m_state->inFlight == 0; })) {
        ADD_FAILURE() << "a socket call stands yet that the script's end does not end";
    }
}

void FtpScript::RefuseControl() {
    m_server->RefuseControl();
}

void FtpScript::Start() {
    {
        const std::lock_guard lock(m_state->mutex);
        if (!m_state->steps.empty()) {
            m_state->steps.push_front(
                {script::StepKind::AcceptControl, m_state->steps.front().place, {}, 0, 0, 0});
        }
        m_isStarted = true;
    }
    Mark();
    m_server->Start();
}

int64 FtpScript::Spent() const {
    const std::lock_guard lock(m_state->mutex);
    return static_cast<int64>(m_clock.Now() - m_mark);
}

void FtpScript::Mark() {
    const std::lock_guard lock(m_state->mutex);
    m_mark = m_clock.Now();
}

void FtpScript::GoOn() {
    std::unique_lock lock(m_state->mutex);
    ++m_state->told;
    m_state->Rest(lock);
}

void FtpScript::Settle() {
    std::unique_lock lock(m_state->mutex);
    m_state->Rest(lock);
}

bool FtpScript::WaitUntilReceiverWaits() {
    std::unique_lock lock(m_state->mutex);
    return WaitBounded(m_state->changed, lock, [&] { return m_state->ReceiverWaits(); });
}

void FtpScript::Finish(Place place) {
    const std::string failure = End();
    if (!failure.empty()) {
        ADD_FAILURE_AT(place.file, place.line) << failure;
    }
}

std::string FtpScript::End() {
    std::string failure;
    {
        std::unique_lock lock(m_state->mutex);
        if (!m_state->isOver && m_isStarted) {
            m_state->Rest(lock);
            if (m_state->next < m_state->steps.size()) {
                m_state->Fail("left over");
            } else if (m_state->ConnectionsTo(m_state->controlPort) >
                       std::count_if(m_state->steps.begin(), m_state->steps.end(), [](const auto& step) {
                           return step.kind == script::StepKind::AcceptControl;
                       })) {
                m_state->Fail("a control connection that no step accepts");
            }
            m_server->LookAtHeld();
        }
        m_state->isOver = true;
        failure = std::exchange(m_state->failure, {});
    }
    m_server->Wake();
    return failure;
}

std::string FtpScript::TakeFailure() {
    const std::lock_guard lock(m_state->mutex);
    return std::exchange(m_state->failure, {});
}

void FtpScript::LimitWaits(std::chrono::milliseconds limit) {
    const std::lock_guard lock(m_state->mutex);
    m_state->limit = limit;
}

std::vector<std::string> FtpScript::Lines() const {
    const std::lock_guard lock(m_state->mutex);
    std::vector<std::string> lines;
    std::string_view rest(m_state->heard);
    while (!rest.empty()) {
        const std::size_t end = rest.find("\r\n");
        lines.emplace_back(rest.substr(0, end));
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 2);
    }
    return lines;
}

std::string FtpScript::Received() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->received;
}

std::vector<script::DataConnection> FtpScript::DataConnections() const {
    const std::lock_guard lock(m_state->mutex);
    std::vector<script::DataConnection> connections;
    for (const auto& [key, dialled] : m_state->dataKeys) {
        const script::Channel& channel = m_state->channels[key];
        connections.push_back({dialled, channel.sent, channel.received});
    }
    return connections;
}

std::vector<script::Event> FtpScript::Events() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->events;
}

std::vector<std::string> FtpScript::Story() const {
    const std::lock_guard lock(m_state->mutex);
    std::vector<std::string> story;
    for (const script::Event& event : m_state->events) {
        std::string line = NameOf(m_state->clients[event.token]) + " " + NameOf(event.verb);
        line += event.verb == Verb::Send ? " " + event.text : "";
        story.push_back(line + (event.worked ? "" : " failed"));
    }
    return story;
}

int FtpScript::Count(Verb verb) const {
    const std::lock_guard lock(m_state->mutex);
    return static_cast<int>(std::count_if(m_state->events.begin(), m_state->events.end(),
                                          [&](const auto& event) { return event.verb == verb; }));
}

int FtpScript::Count(Verb verb, SocketToken token) const {
    const std::lock_guard lock(m_state->mutex);
    return static_cast<int>(
        std::count_if(m_state->events.begin(), m_state->events.end(),
                      [&](const auto& event) { return event.verb == verb && event.token == token; }));
}

void FtpScript::FailNext(SocketCall call, int error, int pass) {
    const std::lock_guard lock(m_state->mutex);
    m_state->faults.push_back({call, pass, error});
}

void FtpScript::ThrowNext(SocketCall call, int pass) {
    const std::lock_guard lock(m_state->mutex);
    m_state->faults.push_back({call, pass, {}});
}

std::string FtpScript::Pattern(uint64 bytes, uint32 seed, uint64 from) {
    return script::Pattern(bytes, seed, from);
}

} // namespace vxcio::test
