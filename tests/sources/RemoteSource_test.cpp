// Opening and closing a remote source: what is asked of the companion module, and what is logged.
#include "sources/RemoteFixture.h"

#include <cwchar>
#include <memory>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Inspector = RemoteSourceInspector;

namespace {

class RemoteSourceTest : public RemoteSourceFixture {
protected:
    static std::wstring This(const CRemoteSource& of) {
        wchar_t address[16];
        std::swprintf(address, 16, L"%x", static_cast<uint32>(reinterpret_cast<std::uintptr_t>(&of)));
        return L"this->" + std::wstring(address);
    }
    std::wstring CloseLine(const std::wstring& name, const std::wstring& end) const {
        return This(source) + L":CRemoteSource::CloseFile(): SingleHandleMode: File1:" + name + L" --" + end;
    }
    std::wstring PreReadLine(const std::wstring& end) const {
        return This(source) + L":CRemoteSource::CloseFile() -- DisablePreRead() -" + end;
    }
    std::wstring ObjectLine(const std::wstring& name, const std::wstring& end) const {
        return This(source) + L":CRemoteSource::Close(" + name + L") -" + end;
    }
};

} // namespace

TEST_F(RemoteSourceTest, BeginsEmpty) {
    EXPECT_EQ(Inspector::SectorSize(source), 1U);
    EXPECT_EQ(source.GetFileSize(), 0U);
    EXPECT_EQ(source.IsPreReadMode(), 0U);
    EXPECT_EQ(source.CanSeek(), 1);
    uint8 byte = 7;
    EXPECT_EQ(source.Read(&byte, 1), 0);
    EXPECT_EQ(byte, 7);
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(RemoteSourceTest, OpenAsksTheModuleInOrderAndSaysSo) {
    LogCapture log;
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_THAT(Calls(), ElementsAre("create", "open http://host/clip.mxf", "size"));
    EXPECT_THAT(log.Lines(), ElementsAre(LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO",
                                                 L"CRemoteSource::OpenFile(http://host/clip.mxf) begin!"},
                                         LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO",
                                                 L"CRemoteSource::OpenFile(http://host/clip.mxf) end!"}));
    EXPECT_EQ(source.GetFileSize(), kSize);
}

TEST_F(RemoteSourceTest, TheObjectIsMadeBeforeTheFirstLine) {
    companion.talks = true;
    LogCapture log;
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_THAT(log.Texts(), ElementsAre(L"create", L"CRemoteSource::OpenFile(http://host/clip.mxf) begin!",
                                         L"open http://host/clip.mxf",
                                         L"CRemoteSource::OpenFile(http://host/clip.mxf) end!", L"size"));
}

TEST_F(RemoteSourceTest, OpenKeepsTheNameAndTheFlags) {
    ASSERT_EQ(Open(0x28000080), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::Flags(source), 0x28000080U);
    EXPECT_EQ(Inspector::Name(source), kUrl);
    EXPECT_EQ(Inspector::SectorSize(source), 1U);
}

TEST_F(RemoteSourceTest, TheSecondNameAndTheLastArgumentAreIgnored) {
    ASSERT_EQ(source.OpenFile(kUrl, 0, L"http://other/clip.mxf", 77), VXC_STATUS_OK);
    EXPECT_THAT(Calls(), ElementsAre("create", "open http://host/clip.mxf", "size"));
    EXPECT_EQ(Read(10), Bytes(0, 10));
}

