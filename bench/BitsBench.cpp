// Fields of mixed widths read from 1 MiB and written to it, beside GStreamer's reader and writer, in the
// inline form that its users compile in and in the exported one, and beside the way of video decoders. One
// iteration is all of the buffer, attaching to it included; each field's result is looked at.
#include "buffers/BitsStream.h"
#include "frame/Types.h"

#include <benchmark/benchmark.h>
#include <gst/base/gstbitreader.h>
#include <gst/base/gstbitwriter.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr uint32 kSize = 1 << 20;
constexpr uint32 kPadding = 8; // which only the decoder's way reads

struct Field {
    uint32 nWidth;
    uint32 dwValue;
};

// Fields that fill the buffer to its last bit, and the buffer with them, one bit after the other.
struct Load {
    std::vector<Field> fields;
    std::vector<uint8> bytes;

    // `width` gives the width of each field, 1 to 32.
    template <class Width>
    explicit Load(Width width) : bytes(kSize + kPadding) {
        std::mt19937 random(1);
        for (uint32 position = 0; position < kSize * 8;) {
            Field field{std::min(kSize * 8 - position, width(fields.size())), 0};
            for (uint32 i = 0; i < field.nWidth; ++i, ++position) {
                const auto bit = static_cast<uint32>(random()) & 1;
                field.dwValue = field.dwValue << 1 | bit;
                bytes[position / 8] = static_cast<uint8>(bytes[position / 8] | bit << (7 - position % 8));
            }
            fields.push_back(field);
        }
    }
};

// Widths that nobody foresees.
const Load& MixedWidths() {
    static const Load load([random = std::mt19937(2)](std::size_t /*field*/) mutable {
        return static_cast<uint32>(random()) % 32 + 1;
    });
    return load;
}

// The same widths again and again, as in a row of headers, which processors learn.
const Load& Headers() {
    static const Load load([](std::size_t field) {
        static constexpr uint32 kWidths[] = {32, 12, 12, 4, 4,  18, 1,  10, 1,  1,
                                             8,  24, 2,  3, 16, 7,  25, 1,  20, 5};
        return kWidths[field % std::size(kWidths)];
    });
    return load;
}

// ---- Readers ------------------------------------------------------------------------------------------

class LibraryReader {
public:
    explicit LibraryReader(uint8* bytes) { m_bits.InitBuffer(bytes, kSize); }
    bool Get(uint32& value, uint32 width) { return m_bits.GetBits(&value, static_cast<int>(width)) != 0; }

private:
    CBitsStream m_bits;
};

class GstInlineReader {
public:
    explicit GstInlineReader(const uint8* bytes) { gst_bit_reader_init(&m_bits, bytes, kSize); }
    bool Get(uint32& value, uint32 width) {
        return gst_bit_reader_get_bits_uint32(&m_bits, &value, width) != 0;
    }

private:
    GstBitReader m_bits;
};

class GstExportedReader {
public:
    explicit GstExportedReader(const uint8* bytes) { gst_bit_reader_init(&m_bits, bytes, kSize); }
    bool Get(uint32& value, uint32 width) {
        return (gst_bit_reader_get_bits_uint32)(&m_bits, &value, width) != 0; // no macro in brackets
    }

private:
    GstBitReader m_bits;
};

// One load of a whole word wherever the field lies, in memory that is padded behind its end; the position is
// kept from running away and nothing is reported.
class DecoderReader {
public:
    explicit DecoderReader(const uint8* bytes) : m_bytes(bytes) {}
    bool Get(uint32& value, uint32 width) {
        uint64 word = 0;
        std::memcpy(&word, m_bytes + m_position / 8, sizeof word);
        value = static_cast<uint32>(__builtin_bswap64(word) << m_position % 8 >> (64 - width));
        m_position = std::min(m_position + width, kSize * 8);
        return true;
    }

private:
    const uint8* m_bytes;
    uint32 m_position = 0;
};

