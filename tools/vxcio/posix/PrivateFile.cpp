#include "../Netrc.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vxcio::tool {

namespace {

constexpr std::size_t kMost = 1u << 20; // bytes; beyond that it is some other file

class Descriptor {
public:
    explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
    ~Descriptor() {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return m_descriptor; }

private:
    const int m_descriptor;
};

std::string ReasonAgainst(const struct stat& status) {
    if (!S_ISREG(status.st_mode)) {
        return "it is no ordinary file";
    }
    if (status.st_uid != ::geteuid() && status.st_uid != 0) {
        return "it belongs to another user";
    }
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        return "others may use it, too (chmod 600 makes it private)";
    }
    return {};
}

} // namespace

PrivateRead ReadPrivateFile(const std::string& file, std::string& text, std::string& reason) {
    text.clear();
    // A pipe would keep the open waiting.
    const Descriptor open(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (open.Get() < 0 || ::fstat(open.Get(), &status) != 0) {
        reason = std::strerror(errno);
        return errno == ENOENT ? PrivateRead::Missing : PrivateRead::Refused;
    }
    reason = ReasonAgainst(status);
    if (!reason.empty()) {
        return PrivateRead::Refused;
    }
    std::array<char, 4096> block{};
    while (text.size() <= kMost) {
        const ssize_t got = ::read(open.Get(), block.data(), block.size());
        if (got == 0) {
            return PrivateRead::Good;
        }
        if (got < 0 && errno != EINTR) {
            reason = std::strerror(errno);
            return PrivateRead::Refused;
        }
        text.append(block.data(), static_cast<std::size_t>(got < 0 ? 0 : got));
    }
    reason = "it is too large for a file of passwords";
    return PrivateRead::Refused;
}

} // namespace vxcio::tool
