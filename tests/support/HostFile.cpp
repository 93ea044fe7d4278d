#include "support/HostFile.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <system_error>
#include <utility>

namespace vxcio::test {

namespace {

class MemoryFile : public HostFile {
public:
    explicit MemoryFile(std::vector<uint8> content) : m_content(std::move(content)) {}

    uint32 ReadAt(uint64 position, void* buffer, uint32 bytes) override {
        if (position >= m_content.size()) {
            return 0;
        }
        const auto count = static_cast<uint32>(std::min<uint64>(bytes, m_content.size() - position));
        std::memcpy(buffer, m_content.data() + position, count);
        return count;
    }

    bool WriteAt(uint64 position, const void* buffer, uint32 bytes) override {
        if (position + bytes > m_content.size()) {
            m_content.resize(position + bytes);
        }
        std::memcpy(m_content.data() + position, buffer, bytes);
        return true;
    }

    bool Resize(uint64 size) override {
        m_content.resize(size);
        return true;
    }

    uint64 Size() override { return m_content.size(); }

private:
    std::vector<uint8> m_content;
};

class DiskFile : public HostFile {
public:
    explicit DiskFile(std::filesystem::path name) : m_name(std::move(name)) {}

    uint32 ReadAt(uint64 position, void* buffer, uint32 bytes) override {
        std::ifstream in(m_name, std::ios::binary);
        in.seekg(static_cast<std::streamoff>(position));
        in.read(static_cast<char*>(buffer), static_cast<std::streamsize>(bytes));
        return static_cast<uint32>(in.gcount());
    }

    bool WriteAt(uint64 position, const void* buffer, uint32 bytes) override {
        if (!std::filesystem::exists(m_name)) {
            std::ofstream(m_name, std::ios::binary).close();
        }
        std::fstream out(m_name, std::ios::binary | std::ios::in | std::ios::out);
        out.seekp(static_cast<std::streamoff>(position));
        out.write(static_cast<const char*>(buffer), static_cast<std::streamsize>(bytes));
        out.close();
        return !out.fail();
    }

    bool Resize(uint64 size) override {
        std::error_code error;
        std::filesystem::resize_file(m_name, size, error);
        return !error;
    }

    uint64 Size() override {
        std::error_code error;
        const std::uintmax_t size = std::filesystem::file_size(m_name, error);
        return error ? 0 : size;
    }

private:
    const std::filesystem::path m_name;
};

} // namespace

std::shared_ptr<HostFile> MakeMemoryFile(std::vector<uint8> content) {
    return std::make_shared<MemoryFile>(std::move(content));
}

std::shared_ptr<HostFile> MakeDiskFile(const std::filesystem::path& name) {
    return std::make_shared<DiskFile>(name);
}

} // namespace vxcio::test
