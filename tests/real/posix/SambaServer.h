// SambaServer.h - a real Samba, started for one test in a folder of its own.
#pragma once

#include "real/posix/KeptServer.h"
#include "support/TempFolder.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio::test {

// What Samba's own programs make of a configuration, and a server on loopback and a port of its own. All that
// it keeps lies in the folder of the object. One thread at a time uses it.
class SambaServer {
public:
    SambaServer();
    ~SambaServer();
    SambaServer(const SambaServer&) = delete;
    SambaServer& operator=(const SambaServer&) = delete;

    // Empty when its programs are there and may be run, else why a test cannot have it.
    const std::string& Lack() const { return m_lack; }

    // The configuration, whose global section has what keeps this Samba apart from others; `text` goes on in
    // it. The computer is called "TOWER", the work group "STUDIO".
    void Configure(const std::string& text);
    std::string ConfigurationFile() const { return m_folder.Name("smb.conf"); }
    const TempFolder& Folder() const { return m_folder; }

    // "name=path" of each share that Samba's own reader takes from the configuration, in their order, without
    // those that are not available, whose path is none for everybody, and special sections. Throws
    // std::runtime_error where it refuses the configuration.
    std::vector<std::string> TestedShares() const;
    // Makes a share as users do.
    bool AddUserShare(const std::string& name, const std::string& path) const;

    // Runs a server with the configuration. Throws std::runtime_error where none starts.
    void Start();
    void Kill();
    // What is in a file of one of its shares, by a client over the network; empty where it is not served.
    std::string Fetch(const std::string& share, const std::string& file) const;
    // What the server said, for messages of failed tests.
    std::string Log() const;

private:
    bool StartAt(int port);

    TempFolder m_folder{TempFolder::Kind::Memory}; // short names: the server makes local sockets there
    std::string m_lack;
    int m_port = 0;
    std::unique_ptr<KeptServer> m_server;
};

} // namespace vxcio::test

// Ends the test as skipped, with the reason, where there is no Samba.
#define VXC_NEEDS_SAMBA(server)                                                                              \
    if (!(server).Lack().empty()) {                                                                          \
        GTEST_SKIP() << (server).Lack();                                                                     \
    }                                                                                                        \
    static_assert(true, "a semicolon follows")
