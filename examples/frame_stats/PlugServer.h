// PlugServer.h - the plug-in server while this object lives, and the modules that it has loaded.
#pragma once

#include "ServerFacts.h"

#include "frame/Types.h"

#include <atomic>
#include <optional>
#include <string>

namespace frame_stats {

// One at a time in a process. Any thread may use it, one makes and ends it.
//
// A server that died or hangs is not noticed by the bridge: each call on it takes its whole time. So once a
// call has got no answer it is asked nothing more, not even to end: it does so by itself when its host has
// ended, and what the two shared goes with them.
class PlugServer {
public:
    // Throws PlugError where no server comes up; the log of the library tells why.
    PlugServer();
    // Stops the server. Ends channels and modules first.
    ~PlugServer();
    PlugServer(const PlugServer&) = delete;
    PlugServer& operator=(const PlugServer&) = delete;

    // False from the first call on that got no answer, and for a server that has ended.
    bool Answers() const;
    // Throws PlugError with Silence where it does not answer.
    void InsistOnAnswers() const;
    // To be told when a call got no answer, or when the server is not to be asked any more.
    void GiveUp() noexcept { m_givenUp = true; }
    // Why there was no answer, as a sentence.
    std::string Silence() const;

    // Nothing where the system does not show it.
    const std::optional<ServerFacts>& Facts() const noexcept { return m_facts; }

private:
    bool HasEnded() const;

    std::optional<ServerFacts> m_facts;
    std::atomic<bool> m_givenUp{false};
};

// A module in the server, until this object ends. The server outlives it.
class LoadedPlug {
public:
    // Throws PlugError, at once where the server is not to be asked any more.
    LoadedPlug(PlugServer& server, const std::wstring& path);
    ~LoadedPlug();
    LoadedPlug(const LoadedPlug&) = delete;
    LoadedPlug& operator=(const LoadedPlug&) = delete;

    uint64 Handle() const noexcept { return m_handle; }
    // Ends it ahead of time. Throws PlugError where the server does not agree, and at once where it is not to
    // be asked any more.
    void Free();

private:
    PlugServer& m_server;
    uint64 m_handle = 0;
};

} // namespace frame_stats
