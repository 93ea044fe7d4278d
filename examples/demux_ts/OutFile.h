// OutFile.h - a file that stays only when it was written to the end.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

class OutFile {
public:
    // Makes the file, or empties the one that is there. All throw std::runtime_error where it cannot be
    // written.
    explicit OutFile(const std::string& name);
    // Removes it unless Keep was called.
    ~OutFile();
    OutFile(const OutFile&) = delete;
    OutFile& operator=(const OutFile&) = delete;

    void Write(std::span<const unsigned char> bytes);
    void Keep();

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    [[noreturn]] void Fail() const;

    std::string m_name;
    std::unique_ptr<std::FILE, Close> m_file;
};
