// HandleFixture.h - a file handle over a file in a temporary folder, and what its tests ask of it.
#pragma once

#include "filehandle/SoftFileHandle.h"
#include "frame/Status.h"
#include "support/FaultPlan.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vxcio {

struct SoftFileHandleInspector {
    static const SCreateFile* Record(const CQLSoftFileHandle& handle) { return handle.m_pSCreateFile; }
    static uint32 OpenWait(const CQLSoftFileHandle& handle) { return handle.m_dwOpenWait; }
    static uint32 WriteWait(const CQLSoftFileHandle& handle) { return handle.m_dwWriteWait; }
    static uint32 ReadWait(const CQLSoftFileHandle& handle) { return handle.m_dwReadWait; }
    static uint32 SeekWait(const CQLSoftFileHandle& handle) { return handle.m_dwSeekWait; }
    // As no setting makes them: each with a length of its own.
    static void SetWaits(CQLSoftFileHandle& handle, uint32 open, uint32 write, uint32 read, uint32 seek) {
        handle.m_dwOpenWait = open;
        handle.m_dwWriteWait = write;
        handle.m_dwReadWait = read;
        handle.m_dwSeekWait = seek;
    }
    // As a time-out of a worker leaves it.
    static void SetStatus(CQLSoftFileHandle& handle, uint32 status) { handle.m_nStatus = status; }
};

namespace test {

inline uint32 OpenRead(CQLSoftFileHandle& handle, const std::wstring& name, uint32 flags = 0) {
    return handle.CreateFile(name.c_str(), VXC_GENERIC_READ, 3, nullptr, VXC_OPEN_EXISTING, flags, nullptr,
                             0);
}

inline uint32 OpenReadWrite(CQLSoftFileHandle& handle, const std::wstring& name) {
    return handle.CreateFile(name.c_str(), VXC_GENERIC_READ | VXC_GENERIC_WRITE, 3, nullptr, VXC_OPEN_ALWAYS,
                             0, nullptr, 0);
}

// A handle on a file of 10000 patterned bytes.
class HandleTest : public ::testing::Test {
protected:
    static constexpr uint32 kSize = 10000;
    static constexpr uint32 kSeed = 7;

    HandleTest() : content(Pattern(kSize, kSeed)) { folder.WritePattern("clip", kSize, kSeed); }

    std::wstring Clip() const { return folder.Wide("clip"); }
    // The bytes of the file from `position` on.
    std::vector<uint8> Bytes(std::size_t position, std::size_t count) const {
        const auto from = content.begin() + static_cast<std::ptrdiff_t>(position);
        return {from, from + static_cast<std::ptrdiff_t>(count)};
    }

    TempFolder folder{TempFolder::Kind::Memory};
    const std::vector<uint8> content;
    CQLSoftFileHandle handle;
};

// The same with a buffer to read into.
class HandleTransferTest : public HandleTest {
protected:
    uint32 Read(uint32 bytes, uint32* count = nullptr) {
        uint32 ignored = 0;
        return handle.ReadFile(buffer.data(), bytes, count == nullptr ? &ignored : count, nullptr);
    }
    uint64 KnownPosition() const { return SoftFileHandleInspector::Record(handle)->qwPosition; }

    std::vector<uint8> buffer = std::vector<uint8>(1 << 20);
};

} // namespace test
} // namespace vxcio