TEST_F(RemoteSourceTest, ANameThatIsNotThereIsAnEmptyOne) {
    EXPECT_EQ(source.OpenFile(nullptr, 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_THAT(Calls(), ElementsAre("create", "open ", "size"));
}

TEST_F(RemoteSourceTest, WhatIsNotThereAnswersAllTheSame) {
    for (const bool isOpen : {false, true}) {
        if (isOpen) {
            ASSERT_EQ(Open(), VXC_STATUS_OK);
            Calls();
        }
        uint8 byte = 7;
        uint8* data = &byte;
        EXPECT_EQ(source.SetReadRepeat(1), 1U);
        EXPECT_EQ(source.SetReadRepeat(0), 1U);
        source.EnablePreRead(1 << 20, 4096);
        EXPECT_EQ(source.IsPreReadMode(), 0U);
        EXPECT_EQ(source.ReadAt(0, &data, 1), 0);
        EXPECT_EQ(source.ReadPtr(&data, 1), 0);
        EXPECT_EQ(data, &byte);
        source.DisablePreRead();
        EXPECT_EQ(source.CanSeek(), 1);
        uint32 start = 5;
        uint32 end = 6;
        EXPECT_EQ(static_cast<uint32>(source.OpenXDCAMFtpMXF(kUrl, start, end, nullptr)), 0x80000002U);
        EXPECT_THAT(Calls(), IsEmpty());
    }
}

TEST_F(RemoteSourceTest, OpenStartsAtTheBeginningWhateverWasSoughtBefore) {
    source.Seek(500, 1);
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::FilePos(source), 0);
    EXPECT_EQ(Inspector::ReadPos(source), 0);
    EXPECT_EQ(Read(10), Bytes(0, 10));
}

TEST_F(RemoteSourceTest, TheSpeedMeterCountsInTheTicksOfTheCounter) {
    _VXC_LARGE_INTEGER frequency = {};
    ASSERT_NE(VXC_QueryPerformanceFrequency(&frequency), 0);
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Inspector::ReadRate(source).Add(50, static_cast<uint64>(frequency.QuadPart));
    EXPECT_EQ(Inspector::ReadRate(source).Rate(), 50U);
}

// ---- An open that fails ----

TEST_F(RemoteSourceTest, AFailedOpenSaysSoAndLeavesItsObjectToTheClose) {
    companion.Break("open", false);
    LogCapture log;
    EXPECT_EQ(Open(0x20000000), VXC_STATUS_OPEN_READ);
    EXPECT_THAT(log.Lines(), ElementsAre(LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO",
                                                 L"CRemoteSource::OpenFile(http://host/clip.mxf) begin!"},
                                         LogLine{INFOTYPE_ERROR, L"VXCSoftCodecIO",
                                                 L"CRemoteSource::OpenFile(http://host/clip.mxf) error!"}));
    EXPECT_THAT(Calls(), ElementsAre("create", "open http://host/clip.mxf"));
    EXPECT_EQ(source.GetFileSize(), 0U);
    EXPECT_EQ(Inspector::Flags(source), 0U);
    EXPECT_EQ(Inspector::Name(source), L"");
    EXPECT_TRUE(Inspector::HasObject(source));
    EXPECT_TRUE(Read(10).empty());
    Calls();
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_THAT(Calls(), ElementsAre("close", "destroyed"));
}

TEST_F(RemoteSourceTest, AFailedOpenThatNobodyClosesGivesItsObjectBack) {
    companion.Break("open", false);
    {
        CRemoteSource scoped;
        EXPECT_EQ(scoped.OpenFile(kUrl, 0, nullptr, 0), VXC_STATUS_OPEN_READ);
        Calls();
    }
    EXPECT_THAT(Calls(), ElementsAre("given back", "destroyed"));
}

TEST_F(RemoteSourceTest, AFailedOpenKeepsTheNameAndFlagsOfTheFormerOneButNotItsSize) {
    ASSERT_EQ(Open(0x20000000), VXC_STATUS_OK);
    companion.Break("open", false);
    EXPECT_EQ(source.OpenFile(L"http://host/other", 0x80, nullptr, 0), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(Inspector::Flags(source), 0x20000000U);
    EXPECT_EQ(Inspector::Name(source), kUrl);
    EXPECT_EQ(source.GetFileSize(), 0U);
}

TEST_F(RemoteSourceTest, AModuleThatThrowsAtTheOpenHasFailed) {
    companion.Break("open", true);
    LogCapture log;
    EXPECT_EQ(Open(), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(log.Texts().back(), L"CRemoteSource::OpenFile(http://host/clip.mxf) error!");
    companion.Break("create", true);
    EXPECT_EQ(Open(), VXC_STATUS_OPEN_READ);
    EXPECT_FALSE(Inspector::HasObject(source));
    companion.Break("size", true);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source.GetFileSize(), 0U);
}

// ---- Closing ----

TEST_F(RemoteSourceTest, CloseLogsEachStep) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    companion.talks = true;
    LogCapture log;
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_THAT(log.Texts(), ElementsAre(CloseLine(kUrl, L"1"), PreReadLine(L"1"), PreReadLine(L"2"),
                                         ObjectLine(kUrl, L"1"), L"close", L"destroyed",
                                         ObjectLine(kUrl, L"2"), CloseLine(kUrl, L"2")));
    for (const LogLine& line : log.Lines()) {
        EXPECT_EQ(line.level, INFOTYPE_TRACE) << line;
    }
    EXPECT_FALSE(Inspector::HasObject(source));
}

TEST_F(RemoteSourceTest, CloseOfNothingLogsAsWell) {
    LogCapture log;
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_THAT(log.Texts(), ElementsAre(CloseLine(L"", L"1"), PreReadLine(L"1"), PreReadLine(L"2"),
                                         CloseLine(L"", L"2")));
}

