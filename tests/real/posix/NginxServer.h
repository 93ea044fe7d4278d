// NginxServer.h - a real web server, started for one test in a folder of its own.
#pragma once

#include "real/posix/KeptServer.h"
#include "support/TempFolder.h"

#include <memory>
#include <string>
#include <string_view>

namespace vxcio::test {

// nginx on the loopback interface, by http and, with a certificate, by https on another port; it serves what
// a test writes. It accepts connections when the constructor returns, and is gone when the destructor does,
// or when the test process dies. One thread at a time uses it.
class NginxServer {
public:
    struct Setting {
        std::string location = {};    // directives for "/"
        std::string certificate = {}; // "good", or "old", which has expired; empty: no https
    };

    explicit NginxServer(const Setting& setting);
    NginxServer() : NginxServer(Setting()) {}
    NginxServer(const NginxServer&) = delete;
    NginxServer& operator=(const NginxServer&) = delete;

    // Empty when it runs, else why a test cannot have it.
    const std::string& Lack() const { return m_lack; }

    // Give what they have written.
    std::string WritePattern(std::string_view file, std::size_t bytes, uint32 seed) const;
    std::string Write(std::string_view file, std::string_view content) const;
    void WriteUsers(std::string_view lines) const; // for "auth_basic_user_file users"
    // "http://127.0.0.1:12000/file"; `user` with its password in front of the host, or empty. Both are put in
    // as they are, and so are those of the wide ones.
    std::string Address(const std::string& file, const std::string& user = {}) const;
    std::string SecureAddress(const std::string& file, const std::string& host = "127.0.0.1") const;
    std::wstring Url(const std::wstring& file, const std::wstring& user = {}) const;
    std::wstring SecureUrl(const std::wstring& file, const std::wstring& host = L"127.0.0.1") const;
    // The certificate that signs those of the server, and one that signs nothing here.
    std::string Authority() const { return m_folder.Name("ca.pem"); }
    std::string OtherAuthority() const { return m_folder.Name("other.pem"); }
    // Lines of the access log: "206 GET /clip 0-65535".
    std::string Log() const;

    // Ends it, and starts it again on the same ports.
    void Restart();

private:
    bool MakeCertificates() const;
    bool Start(int attempt);
    void Configure() const;
    bool Run();

    Setting m_setting;
    std::string m_program;
    TempFolder m_folder;
    std::string m_lack;
    int m_port = 0;
    std::unique_ptr<KeptServer> m_server;
};

} // namespace vxcio::test

// Ends the test as skipped, with the reason, where the server is not there.
#define VXC_NEEDS_NGINX(server)                                                                              \
    if (!(server).Lack().empty()) {                                                                          \
        GTEST_SKIP() << (server).Lack();                                                                     \
    }                                                                                                        \
    static_assert(true, "a semicolon follows")
