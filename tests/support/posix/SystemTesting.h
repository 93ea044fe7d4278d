// SystemTesting.h - Linux surroundings for tests: children, mounts, disks, descriptors.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace vxcio::test {

// Runs `body` in a child process, which ends with its result. The exit code, or 1000 and the signal that
// ended the child.
int RunInChild(const std::function<int()>& body);

// Runs a program, by its whole path. True when it ended with exit code 0.
bool RunQuietly(std::vector<std::string> words);

// The descriptor of this process that is open on this file, or -1.
int DescriptorOf(const std::string& path);

// A file system that is mounted on a folder for the scope's lifetime.
class MountScope {
public:
    MountScope(const std::string& source, const std::string& folder, const std::string& kind,
               const std::string& options, unsigned long flags = 0);
    ~MountScope();
    MountScope(const MountScope&) = delete;
    MountScope& operator=(const MountScope&) = delete;

    // False where this process may not mount.
    bool IsMounted() const { return m_isMounted; }

private:
    std::string m_folder;
    bool m_isMounted;
};

// A disk with sectors of the given size that lies in a file.
class LoopDisk {
public:
    LoopDisk(const std::string& file, unsigned sectorSize);
    ~LoopDisk();
    LoopDisk(const LoopDisk&) = delete;
    LoopDisk& operator=(const LoopDisk&) = delete;

    // "/dev/loop0"; empty where there are no such disks.
    const std::string& Name() const { return m_name; }

private:
    std::string m_name;
    int m_descriptor = -1;
};

} // namespace vxcio::test
