// The kept inputs of the fuzz programs, and each of them cut short: nothing that was found once comes back.
#include "fuzz/RecordsInput.h"
#include "fuzz/ReplyInput.h"
#include "fuzz/SerializeInput.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

void Replay(const std::string& program, void (*function)(const std::uint8_t*, std::size_t)) {
    int files = 0;
    const std::filesystem::path folder = std::filesystem::path(VXC_TEST_SOURCE_DIR) / "fuzz/corpus" / program;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        SCOPED_TRACE(file.path().filename().string());
        std::ifstream in(file.path(), std::ios::binary);
        const std::vector<char> content(std::istreambuf_iterator<char>(in), {});
        std::vector<std::uint8_t> bytes(content.begin(), content.end());
        for (;;) {
            // Copied, so that each piece has memory of its exact size.
            const std::vector<std::uint8_t> piece(bytes);
            function(piece.data(), piece.size());
            if (bytes.empty()) {
                break;
            }
            bytes.pop_back();
        }
        ++files;
    }
    EXPECT_GE(files, 10) << folder;
}

} // namespace

TEST(FuzzCorpusTest, StreamsThatTheFuzzerFoundAreTheModels) {
    Replay("fuzz_serialize", vxcio::fuzz::FuzzSerialize);
}

TEST(FuzzCorpusTest, RecordsThatTheFuzzerFoundComeBackTheSame) {
    Replay("fuzz_records", vxcio::fuzz::FuzzRecords);
}

TEST(FuzzCorpusTest, RepliesThatTheFuzzerFoundAreReadForWhatTheyAre) {
    Replay("fuzz_reply", vxcio::fuzz::FuzzReply);
}
