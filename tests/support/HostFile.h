// HostFile.h - the files behind a host table. Inner header of HostTable.
#pragma once

#include "frame/Types.h"

#include <filesystem>
#include <memory>
#include <vector>

namespace vxcio::test {

// Bytes that can be read and written at any place. One thread at a time.
class HostFile {
public:
    virtual ~HostFile() = default;

    // Moves what is there, at most `bytes`, and gives how much that was.
    virtual uint32 ReadAt(uint64 position, void* buffer, uint32 bytes) = 0;
    // Writes all; a gap before the position is filled with zeros. False when it can't.
    virtual bool WriteAt(uint64 position, const void* buffer, uint32 bytes) = 0;
    virtual bool Resize(uint64 size) = 0;
    virtual uint64 Size() = 0;
};

std::shared_ptr<HostFile> MakeMemoryFile(std::vector<uint8> content);
// A file of the disk, which need not be there yet; opened anew for each transfer.
std::shared_ptr<HostFile> MakeDiskFile(const std::filesystem::path& name);

} // namespace vxcio::test
