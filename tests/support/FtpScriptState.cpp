#include "support/FtpScriptState.h"

#include "support/Bounded.h"
#include "support/FtpScriptServer.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace vxcio::test::script {

namespace {

// So many of the bytes that were said are waited for, as a client asks for no more at a time.
constexpr uint64 kEnoughToLookAt = 4096;

} // namespace

ClientSocket* State::ClientOf(const Channel& channel) {
    for (auto at = clients.rbegin(); at != clients.rend(); ++at) {
        if (at->second.connected && at->second.key == channel.key) {
            return &at->second;
        }
    }
    return nullptr;
}

const Channel* State::ChannelOf(const ClientSocket& client) const {
    const auto found = client.connected ? channels.find(client.key) : channels.end();
    return found == channels.end() ? nullptr : &found->second;
}

int State::ConnectionsTo(uint16 port) const {
    return static_cast<int>(std::count_if(clients.begin(), clients.end(), [&](const auto& entry) {
        return entry.second.connected && entry.second.serverPort == port;
    }));
}

void State::SetRole(ClientSocket& client, Role role) {
    if (client.role == role) {
        return;
    }
    client.role = role;
    client.number = static_cast<int>(std::count_if(
        clients.begin(), clients.end(), [&](const auto& entry) { return entry.second.role == role; }));
}

std::string State::NextStep() const {
    if (next >= steps.size()) {
        return "at the end of the script";
    }
    const Step& step = steps[next];
    const std::string_view file(step.place.file);
    return "step " + std::to_string(next + 1) + " of " + std::to_string(steps.size()) + " (" +
           std::string(file.substr(file.rfind('/') + 1)) + ":" + std::to_string(step.place.line) + "), " +
           Describe(step);
}

void State::Fail(const std::string& reason) {
    FailAt(NextStep(), reason);
}

void State::FailAt(const std::string& where, const std::string& reason) {
    if (hasFailed || isOver) {
        return;
    }
    hasFailed = true;
    failure = where + ": " + reason;
    WakeClients();
    if (server != nullptr) {
        server->Wake();
    }
    changed.notify_all();
}

void State::WakeClients() {
    for (const auto& [token, client] : clients) {
        if (client.role == Role::Listener && client.standing > 0) {
            real.shutdown(token);
        }
    }
}

bool State::HasInput(const Channel* channel) {
    const ClientSocket* client = channel == nullptr ? nullptr : ClientOf(*channel);
    return client != nullptr && !channel->sawEnd && (client->sent > channel->received || client->ends > 0);
}

bool State::IsAtRest() {
    if (hasFailed || isOver || server == nullptr) {
        return true;
    }
    if (!waits || (awaited.control && HasInput(control)) || (awaited.data && HasInput(data)) ||
        (awaited.told && told > 0) || (awaited.time && Now() >= *awaited.time)) {
        return false;
    }
    if (awaited.connectsTo != 0 &&
        static_cast<uint64>(ConnectionsTo(awaited.connectsTo)) > awaited.accepted) {
        return false;
    }
    if (awaited.full != nullptr) {
        const ClientSocket* client = ClientOf(*awaited.full);
        return client == nullptr ||
               (client->received == awaited.fullReceived && client->ends == awaited.fullEnds);
    }
    return true;
}

void State::Rest(std::unique_lock<std::mutex>& lock) {
    if (IsAtRest()) {
        return;
    }
    server->Wake(); // for what no descriptor tells
    if (!WaitBounded(changed, lock, [&] { return IsAtRest(); })) {
        Fail("the server does not come to rest");
    }
}

void State::RestBeforeLook(SocketToken token) {
    uint64 wanted = 0;
    bool hasEnded = false;
    {
        std::unique_lock lock(mutex);
        const auto client = clients.find(token);
        if (client == clients.end() || client->second.role != Role::Control) {
            return;
        }
        Rest(lock);
        const Channel* channel = ChannelOf(client->second);
        if (hasFailed || isOver || channel == nullptr) {
            return;
        }
        wanted = channel->sent - client->second.received;
        hasEnded = channel->finished;
    }
    if (wanted == 0) {
        if (hasEnded) {
            real.waitReadable(token); // the end is on its way
        }
        return;
    }
    wanted = std::min(wanted, kEnoughToLookAt);
    const auto end = std::chrono::steady_clock::now() + kHangLimit;
    uint32 there = 0;
    while (real.readable(token, &there) == 0 && there < wanted) {
        if (std::chrono::steady_clock::now() > end) {
            const std::lock_guard lock(mutex);
            Fail("what was said does not arrive at the client");
            return;
        }
        std::this_thread::yield();
    }
}

bool State::ReceiverWaits() {
    const ClientSocket* client = data == nullptr ? nullptr : ClientOf(*data);
    return client != nullptr && client->standing > 0 && client->received == data->sent && IsAtRest();
}

} // namespace vxcio::test::script