TEST_F(RemoteSourceTest, ASecondCloseTouchesNoObjectAndStillNamesTheFile) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    source.CloseFile();
    Calls();
    LogCapture log;
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_THAT(log.Texts(), ElementsAre(CloseLine(kUrl, L"1"), PreReadLine(L"1"), PreReadLine(L"2"),
                                         CloseLine(kUrl, L"2")));
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(RemoteSourceTest, CloseForgetsThePositionsAndTheMemoryButNotTheSize) {
    ASSERT_EQ(Open(VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    std::vector<uint8> buffer(1024);
    const auto odd = reinterpret_cast<std::uintptr_t>(buffer.data()) % 512 == 0 ? 1U : 0U;
    EXPECT_EQ(source.Read(buffer.data() + odd, 10), 10);
    EXPECT_NE(Inspector::BounceBufferSize(source), 0U);
    source.CloseFile();
    EXPECT_EQ(Inspector::BounceBufferSize(source), 0U);
    EXPECT_EQ(Inspector::FilePos(source), 0);
    EXPECT_EQ(Inspector::ReadPos(source), 0);
    EXPECT_EQ(source.GetFileSize(), kSize); // nobody is asked
    EXPECT_TRUE(Read(10).empty());
}

TEST_F(RemoteSourceTest, ACloseThatThrowsStillFreesTheObject) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Calls();
    companion.Break("close", true);
    LogCapture log;
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_THAT(Calls(), ElementsAre("close", "destroyed"));
    EXPECT_EQ(log.Texts().back(), CloseLine(kUrl, L"2"));
}

TEST_F(RemoteSourceTest, DestructionWithoutACloseGivesTheObjectBackFirst) {
    companion.talks = true;
    LogCapture log;
    {
        CRemoteSource scoped;
        ASSERT_EQ(scoped.OpenFile(kUrl, 0, nullptr, 0), VXC_STATUS_OK);
        Calls();
        log.Clear();
    }
    EXPECT_THAT(Calls(), ElementsAre("given back", "destroyed"));
    const auto texts = log.Texts();
    ASSERT_EQ(texts.size(), 6U); // the four of a close without an object come behind
    EXPECT_EQ(texts[0], L"given back");
    EXPECT_EQ(texts[1], L"destroyed");
    EXPECT_TRUE(texts[2].ends_with(L"SingleHandleMode: File1:http://host/clip.mxf --1"));
    EXPECT_TRUE(texts[5].ends_with(L"SingleHandleMode: File1:http://host/clip.mxf --2"));
}

TEST_F(RemoteSourceTest, DestructionAfterACloseHasNothingToFree) {
    {
        CRemoteSource scoped;
        ASSERT_EQ(scoped.OpenFile(kUrl, 0, nullptr, 0), VXC_STATUS_OK);
        scoped.CloseFile();
        Calls();
    }
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(RemoteSourceTest, DestructionOutlivesAModuleThatThrows) {
    companion.Break("given back", true);
    {
        CRemoteSource scoped;
        ASSERT_EQ(scoped.OpenFile(kUrl, 0, nullptr, 0), VXC_STATUS_OK);
        EXPECT_EQ(scoped.EnableMD5_Check(0), 1);
    }
    EXPECT_EQ(companion.Broken(), 1);
    EXPECT_EQ(companion.Alive(), 0);
}

TEST_F(RemoteSourceTest, DestructionReleasesTheDigestAlsoWhereACopySharesIt) {
    auto scoped = std::make_unique<CRemoteSource>();
    scoped->EnableMD5_Check(0);
    const std::weak_ptr<MD5Check> state = Inspector::Inner(*scoped).MD5State();
    ASSERT_FALSE(state.expired());
    const CSoftDataIO copy(*scoped);
    scoped.reset();
    EXPECT_TRUE(state.expired());
}

TEST_F(RemoteSourceTest, OpeningAgainClosesAndFreesTheFormerObjectBeforeItMakesOne) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Read(700);
    Calls();
    companion.content = Pattern(100, 9);
    ASSERT_EQ(source.OpenFile(L"http://host/other", 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_THAT(Calls(), ElementsAre("close", "destroyed", "create", "open http://host/other", "size"));
    EXPECT_EQ(source.GetFileSize(), 100U);
    EXPECT_EQ(Read(1000), Pattern(100, 9));
    source.CloseFile();
    EXPECT_EQ(companion.Alive(), 0);
}

TEST_F(RemoteSourceTest, ASourceOpensAgainAfterItsClose) {
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        EXPECT_EQ(Read(kSize + 1), content);
        EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    }
    EXPECT_EQ(companion.Alive(), 0);
}
