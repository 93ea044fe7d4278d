// The plain read path of CFileSource: from the caller's read down to the file handle.
#include "sources/FileSource.h"

#include "frame/BulkCopy.h"
#include "frame/InnerSoftDataIO.h"
#include "frame/Log.h"

#include <algorithm>

using namespace vxcio;

namespace {

constexpr uint32 kMemoryAlignment = 512;

} // namespace

uint32 CFileSource::ReadWholeFile(uint8* buffer, uint32 bytes) {
    // A position outside the file has nothing behind it.
    const auto pos = static_cast<uint64>(m_qwFilePos.load(std::memory_order_relaxed));
    const uint64 left = pos < m_qwWholeFileSize ? m_qwWholeFileSize - pos : 0;
    const uint32 count = static_cast<uint32>(std::min<uint64>(bytes, left));
    CopyBulk(buffer, m_pWholeFile.Data() + (count == 0 ? 0 : pos), count);
    m_qwFilePos.store(static_cast<int64>(pos + count), std::memory_order_relaxed);
    return count;
}

bool CFileSource::GrowBounceBuffer(uint64 want) {
    if (m_pAlignBuffer.Size() >= want) {
        return true;
    }
    m_pAlignBuffer.Reset();
    const uint64 size = BufferSizeFor(want);
    if (size > 0xFFFFFFFFu) {
        return false;
    }
    m_pAlignBuffer = AlignedBuffer(size, kMemoryAlignment);
    return static_cast<bool>(m_pAlignBuffer);
}

bool CFileSource::Plan(uint8* buffer, uint32 bytes, Request& request) {
    const auto pos = static_cast<uint64>(m_qwFilePos.load(std::memory_order_relaxed));
    request = {pos, bytes, 0, 0, buffer};
    if (!IsUnbuffered()) {
        return true;
    }
    const uint32 s = m_dwSectorSize;
    if (pos % s == 0 && bytes % s == 0 && reinterpret_cast<std::uintptr_t>(buffer) % kMemoryAlignment == 0) {
        return true;
    }
    request.head = static_cast<uint32>(pos % s);
    request.pos = pos - request.head;
    uint64 want = uint64{bytes} + request.head;
    request.tail = want % s == 0 ? 0 : static_cast<uint32>(s - want % s);
    want += request.tail;
    if (!GrowBounceBuffer(want)) { // refuses what does not fit 32 bits
        return false;
    }
    request.want = static_cast<uint32>(want);
    request.target = m_pAlignBuffer.Data();
    return true;
}

uint32 CFileSource::ReadFile1(uint8* buffer, uint32 bytes) {
    uint32 got = 0;
    m_pFile[0]->ReadFile(buffer, bytes, &got, nullptr); // the count tells; the status may be an old one
    return got;
}

uint32 CFileSource::ReadFileWithTwoHandle(uint8* buffer, uint32 bytes) {
    if (m_pWholeFile) {
        return ReadWholeFile(buffer, bytes);
    }
    const std::lock_guard lock(m_FileMutex);
    return m_bTwoHandle == 0 ? ReadOneFile(buffer, bytes) : ReadTwoFiles(buffer, bytes);
}

uint32 CFileSource::ReadOneFile(uint8* buffer, uint32 bytes) {
    Request request;
    if (!m_pFile[0] || !Plan(buffer, bytes, request)) {
        return 0;
    }
    const auto check = m_pInner->RunningMD5State();
    if (check && !CatchUpMD5(*check, request.pos)) {
        return 0;
    }
    if (m_pFile[0]->SetFilePointer(request.pos, VXC_FILE_BEGIN) < 0) {
        return 0;
    }
    uint32 got = ReadFile1(request.target, request.want);
    if (got == 0 && request.want != 0) {
        const ErrorText error = LastErrorText();
        LogError(L"ReadFileWithTwoHandle(): pos = %lld, want %d bytes, return %d bytes(%s)",
                 static_cast<int64>(request.pos), request.want, got, static_cast<const wchar_t*>(error.text));
    }
    if (check) {
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
    m_qwFilePos.fetch_add(got, std::memory_order_relaxed);
    return got;
}
