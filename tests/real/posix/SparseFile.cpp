#include "real/posix/SparseFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace vxcio::test {

namespace {

constexpr uint64 kGibibyte = 1ull << 30;
constexpr uint64 kMark = 2000; // bytes on each side of a place

// The places that are marked, with their stretches.
std::vector<std::pair<uint64, uint64>> Stretches(uint64 size) {
    std::vector<std::pair<uint64, uint64>> stretches;
    for (uint64 place = 0; place < size; place += kGibibyte) {
        stretches.emplace_back(place - std::min(place, kMark), std::min(place + kMark, size));
    }
    stretches.emplace_back(size - std::min(size, kMark), size);
    return stretches;
}

} // namespace

SparseFile::SparseFile(const TempFolder& folder, const std::string& name, uint64 size)
    : m_size(size), m_wide(folder.Wide(name)) {
    folder.Write(name, "");
    std::filesystem::resize_file(folder.Name(name), size);
    std::fstream file(folder.Name(name), std::ios::in | std::ios::out | std::ios::binary);
    for (const auto& [from, to] : Stretches(size)) {
        file.seekp(static_cast<std::streamoff>(from));
        for (uint64 position = from; position < to; ++position) {
            file.put(static_cast<char>(ByteAt(position)));
        }
    }
    file.flush();
    if (!file) {
        throw std::runtime_error("cannot write " + folder.Name(name));
    }
}

uint8 SparseFile::ByteAt(uint64 position) const {
    const uint64 offset = position % kGibibyte;
    const bool marked = offset < kMark || (offset >= kGibibyte - kMark && position + kMark >= kGibibyte) ||
                        position + kMark >= m_size;
    // Places a GiB apart must differ.
    return marked ? static_cast<uint8>(position + (position >> 30) * 31 + (position >> 8) + m_size)
                  : uint8{0};
}

bool SparseFile::IsContent(uint64 position, const uint8* data, uint64 bytes) const {
    for (uint64 i = 0; i < bytes; ++i) {
        if (data[i] != ByteAt(position + i)) {
            return false;
        }
    }
    return true;
}

void SparseFile::ExpectMarks(const std::function<int(uint64, uint8*, uint32)>& read) const {
    std::vector<uint8> data(3 * kMark);
    for (const auto& [from, to] : Stretches(m_size)) {
        const uint64 start = from - std::min<uint64>(from, 333); // zeros come first
        const auto bytes = static_cast<uint32>(to - start);
        ASSERT_EQ(read(start, data.data(), bytes), static_cast<int>(bytes)) << start;
        EXPECT_TRUE(IsContent(start, data.data(), bytes)) << start;
    }
}

} // namespace vxcio::test
