// Random lives of a file sink against a model in memory: whatever is written, sought, read back, closed and
// opened again, the bytes, positions, sizes, flags and digests are the model's.
//
// VXC_RANDOM_SEQUENCES lives of each kind from VXC_RANDOM_SEED on; where it is not set ten thousand of all
// kinds together, a tenth of them under ThreadSanitizer.
// What fails prints its seed and all its operations; VXC_RANDOM_SEED with VXC_RANDOM_SEQUENCES=1 repeats it.
#include "frame/ModuleValues.h"
#include "sinks/MemoryModel.h"
#include "sinks/SinkFixture.h"
#include "stress/program/Random.h"
#include "support/HostTable.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

using namespace vxcio;
using namespace vxcio::test;
using stress::Random;

namespace {

using Inspector = WriteFileInspector;

uint32 g_sectorSize = 512; // what the probe of the disk answers

enum class Medium { Host, Memory, Disk };

// Where the files of a test lie.
struct Places {
    const TempFolder memory{TempFolder::Kind::Memory};
    const TempFolder disk{TempFolder::Kind::Disk};
};

const std::vector<uint8>& Noise() {
    static const std::vector<uint8> noise = Pattern(6'000'000, 5);
    return noise;
}

struct Ring {
    uint32 bufferBytes;
    uint32 blockBytes;
    uint32 node; // the block that comes of it
};

// The life of one sink. One use.
class Life {
public:
    Life(uint64 seed, const WritePath& path, const Places& places)
        : m_seed(seed), m_random(seed), m_path(path), m_places(places) {}

    void Run() {
        Begin();
        const uint32 rounds = m_random.Of<uint32>({1, 1, 1, 2, 2, 3});
        for (uint32 round = 0; round < rounds && m_good; ++round) {
            Open(round);
            const uint32 steps = 2 + m_random.Below(15);
            for (uint32 step = 0; step < steps && m_good; ++step) {
                Step();
            }
            if (m_good && m_random.OneIn(40)) {
                SeekBeforeTheStart();
            }
            Close();
        }
        CheckDigest();
    }

private:
    // ---- words ----

    [[gnu::format(printf, 2, 3)]] void Say(const char* format, ...) {
        char text[200];
        va_list values;
        va_start(values, format);
        std::vsnprintf(text, sizeof text, format, values);
        va_end(values);
        m_said += text;
        m_said += '\n';
    }

    void Check(bool good, const char* what) {
        if (!good && m_good) {
            m_good = false;
            ADD_FAILURE() << what << " in the life of seed " << m_seed << ":\n" << m_said;
        }
    }

    // ---- the file ----

    std::wstring Name() const {
        switch (m_medium) {
        case Medium::Host:
            return m_host->Tagged();
        case Medium::Memory:
            return m_places.memory.Wide("target");
        default:
            return m_places.disk.Wide("target");
        }
    }
    const TempFolder& Folder() const { return m_medium == Medium::Memory ? m_places.memory : m_places.disk; }
    std::vector<uint8> Content() const {
        if (m_medium == Medium::Host) {
            return m_host->Content();
        }
        std::ifstream file(Folder().Name("target"), std::ios::binary | std::ios::ate);
        std::vector<uint8> content(static_cast<std::size_t>(std::max<std::streamoff>(0, file.tellg())));
        file.seekg(0).read(reinterpret_cast<char*>(content.data()),
                           static_cast<std::streamsize>(content.size()));
        return content;
    }

