// What a copy asks of its two ends, in order, and what it makes of answers that the library's own ends never
// give.
#include "FileCopyReports.h"
#include "frame/Status.h"
#include "ftp/FileCopyEnds.h"
#include "support/Prompts.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <deque>
#include <map>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::string Narrow(const std::wstring& text) {
    return std::string(text.begin(), text.end());
}

// What both ends are asked, and what they answer: by a call's text without its numbers, else 0.
struct Ends {
    std::vector<std::string> calls;
    std::map<std::string, std::deque<int64>> answers;
    std::vector<std::pair<PFN_INFO_CALLBACK, void*>> infos;
    int alive = 0;

    int64 Call(const std::string& call, const std::string& arguments = "") {
        calls.push_back(arguments.empty() ? call : call + " " + arguments);
        auto& queue = answers[call];
        if (queue.empty()) {
            return 0;
        }
        const int64 answer = queue.front();
        queue.pop_front();
        return answer;
    }
};

Ends* g_ends = nullptr;

// The operations that both ends have.
template <class Base>
class FakeEnd : public Base {
public:
    explicit FakeEnd(std::string name) : m_name(std::move(name)) { ++g_ends->alive; }
    FakeEnd(const FakeEnd&) = delete;
    FakeEnd& operator=(const FakeEnd&) = delete;
    ~FakeEnd() override {
        --g_ends->alive;
        Call("deleted");
    }

    int Connect(FTPMODE mode, const wchar_t* host, const wchar_t* user, const wchar_t* password, int port,
                int unused) override {
        return static_cast<int>(Call("Connect", std::to_string(mode) + " " + Narrow(host) + " " +
                                                    Narrow(user) + " " + Narrow(password) + " " +
                                                    std::to_string(port) + " " + std::to_string(unused)));
    }
    int SetPASVMode(int passive) override {
        return static_cast<int>(Call("SetPASVMode", std::to_string(passive)));
    }
    void SetInfoCallBack(PFN_INFO_CALLBACK callback, void* context) override {
        g_ends->infos.emplace_back(callback, context);
        Call("SetInfoCallBack");
    }
    int IsFileExist(const wchar_t* path) override {
        return static_cast<int>(Call("IsFileExist", Narrow(path)));
    }
    int DeleteFile1(const wchar_t* path) override {
        return static_cast<int>(Call("DeleteFile1", Narrow(path)));
    }
    int RenameFile(const wchar_t* oldPath, const wchar_t* newPath) override {
        return static_cast<int>(Call("RenameFile", Narrow(oldPath) + " " + Narrow(newPath)));
    }
    int Close() override { return static_cast<int>(Call("Close")); }
    uint32 CloseFile() override { return static_cast<uint32>(Call("CloseFile")); }
    uint64 GetFileSize() override { return static_cast<uint64>(Call("GetFileSize")); }
    int64 Seek(int64 offset, uint32 origin) override {
        return Call("Seek", std::to_string(offset) + " " + std::to_string(origin));
    }

protected:
    int64 Call(const std::string& call, const std::string& arguments = "") {
        return g_ends->Call(m_name + call, arguments);
    }

private:
    const std::string m_name;
};

class FakeSource : public FakeEnd<CSoftDataSource> {
public:
    FakeSource() : FakeEnd("source.") {}
    int GetMD5_check(uint32, uint8*&, int&) override { return 0; }
    uint32 OpenFile(const wchar_t* fileName, uint32 flags, const wchar_t* second, uint64 extra) override {
        EXPECT_EQ(second, nullptr);
        return static_cast<uint32>(
            Call("OpenFile", Narrow(fileName) + " " + std::to_string(flags) + " " + std::to_string(extra)));
    }
    uint32 SetReadRepeat(uint32) override { return 0; }
    void EnablePreRead(int, int) override {}
    void DisablePreRead() override {}
    uint32 IsPreReadMode() override { return 0; }
    int CanSeek() override { return 1; }
    int ReadAt(uint64, uint8**, int) override { return 0; }
    int ReadPtr(uint8**, int) override { return 0; }
    int Read(uint8*, uint32 bytes) override { return static_cast<int>(Call("Read", std::to_string(bytes))); }
};

