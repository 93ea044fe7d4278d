#include "real/posix/NginxServer.h"

#include "real/posix/LocalPorts.h"
#include "real/posix/ServerPrograms.h"
#include "text/Utf8.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <unistd.h>
#include <vector>

namespace vxcio::test {

namespace {

constexpr auto kStartLimit = std::chrono::seconds(20);
constexpr const char* kHost = "127.0.0.1";

} // namespace

NginxServer::NginxServer(const Setting& setting) : m_setting(setting), m_program(ServerProgram("nginx")) {
    std::filesystem::create_directories(m_folder.Name("root"));
    if (m_program.empty()) {
        m_lack = "nginx is not installed";
        return;
    }
    if (!m_setting.certificate.empty() && !MakeCertificates()) {
        m_lack = "openssl makes no certificates: " + m_folder.Read("openssl.log");
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

void NginxServer::Configure() const {
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
    text += "  server {\n    listen 127.0.0.1:" + std::to_string(m_port) + ";\n";
    if (!m_setting.certificate.empty()) {
        text += "    listen 127.0.0.1:" + std::to_string(m_port - 1) + " ssl;\n    ssl_certificate " +
                folder + "/" + m_setting.certificate + ".pem;\n    ssl_certificate_key " + folder + "/" +
                m_setting.certificate + ".key;\n";
    }
    text += "    location / {\n      root root;\n      " + m_setting.location + "\n    }\n  }\n}\n";
    m_folder.Write("nginx.conf", text);
}

bool NginxServer::Start(int attempt) {
    m_port = FreePort(attempt);
    Configure();
    return Run();
}

bool NginxServer::Run() {
    const std::string folder = m_folder.Path().string();
    std::filesystem::remove(folder + "/pid");
    m_server = std::make_unique<KeptServer>(
        m_folder.Name("said"), std::vector<std::string>{m_program, "-p", folder, "-e", folder + "/error.log",
                                                        "-c", folder + "/nginx.conf", "-g", "daemon off;"});
    const auto end = std::chrono::steady_clock::now() + kStartLimit;
    while (std::chrono::steady_clock::now() < end && m_server->IsRunning()) {
        // It writes that file when it listens, so that this port is not another server's.
        if (std::filesystem::exists(folder + "/pid") && IsServedAt(kHost, m_port)) {
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

std::string NginxServer::Write(std::string_view file, std::string_view content) const {
    m_folder.Write("root/" + std::string(file), content);
    return std::string(content);
}

std::string NginxServer::Address(const std::string& file, const std::string& user) const {
    return "http://" + user + (user.empty() ? "" : "@") + kHost + ":" + std::to_string(m_port) + "/" + file;
}

std::string NginxServer::SecureAddress(const std::string& file, const std::string& host) const {
    return "https://" + host + ":" + std::to_string(m_port - 1) + "/" + file;
}

std::wstring NginxServer::Url(const std::wstring& file, const std::wstring& user) const {
    return FromUtf8(Address(ToUtf8(file), ToUtf8(user)));
}

std::wstring NginxServer::SecureUrl(const std::wstring& file, const std::wstring& host) const {
    return FromUtf8(SecureAddress(ToUtf8(file), ToUtf8(host)));
}

std::string NginxServer::Log() const {
    return m_folder.Read("access.log");
}

} // namespace vxcio::test
