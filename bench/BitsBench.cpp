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
#include <random>
#include <vector>

namespace {

constexpr uint32 kSize = 1 << 20;
constexpr uint32 kPadding = 8; // which only the decoder's way reads

struct Field {
    uint32 nWidth;
    uint32 dwValue;
};

// The fields of all that is measured: widths 1 to 32 that fill the buffer to its last bit.
const std::vector<Field>& TheFields() {
    static const std::vector<Field> fields = [] {
        std::vector<Field> made;
        std::mt19937 random(1);
        for (uint32 left = kSize * 8; left > 0;) {
            const uint32 width = std::min(left, static_cast<uint32>(random()) % 32 + 1);
            const auto value = static_cast<uint32>(random());
            made.push_back({width, static_cast<uint32>(uint64{value} & ((uint64{1} << width) - 1))});
            left -= width;
        }
        return made;
    }();
    return fields;
}

// The buffer with these fields, one bit after the other.
const std::vector<uint8>& TheBytes() {
    static const std::vector<uint8> bytes = [] {
        std::vector<uint8> made(kSize + kPadding);
        uint32 position = 0;
        for (const Field& field : TheFields()) {
            for (uint32 i = field.nWidth; i-- > 0; ++position) {
                made[position / 8] =
                    static_cast<uint8>(made[position / 8] | (field.dwValue >> i & 1) << (7 - position % 8));
            }
        }
        return made;
    }();
    return bytes;
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
bool ReadsAllRight(uint8* bytes) {
    Reader reader(bytes);
    return std::all_of(TheFields().begin(), TheFields().end(), [&](const Field& field) {
        uint32 value = 0;
        return reader.Get(value, field.nWidth) && value == field.dwValue;
    });
}

template <class Reader>
void Get(benchmark::State& state) {
    std::vector<uint8> bytes = TheBytes();
    if (!ReadsAllRight<Reader>(bytes.data())) {
        state.SkipWithError("a field is wrong");
    }
    const std::vector<Field>& fields = TheFields();
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
bool WriteAll(uint8* bytes) {
    std::memset(bytes, 0, kSize);
    Writer writer(bytes);
    for (const Field& field : TheFields()) {
        if (!writer.Put(field.dwValue, field.nWidth)) {
            return false;
        }
    }
    writer.Flush();
    return true;
}

template <class Writer>
void Put(benchmark::State& state) {
    std::vector<uint8> bytes(kSize + kPadding);
    if (!WriteAll<Writer>(bytes.data()) || bytes != TheBytes()) {
        state.SkipWithError("the bytes are wrong");
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(WriteAll<Writer>(bytes.data()));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64>(TheFields().size()));
    state.SetBytesProcessed(state.iterations() * int64{kSize});
}

} // namespace

BENCHMARK(Get<LibraryReader>)->Name("GetBitsOf1To32In1MiB/library");
BENCHMARK(Get<GstInlineReader>)->Name("GetBitsOf1To32In1MiB/gstreamer_inline");
BENCHMARK(Get<GstExportedReader>)->Name("GetBitsOf1To32In1MiB/gstreamer_exported");
BENCHMARK(Get<DecoderReader>)->Name("GetBitsOf1To32In1MiB/inline_word_load");
BENCHMARK(Put<LibraryWriter>)->Name("PutBitsOf1To32In1MiB/library");
BENCHMARK(Put<GstInlineWriter>)->Name("PutBitsOf1To32In1MiB/gstreamer_inline");
BENCHMARK(Put<GstExportedWriter>)->Name("PutBitsOf1To32In1MiB/gstreamer_exported");
