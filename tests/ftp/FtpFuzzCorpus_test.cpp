// The kept inputs of the fuzz programs for what FTP servers say, and each of them cut short: nothing that was
// found once comes back.
#include "fuzz/ListInput.h"
#include "fuzz/MxfHeaderInput.h"
#include "fuzz/ReplyLinesInput.h"
#include "fuzz/ReplyTextInput.h"

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

} // namespace

TEST(FtpFuzzCorpusTest, RepliesThatTheFuzzerFoundSayWhatTheySay) {
    Replay("fuzz_ftp_reply", vxcio::fuzz::FuzzFtpReply);
}

TEST(FtpFuzzCorpusTest, ListingsThatTheFuzzerFoundAreReadAsStepByStep) {
    Replay("fuzz_listing", vxcio::fuzz::FuzzListing);
}

TEST(FtpFuzzCorpusTest, LinesThatTheFuzzerFoundAreReadAsReplies) {
    Replay("fuzz_ftp_lines", vxcio::fuzz::FuzzFtpLines);
}

TEST(FtpFuzzCorpusTest, HeadersThatTheFuzzerFoundAreReadAsStepByStep) {
    Replay("fuzz_mxf_header", vxcio::fuzz::FuzzMxfHeader);
}
