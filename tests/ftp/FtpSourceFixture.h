// FtpSourceFixture.h - an FTP source that is logged on to a server which speaks by a script.
#pragma once

#include "frame/InnerSoftDataIO.h"
#include "frame/Log.h"
#include "frame/Status.h"
#include "frame/TransferDefaults.h"
#include "ftp/FtpSocket.h"
#include "ftp/FtpSource.h"
#include "support/FtpScript.h"
#include "support/LeakChecks.h"
#include "support/LogCapture.h"
#include "support/SettingsScope.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vxcio {

// What a source keeps to itself.
struct FtpSourceInspector {
    static CInnerSoftDataIO& Inner(CFtpSource& source) { return *source.m_pInner; }
    static uint8* Back(CFtpSource& source) {
        source.CopyBack();
        return source.m_pBack.get();
    }
    static int BackValid(const CFtpSource& source) { return source.m_nBackValid; }
    static int BackPending(const CFtpSource& source) { return source.m_nBackPending; }
    static uint64 Position(const CFtpSource& source) { return source.m_qwPos; }
    static uint64 StreamPosition(const CFtpSource& source) { return source.m_qwStreamPos; }
    static uint32 TimeOut(const CFtpSource& source) { return source.m_nTimeOut; }
    static bool HasReceiver(const CFtpSource& source) { return static_cast<bool>(source.m_pReceiver); }
};

} // namespace vxcio

namespace vxcio::test {

// A line of the trace.
inline LogLine Trace(const wchar_t* text) {
    return {INFOTYPE_TRACE, kModuleName, text};
}

// The script begins with a logon, as "u" with "p" where a test names nobody else.
class FtpSourceFixture : public ::testing::Test {
protected:
    using Inspector = FtpSourceInspector;

    explicit FtpSourceFixture(const char* user = "u", const char* password = "p") {
        ftp.Logon(user, password);
    }

    void Connect(FTPMODE mode = FTPMODE_NORMAL) {
        ftp.Start();
        ASSERT_EQ(source->Connect(mode, ftp.Host(), L"u", L"p", ftp.Port(), 0), 0);
        ftp.Mark();
    }
    // Adds a whole transfer of "f" in passive mode, whose reply tells of it; its data follows.
    FtpScript& Transfer(const std::string& size, const std::string& position = "") {
        ftp.Passive().Expect("SIZE f").Say("213 " + size);
        if (!position.empty()) {
            ftp.Expect("REST " + position).Say("350 on");
        }
        return ftp.Expect("RETR f").AcceptData().Say("150 here");
    }
    uint32 Open(const wchar_t* name = L"f") { return source->OpenFile(name, 0, nullptr, 0); }
    // What a read of so many bytes brings.
    std::string Read(int bytes) {
        std::string buffer(static_cast<std::size_t>(bytes), '~');
        const int got = source->Read(reinterpret_cast<uint8*>(buffer.data()), static_cast<uint32>(bytes));
        EXPECT_LE(got, bytes);
        buffer.resize(static_cast<std::size_t>(std::max(got, 0)));
        return buffer;
    }
    std::string ReadAt(uint64 position, int bytes) {
        uint8* data = nullptr;
        const int got = source->ReadAt(position, &data, bytes);
        return got <= 0 ? std::string()
                        : std::string(reinterpret_cast<char*>(data), static_cast<std::size_t>(got));
    }
    CInnerSoftDataIO& Inner() { return Inspector::Inner(*source); }
    std::wstring InfoText() { return Inner().m_strInfo.Text().c_str(); }
    // Its control lines without those of the logon.
    std::vector<std::string> Lines() const {
        auto lines = ftp.Lines();
        lines.erase(lines.begin(), lines.begin() + std::min<std::ptrdiff_t>(2, std::ssize(lines)));
        return lines;
    }

    SettingsScope settings;
    FtpScript ftp;
    std::unique_ptr<CFtpSource> source = std::make_unique<CFtpSource>();
};

} // namespace vxcio::test
