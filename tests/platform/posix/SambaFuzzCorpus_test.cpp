// The kept inputs of the fuzz program for Samba's configuration, and each of them cut short: nothing that was
// found once comes back.
#include "fuzz/SambaInput.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

TEST(SambaFuzzCorpusTest, ConfigurationsThatTheFuzzerFoundAreRead) {
    int files = 0;
    const std::filesystem::path folder =
        std::filesystem::path(VXC_TEST_SOURCE_DIR) / "fuzz/corpus/fuzz_samba";
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        SCOPED_TRACE(file.path().filename().string());
        std::ifstream in(file.path(), std::ios::binary);
        const std::vector<char> content(std::istreambuf_iterator<char>(in), {});
        for (std::size_t length = content.size() + 1; length-- > 0;) {
            // Copied, so that each piece has memory of its exact size.
            const std::vector<std::uint8_t> piece(content.begin(),
                                                  content.begin() + static_cast<std::ptrdiff_t>(length));
            vxcio::fuzz::FuzzSamba(piece.data(), piece.size());
        }
        ++files;
    }
    EXPECT_GE(files, 10) << folder;
}
