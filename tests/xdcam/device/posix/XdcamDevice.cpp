#include "xdcam/device/XdcamDevice.h"

#include "xdcam/device/ClipFolder.h"
#include "xdcam/device/posix/Session.h"
#include "xdcam/device/posix/Sockets.h"

#include <arpa/inet.h>
#include <atomic>
#include <exception>
#include <list>
#include <mutex>
#include <thread>
#include <utility>

namespace xdcam {

namespace {

constexpr std::size_t kMostSessions = 64;
constexpr std::size_t kMostLines = 100'000; // that are kept

} // namespace

class XdcamDevice::Sessions {
public:
    explicit Sessions(DeviceOptions options)
        : m_options(std::move(options)), m_troubles(m_options.troubles), m_folder(m_options.folder),
          m_listener(ListenAt(m_options.listen, m_options.port)),
          m_place{m_options,
                  m_folder,
                  m_ending,
                  [this](const std::string& command) { return TroubleOf(command); },
                  [this](const std::string& line) { OnHeard(line); },
                  [this](const std::string& reply) { OnSaid(reply); }},
          m_thread([this] { Accept(); }) {}

    ~Sessions() {
        m_ending.Begin();
        m_thread.join();
        for (Running& session : m_running) {
            session.thread.join();
        }
    }

    int Port() const { return ntohs(OwnAddress(m_listener).sin_port); }

    void Set(const std::string& command, Trouble trouble) {
        const std::lock_guard lock(m_mutex);
        m_troubles[command] = std::move(trouble);
    }

    std::vector<std::string> Lines() const {
        const std::lock_guard lock(m_mutex);
        return m_lines;
    }

private:
    struct Running {
        std::thread thread;
        std::atomic<bool> isOver = false;
    };

    void Accept() {
        for (;;) {
            Socket client = AcceptAt(m_listener, m_ending);
            if (!client.IsOpen()) {
                return;
            }
            m_running.remove_if([](Running& session) {
                const bool isOver = session.isOver;
                if (isOver) {
                    session.thread.join();
                }
                return isOver;
            });
            if (m_running.size() >= kMostSessions) {
                continue; // the connection goes again
            }
            Running& session = m_running.emplace_back();
            try {
                session.thread = std::thread([this, &session, socket = std::move(client)]() mutable {
                    Serve(std::move(socket));
                    session.isOver = true;
                });
            } catch (const std::exception&) {
                m_running.pop_back();
            }
        }
    }

    void Serve(Socket socket) {
        try {
            Session(std::move(socket), m_place).Run();
        } catch (const std::exception& failure) {
            OnSaid(std::string("a session has failed: ") + failure.what());
        }
    }

    Trouble TroubleOf(const std::string& command) const {
        const std::lock_guard lock(m_mutex);
        const auto found = m_troubles.find(command);
        return found == m_troubles.end() ? Trouble() : found->second;
    }

    void OnHeard(const std::string& line) {
        {
            const std::lock_guard lock(m_mutex);
            if (m_lines.size() < kMostLines) {
                m_lines.push_back(line);
            }
        }
        if (m_options.talk) {
            m_options.talk("> " + (line.starts_with("PASS ") ? "PASS ..." : line));
        }
    }

    void OnSaid(const std::string& reply) const {
        if (m_options.talk) {
            m_options.talk("< " + reply);
        }
    }

    const DeviceOptions m_options;
    mutable std::mutex m_mutex;
    Troubles m_troubles;              // guarded by m_mutex
    std::vector<std::string> m_lines; // guarded by m_mutex
    const ClipFolder m_folder;
    Ending m_ending;
    Socket m_listener;
    const SessionPlace m_place;
    std::list<Running> m_running; // the thread that accepts, and after its end the destructor
    std::thread m_thread;
};

XdcamDevice::XdcamDevice(DeviceOptions options)
    : m_pSessions(std::make_unique<Sessions>(std::move(options))) {}

XdcamDevice::~XdcamDevice() = default;

int XdcamDevice::Port() const {
    return m_pSessions->Port();
}

void XdcamDevice::Set(const std::string& command, Trouble trouble) {
    m_pSessions->Set(command, std::move(trouble));
}

std::vector<std::string> XdcamDevice::Lines() const {
    return m_pSessions->Lines();
}

} // namespace xdcam