class FakeSink : public FakeEnd<CQLSoftDataSink> {
public:
    FakeSink() : FakeEnd("sink.") {}
    uint32 OpenFile(const wchar_t* fileName, uint32 bufferBytes, uint32 openMode, uint32 flags,
                    void* reserved) override {
        EXPECT_EQ(reserved, nullptr);
        return static_cast<uint32>(Call("OpenFile", Narrow(fileName) + " " + std::to_string(bufferBytes) +
                                                        " " + std::to_string(openMode) + " " +
                                                        std::to_string(flags)));
    }
    int Write(const uint8*, uint32 bytes, uint32* wentOut) override {
        EXPECT_EQ(wentOut, nullptr);
        return static_cast<int>(Call("Write", std::to_string(bytes)));
    }
    int ReadBack(uint8*, uint32) override { return 0; }
};

class FileCopyCallsTest : public ::testing::Test {
protected:
    FileCopyCallsTest() {
        g_ends = &ends;
        EndsOfFileCopy() = {
            [](IOWordkMode mode) -> CSoftDataSource* {
                return g_ends->Call("source", std::to_string(mode)) == 0 ? new FakeSource : nullptr;
            },
            [](IOWordkMode mode) -> CQLSoftDataSink* {
                return g_ends->Call("sink", std::to_string(mode)) == 0 ? new FakeSink : nullptr;
            }};
        copy.local = L"l";
        copy.remote = L"r";
        copy.host = L"host";
        copy.port = 2121;
        copy.mode = FTPMODE_NORMAL;
    }
    ~FileCopyCallsTest() override {
        EXPECT_EQ(ends.alive, 0);
        EndsOfFileCopy() = m_former;
        g_ends = nullptr;
    }

    // How often it was asked so.
    int Count(const std::string& call) const {
        return static_cast<int>(std::count(ends.calls.begin(), ends.calls.end(), call));
    }

    Ends ends;
    Prompts prompts;
    CopyCall copy;

private:
    const FileCopyEnds m_former = EndsOfFileCopy();
};

} // namespace

TEST_F(FileCopyCallsTest, ADownloadAsksItsEndsInThisOrder) {
    ends.answers["sink.IsFileExist"] = {1};
    ends.answers["source.GetFileSize"] = {15};
    ends.answers["source.Read"] = {10, 5, 0};
    ends.answers["sink.Write"] = {10, 5};
    prompts.SetAnswers({kPromptYes});
    copy.passive = -3;
    EXPECT_EQ(copy.Run(), VXC_STATUS_OK);
    EXPECT_THAT(ends.calls,
                ElementsAre("source 1", "source.SetInfoCallBack", "source.Connect 0 host u p 2121 0",
                            "source.SetPASVMode -3", "source.OpenFile r 134217856 0", "sink 0",
                            "sink.SetInfoCallBack", "sink.IsFileExist l", "sink.DeleteFile1 l",
                            "sink.DeleteFile1 l.qlqlql", "sink.OpenFile l 0 0 536870912",
                            "source.GetFileSize", "source.Read 1048576", "sink.Write 10",
                            "source.Read 1048576", "sink.Write 5", "source.Read 1048576", "source.CloseFile",
                            "sink.CloseFile", "source.Close", "source.deleted", "sink.Close",
                            "sink.deleted"));
    ASSERT_EQ(ends.infos.size(), 2U);
    for (const auto& [callback, context] : ends.infos) {
        EXPECT_NE(callback, nullptr);
        EXPECT_EQ(context, &copy);
    }
    EXPECT_EQ(copy.Reports(), Begun(L"l", {{VXC_COPY_PROGRESS, L"", 15, 10},
                                           {VXC_COPY_PROGRESS, L"", 15, 15},
                                           {VXC_COPY_ENDED, kCopied, 15, 15}}));
}

