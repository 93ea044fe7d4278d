#include "tool/Nginx.h"

#include "real/posix/LocalPorts.h"

#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <filesystem>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace vxcio::test {

namespace {

constexpr auto kStartLimit = std::chrono::seconds(20);
constexpr int kAttempts = 4;

std::string Find() {
    for (const char* const program : {"/usr/sbin/nginx", "/usr/bin/nginx", "/usr/local/sbin/nginx"}) {
        if (::access(program, X_OK) == 0) {
            return program;
        }
    }
    return {};
}

bool Listens(int port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool isThere = ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(socket);
    return isThere;
}

} // namespace

Nginx::Nginx() {
    const std::string program = Find();
    if (program.empty()) {
        m_lack = "nginx is not installed";
        return;
    }
    std::filesystem::create_directories(m_folder.Path() / "files/closed");
    std::filesystem::create_directories(m_folder.Path() / "temp");
    m_folder.Write("users", std::string(kUser) + ":{PLAIN}" + kPassword + "\n");
    for (int attempt = 0; !Start(program, attempt); ++attempt) {
        if (attempt + 1 == kAttempts) {
            throw std::runtime_error("nginx does not start: " + m_folder.Read("log"));
        }
    }
}

// One process, which is what the keeper ends, and no other user: workers could not look into the folder.
bool Nginx::Start(const std::string& program, int attempt) {
    m_port = FreePort(attempt);
    const auto name = [this](const char* file) { return '"' + m_folder.Name(file) + '"'; };
    std::string temp;
    for (const char* const kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
        temp += std::string(kind) + "_temp_path " + name("temp") + ";\n";
    }
    m_folder.Write("nginx.conf", "daemon off;\nmaster_process off;\npid " + name("pid") + ";\nerror_log " +
                                     name("errors") + ";\nevents {}\nhttp {\naccess_log off;\n" + temp +
                                     "server {\nlisten 127.0.0.1:" + std::to_string(m_port) + ";\nroot " +
                                     name("files") + ";\nlocation /closed/ {\nauth_basic closed;\n" +
                                     "auth_basic_user_file " + name("users") + ";\n}\n}\n}\n");
    m_server = std::make_unique<KeptServer>(m_folder.Name("log"),
                                            std::vector<std::string>{program, "-p", m_folder.Path().string(),
                                                                     "-e", m_folder.Name("errors"), "-c",
                                                                     m_folder.Name("nginx.conf")});
    const auto end = std::chrono::steady_clock::now() + kStartLimit;
    while (std::chrono::steady_clock::now() < end && m_server->IsRunning()) {
        // The file is written when it listens, so that this port is not another server's.
        if (std::filesystem::exists(m_folder.Path() / "pid") && Listens(m_port)) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    m_server.reset();
    return false;
}

std::string Nginx::Url(const std::string& file, const std::string& user) const {
    return "http://" + user + (user.empty() ? "" : "@") + "127.0.0.1:" + std::to_string(m_port) + "/" + file;
}

std::string Nginx::Write(const std::string& file, const std::string& content) const {
    return m_folder.Write("files/" + file, content);
}

} // namespace vxcio::test
