// FtpSessionFixture.h - the inner object of a source or sink, and the server that it talks to.
#pragma once

#include "frame/InnerSoftDataIO.h"
#include "frame/Log.h"
#include "frame/Status.h"
#include "ftp/FtpSocket.h"
#include "support/FtpScript.h"
#include "support/LeakChecks.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace vxcio::test {

// A line that went through VXCMSGW or is of the trace.
inline LogLine Message(const std::wstring& text) {
    return {INFOTYPE_TRACE, kModuleName, text};
}

// Each test ends its script before the object is closed, so that the script need not know of that.
class FtpSessionFixture : public ::testing::Test {
protected:
    ~FtpSessionFixture() override {
        if (io) {
            io->Close();
        }
    }

    // As u with the password p.
    uint32 Connect(FTPMODE mode = FTPMODE_NORMAL) {
        return static_cast<uint32>(io->Connect(mode, ftp.Host(), L"u", L"p", ftp.Port(), 0));
    }
    uint32 StartAndConnect(FTPMODE mode = FTPMODE_NORMAL) {
        ftp.Start();
        return Connect(mode);
    }
    // On a script that begins with a logon.
    void BeLoggedOn(FTPMODE mode = FTPMODE_NORMAL) {
        ASSERT_EQ(StartAndConnect(mode), 0u);
        ftp.Mark();
        log.Clear();
    }
    std::wstring Info() const { return io->m_strInfo.Text().c_str(); }
    std::wstring LastReply() const { return io->m_retmsg.c_str(); }
    std::wstring ConnectLine() const {
        return L"CFTPSocket::Connect()--IP:" + std::wstring(ftp.Host()) + L", Port:" +
               std::to_wstring(ftp.Port());
    }

    NoLeakScope leaks;
    LogCapture log;
    FtpScript ftp;
    Ref<CInnerSoftDataIO> io = Ref<CInnerSoftDataIO>::Adopt(new CInnerSoftDataIO(nullptr));
};

} // namespace vxcio::test
