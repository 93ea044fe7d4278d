// PlainReading.h - reading one file at any position and size, for the sources that have one: widened to whole
// sectors through a bounce buffer where the file is read unbuffered, and with the digest of the whole file
// riding on the reads. One thread at a time.
#pragma once

#include "frame/AlignedBlock.h"
#include "frame/MD5Check.h"
#include "frame/Types.h"

namespace vxcio {

// One read as the file sees it.
struct PlainRequest {
    uint64 pos;    // where the file is read
    uint32 want;   // how much of it
    uint32 head;   // bytes of it in front of the caller's
    uint32 tail;   // bytes of it behind the caller's
    uint8* target; // where they go: the caller's buffer or the bounce buffer
};

// What bytes are taken from.
class PlainFile {
public:
    virtual bool SeekTo(uint64 position) = 0;
    // The count; never more than was asked for.
    virtual uint32 ReadSome(uint8* buffer, uint32 bytes) = 0;
    // A read for a caller gave nothing.
    virtual void NoteEmptyRead(const PlainRequest& /*request*/) {}

protected:
    PlainFile() = default;
    PlainFile(const PlainFile&) = default;
    PlainFile& operator=(const PlainFile&) = default;
    ~PlainFile() = default;
};

// How the file wants to be read.
struct PlainShape {
    bool isUnbuffered;
    uint32 sectorSize; // not 0
    // So many pieces of nothing in a row end what is read for the digest alone: the caller jumped far beyond
    // the file's end, or the size that was told is too large; neither may read for years.
    uint32 emptyPieces = 1024;
};

// Buffers grow in whole MiB, so that a stream of like requests does not allocate: one, or always more than
// asked for.
constexpr uint64 BounceSizeFor(uint64 want) noexcept {
    constexpr uint64 kMebibyte = 0x100000;
    return want > kMebibyte ? (want / kMebibyte + 1) * kMebibyte : kMebibyte;
}

// Reads at `pos`. `check`, if not null, is fed with what it has not seen, also what was skipped before. The
// number of bytes that the caller has got; 0 at the end or a failure.
uint32 ReadPlain(PlainFile& file, PlainShape shape, AlignedBuffer& bounce, MD5Check* check, uint64 pos,
                 uint8* buffer, uint32 bytes);

// Feeds the rest of a file of this size. False where a seek fails.
bool FeedRest(PlainFile& file, PlainShape shape, MD5Check& check, uint64 size);

// What GetMD5_check does about its result: 16 bytes of the caller's own. False where memory lacks.
bool MakeDigest(uint8*& digest, int& length) noexcept;

} // namespace vxcio
