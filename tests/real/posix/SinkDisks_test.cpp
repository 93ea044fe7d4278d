// Sinks on real disks: full, read-only, with sectors of 4096 bytes, with limits, beyond 4 GiB; and targets
// that are none.
#include "frame/SystemLayer.h"
#include "sinks/SinkFixture.h"
#include "sources/DiskProbes.h"
#include "support/LeakChecks.h"
#include "support/posix/SystemTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kCreate = 0;
constexpr uint32 kUpdate = 2;

std::vector<uint8> ContentOf(const TempFolder& folder, const std::string& file) {
    const std::string text = folder.Read(file);
    return {text.begin(), text.end()};
}

uint32 Open(CWriteFileEx1& sink, const std::wstring& name, const WritePath& path, uint32 mode) {
    return sink.OpenFile(name.c_str(), path.bufferBytes, 0, mode, path.flags, 0, 0, 0, 0, nullptr);
}

// Writes the bytes again and again until they are refused; how often they were taken, at most `most`.
int WriteUntilRefused(CWriteFileEx1& sink, const std::vector<uint8>& bytes, int most) {
    int taken = 0;
    while (taken < most && sink.Write(bytes.data(), static_cast<uint32>(bytes.size()), nullptr) != 0) {
        ++taken;
    }
    return taken;
}

// What the system says when the file is opened as a sink opens it.
uint32 ErrorOfOpening(const std::wstring& name) {
    void* const file = VXC_CreateFileW(name.c_str(), VXC_GENERIC_READ | VXC_GENERIC_WRITE,
                                       VXC_FILE_SHARE_READ, nullptr, VXC_OPEN_ALWAYS, 0x80, nullptr);
    const uint32 error = VXC_GetLastError();
    if (file != VXC_INVALID_HANDLE) {
        VXC_CloseFile(file);
        return 0;
    }
    return error;
}

class SinkDisksTest : public testing::TestWithParam<WritePath> {
protected:
    // Nobody can open the target; what stands there stays.
    void ExpectNoOpen(const std::wstring& name, uint32 error) const {
        for (const uint32 mode : {0u, 1u, 2u}) {
            CWriteFileEx1 sink;
            EXPECT_EQ(Open(sink, name, GetParam(), mode), VXC_STATUS_OPEN_WRITE) << mode;
            const uint8 byte = 1;
            EXPECT_EQ(sink.Write(&byte, 1, nullptr), 0);
            EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
        }
        EXPECT_EQ(ErrorOfOpening(name), error);
    }

    const NoLeakScope m_noLeaks;
    const TempFolder folder;
};

std::string NameOfPath(const testing::TestParamInfo<WritePath>& path) {
    return path.param.name;
}
INSTANTIATE_TEST_SUITE_P(Real, SinkDisksTest, testing::ValuesIn(kWritePaths), NameOfPath);

} // namespace

