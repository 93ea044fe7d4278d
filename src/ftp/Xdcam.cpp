// What an XDCAM device tells of its clips and its space, by the extensions of its FTP server.
#include "frame/InnerSoftDataIO.h"

#include "frame/Log.h"
#include "frame/Status.h"
#include "ftp/FtpSocket.h"
#include "ftp/ReplyText.h"
#include "ftp/ReplyTimes.h"
#include "ftp/XdcamText.h"

#include <array>
#include <string_view>

using namespace vxcio;

int CInnerSoftDataIO::GetXDCAMMXFInfo(const wchar_t* path, PLUG_VIDEO_TYPE_& type, uint32& length,
                                      uint32& audio, uint32& rate, uint32& scale) {
    if (m_nFtpMode != FTPMODE_XDCAM) {
        type = static_cast<PLUG_VIDEO_TYPE_>(6);
        length = 2904;
        audio = 4;
        rate = 25;
        scale = 1;
        return 1;
    }
    if (SendCommand(L"STAT ", path) == 0) {
        return 0;
    }
    VXC_Sleep(m_nReplyDelay);
    if (ReadLine(m_retmsg, kReplyTimeOut) == 0) {
        return 0;
    }
    if (m_retmsg.GetLength() < 4 || m_retmsg.GetAt(3) != L'-') {
        return 1; // one line, whatever it says
    }
    const int32 code = NumberAt(m_retmsg);
    uint32 depth = 16;
    for (int line = 0; m_retmsg.GetLength() <= 3 || m_retmsg.GetAt(3) != L' ' || NumberAt(m_retmsg) != code;
         ++line) {
        if (ReadLine(m_retmsg, kReplyTimeOut) == 0) {
            return 0;
        }
        // The closing line is looked at like any other.
        switch (line) {
        case 2: {
            const XdcamCodec codec = CodecIn(m_retmsg.c_str());
            type = static_cast<PLUG_VIDEO_TYPE_>(codec.type);
            depth = codec.depth;
            break;
        }
        case 3: {
            const XdcamRate found = RateIn(m_retmsg.c_str());
            rate = found.rate;
            scale = found.scale;
            break;
        }
        case 4:
            audio = (static_cast<uint32>(NumberAt(m_retmsg)) << 16) + depth;
            break;
        case 5:
            length = static_cast<uint32>(NumberAt(m_retmsg));
            break;
        default:
            break;
        }
    }
    return 1;
}

uint64 CInnerSoftDataIO::GetXDCAMFreeSpace() {
    if (CreateDataChannel() != VXC_STATUS_OK) {
        VXCMSGW(kModuleName, L"create ftp datachannel failed\n");
        return 0;
    }
    if (SendCommand(L"SITE DF") == 0) {
        return VXC_STATUS_FTP_SEND;
    }
    if (ReadStr(m_retmsg, kReplyTimeOut) == 0 || m_nReplyClass != 1) {
        return 0;
    }
    // A device makes the connection; where a passive one was arranged nobody listens.
    if (AcceptDataChannel() == 0) {
        VXCMSGW(kModuleName, L"CFtpSource:: Accept inbound data connection from server Error!!!\n");
        return 0;
    }
    std::array<char, 512> report{};
    int got = 0;
    try {
        got = m_DataChannel->Receive(report.data(), static_cast<unsigned>(report.size()), 0);
    } catch (...) {
        return 0;
    }
    uint64 space = 0;
    if (got <= 0 || !SpaceIn(std::string_view(report.data(), static_cast<std::size_t>(got)), &space)) {
        return 0;
    }
    m_DataChannel->Close();
    ReadStr(m_retmsg, kReplyTimeOut);
    return space;
}
