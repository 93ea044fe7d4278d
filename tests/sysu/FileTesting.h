// FileTesting.h - short ways for tests of files to open, move and look.
#pragma once

#include "frame/SystemLayer.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace vxcio::test {

inline constexpr uint32 kReadWrite = VXC_GENERIC_READ | VXC_GENERIC_WRITE;
inline constexpr uint32 kShareAll = VXC_FILE_SHARE_READ | VXC_FILE_SHARE_WRITE;

// A file handle that is closed at the end, and the last error that its opening left.
class OpenFile {
public:
    explicit OpenFile(const std::wstring& name, uint32 access = VXC_GENERIC_READ, uint32 share = kShareAll,
                      uint32 disposition = VXC_OPEN_EXISTING, uint32 flags = VXC_FILE_ATTRIBUTE_NORMAL)
        : m_handle(VXC_CreateFileW(name.c_str(), access, share, nullptr, disposition, flags, nullptr)),
          m_error(VXC_GetLastError()) {}
    ~OpenFile() { Close(); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    bool IsOpen() const { return m_handle != VXC_INVALID_HANDLE; }
    uint32 Error() const { return m_error; }
    void* Handle() const { return m_handle; }
    int Close() {
        void* const handle = m_handle;
        m_handle = VXC_INVALID_HANDLE;
        return handle == VXC_INVALID_HANDLE ? 0 : VXC_CloseFile(handle);
    }

    // Up to `bytes`; fails the test where the read fails.
    std::string Read(uint32 bytes) const {
        std::string text(bytes, '?');
        unsigned long done = 0;
        EXPECT_NE(VXC_ReadFile(m_handle, text.data(), bytes, &done, nullptr), 0) << VXC_GetLastError();
        text.resize(done);
        return text;
    }
    // Fails the test where not all is written.
    void Write(std::string_view text) const {
        unsigned long done = 0;
        EXPECT_NE(VXC_WriteFile(m_handle, text.data(), static_cast<uint32>(text.size()), &done, nullptr), 0)
            << VXC_GetLastError();
        EXPECT_EQ(done, text.size());
    }
    // The new position, or -1 with the last error.
    int64 Seek(int64 distance, uint32 method = VXC_FILE_BEGIN) const {
        auto high = static_cast<int32>(distance >> 32);
        const uint32 low = VXC_SetFilePointer(m_handle, static_cast<int32>(distance), &high, method);
        if (low == VXC_INVALID_SET_FILE_POINTER && VXC_GetLastError() != 0) {
            return -1;
        }
        return static_cast<int64>(static_cast<uint64>(static_cast<uint32>(high)) << 32 | low);
    }
    uint64 Size() const {
        uint32 high = 0;
        const uint32 low = VXC_GetFileSize(m_handle, &high);
        return static_cast<uint64>(high) << 32 | low;
    }

private:
    void* m_handle;
    uint32 m_error;
};

} // namespace vxcio::test
