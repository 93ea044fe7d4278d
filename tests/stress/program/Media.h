// Media.h - the files that the stress program reads, and what stands in them.
#pragma once

#include "frame/Types.h"
#include "support/TempFolder.h"

#include <string>
#include <vector>

namespace vxcio::stress {

// Made before the threads start, read by all of them. Each thread has the files under names of its own, in
// two copies, so that faults of one thread are none of another.
class Media {
public:
    explicit Media(int threads);

    int Count() const { return static_cast<int>(m_contents.size()); }
    const std::vector<uint8>& Content(int file) const { return m_contents[static_cast<std::size_t>(file)]; }
    // Copy 0 or 1. The whole name, and its end, by which faults know it.
    std::wstring Name(int thread, int file, int copy) const;
    static std::wstring NameEnd(int thread, int file, int copy);

private:
    test::TempFolder m_folder{test::TempFolder::Kind::Disk};
    std::vector<std::vector<uint8>> m_contents;
};

} // namespace vxcio::stress