TEST_F(FileCopyCallsTest, AResumedDownloadAsksItsEndsInThisOrder) {
    ends.answers["sink.IsFileExist"] = {0, 1};
    ends.answers["source.GetFileSize"] = {5};
    ends.answers["source.Read"] = {5};
    ends.answers["sink.Write"] = {5};
    prompts.SetAnswers({kPromptNo});
    copy.resume = -1;
    EXPECT_EQ(copy.Run(), VXC_STATUS_OK);
    EXPECT_THAT(ends.calls,
                ElementsAre("source 1", "source.SetInfoCallBack", "source.Connect 0 host u p 2121 0",
                            "source.SetPASVMode 1", "source.OpenFile r 134217856 0", "sink 0",
                            "sink.SetInfoCallBack", "sink.IsFileExist l", "sink.DeleteFile1 l",
                            "sink.IsFileExist l.qlqlql", "sink.DeleteFile1 l.qlqlql",
                            "sink.OpenFile l.qlqlql 1 0 536870912", "source.GetFileSize", "sink.GetFileSize",
                            "source.Seek 0 1", "source.Read 1048576", "sink.Write 5", "source.Read 1048576",
                            "source.CloseFile", "sink.CloseFile", "sink.RenameFile l.qlqlql l",
                            "source.Close", "source.deleted", "sink.Close", "sink.deleted"));
}

TEST_F(FileCopyCallsTest, AnUploadConnectsItsSinkBehindTheOpenSource) {
    ends.answers["source.Read"] = {5};
    ends.answers["source.GetFileSize"] = {5};
    ends.answers["sink.Write"] = {5};
    copy.upload = 7;
    copy.passive = 1;
    EXPECT_EQ(copy.Run(), VXC_STATUS_OK);
    EXPECT_THAT(ends.calls,
                ElementsAre("source 0", "source.SetInfoCallBack", "source.OpenFile l 134217856 0", "sink 1",
                            "sink.SetInfoCallBack", "sink.Connect 0 host u p 2121 0", "sink.SetPASVMode 1",
                            "sink.IsFileExist r", "sink.DeleteFile1 r", "sink.DeleteFile1 r.qlqlql",
                            "sink.OpenFile r 0 0 536870912", "source.GetFileSize", "source.Read 1048576",
                            "sink.Write 5", "source.Read 1048576", "source.CloseFile", "sink.CloseFile",
                            "source.Close", "source.deleted", "sink.Close", "sink.deleted"));
    EXPECT_EQ(copy.Reports(), Begun(L"r", {{VXC_COPY_PROGRESS, L"", 5, 5}, {VXC_COPY_ENDED, kCopied, 5, 5}}));
}

TEST_F(FileCopyCallsTest, ASinkThatKeptSomethingIsContinued) {
    copy.resume = 1;
    ends.answers["source.GetFileSize"] = {15};
    ends.answers["sink.GetFileSize"] = {10};
    ends.answers["source.Seek"] = {10};
    ends.answers["source.Read"] = {5};
    ends.answers["sink.Write"] = {5};
    EXPECT_EQ(copy.Run(), VXC_STATUS_OK);
    EXPECT_EQ(Count("source.Seek 10 1"), 1);
    EXPECT_EQ(Count("sink.Seek 0 1"), 0);
    EXPECT_EQ(Count("sink.RenameFile l.qlqlql l"), 1);
    EXPECT_EQ(copy.Reports(),
              Begun(L"l", {{VXC_COPY_PROGRESS, L"", 15, 15}, {VXC_COPY_ENDED, kCopied, 15, 15}}));
}

