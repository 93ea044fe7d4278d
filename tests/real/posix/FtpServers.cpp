#include "real/posix/FtpServers.h"

#include "real/posix/LocalPorts.h"
#include "real/posix/ServerPrograms.h"
#include "support/posix/SystemTesting.h"
#include "text/Utf8.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace vxcio::test {

namespace {

namespace fs = std::filesystem;

constexpr auto kStartLimit = std::chrono::seconds(20);
constexpr unsigned kNobody = 65534;
// An account of every Debian that is not root's and has a home folder, which vsftpd wants of its anonymous
// user.
constexpr const char* kAccount = "daemon";
constexpr unsigned kAccountNumber = 1;
// The hash of FtpServer's password as crypt(3) makes it by MD5.
constexpr const char* kPasswordHash = "$1$norvex$AX9TGJ2opNdkRGfWuZ5fL1";

} // namespace

std::string FtpServer::NameOf(Kind kind) {
    switch (kind) {
    case Kind::Vsftpd:
        return "Vsftpd";
    case Kind::ProFtpd:
        return "ProFtpd";
    case Kind::PureFtpd:
        return "PureFtpd";
    case Kind::PyFtpdLib:
        return "PyFtpdLib";
    }
    return {};
}

std::ostream& operator<<(std::ostream& out, FtpServer::Kind kind) {
    return out << FtpServer::NameOf(kind);
}

FtpServer::FtpServer(Kind kind, const Setting& setting) : m_kind(kind), m_setting(setting) {
    // The user of vsftpd is its anonymous one, who needs no account of this machine.
    m_user = kind == Kind::Vsftpd ? "anonymous" : "norvex";
    // Pure-FTPd shows names of owners; this one has none, so it shows the number.
    m_owner = kind == Kind::PureFtpd ? (m_setting.owner != 0 ? m_setting.owner : 5021)
              : kind == Kind::Vsftpd ? kAccountNumber
                                     : kNobody;
    fs::create_directories(Root());
    fs::permissions(m_folder.Path(), fs::perms::others_exec | fs::perms::group_exec, fs::perm_options::add);
    m_lack = Prepare();
    if (m_lack.empty()) {
        Own("");
        for (int attempt = 0; !Start(attempt); ++attempt) {
            if (attempt == 3) {
                throw std::runtime_error(NameOf(kind) + " does not start: " + Log());
            }
        }
    }
}

FtpServer::~FtpServer() = default;

