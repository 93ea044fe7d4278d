// RingOfNodes.h - a write ring of small nodes over a host's file, driven as a sink drives it.
#pragma once

#include "frame/SystemLayer.h"
#include "sinks/HostSinkFixture.h"
#include "sinks/WriteBufferRing.h"

#include <cstring>
#include <memory>
#include <vector>

namespace vxcio::test {

class RingOfNodes : public ::testing::Test {
protected:
    using Ring = WriteBufferRing;
    using Inspector = WriteBufferRingInspector;
    static constexpr uint32 kSector = 64;
    static constexpr uint32 kNode = 256;

    ~RingOfNodes() override { End(); }

    // Opens the file, with worker threads where it is told, and starts a ring that pads where it is told.
    void Start(uint32 nodes, bool pads = false, uint32 threadMode = 0) {
        End();
        ASSERT_EQ(file.CreateFile(host.Tagged().c_str(), VXC_GENERIC_READ | VXC_GENERIC_WRITE,
                                  VXC_FILE_SHARE_READ, nullptr, VXC_OPEN_ALWAYS, 0, nullptr, threadMode),
                  VXC_STATUS_OK);
        host.ClearLog();
        ring = Ring::Start({&file, pads ? &stage : nullptr, kSector}, kNode, nodes);
        ASSERT_NE(ring, nullptr);
        ring->Node().nFilePos = 0;
    }
    void End() {
        if (ring) {
            ring->AskToEnd();
            ring->WaitForEnd();
            ring.reset();
        }
    }
    // Fills the caller's node from where it stands up to `used`.
    void Fill(const std::vector<uint8>& bytes) {
        WriteBufferNode& node = ring->Node();
        ASSERT_LE(bytes.size(), node.dwCapacity - node.dwUsed);
        std::memcpy(node.pBuffer.Data() + node.dwUsed, bytes.data(), bytes.size());
        node.dwUsed += static_cast<uint32>(bytes.size());
    }
    // Hands a full node of this pattern over.
    Ring::Outcome Pass(uint32 seed, Ring::Order order = Ring::Order::WaitFirst) {
        const int64 next = ring->Node().nFilePos + kNode;
        Fill(Pattern(kNode, seed));
        const auto outcome = ring->Advance(order);
        if (outcome != Ring::Outcome::NoNode) {
            ring->Node().nFilePos = next;
        }
        return outcome;
    }
    static bool IsSet(const RingEvent& event) {
        return VXC_WaitForSingleObject(event.Handle(), 0) == VXC_WAIT_OBJECT_0;
    }
    std::vector<std::string> News() {
        const auto asked = Asked(host);
        host.ClearLog();
        return asked;
    }
    // The file as a row of these full nodes.
    static std::vector<uint8> Row(std::initializer_list<uint32> seeds) {
        std::vector<uint8> row;
        for (const uint32 seed : seeds) {
            const auto node = Pattern(kNode, seed);
            row.insert(row.end(), node.begin(), node.end());
        }
        return row;
    }

    HostTable host{L"host.mxf"};
    CQLSoftFileHandle file;
    const AlignedBuffer stage{kSector, 4096};
    std::unique_ptr<Ring> ring;
};

} // namespace vxcio::test