TEST_F(FileCopyCallsTest, ASourceThatDoesNotGetThereIsReadFromItsStart) {
    copy.resume = 1;
    ends.answers["source.GetFileSize"] = {15};
    ends.answers["sink.GetFileSize"] = {10};
    ends.answers["source.Seek"] = {9};
    ends.answers["source.Read"] = {5};
    ends.answers["sink.Write"] = {5};
    EXPECT_EQ(copy.Run(), VXC_STATUS_OK);
    EXPECT_EQ(Count("sink.Seek 0 1"), 1);
    EXPECT_EQ(Count("sink.RenameFile l.qlqlql l"), 0);
    std::vector<CopyReport> expected = {{VXC_COPY_STATUS, L"Ftp sever not support resume mode"}};
    for (const CopyReport& report :
         Begun(L"l", {{VXC_COPY_PROGRESS, L"", 15, 5}, {VXC_COPY_ENDED, L"", 15, 5}})) {
        expected.push_back(report);
    }
    EXPECT_EQ(copy.Reports(), expected);
}

TEST_F(FileCopyCallsTest, WhereTheFirstOpenFailsTheSecondOneIsForANewFile) {
    copy.resume = 1;
    ends.answers["sink.OpenFile"] = {int64{0x80000104}, 0};
    ends.answers["source.GetFileSize"] = {5};
    EXPECT_EQ(copy.Run(), VXC_STATUS_OK);
    EXPECT_EQ(Count("sink.OpenFile l.qlqlql 1 0 536870912"), 1);
    EXPECT_EQ(Count("sink.OpenFile l.qlqlql 0 0 536870912"), 1);
    EXPECT_EQ(Count("sink.GetFileSize"), 0);
    EXPECT_EQ(copy.Reports(), Begun(L"l", {{VXC_COPY_ENDED, L"", 5, 0}}));
}

TEST_F(FileCopyCallsTest, TheStatusOfTheSecondOpenIsTheResult) {
    copy.resume = 1;
    ends.answers["sink.OpenFile"] = {int64{0x80000104}, int64{0x80000705}};
    EXPECT_EQ(copy.Run(), 0x80000705U);
    EXPECT_THAT(copy.Reports(), ElementsAre(CopyReport{VXC_COPY_REFUSED, L"Open dest file l error!"}));
    EXPECT_EQ(Count("source.CloseFile") + Count("sink.CloseFile"), 0);
}

TEST_F(FileCopyCallsTest, ASinkThatIsNotSatisfiedAtItsCloseIsTheResultWithoutAReport) {
    ends.answers["source.GetFileSize"] = {5};
    ends.answers["source.Read"] = {5, -1}; // of which nothing is said then
    ends.answers["sink.Write"] = {5};
    ends.answers["sink.CloseFile"] = {int64{0x80000108}};
    copy.resume = 1;
    EXPECT_EQ(copy.Run(), VXC_STATUS_WRITE);
    EXPECT_EQ(copy.Reports(), Begun(L"l", {{VXC_COPY_PROGRESS, L"", 5, 5}}));
    EXPECT_EQ(Count("sink.RenameFile l.qlqlql l"), 0);
}

TEST_F(FileCopyCallsTest, AReadBelow0IsAReadErrorWithoutAReport) {
    ends.answers["source.GetFileSize"] = {5};
    ends.answers["source.Read"] = {5, -1};
    ends.answers["sink.Write"] = {5};
    copy.resume = 1;
    EXPECT_EQ(copy.Run(), VXC_STATUS_READ);
    EXPECT_EQ(copy.Reports(), Begun(L"l", {{VXC_COPY_PROGRESS, L"", 5, 5}}));
    EXPECT_EQ(Count("source.CloseFile") + Count("sink.CloseFile"), 2);
    EXPECT_EQ(Count("sink.RenameFile l.qlqlql l"), 0);
}

