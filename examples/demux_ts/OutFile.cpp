#include "OutFile.h"

#include <stdexcept>

OutFile::OutFile(const std::string& name) : m_name(name), m_file(std::fopen(name.c_str(), "wb")) {
    if (!m_file) {
        Fail();
    }
}

OutFile::~OutFile() {
    if (m_file) {
        m_file.reset();
        std::remove(m_name.c_str());
    }
}

void OutFile::Write(std::span<const unsigned char> bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), m_file.get()) != bytes.size()) {
        Fail();
    }
}

void OutFile::Keep() {
    if (std::fflush(m_file.get()) != 0) {
        Fail();
    }
    m_file.reset();
}

void OutFile::Fail() const {
    throw std::runtime_error(m_name + " cannot be written");
}
