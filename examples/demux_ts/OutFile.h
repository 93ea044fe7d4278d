// OutFile.h - a file that gets its name only when it was written to the end.
#pragma once

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

class OutFile {
public:
    // Begins NAME.part, which must not be there yet. What NAME is stays until Keep; it must be a file that
    // may be written, or nothing. All throw std::runtime_error where that cannot be.
    explicit OutFile(const std::string& name);
    // Removes NAME.part, unless it was kept.
    ~OutFile();
    OutFile(const OutFile&) = delete;
    OutFile& operator=(const OutFile&) = delete;

    void Write(std::span<const unsigned char> bytes);
    // Closes all of them and then gives them their names, in place of what was there; a link stays a link. On
    // failure none of them is left under its name. Only where one fails in the renaming itself is what
    // earlier ones have replaced lost.
    static void Keep(std::span<OutFile> files);

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void Finish();
    [[noreturn]] void Fail(int reason) const;

    std::string m_name;
    std::filesystem::path m_target;
    std::filesystem::path m_part;
    bool m_hasPart = false;
    std::unique_ptr<std::FILE, Close> m_file;
};

// Throws std::runtime_error where the outputs are the input or each other, or one is where the other is
// written first. Names of files that are not there are taken as they would be.
void CheckNames(const std::string& input, const std::string& output, const std::string& other);
