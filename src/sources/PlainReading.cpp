#include "sources/PlainReading.h"

#include "filehandle/FileRecord.h"
#include "frame/BulkCopy.h"
#include "frame/Log.h"
#include "frame/RoundUp.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace vxcio {

namespace {

constexpr uint32 kMemoryAlignment = 512;

void ShowLastError() {
    const ErrorText error = LastErrorText();
    VXCMSGW(kModuleName, error.text);
}

bool GrowBounceBuffer(AlignedBuffer& bounce, uint64 want) {
    if (bounce.Size() >= want) {
        return true;
    }
    bounce.Reset();
    const uint64 size = BounceSizeFor(want);
    if (size > 0xFFFFFFFFu) {
        return false;
    }
    bounce = AlignedBuffer(size, kMemoryAlignment);
    return static_cast<bool>(bounce);
}

bool Plan(PlainShape shape, AlignedBuffer& bounce, uint64 pos, uint8* buffer, uint32 bytes,
          PlainRequest& request) {
    request = {pos, bytes, 0, 0, buffer};
    const uint32 s = shape.sectorSize;
    if (!shape.isUnbuffered || (pos % s == 0 && bytes % s == 0 &&
                                reinterpret_cast<std::uintptr_t>(buffer) % kMemoryAlignment == 0)) {
        return true;
    }
    request.head = static_cast<uint32>(pos % s);
    request.pos = pos - request.head;
    uint64 want = uint64{bytes} + request.head;
    request.tail = want % s == 0 ? 0 : static_cast<uint32>(s - want % s);
    want += request.tail;
    if (!GrowBounceBuffer(bounce, want)) { // refuses what does not fit 32 bits
        return false;
    }
    request.want = static_cast<uint32>(want);
    request.target = bounce.Data();
    return true;
}

// The bytes that a forward jump skipped.
bool CatchUp(PlainFile& file, PlainShape shape, MD5Check& check, uint64 pos) {
    if (check.Position() >= pos) {
        return true;
    }
    if (!file.SeekTo(check.Position())) {
        return false;
    }
    uint32 empty = 0;
    for (uint64 gap = pos - check.Position(); gap > 0 && empty < shape.emptyPieces;) {
        const uint32 piece = static_cast<uint32>(std::min<uint64>(gap, check.BufferSize()));
        const uint32 got = file.ReadSome(check.Buffer(), piece);
        if (got < piece) {
            ShowLastError();
        }
        check.Feed(check.Buffer(), got);
        empty = got == 0 ? empty + 1 : 0;
        gap -= piece;
    }
    return true;
}

} // namespace

uint32 ReadPlain(PlainFile& file, PlainShape shape, AlignedBuffer& bounce, MD5Check* check, uint64 pos,
                 uint8* buffer, uint32 bytes) {
    PlainRequest request;
    if (!Plan(shape, bounce, pos, buffer, bytes, request) ||
        (check != nullptr && !CatchUp(file, shape, *check, request.pos)) || !file.SeekTo(request.pos)) {
        return 0;
    }
    uint32 got = file.ReadSome(request.target, request.want);
    if (got == 0 && request.want != 0) {
        file.NoteEmptyRead(request);
    }
    if (check != nullptr) {
        check->RideAlong(request.target, request.pos, got);
    }
    if (request.target != buffer) {
        const uint64 around = uint64{request.head} + request.tail;
        uint32 count = 0;
        if (got >= around && got - around >= bytes) {
            count = bytes;
        } else if (got > request.head) {
            count = std::min(got - request.head, bytes);
        }
        CopyBulk(buffer, request.target + request.head, count);
        got = count;
    }
    return got;
}

bool FeedRest(PlainFile& file, PlainShape shape, MD5Check& check, uint64 size) {
    const uint32 s = shape.sectorSize;
    const uint32 whole = shape.isUnbuffered ? check.BufferSize() / s * s : check.BufferSize();
    if (whole == 0) {
        return false;
    }
    const uint64 inside = shape.isUnbuffered ? check.Position() % s : 0;
    const uint64 start = check.Position() - inside;
    if (!file.SeekTo(start)) {
        return false;
    }
    if (inside != 0) {
        // The sector that holds the position; its front has passed already.
        const uint32 got =
            static_cast<uint32>(std::min<uint64>(file.ReadSome(check.Buffer(), s), size - start));
        if (got > inside) {
            check.Feed(check.Buffer() + inside, got - inside);
        }
        check.SetPosition(std::min(start + s, size));
    }
    uint32 empty = 0;
    for (uint64 rest = size - check.Position(); rest > 0 && empty < shape.emptyPieces;) {
        const uint32 part = static_cast<uint32>(std::min<uint64>(rest, whole));
        // The end of the file shortens the last read to what is there.
        const uint32 piece = shape.isUnbuffered ? static_cast<uint32>(RoundUp(part, s)) : part;
        const uint32 got = file.ReadSome(check.Buffer(), piece);
        if (got == 0) {
            ShowLastError();
        }
        check.Feed(check.Buffer(), std::min(got, part));
        empty = got == 0 ? empty + 1 : 0;
        rest -= part;
    }
    check.SetPosition(size);
    return true;
}

bool MakeDigest(uint8*& digest, int& length) noexcept {
    uint8* const result = new (std::nothrow) uint8[kDigestSize];
    if (result == nullptr) {
        return false;
    }
    std::memset(result, 0, kDigestSize);
    digest = result;
    length = kDigestSize;
    return true;
}

} // namespace vxcio
