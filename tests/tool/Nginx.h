// Nginx.h - a real web server of a test's own.
#pragma once

#include "real/posix/KeptServer.h"
#include "support/TempFolder.h"

#include <memory>
#include <string>

namespace vxcio::test {

// nginx on loopback, with a folder of its own, from construction to destruction. It asks for no rights, and
// for no name and password but below /closed/, where these are User and Password.
class Nginx {
public:
    static constexpr const char* kUser = "norvex";
    static constexpr const char* kPassword = "Kappe-77";

    // Throws std::runtime_error where it does not start; see Lack for one that is not installed.
    Nginx();

    // Why there is none; empty where there is one.
    const std::string& Lack() const { return m_lack; }
    // "http://127.0.0.1:PORT/file"; `user` with its password in front of the host, or empty.
    std::string Url(const std::string& file, const std::string& user = {}) const;
    // The files that it serves.
    std::string Write(const std::string& file, const std::string& content) const;

private:
    bool Start(const std::string& program, int attempt);

    TempFolder m_folder;
    std::string m_lack;
    int m_port = 0;
    std::unique_ptr<KeptServer> m_server;
};

} // namespace vxcio::test

// Skips a test where there is none.
#define VXC_NEEDS_NGINX(server)                                                                              \
    do {                                                                                                     \
        if (!(server).Lack().empty()) {                                                                      \
            GTEST_SKIP() << (server).Lack();                                                                 \
        }                                                                                                    \
    } while (false)
