// EsModel.h - the frame queue step by step and slowly, to compare CSoftEsBuffer with.
//
// A buffer of a node is a block that the model keeps with its bytes. Where the true buffer of a block was
// seen once it must be seen again as long as the block lives.
#pragma once

#include "buffers/StreamState.h"
#include "frame/Types.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace vxcio::test {

struct EsBlock {
    explicit EsBlock(int capacity) : bytes(static_cast<std::size_t>(capacity)) {}

    std::vector<uint8> bytes;
    std::size_t filled = 0;      // bytes that were ever copied in
    const uint8* seen = nullptr; // where the true one lies
};

class EsModel {
public:
    // What GetDate writes; it leaves alone what it does not set. A null block stands for a null pointer.
    struct Outputs {
        int stream = 0;
        EsBlock* data = nullptr;
        int size = 0;
        EsBlock* extra = nullptr;
        int extraSize = 0;
        int state = 0;
    };

    EsModel() = default;
    ~EsModel() { Close(); }
    EsModel(const EsModel&) = delete;
    EsModel& operator=(const EsModel&) = delete;

    int Init(int size) {
        defaultSize = size;
        endOfInput = false;
        frameCount.fill(0);
        return 1;
    }

    int PutDate(int stream, const uint8* data, int size, const uint8* extra, int extraSize) {
        if (stream < 0 || stream > 7 || size < 0 || data == nullptr) {
            return 0;
        }
        if (extra == nullptr || extraSize < 0) {
            extraSize = 0;
        }
        if (size == 0) {
            return 0;
        }
        if (readNode == nullptr) {
            readNode = MakeNode();
            readNode->next = readNode;
            writeNode = readNode;
        } else if (writeNode->next == readNode) {
            Node* const node = MakeNode();
            node->next = readNode;
            writeNode->next = node;
            writeNode = node;
        } else {
            writeNode = writeNode->next;
        }
        if (writeNode->capacity < size) {
            writeNode->data.reset();
            if (writeNode->capacity == 0) {
                writeNode->capacity = defaultSize;
            }
            writeNode->capacity = std::max(writeNode->capacity, size);
            writeNode->data = std::make_unique<EsBlock>(writeNode->capacity);
            ++allocations;
        }
        if (writeNode->extraCapacity < extraSize) {
            writeNode->extra.reset();
            writeNode->extraCapacity = extraSize;
            writeNode->extraSize = extraSize;
            writeNode->extra = std::make_unique<EsBlock>(extraSize);
            ++allocations;
        }
        writeNode->stream = stream;
        writeNode->size = size;
        Copy(*writeNode->data, data, size);
        if (extraSize > 0) {
            Copy(*writeNode->extra, extra, extraSize);
        }
        ++frameCount[static_cast<std::size_t>(stream)];
        return 1;
    }

    int GetDate(Outputs& out) {
        if (readNode == nullptr) {
            out.size = 0;
            return 0;
        }
        out.data = readNode->data.get();
        out.size = readNode->size;
        out.stream = readNode->stream;
        out.extra = readNode->extra.get();
        out.extraSize = readNode->extraSize;
        out.state = PLUG_STREAMSTATE_DATA;
        uint32& count = frameCount[static_cast<std::size_t>(readNode->stream)];
        if (endOfInput) {
            if (count == 1) {
                out.state = PLUG_STREAMSTATE_END;
            } else if (count == 0) {
                out.state = PLUG_STREAMSTATE_END;
                out.data = nullptr;
                out.size = 0;
                return 0;
            }
        } else if (count == 1) {
            out.data = nullptr;
            out.size = 0;
            return 0;
        }
        readNode->size = 0;
        readNode = readNode->next;
        --count;
        return out.size != 0 ? 1 : 0;
    }

    uint32 GetFrameCount(int stream) const {
        if (stream < 0 || stream > 7) {
            return 0;
        }
        const uint32 count = frameCount[static_cast<std::size_t>(stream)];
        if (endOfInput || count == 0) {
            return count;
        }
        return count - 1;
    }

    void SetEndOfInput() { endOfInput = true; }

    void Close() {
        if (readNode != nullptr) {
            Node* node = readNode->next;
            while (node != readNode) {
                Node* const next = node->next;
                delete node;
                node = next;
            }
            delete node;
        }
        readNode = nullptr;
        nodeCount = 0;
    }

    // Walks all buffers of all nodes.
    template <class Look>
    void ForEachBlock(Look look) const {
        const Node* node = readNode;
        for (int i = 0; i < nodeCount; ++i) {
            if (node->data) {
                look(*node->data);
            }
            if (node->extra) {
                look(*node->extra);
            }
            node = node->next;
        }
    }

    int Allocations() const { return allocations; }
    int NodeCount() const { return nodeCount; }

private:
    struct Node {
        int stream = -1;
        int size = 0;
        std::unique_ptr<EsBlock> data;
        int capacity = 0;
        std::unique_ptr<EsBlock> extra;
        int extraCapacity = 0;
        int extraSize = 0;
        Node* next = nullptr;
    };

    Node* MakeNode() {
        ++nodeCount;
        ++allocations;
        return new Node;
    }

    static void Copy(EsBlock& to, const uint8* from, int bytes) {
        std::copy_n(from, bytes, to.bytes.begin());
        to.filled = std::max(to.filled, static_cast<std::size_t>(bytes));
    }

    Node* readNode = nullptr;
    Node* writeNode = nullptr;
    int defaultSize = 0;
    bool endOfInput = false;
    std::array<uint32, 8> frameCount{};
    int nodeCount = 0;
    int allocations = 0;
};

} // namespace vxcio::test
