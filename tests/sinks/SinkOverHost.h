// SinkOverHost.h - a file sink over a host's file that has bytes already, beside one on the disk.
#pragma once

#include "sinks/HostSinkFixture.h"

namespace vxcio::test {

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

    // What the host was asked since the last time.
    std::vector<std::string> Asked() {
        const auto asked = vxcio::test::Asked(host);
        host.ClearLog();
        return asked;
    }

    const PlatformScope platform{};
    const std::vector<uint8> content;
    HostTable host;
};

} // namespace vxcio::test
