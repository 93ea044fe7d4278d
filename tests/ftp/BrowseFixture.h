// BrowseFixture.h - an object with a session to a scripted server, for tests of browsing, file management
// and sinks.
#pragma once

#include "frame/FindData.h"
#include "frame/Status.h"
#include "ftp/FtpSocket.h"
#include "ftp/InnerLook.h"
#include "support/FtpScript.h"
#include "support/LeakChecks.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace vxcio::test {

// `Io` is what the test drives. Nothing may be left of it after Close: no thread, descriptor or token.
template <class Io>
class SessionTest : public ::testing::Test {
protected:
    ~SessionTest() override {
        ftp.Finish();
        io.Close();
        EXPECT_EQ(OpenSocketCount(), m_tokens);
    }

    // The script begins with the logon; the time counts from its end.
    void Connect(FTPMODE mode = FTPMODE_NORMAL, int passive = 1) {
        ftp.Start();
        ASSERT_EQ(io.Connect(mode, ftp.Host(), L"u", L"p", ftp.Port(), 0), 0);
        io.SetPASVMode(passive);
        ftp.Mark();
    }
    // What the control connections were sent behind the logon.
    std::vector<std::string> Asked() const {
        std::vector<std::string> lines = ftp.Lines();
        lines.erase(lines.begin(), lines.begin() + 2);
        return lines;
    }
    // The place of a line in the story of the client's sockets, or -1.
    std::ptrdiff_t PlaceOf(const std::string& line) const {
        const std::vector<std::string> story = ftp.Story();
        const auto found = std::find(story.begin(), story.end(), line);
        return found == story.end() ? -1 : found - story.begin();
    }

private:
    const NoLeakScope m_leaks;
    const int m_tokens = OpenSocketCount();

protected:
    FtpScript ftp;
    Io io;
    const InnerLook inner{io};
};

// A line of the log as all of the session's are.
inline LogLine Traced(const std::wstring& text) {
    return {INFOTYPE_TRACE, L"VXCSoftCodecIO", text};
}

} // namespace vxcio::test
