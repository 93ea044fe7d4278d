// The digest of CFtpSource: the bytes that the stream jumped over, and the rest of the file at the end.
#include "ftp/FtpSource.h"

#include "frame/InnerSoftDataIO.h"
#include "frame/MD5Check.h"
#include "frame/Status.h"
#include "frame/TransferDefaults.h"

#include <algorithm>
#include <cstring>
#include <new>

using namespace vxcio;

namespace {

// So many pieces of nothing in a row mean that the server told too large a size.
constexpr int kEmptyPieces = 1024;

} // namespace

// Begins the transfer anew where the digest stands and reads on to where it was. False when that failed.
bool CFtpSource::CatchUpMD5(MD5Check& check) noexcept {
    // The set-up of the channel is part of the start as well; servers have come to know both.
    if (m_pInner->CreateDataChannel() != VXC_STATUS_OK || SetStartPos(check.Position()) != VXC_STATUS_OK) {
        return false;
    }
    for (uint64 gap = m_qwStreamPos - check.Position(); gap > 0;) {
        const uint64 piece = std::min<uint64>(gap, check.BufferSize());
        int got = 0;
        if (!Fetch(check.Buffer(), static_cast<int>(piece),
                   L"Can't get data from ftp sever, Socket Error %d !!!", &got)) {
            return false;
        }
        if (got == 0) {
            break; // the server has ended before, and the stream stands where the digest does
        }
        check.Feed(check.Buffer(), static_cast<uint64>(got));
        gap -= static_cast<uint64>(got);
    }
    m_qwStreamPos = check.Position();
    return true;
}

void CFtpSource::MoveToMD5(const MD5Check& check, uint64 size) noexcept {
    bool isRefused = false;
    SeekTo(check.Position(), &isRefused);
    RestPreRead(); // a way on through the blocks sets the thread to work, which may feed the digest too
    // A seek that the back buffer serves, or the blocks of read-ahead, leaves the stream elsewhere.
    if (isRefused || !m_pReceiver || check.Position() >= size || check.Position() == m_qwStreamPos) {
        return;
    }
    const bool isThere = SetStartPos(check.Position()) == VXC_STATUS_OK;
    m_qwStreamPos = isThere ? check.Position() : 0; // where there is nothing to catch up with
}

// Feeds the rest of the file, by the size that the server told.
void CFtpSource::FinishMD5(MD5Check& check, uint64 size) noexcept {
    if (check.Position() != m_qwStreamPos) {
        MoveToMD5(check, size);
    }
    int empty = 0;
    for (uint64 rest = size - std::min(size, check.Position()); rest > 0 && empty < kEmptyPieces;) {
        const uint64 piece = std::min<uint64>(rest, check.BufferSize());
        const uint64 position = m_qwStreamPos;
        const int got = ReadDataFromFtpSocket(check.Buffer(), static_cast<int>(piece));
        // Nothing where it was fed on the way.
        check.RideAlong(check.Buffer(), position, static_cast<uint64>(got));
        empty = got == 0 ? empty + 1 : 0;
        rest -= piece;
    }
    check.SetPosition(size);
}

int CFtpSource::GetMD5_check(uint32 /*type*/, uint8*& digest, int& length) {
    RestPreRead();
    const auto check = m_pInner->MD5State();
    if (!check) {
        return 0;
    }
    uint8* const result = new (std::nothrow) uint8[kDigestSize];
    if (result == nullptr) {
        return 0;
    }
    digest = result;
    length = kDigestSize;
    const uint64 size = CFtpSource::GetFileSize();
    if (check->Position() < size) {
        FinishMD5(*check, size);
    }
    check->Final(result);
    return 0;
}
