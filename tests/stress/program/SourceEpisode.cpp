#include "stress/program/SourceEpisode.h"

#include "frame/Status.h"

namespace vxcio {

// Blocks small enough that a ring turns often.
struct FileSourceInspector {
    static void SetReadBlockSize(CFileSource& source, uint32 size) { source.m_dwReadBlockSize = size; }
    static uint32 SectorSize(const CFileSource& source) { return source.m_dwSectorSize; }
    static int64 ReadPos(const CFileSource& source) { return source.m_qwReadPos; }
    static bool IsTwo(const CFileSource& source) { return source.m_bTwoHandle != 0; }
};

} // namespace vxcio

namespace vxcio::stress {

namespace {

constexpr uint32 kFromStart = 1;
constexpr uint32 kFromEnd = 2;
constexpr uint32 kFromCurrent = 3;

} // namespace

SourceEpisode::SourceEpisode(Random& random, Journal& journal, const Media& media, Weather& weather,
                             const Kinds& kinds, int thread)
    : m_random(random), m_journal(journal), m_media(media), m_weather(weather), m_kinds(kinds),
      m_thread(thread), m_source(std::make_unique<CFileSource>()), m_check(journal) {}

void SourceEpisode::Run() {
    Open();
    const uint32 operations = 1 + m_random.Below(60);
    for (uint32 i = 0; i < operations; ++i) {
        m_check.Look();
        OneOperation();
    }
    if (m_random.OneIn(3)) {
        Digest();
    }
    m_check.Look();
    if (m_random.OneIn(2)) {
        Close();
    }
    m_journal.Note("delete");
    m_source.reset();
    m_check.LentEnds();
    EndDisturbance();
    m_check.Look();
}

void SourceEpisode::Open() {
    // Opening again closes first; what was open may be in mid-air.
    EndDisturbance();
    m_check.LentEnds();
    m_file = static_cast<int>(m_random.Below(static_cast<uint32>(m_media.Count())));
    m_isTwo = m_random.OneIn(2) ? m_kinds.two : !m_kinds.one;
    m_flags = (m_random.OneIn(3) ? VXC_FILE_FLAG_NO_BUFFERING : 0) |
              (m_random.OneIn(2) ? VXC_FILE_FLAG_KEEP_WINDOW : 0) |
              (m_random.OneIn(4) ? VXC_FILE_FLAG_SEQUENTIAL_SCAN : 0);
    if (m_model.isDigested) {
        m_source->CSoftDataIO::Close(); // the digest is one of the former file
    }
    m_model = Model();
    m_journal.Note("OpenFile(file %d of %zu bytes, flags %08x, %s)", m_file, Content().size(), m_flags,
                   m_isTwo ? "two copies" : "one copy");
    const std::wstring second = m_media.Name(m_thread, m_file, 1);
    const uint32 status = m_source->OpenFile(m_media.Name(m_thread, m_file, 0).c_str(), m_flags,
                                             m_isTwo ? second.c_str() : nullptr, 0);
    m_journal.Result("%08x", status);
    m_isOpen = true;
    const bool isFailureRight = m_isTwo && Content().empty(); // two copies of nothing are no clip
    if ((status != VXC_STATUS_OK) != isFailureRight && IsExact()) {
        m_journal.Fail("the open gave %08x", status);
    }
    m_isDisturbed = m_isDisturbed || status != VXC_STATUS_OK;
    m_sectorSize = FileSourceInspector::SectorSize(*m_source);
    m_blockSize = m_random.Of<uint32>({8192, 16384, 65536, 65536, 1 << 20});
    FileSourceInspector::SetReadBlockSize(*m_source, m_blockSize);
    // Unbuffered catching up at odd places is refused by the system, which stays in the handle's status.
    if (m_random.OneIn(4) && (m_flags & VXC_FILE_FLAG_NO_BUFFERING) == 0) {
        m_journal.Note("BeginMD5_Check");
        m_source->EnableMD5_Check(0);
        m_source->BeginMD5_Check(0);
        m_model.isDigested = true;
    }
}

void SourceEpisode::Close() {
    m_journal.Note("CloseFile");
    m_check.LentEnds();
    const uint32 status = m_source->CloseFile();
    m_journal.Result("%08x", status);
    m_isOpen = false;
    const bool isDigested = m_model.isDigested;
    m_model = Model();
    m_model.isDigested = isDigested; // which outlives the file
    // All of it may be asked of a closed source.
    uint8* data = nullptr;
    uint8 byte = 0;
    if (m_source->Read(&byte, 1) != 0 || m_source->ReadAt(0, &data, 1) != 0 ||
        m_source->IsPreReadMode() != 0) {
        m_journal.Fail("a closed source gave something");
    }
}

void SourceEpisode::OneOperation() {
    if (!m_isOpen) {
        Open();
        return;
    }
    const uint32 what = m_random.Below(100);
    if (what < 40) {
        Read();
    } else if (what < 55) {
        ReadAt(false);
    } else if (what < 62) {
        ReadAt(true);
    } else if (what < 76) {
        Seek();
    } else if (what < 84) {
        Enable();
    } else if (what < 86) {
        Disable();
    } else if (what < 89) {
        GetFileSize();
    } else if (what < 90) {
        Repeat();
    } else if (what < 97) {
        Disturb();
    } else if (what < 98) {
        Close();
    } else {
        Open();
    }
}

uint32 SourceEpisode::SomeLength() {
    switch (m_random.Below(8)) {
    case 0:
        return m_random.Below(3);
    case 1:
    case 2:
        return 188;
    case 3:
        return m_random.Below(5000);
    case 4:
        return m_random.Of<uint32>({512, 4096, 16384, 65536, m_blockSize});
    case 5:
        return m_random.Below(3 * m_blockSize);
    default:
        return m_random.Below(70'000);
    }
}

int64 SourceEpisode::SomePosition() {
    const auto size = static_cast<int64>(Content().size());
    switch (m_random.Below(12)) {
    case 0:
        return m_random.Between(-5, 5);
    case 1:
        return size + m_random.Between(-700, 700);
    case 2:
        return m_random.Between(0, 4 * size + 4096);
    case 3:
        return m_random.Of<int64>({-1, int64{1} << 40, INT64_MAX, INT64_MIN, 0xFFFFFFFF});
    case 4:
        return m_random.Between(0, size) / 4096 * 4096;
    case 5:
    case 6:
    case 7:
        return m_model.readPos / 2 + m_random.Between(0, 2 * static_cast<int64>(m_blockSize)); // near by
    default:
        return m_random.Between(0, size);
    }
}

uint32 SourceEpisode::Left(int64 position, uint32 bytes) const {
    const auto size = static_cast<int64>(Content().size());
    return position < 0 || position >= size ? 0
                                            : static_cast<uint32>(std::min<int64>(bytes, size - position));
}

void SourceEpisode::CheckCount(uint32 got, uint32 expected) {
    m_journal.Result("%u", got);
    if (got > expected || (got < expected && IsExact())) {
        m_journal.Fail("%u bytes came and not %u", got, expected);
    }
}

void SourceEpisode::Read() {
    const uint32 bytes = SomeLength();
    int64& position = m_model.isAhead ? m_model.readPos : m_model.filePos;
    m_journal.Note("Read(%u) at %lld%s", bytes, static_cast<long long>(position),
                   m_model.isAhead ? " ahead" : "");
    const auto got = static_cast<uint32>(m_source->Read(m_check.Prepare(bytes), bytes));
    // A read that was widened to whole sectors of one of two copies tells its whole length, whatever came.
    const bool isWidened = m_isTwo && FileSourceInspector::IsTwo(*m_source) && !m_model.isAhead &&
                           (m_flags & VXC_FILE_FLAG_NO_BUFFERING) != 0 &&
                           (static_cast<uint64>(position) % m_sectorSize != 0 || bytes % m_sectorSize != 0);
    if (isWidened) {
        m_journal.Result("%u", got);
        if (got != bytes && (got != 0 || IsExact())) {
            m_journal.Fail("%u bytes came and not %u", got, bytes);
        }
    } else {
        CheckCount(got, Left(position, bytes));
    }
    m_check.Came(Content(), position, got, isWidened ? CheckedRead::Rest::Zeros : CheckedRead::Rest::None);
    m_model.readPos = static_cast<int64>(static_cast<uint64>(m_model.readPos) + got);
    if (m_model.isAhead) {
        m_model.isFilePosKnown = false;
    } else {
        m_model.filePos = static_cast<int64>(static_cast<uint64>(m_model.filePos) + got);
    }
}

// At a position of its own, or (ReadPtr) where the reader stands.
void SourceEpisode::ReadAt(bool atPosition) {
    const auto bytes =
        m_random.OneIn(20) ? -static_cast<int>(m_random.Below(1000)) : static_cast<int>(SomeLength());
    const int64 position = atPosition ? m_model.readPos : SomePosition();
    m_journal.Note("%s(%lld, %d)", atPosition ? "ReadPtr" : "ReadAt", static_cast<long long>(position),
                   bytes);
    m_check.LentEnds(); // the memory of the last one may go
    uint8* data = nullptr;
    const int got = atPosition ? m_source->ReadPtr(&data, bytes)
                               : m_source->ReadAt(static_cast<uint64>(position), &data, bytes);
    if (got < 0 || (got > 0 && data == nullptr)) {
        m_journal.Fail("ReadAt gave %d", got);
    }
    CheckCount(static_cast<uint32>(got),
               m_model.isAhead && bytes > 0 ? Left(position, static_cast<uint32>(bytes)) : 0);
    if (got > 0) {
        m_check.Lent(Content(), position, data, static_cast<uint32>(got));
    }
    if (m_model.isAhead) {
        m_model.readPos = static_cast<int64>(static_cast<uint64>(m_model.readPos) + static_cast<uint64>(got));
        m_model.isFilePosKnown = false;
    }
}

void SourceEpisode::Seek() {
    const uint32 origin = m_random.Of<uint32>({1, 1, 1, 1, 2, 3, 3, 0, 7});
    const int64 offset =
        origin == kFromStart || m_random.OneIn(4) ? SomePosition() : m_random.Between(-100'000, 100'000);
    m_journal.Note("Seek(%lld, %u)", static_cast<long long>(offset), origin);
    if (m_model.isAhead) {
        SeekAhead(offset, origin);
    } else {
        SeekPlain(offset, origin);
    }
}

void SourceEpisode::SeekAhead(int64 offset, uint32 origin) {
    m_check.LentEnds(); // it reads a byte by ReadAt
    const bool isKnown = m_model.readPos >= 0 || m_model.isFilePosKnown;
    const int64 from = m_model.readPos >= 0 ? m_model.readPos : m_model.filePos;
    const bool isRelative = origin == kFromEnd || origin == kFromCurrent;
    const auto target =
        static_cast<int64>((isRelative ? static_cast<uint64>(from) : 0) + static_cast<uint64>(offset));
    const int64 result = m_source->Seek(offset, origin);
    m_journal.Result("%lld", static_cast<long long>(result));
    if (result != target && (isKnown || !isRelative)) {
        m_journal.Fail("the seek gave %lld and not %lld", static_cast<long long>(result),
                       static_cast<long long>(target));
    }
    m_model.readPos = result;
    if (origin != kFromCurrent || offset != 0) {
        m_model.isFilePosKnown = false;
    }
}

void SourceEpisode::SeekPlain(int64 offset, uint32 origin) {
    const auto size = static_cast<uint64>(Content().size());
    uint64 target = static_cast<uint64>(m_model.filePos);
    if (origin == kFromStart) {
        target = static_cast<uint64>(offset);
    } else if (origin == kFromEnd) {
        target = size + static_cast<uint64>(offset);
    } else if (origin == kFromCurrent) {
        target += static_cast<uint64>(offset);
    }
    const int64 result = m_source->Seek(offset, origin);
    m_journal.Result("%lld", static_cast<long long>(result));
    // The size may not be told any more.
    const bool isWithoutSize = origin == kFromEnd && result == offset && !IsExact();
    if (result != static_cast<int64>(target) && !isWithoutSize) {
        m_journal.Fail("the seek gave %lld and not %lld", static_cast<long long>(result),
                       static_cast<long long>(target));
    }
    m_model.filePos = result;
    m_model.readPos = result;
}

// The size of the ring that such a call makes; 0 for none.
uint64 SourceEpisode::SizeAhead(int bufferBytes, int minimumBytes) const {
    auto size = static_cast<uint64>(static_cast<uint32>(bufferBytes) & 0x7FFFFFFFu);
    if (static_cast<int64>(size) < minimumBytes) {
        size = 2 * static_cast<uint64>(minimumBytes);
    }
    size = (size + m_sectorSize - 1) / m_sectorSize * m_sectorSize;
    size = (size + m_blockSize - 1) / m_blockSize * m_blockSize;
    return std::max<uint64>(size, 2 * uint64{m_blockSize});
}

void SourceEpisode::Enable() {
    const bool isWhole = m_random.OneIn(5);
    int buffer = static_cast<int>(m_random.Below(12 * m_blockSize));
    if (m_random.OneIn(3) && m_model.preReadSize != 0) {
        buffer = static_cast<int>(m_model.preReadSize); // the same again
    }
    if (isWhole) {
        buffer = static_cast<int>(static_cast<uint32>(buffer) | 0x80000000u);
    }
    const auto minimum = static_cast<int>(m_random.OneIn(8) ? m_random.Between(-1000, 200'000) : 0);
    m_journal.Note("EnablePreRead(%08x, %d), blocks of %u", static_cast<uint32>(buffer), minimum,
                   m_blockSize);
    m_check.LentEnds();
    m_source->EnablePreRead(buffer, minimum);
    const bool isAhead = m_source->IsPreReadMode() != 0;
    m_journal.Result("%s", isAhead ? "on" : "off");
    if (buffer == 0) {
        return;
    }
    if (!isAhead && IsExact()) {
        m_journal.Fail("read-ahead stayed off");
    }
    const int64 now = FileSourceInspector::ReadPos(*m_source);
    const uint64 size = SizeAhead(buffer, minimum);
    bool isRestarted = m_model.isAhead && !m_model.isWhole && size != m_model.preReadSize;
    if (!IsExact() || Content().empty()) {
        // Whether the file came into memory is not known then; where the reader stands tells.
        isRestarted = m_model.isAhead && (now != m_model.readPos || !isAhead);
        m_model.isFilePosKnown = m_model.isFilePosKnown && m_model.readPos != -1;
    } else if (!m_model.isWhole) {
        m_model.isWhole = isWhole;
        m_model.preReadSize = static_cast<uint32>(size);
    }
    if (isRestarted) {
        // The reader's position is lost; who goes on seeks.
        m_model.filePos = m_model.readPos;
        m_model.isFilePosKnown = true;
        m_model.readPos = -1;
        m_model.isWhole = false;
    }
    if (now != m_model.readPos) {
        m_journal.Fail("the reader stands at %lld and not at %lld", static_cast<long long>(now),
                       static_cast<long long>(m_model.readPos));
    }
    m_model.isAhead = isAhead;
}

void SourceEpisode::Disable() {
    m_journal.Note("DisablePreRead");
    m_check.LentEnds();
    m_source->DisablePreRead();
    if (m_source->IsPreReadMode() != 0) {
        m_journal.Fail("read-ahead stayed on");
    }
    if (m_model.isAhead) {
        m_model.filePos = m_model.readPos;
        m_model.readPos = -1;
        m_model.isFilePosKnown = true;
        m_model.isAhead = false;
        m_model.isWhole = false;
    }
}

void SourceEpisode::GetFileSize() {
    m_journal.Note("GetFileSize");
    const uint64 size = m_source->GetFileSize();
    m_journal.Result("%llu", static_cast<unsigned long long>(size));
    if (size != Content().size() && (size != 0 || IsExact())) {
        m_journal.Fail("the size is %zu", Content().size());
    }
}

void SourceEpisode::Repeat() {
    // Repeats sleep for seconds, ten times for each short read; only a clock that runs fast has them. A
    // digest that catches up beyond the end of the file makes a thousand short reads: hours on any clock.
    if (m_weather.IsRough() && !m_model.isDigested) {
        m_journal.Note("SetReadRepeat(1)");
        m_source->SetReadRepeat(1);
        Read();
        m_journal.Note("SetReadRepeat(0)");
        m_source->SetReadRepeat(0);
    }
}

} // namespace vxcio::stress