    void Begin() {
        g_sectorSize = m_random.OneIn(2) ? 512 : 4096;
        const uint32 kind = m_random.Below(30);
        m_medium = kind == 0 ? Medium::Disk : kind < 15 ? Medium::Memory : Medium::Host;
        std::vector<uint8> content;
        if (m_random.OneIn(2)) {
            content = Slice(Noise(), m_random.Below(1000), Size() % 300'000);
        }
        m_model.SetDisk(content);
        Say("sector %u, medium %d, %zu bytes at first", g_sectorSize, static_cast<int>(m_medium),
            content.size());
        if (m_medium == Medium::Host) {
            m_host = std::make_unique<HostTable>(L"host.mxf", std::move(content));
        } else if (content.empty() && m_random.OneIn(2)) {
            std::filesystem::remove(Folder().Name("target"));
        } else {
            Folder().Write("target", {reinterpret_cast<const char*>(content.data()), content.size()});
        }
    }

    // Past the cache the disk sees nothing but whole sectors.
    void CheckHostCalls() {
        if (m_host == nullptr) {
            return;
        }
        for (const HostCall& call : m_host->Log()) {
            const bool transfers =
                call.function == HostFunction::Read || call.function == HostFunction::Write;
            Check(!transfers || !m_setup.unbuffered ||
                      (call.position % m_setup.sectorSize == 0 && call.bytes % m_setup.sectorSize == 0),
                  "a transfer of less than sectors");
        }
        m_host->ClearLog();
    }

    // ---- numbers ----

    // A length that is more often than not one at which something could go wrong.
    uint32 Size() {
        const uint32 s = g_sectorSize;
        const uint32 beside = m_random.Of<uint32>({0, 0, 1, 0xFFFFFFFF});
        switch (m_random.Below(10)) {
        case 0:
            return m_random.Of<uint32>({0, 1, 2});
        case 1:
        case 2:
            return s * m_random.Of<uint32>({1, 2, 3, 16}) + beside;
        case 3: // up to the end of a sector
            return static_cast<uint32>(s - m_model.Position() % s) + beside;
        case 4: // up to the end of a node, or beyond
            if (m_node > 0 && m_node <= 65536) {
                return m_node * m_random.Of<uint32>({1, 2, 5}) -
                       (m_random.OneIn(2) ? static_cast<uint32>(m_model.Position() % m_node) : 0) + beside;
            }
            return m_random.OneIn(6) ? m_node + beside : s + beside;
        case 5:
            return m_random.Below(30'000);
        case 6:
            return m_random.OneIn(25) ? 1'048'576 + m_random.Below(600'000) : 188;
        default:
            return 1 + m_random.Below(3 * s);
        }
    }

    uint64 Place() {
        const uint64 s = g_sectorSize;
        const uint64 size = m_model.Size();
        const uint64 beside = m_random.Of<uint64>({0, 0, 1, 2});
        switch (m_random.Below(8)) {
        case 0:
            return 0;
        case 1:
            return size;
        case 2: // beyond the end, and often into another sector
            return size + m_random.Below(static_cast<uint32>(3 * s));
        case 3:
            return (size / s + m_random.Below(3)) * s + beside;
        case 4: // where it is or close by
            return m_model.Position() + beside;
        case 5:
            return m_random.OneIn(10) ? size + m_random.Below(400'000) : size - std::min(size, beside);
        default:
            const uint64 place = size == 0 ? 0 : m_random.Next() % size;
            return m_random.OneIn(3) ? place / s * s + beside : place;
        }
    }

    // ---- operations ----

    void Open(uint32 round) {
        const WritePath& path = round > 0 && m_random.OneIn(3) ? kWritePaths[m_random.Below(4)] : m_path;
        const uint32 s = g_sectorSize;
        const Ring ring = m_random.Of<Ring>({{1, 77, 524288},
                                             {1048577, 4096, 4096},
                                             {1048577, 4096, 4096},
                                             {1048577, 5000, (5000 / s + 1) * s},
                                             {1048577, 65536, 65536},
                                             {1048577, 65536, 65536},
                                             {1572864, 262144, 262144},
                                             {2097152, 0, 1048576}});
        const uint32 mode = m_random.Below(3);
        m_setup = {path.bufferBytes != 0, path.flags != 0, s, ring.node};
        m_node = m_setup.threaded ? ring.node : 0;
        Say("open as %s, mode %u, ring of %u by %u", path.name, mode, ring.bufferBytes, ring.blockBytes);
        const bool digestBefore = m_random.OneIn(3);
        if (digestBefore) {
            EnableDigest();
        }
        Check(m_sink.OpenFile(Name().c_str(), m_setup.threaded ? ring.bufferBytes : 0, ring.blockBytes, mode,
                              path.flags, 0, 0, 0, 0, nullptr) == VXC_STATUS_OK,
              "the open failed");
        m_model.Open(m_setup, mode, m_medium == Medium::Host);
        if (!digestBefore && m_random.OneIn(3)) {
            EnableDigest();
        }
        CheckState();
    }

    void Step() {
        const uint32 kind = m_random.Below(100);
        if (kind < 50) {
            Write();
        } else if (kind < 72) {
            Seek();
        } else if (kind < 93) {
            ReadBack();
        } else if (kind < 97) {
            TurnCache();
        } else {
            TurnDigest();
        }
        CheckState();
    }

    void CheckState() {
        Check(Inspector::IsGood(m_sink), "the sink tells of a failure");
        Check(Inspector::Position(m_sink) == m_model.Position(), "another position");
        Check(m_sink.GetFileSize() == m_model.Size(), "another size");
        const uint32 s = m_setup.sectorSize;
        Check(!m_setup.unbuffered || Inspector::StageFill(m_sink) < s, "more than a sector stays behind");
    }

    void Write() {
        const uint32 bytes = std::min<uint32>(Size(), 3'000'000);
        Say("write %u at %llu", bytes, static_cast<unsigned long long>(m_model.Position()));
        const uint8* const data = Noise().data() + m_random.Below(2'000'000);
        uint32 wentOut = 77;
        const bool isAsked = !m_random.OneIn(5);
        const int result = m_sink.Write(data, bytes, isAsked ? &wentOut : nullptr);
        const uint32 expected = m_model.Write(data, bytes);
        Check(result == static_cast<int>(bytes), "another count");
        Check(!isAsked || wentOut == expected, "another word on what went out");
    }

    void Seek() {
        const auto place = static_cast<int64>(Place());
        const uint32 origin = m_random.Below(5);
        int64 offset = place;
        if (origin == 2) {
            offset -= static_cast<int64>(m_model.Size());
        } else if (origin == 3) {
            offset -= static_cast<int64>(m_model.Position());
        }
        Say("seek %lld from %u", static_cast<long long>(offset), origin);
        const int64 expected = m_model.Seek(offset, origin);
        Check(m_sink.Seek(offset, origin) == expected && expected == place, "another place");
    }

    void ReadBack() {
        uint32 bytes = std::min<uint32>(Size(), 2'000'000);
        const bool fromHere = m_random.OneIn(4);
        if (!fromHere) { // otherwise what lies behind the position, often nothing
            const uint64 back = std::min<uint64>(m_model.Position(), bytes);
            m_sink.Seek(-static_cast<int64>(back), 3);
            m_model.Seek(-static_cast<int64>(back), 3);
            Say("seek back by %llu", static_cast<unsigned long long>(back));
        }
        Say("read %u at %llu", bytes, static_cast<unsigned long long>(m_model.Position()));
        std::vector<uint8> buffer(bytes + 1, 0xEE);
        const int result = m_sink.ReadBack(buffer.data(), bytes);
        const ExpectedRead expected = m_model.ReadBack(bytes);
        const auto known = static_cast<std::ptrdiff_t>(expected.bytes.size());
        Check(result == static_cast<int>(bytes), "another count");
        Check(std::equal(expected.bytes.begin(), expected.bytes.end(), buffer.begin()), "other bytes");
        Check(std::all_of(expected.restIsOpen ? buffer.end() - 1 : buffer.begin() + known, buffer.end(),
                          [](uint8 byte) { return byte == 0xEE; }),
              "more bytes than there are");
    }

    void TurnCache() {
        const bool on = !m_random.OneIn(3);
        Say("cache %s", on ? "on" : "off");
        Check(m_sink.ReadBack(nullptr, on ? 0xFFFFFFFF : 0xFFFFFFFE) == 0, "another answer");
        if (on) {
            m_model.TurnCacheOn();
        } else {
            m_model.TurnCacheOff();
        }
    }

    void EnableDigest() {
        Say("a new digest");
        m_sink.EnableMD5_Check(0);
        m_sink.BeginMD5_Check(0);
        m_model.EnableDigest();
        m_model.RunDigest(true);
    }

    void TurnDigest() {
        const bool on = m_random.OneIn(2);
        Say("digest %s", on ? "runs" : "rests");
        if (on) {
            m_sink.BeginMD5_Check(0);
        } else {
            m_sink.StopMD5_Check(0);
        }
        m_model.RunDigest(on);
    }

    // The size becomes huge with it, and no disk takes that.
    void SeekBeforeTheStart() {
        const int64 offset = -1 - static_cast<int64>(m_random.Below(5000));
        Say("seek %lld from 1", static_cast<long long>(offset));
        Check(m_sink.Seek(offset, 1) == m_model.Seek(offset, 1), "another place");
    }

    void Close() {
        Say("close");
        const bool wasGood = Inspector::IsGood(m_sink);
        Check(m_sink.CloseFile() == VXC_STATUS_OK && wasGood, "the close failed");
        m_model.Close();
        Check(Content() == m_model.Disk(), "another file");
        CheckHostCalls();
        Check(m_host == nullptr || m_host->OpenHandles() == 0, "a file stays open");
        if (m_random.OneIn(4)) {
            const uint8 byte = 1;
            uint8 back = 0;
            Check(m_sink.Write(&byte, 1, nullptr) == 0 && m_sink.ReadBack(&back, 1) == 0,
                  "a closed sink goes on");
            Check(m_sink.Seek(5, 1) == 5, "a closed sink has no position");
        }
    }

    void CheckDigest() {
        uint8* digest = nullptr;
        int length = 0;
        m_sink.GetMD5_check(1, digest, length);
        Check((digest != nullptr) == m_model.HasDigest(), "a digest too many or too few");
        if (digest != nullptr && m_model.HasDigest()) {
            const Digest expected = DigestOf(m_model.Digested());
            Check(length == 16 && std::equal(expected.begin(), expected.end(), digest), "another digest");
        }
        delete[] digest;
    }

    const uint64 m_seed;
    Random m_random;
    const WritePath& m_path;
    const Places& m_places;
    Medium m_medium = Medium::Host;
    std::unique_ptr<HostTable> m_host;
    MemoryModel m_model;
    WritingSetup m_setup{};
    uint32 m_node = 0; // bytes of a node, 0 without a ring
    bool m_good = true;
    std::string m_said;
    CWriteFileEx1 m_sink; // the first to go
};

struct Limits {
    const char* name;
    uint32 read; // milliseconds, as the settings have them
    uint32 write;
    uint64 lives; // of each way of writing
};

// None of them ever passes. Each operation of thread mode wakes another thread, which takes its time.
constexpr Limits kLimits[] = {
    {"Direct", VXC_INFINITE, VXC_INFINITE, 1600},
    {"InThreadMode", VXC_INFINITE, 100'000'000, 500},
    {"WithAllLimits", 100'000'000, 100'000'000, 400},
};

#if defined(__SANITIZE_THREAD__)
constexpr uint64 kSlower = 10; // each access to memory is looked at
#else
constexpr uint64 kSlower = 1;
#endif

uint64 NumberFrom(const char* variable, uint64 otherwise) {
    const char* const text = std::getenv(variable);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 0);
}

class RandomWritingTest : public ::testing::TestWithParam<std::tuple<WritePath, Limits>> {
protected:
    RandomWritingTest() : m_read(ReadHandleTimeOut()), m_write(WriteHandleTimeOut()) {
        Module().ReadHandleTimeOut = std::get<Limits>(GetParam()).read;
        Module().WriteHandleTimeOut = std::get<Limits>(GetParam()).write;
        platform.Disks().getDiskFreeSpace = [](const wchar_t*, uint32* bytesPerSector) {
            *bytesPerSector = g_sectorSize;
            return 1;
        };
    }
    ~RandomWritingTest() override {
        Module().ReadHandleTimeOut = m_read;
        Module().WriteHandleTimeOut = m_write;
    }

    const uint32 m_read;
    const uint32 m_write;
    PlatformScope platform;
    Places places;
};

} // namespace

TEST_P(RandomWritingTest, TheFileIsTheModel) {
    const uint64 first = NumberFrom("VXC_RANDOM_SEED", 1);
    const uint64 count = NumberFrom("VXC_RANDOM_SEQUENCES", std::get<Limits>(GetParam()).lives / kSlower);
    for (uint64 seed = first; seed < first + count && !HasFailure(); ++seed) {
        Life(seed, std::get<WritePath>(GetParam()), places).Run();
    }
}

INSTANTIATE_TEST_SUITE_P(Sinks, RandomWritingTest,
                         ::testing::Combine(::testing::ValuesIn(kWritePaths), ::testing::ValuesIn(kLimits)),
                         [](const auto& param) {
                             return std::string(std::get<WritePath>(param.param).name) +
                                    std::get<Limits>(param.param).name;
                         });
