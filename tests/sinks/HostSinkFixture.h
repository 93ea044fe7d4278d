// HostSinkFixture.h - a file sink over a host's functions, which tell what they were asked, and by whom.
#pragma once

#include "sinks/SinkFixture.h"
#include "support/HostTable.h"

#include <string>
#include <thread>
#include <vector>

namespace vxcio::test {

// What a host was asked, in order: "open", "seek 512", "step 0" for a move from where the file stands,
// "read 512", "write 100", "cut", "close"; behind "writer " what other threads than this asked.
inline std::vector<std::string> Asked(const HostTable& host) {
    std::vector<std::string> asked;
    for (const HostCall& call : host.Log()) {
        std::string text = call.thread == std::this_thread::get_id() ? "" : "writer ";
        switch (call.function) {
        case HostFunction::Open:
            text += "open";
            break;
        case HostFunction::Read:
            text += "read " + std::to_string(call.bytes);
            break;
        case HostFunction::SetFilePointer:
            text += (call.method == VXC_FILE_BEGIN ? "seek " : "step ") + std::to_string(call.distance);
            break;
        case HostFunction::GetFileSize:
            text += "size";
            break;
        case HostFunction::Write:
            text += "write " + std::to_string(call.bytes);
            break;
        case HostFunction::SetEndofFile:
            text += "cut";
            break;
        case HostFunction::CloseFile:
            text += "close";
            break;
        case HostFunction::ErrorText:
            continue;
        }
        asked.push_back(text);
    }
    return asked;
}

// A handle without worker threads notices a move that the host fails only where the thread has a last error.
class StandingError {
public:
    StandingError() { m_plan.Add(Answer(Op::VXC_GetLastError, VXC_ERROR_IO_DEVICE).FromThenOn()); }

private:
    FaultPlan m_plan;
};

// Every disk has this sector size while the scope lives.
template <uint32 size>
void SetSectorSize(const PlatformScope& platform) {
    platform.Disks().getDiskFreeSpace = [](const wchar_t*, uint32* bytes) {
        *bytes = size;
        return 1;
    };
}

class HostSinkFixture : public ::testing::Test {
protected:
    using Inspector = WriteFileInspector;
    static constexpr uint32 kCreate = 0;
    static constexpr uint32 kAppend = 1;
    static constexpr uint32 kUpdate = 2;
    static constexpr uint32 kSector = 512;
    static constexpr uint32 kNode = 524288; // two of them in the smallest ring

    uint32 Open(const WritePath& path, uint32 mode = kCreate) {
        return Open(path.bufferBytes, path.flags, mode);
    }
    uint32 Open(uint32 bufferBytes, uint32 flags, uint32 mode = kCreate, uint32 blockBytes = kNode) {
        return sink.OpenFile(host.Tagged().c_str(), bufferBytes, blockBytes, mode, flags, 0, 0, 0, 0,
                             nullptr);
    }
    int Write(const std::vector<uint8>& bytes, uint32* wentOut = nullptr) {
        return sink.Write(bytes.data(), static_cast<uint32>(bytes.size()), wentOut);
    }
    // What the host was asked since the last time.
    std::vector<std::string> News() {
        const auto asked = Asked(host);
        host.ClearLog();
        return asked;
    }

    HostSinkFixture() { SetSectorSize<kSector>(platform); }

    const PlatformScope platform{};
    HostTable host{L"host.mxf"};
    CWriteFileEx1 sink;
};

// The four ways, by the order of kWritePaths.
inline constexpr const WritePath& kThrough = kWritePaths[0];
inline constexpr const WritePath& kStaged = kWritePaths[1];
inline constexpr const WritePath& kThreadedPath = kWritePaths[2];
inline constexpr const WritePath& kThreadedUnbuffered = kWritePaths[3];

} // namespace vxcio::test
