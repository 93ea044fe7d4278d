// RemoteFixture.h - a remote source over the tests' companion module, and what its tests ask of it.
#pragma once

#include "frame/InnerSoftDataIO.h"
#include "frame/Status.h"
#include "sources/RemoteCompanion.h"
#include "sources/RemoteSource.h"
#include "support/Digests.h"
#include "support/FaultPlan.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vxcio {

struct RemoteSourceInspector {
    static int64 FilePos(const CRemoteSource& source) { return source.m_qwFilePos; }
    static int64 ReadPos(const CRemoteSource& source) { return source.m_qwReadPos; }
    static uint32 SectorSize(const CRemoteSource& source) { return source.m_dwSectorSize; }
    static std::size_t BounceBufferSize(const CRemoteSource& source) { return source.m_pAlignBuffer.Size(); }
    static uint32 Flags(const CRemoteSource& source) { return source.m_dwFlags; }
    static std::wstring Name(const CRemoteSource& source) { return source.m_strFile.c_str(); }
    static bool HasObject(const CRemoteSource& source) { return source.m_pRemoteFile != nullptr; }
    static SReadRate& ReadRate(CRemoteSource& source) { return source.m_ReadRate; }
    static CInnerSoftDataIO& Inner(CRemoteSource& source) { return *source.m_pInner; }
};

namespace test {

constexpr const wchar_t* kUrl = L"http://host/clip.mxf";

class RemoteSourceFixture : public ::testing::Test {
protected:
    static constexpr uint32 kSize = 10000;

    RemoteSourceFixture() { companion.content = content; }

    uint32 Open(uint32 flags = 0) { return source.OpenFile(kUrl, flags, nullptr, 0); }
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
    // What was asked of the module since the last time.
    std::vector<std::string> Calls() {
        const std::vector<std::string> calls = companion.Calls();
        companion.Clear();
        return calls;
    }

    const std::vector<uint8> content = Pattern(kSize, 3);
    RemoteCompanion companion;
    CRemoteSource source;
};

} // namespace test
} // namespace vxcio
