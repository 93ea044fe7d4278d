// CFtpSource on an XDCAM device: a stretch of a clip as an MXF file of its own.
#include "ftp/FtpSource.h"

#include "frame/InnerSoftDataIO.h"
#include "frame/Log.h"
#include "frame/Status.h"
#include "ftp/LostPath.h"
#include "ftp/MxfHeader.h"
#include "ftp/StretchHead.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

using namespace vxcio;

namespace {

constexpr uint64 kLargestHeader = 0x7FFFFFFF; // that one read can ask for

} // namespace

int CFtpSource::OpenXDCAMFtpMXF(const wchar_t* path, uint32& start, uint32& end,
                                const wchar_t* /*reserved*/) {
    ForgetTransfer();
    CVXCString name(path);
    if (IsLost(name, path)) {
        return static_cast<int>(VXC_STATUS_FTP_SEND);
    }
    m_pInner->m_strFileName = std::move(name);
    m_qwPos = 0;
    m_qwStreamPos = 0;
    m_pReceiver = FtpReceiver::Start();
    if (!m_pReceiver) {
        return static_cast<int>(VXC_STATUS_OPEN_READ);
    }
    return static_cast<int>(m_pInner->m_nFtpMode == FTPMODE_XDCAM ? OpenStretch(start, end) : SetStartPos(0));
}

uint32 CFtpSource::OpenStretch(uint32& start, uint32 end) noexcept {
    if (const uint32 status = m_pInner->CreateDataChannel(); status != VXC_STATUS_OK) {
        VXCMSGW(kModuleName, L"create ftp datachannel failed\n");
        return status;
    }
    CVXCString frames;
    frames.Format(L" %d %d", static_cast<int32>(start), static_cast<int32>(end - start));
    const CVXCString argument = m_pInner->m_strFileName + frames;
    // Without the frames it would ask for all of the clip.
    const bool isWhole = !frames.IsEmpty() && IsJoined(argument, m_pInner->m_strFileName, frames);
    if (!isWhole || m_pInner->SendCommand(L"SITE REPF ", argument) == 0) {
        return VXC_STATUS_FTP_SEND;
    }
    bool isUp = false;
    const uint32 status = OpenChannel(&isUp);
    if (isUp) {
        ReadStretchHead(start);
    }
    return status;
}

void CFtpSource::ReadStretchHead(uint32& start) noexcept {
    std::unique_ptr<XdcamHead> head(new (std::nothrow) XdcamHead);
    if (!head) {
        return;
    }
    head->firstBytes = static_cast<uint32>(CFtpSource::Read(head->first, kPartitionHead));
    const uint64 count = HeaderByteCount(head->first);
    uint8* header = head->small;
    uint64 size = kPartitionHead;
    if (count > kPartitionHead) {
        size = static_cast<uint32>(count);
        if (size > kLargestHeader) {
            m_pHead = std::move(head); // nothing can be read of it
            return;
        }
        head->large.reset(static_cast<uint8*>(std::calloc(std::max<uint64>(size, 1), 1)));
        header = head->large.get();
        if (header == nullptr) {
            m_pHead = std::move(head);
            return;
        }
    } else {
        // What does not come stays what it was.
        std::memcpy(header, head->first, kPartitionHead);
    }
    head->headerBytes = static_cast<uint32>(CFtpSource::Read(header, static_cast<uint32>(size)));
    // Behind what came a large header is zero, and of 2 GiB that is a long way. A read that failed gives 0,
    // and nobody knows how far it came.
    if (header != head->small && head->headerBytes != 0) {
        size = head->headerBytes;
    }
    if (const int64 origin = TrackOrigin(header, size); origin > 0) {
        LogTrace(L"Find Xdcam ibp TrackPosition %d", static_cast<int32>(origin));
        start -= static_cast<uint32>(origin);
    }
    m_pHead = std::move(head);
}

int CFtpSource::CopyStretchHead(uint64 position, uint8* buffer, uint32 bytes) const noexcept {
    if (!m_pHead || buffer == nullptr) {
        return 0;
    }
    const auto piece = [&](const uint8* data, uint64 size) {
        const uint64 count = std::min<uint64>({size - position, bytes, kLargestHeader});
        std::memcpy(buffer, data + position, count);
        return static_cast<int>(count);
    };
    if (position < m_pHead->firstBytes) {
        return piece(m_pHead->first, m_pHead->firstBytes);
    }
    position -= m_pHead->firstBytes;
    return position < m_pHead->headerBytes ? piece(m_pHead->Header(), m_pHead->headerBytes) : 0;
}

namespace vxcio {

int StretchHead(const CSoftDataSource& source, uint64 position, uint8* buffer, uint32 bytes) noexcept {
    const auto* const ftp = dynamic_cast<const CFtpSource*>(&source);
    return ftp == nullptr ? 0 : ftp->CopyStretchHead(position, buffer, bytes);
}

} // namespace vxcio
