#include "tool/OddFtpServer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <linux/sockios.h>
#include <mutex>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace vxcio::test {

namespace {

sockaddr_in AddressOf(const std::string& host, int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    ::inet_pton(AF_INET, host.c_str(), &address.sin_addr);
    return address;
}

// A listening socket on a port that the system chose.
int Listen(const std::string& host, int& port) {
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = AddressOf(host, 0);
    socklen_t size = sizeof address;
    if (listener < 0 || ::bind(listener, reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
        ::listen(listener, 16) != 0 ||
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        throw std::system_error(errno, std::generic_category(), "listen");
    }
    port = ntohs(address.sin_port);
    return listener;
}

bool SendAll(int socket, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t sent = ::send(socket, text.data() + done, text.size() - done, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(sent);
    }
    return true;
}

std::string ReceiveAll(int socket, std::size_t most) {
    std::string text;
    char block[65536];
    for (ssize_t got = 0; text.size() < most && (got = ::recv(socket, block, sizeof block, 0)) > 0;) {
        text.append(block, static_cast<std::size_t>(got));
    }
    return text;
}

// The other end first gets what is on its way, and then hears that the connection is no more.
void Reset(int socket) {
    for (int queued = 1; queued > 0 && ::ioctl(socket, SIOCOUTQ, &queued) == 0;) {
        std::this_thread::yield();
    }
    sockaddr nobody{};
    nobody.sa_family = AF_UNSPEC;
    ::connect(socket, &nobody, sizeof nobody);
}

std::string OwnName(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

} // namespace

struct OddFtpServer::State {
    Ways ways;
    int port = 0;
    int listener = -1;
    mutable std::mutex mutex;
    mutable std::condition_variable heard;
    std::vector<std::string> commands; // guarded by mutex, as is all of the files and sockets
    std::vector<int> sockets;
    bool stopping = false;
    int downloads = 0;
    std::vector<std::thread> threads; // of the accepting thread, until that has ended
    std::thread accepting;

    Ways WaysWithoutFiles() {
        const std::lock_guard lock(mutex);
        auto files = std::move(ways.files);
        Ways copy = ways;
        ways.files = std::move(files);
        return copy;
    }

    bool Keep(int socket) {
        if (socket < 0) {
            return false;
        }
        const std::lock_guard lock(mutex);
        sockets.push_back(socket);
        if (stopping) {
            ::shutdown(socket, SHUT_RDWR);
        }
        return true;
    }
    std::string List() const {
        const std::lock_guard lock(mutex);
        if (!ways.listing.empty()) {
            return ways.listing;
        }
        std::string text;
        for (const auto& [name, content] : ways.files) {
            std::string size = std::to_string(content.size());
            size.insert(0, 12 - std::min<std::size_t>(size.size(), 12), ' ');
            text += "-rw-r--r--   1 norvex   norvex " + size + " " + ways.listedTime + " " + name + "\r\n";
        }
        return text;
    }
};

namespace {

// One session.
class Session {
public:
    Session(OddFtpServer::State& state, int control)
        : m_State(state), m_Ways(state.WaysWithoutFiles()), m_Control(control) {}

    void Run() {
        Say("220 odd");
        for (std::string line; TakeLine(line) && Obey(line);) {
        }
        ::shutdown(m_Control, SHUT_RDWR);
    }

private:
    bool Say(const std::string& line) { return SendAll(m_Control, line + "\r\n"); }

    bool TakeLine(std::string& line) {
        while (m_Pending.find("\r\n") == std::string::npos) {
            char block[1024];
            const ssize_t got = ::recv(m_Control, block, sizeof block, 0);
            if (got <= 0) {
                return false;
            }
            m_Pending.append(block, static_cast<std::size_t>(got));
        }
        line = m_Pending.substr(0, m_Pending.find("\r\n"));
        m_Pending.erase(0, line.size() + 2);
        const std::lock_guard lock(m_State.mutex);
        m_State.commands.push_back(line);
        m_State.heard.notify_all();
        return true;
    }

    bool Obey(const std::string& line) {
        const std::string verb = line.substr(0, line.find(' '));
        const std::string path = verb.size() < line.size() ? line.substr(verb.size() + 1) : "";
        for (const std::string& key : {line, verb}) {
            const auto reply = m_Ways.replies.find(key);
            if (reply != m_Ways.replies.end()) {
                m_bSilent = m_bSilent || reply->second.empty();
                return m_bSilent || Say(reply->second);
            }
        }
        if (m_bSilent) {
            return true;
        }
        if (verb == "QUIT") {
            Say("221 bye");
            return false;
        }
        if (verb == "PASV" || verb == "PORT") {
            return verb == "PASV" ? OpenPassive() : TakePort(path);
        }
        if (Transfer(line, verb, path)) {
            return true;
        }
        std::string reply = Manage(verb, OwnName(path));
        const auto answer = m_Ways.answers.find(verb);
        if (answer != m_Ways.answers.end()) {
            reply = answer->second;
            m_bSilent = reply.empty();
        }
        return m_bSilent || Say(reply);
    }

    std::string Manage(const std::string& verb, const std::string& name) {
        const std::lock_guard lock(m_State.mutex);
        auto& files = m_State.ways.files;
        const bool isThere = files.find(name) != files.end();
        if (verb == "USER") {
            return "331 more";
        }
        if (verb == "CWD") {
            return isThere || name == "nowhere" ? "550 no folder" : "250 there";
        }
        if (verb == "SIZE") {
            return !m_Ways.tellsSizes ? "500 what"
                   : isThere          ? "213 " + std::to_string(files[name].size())
                                      : "550 none";
        }
        if (verb == "REST") {
            m_Rest = static_cast<std::size_t>(std::stoull(name));
            return "350 from there";
        }
        if (verb == "DELE") {
            return files.erase(name) > 0 ? "250 gone" : "550 none";
        }
        if (verb == "RNFR") {
            m_From = name;
            return isThere ? "350 to" : "550 none";
        }
        if (verb == "RNTO") {
            if (isThere && !m_Ways.replaces) {
                return "553 it is there";
            }
            files[name] = files[m_From];
            files.erase(m_From);
            return "250 renamed";
        }
        return verb == "PASS" ? "230 in" : "200 fine";
    }

    bool OpenPassive() {
        int port = 0;
        m_Passive = Listen(m_Ways.address, port);
        m_State.Keep(m_Passive);
        std::string host = m_Ways.address;
        std::replace(host.begin(), host.end(), '.', ',');
        return Say("227 (" + host + "," + std::to_string(port >> 8) + "," + std::to_string(port & 255) + ")");
    }
    // "127,0,0,1,4,1": there the next transfer goes.
    bool TakePort(const std::string& place) {
        const std::size_t low = place.rfind(',');
        const std::size_t high = place.rfind(',', low - 1);
        m_PortHost = place.substr(0, high);
        std::replace(m_PortHost.begin(), m_PortHost.end(), ',', '.');
        m_Port = std::stoi(place.substr(high + 1)) * 256 + std::stoi(place.substr(low + 1));
        return Say("200 there");
    }
    int OpenData() {
        if (m_Port == 0) {
            return ::accept4(std::exchange(m_Passive, -1), nullptr, nullptr, SOCK_CLOEXEC);
        }
        const int data = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in address = AddressOf(m_PortHost, std::exchange(m_Port, 0));
        return ::connect(data, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? data : -1;
    }

    // False for what is no transfer.
    bool Transfer(const std::string& line, const std::string& verb, const std::string& path) {
        const auto report = m_Ways.reports.find(line);
        const bool isReport = report != m_Ways.reports.end();
        if (verb != "RETR" && verb != "STOR" && verb != "APPE" && verb != "LIST" && !isReport) {
            return false;
        }
        std::string content = isReport ? report->second : m_State.List();
        if (verb == "RETR") {
            const std::lock_guard lock(m_State.mutex);
            const auto file = m_State.ways.files.find(OwnName(path));
            if (file == m_State.ways.files.end()) {
                return Say("550 none");
            }
            const bool isLater =
                m_State.downloads++ >= m_Ways.downloadsBefore && !m_Ways.laterContent.empty();
            content =
                (isLater ? m_Ways.laterContent : file->second).substr(std::min(m_Rest, file->second.size()));
        }
        m_Rest = 0;
        if (m_Passive < 0 && m_Port == 0) {
            return Say("425 no data connection");
        }
        Say("150 now");
        const int data = OpenData();
        if (!m_State.Keep(data)) {
            return Say("425 no data connection");
        }
        const bool isUpload = verb == "STOR" || verb == "APPE";
        const bool isGood = isUpload         ? Take(data, OwnName(path), verb == "APPE" && m_Ways.appends)
                            : verb == "LIST" ? SendListing(data, content)
                                             : SendFile(data, content);
        ::shutdown(data, SHUT_RDWR);
        m_bSilent = m_Ways.lastWord == "-";
        return m_bSilent || Say(!m_Ways.lastWord.empty() ? m_Ways.lastWord
                                : !isGood                ? "426 broken off"
                                : isUpload               ? "226 stored"
                                                         : "226 sent");
    }

    bool Take(int data, const std::string& name, bool appends) {
        char first = 0;
        if (m_Ways.beforeUpload != nullptr && ::recv(data, &first, 1, MSG_PEEK) > 0) {
            m_Ways.beforeUpload->Pass();
        }
        const std::string got = ReceiveAll(data, m_Ways.takesMost);
        const bool isWhole = got.size() < m_Ways.takesMost;
        if (!isWhole) {
            Reset(data);
        }
        const std::lock_guard lock(m_State.mutex);
        std::string& file = m_State.ways.files[name];
        file = (appends ? file : std::string()) + got.substr(0, m_Ways.keepsMost);
        return isWhole;
    }

    bool SendListing(int data, const std::string& listing) {
        const bool isWhole = listing.size() <= m_Ways.listsMost;
        const bool isSent = SendAll(data, listing.substr(0, m_Ways.listsMost));
        if (!isWhole) {
            Reset(data);
        }
        return isWhole && isSent;
    }

    bool SendFile(int data, const std::string& content) {
        const std::size_t size = std::min(content.size(), m_Ways.sendsMost);
        std::size_t start = 0;
        if (m_Ways.withinFile != nullptr && size > m_Ways.gateAt) {
            SendAll(data, content.substr(0, m_Ways.gateAt));
            m_Ways.withinFile->Pass();
            start = m_Ways.gateAt;
        }
        const bool isSent = SendAll(data, content.substr(start, size - start)) && size == content.size();
        if (!isSent && m_Ways.resetsFiles) {
            Reset(data);
        }
        return isSent;
    }

    OddFtpServer::State& m_State;
    const OddFtpServer::Ways m_Ways; // as they were when it began; the files are the server's
    const int m_Control;
    int m_Passive = -1;
    std::string m_PortHost;
    int m_Port = 0;
    std::size_t m_Rest = 0;
    std::string m_Pending;
    std::string m_From;
    bool m_bSilent = false;
};

} // namespace

OddFtpServer::OddFtpServer(Ways ways) : m_pState(std::make_shared<State>()) {
    m_pState->ways = std::move(ways);
    m_pState->listener = Listen(m_pState->ways.address, m_pState->port);
    m_pState->accepting = std::thread([state = m_pState.get()] {
        for (int control = 0; (control = ::accept4(state->listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
            state->Keep(control);
            state->threads.emplace_back([state, control] { Session(*state, control).Run(); });
        }
    });
}

OddFtpServer::~OddFtpServer() {
    for (Gate* const gate : {m_pState->ways.beforeUpload, m_pState->ways.withinFile}) {
        if (gate != nullptr) {
            gate->Open();
        }
    }
    ::shutdown(m_pState->listener, SHUT_RDWR);
    m_pState->accepting.join();
    {
        const std::lock_guard lock(m_pState->mutex);
        m_pState->stopping = true;
        for (const int socket : m_pState->sockets) {
            ::shutdown(socket, SHUT_RDWR);
        }
    }
    for (std::thread& thread : m_pState->threads) {
        thread.join();
    }
    for (const int socket : m_pState->sockets) {
        ::close(socket);
    }
    ::close(m_pState->listener);
}

std::string OddFtpServer::Url(const std::string& file) const {
    return "ftp://norvex:Ka%3Appe-77@" + m_pState->ways.address + ":" + std::to_string(m_pState->port) + "/" +
           file;
}

std::string OddFtpServer::Shown(const std::string& file) const {
    return "ftp://norvex@" + m_pState->ways.address + ":" + std::to_string(m_pState->port) + "/" + file;
}

std::map<std::string, std::string> OddFtpServer::Files() const {
    const std::lock_guard lock(m_pState->mutex);
    return m_pState->ways.files;
}

void OddFtpServer::Change(const std::string& file, const std::string& content) {
    const std::lock_guard lock(m_pState->mutex);
    m_pState->ways.files[file] = content;
}

void OddFtpServer::Change(const std::function<void(Ways&)>& change) {
    const std::lock_guard lock(m_pState->mutex);
    change(m_pState->ways);
}

std::vector<std::string> OddFtpServer::Commands() const {
    const std::lock_guard lock(m_pState->mutex);
    return m_pState->commands;
}

bool OddFtpServer::WaitFor(const std::string& command) const {
    std::unique_lock lock(m_pState->mutex);
    return m_pState->heard.wait_for(lock, std::chrono::seconds(20), [&] {
        return std::find(m_pState->commands.begin(), m_pState->commands.end(), command) !=
               m_pState->commands.end();
    });
}

} // namespace vxcio::test
