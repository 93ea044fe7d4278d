#include "stress/program/Media.h"

#include <filesystem>

namespace vxcio::stress {

namespace {

// Around sectors, blocks and the ring; nothing, and almost nothing.
constexpr std::size_t kSizes[] = {
    0,         1,       511,  4096,          65536,           196'625, 300'000, (1 << 20), (1 << 20) + 1,
    2'621'773, 5 << 20, 4097, (1 << 18) - 1, (1 << 19) + 512, 786'432};

std::string ShortName(int thread, int file, int copy) {
    return "clip" + std::to_string(file) + "-of" + std::to_string(thread) + "-" + std::to_string(copy) +
           ".dat";
}

} // namespace

Media::Media(int threads) {
    for (std::size_t size : kSizes) {
        const int file = Count();
        m_contents.push_back(test::Pattern(size, static_cast<uint32>(file + 1)));
        const std::string base = m_folder.WritePattern("base", size, static_cast<uint32>(file + 1));
        for (int thread = 0; thread < threads; ++thread) {
            for (int copy = 0; copy < 2; ++copy) {
                std::filesystem::create_hard_link(base, m_folder.Name(ShortName(thread, file, copy)));
            }
        }
        std::filesystem::remove(base);
    }
}

std::wstring Media::Name(int thread, int file, int copy) const {
    return m_folder.Wide(ShortName(thread, file, copy));
}

std::wstring Media::NameEnd(int thread, int file, int copy) {
    const std::string name = ShortName(thread, file, copy);
    return {name.begin(), name.end()};
}

} // namespace vxcio::stress
