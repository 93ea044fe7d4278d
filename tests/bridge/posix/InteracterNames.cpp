// What stands in shared memory for the objects of a channel.
#include "bridge/InteracterTesting.h"

#include <algorithm>
#include <filesystem>
#include <unistd.h>

namespace vxcio::test {

namespace {

// Ids of tests are plain letters and digits.
std::string Narrow(const std::wstring& text) {
    std::string narrow;
    for (const wchar_t c : text) {
        narrow += static_cast<char>(c);
    }
    return narrow;
}

} // namespace

std::vector<std::string> NamesOf(const std::wstring& id) {
    const std::string start = "vxc." + std::to_string(geteuid()) + "." + Narrow(id) + "_";
    std::vector<std::string> names;
    std::error_code error; // a file may go while it is looked at
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm", error)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(start)) {
            names.push_back(name.substr(start.size() - 1));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace vxcio::test
