// RecordsStreams.h - streams for tests of the records: over any bytes, and such as note what they are given.
#pragma once

#include "bridge/RecordsModel.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace vxcio::test {

template <class Stream = CVXCSerialize>
Stream StreamOver(const unsigned char* bytes, std::size_t capacity, int direction) {
    Stream stream;
    stream.m_pBuffer = const_cast<unsigned char*>(bytes);
    stream.m_dwCapacity = static_cast<unsigned int>(capacity);
    stream.m_nDirection = direction;
    return stream;
}

// A stream that notes each number that passes its operators.
class WatchingStream : public CVXCSerialize {
public:
    using CVXCSerialize::operator<<;
    using CVXCSerialize::operator>>;
    CVXCSerialize& operator<<(unsigned long long value) noexcept override { return Stored('q', value); }
    CVXCSerialize& operator<<(unsigned int value) noexcept override { return Stored('l', value); }
    CVXCSerialize& operator<<(int value) noexcept override {
        return Stored('l', static_cast<unsigned int>(value));
    }
    CVXCSerialize& operator<<(unsigned char value) noexcept override { return Stored('c', value); }
    CVXCSerialize& operator>>(unsigned long long& value) noexcept override { return Loaded('q', value); }
    CVXCSerialize& operator>>(unsigned int& value) noexcept override { return Loaded('l', value); }
    CVXCSerialize& operator>>(int& value) noexcept override {
        return Loaded('l', reinterpret_cast<unsigned int&>(value));
    }
    CVXCSerialize& operator>>(unsigned char& value) noexcept override { return Loaded('c', value); }

    std::vector<std::pair<char, unsigned long long>> seen;

private:
    template <class Number>
    CVXCSerialize& Stored(char tag, Number value) {
        seen.emplace_back(tag, value);
        return CVXCSerialize::operator<<(value);
    }
    template <class Number>
    CVXCSerialize& Loaded(char tag, Number& value) {
        CVXCSerialize::operator>>(value);
        seen.emplace_back(tag, value);
        return *this;
    }
};

// How a stream stands before a record is read.
struct Entry {
    int error = VXC_SERIALIZE_OK;
    int direction = VXC_SERIALIZE_LOAD;
    uint32 staleSize = 0; // in the record's attachments
};

// Memory that a record was read to.
struct Freed {
    void operator()(unsigned char* memory) const { SerilizeFree(memory); }
};
using Memory = std::unique_ptr<unsigned char, Freed>;

inline unsigned char g_untouched; // where attachments are before a record is read

// A record that holds other values than any stream of these tests.
template <class Record>
void MakeOld(Record& record, uint32 staleSize) {
    Bytes none;
    std::mt19937 random(4711);
    const std::vector<Slot> slots = SlotsOf(record);
    Fill(slots, random, none);
    for (const Slot& slot : slots) {
        if (slot.kind == Slot::Kind::Attachment) {
            *reinterpret_cast<unsigned char**>(slot.place) = &g_untouched;
            *slot.size = staleSize;
        }
    }
}

template <class Stream, class Record>
std::string ReadBy(const unsigned char* bytes, std::size_t capacity, const Entry& entry,
                   const ModelReader& model, const std::vector<Slot>& expected) {
    Record record{};
    MakeOld(record, entry.staleSize);
    Stream stream = StreamOver<Stream>(bytes, capacity, entry.direction);
    stream.m_nError = entry.error;
    CVXCSerialize& same = stream >> record;
    std::string wrong = Differences(expected, SlotsOf(record), &g_untouched);
    if (stream.m_nError != model.error || stream.m_dwPosition != model.position) {
        wrong += "ends at " + std::to_string(stream.m_dwPosition) + " with error " +
                 std::to_string(stream.m_nError) + " instead of at " + std::to_string(model.position) +
                 " with " + std::to_string(model.error) + "\n";
    }
    if (&same != &stream) {
        wrong += "gives another stream\n";
    }
    FreeAttachments(SlotsOf(record), &g_untouched);
    return wrong;
}

// Reads a record from any bytes, by a stream as it is and by one on top of it, and holds both against the
// model. Returns what differs.
template <class Record>
std::string ReadAsTold(const unsigned char* bytes, std::size_t capacity, const Entry& entry = {}) {
    Record expected{};
    MakeOld(expected, entry.staleSize);
    ModelReader model(bytes, capacity);
    model.error = entry.error;
    model.direction = entry.direction;
    model.Read(SlotsOf(expected));
    std::string wrong = ReadBy<CVXCSerialize, Record>(bytes, capacity, entry, model, SlotsOf(expected));
    wrong += ReadBy<WatchingStream, Record>(bytes, capacity, entry, model, SlotsOf(expected));
    FreeAttachments(SlotsOf(expected), &g_untouched);
    return wrong;
}

// A record full of values of its own, with an attachment where it has one.
template <class Record>
struct FullRecord {
    explicit FullRecord(unsigned int seed, std::size_t attachedBytes = 23) : attached(attachedBytes) {
        std::mt19937 random(seed);
        Fill(SlotsOf(record), random, attached);
    }
    Record record{};
    Bytes attached;
};

// All records that are told by their slots alone.
using RecordTypes =
    ::testing::Types<SOutParamLeader, SPlugVideoStreamInfo, SPlugAudioStreamInfo, SPlugSubTitleInfo,
                     SPlugDemuxerReadSet, SPlugLinearTimeCode, SPlugAFDPacket, SPlugAppendInfo_T,
                     SPlugStreamMetaInfo, SPlugStreamInfo, SPlugFRAMEINFO, SPlugSoftImageBuffer>;

} // namespace vxcio::test
