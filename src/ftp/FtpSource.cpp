#include "ftp/FtpSource.h"

#include "frame/InnerSoftDataIO.h"
#include "frame/Log.h"
#include "frame/ReadSetting.h"
#include "frame/Status.h"
#include "ftp/FtpSocket.h"
#include "ftp/LostPath.h"
#include "ftp/ReplyText.h"
#include "ftp/ReplyTimes.h"

#include <atomic>
#include <new>
#include <utility>

using namespace vxcio;

namespace {

constexpr int kBackSize = 1 << 20;
constexpr uint32 kDefaultTimeOut = 60000; // milliseconds, as all here
constexpr uint32 kLeastTimeOut = 1000;
constexpr uint32 kClosingReplyTimeOut = 2000;

} // namespace

// The back buffer is zeroed, as a short read may put up parts of it that were never filled.
CFtpSource::CFtpSource()
    : m_pBack(new (std::nothrow) uint8[kBackSize]()), m_nBackSize(kBackSize), m_nTimeOut(kDefaultTimeOut) {}

CFtpSource::~CFtpSource() {
    CFtpSource::DisablePreRead();
    DropReceiver();
    CSoftDataIO::Close();
}

// The thread rests or has ended: what it could not bring back in time is not in its hands any more.
void CFtpSource::DropReceiver() noexcept {
    if (m_pReceiver) {
        m_pReceiver->Stop();
        m_pReceiver.Reset();
    }
}

// ---- The session --------------------------------------------------------------------------------------

void CFtpSource::RestPreRead() const noexcept {
    if (m_pPreRead) {
        m_pPreRead->Rest();
    }
}

int CFtpSource::Connect(FTPMODE mode, const wchar_t* host, const wchar_t* user, const wchar_t* password,
                        int port, int unused) {
    RestPreRead();
    return CSoftDataSource::Connect(mode, host, user, password, port, unused);
}

int CFtpSource::SetPASVMode(int passive) {
    RestPreRead();
    return CSoftDataSource::SetPASVMode(passive);
}

int CFtpSource::SetFindPath(const wchar_t* path) {
    RestPreRead();
    return CSoftDataSource::SetFindPath(path);
}

int CFtpSource::FindNextFile1(void* findData) {
    RestPreRead();
    return CSoftDataSource::FindNextFile1(findData);
}

int CFtpSource::IsFileExist(const wchar_t* path) {
    RestPreRead();
    return CSoftDataSource::IsFileExist(path);
}

int CFtpSource::DeleteFile1(const wchar_t* path) {
    RestPreRead();
    return CSoftDataSource::DeleteFile1(path);
}

int CFtpSource::RenameFile(const wchar_t* oldPath, const wchar_t* newPath) {
    RestPreRead();
    return CSoftDataSource::RenameFile(oldPath, newPath);
}

int CFtpSource::MakeFolder(const wchar_t* path) {
    RestPreRead();
    return CSoftDataSource::MakeFolder(path);
}

int CFtpSource::DeleteFolder(const wchar_t* path) {
    RestPreRead();
    return CSoftDataSource::DeleteFolder(path);
}

int CFtpSource::Close() {
    RestPreRead();
    return CSoftDataSource::Close();
}

int CFtpSource::GetXDCAMMXFInfo(const wchar_t* path, PLUG_VIDEO_TYPE_& type, uint32& length, uint32& audio,
                                uint32& rate, uint32& scale) {
    RestPreRead();
    return CSoftDataSource::GetXDCAMMXFInfo(path, type, length, audio, rate, scale);
}

uint64 CFtpSource::GetXDCAMFreeSpace() {
    RestPreRead();
    return CSoftDataSource::GetXDCAMFreeSpace();
}

// The probe leaves the server at this position: the next transfer that does not name its own begins there.
int CFtpSource::CanSeek() {
    RestPreRead();
    m_pInner->SendCommand(L"REST 100");
    return m_pInner->ReadStr(m_pInner->m_retmsg, kReplyTimeOut) != 0 && m_pInner->m_nReplyClass == 3 ? 1 : 0;
}

// ---- Opening and closing ------------------------------------------------------------------------------

void CFtpSource::ForgetTransfer() noexcept {
    RestPreRead();
    DropReceiver();
    m_pHead.reset();
    m_nBackValid = 0; // of another file
    m_nBackPending = 0;
    m_pBackNoted = nullptr;
}

uint32 CFtpSource::OpenFile(const wchar_t* fileName, uint32 /*flagsAndAttributes*/,
                            const wchar_t* /*secondFileName*/, uint64 /*extra*/) {
    ForgetTransfer();
    uint32 timeOut = 0;
    ReadSetting(L"FtpTimeOut", &timeOut);
    m_nTimeOut = timeOut < kLeastTimeOut ? kDefaultTimeOut : timeOut;
    CVXCString path = m_pInner->RemotePath(fileName);
    if (IsLost(path, fileName)) {
        return VXC_STATUS_FTP_SEND;
    }
    m_pInner->m_strFileName = std::move(path);
    CSoftDataSource::SetPASVMode(1); // wherever the mode allows it
    m_pReceiver = FtpReceiver::Start();
    const uint32 status = m_pReceiver ? SetStartPos(0) : VXC_STATUS_OPEN_READ;
    m_qwPos = 0;
    m_qwStreamPos = 0;
    return status;
}

