// The digest of CFileSource: the bytes that a forward jump skipped, and the rest of the file at the end.
#include "sources/FileSource.h"

#include "frame/InnerSoftDataIO.h"
#include "frame/Log.h"
#include "frame/MD5Check.h"
#include "frame/RoundUp.h"

#include <algorithm>
#include <cstring>
#include <new>

using namespace vxcio;

namespace {

// So many pieces of nothing in a row mean that the caller jumped far beyond the file's end, or that a host
// told too large a size; neither may read for years.
constexpr int kEmptyPieces = 1024;

void ShowLastError() {
    const ErrorText error = LastErrorText();
    VXCMSGW(kModuleName, error.text);
}

} // namespace

bool CFileSource::CatchUpMD5(MD5Check& check, uint64 pos) {
    if (check.Position() >= pos) {
        return true;
    }
    if (m_pFile[0]->SetFilePointer(check.Position(), VXC_FILE_BEGIN) < 0) {
        return false;
    }
    int empty = 0;
    for (uint64 gap = pos - check.Position(); gap > 0 && empty < kEmptyPieces;) {
        const uint32 piece = static_cast<uint32>(std::min<uint64>(gap, check.BufferSize()));
        const uint32 got = ReadFile1(check.Buffer(), piece);
        if (got < piece) {
            ShowLastError();
        }
        check.Feed(check.Buffer(), got);
        empty = got == 0 ? empty + 1 : 0;
        gap -= piece;
    }
    return true;
}

bool CFileSource::FinishMD5(MD5Check& check, uint64 size) {
    const std::lock_guard lock(m_FileMutex);
    if (!m_pFile[0] || !IsFile1Free(kFile1Wait)) {
        return false;
    }
    const uint32 s = m_dwSectorSize;
    const uint32 whole = IsUnbuffered() ? check.BufferSize() / s * s : check.BufferSize();
    if (whole == 0) {
        return false;
    }
    const uint64 inside = IsUnbuffered() ? check.Position() % s : 0;
    const uint64 start = check.Position() - inside;
    if (m_pFile[0]->SetFilePointer(start, VXC_FILE_BEGIN) < 0) {
        return false;
    }
    if (inside != 0) {
        // The sector that holds the position; its front has passed already.
        const uint32 got = static_cast<uint32>(std::min<uint64>(ReadFile1(check.Buffer(), s), size - start));
        if (got > inside) {
            check.Feed(check.Buffer() + inside, got - inside);
        }
        check.SetPosition(std::min(start + s, size));
    }
    int empty = 0;
    for (uint64 rest = size - check.Position(); rest > 0 && empty < kEmptyPieces;) {
        const uint32 part = static_cast<uint32>(std::min<uint64>(rest, whole));
        // The end of the file shortens the last read to what is there.
        const uint32 piece = IsUnbuffered() ? static_cast<uint32>(RoundUp(part, s)) : part;
        const uint32 got = ReadFile1(check.Buffer(), piece);
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

int CFileSource::GetMD5_check(uint32 /*type*/, uint8*& digest, int& length) {
    const auto check = m_pInner->MD5State();
    if (!check) {
        return 0;
    }
    CFileSource::DisablePreRead();
    uint8* const result = new (std::nothrow) uint8[kDigestSize];
    if (result == nullptr) {
        return 0;
    }
    std::memset(result, 0, kDigestSize);
    digest = result;
    length = kDigestSize;
    const uint64 size = CFileSource::GetFileSize();
    if (check->Position() < size && !FinishMD5(*check, size)) {
        return 0;
    }
    check->Final(result);
    return 0;
}
