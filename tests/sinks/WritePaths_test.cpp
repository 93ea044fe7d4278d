// What all four ways of writing have in common.
#include "sinks/SinkFixture.h"
#include "support/SettingsScope.h"

#include <algorithm>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class WritePathsTest : public SinkFixture, public ::testing::WithParamInterface<WritePath> {};

INSTANTIATE_TEST_SUITE_P(Sinks, WritePathsTest, ::testing::ValuesIn(kWritePaths),
                         [](const auto& param) { return param.param.name; });

} // namespace

TEST_P(WritePathsTest, AFileThatIsPatchedAtItsHeadAndReadBack) {
    std::vector<uint8> content = Pattern(3'000'001, 1);
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    for (std::size_t at = 0; at < content.size(); at += 333'333) {
        const auto piece = Slice(content, at, std::min<std::size_t>(333'333, content.size() - at));
        ASSERT_EQ(Write(piece), static_cast<int>(piece.size()));
    }
    const std::vector<uint8> head = Pattern(1000, 2);
    std::copy(head.begin(), head.end(), content.begin() + 77);
    EXPECT_EQ(sink.Seek(77, 1), 77);
    EXPECT_EQ(Write(head), 1000);
    EXPECT_EQ(sink.Seek(70, 1), 70);
    EXPECT_EQ(ReadBack(2000), Slice(content, 70, 2000));
    EXPECT_EQ(sink.GetFileSize(), content.size());
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_TRUE(Content() == content);
}
