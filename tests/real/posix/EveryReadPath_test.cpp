// Every way of reading, past the cache on real disks, and beyond 4 GiB.
#include "frame/PlatformTypes.h"
#include "frame/Status.h"
#include "real/posix/SparseFile.h"
#include "sources/DiskProbes.h"
#include "sources/FileSource.h"
#include "sources/SoftDataSourceArray.h"
#include "support/TempFolder.h"
#include "support/posix/SystemTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kSize = 5'000'003;
constexpr uint32 kDirect = VXC_FILE_FLAG_NO_BUFFERING;
constexpr int kRing = 3 << 20;

bool IsOpenPastTheCache(const std::string& name) {
    const int descriptor = DescriptorOf(name);
    return descriptor >= 0 && (::fcntl(descriptor, F_GETFL) & O_DIRECT) != 0;
}

bool TakesDirectReads(const std::string& name) {
    const int descriptor = ::open(name.c_str(), O_RDONLY | O_DIRECT | O_CLOEXEC);
    ::close(descriptor);
    return descriptor >= 0;
}

// Names a way of reading in messages.
struct Way {
    const char* name;
    uint32 flags;
    bool twoCopies;
    int preRead;
};

constexpr Way kWays[] = {
    {"plain", kDirect, false, 0},
    {"ring", kDirect, false, kRing},
    {"ring with window", kDirect | VXC_FILE_FLAG_KEEP_WINDOW, false, kRing},
    {"whole file", kDirect, false, static_cast<int>(0x80000000u | kRing)},
    {"two copies", kDirect, true, 0},
    {"two copies and ring", kDirect, true, kRing},
};

class EveryReadPathTest : public testing::Test {
protected:
    // Files "clip" and "copy" must lie in the folder.
    void ReadEveryWay(const TempFolder& folder, const std::string& below) {
        const std::vector<uint8> content = Pattern(kSize, 3);
        for (const Way& way : kWays) {
            SCOPED_TRACE(way.name);
            CFileSource source;
            const std::wstring copy = folder.Wide(below + "copy");
            ASSERT_EQ(source.OpenFile(folder.Wide(below + "clip").c_str(), way.flags,
                                      way.twoCopies ? copy.c_str() : nullptr, 0),
                      VXC_STATUS_OK);
            EXPECT_TRUE(IsOpenPastTheCache(folder.Name(below + "clip")));
            EXPECT_EQ(IsOpenPastTheCache(folder.Name(below + "copy")), way.twoCopies);
            source.EnablePreRead(way.preRead, 0);
            ASSERT_EQ(source.IsPreReadMode() != 0, way.preRead != 0);
            ReadInOrder(source, content);
            ReadAllOver(source, content);
            if (way.preRead != 0) {
                ReadByPosition(source, content);
            }
            EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
        }
    }

private:
    static void Expect(const uint8* data, int got, uint32 position, uint32 want,
                       const std::vector<uint8>& content) {
        const uint32 left = position < kSize ? kSize - position : 0;
        ASSERT_EQ(got, static_cast<int>(std::min(want, left))) << position;
        ASSERT_TRUE(std::equal(data, data + got, content.begin() + std::min(position, kSize))) << position;
    }

    void ReadInOrder(CSoftDataSource& source, const std::vector<uint8>& content) {
        for (uint32 position = 0; position < kSize;) {
            const uint32 want = std::min(m_Sizes[position % 5], kSize - position);
            ASSERT_NO_FATAL_FAILURE(
                Expect(m_Buffer.data() + 1, source.Read(m_Buffer.data() + 1, want), position, want, content));
            position += want;
        }
    }

    void ReadAllOver(CSoftDataSource& source, const std::vector<uint8>& content) {
        for (uint32 i = 0; i < 60; ++i) {
            const uint32 position = i * 2'654'435 % kSize;
            const uint32 want = std::min(m_Sizes[i % 5], kSize - position);
            ASSERT_EQ(source.Seek(position, 1), position);
            ASSERT_NO_FATAL_FAILURE(
                Expect(m_Buffer.data() + 1, source.Read(m_Buffer.data() + 1, want), position, want, content));
        }
    }