template <class Reader>
bool ReadsAllRight(uint8* bytes, const std::vector<Field>& fields) {
    Reader reader(bytes);
    return std::all_of(fields.begin(), fields.end(), [&](const Field& field) {
        uint32 value = 0;
        return reader.Get(value, field.nWidth) && value == field.dwValue;
    });
}

template <class Reader>
void Get(benchmark::State& state, const Load& load) {
    const std::vector<Field>& fields = load.fields;
    std::vector<uint8> bytes = load.bytes;
    if (!ReadsAllRight<Reader>(bytes.data(), fields)) {
        state.SkipWithError("a field is wrong");
    }
    for (auto _ : state) {
        Reader reader(bytes.data());
        uint32 sum = 0;
        for (const Field& field : fields) {
            uint32 value = 0;
            if (!reader.Get(value, field.nWidth)) {
                state.SkipWithError("the buffer ended");
                break;
            }
            sum += value;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64>(fields.size()));
    state.SetBytesProcessed(state.iterations() * int64{kSize});
}

// ---- Writers ------------------------------------------------------------------------------------------

class LibraryWriter {
public:
    explicit LibraryWriter(uint8* bytes) { m_bits.InitBuffer(bytes, kSize); }
    bool Put(uint32 value, uint32 width) { return m_bits.PutBits(value, static_cast<int>(width)) != 0; }
    void Flush() { m_bits.Flush(); }

private:
    CBitsStream m_bits;
};

class GstWriter {
public:
    explicit GstWriter(uint8* bytes) { gst_bit_writer_init_with_data(&m_bits, bytes, kSize, FALSE); }
    void Flush() {}

protected:
    GstBitWriter m_bits; // in memory of ours, which does not grow
};

class GstInlineWriter : public GstWriter {
public:
    using GstWriter::GstWriter;
    bool Put(uint32 value, uint32 width) {
        return gst_bit_writer_put_bits_uint32(&m_bits, value, width) != 0;
    }
};

class GstExportedWriter : public GstWriter {
public:
    using GstWriter::GstWriter;
    bool Put(uint32 value, uint32 width) {
        return (gst_bit_writer_put_bits_uint32)(&m_bits, value, width) != 0;
    }
};

// All of them only set bits, so the memory is cleared first.
template <class Writer>
bool WriteAll(uint8* bytes, const std::vector<Field>& fields) {
    std::memset(bytes, 0, kSize);
    Writer writer(bytes);
    for (const Field& field : fields) {
        if (!writer.Put(field.dwValue, field.nWidth)) {
            return false;
        }
    }
    writer.Flush();
    return true;
}

template <class Writer>
void Put(benchmark::State& state, const Load& load) {
    std::vector<uint8> bytes(kSize + kPadding);
    if (!WriteAll<Writer>(bytes.data(), load.fields) || bytes != load.bytes) {
        state.SkipWithError("the bytes are wrong");
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(WriteAll<Writer>(bytes.data(), load.fields));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64>(load.fields.size()));
    state.SetBytesProcessed(state.iterations() * int64{kSize});
}

void Register(const std::string& name, void (*run)(benchmark::State&, const Load&), const Load& load) {
    benchmark::RegisterBenchmark(name.c_str(), [run, &load](benchmark::State& state) { run(state, load); });
}

void RegisterAll(const std::string& of, const Load& load) {
    Register("GetBits" + of + "/library", Get<LibraryReader>, load);
    Register("GetBits" + of + "/gstreamer_inline", Get<GstInlineReader>, load);
    Register("GetBits" + of + "/gstreamer_exported", Get<GstExportedReader>, load);
    Register("GetBits" + of + "/inline_word_load", Get<DecoderReader>, load);
    Register("PutBits" + of + "/library", Put<LibraryWriter>, load);
    Register("PutBits" + of + "/gstreamer_inline", Put<GstInlineWriter>, load);
    Register("PutBits" + of + "/gstreamer_exported", Put<GstExportedWriter>, load);
}

const bool g_areThere = [] {
    RegisterAll("Of1To32In1MiB", MixedWidths());
    RegisterAll("OfHeadersIn1MiB", Headers());
    return true;
}();

} // namespace
