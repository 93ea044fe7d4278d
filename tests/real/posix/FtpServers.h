// FtpServers.h - real FTP servers, each started for one test in a folder of its own.
#pragma once

#include "real/posix/KeptServer.h"
#include "real/posix/SparseFile.h"
#include "support/TempFolder.h"

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio::test {

// A server on an address of this machine and a port of its own, with one user who may do everything in the
// folder "/files", which is empty at first; vsftpd wants a root folder in which the user may do nothing. It
// accepts connections when the constructor returns, and is gone with all its processes when the destructor
// does, or when the test process dies. One thread at a time uses it.
class FtpServer {
public:
    enum class Kind { Vsftpd, ProFtpd, PureFtpd, PyFtpdLib };
    static constexpr Kind kAll[] = {Kind::Vsftpd, Kind::ProFtpd, Kind::PureFtpd, Kind::PyFtpdLib};

    struct Setting {
        std::string address = "127.0.0.1";
        std::vector<std::string> entry = {}; // what the server is started by; empty: nothing
        int idleSeconds = 0;   // until a quiet session is ended by 421; 0: minutes, as always with Pure-FTPd
        unsigned owner = 0;    // number of Pure-FTPd's user and of its group; 0: one without a name
        int lingerSeconds = 0; // how long ProFTPD waits for the client's end of data; 0: as by default
    };

    explicit FtpServer(Kind kind) : FtpServer(kind, Setting()) {}
    FtpServer(Kind kind, const Setting& setting);
    ~FtpServer();
    FtpServer(const FtpServer&) = delete;
    FtpServer& operator=(const FtpServer&) = delete;

    // "Vsftpd", for names of tests.
    static std::string NameOf(Kind kind);

    // Empty when it runs, else why a test cannot have it.
    const std::string& Lack() const { return m_lack; }
    bool IsThere() const { return m_lack.empty(); }

    const std::string& Host() const { return m_setting.address; }
    int Port() const { return m_port; }
    const std::string& User() const { return m_user; }
    const std::string& Password() const { return m_password; }
    // The folder on the disk that a session sees as "/files", and the names of a file below it for a session.
    std::string Root() const { return m_folder.Name("root/files"); }
    std::string Path(std::string_view file) const { return "/files/" + std::string(file); }
    std::wstring WidePath(std::string_view file) const;
    // "ftp://127.0.0.1:12000/files/clip"; `file` is put in as it is.
    std::string Url(std::string_view file) const;

    // Files and folders of the session's user below Root(); missing folders above are made.
    void Write(std::string_view file, std::string_view content) const;
    void WritePattern(std::string_view file, std::size_t bytes, uint32 seed) const;
    SparseFile WriteSparse(std::string_view file, uint64 size) const;
    void MakeFolder(std::string_view folder) const;
    // What a test has put below Root() by itself becomes the session user's.
    void Own(std::string_view file) const;
    // What stands in a file below Root().
    std::string Read(std::string_view file) const;
    bool Has(std::string_view file) const;
    // Bytes; 0 where there is no such file.
    std::uintmax_t Size(std::string_view file) const;

    // What it said, for messages of failed tests.
    std::string Log() const;

    void Stop() { m_server->Stop(); }
    void Continue() { m_server->Continue(); }
    void Kill() { m_server->Kill(); }

private:
    std::string Prepare();
    std::vector<std::string> Command(int port) const;
    bool Start(int attempt);

    Kind m_kind;
    Setting m_setting;
    TempFolder m_folder;
    std::string m_user;
    std::string m_password = "Kappe-12";
    unsigned m_owner; // user and group number of what lies below Root()
    std::string m_program;
    std::string m_lack;
    int m_port = 0;
    std::unique_ptr<KeptServer> m_server;
};

std::ostream& operator<<(std::ostream& out, FtpServer::Kind kind);

} // namespace vxcio::test

// Ends the test as skipped, with the reason, where this server is not there.
#define VXC_NEEDS_FTP_SERVER(server)                                                                         \
    if (!(server).Lack().empty()) {                                                                          \
        GTEST_SKIP() << (server).Lack();                                                                     \
    }                                                                                                        \
    static_assert(true, "a semicolon follows")
