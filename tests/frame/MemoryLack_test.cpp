// What the classes of the ground do when memory lacks: each gives its own failure.
#include "frame/InnerSoftDataIO.h"
#include "frame/MD5Check.h"
#include "frame/SoftDataIO.h"
#include "frame/VXCString.h"
#include "support/MemoryLack.h"

#include <gtest/gtest.h>

#include <string>

using namespace vxcio;
using namespace vxcio::test;

namespace {

// With its inner object in the open.
class OpenIO : public CSoftDataIO {
public:
    CInnerSoftDataIO* Inner() const { return m_pInner; }
};

class Sink final : public CQLSoftDataSink {
public:
    uint32 OpenFile(const wchar_t*, uint32, uint32, uint32, void*) override { return 0; }
    uint32 CloseFile() override { return 0; }
    uint64 GetFileSize() override { return CQLSoftDataSink::GetFileSize(); }
    int64 Seek(int64, uint32) override { return 0; }
    int Write(const uint8*, uint32, uint32*) override { return 0; }
    int ReadBack(uint8*, uint32) override { return 0; }
};

} // namespace

TEST(SoftDataIOMemoryTest, WithoutAnInnerObjectEveryOperationGivesItsFailure) {
    const MemoryLack lack(1);
    OpenIO io;
    ASSERT_TRUE(lack.Came());
    ASSERT_EQ(io.Inner(), nullptr);
    EXPECT_EQ(io.EnableMD5_Check(1), 0);
    EXPECT_EQ(io.BeginMD5_Check(1), 0);
    EXPECT_EQ(io.StopMD5_Check(1), 0);
    uint8* digest = nullptr;
    int length = 3;
    EXPECT_EQ(io.GetMD5_check(1, digest, length), 0);
    EXPECT_EQ(length, 3);
    EXPECT_EQ(static_cast<uint32>(io.Connect(FTPMODE_NORMAL, L"host", L"user", L"password", 21, 0)),
              0x80000002u);
    EXPECT_EQ(io.SetPASVMode(1), 0);
    io.SetInfoCallBack(nullptr, nullptr);
    EXPECT_EQ(io.SetFindPath(L"a"), 0);
    EXPECT_EQ(io.FindNextFile1(nullptr), 0);
    EXPECT_EQ(io.FindFileClose(), 0);
    EXPECT_EQ(io.IsFileExist(L"a"), 0);
    EXPECT_EQ(io.DeleteFile1(L"a"), 0);
    EXPECT_EQ(io.RenameFile(L"a", L"b"), 0);
    EXPECT_EQ(io.MakeFolder(L"a"), 0);
    EXPECT_EQ(io.DeleteFolder(L"a"), 0);
    EXPECT_EQ(io.Close(), 0);
    PLUG_VIDEO_TYPE_ type{};
    uint32 number = 5;
    EXPECT_EQ(io.GetXDCAMMXFInfo(L"a", type, number, number, number, number), 0);
    EXPECT_EQ(number, 5u);
    EXPECT_EQ(io.GetXDCAMFreeSpace(), 0u);
    EXPECT_EQ(io.GetXInfo(L"a", ENUMIOInfo_TYPE{}, nullptr), 0);
}

TEST(SoftDataIOMemoryTest, CopiesOfSuchAnObjectAreSuchObjects) {
    const MemoryLack lack(1);
    const OpenIO bare;
    ASSERT_EQ(bare.Inner(), nullptr);
    OpenIO whole;
    ASSERT_NE(whole.Inner(), nullptr);
    OpenIO copy(bare);
    EXPECT_EQ(copy.Inner(), nullptr);
    copy = whole;
    EXPECT_EQ(copy.Inner(), whole.Inner());
    whole = bare;
    EXPECT_EQ(whole.Inner(), nullptr);
    EXPECT_NE(copy.Inner(), nullptr);
}

TEST(SoftDataIOMemoryTest, AScratchBufferThatLacksHasNoSize) {
    const MemoryLack lack(2);
    const OpenIO io;
    ASSERT_TRUE(lack.Came());
    ASSERT_NE(io.Inner(), nullptr);
    EXPECT_EQ(io.Inner()->m_pScratch, nullptr);
    EXPECT_EQ(io.Inner()->m_nScratchSize, 0);
}

TEST(SoftDataIOMemoryTest, ASinkWithoutAnInnerObjectIsHarmless) {
    const MemoryLack lack(1);
    Sink sink;
    ASSERT_TRUE(lack.Came());
    EXPECT_EQ(sink.GetFileSize(), 0u);
    EXPECT_EQ(sink.Close(), 0);
}

TEST(SoftDataIOMemoryTest, AnEnableThatFailsLeavesNoState) {
    OpenIO io;
    ASSERT_EQ(io.EnableMD5_Check(0), 1);
    ASSERT_EQ(io.BeginMD5_Check(0), 1);
    const MemoryLack lack(1);
    EXPECT_EQ(io.EnableMD5_Check(0), 0);
    ASSERT_TRUE(lack.Came());
    EXPECT_EQ(io.Inner()->MD5State(), nullptr) << "the former one is gone all the same";
    EXPECT_EQ(io.BeginMD5_Check(0), 1);
    EXPECT_EQ(io.Inner()->RunningMD5State(), nullptr);
}

TEST(MD5CheckMemoryTest, ACheckWithoutMemoryIsNone) {
    const MemoryLack lack(1);
    EXPECT_EQ(MD5Check::Make(), nullptr);
    EXPECT_TRUE(lack.Came());
}

TEST(VXCStringMemoryTest, WhereMemoryLacksTheResultIsEmpty) {
    const CVXCString clip(L"clip");
    {
        const MemoryLack lack(1);
        EXPECT_TRUE(CVXCString(L"clip").IsEmpty());
        EXPECT_TRUE(lack.Came());
    }
    {
        const MemoryLack lack(1);
        EXPECT_TRUE(CVXCString(clip).IsEmpty());
        EXPECT_TRUE(lack.Came());
    }
    {
        CVXCString string(L"clip");
        const MemoryLack lack(1);
        string += L".mxf";
        EXPECT_TRUE(lack.Came());
        EXPECT_STREQ(string.c_str(), L"");
        EXPECT_EQ(string.GetLength(), 0);
    }
    {
        CVXCString string(L"clip");
        const MemoryLack lack(1);
        string.InsertFront(L"my ");
        EXPECT_TRUE(lack.Came());
        EXPECT_STREQ(string.c_str(), L"");
        EXPECT_EQ(string.GetLength(), 0);
    }
    for (const int nth : {1, 2}) { // the work memory, the text
        CVXCString string(L"clip");
        const MemoryLack lack(nth);
        string.Format(L"%d", 5);
        EXPECT_TRUE(lack.Came());
        EXPECT_STREQ(string.c_str(), L"") << nth;
        EXPECT_EQ(string.GetLength(), 0);
    }
}
