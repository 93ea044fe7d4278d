#include "real/posix/FtpMatrix.h"

#include "frame/Status.h"
#include "text/Utf8.h"

#include <algorithm>
#include <iomanip>
#include <numeric>
#include <optional>

namespace vxcio::test {

ShortWaits::ShortWaits(uint32 soon) : m_former(Sockets().lookReadable) {
    m_clock.AutoAdvance(true);
    s_lookReadable = m_former;
    s_soon = soon;
    Sockets().lookReadable = LookLonger;
}

ShortWaits::~ShortWaits() {
    Sockets().lookReadable = m_former;
    s_lookReadable = nullptr;
}

int ShortWaits::LookLonger(SocketToken socket, uint32 /*milliseconds*/) {
    return s_lookReadable(socket, s_soon);
}

uint64 ShortWaits::Slept() const {
    const std::vector<uint32> sleeps = m_clock.Sleeps();
    return std::accumulate(sleeps.begin(), sleeps.end(), uint64{0});
}

void EndSession::operator()(CSoftDataIO* io) const {
    std::optional<ShortWaits> waits;
    if (!ShortWaits::IsOn()) {
        waits.emplace(300);
    }
    io->Close();
    delete io;
}

std::string ContentOf(std::size_t bytes, uint32 seed) {
    const std::vector<uint8> pattern = Pattern(bytes, seed);
    return {reinterpret_cast<const char*>(pattern.data()), pattern.size()};
}

uint32 LogOn(CSoftDataIO& io, const FtpServer& server, FTPMODE mode) {
    return static_cast<uint32>(io.Connect(mode, FromUtf8(server.Host()).c_str(),
                                          FromUtf8(server.User()).c_str(),
                                          FromUtf8(server.Password()).c_str(), server.Port(), 0));
}

FtpSession SessionOf(const FtpServer& server) {
    FtpSession session = SourceOf(server);
    EXPECT_EQ(session->SetPASVMode(1), 1);
    return session;
}

FtpSource SourceOf(const FtpServer& server, FTPMODE mode) {
    FtpSource source(CSoftDataSource::Construct(IOWORKMODE_FTP));
    EXPECT_EQ(LogOn(*source, server, mode), VXC_STATUS_OK) << server.Log();
    return source;
}

FtpSink SinkOf(const FtpServer& server, FTPMODE mode) {
    FtpSink sink(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FTP));
    EXPECT_EQ(LogOn(*sink, server, mode), VXC_STATUS_OK) << server.Log();
    return sink;
}

std::ostream& operator<<(std::ostream& out, const ListedEntry& entry) {
    return out << "attributes " << entry.attributes << ", size " << entry.size << ", time " << entry.time;
}

Listing Entries(CSoftDataIO& io) {
    Listing listing;
    WIN32_FIND_DATAW record;
    while (io.FindNextFile1(&record) != 0) {
        const std::wstring name = record.cFileName;
        if (name != L"." && name != L"..") {
            const FILETIME& time = record.ftLastWriteTime;
            const ListedEntry entry{record.dwFileAttributes, record.nFileSizeLow,
                                    uint64{time.dwHighDateTime} << 32 | time.dwLowDateTime};
            EXPECT_TRUE(listing.emplace(name, entry).second) << ToUtf8(name);
        }
    }
    EXPECT_EQ(io.FindFileClose(), 1);
    return listing;
}

uint32 OpenIn(CSoftDataSource& source, const FtpServer& server, std::string_view file) {
    return source.OpenFile(server.WidePath(file).c_str(), 0, nullptr, 0);
}

uint32 SendFile(CQLSoftDataSinkEx1& sink, const std::wstring& path, std::string_view content,
                uint32 openMode) {
    constexpr std::size_t kBlock = 100'000;
    const uint32 opened = sink.OpenFile(path.c_str(), 0, 0, openMode, 0, 0, 0, 0, 0, nullptr);
    if (opened != VXC_STATUS_OK) {
        return opened;
    }
    while (!content.empty()) {
        const std::string_view block = content.substr(0, kBlock);
        uint32 wentOut = 0;
        if (sink.Write(reinterpret_cast<const uint8*>(block.data()), static_cast<uint32>(block.size()),
                       &wentOut) != static_cast<int>(block.size()) ||
            wentOut != 1) {
            return VXC_STATUS_WRITE;
        }
        content.remove_prefix(block.size());
    }
    return sink.CloseFile();
}

std::string ReadFrom(CSoftDataSource& source, int64 position, uint32 bytes) {
    if (source.Seek(position, 1) != position) {
        return "no seek";
    }
    std::string content(bytes, 0);
    const int got = source.Read(reinterpret_cast<uint8*>(content.data()), bytes);
    content.resize(static_cast<std::size_t>(got));
    return content;
}

std::string ReadOn(CSoftDataSource& source, uint32 block) {
    std::string all;
    std::vector<uint8> bytes(block);
    for (int got = source.Read(bytes.data(), block); got > 0; got = source.Read(bytes.data(), block)) {
        all.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(got));
    }
    return all;
}

} // namespace vxcio::test
