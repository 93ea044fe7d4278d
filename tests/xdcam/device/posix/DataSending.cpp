#include "xdcam/device/posix/DataSending.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <linux/sockios.h>
#include <optional>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <utility>
#include <vector>

namespace xdcam {

namespace {

constexpr std::size_t kBlock = 1 << 16;
constexpr int kArriveTries = 10'000; // of a millisecond each

class Sending {
public:
    Sending(Socket data, const Trouble& trouble, ControlLine& control, const Ending& ending)
        : m_data(std::move(data)), m_trouble(trouble), m_control(control), m_ending(ending) {}

    Sent Run(const DataReader& reader) {
        std::vector<char> buffer(kBlock);
        for (;;) {
            const std::uint64_t room = Room();
            if (room == 0) {
                const std::optional<Sent> end = AtLimit();
                if (end) {
                    return *end;
                }
                continue;
            }
            const std::size_t count =
                reader(buffer.data(), static_cast<std::size_t>(std::min<std::uint64_t>(room, kBlock)));
            if (count == 0) {
                return Sent::Whole;
            }
            if (const std::optional<Sent> end = Send(buffer.data(), count)) {
                return *end;
            }
        }
    }

private:
    // How many bytes may go until something happens.
    std::uint64_t Room() const {
        std::uint64_t limit = std::numeric_limits<std::uint64_t>::max();
        for (const std::optional<std::uint64_t>& at :
             {m_trouble.stallAfter, m_trouble.cutAfter, m_trouble.resetAfter}) {
            limit = std::min(limit, at.value_or(limit));
        }
        if (!m_bPaused && m_trouble.splitAfter) {
            limit = std::min(limit, *m_trouble.splitAfter);
        }
        return limit - m_qwSent;
    }

    // What happens here; none where it goes on.
    std::optional<Sent> AtLimit() {
        if (!m_bPaused && m_trouble.splitAfter == m_qwSent) {
            m_bPaused = true;
            return Pause(m_trouble.splitPause, m_ending) ? std::nullopt : std::optional(Sent::Ended);
        }
        if (m_trouble.resetAfter == m_qwSent) {
            Arrive();
            m_data.Reset();
        } else if (m_trouble.stallAfter == m_qwSent) {
            return Watch(0);
        }
        return Sent::Broken;
    }

    // Until what was sent is there: a reset would overtake it.
    void Arrive() {
        int waiting = 0;
        for (int i = 0; i < kArriveTries && ::ioctl(m_data.Descriptor(), SIOCOUTQ, &waiting) == 0 &&
                        waiting > 0 && Pause(std::chrono::milliseconds(1), m_ending);
             ++i) {
        }
    }

    // Until one of these events is there, in which case there is no result; or the end.
    std::optional<Sent> Watch(short events) {
        for (;;) {
            const short listen = m_control.IsListening() ? POLLIN : 0;
            std::array<pollfd, 3> ready{
                {{m_ending.Descriptor(), POLLIN, 0},
                 {m_data.Descriptor(), static_cast<short>(events | POLLRDHUP), 0},
                 {listen != 0 ? m_control.Connection().Descriptor() : -1, listen, 0}}};
            if (::poll(ready.data(), ready.size(), -1) < 0 && errno != EINTR) {
                return Sent::Ended;
            }
            if (ready[0].revents != 0) {
                return Sent::Ended;
            }
            if (ready[2].revents != 0) {
                const ControlLine::State state = m_control.Look();
                if (state != ControlLine::State::Quiet) {
                    return state == ControlLine::State::Abort ? Sent::Aborted : Sent::Ended;
                }
            }
            if ((ready[1].revents & (POLLRDHUP | POLLERR | POLLHUP)) != 0) {
                return Sent::Broken;
            }
            if ((ready[1].revents & events) != 0) {
                return std::nullopt;
            }
        }
    }

    std::optional<Sent> Send(const char* data, std::size_t bytes) {
        while (bytes > 0) {
            if (const std::optional<Sent> end = Watch(POLLOUT)) {
                return end;
            }
            const ssize_t count = ::send(m_data.Descriptor(), data, bytes, MSG_NOSIGNAL);
            if (count < 0 && errno != EAGAIN && errno != EINTR) {
                return Sent::Broken;
            }
            const auto sent = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
            data += sent;
            bytes -= sent;
            m_qwSent += sent;
        }
        return std::nullopt;
    }

    Socket m_data;
    const Trouble& m_trouble;
    ControlLine& m_control;
    const Ending& m_ending;
    std::uint64_t m_qwSent = 0;
    bool m_bPaused = false;
};

} // namespace

Sent SendData(Socket data, const DataReader& reader, const Trouble& trouble, ControlLine& control,
              const Ending& ending) {
    return Sending(std::move(data), trouble, control, ending).Run(reader);
}

} // namespace xdcam
