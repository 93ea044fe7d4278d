#include "support/TempFolder.h"

#include "text/Utf8.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace vxcio::test {

namespace {

namespace fs = std::filesystem;

fs::path MakeFolder(TempFolder::Kind kind) {
    const fs::path parent =
        kind == TempFolder::Kind::Disk ? fs::path(VXC_TEST_PROGRAM_DIR) : fs::path("/dev/shm");
    std::string name = (parent / "vxc-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot make " + name);
    }
    return name;
}

// A folder without write permission keeps its entries, so they all become writable first.
void Unlock(const fs::path& folder) {
    std::error_code ignored;
    fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add, ignored);
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored)) {
        if (entry.is_directory(ignored) && !entry.is_symlink(ignored)) {
            Unlock(entry.path());
        }
    }
}

} // namespace

std::vector<uint8> Pattern(std::size_t bytes, uint32 seed) {
    std::vector<uint8> pattern(bytes);
    uint64 state = seed;
    for (std::size_t i = 0; i < bytes; i += 8) {
        // One step of splitmix64: good enough that no two blocks of a file look alike.
        state += 0x9E3779B97F4A7C15u;
        uint64 word = state;
        word = (word ^ (word >> 30)) * 0xBF58476D1CE4E5B9u;
        word = (word ^ (word >> 27)) * 0x94D049BB133111EBu;
        word ^= word >> 31;
        for (std::size_t k = 0; k < 8 && i + k < bytes; ++k) {
            pattern[i + k] = static_cast<uint8>(word >> (8 * k));
        }
    }
    return pattern;
}

TempFolder::TempFolder(Kind kind) : m_path(MakeFolder(kind)) {}

TempFolder::~TempFolder() {
    std::error_code ignored;
    Unlock(m_path);
    fs::remove_all(m_path, ignored);
}

std::string TempFolder::Name(std::string_view file) const {
    return (m_path / file).string();
}

std::wstring TempFolder::Wide(std::string_view file) const {
    return FromUtf8(Name(file));
}

std::string TempFolder::Write(std::string_view file, std::string_view content) const {
    const fs::path name = m_path / file;
    fs::create_directories(name.parent_path());
    std::ofstream out(name, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    if (!out) {
        throw std::runtime_error("cannot write " + name.string());
    }
    return name.string();
}

std::string TempFolder::WritePattern(std::string_view file, std::size_t bytes, uint32 seed) const {
    const std::vector<uint8> pattern = Pattern(bytes, seed);
    return Write(file, {reinterpret_cast<const char*>(pattern.data()), pattern.size()});
}

std::string TempFolder::Read(std::string_view file) const {
    std::ifstream in(m_path / file, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (!in.is_open() || in.bad()) {
        throw std::runtime_error("cannot read " + Name(file));
    }
    return content;
}

} // namespace vxcio::test
