// The kept inputs of the server's fuzz program, each of them cut short, and some of every kind.
#include "fuzz/RequestInput.h"

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

namespace {

using Input = std::vector<std::uint8_t>;

std::vector<Input> Kept() {
    std::vector<Input> inputs;
    const auto folder = std::filesystem::path(VXC_TEST_SOURCE_DIR) / "fuzz/corpus/fuzz_request";
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        std::ifstream in(file.path(), std::ios::binary);
        const std::vector<char> content(std::istreambuf_iterator<char>(in), {});
        inputs.emplace_back(content.begin(), content.end());
    }
    return inputs;
}

} // namespace

// The function itself ends the process where an answer is not whole.
TEST(RequestCorpusTest, EveryKeptRequestIsAnsweredWholeHoweverItIsCut) {
    const vxcio::test::LogCapture log;
    const std::vector<Input> inputs = Kept();
    EXPECT_GE(inputs.size(), 10u);
    for (const Input& input : inputs) {
        for (std::size_t length = input.size();; --length) {
            const Input piece(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(length));
            vxcio::fuzz::FuzzRequest(piece.data(), piece.size());
            if (length == 0) {
                break;
            }
        }
    }
}

TEST(RequestCorpusTest, ChangedRequestsAreAnsweredWhole) {
    const vxcio::test::LogCapture log;
    std::mt19937 random(20);
    const std::vector<Input> inputs = Kept();
    ASSERT_FALSE(inputs.empty());
    for (int round = 0; round < 3000; ++round) {
        Input input = inputs[random() % inputs.size()];
        for (std::size_t changes = 1 + random() % 4; changes > 0 && !input.empty(); --changes) {
            input[random() % input.size()] = static_cast<std::uint8_t>(random());
        }
        vxcio::fuzz::FuzzRequest(input.data(), input.size());
    }
}
