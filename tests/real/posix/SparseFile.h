// SparseFile.h - files larger than 4 GiB that take almost no room on the disk.
#pragma once

#include "support/TempFolder.h"

#include <functional>
#include <string>

namespace vxcio::test {

// Zeros but for marks at its start, around each whole GiB and at its end, which tell the place. Throws
// std::runtime_error where the disk does not take it.
class SparseFile {
public:
    SparseFile(const TempFolder& folder, const std::string& name, uint64 size);

    uint64 Size() const { return m_size; }
    const std::wstring& Wide() const { return m_wide; }

    // Whether these are the bytes from `position` on.
    bool IsContent(uint64 position, const uint8* data, uint64 bytes) const;

    // Reads across each mark and fails the test where other bytes come; `read` gives the count.
    void ExpectMarks(const std::function<int(uint64 position, uint8* data, uint32 bytes)>& read) const;

private:
    uint8 ByteAt(uint64 position) const;

    const uint64 m_size;
    const std::wstring m_wide;
};

} // namespace vxcio::test
