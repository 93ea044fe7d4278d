// The description with one of three payloads.
#include "bridge/RecordFields.h"

#include <cstring>
#include <memory>

using vxcio::RecordReader;
using vxcio::RecordWriter;

namespace {

// What `type` selects.
constexpr int32 kFiles = 1;
constexpr int32 kBytes = 2;
constexpr int32 kExtra = 3;

struct Freed {
    void operator()(unsigned char* memory) const noexcept { SerilizeFree(memory); }
};
using Memory = std::unique_ptr<unsigned char, Freed>;

template <class Fields>
void Walk(Fields& fields, SMediaDescriptFiles& record) {
    fields.Numbers(record.value0, record.value1);
    fields.Block(record.name0);
    fields.Block(record.name1);
    fields.Block(record.name2);
    fields.Numbers(record.value2);
    fields.Block(record.name3);
}

template <class Fields>
void Walk(Fields& fields, SMediaDescriptExtra& record) {
    fields.Numbers(record.value0, record.value1);
    fields.Block(record.name0);
    fields.Block(record.name1);
    fields.Block(record.name2);
    fields.Numbers(record.value2, record.extraSize);
}

// A payload without a record is one of zeros, so that the reader stays in step.
template <class Payload>
Payload& PayloadOf(const SMediaDescript& record, Payload& none) {
    return record.data == nullptr ? none : *reinterpret_cast<Payload*>(record.data);
}

// Memory of its own for a payload that was read.
template <class Payload>
unsigned char* Kept(const Payload& payload) {
    unsigned char* const memory = SerilizeMalloc(static_cast<unsigned int>(sizeof payload));
    std::memcpy(memory, &payload, sizeof payload);
    return memory;
}

} // namespace

CVXCSerialize& operator<<(CVXCSerialize& stream, SMediaDescript& record) {
    RecordWriter fields(stream);
    fields.Numbers(record.type);
    if (record.type == kFiles) {
        SMediaDescriptFiles none{};
        Walk(fields, PayloadOf(record, none));
    } else if (record.type == kBytes) {
        fields.Numbers(record.size);
        if (record.size != 0) { // a reader of size 0 does not look for a block
            fields.Bytes(record.data, record.size);
        }
    } else if (record.type == kExtra) {
        SMediaDescriptExtra none{};
        SMediaDescriptExtra& payload = PayloadOf(record, none);
        if (payload.extraSize == 0 || payload.extra == nullptr) {
            payload.extraSize = 0; // in the caller's record too
        }
        Walk(fields, payload);
        if (payload.extraSize != 0) {
            fields.Bytes(payload.extra, payload.extraSize);
        }
    }
    return stream;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SMediaDescript& record) {
    RecordReader fields(stream); // the payload goes through its temporary too
    fields.Numbers(record.type);
    if (record.type == kFiles) {
        SMediaDescriptFiles payload{};
        Walk(fields, payload);
        record.data = Kept(payload);
    } else if (record.type == kBytes) {
        fields.Numbers(record.size);
        if (record.size != 0) {
            fields.Bytes(record.data, record.size);
        } else {
            record.data = nullptr;
        }
    } else if (record.type == kExtra) {
        SMediaDescriptExtra payload{};
        Walk(fields, payload);
        Memory extra;
        if (payload.extraSize != 0) {
            extra.reset(fields.Attachment(payload.extraSize));
        }
        payload.extra = extra.get();
        record.data = Kept(payload);
        extra.release();
    }
    return stream;
}
