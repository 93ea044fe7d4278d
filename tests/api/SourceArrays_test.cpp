// The source arrays as a host uses them: made, opened over pieces of a clip, read, closed.
#include "module/VXCSoftCodecIO.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

using namespace vxcio::test;

namespace {

class PublicArraysTest : public ::testing::Test {
protected:
    PublicArraysTest() : clip(Pattern(10'000, 4)) {
        const std::string text(clip.begin(), clip.end());
        folder.Write("one", text.substr(0, 4000));
        folder.Write("two", text.substr(4000));
    }

    const TempFolder folder{TempFolder::Kind::Memory};
    const std::vector<uint8> clip;
    std::vector<uint8> buffer = std::vector<uint8>(10'000);
};

} // namespace

TEST_F(PublicArraysTest, AListOfNamesReadsAsOne) {
    const std::unique_ptr<CQLSoftDataSourceArray> array(ConstructDataSourceArray());
    ASSERT_NE(array, nullptr);
    CVXCStringArray list;
    ASSERT_TRUE(list.Add(folder.Wide("one").c_str()));
    ASSERT_EQ(array->OpenFiles(list, 0), VXC_STATUS_OK);
    EXPECT_EQ(array->GetFileSize(), 4000);
    ASSERT_TRUE(list.Add(folder.Wide("two").c_str()));
    ASSERT_EQ(array->AddFiles(list), VXC_STATUS_OK);
    EXPECT_EQ(array->GetFileSize(), 10'000);
    EXPECT_EQ(array->Read(buffer.data(), 10'000), 10'000);
    EXPECT_EQ(buffer, clip);
    EXPECT_EQ(array->Seek(3, 2), 9'997U);
    EXPECT_EQ(array->Read(buffer.data(), 10), 3);
    ASSERT_TRUE(list.Add(folder.Wide("missing").c_str()));
    EXPECT_EQ(array->AddFiles(list), VXC_STATUS_LIST);
    EXPECT_EQ(array->CloseFiles(), VXC_STATUS_OK);
}

TEST_F(PublicArraysTest, ARecordReadsAsASource) {
    SMoreFileToOpenEx record;
    record.AddFile(folder.Wide("one").c_str(), 0, nullptr, 0);
    record.AddFile(folder.Wide("two").c_str(), 0, nullptr, 0);
    const std::unique_ptr<CSoftDataSource> source = std::make_unique<CPullDataSourceArray>();
    ASSERT_EQ(source->OpenFile(nullptr, 0, nullptr, reinterpret_cast<std::uintptr_t>(&record)),
              VXC_STATUS_OK);
    EXPECT_EQ(source->GetFileSize(), 10'000U);
    EXPECT_EQ(source->Read(buffer.data(), 10'000), 10'000);
    EXPECT_EQ(buffer, clip);
    EXPECT_EQ(source->CloseFile(), VXC_STATUS_OK);
}
