#include "real/posix/SambaServer.h"

#include "real/posix/LocalPorts.h"
#include "real/posix/ServerPrograms.h"
#include "support/posix/SystemTesting.h"
#include "tool/ToolProcess.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace vxcio::test {

namespace {

namespace fs = std::filesystem;

constexpr auto kStartLimit = std::chrono::seconds(20);
constexpr const char* kServer = "smbd";
constexpr const char* kReader = "testparm";
constexpr const char* kNet = "net";
constexpr const char* kClient = "smbclient";

constexpr const char* kFolders[] = {"private", "lock", "state", "cache", "pid", "rpc", "users"};

std::string Trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

} // namespace

SambaServer::SambaServer() {
    for (const char* program : {kServer, kReader, kNet, kClient}) {
        if (ServerProgram(program).empty()) {
            m_lack = std::string(program) + " is not installed";
        }
    }
    if (m_lack.empty() && ::geteuid() != 0) {
        m_lack = "Samba's server runs as root only";
    }
    for (const char* folder : kFolders) {
        fs::create_directory(m_folder.Path() / folder);
    }
    // As Samba wants it of the folder where users may put files.
    fs::permissions(m_folder.Path() / "users",
                    fs::perms::owner_all | fs::perms::group_all | fs::perms::sticky_bit);
    fs::permissions(m_folder.Path() / "rpc", fs::perms::owner_all | fs::perms::group_read |
                                                 fs::perms::group_exec | fs::perms::others_read |
                                                 fs::perms::others_exec);
    Configure("");
}

SambaServer::~SambaServer() = default;

void SambaServer::Configure(const std::string& text) {
    std::string global = "[global]\n"
                         "netbios name = TOWER\n"
                         "workgroup = STUDIO\n"
                         "server role = standalone server\n"
                         "interfaces = 127.0.0.1/8\n"
                         "bind interfaces only = yes\n"
                         "disable netbios = yes\n"
                         "load printers = no\n"
                         "printcap name = /dev/null\n"
                         "disable spoolss = yes\n"
                         "map to guest = Bad User\n"
                         "usershare max shares = 100\n"
                         "usershare allow guests = yes\n"
                         "usershare owner only = no\n";
    const auto add = [&](const char* name, const char* file) {
        global += std::string(name) + " = " + m_folder.Name(file) + "\n";
    };
    add("private dir", "private");
    add("lock directory", "lock");
    add("state directory", "state");
    add("cache directory", "cache");
    add("pid directory", "pid");
    add("ncalrpc dir", "rpc");
    add("usershare path", "users");
    add("log file", "samba.log");
    m_folder.Write("smb.conf", global + text);
}

std::vector<std::string> SambaServer::TestedShares() const {
    const Outcome outcome = RunProgram({ServerProgram(kReader), "-s", ConfigurationFile()});
    if (outcome.out.find('[') == std::string::npos) {
        throw std::runtime_error("the configuration is refused: " + outcome.error);
    }
    struct Section {
        std::string name;
        std::string path;
        bool isAvailable = true;
    };
    std::vector<Section> sections;
    std::istringstream lines(outcome.out);
    for (std::string line; std::getline(lines, line);) {
        line = Trimmed(line);
        const std::size_t equals = line.find('=');
        if (line.starts_with('[') && line.ends_with(']')) {
            // What the global section says of all is not said again.
            sections.push_back(sections.empty() ? Section() : sections.front());
            sections.back().name = line.substr(1, line.size() - 2);
        } else if (!sections.empty() && equals != std::string::npos) {
            const std::string name = Trimmed(line.substr(0, equals));
            const std::string value = Trimmed(line.substr(equals + 1));
            if (name == "path") {
                sections.back().path = value;
            } else if (name == "available") {
                sections.back().isAvailable = value != "No";
            }
        }
    }
    std::vector<std::string> shares;
    for (const Section& section : sections) {
        std::string path = section.path;
        // It shows values as they were written, and takes them without quotation marks at their ends.
        path.erase(0, path.find_first_not_of('"'));
        path.erase(path.find_last_not_of('"') + 1);
        const bool isSpecial = section.name == "global" || section.name == "homes" ||
                               section.name == "printers" || section.name == "print$";
        const bool isForAll = path.starts_with('/') && path.find('%') == std::string::npos;
        if (!isSpecial && isForAll && section.isAvailable) {
            shares.push_back(section.name + "=" + path);
        }
    }
    return shares;
}

bool SambaServer::AddUserShare(const std::string& name, const std::string& path) const {
    return RunQuietly({ServerProgram(kNet), "-s", ConfigurationFile(), "usershare", "add", name, path, "",
                       "S-1-1-0:F", "guest_ok=y"});
}

bool SambaServer::StartAt(int port) {
    m_port = port;
    m_server = std::make_unique<KeptServer>(
        m_folder.Name("log"),
        std::vector<std::string>{ServerProgram(kServer), "--foreground", "--no-process-group",
                                 "--debug-stdout", "-s", ConfigurationFile(), "-p", std::to_string(port)});
    const auto end = std::chrono::steady_clock::now() + kStartLimit;
    constexpr int kLook = 50; // to look for its death costs more than to call it
    for (int i = 1; std::chrono::steady_clock::now() < end && (i % kLook != 0 || m_server->IsRunning());
         ++i) {
        if (IsServedAt("127.0.0.1", port)) {
            return true;
        }
        // Nothing tells when another process has begun to listen.
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
    return false;
}

void SambaServer::Start() {
    for (int attempt = 0; !StartAt(FreePort(attempt)); ++attempt) {
        if (attempt == 3) {
            throw std::runtime_error("Samba does not start: " + Log());
        }
    }
}

void SambaServer::Kill() {
    m_server->Kill();
}

std::string SambaServer::Fetch(const std::string& share, const std::string& file) const {
    const std::string fetched = m_folder.Name("fetched");
    fs::remove(fetched);
    RunQuietly({ServerProgram(kClient), "-s", ConfigurationFile(), "-p", std::to_string(m_port), "-U",
                "guest%none", "//127.0.0.1/" + share, "-c", "get \"" + file + "\" \"" + fetched + "\""});
    return fs::exists(fetched) ? m_folder.Read("fetched") : "";
}

std::string SambaServer::Log() const {
    std::string log;
    for (const char* file : {"log", "samba.log"}) {
        if (fs::exists(m_folder.Name(file))) {
            log += m_folder.Read(file);
        }
    }
    return log;
}

} // namespace vxcio::test
