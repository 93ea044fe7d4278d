// What only the array that is a source itself does: where its names come from, and the operations it lacks.
#include "sources/PullDataSourceArray.h"

#include "sources/ArrayFixture.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class PullDataSourceArrayTest : public ArrayFixture<PullArray> {
protected:
    uint32 OpenRecord(const SMoreFileToOpenEx& record) {
        disk.calls.clear();
        return array->OpenFile(nullptr, 0, L"not looked at", reinterpret_cast<std::uintptr_t>(&record));
    }
    std::vector<std::string> Opened() const {
        std::vector<std::string> names;
        for (const std::string& call : disk.calls) {
            const std::size_t from = call.find(".OpenFile(");
            if (from != std::string::npos) {
                names.push_back(call.substr(from + 10));
            }
        }
        return names;
    }
};

} // namespace

TEST_F(PullDataSourceArrayTest, ANameIsAListOfOne) {
    AddFile(100);
    SMoreFileToOpenEx record;
    record.AddFile(L"B", 0, nullptr, 0);
    const auto moreFiles = reinterpret_cast<std::uintptr_t>(&record);
    EXPECT_EQ(array->OpenFile(L"A", 5, nullptr, moreFiles), VXC_STATUS_OK);
    EXPECT_EQ(array->OpenFile(L"A", 6, L"", 0), VXC_STATUS_OK);
    EXPECT_EQ(array->OpenFile(L"A", 7, L"a2", 0), VXC_STATUS_OK);
    EXPECT_THAT(Opened(), ElementsAre("A,0x5)", "A*,0x6)", "A*a2,0x7)"));
    EXPECT_EQ(array->GetFileSize(), 100U);
    EXPECT_EQ(Look::File1(array->Sequence(), 0), L"A");
    EXPECT_EQ(Look::File2(array->Sequence(), 0), L"") << "a second name is only passed on";
}

TEST_F(PullDataSourceArrayTest, AStarInANameIsPartOfIt) {
    disk.files[L"A*a2"] = Pattern(5, 1);
    EXPECT_EQ(array->OpenFile(L"A*a2", 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_THAT(Opened(), ElementsAre("A*a2,0)"));
}

TEST_F(PullDataSourceArrayTest, WithoutANameOrARecordItOpensEmpty) {
    OpenSizes({10});
    EXPECT_EQ(array->OpenFile(nullptr, 0, L"second", 0), VXC_STATUS_OK);
    EXPECT_EQ(array->GetFileSize(), 0U);
    EXPECT_THAT(disk.sources, IsEmpty());
}

TEST_F(PullDataSourceArrayTest, ARecordGivesFilesAndSecondCopiesAndNoFlags) {
    AddFile(10);
    AddFile(20);
    SMoreFileToOpenEx record;
    record.AddFile(L"A", 0x10, L"a2", 0x11);
    record.AddFile(L"B", 0x12, L"b2", 0x13);
    EXPECT_EQ(OpenRecord(record), VXC_STATUS_OK);
    EXPECT_THAT(Opened(), ElementsAre("A*a2,0)", "B*b2,0)"));
    EXPECT_EQ(array->GetFileSize(), 30U);
}

TEST_F(PullDataSourceArrayTest, WhereNotEveryIndexHasASecondCopyNoneIsOpened) {
    AddFile(10);
    AddFile(20);
    SMoreFileToOpenEx record;
    record.AddFile(L"A", 0, nullptr, 0);
    record.AddFile(L"B", 0, L"b2", 0);
    EXPECT_EQ(OpenRecord(record), VXC_STATUS_OK);
    EXPECT_THAT(Opened(), ElementsAre("A,0)", "B,0)"));
    record.RemoveFile(1);
    EXPECT_EQ(OpenRecord(record), VXC_STATUS_OK);
    EXPECT_THAT(Opened(), ElementsAre("A*b2,0)")) << "the second copy of B stood at index 0";
}

TEST_F(PullDataSourceArrayTest, DigestAndRepeatDoNothing) {
    OpenSizes({10, 20});
    CSoftDataSource& source = *array;
    uint8 byte = 7;
    uint8* digest = &byte;
    int length = 5;
    EXPECT_EQ(source.GetMD5_check(1, digest, length), 0);
    EXPECT_EQ(digest, &byte);
    EXPECT_EQ(length, 5);
    EXPECT_EQ(source.SetReadRepeat(1), 0U);
    EXPECT_EQ(source.SetReadRepeat(0), 0U);
    uint32 number = 0;
    EXPECT_EQ(static_cast<uint32>(source.OpenXDCAMFtpMXF(L"clip", number, number, nullptr)), 0x80000002U);
    EXPECT_THAT(disk.calls, IsEmpty());
}

TEST_F(PullDataSourceArrayTest, StandsWhereASourceIsExpected) {
    OpenSizes({100, 50});
    CSoftDataSource& source = *array;
    EXPECT_EQ(source.GetFileSize(), 150U);
    EXPECT_EQ(source.Seek(10, 2), 140);
    EXPECT_EQ(source.Seek(-1, 1), -1);
    uint8 buffer[200] = {};
    EXPECT_EQ(source.Read(buffer, 200), 0);
    EXPECT_EQ(source.Seek(95, 1), 95);
    EXPECT_EQ(source.Read(buffer, 10), 10);
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
}

TEST(PullDataSourceArrayMemoryTest, WithoutItsSequenceEveryOperationGivesItsFailure) {
    const MemoryLack lack(3); // behind the inner object and its scratch buffer
    CPullDataSourceArray array;
    ASSERT_TRUE(lack.Came());
    ASSERT_EQ(PullDataSourceArrayInspector::Of(array), nullptr);
    uint8 byte = 7;
    uint8* data = &byte;
    EXPECT_EQ(array.OpenFile(L"A", 0, nullptr, 0), VXC_STATUS_NOT_AVAILABLE);
    array.EnablePreRead(512, 64);
    array.DisablePreRead();
    EXPECT_EQ(array.IsPreReadMode(), 0U);
    EXPECT_EQ(array.CanSeek(), 1);
    EXPECT_EQ(array.ReadAt(0, &data, 1), 0);
    EXPECT_EQ(array.ReadPtr(&data, 1), 0);
    EXPECT_EQ(array.Seek(5, 1), 0);
    EXPECT_EQ(array.Read(&byte, 1), 0);
    EXPECT_EQ(array.GetFileSize(), 0U);
    EXPECT_EQ(array.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(data, &byte);
    EXPECT_EQ(byte, 7);
}
