// The description with one of three payloads.
#include "bridge/RecordAttachment.h"
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
    fields.All(record.value0, record.value1, record.name0, record.name1, record.name2, record.value2,
               record.name3);
}

template <class Fields>
void Walk(Fields& fields, SMediaDescriptExtra& record) {
    fields.All(record.value0, record.value1, record.name0, record.name1, record.name2, record.value2,
               record.extraSize);
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
    fields.Field(record.type);
    if (record.type == kFiles) {
        SMediaDescriptFiles none{};
        Walk(fields, PayloadOf(record, none));
    } else if (record.type == kBytes) {
        fields.Field(record.size);
        if (record.size != 0) { // a reader of size 0 does not look for a block
            stream.WriteBlock(record.data, record.size);
        }
    } else if (record.type == kExtra) {
        SMediaDescriptExtra none{};
        SMediaDescriptExtra& payload = PayloadOf(record, none);
        if (payload.extraSize == 0 || payload.extra == nullptr) {
            payload.extraSize = 0; // in the caller's record too
        }
        Walk(fields, payload);
        if (payload.extraSize != 0) {
            stream.WriteBlock(payload.extra, payload.extraSize);
        }
    }
    return stream;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SMediaDescript& record) {
    RecordReader fields(stream); // the payload goes through its temporary too
    fields.Field(record.type);
    if (record.type == kFiles) {
        SMediaDescriptFiles payload{};
        Walk(fields, payload);
        record.data = Kept(payload);
    } else if (record.type == kBytes) {
        fields.Field(record.size);
        if (record.size != 0) {
            fields.FixedBlock(record.data, record.size);
        } else {
            record.data = nullptr;
        }
    } else if (record.type == kExtra) {
        SMediaDescriptExtra payload{};
        Walk(fields, payload);
        Memory extra;
        if (payload.extraSize != 0) {
            extra.reset(vxcio::ReadAttachment(stream, payload.extraSize));
        }
        payload.extra = extra.get();
        record.data = Kept(payload);
        extra.release();
    }
    return stream;
}
