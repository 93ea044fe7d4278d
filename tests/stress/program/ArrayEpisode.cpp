#include "stress/program/ArrayEpisode.h"

#include "frame/PlatformTypes.h"

#include <algorithm>

namespace vxcio::stress {

namespace {

// One for the life of an array: files that are not in use keep the ring they had, and lose their place when
// they get another one.
constexpr int kRing = 3 << 20;
constexpr int kLongestRead = 200'000;

} // namespace

ArrayEpisode::ArrayEpisode(Random& random, Journal& journal, const Media& media, Weather& weather,
                           const Kinds& kinds, int thread)
    : m_random(random), m_journal(journal), m_media(media), m_weather(weather), m_kinds(kinds),
      m_thread(thread), m_array(ConstructDataSourceArray()), m_check(journal) {}

void ArrayEpisode::Run() {
    Open();
    const uint32 operations = 1 + m_random.Below(60);
    for (uint32 i = 0; i < operations; ++i) {
        m_check.Look();
        const uint32 what = m_random.Below(100);
        if (what < 60) {
            Read();
        } else if (what < 80) {
            Seek();
        } else if (what < 86) {
            ReadAtStart();
        } else if (what < 92) {
            TurnReadAhead();
        } else if (what < 94) {
            m_journal.Note("GetFileSize");
            if (m_array->GetFileSize() != static_cast<int64>(m_content.size())) {
                m_journal.Fail("the size is not %zu", m_content.size());
            }
        } else {
            Hang();
        }
    }
    m_check.Look();
    m_journal.Note("CloseFiles");
    m_array->CloseFiles();
    for (const int file : m_files) {
        m_weather.OpenGates(Media::NameEnd(m_thread, file, 0));
    }
}

void ArrayEpisode::Open() {
    // Copies that are given up would leave holes, and one of two whose size is odd tells too much unbuffered.
    const bool isTwo = m_kinds.two && !m_weather.IsRough() && m_random.OneIn(3);
    const uint32 flags = (!isTwo && m_random.OneIn(3) ? VXC_FILE_FLAG_NO_BUFFERING : 0) |
                         (m_random.OneIn(3) ? VXC_FILE_FLAG_KEEP_WINDOW : 0);
    CVXCStringArray names;
    const uint32 count = 1 + m_random.Below(5);
    while (m_files.size() < count) {
        const int file = static_cast<int>(m_random.Below(static_cast<uint32>(m_media.Count())));
        const std::vector<uint8>& content = m_media.Content(file);
        if (content.empty()) {
            continue; // ends a read early, wherever it stands
        }
        if (m_files.empty()) {
            m_firstSize = content.size();
        }
        m_files.push_back(file);
        m_content.insert(m_content.end(), content.begin(), content.end());
        std::wstring name = m_media.Name(m_thread, file, 0);
        if (isTwo) {
            name += L"*" + m_media.Name(m_thread, file, 1);
        }
        names.Add(name.c_str());
    }
    m_journal.Note("OpenFiles(%u files of %zu bytes, flags %08x, %s)", count, m_content.size(), flags,
                   isTwo ? "two copies of each" : "one copy of each");
    const uint32 status = m_array->OpenFiles(names, flags);
    m_journal.Result("%08x", status);
    if (status != 0) {
        m_journal.Fail("the open gave %08x", status);
    }
}

void ArrayEpisode::Read() {
    const uint32 bytes = m_random.OneIn(3) ? 188 : m_random.Below(kLongestRead);
    const auto left = static_cast<int64>(m_content.size()) - m_position;
    const auto expected =
        m_isNowhere ? 0 : static_cast<int>(std::clamp<int64>(left, 0, static_cast<int64>(bytes)));
    m_journal.Note("Read(%u) at %lld%s", bytes, static_cast<long long>(m_position),
                   m_isAhead ? " ahead" : "");
    const int got = m_array->Read(m_check.Prepare(bytes), bytes);
    m_journal.Result("%d", got);
    if (got != expected) {
        m_journal.Fail("%d bytes came and not %d", got, expected);
    }
    m_check.Came(m_content, m_position, static_cast<uint32>(got), CheckedRead::Rest::None);
    m_position += got;
}

// ReadAt is exact in the first file; the place of that file is lost by it.
void ArrayEpisode::ReadAtStart() {
    const auto bytes = static_cast<int>(1 + m_random.Below(static_cast<uint32>(m_firstSize)));
    const int64 position = m_random.Between(0, static_cast<int64>(m_firstSize) - bytes);
    m_journal.Note("ReadAt(%lld, %d)", static_cast<long long>(position), bytes);
    uint8* data = nullptr;
    const int got = m_array->ReadAt(static_cast<uint64>(position), &data, bytes);
    m_journal.Result("%d", got);
    if (got != (m_isAhead ? bytes : 0)) {
        m_journal.Fail("%d bytes came", got);
    }
    if (got > 0) {
        m_check.Lent(m_content, position, data, static_cast<uint32>(got));
        m_check.Look();
        m_check.LentEnds();
    }
    Seek();
}

void ArrayEpisode::Seek() {
    const auto size = static_cast<int64>(m_content.size());
    const int64 target =
        m_random.OneIn(10) ? m_random.Between(size, size + 5000) : m_random.Between(0, size - 1);
    const uint32 origin = m_random.OneIn(4) && target <= size ? 2 : 1; // 2 counts backwards from the end
    const int64 offset = origin == 2 ? size - target : target;
    m_journal.Note("Seek(%lld, %u)", static_cast<long long>(offset), origin);
    const uint64 result = m_array->Seek(static_cast<uint64>(offset), origin);
    m_journal.Result("%llu", static_cast<unsigned long long>(result));
    if (result != static_cast<uint64>(target)) {
        m_journal.Fail("the seek did not give %lld", static_cast<long long>(target));
    }
    m_position = target;
    m_isNowhere = target >= size;
}

// Files hear of it at their next read; who goes on seeks.
void ArrayEpisode::TurnReadAhead() {
    if (m_isAhead) {
        m_journal.Note("DisablePreRead");
        m_array->DisablePreRead();
    } else {
        m_journal.Note("EnablePreRead(%d, %d)", kRing, kLongestRead);
        m_array->EnablePreRead(kRing, kLongestRead);
    }
    m_isAhead = !m_isAhead;
    if ((m_array->IsPreReadMode() != 0) != m_isAhead) {
        m_journal.Fail("read-ahead is not what it was turned to");
    }
    Seek();
}

void ArrayEpisode::Hang() {
    const int file = m_files[m_random.Below(static_cast<uint32>(m_files.size()))];
    const int nth = 1 + static_cast<int>(m_random.Below(4));
    m_journal.Note("read #%d of %zu bytes hangs", nth, m_media.Content(file).size());
    m_weather.Hold(test::Op::VXC_ReadFile, Media::NameEnd(m_thread, file, 0), nth, m_random.OneIn(4),
                   m_random.OneIn(3), static_cast<int>(m_random.Below(20)));
}

} // namespace vxcio::stress
