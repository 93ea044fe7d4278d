#include "support/posix/SystemTesting.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <linux/loop.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vxcio::test {

int RunInChild(const std::function<int()>& body) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(body());
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

bool RunQuietly(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    pid_t child = 0;
    int status = -1;
    return ::posix_spawn(&child, arguments[0], nullptr, nullptr, arguments.data(), nullptr) == 0 &&
           ::waitpid(child, &status, 0) == child && status == 0;
}

int DescriptorOf(const std::string& path) {
    const std::filesystem::path wanted = std::filesystem::canonical(path);
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        if (std::filesystem::read_symlink(entry.path(), error) == wanted) {
            return std::stoi(entry.path().filename());
        }
    }
    return -1;
}

MountScope::MountScope(const std::string& source, const std::string& folder, const std::string& kind,
                       const std::string& options, unsigned long flags)
    : m_folder(folder),
      m_isMounted(::mount(source.c_str(), folder.c_str(), kind.c_str(), flags, options.c_str()) == 0) {}

MountScope::~MountScope() {
    if (m_isMounted) {
        ::umount2(m_folder.c_str(), MNT_DETACH);
    }
}

LoopDisk::LoopDisk(const std::string& file, unsigned sectorSize) {
    const int control = ::open("/dev/loop-control", O_RDWR | O_CLOEXEC);
    const int backing = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
    // Another process may take the free disk first.
    for (int attempt = 0; attempt < 10 && control >= 0 && backing >= 0 && m_descriptor < 0; ++attempt) {
        const int number = ::ioctl(control, LOOP_CTL_GET_FREE);
        m_name = "/dev/loop" + std::to_string(number);
        m_descriptor = number < 0 ? -1 : ::open(m_name.c_str(), O_RDWR | O_CLOEXEC);
        loop_config config{};
        config.fd = static_cast<__u32>(backing);
        config.block_size = sectorSize;
        config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
        if (m_descriptor >= 0 && ::ioctl(m_descriptor, LOOP_CONFIGURE, &config) != 0) {
            ::close(m_descriptor);
            m_descriptor = -1;
        }
    }
    ::close(backing);
    ::close(control);
    if (m_descriptor < 0) {
        m_name.clear();
    }
}

LoopDisk::~LoopDisk() {
    if (m_descriptor >= 0) {
        ::ioctl(m_descriptor, LOOP_CLR_FD);
        ::close(m_descriptor);
    }
}

LargeSectorDisk::LargeSectorDisk(const TempFolder& folder) {
    constexpr unsigned kSectorSize = 4096;
    constexpr std::uintmax_t kDiskSize = 48 << 20;
    const std::string image = folder.Write("image", "");
    std::filesystem::resize_file(image, kDiskSize);
    std::filesystem::create_directory(folder.Name("mounted"));
    m_disk.emplace(image, kSectorSize);
    if (m_disk->Name().empty()) {
        m_lack = "a disk in a file";
    } else if (!RunQuietly({"/sbin/mkfs.ext4", "-q", "-b", std::to_string(kSectorSize), m_disk->Name()})) {
        m_lack = "an ext4 file system on a disk in a file";
    } else if (!m_mount.emplace(m_disk->Name(), folder.Name("mounted"), "ext4", "").IsMounted()) {
        m_lack = "the right to mount";
    }
}

} // namespace vxcio::test
