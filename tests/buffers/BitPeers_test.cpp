// Bit fields and their CRC held against what others have written: GStreamer's bit reader and writer, the CRC
// of libavutil and that of Boost.
#include "buffers/BitsStream.h"
#include "stress/program/Random.h"

#include <gtest/gtest.h>

#include <boost/crc.hpp>
#include <gst/base/gstbitreader.h>
#include <gst/base/gstbitwriter.h>

extern "C" {
#include <libavutil/bswap.h>
#include <libavutil/crc.h>
}

#include <cstddef>
#include <string>
#include <vector>

using vxcio::stress::Random;

namespace {

constexpr uint64 kSeeds = 300;

// Fields, each as wide as a value or narrower, and bytes enough for all of them.
struct Field {
    uint32 value;
    uint32 width;
};

struct Fields {
    explicit Fields(Random& random) {
        const uint32 count = 1 + random.Below(400);
        for (uint32 i = 0; i < count; ++i) {
            const uint32 width = 1 + random.Below(32);
            const auto value = static_cast<uint32>(random.Next() & ((uint64{1} << width) - 1));
            all.push_back({value, width});
            bits += width;
        }
    }
    uint32 Bytes() const { return (bits + 7) / 8; }

    std::vector<Field> all;
    uint32 bits = 0;
};

using BoostCrc = boost::crc_basic<32>;

BoostCrc NewBoostCrc() {
    return BoostCrc(0x04C11DB7, 0xFFFFFFFF, 0, false, false);
}

uint32 CrcOfLibavutil(const std::vector<uint8>& bytes) {
    const AVCRC* const table = av_crc_get_table(AV_CRC_32_IEEE);
    return av_be2ne32(av_crc(table, 0xFFFFFFFF, bytes.data(), bytes.size()));
}

std::vector<uint8> RandomBytes(Random& random, std::size_t count) {
    std::vector<uint8> bytes(count);
    for (uint8& byte : bytes) {
        byte = static_cast<uint8>(random.Next());
    }
    return bytes;
}

// Writes by whichever operation has the width, so that all of them are in it.
int Put(CBitsStream& stream, const Field& field, bool byName) {
    if (byName && field.width == 1) {
        return stream.PutBit(static_cast<int>(field.value));
    }
    if (byName && field.width == 8) {
        return stream.PutBYTE(static_cast<unsigned char>(field.value));
    }
    if (byName && field.width == 16) {
        return stream.PutWORD(static_cast<unsigned short>(field.value));
    }
    if (byName && field.width == 32) {
        return stream.PutDWORD(field.value);
    }
    return stream.PutBits(field.value, static_cast<int>(field.width));
}

} // namespace

TEST(BitPeersTest, WhatIsWrittenIsWhatGStreamerReads) {
    for (uint64 seed = 1; seed <= kSeeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        const Fields fields(random);
        std::vector<uint8> bytes(fields.Bytes());
        CBitsStream stream;
        ASSERT_EQ(stream.InitBuffer(bytes.data(), fields.Bytes()), 1);
        for (const Field& field : fields.all) {
            ASSERT_EQ(Put(stream, field, random.OneIn(2)), 1);
        }
        stream.Flush();

        GstBitReader reader;
        gst_bit_reader_init(&reader, bytes.data(), fields.Bytes());
        for (const Field& field : fields.all) {
            guint32 value = 0;
            ASSERT_TRUE(gst_bit_reader_get_bits_uint32(&reader, &value, field.width));
            ASSERT_EQ(value, field.value);
        }
        ASSERT_EQ(gst_bit_reader_get_pos(&reader), static_cast<guint>(stream.GetCurBitsPos()));
    }
}

TEST(BitPeersTest, WhatGStreamerWritesIsReadAndIsWrittenAlike) {
    for (uint64 seed = 1; seed <= kSeeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        const Fields fields(random);
        std::vector<uint8> theirs(fields.Bytes());
        GstBitWriter writer;
        gst_bit_writer_init_with_data(&writer, theirs.data(), fields.Bytes(), FALSE);
        for (const Field& field : fields.all) {
            ASSERT_TRUE(gst_bit_writer_put_bits_uint32(&writer, field.value, field.width));
        }
        ASSERT_EQ(gst_bit_writer_get_size(&writer), fields.bits);
        gst_bit_writer_reset(&writer);

        CBitsStream stream;
        ASSERT_EQ(stream.InitBuffer(theirs.data(), fields.Bytes()), 1);
        for (const Field& field : fields.all) {
            unsigned int value = 0;
            ASSERT_EQ(stream.GetBits(&value, static_cast<int>(field.width)), 1);
            ASSERT_EQ(value, field.value);
        }

        std::vector<uint8> ours(fields.Bytes());
        ASSERT_EQ(stream.InitBuffer(ours.data(), fields.Bytes()), 1);
        for (const Field& field : fields.all) {
            ASSERT_EQ(Put(stream, field, true), 1);
        }
        stream.Flush();
        ASSERT_EQ(ours, theirs);
    }
}

