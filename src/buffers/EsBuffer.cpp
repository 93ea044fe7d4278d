#include "buffers/EsBuffer.h"

#include "frame/Counted.h"
#include "frame/Types.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace {

constexpr int kStreams = 8;

bool IsStream(int stream) noexcept {
    return stream >= 0 && stream < kStreams;
}

// A buffer of a node, which grows and never shrinks.
struct Run {
    std::unique_ptr<uint8[]> pData;
    int nCapacity = 0;

    // For an empty one. False where memory lacks, and it stays empty.
    bool Make(int capacity) noexcept {
        pData.reset(new (std::nothrow) uint8[static_cast<std::size_t>(capacity)]);
        nCapacity = pData ? capacity : 0;
        return pData != nullptr;
    }

    // Takes the place of `old` unless it is empty.
    void Replace(Run& old) noexcept {
        if (nCapacity > 0) {
            std::swap(*this, old);
        }
    }

    // The bytes may be those of this very buffer, when a frame is put that was got here.
    void Fill(const uint8* data, int bytes) noexcept {
        if (bytes > 0) {
            std::memmove(pData.get(), data, static_cast<std::size_t>(bytes));
        }
    }
};

struct Node {
    int nStream = -1;
    int nSize = 0; // 0 once the frame was handed out
    Run data;
    Run extra; // made in the size of what is put, so its capacity is the most there ever was
    Node* pNext = nullptr;
};

} // namespace

class CInnerSoftEsBuffer final : public vxcio::Counted<CInnerSoftEsBuffer> {
public:
    CInnerSoftEsBuffer() = default;

    void Init(int defaultSize) noexcept {
        m_nDefaultSize = defaultSize;
        m_bEndOfInput = false;
        m_dwFrameCount.fill(0);
    }

    void SetEndOfInput() noexcept { m_bEndOfInput = true; }

    void Close() noexcept {
        Node* node = m_pReadNode;
        for (; m_nNodeCount > 0; --m_nNodeCount) {
            delete std::exchange(node, node->pNext);
        }
        m_pReadNode = nullptr;
        m_pWriteNode = nullptr;
    }

    int PutDate(int stream, const uint8* bytes, int size, const uint8* extraFrom, int extraSize) noexcept {
        if (!IsStream(stream) || size <= 0 || bytes == nullptr) {
            return 0;
        }
        const int extraBytes = extraFrom == nullptr ? 0 : extraSize; // none below 0 either
        std::unique_ptr<Node> fresh;                                 // linked once it can hold the frame
        Node* node =
            m_pReadNode == nullptr || m_pWriteNode->pNext == m_pReadNode ? nullptr : m_pWriteNode->pNext;
        if (node == nullptr) {
            fresh.reset(new (std::nothrow) Node);
            node = fresh.get();
        }
        // All memory is taken before anything changes. What the larger runs replace goes at the very end: the
        // bytes that are put may lie in it.
        Run data;
        Run extra;
        if (node == nullptr || (node->data.nCapacity < size && !data.Make(DataCapacity(*node, size))) ||
            (node->extra.nCapacity < extraBytes && !extra.Make(extraBytes))) {
            return 0;
        }
        if (fresh) {
            Link(fresh.release());
        }
        m_pWriteNode = node;
        data.Replace(node->data);
        extra.Replace(node->extra);
        node->nStream = stream;
        node->nSize = size;
        node->data.Fill(bytes, size);
        node->extra.Fill(extraFrom, extraBytes);
        ++m_dwFrameCount[static_cast<std::size_t>(stream)];
        return 1;
    }

    int GetDate(int& stream, uint8*& data, int& size, uint8*& extra, int& extraSize,
                PLUG_STREAMSTATE_& state) noexcept {
        if (m_pReadNode == nullptr) {
            size = 0;
            return 0;
        }
        Node& node = *m_pReadNode;
        data = node.data.pData.get();
        size = node.nSize;
        stream = node.nStream;
        extra = node.extra.pData.get();
        extraSize = node.extra.nCapacity;
        state = PLUG_STREAMSTATE_DATA;
        uint32& count = m_dwFrameCount[static_cast<std::size_t>(node.nStream)];
        if (m_bEndOfInput && count <= 1) {
            state = PLUG_STREAMSTATE_END;
        }
        // The newest of its stream is held back, and of a stream that is through none is left.
        if (count == (m_bEndOfInput ? 0u : 1u)) {
            data = nullptr;
            size = 0;
            return 0;
        }
        node.nSize = 0;
        m_pReadNode = node.pNext;
        // Where a node that was handed out before Init is met again, a count of 0 wraps.
        --count;
        return size != 0 ? 1 : 0;
    }

    uint32 GetFrameCount(int stream) const noexcept {
        const uint32 count = IsStream(stream) ? m_dwFrameCount[static_cast<std::size_t>(stream)] : 0;
        return m_bEndOfInput || count == 0 ? count : count - 1;
    }

private:
    friend class vxcio::Counted<CInnerSoftEsBuffer>;
    ~CInnerSoftEsBuffer() { Close(); }

    int DataCapacity(const Node& node, int size) const noexcept {
        return std::max(node.data.nCapacity == 0 ? m_nDefaultSize : node.data.nCapacity, size);
    }

    // Between the newest node and the next one to be handed out.
    void Link(Node* node) noexcept {
        if (m_pReadNode == nullptr) {
            m_pReadNode = node;
            node->pNext = node;
        } else {
            node->pNext = m_pWriteNode->pNext;
            m_pWriteNode->pNext = node;
        }
        ++m_nNodeCount;
    }

    Node* m_pReadNode = nullptr;  // the next frame to hand out
    Node* m_pWriteNode = nullptr; // the newest frame
    int m_nDefaultSize = 0;
    bool m_bEndOfInput = false;
    std::array<uint32, kStreams> m_dwFrameCount{};
    uint32 m_nNodeCount = 0;
};

CSoftEsBuffer::CSoftEsBuffer() noexcept : m_pInner(new (std::nothrow) CInnerSoftEsBuffer) {}

CSoftEsBuffer& CSoftEsBuffer::operator=(const CSoftEsBuffer& other) noexcept {
    if (this != &other) {
        vxcio::ShareInto(m_pInner, other.m_pInner);
    }
    return *this;
}

CSoftEsBuffer::~CSoftEsBuffer() {
    vxcio::ShareInto<CInnerSoftEsBuffer>(m_pInner, nullptr);
}

int CSoftEsBuffer::Init(int defaultSize) noexcept {
    if (m_pInner != nullptr) {
        m_pInner->Init(defaultSize);
    }
    return 1;
}

int CSoftEsBuffer::PutDate(int stream, unsigned char* data, int size, unsigned char* extra,
                           int extraSize) noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->PutDate(stream, data, size, extra, extraSize);
}

int CSoftEsBuffer::GetDate(int& stream, unsigned char*& data, int& size, unsigned char*& extra,
                           int& extraSize, PLUG_STREAMSTATE_& state) noexcept {
    if (m_pInner == nullptr) {
        size = 0;
        return 0;
    }
    return m_pInner->GetDate(stream, data, size, extra, extraSize, state);
}

unsigned int CSoftEsBuffer::GetFrameCount(int stream) noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->GetFrameCount(stream);
}

void CSoftEsBuffer::SetEndOfInput() noexcept {
    if (m_pInner != nullptr) {
        m_pInner->SetEndOfInput();
    }
}

void CSoftEsBuffer::Close() noexcept {
    if (m_pInner != nullptr) {
        m_pInner->Close();
    }
}
