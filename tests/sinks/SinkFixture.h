// SinkFixture.h - a file sink over a file in a temporary folder, and what its tests ask of it.
#pragma once

#include "frame/InnerSoftDataIO.h"
#include "frame/PlatformTypes.h"
#include "frame/Status.h"
#include "sinks/WriteFileEx1.h"
#include "support/Digests.h"
#include "support/FaultPlan.h"
#include "support/LogCapture.h"
#include "support/PlatformScope.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vxcio {

struct WriteBufferRingInspector {
    static uint32 NodeCount(const WriteBufferRing& ring) { return ring.m_nNodeCount; }
    static const WriteBufferNode* ThreadNode(const WriteBufferRing& ring) { return ring.m_pWriteThreadNod; }
    static const WriteBufferNode& NodeAt(const WriteBufferRing& ring, uint32 index) {
        return ring.m_pNodes[index];
    }
};

struct WriteFileInspector {
    static uint64 Position(const CWriteFileEx1& sink) { return sink.m_nCurPos; }
    static uint32 WriteMode(const CWriteFileEx1& sink) { return sink.m_dwWriteMode; }
    static uint32 SectorSize(const CWriteFileEx1& sink) { return sink.m_dwSectorSize; }
    static uint32 Flags(const CWriteFileEx1& sink) { return sink.m_dwFlagsAndAttributes; }
    static uint32 BufferSize(const CWriteFileEx1& sink) { return sink.m_dwBufferSize; }
    static uint32 BlockSize(const CWriteFileEx1& sink) { return sink.m_dwBlockSize; }
    static uint32 StageFill(const CWriteFileEx1& sink) { return sink.m_dwStageFill; }
    static uint32 StageCapacity(const CWriteFileEx1& sink) {
        return static_cast<uint32>(sink.m_pStageBuffer.Size());
    }
    static bool HasSectorBuffer(const CWriteFileEx1& sink) { return static_cast<bool>(sink.m_pSectorBuffer); }
    static int32 LastOperation(const CWriteFileEx1& sink) { return sink.m_nLastOperation; }
    static bool IsGood(const CWriteFileEx1& sink) { return sink.m_bStatusOK != 0; }
    static bool IsOpen(const CWriteFileEx1& sink) { return sink.m_pMediaFile != nullptr; }
    static uint32 OpenMode(const CWriteFileEx1& sink) { return sink.m_nOpenMode; }
    static bool HasCallbacks(const CWriteFileEx1& sink) { return sink.m_pIOCallbackSet != nullptr; }
    static const AlignedBuffer& ReadCache(const CWriteFileEx1& sink) { return sink.m_pReadCache; }
    static uint64 ReadCachePos(const CWriteFileEx1& sink) { return sink.m_nReadCachePos; }
    static uint32 ReadCacheFill(const CWriteFileEx1& sink) { return sink.m_dwReadCacheFill; }
    // Null where the sink has no ring.
    static WriteBufferRing* Ring(const CWriteFileEx1& sink) { return sink.m_pWriteRing.get(); }
    static CInnerSoftDataIO& Inner(CWriteFileEx1& sink) { return *sink.m_pInner; }
    static CQLSoftFileHandle& File(const CWriteFileEx1& sink) { return *sink.m_pMediaFile; }
};

namespace test {

// The four ways of writing.
struct WritePath {
    const char* name;
    uint32 bufferBytes;
    uint32 flags;
};
inline constexpr WritePath kWritePaths[] = {
    {"Through", 0, 0},
    {"Staged", 0, VXC_FILE_FLAG_NO_BUFFERING},
    {"Threaded", 1, 0},
    {"ThreadedUnbuffered", 1, VXC_FILE_FLAG_NO_BUFFERING},
};

class SinkFixture : public ::testing::Test {
protected:
    using Inspector = WriteFileInspector;
    static constexpr uint32 kCreate = 0;
    static constexpr uint32 kAppend = 1;
    static constexpr uint32 kUpdate = 2;
    static constexpr uint32 kDirect = VXC_FILE_FLAG_NO_BUFFERING;

    std::wstring Target() const { return folder.Wide("target"); }
    // What stands in the target.
    std::vector<uint8> Content() const {
        const std::string text = folder.Read("target");
        return {text.begin(), text.end()};
    }

    uint32 Open(uint32 bufferBytes, uint32 flags = 0, uint32 mode = kCreate, uint32 blockBytes = 1048576) {
        return sink.OpenFile(Target().c_str(), bufferBytes, blockBytes, mode, flags, 0, 0, 0, 0, nullptr);
    }
    uint32 Open(const WritePath& path, uint32 mode = kCreate) {
        return Open(path.bufferBytes, path.flags, mode);
    }
    int Write(const std::vector<uint8>& bytes) {
        return sink.Write(bytes.data(), static_cast<uint32>(bytes.size()), nullptr);
    }
    std::vector<uint8> ReadBack(uint32 bytes) {
        std::vector<uint8> buffer(bytes, 0xEE);
        EXPECT_EQ(sink.ReadBack(buffer.data(), bytes), static_cast<int>(bytes));
        return buffer;
    }

    TempFolder folder{TempFolder::Kind::Disk}; // where unbuffered writing is what it says
    CWriteFileEx1 sink;
};

inline std::vector<uint8> Slice(const std::vector<uint8>& bytes, std::size_t position, std::size_t count) {
    const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(position);
    return {from, from + static_cast<std::ptrdiff_t>(count)};
}

} // namespace test
} // namespace vxcio