uint32 CFtpSource::SetStartPos(uint64 position) noexcept {
    LogTrace(L"CFtpSource--SetStartPos Begin qwPos = %d\n", static_cast<int32>(position));
    if (const uint32 status = m_pInner->CreateDataChannel(); status != VXC_STATUS_OK) {
        VXCMSGW(kModuleName, L"create ftp datachannel failed\n");
        return status;
    }
    if (const uint32 status = AskForSize(); status != VXC_STATUS_OK) {
        return status;
    }
    if (position != 0) {
        CVXCString rest;
        rest.Format(L"REST %I64d", static_cast<int64>(position));
        if (rest.IsEmpty() || m_pInner->WriteStr(rest) == 0) { // empty: memory lacked
            return VXC_STATUS_FTP_SEND;
        }
        if (m_pInner->ReadStr(m_pInner->m_retmsg, kReplyTimeOut) == 0 || m_pInner->m_nReplyClass != 3) {
            return VXC_STATUS_FTP_REST;
        }
    }
    if (m_pInner->SendCommand(L"RETR ", m_pInner->m_strFileName) == 0) {
        return VXC_STATUS_FTP_SEND;
    }
    bool isUp = false;
    if (const uint32 status = OpenChannel(&isUp); status != VXC_STATUS_OK || !isUp) {
        return status;
    }
    if (CFtpSource::GetFileSize() == 0) {
        SetFileSize(SizeInReply(m_pInner->m_retmsg));
    }
    VXCMSGW(kModuleName, L"CFtpSource--OpenFile End\n");
    return VXC_STATUS_OK;
}

// A server need not know the command: its refusal leaves the size as it is.
uint32 CFtpSource::AskForSize() noexcept {
    if (m_pInner->SendCommand(L"SIZE ", m_pInner->m_strFileName) == 0) {
        return VXC_STATUS_FTP_SEND;
    }
    if (m_pInner->ReadStr(m_pInner->m_retmsg, kReplyTimeOut) == 0) {
        return VXC_STATUS_FTP_RETR;
    }
    if (BeginsWith(m_pInner->m_retmsg, L"213 ")) {
        SetFileSize(static_cast<uint64>(LongNumberAt(m_pInner->m_retmsg.c_str() + 4)));
    }
    return VXC_STATUS_OK;
}

// The data connection, once the command is out. Many servers hold back their reply until it stands.
uint32 CFtpSource::OpenChannel(bool* isUp) noexcept {
    *isUp = false;
    const bool isPassive = m_pInner->m_bPASV != 0;
    if (isPassive && m_pInner->ConnectDataChannel() == 0) {
        return VXC_STATUS_OK; // the reads will tell
    }
    if (m_pInner->ReadStr(m_pInner->m_retmsg, kReplyTimeOut) == 0 || m_pInner->m_nReplyClass != 1) {
        return VXC_STATUS_FTP_RETR;
    }
    if (!isPassive && m_pInner->AcceptDataChannel() == 0) {
        VXCMSGW(kModuleName, L"CFtpSource:: Accept inbound data connection from server Error!!!\n");
        return VXC_STATUS_FTP_ACCEPT;
    }
    *isUp = true;
    return VXC_STATUS_OK;
}

uint32 CFtpSource::CloseFile() {
    CFtpSource::DisablePreRead();
    m_pHead.reset();
    if (m_pReceiver) {
        DropReceiver();
        LogTrace(L"%s", L"CFtpSource::CloseFile()-m_DataChannel->Close()-1");
        if (m_pInner->m_DataChannel != nullptr) {
            m_pInner->m_DataChannel->Close();
        }
        LogTrace(L"%s", L"CFtpSource::CloseFile()-m_DataChannel->Close()-2");
        LogTrace(L"%s", L"CFtpSource::CloseFile()-m_pInner->ReadStr(m_pInner->m_retmsg, 2000)-1");
        while (m_pInner->ReadStr(m_pInner->m_retmsg, kClosingReplyTimeOut) != 0 &&
               !BeginsWith(m_pInner->m_retmsg, L"226") && !BeginsWith(m_pInner->m_retmsg, L"426")) {
        }
        LogTrace(L"%s", L"CFtpSource::CloseFile()-m_pInner->ReadStr(m_pInner->m_retmsg, 2000)-2");
    }
    m_qwPos = 0;
    m_qwStreamPos = 0;
    return VXC_STATUS_OK;
}

// ---- Size and modes -----------------------------------------------------------------------------------

// A catch-up of the digest on the read-ahead's thread may learn the size anew while the caller asks.
void CFtpSource::SetFileSize(uint64 size) noexcept {
    std::atomic_ref(m_pInner->m_qwFileSize).store(size, std::memory_order_relaxed);
}

uint64 CFtpSource::GetFileSize() {
    return std::atomic_ref(m_pInner->m_qwFileSize).load(std::memory_order_relaxed);
}

uint32 CFtpSource::SetReadRepeat(uint32 /*enable*/) {
    return 0;
}

void CFtpSource::EnablePreRead(int bufferBytes, int minimumBytes) {
    const int block = FtpPreRead::BlockFor(bufferBytes, minimumBytes);
    if (m_pPreRead && m_pPreRead->HasSizes(block, minimumBytes)) {
        return;
    }
    CFtpSource::DisablePreRead();
    m_pPreRead = FtpPreRead::Start(*this, block, minimumBytes);
    if (m_pPreRead) {
        LogTrace(L"%s", L"m_bIsPreReadMode be set to TRUE");
    }
}

void CFtpSource::DisablePreRead() {
    CopyBack();
    m_pPreRead.reset();
}

uint32 CFtpSource::IsPreReadMode() {
    return m_pPreRead ? 1 : 0;
}