// Nothing has been read yet whose result could be below 0.
TEST_F(FileCopyCallsTest, ACopyThatIsCancelledBeforeItReadsIsNoReadError) {
    ends.answers["source.GetFileSize"] = {5};
    copy.hasCancel = true;
    copy.cancel = 1;
    EXPECT_EQ(copy.Run(), VXC_STATUS_OK);
    EXPECT_EQ(Count("source.Read 1048576"), 0);
    EXPECT_EQ(copy.Reports(), Begun(L"l", {{VXC_COPY_ENDED, kCancelled, 5, 0}}));
}

TEST_F(FileCopyCallsTest, AShortWriteEndsTheCopyAndDoesNotCount) {
    for (const int64 written : {int64{4}, int64{0}, int64{-1}, int64{6}}) {
        ends.answers["source.GetFileSize"] = {15};
        ends.answers["source.Read"] = {10, 5, 0};
        ends.answers["sink.Write"] = {10, written};
        EXPECT_EQ(copy.Run(), VXC_STATUS_OK);
        EXPECT_EQ(copy.Reports(),
                  Begun(L"l", {{VXC_COPY_PROGRESS, L"", 15, 10}, {VXC_COPY_ENDED, kNotSent, 15, 10}}))
            << written;
        ends.answers.clear();
    }
}

TEST_F(FileCopyCallsTest, WithoutASourceOrASinkMemoryLacks) {
    ends.answers["source"] = {1};
    EXPECT_EQ(copy.Run(), VXC_STATUS_OPEN_READ);
    EXPECT_THAT(ends.calls, ElementsAre("source 1"));
    ends.calls.clear();
    ends.answers["sink"] = {1};
    EXPECT_EQ(copy.Run(), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(ends.calls.back(), "source.deleted");
    EXPECT_THAT(copy.Reports(), IsEmpty());
}

TEST_F(FileCopyCallsTest, AFailedConnectOfEitherEndIsTheResultWithoutAReport) {
    ends.answers["source.Connect"] = {static_cast<int32>(0x80000702)};
    EXPECT_EQ(copy.Run(), 0x80000702U);
    EXPECT_EQ(Count("source.SetPASVMode 1") + Count("sink 0"), 0);
    EXPECT_EQ(Count("source.Close"), 1);
    copy.upload = 1;
    ends.calls.clear();
    ends.answers["sink.Connect"] = {static_cast<int32>(0x80000701)};
    EXPECT_EQ(copy.Run(), 0x80000701U);
    EXPECT_EQ(Count("sink.SetPASVMode 1") + Count("sink.IsFileExist r"), 0);
    EXPECT_EQ(Count("source.Close") + Count("sink.Close"), 2);
    EXPECT_THAT(copy.Reports(), IsEmpty());
}

TEST_F(FileCopyCallsTest, SizesBeyond32BitsAreReportedWhole) {
    constexpr int64 kSize = int64{5} << 40;
    copy.resume = 1;
    ends.answers["source.GetFileSize"] = {kSize};
    ends.answers["sink.GetFileSize"] = {kSize - 5};
    ends.answers["source.Seek"] = {kSize - 5};
    ends.answers["source.Read"] = {5};
    ends.answers["sink.Write"] = {5};
    EXPECT_EQ(copy.Run(), VXC_STATUS_OK);
    EXPECT_EQ(copy.Reports().back(), (CopyReport{VXC_COPY_ENDED, kCopied, kSize, kSize}));
}

// ---- Modes ----

TEST_F(FileCopyCallsTest, OnlyTheOrdinaryModeResumes) {
    copy.resume = 1;
    for (const FTPMODE mode : {FTPMODE_DELAYED, FTPMODE_EXPLODED, FTPMODE_XDCAM}) {
        copy.mode = mode;
        ends.calls.clear();
        EXPECT_EQ(copy.Run(), VXC_STATUS_OK);
        EXPECT_EQ(Count("source.Connect " + std::to_string(mode) + " host u p 2121 0"), 1);
        EXPECT_EQ(Count("sink.IsFileExist l.qlqlql"), 0);
        EXPECT_EQ(Count("sink.OpenFile l 0 0 536870912"), 1);
    }
}
