#include "ftp/WriteToFtp.h"

#include "frame/InnerSoftDataIO.h"
#include "frame/Log.h"
#include "frame/Status.h"
#include "ftp/FtpSocket.h"
#include "ftp/LostPath.h"
#include "ftp/ReplyText.h"
#include "ftp/ReplyTimes.h"

#include <new>
#include <stdexcept>

using namespace vxcio;

namespace {

constexpr uint32 kBlockSize = 1048576;
constexpr int kLineOfSend = 287; // under which the log knows a send that threw

// What stands behind the first bracket up to a blank, which must be there.
uint64 SizeInProbe(const wchar_t* reply) {
    const int bracket = FindCharacter(reply, L'(');
    if (bracket < 0 || BeginsWith(reply, L"bytes")) {
        return 0;
    }
    if (FindCharacter(reply + bracket + 1, L' ') < 0) {
        throw std::out_of_range("invalid string position");
    }
    return SizeBehindBracket(reply, bracket);
}

} // namespace

CWriteToFtpEx1::CWriteToFtpEx1() = default;
CWriteToFtpEx1::~CWriteToFtpEx1() = default;

// Asks what size the file has; any refusal means that there is none.
uint32 CWriteToFtpEx1::ProbeSize(const wchar_t* path) {
    CInnerSoftDataIO& session = *m_pInner;
    if (session.SendCommand(L"RETR ", path) == 0) {
        return VXC_STATUS_FTP_REPLY;
    }
    if (session.ReadStr(session.m_retmsg, kReplyTimeOut) == 0 || session.m_nReplyClass != 1) {
        return VXC_STATUS_OK;
    }
    session.m_qwFileSize = SizeInProbe(session.m_retmsg);
    if (session.SendCommand(L"ABOR") == 0) {
        return VXC_STATUS_FTP_SEND;
    }
    // How many replies come is the server's choice; they end when it is silent.
    while (session.ReadStr(session.m_retmsg, kReplyTimeOut) != 0) {
    }
    return VXC_STATUS_OK;
}

uint32 CWriteToFtpEx1::OpenFile(const wchar_t* fileName, uint32 /*bufferBytes*/, uint32 /*blockBytes*/,
                                uint32 openMode, uint32 /*flagsAndAttributes*/, uint32 /*reserved1*/,
                                uint32 /*reserved2*/, uint32 /*reserved3*/, uint32 /*reserved4*/,
                                void* /*reserved5*/) {
    CInnerSoftDataIO& session = *m_pInner;
    if (session.m_bFtp != 1) {
        return VXC_STATUS_NOT_CONNECTED;
    }
    const CVXCString path = session.RemotePath(fileName);
    if (IsLost(path, fileName)) {
        return VXC_STATUS_FTP_SEND;
    }
    const bool anew = openMode == 0 || session.m_nFtpMode == FTPMODE_EXPLODED;
    if (session.m_nFtpMode == FTPMODE_NORMAL) {
        if (const uint32 status = ProbeSize(path); status != VXC_STATUS_OK) {
            return status;
        }
    }
    if (session.CreateDataChannel() != VXC_STATUS_OK) {
        if (const uint32 status = session.CreateDataChannel(); status != VXC_STATUS_OK) {
            VXCMSGW(kModuleName, L"create ftp datachannel failed\n");
            return status;
        }
    }
    if (session.SendCommand(anew ? L"STOR " : L"APPE ", path) == 0) {
        return VXC_STATUS_FTP_SEND;
    }
    const bool isPassive = session.m_bPASV != 0;
    if (isPassive && session.ConnectDataChannel() == 0) {
        return VXC_STATUS_OK;
    }
    if (session.ReadStr(session.m_retmsg, kReplyTimeOut) == 0 || session.m_nReplyClass != 1) {
        return VXC_STATUS_FTP_STOR;
    }
    return isPassive || session.AcceptDataChannel() != 0 ? VXC_STATUS_OK : VXC_STATUS_FTP_SOCKET;
}

int CWriteToFtpEx1::Write(const uint8* buffer, uint32 bytes, uint32* wentOut) {
    CInnerSoftDataIO& session = *m_pInner;
    if (buffer == nullptr || bytes == 0 || session.m_DataChannel == nullptr) {
        return 0;
    }
    if (wentOut != nullptr) {
        *wentOut = 1;
    }
    int sent = 0;
    try {
        sent = session.m_DataChannel->Send(buffer, bytes, 0);
    } catch (...) {
        VXC_Output_FromW(kModuleName, "WriteToFtp", kLineOfSend, INFOTYPE_TRACE, L"%s",
                         L"Send Data exception!\n");
        return 0;
    }
    if (sent < 0 || static_cast<uint32>(sent) != bytes) {
        session.m_strInfo = L" Can't send data to ftp sever , Socket Error !!!\n";
        VXCMSGW(kModuleName, L" Can't send data to ftp sever , Socket Error !!!\n");
    } else {
        session.m_strInfo = L"Send Data to sever!";
    }
    // A failure takes one off.
    session.m_qwFileSize += static_cast<uint64>(int64{sent});
    return sent;
}

uint32 CWriteToFtpEx1::CloseFile() {
    CInnerSoftDataIO& session = *m_pInner;
    uint32 status = VXC_STATUS_OK;
    if (session.m_DataChannel != nullptr) {
        session.DropSocket(session.m_DataChannel);
        // Without a control channel no reply can ever come.
        bool isAnswered = false;
        while (session.m_Ctrlsok != nullptr && !isAnswered) {
            isAnswered = session.ReadStr(session.m_retmsg, kReplyTimeOut) != 0;
        }
        status = isAnswered && session.m_nReplyClass == 2 ? VXC_STATUS_OK : VXC_STATUS_WRITE;
    }
    session.DropSocket(session.m_SockSvr);
    return status;
}

uint64 CWriteToFtpEx1::GetFileSize() {
    return 0;
}

int64 CWriteToFtpEx1::Seek(int64 /*offset*/, uint32 /*origin*/) {
    return 0;
}

int CWriteToFtpEx1::ReadBack(uint8* /*buffer*/, uint32 /*bytes*/) {
    return 0;
}

CWriteToFtp::CWriteToFtp() : m_pSink(new (std::nothrow) CWriteToFtpEx1) {}
CWriteToFtp::~CWriteToFtp() = default;

uint32 CWriteToFtp::OpenFile(const wchar_t* fileName, uint32 bufferBytes, uint32 openMode,
                             uint32 flagsAndAttributes, void* reserved) {
    return m_pSink->OpenFile(fileName, bufferBytes, kBlockSize, openMode, flagsAndAttributes, 0, 0, 0, 0,
                             reserved);
}

uint32 CWriteToFtp::CloseFile() {
    return m_pSink->CloseFile();
}

uint64 CWriteToFtp::GetFileSize() {
    return m_pSink->GetFileSize();
}

int64 CWriteToFtp::Seek(int64 offset, uint32 origin) {
    return m_pSink->Seek(offset, origin);
}

int CWriteToFtp::Write(const uint8* buffer, uint32 bytes, uint32* wentOut) {
    return m_pSink->Write(buffer, bytes, wentOut);
}

int CWriteToFtp::ReadBack(uint8* buffer, uint32 bytes) {
    return m_pSink->ReadBack(buffer, bytes);
}
