// The order of the virtual operations is what plug-ins were compiled against, so it is checked here, beside
// what the base classes do by themselves.
#include "frame/SoftDataIO.h"

#include "frame/InnerSoftDataIO.h"
#include "frame/Status.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

// The least that is a source, with its inner object in the open.
class BareSource : public CSoftDataSource {
public:
    int GetMD5_check(uint32, uint8*&, int&) override { return 0; }
    uint32 OpenFile(const wchar_t*, uint32, const wchar_t*, uint64) override { return 0; }
    uint32 CloseFile() override { return 0; }
    uint32 SetReadRepeat(uint32) override { return 0; }
    void EnablePreRead(int, int) override {}
    void DisablePreRead() override {}
    uint32 IsPreReadMode() override { return 0; }
    int CanSeek() override { return 0; }
    int ReadAt(uint64, uint8**, int) override { return 0; }
    int ReadPtr(uint8**, int) override { return 0; }
    int64 Seek(int64, uint32) override { return 0; }
    int Read(uint8*, uint32) override { return 0; }
    uint64 GetFileSize() override { return CSoftDataSource::GetFileSize(); }
    CInnerSoftDataIO& Inner() { return *m_pInner; }
};

template <class Base>
class BareSink : public Base {
public:
    uint32 CloseFile() override { return 0; }
    uint64 GetFileSize() override { return Base::GetFileSize(); }
    int64 Seek(int64, uint32) override { return 0; }
    int Write(const uint8*, uint32, uint32*) override { return 0; }
    int ReadBack(uint8*, uint32) override { return 0; }
};
class Sink final : public BareSink<CQLSoftDataSink> {
    uint32 OpenFile(const wchar_t*, uint32, uint32, uint32, void*) override { return 0; }
};
class SinkEx1 final : public BareSink<CQLSoftDataSinkEx1> {
    uint32 OpenFile(const wchar_t*, uint32, uint32, uint32, uint32, uint32, uint32, uint32, uint32,
                    void*) override {
        return 0;
    }
};

#if defined(__GXX_ABI_VERSION)
// Where a pointer to a virtual operation holds the offset of its slot: the slot's number. The destructor
// takes the first two.
template <class Operation>
std::size_t Slot(Operation operation) {
    std::uintptr_t parts[2] = {};
    static_assert(sizeof operation == sizeof parts);
    std::memcpy(parts, &operation, sizeof parts);
    return (parts[0] - 1) / sizeof(void*);
}

TEST(SoftDataIOTest, VirtualOperationsStandInTheirOrder) {
    const std::vector<std::size_t> slots = {Slot(&CSoftDataIO::EnableMD5_Check),
                                            Slot(&CSoftDataIO::BeginMD5_Check),
                                            Slot(&CSoftDataIO::StopMD5_Check),
                                            Slot(&CSoftDataIO::GetMD5_check),
                                            Slot(&CSoftDataIO::Connect),
                                            Slot(&CSoftDataIO::SetPASVMode),
                                            Slot(&CSoftDataIO::SetInfoCallBack),
                                            Slot(&CSoftDataIO::SetFindPath),
                                            Slot(&CSoftDataIO::FindNextFile1),
                                            Slot(&CSoftDataIO::FindFileClose),
                                            Slot(&CSoftDataIO::IsFileExist),
                                            Slot(&CSoftDataIO::DeleteFile1),
                                            Slot(&CSoftDataIO::RenameFile),
                                            Slot(&CSoftDataIO::MakeFolder),
                                            Slot(&CSoftDataIO::DeleteFolder),
                                            Slot(&CSoftDataIO::Close),
                                            Slot(&CSoftDataIO::GetXDCAMMXFInfo),
                                            Slot(&CSoftDataIO::GetXDCAMFreeSpace),
                                            Slot(&CSoftDataIO::GetXInfo),
                                            Slot(&CSoftDataSource::OpenFile),
                                            Slot(&CSoftDataSource::OpenXDCAMFtpMXF),
                                            Slot(&CSoftDataSource::CloseFile),
                                            Slot(&CSoftDataSource::SetReadRepeat),
                                            Slot(&CSoftDataSource::EnablePreRead),
                                            Slot(&CSoftDataSource::DisablePreRead),
                                            Slot(&CSoftDataSource::IsPreReadMode),
                                            Slot(&CSoftDataSource::CanSeek),
                                            Slot(&CSoftDataSource::ReadAt),
                                            Slot(&CSoftDataSource::ReadPtr),
                                            Slot(&CSoftDataSource::Seek),
                                            Slot(&CSoftDataSource::Read),
                                            Slot(&CSoftDataSource::GetFileSize)};
    for (std::size_t i = 0; i < slots.size(); ++i) {
        EXPECT_EQ(slots[i], i + 2) << "operation " << i;
    }
    EXPECT_EQ(Slot(&CQLSoftDataSink::OpenFile), 21U);
    EXPECT_EQ(Slot(&CQLSoftDataSink::CloseFile), 22U);
    EXPECT_EQ(Slot(&CQLSoftDataSink::GetFileSize), 23U);
    EXPECT_EQ(Slot(&CQLSoftDataSink::Seek), 24U);
    EXPECT_EQ(Slot(&CQLSoftDataSink::Write), 25U);
    EXPECT_EQ(Slot(&CQLSoftDataSink::ReadBack), 26U);
    EXPECT_EQ(Slot(&CQLSoftDataSinkEx1::OpenFile), 21U);
    EXPECT_EQ(Slot(&CQLSoftDataSinkEx1::CloseFile), 22U);
    EXPECT_EQ(Slot(&CQLSoftDataSinkEx1::GetFileSize), 23U);
    EXPECT_EQ(Slot(&CQLSoftDataSinkEx1::Seek), 24U);
    EXPECT_EQ(Slot(&CQLSoftDataSinkEx1::Write), 25U);
    EXPECT_EQ(Slot(&CQLSoftDataSinkEx1::ReadBack), 26U);
}

