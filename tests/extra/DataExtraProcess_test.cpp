#include "extra/DataExtraProcess.h"

#include "frame/SoftDataIO.h"
#include "frame/Status.h"
#include "support/LogCapture.h"
#include "support/MemoryLack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Writes down the MD5 operations that come through, with their arguments.
class RecordingIO final : public CSoftDataIO {
public:
    int EnableMD5_Check(uint32 reserved) override { return Note("enable", reserved); }
    int BeginMD5_Check(uint32 reserved) override { return Note("begin", reserved); }
    int StopMD5_Check(uint32 reserved) override { return Note("stop", reserved); }
    int GetMD5_check(uint32 type, uint8*& digest, int& length) override {
        Note("get", type);
        digest = m_digest;
        length = 16;
        return 21;
    }
    int Close() override { return Note("close", 0); }

    std::vector<std::string> calls;
    uint8 m_digest[16] = {};

private:
    int Note(const char* operation, uint32 argument) {
        calls.push_back(std::string(operation) + " " + std::to_string(argument));
        return 1;
    }
};

class DataExtraProcessTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_NE(m_extra, nullptr); }

    RecordingIO m_io;
    std::unique_ptr<CQLDataExtraProcess> m_extra{Construct_ExtraProcess()};
};

} // namespace

TEST_F(DataExtraProcessTest, EverythingIsOffAtFirst) {
    EXPECT_EQ(m_extra->IsEnabled(1), 0);
    EXPECT_EQ(m_extra->IsEnabled(2), 0);
    EXPECT_EQ(m_extra->IsEnabled(3), 0);
    EXPECT_EQ(m_extra->IsEnabled(0), 1) << "every one of no bits is on";
    EXPECT_EQ(m_extra->GetFileIO(), nullptr);
}

TEST_F(DataExtraProcessTest, TheCheckRunsFromSetFileIOToDisable) {
    EXPECT_EQ(m_extra->Enable(1), 0);
    EXPECT_THAT(m_io.calls, IsEmpty());
    EXPECT_EQ(m_extra->SetFileIO(&m_io), 0);
    EXPECT_THAT(m_io.calls, ElementsAre("enable 1", "begin 1"));
    EXPECT_EQ(m_extra->GetFileIO(), &m_io);

    unsigned char* digest = nullptr;
    int length = 0;
    EXPECT_EQ(m_extra->GetResult(1, digest, length), 21);
    EXPECT_EQ(digest, m_io.m_digest);
    EXPECT_EQ(length, 16);

    EXPECT_EQ(m_extra->Disable(1), 0);
    EXPECT_THAT(m_io.calls, ElementsAre("enable 1", "begin 1", "get 1", "stop 1"));
    EXPECT_EQ(m_extra->GetFileIO(), nullptr);
    EXPECT_EQ(m_extra->IsEnabled(1), 0);
}

TEST_F(DataExtraProcessTest, SetFileIOBeforeEnableStoresAndStartsNothing) {
    EXPECT_EQ(m_extra->SetFileIO(&m_io), 0);
    EXPECT_EQ(m_extra->Enable(1), 0);
    EXPECT_EQ(m_extra->GetFileIO(), &m_io);
    EXPECT_EQ(m_extra->IsEnabled(1), 1);
    EXPECT_THAT(m_io.calls, IsEmpty());
}

TEST_F(DataExtraProcessTest, EnableAgainChangesNothing) {
    EXPECT_EQ(m_extra->Enable(1), 0);
    m_extra->SetFileIO(&m_io);
    m_io.calls.clear();
    EXPECT_EQ(m_extra->Enable(1), 0);
    EXPECT_EQ(m_extra->IsEnabled(1), 1);
    EXPECT_EQ(m_extra->GetFileIO(), &m_io);
    EXPECT_THAT(m_io.calls, IsEmpty());
}

TEST_F(DataExtraProcessTest, NoBitsAndUnknownBitsDoNothing) {
    EXPECT_EQ(m_extra->Enable(0), 0);
    EXPECT_EQ(m_extra->Enable(4), 0);
    EXPECT_EQ(m_extra->IsEnabled(4), 0);
    EXPECT_EQ(m_extra->IsEnabled(1), 0);
    m_extra->Enable(1);
    m_extra->SetFileIO(&m_io);
    m_io.calls.clear();
    EXPECT_EQ(m_extra->Disable(0), 0);
    EXPECT_EQ(m_extra->Disable(4), 0);
    EXPECT_EQ(m_extra->IsEnabled(1), 1);
    EXPECT_EQ(m_extra->GetFileIO(), &m_io);
    EXPECT_THAT(m_io.calls, IsEmpty());
}

