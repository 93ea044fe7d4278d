#include "OutFile.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace {

namespace fs = std::filesystem;

// Without links and dots, also where the file itself is not there.
fs::path WholeName(const fs::path& name) {
    return fs::weakly_canonical(fs::absolute(name));
}

fs::path PartOf(fs::path name) {
    name += ".part";
    return name;
}

// By name, or as two names of one file.
bool IsSame(const fs::path& one, const fs::path& other) {
    std::error_code none;
    if (WholeName(one) == WholeName(other)) {
        return true;
    }
    return fs::exists(one, none) && fs::exists(other, none) && fs::equivalent(one, other, none);
}

} // namespace

void CheckNames(const std::string& input, const std::string& output, const std::string& other) {
    for (const std::string& name : {output, other}) {
        if (IsSame(input, name)) {
            throw std::runtime_error(name + " is the input");
        }
    }
    const fs::path one = WholeName(output);
    const fs::path two = WholeName(other);
    if (IsSame(one, two) || PartOf(one) == two || PartOf(two) == one) {
        throw std::runtime_error(output + " and " + other + " cannot both be written");
    }
}

OutFile::OutFile(const std::string& name)
    : m_name(name), m_target(WholeName(name)), m_part(PartOf(m_target)) {
    std::error_code none;
    if (fs::exists(m_target, none)) {
        // A device or a folder is not to be replaced, and neither is what is protected.
        if (!fs::is_regular_file(m_target, none)) {
            throw std::runtime_error(m_name + " is no file");
        }
        m_file.reset(std::fopen(m_target.string().c_str(), "r+b"));
        if (!m_file) {
            Fail(errno);
        }
    }
    m_file.reset(std::fopen(m_part.string().c_str(), "wbx"));
    if (!m_file) {
        const int reason = errno;
        if (reason == EEXIST) {
            throw std::runtime_error(m_name + ".part is there already");
        }
        Fail(reason);
    }
    m_hasPart = true;
}

OutFile::~OutFile() {
    m_file.reset();
    if (m_hasPart) {
        std::error_code none;
        fs::remove(m_part, none);
    }
}

void OutFile::Write(std::span<const unsigned char> bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), m_file.get()) != bytes.size()) {
        Fail(errno);
    }
}

void OutFile::Finish() {
    if (std::fflush(m_file.get()) != 0 || std::fclose(m_file.release()) != 0) {
        Fail(errno);
    }
}

void OutFile::Keep(std::span<OutFile> files) {
    for (OutFile& file : files) {
        file.Finish();
    }
    for (std::size_t i = 0; i < files.size(); ++i) {
        std::error_code error;
        fs::rename(files[i].m_part, files[i].m_target, error);
        if (error) {
            for (const OutFile& renamed : files.first(i)) {
                std::error_code none;
                fs::remove(renamed.m_target, none);
            }
            files[i].Fail(error.value());
        }
        files[i].m_hasPart = false;
    }
}

void OutFile::Fail(int reason) const {
    throw std::runtime_error(m_name + " cannot be written: " + std::generic_category().message(reason));
}
