// FuzzCorpus.h - the inputs that a fuzz program has found so far, for tests.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace vxcio::test {

// Gives `function` each file of the program's corpus, whole and cut short at each of its bytes.
template <class Function>
void ReplayCorpus(const std::string& program, Function function) {
    int files = 0;
    const std::filesystem::path folder = std::filesystem::path(VXC_TEST_SOURCE_DIR) / "fuzz/corpus" / program;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        SCOPED_TRACE(file.path().filename().string());
        std::ifstream in(file.path(), std::ios::binary);
        const std::vector<char> content(std::istreambuf_iterator<char>(in), {});
        for (std::size_t length = content.size() + 1; length-- > 0;) {
            // Copied, so that each piece has memory of its exact size.
            const std::vector<std::uint8_t> piece(content.begin(),
                                                  content.begin() + static_cast<std::ptrdiff_t>(length));
            function(piece.data(), piece.size());
        }
        ++files;
    }
    EXPECT_GE(files, 10) << folder;
}

} // namespace vxcio::test
