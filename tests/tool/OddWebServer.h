// OddWebServer.h - a web server of a test's own that keeps its files in memory, and does odd things.
#pragma once

#include "support/Gate.h"

#include <cstddef>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vxcio::test {

// HTTP/1.1 on loopback from construction to destruction; each connection has a thread. Gates of a test's
// outlive it, and are open in its end.
class OddWebServer {
public:
    static constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();
    struct Ways {
        std::map<std::string, std::string> files = {}; // by their path, "/clip.mxf"
        bool hasRanges = true;                         // else every answer is 200 and the whole file
        bool tellsSizes = true;                        // else the end of the connection is that of the file
        // What it answers to a path in place of doing it, the whole head without its last empty line.
        std::map<std::string, std::string> heads = {};
        // It holds so many bytes of a file for all there is: of what lies behind it sends nothing, and
        // closes.
        std::size_t sendsMost = kAll;
        int silentFrom = -1;        // from this request on, counted from 0, it reads and says nothing
        std::string authority = {}; // not empty: what the line "Authorization" must hold, else 401
        // It stands there before the body of each answer from this request on.
        Gate* beforeBody = nullptr;
        int gateFrom = 0;
    };

    explicit OddWebServer(Ways ways);
    ~OddWebServer();
    OddWebServer(const OddWebServer&) = delete;
    OddWebServer& operator=(const OddWebServer&) = delete;

    // "http://USER@127.0.0.1:PORT/clip.mxf", `user` with its password, or empty.
    std::string Url(const std::string& path, const std::string& user = {}) const;
    int Port() const;
    // Each request as "GET /clip.mxf bytes=0-65535".
    std::vector<std::string> Requests() const;
    // Waits until so many have come in; false where that takes too long.
    bool WaitForRequests(std::size_t count) const;
    void Change(const std::function<void(Ways&)>& change);

    struct State;

private:
    std::shared_ptr<State> m_pState;
};

} // namespace vxcio::test
