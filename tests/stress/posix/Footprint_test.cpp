// What a source and a handle cost while they stand by: memory and threads.
#include "filehandle/SoftFileHandle.h"
#include "frame/SoftDataIO.h"
#include "frame/SystemLayer.h"
#include "support/LeakChecks.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <fstream>
#include <malloc.h>
#include <memory>
#include <string>

// A sanitizer's own count, where one is built in: it replaces the system's heap.
extern "C" [[gnu::weak]] std::size_t __sanitizer_get_current_allocated_bytes();

using namespace vxcio::test;

namespace {

#ifdef __SANITIZE_THREAD__
constexpr std::size_t kSpare = 768 << 10; // that sanitizer keeps records of each thread and counts them
#else
constexpr std::size_t kSpare = 256 << 10;
#endif
constexpr int kSources = 8;

// Bytes of all mappings that may have large pages, which are none of the heap's.
std::size_t LargeBytes() {
    std::ifstream maps("/proc/self/smaps");
    std::size_t size = 0;
    std::size_t all = 0;
    for (std::string line; std::getline(maps, line);) {
        if (line.starts_with("Size:")) {
            size = std::stoul(line.substr(5)) << 10;
        } else if (line.starts_with("VmFlags:") && line.find(" hg") != std::string::npos) {
            all += size;
        }
    }
    return all;
}

// Bytes of the heap that are in use, by all threads.
std::size_t HeapBytes() {
    if (&__sanitizer_get_current_allocated_bytes != nullptr) {
        return __sanitizer_get_current_allocated_bytes();
    }
    const struct mallinfo2 facts = mallinfo2();
    return facts.uordblks + facts.hblkhd;
}

std::size_t BytesInUse() {
    return HeapBytes() + LargeBytes();
}

struct Shape {
    const char* name;
    uint32 flags;
    bool two; // copies
};

class SourceFootprintTest : public ::testing::TestWithParam<Shape> {
protected:
    SourceFootprintTest() { folder.WritePattern("clip", 12 << 20, 1); }

    const TempFolder folder{TempFolder::Kind::Disk};
};

} // namespace

TEST_P(SourceFootprintTest, ReadAheadCostsItsRingAndLittleMore) {
    constexpr std::size_t kRing = 4 << 20;
    const std::wstring name = folder.Wide("clip");
    std::array<std::unique_ptr<CSoftDataSource>, kSources> sources;
    std::array<uint8, 188> packet;
    const auto start = [&](CSoftDataSource& source) {
        ASSERT_EQ(source.OpenFile(name.c_str(), GetParam().flags, GetParam().two ? name.c_str() : nullptr, 0),
                  0U);
        source.EnablePreRead(static_cast<int>(kRing), static_cast<int>(packet.size()));
        ASSERT_NE(source.IsPreReadMode(), 0U);
        // As far as the ring reaches, so that every block was filled.
        for (std::size_t at = 0; at < kRing; at += packet.size()) {
            ASSERT_EQ(source.Read(packet.data(), static_cast<uint32>(packet.size())),
                      static_cast<int>(packet.size()));
        }
    };
    {
        // What the process keeps for ever after its first source is none of a source's own.
        const std::unique_ptr<CSoftDataSource> first(CSoftDataSource::Construct(IOWORKMODE_FILE));
        ASSERT_NO_FATAL_FAILURE(start(*first));
        first->CloseFile();
    }
    const std::size_t before = BytesInUse();
    for (auto& source : sources) {
        source.reset(CSoftDataSource::Construct(IOWORKMODE_FILE));
        ASSERT_NO_FATAL_FAILURE(start(*source));
    }
    const std::size_t each = (BytesInUse() - before) / kSources;
    RecordProperty("bytes", static_cast<int>(each));
    EXPECT_GE(each, kRing); // the measure sees the ring
    EXPECT_LE(each, kRing + kSpare);
    for (auto& source : sources) {
        source->CloseFile();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, SourceFootprintTest,
    ::testing::Values(Shape{"Plain", 0, false}, Shape{"Unbuffered", VXC_FILE_FLAG_NO_BUFFERING, false},
                      Shape{"Window", VXC_FILE_FLAG_KEEP_WINDOW, false}, Shape{"TwoCopies", 0, true}),
    [](const ::testing::TestParamInfo<Shape>& entry) { return std::string(entry.param.name); });

TEST(HandleFootprintTest, AnIdleHandleInThreadModeHasNoThread) {
    const TempFolder folder(TempFolder::Kind::Memory);
    folder.WritePattern("clip", 4096, 1);
    const int before = ThreadCount();
    CQLSoftFileHandle handle;
    ASSERT_EQ(handle.CreateFile(folder.Wide("clip").c_str(), VXC_GENERIC_READ, VXC_FILE_SHARE_READ, nullptr,
                                VXC_OPEN_EXISTING, 0, nullptr, 1),
              0U);
    EXPECT_EQ(handle.GetFileSize(), 4096U);
    // The threads of the open and of the size have ended; the system may take a moment to forget them.
    for (int look = 0; look < 1000 && ThreadCount() > before; ++look) {
        VXC_Sleep(1);
    }
    EXPECT_EQ(ThreadCount(), before);
    // So that the count is known to see workers:
    uint8 byte = 0;
    uint32 got = 0;
    EXPECT_EQ(handle.ReadFile(&byte, 1, &got, nullptr), 0U);
    EXPECT_EQ(ThreadCount(), before + 1);
    handle.CloseFileHandle();
    for (int look = 0; look < 1000 && ThreadCount() > before; ++look) {
        VXC_Sleep(1);
    }
    EXPECT_EQ(ThreadCount(), before);
}
