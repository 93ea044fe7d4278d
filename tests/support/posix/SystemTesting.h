// SystemTesting.h - Linux surroundings for tests: children, mounts, disks, descriptors.
#pragma once

#include "support/TempFolder.h"

#include <functional>
#include <optional>
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

// A disk with sectors of 4096 bytes that lies in the file "image" of a folder, with an ext4 file system that
// is mounted on "mounted" beside it.
class LargeSectorDisk {
public:
    explicit LargeSectorDisk(const TempFolder& folder);

    // Why it is not there: what this machine lacks. Null when it is.
    const char* Lack() const { return m_lack; }
    // The disk itself, "/dev/loop0".
    const std::string& Name() const { return m_disk->Name(); }

private:
    // In the order of their making; taken down from the last.
    std::optional<LoopDisk> m_disk;
    std::optional<MountScope> m_mount;
    const char* m_lack = nullptr;
};

} // namespace vxcio::test
