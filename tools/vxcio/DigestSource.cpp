#include "DigestSource.h"

#include "Text.h"

#include "filehandle/CallerFileFunctions.h"

#include <algorithm>
#include <new>

namespace vxcio::tool {

namespace {

constexpr uint32 kFailed = 1;
constexpr const wchar_t* kName = L"a stream of the tool"; // names no file

struct OpenStream {
    Readable& stream;
    uint64 position = 0;
};

// The open does not tell which stream it is for.
Readable*& Next() {
    static thread_local Readable* next = nullptr;
    return next;
}

OpenStream& Of(void* handle) {
    return *static_cast<OpenStream*>(handle);
}

// Nothing may throw across the table.

void* Open(const wchar_t*, uint32, uint32* errorNumber) {
    auto* const opened = new (std::nothrow) OpenStream{*Next()};
    *errorNumber = opened == nullptr ? kFailed : 0;
    return opened;
}

uint64 Read(void* handle, void* buffer, uint32 bytes, uint32* bytesRead) {
    OpenStream& open = Of(handle);
    *bytesRead = 0;
    try {
        const int got = open.stream.Read(static_cast<uint8*>(buffer), bytes);
        *bytesRead = static_cast<uint32>(std::max(got, 0));
        open.position += *bytesRead;
        return 0;
    } catch (...) {
        return kFailed;
    }
}

uint32 SetFilePointer(void* handle, uint32 low, int32* high, uint32 method, uint32* errorNumber) {
    OpenStream& open = Of(handle);
    *errorNumber = 0;
    uint64 position = (static_cast<uint64>(static_cast<uint32>(*high)) << 32) | low;
    try {
        if (method == VXC_FILE_CURRENT) {
            position += open.position;
        } else if (method == VXC_FILE_END) {
            position += open.stream.Size();
        }
        if (position != open.position) {
            open.stream.Seek(position);
            open.position = position;
        }
    } catch (...) {
        *errorNumber = kFailed;
    }
    *high = static_cast<int32>(position >> 32);
    return static_cast<uint32>(position);
}

uint64 GetFileSize(void* handle, uint32* errorNumber) {
    *errorNumber = 0;
    try {
        return Of(handle).stream.Size();
    } catch (...) {
        *errorNumber = kFailed;
        return 0;
    }
}

uint64 Close(void* handle) {
    delete &Of(handle);
    return 0;
}

IOCallbackSet* Table() {
    static IOCallbackSet table = {.pfnOpen = Open,
                                  .pfnRead = Read,
                                  .pfnSetFilePointer = SetFilePointer,
                                  .pfnGetFileSize = GetFileSize,
                                  .pfnWrite = nullptr,
                                  .pfnReserved6 = nullptr,
                                  .pfnSetEndofFile = nullptr,
                                  .pfnCloseFile = Close,
                                  .pfnReserved9 = nullptr,
                                  .pfnErrorText = nullptr,
                                  .pfnReserved11 = nullptr};
    return &table;
}

// What the source knows, and why the stream under it ended.
class DigestReading final : public Reading {
public:
    DigestReading(SourcePointer source, Readable& stream)
        : m_Reading(std::move(source), PreRead{}), m_Stream(stream) {}

    uint64 Size() override { return m_Reading.Size(); }
    void Seek(uint64 position) override { m_Reading.Seek(position); }
    int Read(uint8* buffer, uint32 bytes) override { return m_Reading.Read(buffer, bytes); }
    std::string Failure() override { return m_Stream.Failure(); }
    bool IsPreRead() override { return m_Reading.IsPreRead(); }
    void Restart(uint64 position) override { m_Reading.Restart(position); }
    CSoftDataSource* Source() override { return m_Reading.Source(); }

private:
    SourceReading m_Reading;
    Readable& m_Stream;
};

} // namespace

std::unique_ptr<Reading> OpenDigestSource(Readable& stream) {
    SourcePointer source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    if (!source) {
        return nullptr;
    }
    Next() = &stream;
    if (source->OpenFile(ADDVXCIOID(kName, Table()), 0, nullptr, 0) != VXC_STATUS_OK) {
        return nullptr;
    }
    return std::make_unique<DigestReading>(std::move(source), stream);
}

std::string TakeDigest(CSoftDataIO& from) {
    unsigned char* digest = nullptr;
    int length = 0;
    from.GetMD5_check(0, digest, length);
    const std::unique_ptr<unsigned char[]> owned(digest);
    return digest == nullptr ? std::string() : Hex(digest, length);
}

} // namespace vxcio::tool
