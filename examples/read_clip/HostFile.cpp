#include "HostFile.h"

#include "frame/PlatformTypes.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

namespace host {

namespace {

constexpr uint32 kFailed = 1;

struct File {
    std::ifstream stream;
    uint64 size = 0;
};

File& Of(void* handle) {
    return *static_cast<File*>(handle);
}

// Nothing may throw across the table: what does is told as an error number.
void* Open(const wchar_t* fileName, uint32, uint32* errorNumber) {
    ++Count().open;
    *errorNumber = kFailed;
    try {
        auto file = std::make_unique<File>();
        const std::filesystem::path path(fileName);
        file->stream.open(path, std::ios::binary);
        if (!file->stream) {
            return VXC_INVALID_HANDLE;
        }
        file->size = std::filesystem::file_size(path);
        *errorNumber = 0;
        return file.release();
    } catch (...) {
        return VXC_INVALID_HANDLE;
    }
}

uint64 Read(void* handle, void* buffer, uint32 bytes, uint32* bytesRead) {
    ++Count().read;
    File& file = Of(handle);
    file.stream.read(static_cast<char*>(buffer), bytes);
    *bytesRead = static_cast<uint32>(file.stream.gcount());
    const bool failed = file.stream.bad();
    file.stream.clear();
    return failed ? kFailed : 0;
}

uint32 SetFilePointer(void* handle, uint32 low, int32* high, uint32 method, uint32* errorNumber) {
    ++Count().seek;
    File& file = Of(handle);
    int64 position = static_cast<int64>((static_cast<uint64>(static_cast<uint32>(*high)) << 32) | low);
    if (method == VXC_FILE_CURRENT) {
        position += static_cast<int64>(file.stream.tellg());
    } else if (method == VXC_FILE_END) {
        position += static_cast<int64>(file.size);
    }
    file.stream.seekg(position);
    *errorNumber = file.stream ? 0 : kFailed;
    file.stream.clear();
    *high = static_cast<int32>(position >> 32);
    return static_cast<uint32>(position);
}

uint64 GetFileSize(void* handle, uint32* errorNumber) {
    *errorNumber = 0;
    return Of(handle).size;
}

uint64 Close(void* handle) {
    ++Count().close;
    delete &Of(handle);
    return 0;
}

void ErrorText(void*, wchar_t* text, uint32) {
    static constexpr wchar_t kText[] = L"the host's file functions failed";
    std::copy(std::begin(kText), std::end(kText), text); // the buffer has 512 characters
}

} // namespace

Calls& Count() {
    static Calls calls;
    return calls;
}

// A source writes nothing, so the members for that stay null.
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
                                  .pfnErrorText = ErrorText,
                                  .pfnReserved11 = nullptr};
    return &table;
}

} // namespace host
