// http_work get URL BLOCK    reads a remote file through the companion module, BLOCK bytes at a time
// http_work jump URL BLOCK   reads 64 KiB at each of 1,000 places; BLOCK does not count
//
// The file is one of ftp_work make. One process for one way of work, so that bench/http_speed.py can measure
// it beside others. Prints what went by, and the milliseconds from the open to the close.
#include "FtpContent.h"
#include "HttpJumps.h"
#include "sources/RemoteFile.h"

#include <chrono>
#include <cstdlib>
#include <dlfcn.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using File = std::unique_ptr<CQLRHttpFile>;

int Usage() {
    std::fputs("usage: http_work get|jump URL BLOCK\n", stderr);
    return 2;
}

int Fail(const char* what) {
    std::fprintf(stderr, "http_work: %s failed\n", what);
    return 1;
}

int Report(uint64 count, const char* what, Clock::time_point start) {
    const std::chrono::duration<double, std::milli> time = Clock::now() - start;
    std::printf("%llu %s %.3f ms\n", static_cast<unsigned long long>(count), what, time.count());
    return 0;
}

int Get(CQLRHttpFile& file, const std::wstring& url, uint32 block) {
    std::vector<uint8> buffer(block);
    const auto start = Clock::now();
    if (file.Open(url.c_str()) == 0) {
        return Fail("opening");
    }
    uint64 bytes = 0;
    for (uint32 got = 0; file.Read(buffer.data(), block, &got) != 0 && got != 0; bytes += got) {
        if (!bench::IsContent(buffer.data(), got, bytes)) {
            return Fail("the content");
        }
    }
    if (bytes != file.GetSize()) {
        return Fail("reading");
    }
    file.Close();
    return Report(bytes, "bytes", start);
}

int Jump(CQLRHttpFile& file, const std::wstring& url) {
    std::vector<uint8> buffer(bench::kReadAtJump);
    const auto start = Clock::now();
    if (file.Open(url.c_str()) == 0) {
        return Fail("opening");
    }
    bench::JumpPlaces places(file.GetSize());
    for (int i = 0; i < bench::kJumps; ++i) {
        const uint64 place = places.Next();
        uint32 got = 0;
        if (file.Seek(place) < 0 || file.Read(buffer.data(), bench::kReadAtJump, &got) == 0 ||
            got != bench::kReadAtJump || !bench::IsContent(buffer.data(), got, place)) {
            return Fail("reading");
        }
    }
    file.Close();
    return Report(bench::kJumps, "reads", start);
}

} // namespace

int main(int count, char** arguments) {
    const std::string_view work = count == 4 ? arguments[1] : "";
    const int block = count == 4 ? std::atoi(arguments[3]) : 0;
    if ((work != "get" && work != "jump") || block <= 0) {
        return Usage();
    }
    void* const module = dlopen(VXC_BENCH_MODULE, RTLD_NOW);
    if (module == nullptr) {
        return Fail(dlerror());
    }
    const File file(reinterpret_cast<CreateQLRHttpFileFunction>(dlsym(module, "CreateQLRHttpFile"))());
    const std::string_view name = arguments[2];
    const std::wstring url(name.begin(), name.end());
    return work == "get" ? Get(*file, url, static_cast<uint32>(block)) : Jump(*file, url);
}
