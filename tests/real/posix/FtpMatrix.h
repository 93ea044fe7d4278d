// FtpMatrix.h - sessions of the library with the real FTP servers (FtpServers.h).
#pragma once

#include "frame/FindData.h"
#include "frame/SoftDataIO.h"
#include "platform/Sockets.h"
#include "real/posix/FtpServers.h"
#include "real/posix/LocalPorts.h"
#include "support/SettingsScope.h"
#include "support/TestClock.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vxcio::test {

// While it lives the library's waits for replies cost little: a reply that comes soon is taken, and one that
// does not come is waited for on the test's clock. So is data, unless its time-out is infinite.
class ShortWaits {
public:
    // How long a reply may take in fact; milliseconds. Less where none is to come.
    explicit ShortWaits(uint32 soon = 1500);
    ~ShortWaits();
    ShortWaits(const ShortWaits&) = delete;
    ShortWaits& operator=(const ShortWaits&) = delete;

    // Whether one lives; there is one at a time.
    static bool IsOn() { return s_lookReadable != nullptr; }

    // What the library slept in waiting; milliseconds.
    uint64 Slept() const;

private:
    static int LookLonger(SocketToken socket, uint32 milliseconds);

    static inline uint32 s_soon = 0;
    static inline decltype(SocketTable::lookReadable) s_lookReadable = nullptr; // the system's own
    TestClock m_clock;
    const decltype(SocketTable::lookReadable) m_former;
};

// Ends the session and frees the object; a server that is gone costs no time.
struct EndSession {
    void operator()(CSoftDataIO* io) const;
};
using FtpSession = std::unique_ptr<CSoftDataIO, EndSession>;
using FtpSource = std::unique_ptr<CSoftDataSource, EndSession>;
using FtpSink = std::unique_ptr<CQLSoftDataSinkEx1, EndSession>;

// A mode without delays in which a sink sends no RETR ahead; its transfers are active.
inline constexpr auto kNoProbe = FTPMODE_XDCAM;

// TempFolder's pattern as text.
std::string ContentOf(std::size_t bytes, uint32 seed);

// Logs on as the server's user; 0 or a status.
uint32 LogOn(CSoftDataIO& io, const FtpServer& server, FTPMODE mode = FTPMODE_NORMAL);

// Objects with a session; the test fails where there is none.
FtpSession SessionOf(const FtpServer& server); // passive, for browsing
FtpSource SourceOf(const FtpServer& server, FTPMODE mode = FTPMODE_NORMAL);
FtpSink SinkOf(const FtpServer& server, FTPMODE mode = FTPMODE_NORMAL);

struct ListedEntry {
    uint32 attributes;
    uint32 size;
    uint64 time; // 100 ns since 1601
    bool operator==(const ListedEntry&) const = default;
};
std::ostream& operator<<(std::ostream& out, const ListedEntry& entry);
using Listing = std::map<std::wstring, ListedEntry>;

// What FindNextFile1 gives until it gives 0, but for "." and ".."; the test fails where a name comes twice.
Listing Entries(CSoftDataIO& io);

// Sends a file in blocks and closes it. 0, or the status of what failed: a short write is a write error.
uint32 SendFile(CQLSoftDataSinkEx1& sink, const std::wstring& path, std::string_view content,
                uint32 openMode = 0);
// Opens a file below the server's Root(); 0 or a status.
uint32 OpenIn(CSoftDataSource& source, const FtpServer& server, std::string_view file);
// One read at a position; "no seek" where it does not get there.
std::string ReadFrom(CSoftDataSource& source, int64 position, uint32 bytes);
// What the source gives from its position on, in reads of so many bytes.
std::string ReadOn(CSoftDataSource& source, uint32 block = 1 << 20);

// Ends the test as skipped where no server can connect back to this machine.
#define VXC_NEEDS_ACTIVE_FTP()                                                                               \
    if (vxcio::test::AddressForActive().empty()) {                                                           \
        GTEST_SKIP() << "this machine has only the loopback interface";                                      \
    }                                                                                                        \
    static_assert(true, "a semicolon follows")

// Each test for each server. Data is waited for without a limit, unless the test sets one.
class FtpMatrixTest : public testing::TestWithParam<FtpServer::Kind> {
protected:
    SettingsScope m_settings{{L"FtpTimeOut", L"0xFFFFFFFF"}};
};

} // namespace vxcio::test

// Each test of the suite for each server; the suite's name is that of a class of its own.
#define VXC_FOR_EACH_FTP_SERVER(suite)                                                                       \
    INSTANTIATE_TEST_SUITE_P(Each, suite, testing::ValuesIn(vxcio::test::FtpServer::kAll),                   \
                             [](const auto& kind) { return vxcio::test::FtpServer::NameOf(kind.param); })