    void ReadByPosition(CSoftDataSource& source, const std::vector<uint8>& content) {
        for (uint32 i = 0; i < 60; ++i) {
            const uint32 position = i * 1'654'437 % kSize;
            const uint32 want = m_Sizes[i % 5];
            uint8* data = nullptr;
            const int got = source.ReadAt(position, &data, static_cast<int>(want));
            ASSERT_NO_FATAL_FAILURE(Expect(data, got, position, want, content));
        }
    }

    const uint32 m_Sizes[5] = {188, 4096, 100'001, 512, 1'500'000};
    std::vector<uint8> m_Buffer = std::vector<uint8>(1'500'001);
};

} // namespace

TEST_F(EveryReadPathTest, BytesAreRightPastTheCacheOfARealDisk) {
    const TempFolder folder;
    folder.WritePattern("clip", kSize, 3);
    folder.WritePattern("copy", kSize, 3);
    if (!TakesDirectReads(folder.Name("clip"))) {
        GTEST_SKIP() << "the disk of the build folder takes no direct reads";
    }
    ReadEveryWay(folder, "");
}

TEST_F(EveryReadPathTest, BytesAreRightFromADiskWithSectorsOf4096Bytes) {
    const TempFolder folder;
    const LargeSectorDisk disk(folder);
    if (disk.Lack() != nullptr) {
        GTEST_SKIP() << "this machine lacks " << disk.Lack();
    }
    folder.WritePattern("mounted/clip", kSize, 3);
    folder.WritePattern("mounted/copy", kSize, 3);
    ASSERT_EQ(GetDiskSectorSize(folder.Wide("mounted/clip").c_str()), 4096u);
    ReadEveryWay(folder, "mounted/");
}

TEST(LargeFileTest, BytesBeyond4GiBAreRightOnEveryPath) {
    const TempFolder folder;
    const SparseFile clip(folder, "clip", (4ull << 30) + 3'000'001);
    const SparseFile copy(folder, "copy", (4ull << 30) + 3'000'001);
    for (const Way& way : kWays) {
        if ((static_cast<uint32>(way.preRead) & 0x80000000u) != 0) {
            continue; // the whole file would take all memory
        }
        for (const uint32 flags : {way.flags, way.flags & ~kDirect}) {
            SCOPED_TRACE(way.name);
            CFileSource source;
            ASSERT_EQ(
                source.OpenFile(clip.Wide().c_str(), flags, way.twoCopies ? copy.Wide().c_str() : nullptr, 0),
                VXC_STATUS_OK);
            EXPECT_EQ(source.GetFileSize(), clip.Size());
            source.EnablePreRead(way.preRead, 0);
            clip.ExpectMarks([&](uint64 position, uint8* data, uint32 bytes) {
                EXPECT_EQ(source.Seek(static_cast<int64>(position), 1), static_cast<int64>(position));
                return source.Read(data, bytes);
            });
            EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
        }
    }
}

TEST(LargeFileTest, PositionsOfAnArrayGoBeyond4GiB) {
    const TempFolder folder;
    const SparseFile first(folder, "first", 3ull << 30);
    const SparseFile second(folder, "second", (3ull << 30) + 1);
    CVXCStringArray names;
    ASSERT_TRUE(names.Add(first.Wide().c_str()) && names.Add(second.Wide().c_str()));
    for (const int preRead : {0, kRing}) {
        const std::unique_ptr<CQLSoftDataSourceArray> array(ConstructDataSourceArray());
        ASSERT_EQ(array->OpenFiles(names, 0), VXC_STATUS_OK);
        array->EnablePreRead(preRead, 1 << 20);
        EXPECT_EQ(array->GetFileSize(), static_cast<int64>(first.Size() + second.Size()));
        for (const SparseFile* const file : {&first, &second}) {
            const uint64 start = file == &first ? 0 : first.Size();
            file->ExpectMarks([&](uint64 position, uint8* data, uint32 bytes) {
                EXPECT_EQ(array->Seek(start + position, 1), start + position);
                return static_cast<int>(array->Read(data, bytes));
            });
        }
        // From one file into the other.
        std::vector<uint8> buffer(1000);
        array->Seek(first.Size() - 500, 1);
        ASSERT_EQ(array->Read(buffer.data(), 1000), 1000u);
        EXPECT_TRUE(first.IsContent(first.Size() - 500, buffer.data(), 500));
        EXPECT_TRUE(second.IsContent(0, buffer.data() + 500, 500));
        array->CloseFiles();
    }
}