TEST(BitPeersTest, ReadsAfterMovesAreWhatGStreamerReadsThere) {
    for (uint64 seed = 1; seed <= kSeeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        std::vector<uint8> bytes = RandomBytes(random, 1 + random.Below(100));
        const auto size = static_cast<uint32>(bytes.size());
        CBitsStream stream;
        ASSERT_EQ(stream.InitBuffer(bytes.data(), size), 1);
        for (int i = 0; i < 100; ++i) {
            const uint32 position = random.Below(size * 8);
            const auto delta = static_cast<int>(int64{position} - stream.GetCurBitsPos());
            ASSERT_EQ(stream.SeekBitsPtr(delta), 1);
            const uint32 width = 1 + random.Below(32);
            GstBitReader reader;
            gst_bit_reader_init(&reader, bytes.data(), size);
            ASSERT_TRUE(gst_bit_reader_set_pos(&reader, position));
            guint32 theirs = 0;
            unsigned int ours = 0;
            const bool isThere = gst_bit_reader_get_bits_uint32(&reader, &theirs, width) != FALSE;
            ASSERT_EQ(stream.GetBits(&ours, static_cast<int>(width)), isThere ? 1 : 0);
            if (isThere) {
                ASSERT_EQ(ours, theirs);
            }
        }
    }
}

TEST(BitPeersTest, TheCrcOfBytesIsThatOfLibavutilAndOfBoost) {
    for (uint64 seed = 1; seed <= kSeeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        std::vector<uint8> bytes = RandomBytes(random, 1 + random.Below(700));
        const auto size = static_cast<uint32>(bytes.size());
        const uint32 wanted = CrcOfLibavutil(bytes);
        BoostCrc boostCrc = NewBoostCrc();
        boostCrc.process_bytes(bytes.data(), bytes.size());
        ASSERT_EQ(boostCrc.checksum(), wanted);

        CBitsStream reader;
        ASSERT_EQ(reader.InitBuffer(bytes.data(), size), 1);
        reader.StartCRC();
        while (reader.GetCurBytesPos() < size) {
            ASSERT_EQ(reader.GetBYTE(nullptr), 1);
        }
        EXPECT_EQ(reader.GetCRCResult(), wanted);

        std::vector<uint8> copy(bytes.size());
        CBitsStream writer;
        ASSERT_EQ(writer.InitBuffer(copy.data(), size), 1);
        writer.StartCRC();
        for (const uint8 byte : bytes) {
            ASSERT_EQ(writer.PutBYTE(byte), 1);
        }
        EXPECT_EQ(writer.GetCRCResult(), wanted);
        EXPECT_EQ(copy, bytes);
    }
}

// The other way of a large piece: whole words of any alignment.
TEST(BitPeersTest, TheCrcOfAMegabyteReadInDoubleWordsIsThatOfLibavutil) {
    Random random(5);
    std::vector<uint8> bytes = RandomBytes(random, 1 << 20);
    const auto size = static_cast<uint32>(bytes.size());
    for (const int ahead : {0, 1, 7, 13}) {
        CBitsStream stream;
        ASSERT_EQ(stream.InitBuffer(bytes.data(), size), 1);
        stream.StartCRC();
        unsigned int value = 0;
        if (ahead > 0) {
            ASSERT_EQ(stream.GetBits(&value, ahead), 1);
        }
        while (int64{size} * 8 - stream.GetCurBitsPos() >= 32) {
            ASSERT_EQ(stream.GetBits(&value, 32), 1);
        }
        const auto left = static_cast<int>(int64{size} * 8 - stream.GetCurBitsPos());
        if (left > 0) {
            ASSERT_EQ(stream.GetBits(&value, left), 1);
        }
        EXPECT_EQ(stream.GetCRCResult(), CrcOfLibavutil(bytes)) << ahead;
    }
}

TEST(BitPeersTest, TheCrcOfFieldsOfAnyWidthIsThatOfBoostAfterEachOfThem) {
    for (uint64 seed = 1; seed <= kSeeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        const Fields fields(random);
        std::vector<uint8> bytes(fields.Bytes());
        CBitsStream stream;
        ASSERT_EQ(stream.InitBuffer(bytes.data(), fields.Bytes()), 1);
        stream.StartCRC();
        BoostCrc written = NewBoostCrc();
        for (const Field& field : fields.all) {
            ASSERT_EQ(Put(stream, field, random.OneIn(2)), 1);
            for (uint32 place = field.width; place-- > 0;) {
                written.process_bit((field.value >> place & 1) != 0);
            }
            ASSERT_EQ(stream.GetCRCResult(), written.checksum());
        }
        stream.Flush();

        ASSERT_EQ(stream.InitBuffer(bytes.data(), fields.Bytes()), 1);
        stream.StartCRC();
        BoostCrc read = NewBoostCrc();
        for (const Field& field : fields.all) {
            unsigned int value = 0;
            ASSERT_EQ(stream.GetBits(&value, static_cast<int>(field.width)), 1);
            for (uint32 place = field.width; place-- > 0;) {
                read.process_bit((field.value >> place & 1) != 0);
            }
        }
        ASSERT_EQ(stream.GetCRCResult(), read.checksum());
    }
}
