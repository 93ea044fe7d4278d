// ftp_work make FILE BYTES                    a local file for the others, of whole MiB
// ftp_work make FILE seeks LONGEST            the same, long enough for the seeks
// ftp_work get SERVER PATH BLOCK AHEAD        reads a remote file, BLOCK bytes at a time; with AHEAD, unless
//                                             that is 0, in blocks of so many bytes of read-ahead
// ftp_work seek SERVER PATH LONGEST AHEAD     small reads, with seeks forward by at most LONGEST between them
// ftp_work put SERVER PATH FILE               sends a file, 1 MiB at a time
// ftp_work list SERVER PATH                   lists a folder
//
// SERVER is HOST:PORT:USER:PASSWORD. One process for one way of work through the library, so that
// bench/ftp_speed.py can measure it beside others. Prints what went by, and the milliseconds from the logon
// to the end of the session.
#include "FtpContent.h"
#include "FtpSeeks.h"
#include "frame/FindData.h"
#include "module/VXCSoftCodecIO.h"

#include <chrono>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32 kWrite = 128u << 10; // what it reads from the file is still in the cache when it is sent
constexpr uint32 kMost = 1u << 30;

int Usage() {
    std::fputs("usage: ftp_work make FILE BYTES\n"
               "       ftp_work make FILE seeks LONGEST\n"
               "       ftp_work get SERVER PATH BLOCK AHEAD\n"
               "       ftp_work seek SERVER PATH LONGEST AHEAD\n"
               "       ftp_work put SERVER PATH FILE\n"
               "       ftp_work list SERVER PATH\n",
               stderr);
    return 2;
}

int Fail(const char* what) {
    std::fprintf(stderr, "ftp_work: %s failed\n", what);
    return 1;
}

int Report(uint64 count, const char* what, Clock::time_point start) {
    const std::chrono::duration<double, std::milli> time = Clock::now() - start;
    std::printf("%llu %s %.3f ms\n", static_cast<unsigned long long>(count), what, time.count());
    return 0;
}

std::wstring Wide(std::string_view text) {
    return {text.begin(), text.end()};
}

struct Server {
    std::wstring host;
    int port = 0;
    std::wstring user;
    std::wstring password;

    explicit Server(const char* text) {
        std::istringstream parts(text);
        std::string part;
        std::getline(parts, part, ':');
        host = Wide(part);
        std::getline(parts, part, ':');
        port = std::atoi(part.c_str());
        std::getline(parts, part, ':');
        user = Wide(part);
        std::getline(parts, part);
        password = Wide(part);
    }

    bool LogOn(CSoftDataIO& io) const {
        return io.Connect(FTPMODE_NORMAL, host.c_str(), user.c_str(), password.c_str(), port, 0) == 0 &&
               io.SetPASVMode(1) == 1;
    }
};

// An open file of the server; closed, with its session, at the end.
class RemoteFile {
public:
    RemoteFile(const Server& server, const char* path, int ahead)
        : m_source(CSoftDataSource::Construct(IOWORKMODE_FTP)) {
        m_isOpen = server.LogOn(*m_source) && m_source->OpenFile(Wide(path).c_str(), 0, nullptr, 0) == 0;
        if (m_isOpen && ahead > 0) {
            m_source->EnablePreRead(ahead, static_cast<int>(bench::kReadBetweenSeeks));
            m_isOpen = m_source->IsPreReadMode() != 0;
        }
    }
    ~RemoteFile() {
        m_source->CloseFile();
        m_source->Close();
    }
    RemoteFile(const RemoteFile&) = delete;
    RemoteFile& operator=(const RemoteFile&) = delete;

    bool IsOpen() const { return m_isOpen; }
    CSoftDataSource* operator->() const { return m_source.get(); }

private:
    const std::unique_ptr<CSoftDataSource> m_source;
    bool m_isOpen = false;
};

