// SinkOverHost.h - a file sink over a host's functions, which tell of each move and transfer; and disks
// with any sector size.
#pragma once

#include "sinks/SinkFixture.h"
#include "support/HostTable.h"

namespace vxcio::test {

// Every disk has this sector size while the scope lives.
template <uint32 size>
void SetSectorSize(const PlatformScope& platform) {
    platform.Disks().getDiskFreeSpace = [](const wchar_t*, uint32* bytes) {
        *bytes = size;
        return 1;
    };
}

// The host's file lies in memory, takes transfers of any size at any place and begins with kSize patterned
// bytes. The sector size is 512.
class SinkOverHost : public SinkFixture {
protected:
    static constexpr uint32 kSize = 100'000;

    SinkOverHost() : content(Pattern(kSize, 4)), host(L"host.mxf", content) { SetSectorSize<512>(platform); }
    void TearDown() override { sink.CloseFile(); } // while the host is there

    uint32 OpenHost(uint32 bufferBytes, uint32 flags = 0, uint32 mode = kUpdate,
                    uint32 blockBytes = 1048576) {
        return sink.OpenFile(host.Tagged().c_str(), bufferBytes, blockBytes, mode, flags, 0, 0, 0, 0,
                             nullptr);
    }
    std::vector<uint8> Bytes(std::size_t position, std::size_t count) const {
        return Slice(content, position, count);
    }

    // What the host was asked for since the last time, without its texts of errors: "seek 512 from 0",
    // "read 512", "write 512".
    std::vector<std::string> Asked() {
        std::vector<std::string> asked;
        for (const HostCall& call : host.Log()) {
            if (call.function == HostFunction::SetFilePointer) {
                asked.push_back("seek " + std::to_string(call.distance) + " from " +
                                std::to_string(call.method));
            } else if (call.function == HostFunction::Read) {
                asked.push_back("read " + std::to_string(call.bytes));
            } else if (call.function == HostFunction::Write) {
                asked.push_back("write " + std::to_string(call.bytes));
            } else if (call.function != HostFunction::ErrorText) {
                asked.emplace_back(HostFunctionName(call.function));
            }
        }
        host.ClearLog();
        return asked;
    }

    const PlatformScope platform;
    const std::vector<uint8> content;
    HostTable host;
};

} // namespace vxcio::test
