// Read-ahead of a file source: what a host's file is asked, and by which thread.
#include "sources/PreReadSourceFixture.h"

#include "support/HostTable.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using Inspector = FileSourceInspector;

namespace {

// The same over a host's functions, which tell what they were asked, and by whom.
class FileSourcePreReadHostTest : public FileSourcePreReadTest {
protected:
    FileSourcePreReadHostTest() : host(L"host.mxf", content) {}

    void Start(uint32 flags = 0) {
        ASSERT_EQ(source.OpenFile(host.Tagged().c_str(), flags, nullptr, 0), VXC_STATUS_OK);
        UseSmallBlocks();
        host.ClearLog();
        source.EnablePreRead(2 * kPreReadBlock, 0);
        ASSERT_EQ(source.IsPreReadMode(), 1U);
    }
    // Reads and seeks, "own seek 0", "thread read 4096".
    std::vector<std::string> Asked() const {
        std::vector<std::string> asked;
        for (const HostCall& call : host.Log()) {
            const std::string who = call.thread == std::this_thread::get_id() ? "own " : "thread ";
            if (call.function == HostFunction::Read) {
                asked.push_back(who + "read " + std::to_string(call.bytes));
            } else if (call.function == HostFunction::SetFilePointer) {
                asked.push_back(who + "seek " + std::to_string(call.distance));
            }
        }
        return asked;
    }

    HostTable host;
};

// A host that notes when two threads are in it at one time.
class OneAtATime {
public:
    OneAtATime() {
        s_inside = 0;
        s_met = false;
        s_position = 0;
        table.pfnOpen = [](const wchar_t*, uint32, uint32* error) {
            *error = 0;
            return static_cast<void*>(&s_position);
        };
        table.pfnRead = [](void*, void* buffer, uint32 bytes, uint32* done) -> uint64 {
            const Visit visit;
            std::memset(buffer, 1, bytes);
            *done = bytes;
            s_position += bytes;
            return 0;
        };
        table.pfnSetFilePointer = [](void*, uint32 low, int32*, uint32, uint32* error) {
            const Visit visit;
            *error = 0;
            s_position = low;
            return low;
        };
        table.pfnGetFileSize = [](void*, uint32* error) {
            const Visit visit;
            *error = 0;
            return uint64{1} << 20;
        };
        table.pfnCloseFile = [](void*) -> uint64 { return 0; };
    }
    static bool Met() { return s_met; }

    IOCallbackSet table = {};

private:
    struct Visit {
        Visit() {
            s_met = s_met || ++s_inside > 1;
            std::this_thread::yield();
        }
        ~Visit() { --s_inside; }
    };
    static inline std::atomic<int> s_inside;
    static inline std::atomic<bool> s_met;
    static inline uint64 s_position; // without a lock: a host with one handle needs none
};

} // namespace

TEST_F(FileSourcePreReadHostTest, TheFileIsReadBlockByBlockAheadOfTheReader) {
    Start();
    EXPECT_TRUE(host.Log().empty());
    EXPECT_EQ(Read(100), Bytes(0, 100));
    EXPECT_EQ(Read(4000), Bytes(100, 4000)); // into the second block, whose predecessor is filled anew
    EXPECT_EQ(Read(6000), Bytes(4100, 5900));
    source.DisablePreRead();
    // The thread may find the file's end once more before it is told to quit.
    auto asked = Asked();
    asked.resize(6);
    EXPECT_THAT(asked, ElementsAre("own seek 0", "own read 4096", "thread seek 4096", "thread read 4096",
                                   "thread seek 8192", "thread read 4096"));
}

TEST_F(FileSourcePreReadHostTest, AJumpReadsOneBlockAtItsSector) {
    Start();
    EXPECT_EQ(source.Seek(9001, 1), 9001);
    ASSERT_GE(Asked().size(), 2U);
    EXPECT_EQ(Asked()[0], "own seek 8704");
    EXPECT_EQ(Asked()[1], "own read 4096");
    EXPECT_EQ(Read(10), Bytes(9001, 10));
    EXPECT_EQ(Read(10000), Bytes(9011, kSize - 9011));
    source.DisablePreRead();
    const auto asked = Asked();
    EXPECT_EQ(std::count(asked.begin(), asked.end(), "own read 4096"), 1);
}

TEST_F(FileSourcePreReadHostTest, ASeekInsideTheReachOrToWhereTheReaderStandsAsksNothing) {
    Start();
    EXPECT_EQ(source.Seek(0, 3), 0);
    EXPECT_TRUE(host.Log().empty());
    Read(10);
    EXPECT_EQ(source.Seek(4000, 1), 4000);
    EXPECT_EQ(source.Seek(5000, 1), 5000);
    source.DisablePreRead();
    const auto asked = Asked();
    EXPECT_EQ(std::count(asked.begin(), asked.end(), "own read 4096"), 1);
}

TEST_F(FileSourcePreReadHostTest, OnlyTheFlagKeepsBlocksBehindTheReader) {
    for (const uint32 flags : {uint32{0}, uint32{VXC_FILE_FLAG_KEEP_WINDOW}}) {
        ASSERT_EQ(source.OpenFile(host.Tagged().c_str(), flags, nullptr, 0), VXC_STATUS_OK);
        UseSmallBlocks();
        host.ClearLog();
        source.EnablePreRead(3 * kPreReadBlock, 0);
        Read(4200);
        source.Seek(4000, 1);
        EXPECT_EQ(Read(10), Bytes(4000, 10));
        source.DisablePreRead();
        const auto asked = Asked();
        EXPECT_EQ(std::count(asked.begin(), asked.end(), "own read 4096"), flags == 0 ? 2 : 1);
    }
}

TEST_F(FileSourcePreReadHostTest, TheCallersThreadAndTheRingsNeverMeetInTheFile) {
    OneAtATime alone;
    ASSERT_EQ(source.OpenFile(ADDVXCIOID(L"clip", &alone.table), 0, nullptr, 0), VXC_STATUS_OK);
    UseSmallBlocks();
    source.EnablePreRead(4 * kPreReadBlock, 0);
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(Read(3000).size(), 3000U);
        EXPECT_EQ(source.GetFileSize(), uint64{1} << 20);
        source.SetReadRepeat(static_cast<uint32>(i % 2));
    }
    source.CloseFile();
    EXPECT_FALSE(OneAtATime::Met());
}
