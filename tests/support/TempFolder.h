// TempFolder.h - a folder of a test's own, and files with known content in it.
#pragma once

#include "frame/Types.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio::test {

// Bytes that look random but are the same for the same length and seed, on every machine. A longer pattern
// starts with the shorter one of its seed.
std::vector<uint8> Pattern(std::size_t bytes, uint32 seed);

// Made empty by the constructor, which throws std::system_error where it cannot; removed by the destructor
// with all that lies in it, read-only files and folders too. One thread at a time may use it. File names
// are taken as they are, relative to the folder.
class TempFolder {
public:
    enum class Kind {
        Disk,   // beside the test program, on a disk that takes unbuffered transfer
        Memory, // on a file system in memory
    };

    explicit TempFolder(Kind kind = Kind::Disk);
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::filesystem::path Path() const { return m_path; }

    // Whole name of a file of this folder, which need not be there; narrow (UTF-8) and wide.
    std::string Name(std::string_view file) const;
    std::wstring Wide(std::string_view file) const;

    // Writes the file anew and gives its whole name; missing folders above it are made. Throw
    // std::runtime_error where the file cannot be written.
    std::string Write(std::string_view file, std::string_view content) const;
    std::string WritePattern(std::string_view file, std::size_t bytes, uint32 seed) const;

    // What stands in a file of this folder; throws std::runtime_error where it cannot be read.
    std::string Read(std::string_view file) const;

private:
    std::filesystem::path m_path;
};

} // namespace vxcio::test
