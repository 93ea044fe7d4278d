// Attachments: blocks of a length that only the stream knows.
#include "bridge/RecordFields.h"

#include <algorithm>
#include <cstring>
#include <utility>

unsigned char* vxcio::RecordReader::Attachment(uint32& size) {
    CVXCSerialize& stream = m_cursor.Leave();
    const unsigned int told = std::exchange(size, 0u);
    const unsigned int position = stream.m_dwPosition;
    const int error = stream.m_nError;
    // The block comes first, so that nobody's word on a length is paid in memory that the stream does not
    // back, and so that its count is read once alone: a peer may be changing it.
    unsigned char* bytes = nullptr;
    unsigned int count = 0;
    const unsigned int left = stream.m_dwCapacity > position ? stream.m_dwCapacity - position : 0;
    const bool done = stream.ReadBlock(bytes, count, 0) != 0;
    const unsigned int room = done ? std::max(count, std::min(told, left)) : 1;
    unsigned char* memory = nullptr;
    try {
        memory = SerilizeMalloc(room);
    } catch (...) {
        stream.m_dwPosition = position;
        stream.m_nError = error;
        throw;
    }
    if (done) {
        std::memcpy(memory, bytes, count);
    }
    std::memset(memory + count, 0, room - count);
    size = count;
    m_cursor.Enter();
    return memory;
}

CVXCSerialize& operator<<(CVXCSerialize& stream, SPlugAppendInfo_T& record) {
    vxcio::RecordWriter fields(stream);
    fields.Numbers(record.type, record.size);
    if (record.size != 0) {
        fields.Bytes(record.data, record.size);
    }
    return stream;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SPlugAppendInfo_T& record) {
    vxcio::RecordReader fields(stream);
    fields.Numbers(record.type, record.size);
    if (record.size != 0) {
        record.data = fields.Attachment(record.size);
    }
    return stream;
}
