// SourceFixture.h - a file source over a patterned file, and what its tests ask of it.
#pragma once

#include "frame/AlignedBlock.h"
#include "frame/InnerSoftDataIO.h"
#include "frame/Status.h"
#include "paths/MediumPathRules.h"
#include "sources/FileSource.h"
#include "support/Digests.h"
#include "support/FaultPlan.h"
#include "support/LogCapture.h"
#include "support/PlatformScope.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace vxcio {

struct FileSourceInspector {
    static int64 FilePos(const CFileSource& source) { return source.m_qwFilePos; }
    static int64 ReadPos(const CFileSource& source) { return source.m_qwReadPos; }
    static uint32 SectorSize(const CFileSource& source) { return source.m_dwSectorSize; }
    static void SetSectorSize(CFileSource& source, uint32 size) { source.m_dwSectorSize = size; }
    static uint32 BounceBufferSize(const CFileSource& source) {
        return static_cast<uint32>(source.m_pAlignBuffer.Size());
    }
    static bool HasBounceBuffer(const CFileSource& source) {
        return static_cast<bool>(source.m_pAlignBuffer);
    }
    static uint64 WholeFileSize(const CFileSource& source) { return source.m_qwWholeFileSize; }
    static uint32 ReadBlockSize(const CFileSource& source) { return source.m_dwReadBlockSize; }
    static uint32 Flags(const CFileSource& source) { return source.m_dwFlags; }
    static uint32 KeepWindow(const CFileSource& source) { return source.m_bKeepWindow; }
    static SReadRate& ReadRate(CFileSource& source) { return source.m_ReadRate; }
    static std::wstring File1(const CFileSource& source) { return source.m_strFile[0].c_str(); }
    static bool HasCallbacks(const CFileSource& source) { return source.m_pIOCallbackSet != nullptr; }
    static CInnerSoftDataIO& Inner(CFileSource& source) { return *source.m_pInner; }
    static void SetReadBlockSize(CFileSource& source, uint32 size) { source.m_dwReadBlockSize = size; }
    static const PreReadRing* Ring(const CFileSource& source) { return source.m_pRing.get(); }
    static uint32 PreReadSize(const CFileSource& source) {
        return source.m_pRing == nullptr ? 0 : source.m_pRing->PreReadSize();
    }
    static std::size_t ReadAtBufferSize(const CFileSource& source) { return source.m_pReadAtBuffer.Size(); }
    static bool HasWholeFile(const CFileSource& source) { return static_cast<bool>(source.m_pWholeFile); }
    static bool ReadFromStart(CFileSource& source, uint8* buffer, uint64 bytes, uint32 most, uint64& done) {
        return source.ReadFromStart(buffer, bytes, most, done);
    }
    static uint32 Fill(CFileSource& source, AlignedBuffer& block, uint32 bytes) {
        return source.Fill(block, bytes);
    }
    // As read-ahead leaves it when it took the whole file into memory.
    static void SetWholeFile(CFileSource& source, const std::vector<uint8>& bytes) {
        source.m_pWholeFile = AlignedBuffer(bytes.size(), 512);
        std::memcpy(source.m_pWholeFile.Data(), bytes.data(), bytes.size());
        source.m_qwWholeFileSize = bytes.size();
    }
};

namespace test {

// The first open of a process reads the setting of the medium path rules and logs that. Afterwards all opens
// log the same.
inline void KnowMediumPathSetting() {
    ApplyMediumPathRules(L"");
}

class FileSourceFixture : public ::testing::Test {
protected:
    static constexpr uint32 kSize = 10000;
    static constexpr uint32 kSeed = 3;

    FileSourceFixture() : content(Pattern(kSize, kSeed)) {
        KnowMediumPathSetting();
        folder.WritePattern("clip", kSize, kSeed);
    }

    std::wstring Clip() const { return folder.Wide("clip"); }
    uint32 Open(uint32 flags = 0) { return source.OpenFile(Clip().c_str(), flags, nullptr, 0); }
    std::vector<uint8> Read(uint32 bytes) {
        std::vector<uint8> buffer(bytes);
        const int got = source.Read(buffer.data(), bytes);
        EXPECT_GE(got, 0);
        EXPECT_LE(got, static_cast<int>(bytes));
        buffer.resize(static_cast<std::size_t>(got));
        return buffer;
    }
    std::vector<uint8> Bytes(std::size_t position, std::size_t count) const {
        const auto from = content.begin() + static_cast<std::ptrdiff_t>(position);
        return {from, from + static_cast<std::ptrdiff_t>(count)};
    }

    TempFolder folder{TempFolder::Kind::Memory};
    const std::vector<uint8> content;
    CFileSource source;
};

} // namespace test
} // namespace vxcio