TEST(InnerSoftDataIOTest, VirtualOperationsAreTheOuterOnesLessDestructorAndDigest) {
    const std::vector<std::size_t> slots = {Slot(&CInnerSoftDataIO::EnableMD5_Check),
                                            Slot(&CInnerSoftDataIO::BeginMD5_Check),
                                            Slot(&CInnerSoftDataIO::StopMD5_Check),
                                            Slot(&CInnerSoftDataIO::Connect),
                                            Slot(&CInnerSoftDataIO::SetPASVMode),
                                            Slot(&CInnerSoftDataIO::SetInfoCallBack),
                                            Slot(&CInnerSoftDataIO::SetFindPath),
                                            Slot(&CInnerSoftDataIO::FindNextFile1),
                                            Slot(&CInnerSoftDataIO::FindFileClose),
                                            Slot(&CInnerSoftDataIO::IsFileExist),
                                            Slot(&CInnerSoftDataIO::DeleteFile1),
                                            Slot(&CInnerSoftDataIO::RenameFile),
                                            Slot(&CInnerSoftDataIO::MakeFolder),
                                            Slot(&CInnerSoftDataIO::DeleteFolder),
                                            Slot(&CInnerSoftDataIO::Close),
                                            Slot(&CInnerSoftDataIO::GetXDCAMMXFInfo),
                                            Slot(&CInnerSoftDataIO::GetXDCAMFreeSpace),
                                            Slot(&CInnerSoftDataIO::GetXInfo)};
    for (std::size_t i = 0; i < slots.size(); ++i) {
        EXPECT_EQ(slots[i], i) << "operation " << i;
    }
}
#endif

int Report(int, const wchar_t*, int64, int64, void*) {
    return 1;
}

} // namespace

TEST(SoftDataIOTest, HoldsNothingButItsInnerObject) {
    EXPECT_EQ(sizeof(CSoftDataIO), 2 * sizeof(void*));
    EXPECT_EQ(sizeof(CSoftDataSource), 2 * sizeof(void*));
}

TEST(SoftDataIOTest, GetXInfoAndFindFileCloseGiveOneAndChangeNothing) {
    BareSource source;
    source.Inner().m_qwFileSize = 5;
    SPlugStreamMediaInfo* const info = nullptr;
    EXPECT_EQ(source.GetXInfo(L"clip", ENUMIOInfo_TYPE{}, info), 1);
    EXPECT_EQ(source.FindFileClose(), 1);
    EXPECT_EQ(source.Inner().m_qwFileSize, 5U);
    EXPECT_EQ(source.Inner().MD5State(), nullptr);
}

TEST(SoftDataIOTest, BaseBodiesGiveTheirFixedAnswers) {
    BareSource source;
    source.Inner().m_qwFileSize = 77;
    EXPECT_EQ(source.GetFileSize(), 77U);
    uint32 start = 1;
    uint32 count = 2;
    EXPECT_EQ(static_cast<uint32>(source.OpenXDCAMFtpMXF(L"clip", start, count, L"")), 0x80000002U);
    EXPECT_EQ(start, 1U);
    EXPECT_EQ(count, 2U);

    CSoftDataIO base;
    uint8 byte = 0;
    uint8* digest = &byte;
    int length = 3;
    EXPECT_EQ(base.GetMD5_check(1, digest, length), 0);
    EXPECT_EQ(digest, &byte);
    EXPECT_EQ(length, 3);

    Sink sink;
    SinkEx1 sinkEx1;
    EXPECT_EQ(sink.GetFileSize(), 0U);
    EXPECT_EQ(sinkEx1.GetFileSize(), 0U);
    EXPECT_EQ(sink.GetMD5_check(1, digest, length), 0);
    EXPECT_EQ(sinkEx1.GetMD5_check(1, digest, length), 0);
    EXPECT_EQ(length, 3);
}

TEST(SoftDataIOTest, InfoCallBackIsKept) {
    BareSource source;
    int context = 0;
    source.SetInfoCallBack(&Report, &context);
    EXPECT_EQ(source.Inner().m_pfnInfoCallBack, &Report);
    EXPECT_EQ(source.Inner().m_pInfoCallBackContext, &context);
}