int Get(const Server& server, const char* path, uint32 block, int ahead) {
    std::vector<uint8> buffer(block);
    const auto start = Clock::now();
    uint64 bytes = 0;
    {
        const RemoteFile file(server, path, ahead);
        if (!file.IsOpen()) {
            return Fail("opening");
        }
        while (const int got = file->Read(buffer.data(), block)) {
            if (!bench::IsContent(buffer.data(), static_cast<std::size_t>(got), bytes)) {
                return Fail("the content");
            }
            bytes += static_cast<uint64>(got);
        }
        if (bytes != file->GetFileSize()) {
            return Fail("reading");
        }
    }
    return Report(bytes, "bytes", start);
}

int Seek(const Server& server, const char* path, uint32 longest, int ahead) {
    constexpr auto kRead = bench::kReadBetweenSeeks;
    std::vector<uint8> buffer(kRead);
    bench::SeekDistances distances(longest);
    const auto start = Clock::now();
    {
        const RemoteFile file(server, path, ahead);
        if (!file.IsOpen()) {
            return Fail("opening");
        }
        uint64 position = 0;
        for (int i = 0; i <= bench::kSeeks; ++i) {
            if (file->Read(buffer.data(), kRead) != static_cast<int>(kRead) ||
                !bench::IsContent(buffer.data(), kRead, position)) {
                return Fail("reading");
            }
            position += kRead;
            if (i < bench::kSeeks) {
                const int distance = distances.Next();
                position += static_cast<uint64>(distance);
                if (file->Seek(distance, 3) != static_cast<int64>(position)) {
                    return Fail("seeking");
                }
            }
        }
    }
    return Report(bench::kSeeks, "seeks", start);
}

int Put(const Server& server, const char* path, const char* local) {
    std::vector<uint8> buffer(kWrite);
    const auto start = Clock::now();
    const int file = open(local, O_RDONLY | O_CLOEXEC);
    const std::unique_ptr<CQLSoftDataSinkEx1> sink(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FTP));
    if (file < 0 || !server.LogOn(*sink) ||
        sink->OpenFile(Wide(path).c_str(), 0, 0, 0, 0, 0, 0, 0, 0, nullptr) != 0) {
        return Fail("opening");
    }
    uint64 bytes = 0;
    for (ssize_t got = 0; (got = read(file, buffer.data(), buffer.size())) > 0;) {
        if (sink->Write(buffer.data(), static_cast<uint32>(got), nullptr) != got) {
            return Fail("writing");
        }
        bytes += static_cast<uint64>(got);
    }
    close(file);
    if (sink->CloseFile() != 0) {
        return Fail("the upload");
    }
    sink->Close();
    return Report(bytes, "bytes", start);
}

int List(const Server& server, const char* path) {
    const auto start = Clock::now();
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FTP));
    if (!server.LogOn(*source) || source->SetFindPath(Wide(path).c_str()) != 1) {
        return Fail("listing");
    }
    uint64 entries = 0;
    for (WIN32_FIND_DATAW entry; source->FindNextFile1(&entry) != 0;) {
        ++entries;
    }
    source->FindFileClose();
    source->Close();
    return Report(entries, "entries", start);
}

} // namespace

int main(int count, char** arguments) {
    if (count < 4) {
        return Usage();
    }
    const std::string_view work = arguments[1];
    const char* const path = arguments[3];
    const auto number = [&](int at) { return std::strtoull(arguments[at], nullptr, 10); };
    if (work == "make" && (count == 4 || count == 5)) {
        const uint64 bytes = count == 4 ? number(3) : bench::EndOfSeeks(static_cast<uint32>(number(4)));
        return bench::MakeContent(arguments[2], bytes) ? 0 : Fail("making a file");
    }
    const Server server(arguments[2]);
    if ((work == "get" || work == "seek") && count == 6 && number(4) >= 8 && number(4) <= kMost &&
        number(5) <= kMost) {
        const auto size = static_cast<uint32>(number(4));
        const int ahead = static_cast<int>(number(5));
        return work == "get" ? Get(server, path, size, ahead) : Seek(server, path, size, ahead);
    }
    if (work == "put" && count == 5) {
        return Put(server, path, arguments[4]);
    }
    return work == "list" && count == 4 ? List(server, path) : Usage();
}