TEST_P(SinkDisksTest, AFullDiskIsToldAndCostsNoOtherFile) {
    std::filesystem::create_directory(folder.Name("small"));
    const MountScope mount("none", folder.Name("small"), "tmpfs", "size=4m");
    if (!mount.IsMounted()) {
        GTEST_SKIP() << "this machine lacks the right to mount";
    }
    folder.WritePattern("small/other", 1'000'000, 1);
    CWriteFileEx1 sink;
    ASSERT_EQ(Open(sink, folder.Wide("small/target"), GetParam(), kCreate), VXC_STATUS_OK);
    const std::vector<uint8> piece = Pattern(333'333, 2);
    const int taken = WriteUntilRefused(sink, piece, 60);
    EXPECT_LT(taken, 60);
    EXPECT_FALSE(WriteFileInspector::IsGood(sink));
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_TRUE(ContentOf(folder, "small/other") == Pattern(1'000'000, 1));
    // Once there is room it goes on.
    std::filesystem::remove(folder.Name("small/other"));
    ASSERT_EQ(Open(sink, folder.Wide("small/target"), GetParam(), kCreate), VXC_STATUS_OK);
    EXPECT_EQ(WriteUntilRefused(sink, piece, 3), 3);
    EXPECT_TRUE(WriteFileInspector::IsGood(sink));
    sink.CloseFile();
    std::vector<uint8> whole;
    for (int i = 0; i < 3; ++i) {
        whole.insert(whole.end(), piece.begin(), piece.end());
    }
    EXPECT_TRUE(ContentOf(folder, "small/target") == whole);
}

TEST_P(SinkDisksTest, ARealDiskOf4096ByteSectorsThatIsFullIsTold) {
    const LargeSectorDisk disk(folder);
    if (disk.Lack() != nullptr) {
        GTEST_SKIP() << "this machine lacks " << disk.Lack();
    }
    CWriteFileEx1 sink;
    ASSERT_EQ(Open(sink, folder.Wide("mounted/target"), GetParam(), kCreate), VXC_STATUS_OK);
    const std::vector<uint8> piece = Pattern(3'000'001, 2);
    EXPECT_LT(WriteUntilRefused(sink, piece, 30), 30);
    EXPECT_FALSE(WriteFileInspector::IsGood(sink));
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    // What went out before stands where it belongs.
    const std::vector<uint8> content = ContentOf(folder, "mounted/target");
    ASSERT_GT(content.size(), piece.size());
    EXPECT_TRUE(std::equal(piece.begin(), piece.end(), content.begin()));
}

TEST_P(SinkDisksTest, OddPlacesOnADiskWithSectorsOf4096Bytes) {
    const LargeSectorDisk disk(folder);
    if (disk.Lack() != nullptr) {
        GTEST_SKIP() << "this machine lacks " << disk.Lack();
    }
    const std::wstring name = folder.Wide("mounted/target");
    std::vector<uint8> content = Pattern(100'001, 1);
    folder.WritePattern("mounted/target", content.size(), 1);
    CWriteFileEx1 sink;
    ASSERT_EQ(Open(sink, name, GetParam(), kUpdate), VXC_STATUS_OK);
    EXPECT_EQ(WriteFileInspector::SectorSize(sink), 4096u);
    const std::vector<uint8> noise = Pattern(700'000, 2);
    for (uint32 i = 0; i < 60; ++i) {
        const std::size_t at = i * 2'654'435ull % (content.size() + 5000);
        const std::size_t count =
            std::initializer_list<std::size_t>{1, 511, 4095, 4096, 4097, 60'001}.begin()[i % 6] + i;
        content.resize(std::max(content.size(), at + count));
        std::copy_n(noise.begin() + i, count, content.begin() + static_cast<std::ptrdiff_t>(at));
        sink.Seek(static_cast<int64>(at), 1);
        ASSERT_EQ(sink.Write(noise.data() + i, static_cast<uint32>(count), nullptr), static_cast<int>(count));
        const std::size_t from = at / 2;
        const std::size_t bytes = std::min<std::size_t>(5000, content.size() - from);
        std::vector<uint8> back(bytes);
        sink.Seek(static_cast<int64>(from), 1);
        ASSERT_EQ(sink.ReadBack(back.data(), static_cast<uint32>(bytes)), static_cast<int>(bytes));
        ASSERT_TRUE(back == Slice(content, from, bytes)) << i;
    }
    ASSERT_TRUE(WriteFileInspector::IsGood(sink));
    sink.CloseFile();
    EXPECT_TRUE(ContentOf(folder, "mounted/target") == content);
}

TEST_P(SinkDisksTest, PlacesBeyond4GiB) {
    constexpr uint64 kFar = (uint64{4} << 30) + 12'345;
    const std::vector<uint8> bytes = Pattern(1'000'003, 1);
    const std::vector<uint8> head = Pattern(100, 2);
    CWriteFileEx1 sink;
    ASSERT_EQ(Open(sink, folder.Wide("target"), GetParam(), kCreate), VXC_STATUS_OK);
    EXPECT_EQ(sink.Seek(static_cast<int64>(kFar), 1), static_cast<int64>(kFar));
    EXPECT_EQ(sink.Write(bytes.data(), 1'000'003, nullptr), 1'000'003);
    EXPECT_EQ(sink.Seek(77, 1), 77);
    EXPECT_EQ(sink.Write(head.data(), 100, nullptr), 100);
    sink.Seek(static_cast<int64>(kFar) + 5, 1);
    std::vector<uint8> back(9000);
    EXPECT_EQ(sink.ReadBack(back.data(), 9000), 9000);
    EXPECT_TRUE(back == Slice(bytes, 5, 9000));
    EXPECT_EQ(sink.GetFileSize(), kFar + bytes.size());
    ASSERT_TRUE(WriteFileInspector::IsGood(sink));
    sink.CloseFile();
    const std::string name = folder.Name("target");
    EXPECT_EQ(std::filesystem::file_size(name), kFar + bytes.size());
    const int file = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<uint8> found(bytes.size());
    EXPECT_EQ(::pread(file, found.data(), found.size(), static_cast<off_t>(kFar)),
              static_cast<ssize_t>(found.size()));
    EXPECT_TRUE(found == bytes);
    EXPECT_EQ(::pread(file, found.data(), 300, 0), 300);
    std::vector<uint8> start(300);
    std::copy(head.begin(), head.end(), start.begin() + 77);
    found.resize(300);
    EXPECT_TRUE(found == start);
    ::close(file);
}

TEST_P(SinkDisksTest, ALimitOfTheFileSizeIsToldAndEndsNoProgram) {
    const WritePath path = GetParam();
    const std::wstring name = folder.Wide("target");
    const int code = RunInChild([&] {
        const rlimit limit = {1'000'000, 1'000'000};
        if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) {
            return 2;
        }
        CWriteFileEx1 sink;
        if (Open(sink, name, path, kCreate) != VXC_STATUS_OK) {
            return 3;
        }
        const int taken = WriteUntilRefused(sink, Pattern(333'333, 1), 20);
        const bool isGood = WriteFileInspector::IsGood(sink);
        sink.CloseFile();
        return taken < 20 && !isGood ? 0 : 4;
    });
    EXPECT_EQ(code, 0);
    const std::vector<uint8> content = ContentOf(folder, "target");
    EXPECT_LE(content.size(), 1'000'000u);
    ASSERT_GE(content.size(), 333'333u);
    EXPECT_TRUE(Slice(content, 0, 333'333) == Pattern(333'333, 1));
}

TEST_P(SinkDisksTest, AReadOnlyFileSystemIsNoTarget) {
    std::filesystem::create_directory(folder.Name("fixed"));
    const MountScope mount("none", folder.Name("fixed"), "tmpfs", "size=1m");
    if (!mount.IsMounted()) {
        GTEST_SKIP() << "this machine lacks the right to mount";
    }
    folder.WritePattern("fixed/target", 5000, 1);
    ASSERT_EQ(::mount(nullptr, folder.Name("fixed").c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    ExpectNoOpen(folder.Wide("fixed/target"), 19);
    EXPECT_TRUE(ContentOf(folder, "fixed/target") == Pattern(5000, 1));
}

TEST_P(SinkDisksTest, AFolderIsNoTarget) {
    folder.WritePattern("inner/file", 5000, 1);
    ExpectNoOpen(folder.Wide("inner"), 5);
    EXPECT_TRUE(ContentOf(folder, "inner/file") == Pattern(5000, 1));
}

TEST_P(SinkDisksTest, ATargetThatIsOpenElsewhereStaysAsItIs) {
    const std::vector<uint8> bytes = Pattern(50'001, 1);
    CWriteFileEx1 first;
    ASSERT_EQ(Open(first, folder.Wide("target"), kWritePaths[0], kCreate), VXC_STATUS_OK);
    ASSERT_EQ(first.Write(bytes.data(), 50'001, nullptr), 50'001);
    ExpectNoOpen(folder.Wide("target"), 32);
    EXPECT_TRUE(ContentOf(folder, "target") == bytes);
    EXPECT_EQ(first.Write(bytes.data(), 1, nullptr), 1);
    first.CloseFile();
    EXPECT_EQ(std::filesystem::file_size(folder.Name("target")), 50'002u);
}

TEST_P(SinkDisksTest, AFolderThatIsMissingIsNoTarget) {
    ExpectNoOpen(folder.Wide("missing/target"), 3);
    EXPECT_FALSE(std::filesystem::exists(folder.Name("missing")));
}

TEST_P(SinkDisksTest, ATargetThatIsTakenAwayHurtsNobody) {
    folder.WritePattern("beside", 5000, 1);
    CWriteFileEx1 sink;
    ASSERT_EQ(Open(sink, folder.Wide("target"), GetParam(), kCreate), VXC_STATUS_OK);
    const std::vector<uint8> bytes = Pattern(1'500'000, 2);
    EXPECT_EQ(sink.Write(bytes.data(), 700'001, nullptr), 700'001);
    std::filesystem::remove(folder.Name("target"));
    EXPECT_EQ(sink.Write(bytes.data() + 700'001, 700'001, nullptr), 700'001);
    std::vector<uint8> back(3000);
    sink.Seek(699'000, 1);
    EXPECT_EQ(sink.ReadBack(back.data(), 3000), 3000);
    EXPECT_TRUE(back == Slice(bytes, 699'000, 3000));
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_TRUE(ContentOf(folder, "beside") == Pattern(5000, 1));
}