bool FtpServer::Start(int attempt) {
    m_port = FreePort(attempt);
    std::vector<std::string> command = Command(m_port);
    command.insert(command.begin(), m_setting.entry.begin(), m_setting.entry.end());
    m_server = std::make_unique<KeptServer>(m_folder.Name("log"), command);
    const auto end = std::chrono::steady_clock::now() + kStartLimit;
    constexpr int kLook = 50; // to look for its death costs more than to call it
    for (int i = 1; std::chrono::steady_clock::now() < end && (i % kLook != 0 || m_server->IsRunning());
         ++i) {
        if (SaysThere(m_setting.address, m_port, "220", kStartLimit)) {
            return true;
        }
        // Nothing tells when another process has begun to listen.
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
    return false;
}

// What does not hang on the port. Gives what is missing.
std::string FtpServer::Prepare() {
    switch (m_kind) {
    case Kind::Vsftpd:
        m_program = ServerProgram("vsftpd");
        m_folder.Write("passwords", m_password + "\n");
        break;
    case Kind::ProFtpd: {
        m_program = ServerProgram("proftpd");
        const std::string users =
            m_folder.Write("users", m_user + ":" + kPasswordHash + ":65534:65534::" + m_folder.Name("root") +
                                        ":/bin/false\n");
        fs::permissions(users, fs::perms::owner_read | fs::perms::owner_write);
        break;
    }
    case Kind::PureFtpd: {
        m_program = ServerProgram("pure-ftpd");
        // By itself its tool makes a hash that takes seconds of work at each logon.
        const std::string owner = std::to_string(m_owner);
        const std::string users =
            m_folder.Write("users", m_user + ":" + kPasswordHash + ":" + owner + ":" + owner +
                                        "::" + m_folder.Name("root") + "/./::::::::::::\n");
        const std::string tool = ServerProgram("pure-pw");
        if (!tool.empty() && !RunQuietly({tool, "mkdb", m_folder.Name("users.pdb"), "-f", users})) {
            throw std::runtime_error("pure-pw makes no table of users");
        }
        break;
    }
    case Kind::PyFtpdLib:
        m_program = "/usr/bin/python3"; // the one that has Debian's packages
        if (!fs::exists("/usr/lib/python3/dist-packages/pyftpdlib")) {
            m_program.clear();
        }
        break;
    }
    if (m_program.empty()) {
        return NameOf(m_kind) + " is not installed";
    }
    if (::geteuid() != 0) {
        return NameOf(m_kind) + " wants to be started by root";
    }
    return {};
}

std::vector<std::string> FtpServer::Command(int port) const {
    const std::string address = m_setting.address;
    const std::string portText = std::to_string(port);
    const std::string idle = std::to_string(m_setting.idleSeconds);
    switch (m_kind) {
    case Kind::Vsftpd: {
        std::string text =
            "listen=YES\nlisten_ipv6=NO\nbackground=NO\nlisten_address=" + address +
            "\nlisten_port=" + portText +
            "\nanonymous_enable=YES\nlocal_enable=NO\nwrite_enable=YES\nanon_root=" + m_folder.Name("root") +
            "\nftp_username=" + kAccount +
            "\nanon_umask=022\nanon_upload_enable=YES\n"
            "anon_mkdir_write_enable=YES\nanon_other_write_enable=YES\n"
            "anon_world_readable_only=NO\nsecure_email_list_enable=YES\nemail_password_file=" +
            m_folder.Name("passwords") + "\nsecure_chroot_dir=" + m_folder.Name("empty") +
            "\npasv_enable=YES\npasv_address=" + address +
            "\nport_enable=YES\nconnect_from_port_20=NO\nseccomp_sandbox=NO\nisolate=NO\n"
            "isolate_network=NO\nxferlog_enable=NO\ndelay_failed_login=0\n";
        if (m_setting.idleSeconds > 0) {
            text += "idle_session_timeout=" + idle + "\n";
        }
        fs::create_directory(m_folder.Name("empty"));
        return {m_program, m_folder.Write("conf", text)};
    }
    case Kind::ProFtpd: {
        std::string text =
            "ServerName norvex\nServerType standalone\nUseIPv6 off\nUser nobody\nGroup nogroup\nUmask 022\n"
            "DefaultAddress " +
            address + "\nSocketBindTight on\nPort " + portText +
            "\nUseReverseDNS off\nAuthOrder mod_auth_file.c\nAuthUserFile \"" + m_folder.Name("users") +
            "\"\nRequireValidShell off\nDefaultRoot ~\nAllowOverwrite on\nAllowStoreRestart on\n"
            "AllowRetrieveRestart on\nPidFile \"" +
            m_folder.Name("pid") + "\"\nScoreboardFile \"" + m_folder.Name("scores") +
            "\"\nDelayEngine off\nWtmpLog off\nTransferLog none\nSystemLog \"" + m_folder.Name("log") +
            "\"\n";
        if (m_setting.idleSeconds > 0) {
            text += "TimeoutIdle " + idle + "\n";
        }
        if (m_setting.lingerSeconds > 0) {
            text += "TimeoutLinger " + std::to_string(m_setting.lingerSeconds) + "\n";
        }
        return {m_program, "-n", "-q", "-c", m_folder.Write("conf", text)};
    }
    case Kind::PureFtpd:
        return {m_program,
                "-S",
                address + "," + portText,
                "-l",
                "puredb:" + m_folder.Name("users.pdb"),
                "-E",
                "-A",
                "-4",
                "-H",
                "-b",
                "-f",
                "none",
                "-g",
                m_folder.Name("pid")};
    case Kind::PyFtpdLib:
        break;
    }
    return {m_program,
            "-W",
            "ignore",
            VXC_TEST_SOURCE_DIR "/tests/real/posix/program/ftp_server.py",
            address,
            portText,
            m_user,
            m_password,
            m_folder.Name("root"),
            idle};
}

std::wstring FtpServer::WidePath(std::string_view file) const {
    return FromUtf8(Path(file));
}

std::string FtpServer::Url(std::string_view file) const {
    return "ftp://" + Host() + ":" + std::to_string(m_port) + Path(file);
}

void FtpServer::Own(std::string_view file) const {
    const std::string name = Root() + "/" + std::string(file);
    if (::lchown(name.c_str(), m_owner, m_owner) != 0) {
        throw std::runtime_error("cannot give away " + name);
    }
}

void FtpServer::Write(std::string_view file, std::string_view content) const {
    m_folder.Write("root/files/" + std::string(file), content);
    // The folders that were made on the way, too.
    for (fs::path part = fs::path(file); !part.empty(); part = part.parent_path()) {
        Own(part.string());
    }
}

void FtpServer::WritePattern(std::string_view file, std::size_t bytes, uint32 seed) const {
    const std::vector<uint8> pattern = Pattern(bytes, seed);
    Write(file, {reinterpret_cast<const char*>(pattern.data()), pattern.size()});
}

SparseFile FtpServer::WriteSparse(std::string_view file, uint64 size) const {
    SparseFile sparse(m_folder, "root/files/" + std::string(file), size);
    Own(file);
    return sparse;
}

void FtpServer::MakeFolder(std::string_view folder) const {
    fs::create_directories(Root() + "/" + std::string(folder));
    Own(folder);
}

std::string FtpServer::Read(std::string_view file) const {
    return m_folder.Read("root/files/" + std::string(file));
}

bool FtpServer::Has(std::string_view file) const {
    return fs::exists(fs::symlink_status(Root() + "/" + std::string(file)));
}

std::uintmax_t FtpServer::Size(std::string_view file) const {
    std::error_code none;
    const std::uintmax_t size = fs::file_size(Root() + "/" + std::string(file), none);
    return none ? 0 : size;
}

std::string FtpServer::Log() const {
    std::ifstream file(m_folder.Name("log"));
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace vxcio::test