TEST(SoftDataIOTest, InnerObjectBeginsWithItsScratchBufferAndNothingElse) {
    BareSource source;
    EXPECT_EQ(source.Inner().m_qwFileSize, 0U);
    EXPECT_TRUE(source.Inner().m_strFileName.IsEmpty());
    EXPECT_EQ(source.Inner().m_pfnInfoCallBack, nullptr);
    EXPECT_EQ(source.Inner().m_pInfoCallBackContext, nullptr);
    EXPECT_NE(source.Inner().m_pScratch, nullptr);
    EXPECT_EQ(source.Inner().m_nScratchSize, 102400);
}

TEST(SoftDataIOTest, CopiesShareOneInnerObjectAndTheLastOneFreesIt) {
    auto first = std::make_unique<BareSource>();
    first->EnableMD5_Check(0);
    BareSource copy(*first);
    BareSource assigned;
    assigned.EnableMD5_Check(0);
    const std::weak_ptr<vxcio::MD5Check> replaced = assigned.Inner().MD5State();
    assigned = copy;
    EXPECT_TRUE(replaced.expired()) << "what it held before goes";
    assigned = *&assigned;
    EXPECT_EQ(&copy.Inner(), &first->Inner());
    EXPECT_EQ(&assigned.Inner(), &first->Inner());
    const std::weak_ptr<vxcio::MD5Check> shared = first->Inner().MD5State();
    first.reset();
    ASSERT_FALSE(shared.expired());
    EXPECT_EQ(assigned.Close(), 1);
    EXPECT_EQ(copy.Inner().MD5State(), nullptr);
    EXPECT_TRUE(shared.expired());
}

TEST(SoftDataIOTest, ACopyOutlivesItsOriginal) {
    auto first = std::make_unique<BareSource>();
    first->EnableMD5_Check(0);
    const std::weak_ptr<vxcio::MD5Check> shared = first->Inner().MD5State();
    auto copy = std::make_unique<BareSource>(*first);
    first.reset();
    ASSERT_FALSE(shared.expired());
    copy.reset();
    EXPECT_TRUE(shared.expired());
}

TEST(SoftDataIOTest, EnableMakesAStateThatStandsStillUntilBegin) {
    BareSource source;
    CInnerSoftDataIO& inner = source.Inner();
    EXPECT_EQ(inner.MD5State(), nullptr);
    EXPECT_EQ(source.EnableMD5_Check(0), 1);
    ASSERT_NE(inner.MD5State(), nullptr);
    EXPECT_EQ(inner.MD5State()->Position(), 0U);
    EXPECT_EQ(inner.MD5State()->BufferSize(), 1048576U);
    EXPECT_EQ(inner.RunningMD5State(), nullptr);
    EXPECT_EQ(source.BeginMD5_Check(0), 1);
    EXPECT_EQ(inner.RunningMD5State(), inner.MD5State());
    EXPECT_EQ(source.StopMD5_Check(0), 1);
    EXPECT_EQ(inner.RunningMD5State(), nullptr);
    EXPECT_NE(inner.MD5State(), nullptr);
}

TEST(SoftDataIOTest, EnableTwiceDiscardsTheFirstStateAndStopsIt) {
    BareSource source;
    source.EnableMD5_Check(0);
    source.BeginMD5_Check(0);
    const auto first = source.Inner().MD5State();
    const std::vector<uint8> bytes(100);
    first->Feed(bytes.data(), bytes.size());
    source.EnableMD5_Check(0);
    const auto second = source.Inner().MD5State();
    EXPECT_NE(first, second);
    EXPECT_EQ(second->Position(), 0U);
    EXPECT_EQ(source.Inner().RunningMD5State(), nullptr);
    EXPECT_EQ(first->Position(), 100U); // who still feeds the first one does so without harm
}

TEST(SoftDataIOTest, CloseReleasesTheDigestAndMayBeRepeated) {
    BareSource source;
    source.EnableMD5_Check(0);
    source.BeginMD5_Check(0);
    EXPECT_EQ(source.Close(), 1);
    EXPECT_EQ(source.Inner().MD5State(), nullptr);
    EXPECT_EQ(source.Inner().RunningMD5State(), nullptr);
    EXPECT_EQ(source.Close(), 1);
}

TEST(SoftDataIOTest, DestructionFreesADigestThatNobodyClosed) {
    auto source = std::make_unique<BareSource>();
    source->EnableMD5_Check(0);
    const std::weak_ptr<vxcio::MD5Check> state = source->Inner().MD5State();
    source.reset();
    EXPECT_TRUE(state.expired());
}

TEST(SoftDataIOTest, AStateMayBeHeldLongerThanItsOwner) {
    auto source = std::make_unique<BareSource>();
    source->EnableMD5_Check(0);
    const auto state = source->Inner().MD5State();
    source.reset();
    const uint8 bytes[64] = {};
    state->Feed(bytes, sizeof bytes);
    EXPECT_EQ(state->Position(), sizeof bytes);
}
