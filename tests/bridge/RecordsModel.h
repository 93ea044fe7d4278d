// RecordsModel.h - the fields of the records in the order of the wire, written down a second time, and what a
// reader makes of any bytes, told field by field. What the library does is held against it.
#pragma once

#include "bridge/Records.h"

#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace vxcio::test {

using Bytes = std::vector<unsigned char>;

// One value on the wire and the place in the record where it comes from.
struct Slot {
    enum class Kind {
        Number,     // straight into place
        Choice,     // an enumeration, through the temporary
        Digit,      // some bits of a word, through the temporary
        Block,      // fixed size
        Attachment, // any size, where the size is not 0
    };
    Kind kind;
    char tag;
    unsigned char* place; // Attachment: the unsigned char* itself
    uint32 bytes;         // of the place; Digit: of its word
    uint32 shift = 0;     // Digit: where its bits are
    uint32 mask = 0;      // Digit: its largest value
    int scope = 0;        // values of one operator call have one temporary
    uint32* size = nullptr;
};

// The slots of one record, nested ones included.
class Slots {
public:
    void L(uint32& value) { Add(Slot::Kind::Number, 'l', &value, 4); }
    void Q(unsigned long long& value) { Add(Slot::Kind::Number, 'q', &value, 8); }
    void C(uint8& value) { Add(Slot::Kind::Number, 'c', &value, 1); }
    void E(EPlugValue& value) { Add(Slot::Kind::Choice, 'l', &value, 4); }
    template <class... Values>
    void Ls(Values&... values) {
        (L(values), ...);
    }
    template <class... Values>
    void Es(Values&... values) {
        (E(values), ...);
    }
    template <class Byte, std::size_t count>
    void B(Byte (&block)[count]) {
        Add(Slot::Kind::Block, 'b', block, sizeof block);
    }
    // Bits `shift` and up of the `word`-th 32-bit word of a time code.
    void Digit(SPlugLinearTimeCode& record, int word, uint32 shift, uint32 mask);
    void Attachment(unsigned char*& data, uint32& size);

    template <class Record>
    void Nested(Record& record);

    std::vector<Slot> list;

private:
    void Add(Slot::Kind kind, char tag, void* place, std::size_t bytes);

    int m_scope = 0;
    int m_scopes = 0;
};

void Describe(Slots& slots, SOutParamLeader& record);
void Describe(Slots& slots, SPlugVideoStreamInfo& record);
void Describe(Slots& slots, SPlugAudioStreamInfo& record);
void Describe(Slots& slots, SPlugSubTitleInfo& record);
void Describe(Slots& slots, SPlugDemuxerReadSet& record);
void Describe(Slots& slots, SPlugLinearTimeCode& record);
void Describe(Slots& slots, SPlugAFDPacket& record);
void Describe(Slots& slots, SPlugAppendInfo_T& record);
void Describe(Slots& slots, SPlugStreamMetaInfo& record);
void Describe(Slots& slots, SPlugStreamInfo& record);
void Describe(Slots& slots, SPlugFRAMEINFO& record);
void Describe(Slots& slots, SPlugSoftImageBuffer& record);
// The payloads of a description; for Extra without its attachment.
void Describe(Slots& slots, SMediaDescriptFiles& record);
void Describe(Slots& slots, SMediaDescriptExtra& record);

template <class Record>
void Slots::Nested(Record& record) {
    const int outer = m_scope;
    m_scope = ++m_scopes;
    Describe(*this, record);
    m_scope = outer;
}

template <class Record>
std::vector<Slot> SlotsOf(Record& record) {
    Slots slots;
    Describe(slots, record);
    return slots.list;
}

// What a place holds now.
unsigned long long ValueOf(const Slot& slot);

// Fills all fields with values that differ from each other; attachments come to point at `attached`.
void Fill(const std::vector<Slot>& slots, std::mt19937& random, Bytes& attached);

// Appends one number behind its tag, and a block.
void PutNumber(Bytes& stream, char tag, unsigned long long value);
void PutBlock(Bytes& stream, const unsigned char* bytes, std::size_t count);

// The stream of a record.
Bytes StreamOf(const std::vector<Slot>& slots);

// A reader that goes by the rules one step at a time.
class ModelReader {
public:
    ModelReader(const unsigned char* bytes, std::size_t capacity) : m_bytes(bytes), m_capacity(capacity) {}

    // Reads all slots into their places. Attachments are allocated by SerilizeMalloc, with exactly what came.
    void Read(const std::vector<Slot>& slots);
    bool Number(char tag, unsigned long long& value);
    // Number() through a temporary.
    uint32 Through(unsigned long long& temporary);
    bool Block(const unsigned char*& bytes, uint32& count);

    std::size_t position = 0;
    int error = 0;
    int direction = VXC_SERIALIZE_LOAD;

private:
    bool Tag(char tag);

    const unsigned char* const m_bytes;
    const std::size_t m_capacity;
};

// Each difference between two records, one a line; nothing where they are the same. Attachments are the same
// where their sizes and bytes are, and both or neither are at `untouched`.
std::string Differences(const std::vector<Slot>& slots, const std::vector<Slot>& others,
                        const unsigned char* untouched);

// Frees the attachments that are not at `untouched`.
void FreeAttachments(const std::vector<Slot>& slots, const unsigned char* untouched);

} // namespace vxcio::test