TEST_F(DataExtraProcessTest, NoObjectWithTheCheckOnIsAllowed) {
    m_extra->Enable(1);
    m_extra->SetFileIO(&m_io);
    EXPECT_EQ(m_extra->SetFileIO(nullptr), 0);
    EXPECT_EQ(m_extra->GetFileIO(), nullptr);
    EXPECT_THAT(m_io.calls, ElementsAre("enable 1", "begin 1"));
}

TEST_F(DataExtraProcessTest, DisableWithoutAnObjectFailsAndTheBitStays) {
    m_extra->Enable(1);
    EXPECT_EQ(m_extra->Disable(1), -1);
    EXPECT_EQ(m_extra->IsEnabled(1), 1);
    EXPECT_EQ(m_extra->Disable(3), -1);
}

TEST_F(DataExtraProcessTest, DisableStopsTheObjectEvenWhenTheBitIsOff) {
    m_extra->SetFileIO(&m_io);
    EXPECT_EQ(m_extra->Disable(1), 0);
    EXPECT_THAT(m_io.calls, ElementsAre("stop 1"));
    EXPECT_EQ(m_extra->GetFileIO(), nullptr);
}

TEST_F(DataExtraProcessTest, AResultWithoutAnObjectIsAStatusAndALine) {
    LogCapture log;
    unsigned char kept = 0;
    unsigned char* digest = &kept;
    int length = 7;
    m_extra->Enable(1);
    EXPECT_EQ(static_cast<uint32>(m_extra->GetResult(1, digest, length)), VXC_STATUS_NO_FILE_IO);
    EXPECT_EQ(digest, &kept);
    EXPECT_EQ(length, 7);
    EXPECT_THAT(log.Texts(), ElementsAre(L"In CQLDataExtraProcessImpl m_pFileIO  is VXC_NULL!"));
    EXPECT_EQ(log.Lines()[0].level, INFOTYPE_TRACE);
}

TEST_F(DataExtraProcessTest, AResultNeedsNoBit) {
    m_extra->SetFileIO(&m_io);
    unsigned char* digest = nullptr;
    int length = 0;
    EXPECT_EQ(m_extra->GetResult(1, digest, length), 21);
}

TEST_F(DataExtraProcessTest, OtherTypesGiveZeroAndDoNothing) {
    LogCapture log;
    unsigned char byte = 9;
    unsigned char* digest = nullptr;
    int length = 5;
    m_extra->SetFileIO(&m_io);
    for (const int type : {0, 2, 3, -1}) {
        EXPECT_EQ(m_extra->GetResult(type, digest, length), 0);
    }
    for (const int type : {0, 1, 3, -1}) {
        EXPECT_EQ(m_extra->SetDecryptKey(type, &byte, 1), 0);
        EXPECT_EQ(m_extra->SetDecryptMode(type, 1), 0);
        EXPECT_EQ(m_extra->Process(type, &byte, 1), 0);
    }
    EXPECT_EQ(digest, nullptr);
    EXPECT_EQ(length, 5);
    EXPECT_EQ(byte, 9);
    EXPECT_THAT(m_io.calls, IsEmpty());
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(DataExtraProcessTest, CloseEndsTheCheckOnce) {
    m_extra->Enable(1);
    m_extra->SetFileIO(&m_io);
    m_io.calls.clear();
    EXPECT_EQ(m_extra->Close(), 0);
    EXPECT_EQ(m_extra->Close(), 0);
    EXPECT_THAT(m_io.calls, ElementsAre("stop 1"));
    EXPECT_EQ(m_extra->IsEnabled(1), 0);
}

TEST_F(DataExtraProcessTest, CloseWithNoBitsOnDoesNothing) {
    m_extra->SetFileIO(&m_io);
    EXPECT_EQ(m_extra->Close(), 0);
    EXPECT_THAT(m_io.calls, IsEmpty());
    EXPECT_EQ(m_extra->GetFileIO(), &m_io);
}

TEST_F(DataExtraProcessTest, CloseWithoutAnObjectLeavesTheBitOn) {
    m_extra->Enable(1);
    EXPECT_EQ(m_extra->Close(), 0);
    EXPECT_EQ(m_extra->IsEnabled(1), 1);
}

TEST_F(DataExtraProcessTest, TheDestructorEndsTheCheck) {
    m_extra->Enable(1);
    m_extra->SetFileIO(&m_io);
    m_io.calls.clear();
    m_extra.reset();
    EXPECT_THAT(m_io.calls, ElementsAre("stop 1"));
}

TEST(DataExtraProcessMemoryTest, WhereMemoryLacksThereIsNoObject) {
    const MemoryLack lack(1);
    const std::unique_ptr<CQLDataExtraProcess> extra(Construct_ExtraProcess());
    EXPECT_TRUE(lack.Came());
    EXPECT_EQ(extra, nullptr);
}
