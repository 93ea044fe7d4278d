#include "fuzz/RecordsInput.h"

#include "bridge/Records.h"
#include "fuzz/Require.h"

#include <cstring>
#include <iterator>
#include <memory>
#include <vector>

namespace vxcio::fuzz {

namespace {

// More than any record has besides its variable part: a stream of that much more than the input takes
// whatever was read from the input.
constexpr std::size_t kMoreThanARecord = 8192;

// Memory of exactly the size, so that a step over its end is seen.
struct Stream {
    Stream(std::size_t size, int direction) : memory(new std::uint8_t[size]) {
        cursor.m_pBuffer = memory.get();
        cursor.m_dwCapacity = static_cast<unsigned int>(size);
        cursor.m_nDirection = direction;
    }
    std::unique_ptr<std::uint8_t[]> memory;
    CVXCSerialize cursor;
};

// Takes a look at each byte, so that what watches memory sees a block that is smaller than it says.
void Touch(const std::uint8_t* data, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        static_cast<void>(*static_cast<const volatile std::uint8_t*>(data + i));
    }
}

// What a record needs ahead of being read, and what is to be freed behind it: for most nothing. `room` is
// memory for a block that is read into the caller's own.
template <class Record>
void Prepare(Record&, std::vector<std::uint8_t>&) {}

template <class Record>
void Release(Record&, const std::vector<std::uint8_t>&) {}

template <class Record>
bool MayOutgrowItsStream(const Record&) {
    return false;
}

template <>
void Release(SPlugAppendInfo_T& record, const std::vector<std::uint8_t>&) {
    Require(record.data != nullptr || record.size == 0, "an attachment of some bytes has a pointer");
    Touch(record.data, record.size);
    SerilizeFree(record.data);
}

template <>
void Release(SPlugStreamInfo& record, const std::vector<std::uint8_t>& room) {
    Release(record.append, room);
}

template <>
void Release(SPlugFRAMEINFO& record, const std::vector<std::uint8_t>& room) {
    Release(record.append, room);
}

template <>
void Prepare(SMediaDescript& record, std::vector<std::uint8_t>& room) {
    record.data = room.data();
}

template <>
void Release(SMediaDescript& record, const std::vector<std::uint8_t>& room) {
    if (record.data == room.data()) {
        return;
    }
    Require(record.type == 1 || record.type == 3 || record.data == nullptr, "only types 1 and 3 allocate");
    if (record.type == 3) {
        SMediaDescriptExtra extra;
        std::memcpy(&extra, record.data, sizeof extra);
        Require(extra.extra != nullptr || extra.extraSize == 0, "extra of some bytes has a pointer");
        Touch(extra.extra, extra.extraSize);
        SerilizeFree(extra.extra);
    } else if (record.type == 1) {
        Touch(record.data, sizeof(SMediaDescriptFiles));
    }
    SerilizeFree(record.data);
}

// The size of a block in the caller's memory is as the stream says, however short the block is.
template <>
bool MayOutgrowItsStream(const SMediaDescript& record) {
    return record.type == 2;
}

template <class Record>
void ReadStoreAndReadAgain(const std::uint8_t* data, std::size_t size) {
    std::vector<std::uint8_t> room(size + kMoreThanARecord);
    Stream input(size, VXC_SERIALIZE_LOAD);
    if (size > 0) {
        std::memcpy(input.memory.get(), data, size);
    }
    Record first{};
    Prepare(first, room);
    input.cursor >> first;
    Require(input.cursor.m_dwPosition <= size, "reading stops at the end");
    Require(input.cursor.m_nError != VXC_SERIALIZE_WRONG_DIRECTION, "reading is the right direction");
    if (input.cursor.m_nError == VXC_SERIALIZE_OK) {
        Stream once(room.size(), VXC_SERIALIZE_STORE);
        once.cursor << first;
        if (once.cursor.m_nError == VXC_SERIALIZE_OK) {
            std::vector<std::uint8_t> secondRoom(room.size());
            Stream copy(once.cursor.m_dwPosition, VXC_SERIALIZE_LOAD);
            std::memcpy(copy.memory.get(), once.memory.get(), once.cursor.m_dwPosition);
            Record second{};
            Prepare(second, secondRoom);
            copy.cursor >> second;
            Require(copy.cursor.m_nError == VXC_SERIALIZE_OK, "what was stored can be read");
            Require(copy.cursor.m_dwPosition == once.cursor.m_dwPosition, "and is read to its end");
            Stream twice(room.size(), VXC_SERIALIZE_STORE);
            twice.cursor << second;
            Require(twice.cursor.m_dwPosition == once.cursor.m_dwPosition &&
                        std::memcmp(twice.memory.get(), once.memory.get(), once.cursor.m_dwPosition) == 0,
                    "and is the same then");
            Release(second, secondRoom);
        } else {
            Require(MayOutgrowItsStream(first), "what was read has room where it is stored");
        }
    }
    Release(first, room);
}

constexpr void (*kRecords[])(const std::uint8_t*, std::size_t) = {
    ReadStoreAndReadAgain<SInParamLeader>,       ReadStoreAndReadAgain<SOutParamLeader>,
    ReadStoreAndReadAgain<SPlugVideoStreamInfo>, ReadStoreAndReadAgain<SPlugAudioStreamInfo>,
    ReadStoreAndReadAgain<SPlugSubTitleInfo>,    ReadStoreAndReadAgain<SPlugDemuxerReadSet>,
    ReadStoreAndReadAgain<SPlugLinearTimeCode>,  ReadStoreAndReadAgain<SPlugAFDPacket>,
    ReadStoreAndReadAgain<SPlugAppendInfo_T>,    ReadStoreAndReadAgain<SPlugStreamMetaInfo>,
    ReadStoreAndReadAgain<SPlugStreamInfo>,      ReadStoreAndReadAgain<SPlugFRAMEINFO>,
    ReadStoreAndReadAgain<SPlugSoftImageBuffer>, ReadStoreAndReadAgain<SMediaDescript>,
};

} // namespace

void FuzzRecords(const std::uint8_t* data, std::size_t size) {
    if (size > 0) {
        kRecords[data[0] % std::size(kRecords)](data + 1, size - 1);
    }
}

} // namespace vxcio::fuzz
