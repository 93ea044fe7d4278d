#include "stress/program/CheckedRead.h"

#include <algorithm>
#include <cstring>

namespace vxcio::stress {

namespace {
constexpr uint8 kUntouched = 0xA5;
}

uint8* CheckedRead::Prepare(uint32 bytes) {
    // New memory each time: a late writer then meets memory that is gone.
    m_buffer = std::vector<uint8>(bytes + kGuard, kUntouched);
    m_copy.clear();
    return m_buffer.data();
}

void CheckedRead::Compare(const std::vector<uint8>& content, int64 position, const uint8* data, uint32 got,
                          Rest rest) const {
    const std::size_t start = static_cast<std::size_t>(std::max<int64>(position, 0));
    const std::size_t there =
        position < 0 || start >= content.size() ? 0 : std::min<std::size_t>(got, content.size() - start);
    std::size_t same = 0;
    if (there > 0 && std::memcmp(data, content.data() + start, there) == 0) {
        same = there;
    } else {
        while (same < there && data[same] == content[start + same]) {
            ++same;
        }
    }
    if (same == got) {
        return;
    }
    const bool zeros =
        rest == Rest::Zeros && std::all_of(data + same, data + got, [](uint8 byte) { return byte == 0; });
    if (!zeros) {
        m_journal.Fail("byte %zu of %u at position %lld is %02x (%zu are there)", same, got,
                       static_cast<long long>(position), data[same], there);
    }
}

void CheckedRead::Came(const std::vector<uint8>& content, int64 position, uint32 got, Rest rest) {
    if (got > m_buffer.size() - kGuard) {
        m_journal.Fail("%u bytes came where %zu were asked for", got, m_buffer.size() - kGuard);
    }
    Compare(content, position, m_buffer.data(), got, rest);
    m_copy = m_buffer;
    Look();
}

void CheckedRead::Lent(const std::vector<uint8>& content, int64 position, const uint8* data, uint32 got) {
    Compare(content, position, data, got, Rest::None);
    m_lent = data;
    m_lentCopy.assign(data, data + got);
}

void CheckedRead::Look() const {
    if (!m_copy.empty()) {
        if (!std::equal(m_buffer.end() - kGuard, m_buffer.end(),
                        std::vector<uint8>(kGuard, kUntouched).begin())) {
            m_journal.Fail("a read wrote behind the buffer");
        }
        if (m_buffer != m_copy) {
            m_journal.Fail("the buffer of a read changed after it");
        }
    }
    if (m_lent != nullptr && std::memcmp(m_lent, m_lentCopy.data(), m_lentCopy.size()) != 0) {
        m_journal.Fail("what ReadAt gave changed before the next one");
    }
}

} // namespace vxcio::stress
