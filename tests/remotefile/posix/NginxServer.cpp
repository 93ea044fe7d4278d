#include "remotefile/posix/NginxServer.h"

#include "real/posix/LocalPorts.h"

#include <arpa/inet.h>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace vxcio::test {

namespace {

constexpr auto kStartLimit = std::chrono::seconds(20);
constexpr const char* kProgram = "/usr/sbin/nginx";

bool IsListening(int port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool is = ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(socket);
    return is;
}

} // namespace

NginxServer::NginxServer(const Setting& setting) : m_setting(setting) {
    std::filesystem::create_directories(m_folder.Name("root"));
    if (::access(kProgram, X_OK) != 0) {
        m_lack = "nginx is not there";
        return;
    }
    if (!m_setting.certificate.empty() && !MakeCertificates()) {
        m_lack = "openssl is not there";
        return;
    }
    for (int attempt = 0; !Start(attempt); ++attempt) {
        if (attempt == 3) {
            throw std::runtime_error("nginx does not start: " + m_folder.Read("said"));
        }
    }
}

// An authority, one that nobody knows, and two certificates for the server: "good", and "old", which has
// expired.
bool NginxServer::MakeCertificates() const {
    const std::string key = "openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes ";
    const std::string sign =
        "openssl x509 -req -CA ca.pem -CAkey ca.key -CAcreateserial -copy_extensions copy ";
    const std::string names = "-addext subjectAltName=IP:127.0.0.1 ";
    const std::string all = "cd '" + m_folder.Path().string() + "' && { " + //
                            key + "-x509 -days 30 -subj '/CN=Tests' -keyout ca.key -out ca.pem && " + key +
                            "-x509 -days 30 -subj '/CN=Others' -keyout other.key -out other.pem && " + key +
                            names + "-subj '/CN=good' -keyout good.key -out good.csr && " + sign +
                            "-days 30 -in good.csr -out good.pem && " + key + names +
                            "-subj '/CN=old' -keyout old.key -out old.csr && " + sign +
                            "-days -1 -in old.csr -out old.pem; } >openssl.log 2>&1";
    return std::system(all.c_str()) == 0;
}

void NginxServer::Write(int port) const {
    const std::string folder = m_folder.Path().string();
    std::string text;
    if (::geteuid() == 0) {
        text += "user root;\n";
    }
    text += "worker_processes 2;\npid pid;\nerror_log error.log;\nevents {}\nhttp {\n"
            "  log_format ranges '$status $request_method $uri $http_range';\n"
            "  access_log access.log ranges;\n  keepalive_requests 100000;\n";
    for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
        text += std::string("  ") + kind + "_temp_path temp;\n";
    }
    text += "  server {\n    listen 127.0.0.1:" + std::to_string(port) + ";\n";
    if (!m_setting.certificate.empty()) {
        text += "    listen 127.0.0.1:" + std::to_string(port - 1) + " ssl;\n    ssl_certificate " + folder +
                "/" + m_setting.certificate + ".pem;\n    ssl_certificate_key " + folder + "/" +
                m_setting.certificate + ".key;\n";
    }
    text += "    location / {\n      root root;\n      " + m_setting.location + "\n    }\n  }\n}\n";
    m_folder.Write("nginx.conf", text);
}

bool NginxServer::Start(int attempt) {
    m_port = FreePort(attempt);
    Write(m_port);
    return Run();
}

bool NginxServer::Run() {
    const std::string folder = m_folder.Path().string();
    m_server = std::make_unique<KeptServer>(
        m_folder.Name("said"), std::vector<std::string>{kProgram, "-p", folder, "-e", folder + "/error.log",
                                                        "-c", folder + "/nginx.conf", "-g", "daemon off;"});
    const auto end = std::chrono::steady_clock::now() + kStartLimit;
    while (std::chrono::steady_clock::now() < end && m_server->IsRunning()) {
        if (IsListening(m_port)) {
            return true;
        }
        // Nothing tells when another process has begun to listen.
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
    return false;
}

void NginxServer::Restart() {
    m_server->Kill();
    m_server.reset();
    if (!Run()) {
        throw std::runtime_error("nginx does not start again: " + m_folder.Read("said"));
    }
}

std::string NginxServer::WritePattern(std::string_view file, std::size_t bytes, uint32 seed) const {
    m_folder.WritePattern("root/" + std::string(file), bytes, seed);
    const std::vector<uint8> pattern = Pattern(bytes, seed);
    return {pattern.begin(), pattern.end()};
}

void NginxServer::WriteUsers(std::string_view lines) const {
    m_folder.Write("users", lines);
}

std::wstring NginxServer::Url(const std::wstring& file, const std::wstring& user) const {
    return L"http://" + user + (user.empty() ? L"" : L"@") + L"127.0.0.1:" + std::to_wstring(m_port) + L"/" +
           file;
}

std::wstring NginxServer::SecureUrl(const std::wstring& file, const std::wstring& host) const {
    return L"https://" + host + L":" + std::to_wstring(m_port - 1) + L"/" + file;
}

std::string NginxServer::Log() const {
    return m_folder.Read("access.log");
}

} // namespace vxcio::test
