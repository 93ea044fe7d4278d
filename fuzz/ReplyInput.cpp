#include "fuzz/ReplyInput.h"

#include "bridge/ChannelSpaces.h"
#include "bridge/Messages.h"
#include "bridge/RemoteCall.h"
#include "fuzz/Require.h"

#include <algorithm>
#include <memory>
#include <span>

namespace vxcio::fuzz {

namespace {

using Input = std::span<const std::uint8_t>;

// The far end has written the reply by the time the call returns. The told size of the reply space is that of
// its memory to the byte.
class Channel final : public CVXCInteracter {
public:
    explicit Channel(Input input)
        : m_input(input), m_reply(new unsigned char[std::max<std::size_t>(input.size(), 1)]) {}

    int Initialize(unsigned long long, const wchar_t*, unsigned int, unsigned int) noexcept override {
        return -1;
    }
    void Release() noexcept override {}
    int GetInteractorID(wchar_t*, unsigned int) noexcept override { return -1; }
    int SetReceiverCallback(PFN_RECEIVER_CALLBACK, void*) noexcept override { return 0; }
    int ObtainSMMSpaceAddress(void** inSpace, unsigned int* inSize, void** outSpace,
                              unsigned int* outSize) noexcept override {
        *inSpace = m_request;
        *inSize = sizeof m_request;
        *outSpace = m_reply.get();
        *outSize = static_cast<unsigned int>(m_input.size());
        return 0;
    }
    int RemoteCall(unsigned int) noexcept override {
        std::copy(m_input.begin(), m_input.end(), m_reply.get());
        return 0;
    }
    int AdjustInSMMSpaceSize(unsigned int) noexcept override { return -1; }
    int AdjustOutSMMSpaceSize(unsigned int) noexcept override { return -1; }
    void Lock() noexcept override {}
    void Unlock() noexcept override {}

private:
    const Input m_input;
    unsigned char m_request[128] = {};
    const std::unique_ptr<unsigned char[]> m_reply;
};

std::uint64_t NumberAt(Input input, std::size_t at, std::size_t bytes) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
        number |= std::uint64_t{input[at + i]} << (8 * i);
    }
    return number;
}

// What a host is to make of the bytes: the result, and the handle behind it.
struct Expected {
    explicit Expected(Input input) {
        const auto isAt = [input](std::size_t at, std::size_t bytes, std::uint8_t tag) {
            return at + 1 + bytes <= input.size() && input[at] == tag;
        };
        if (!isAt(0, 4, 'l') || !isAt(5, 4, 'l')) {
            return;
        }
        result = static_cast<int>(static_cast<std::uint32_t>(NumberAt(input, 6, 4)));
        if (isAt(10, 4, 'l') && isAt(15, 8, 'q')) {
            handle = NumberAt(input, 16, 8);
        }
    }

    int result = 0;
    std::uint64_t handle = 0;
};

void CallAsAProxy(Input input) {
    Channel channel(input);
    CVXCSerialize request;
    CVXCSerialize reply;
    Require(RemoteCall_In(&channel, VXC32_RCALL_NAMED, L"Fuzz", nullptr, request) == 0,
            "the request is begun");
    const int result = RemoteCall_Out(&channel, 1, nullptr, request, reply);
    if (input.empty()) {
        return; // no space, no call
    }
    Require(result == Expected(input).result, "the result is the reply's");
    Require(reply.m_dwPosition <= input.size(), "the reply ends with its space");
    unsigned long long number = 0;
    CVXCString text;
    reply >> number;
    Require(number == Expected(input).handle, "the value is the one that stands there");
    for (int i = 0; i < 4; ++i) {
        reply >> text;
        unsigned char* block = nullptr;
        unsigned int count = 0;
        if (reply.ReadBlock(block, count, 0) != 0) {
            Require(block + count <= reply.m_pBuffer + input.size(), "the block lies in the space");
        }
    }
}

// As the calls to the server are made, with the reply's values taken behind a refusal too.
void CallAsTheLibrary(Input input) {
    Channel channel(input);
    unsigned long long handle = 0;
    const auto read = [&handle](CVXCSerialize& reply) { reply >> handle; };
    const CallResult call = CallServer(channel, L"Call_LoadPlug", 1, NoArguments, read);
    if (input.empty()) {
        Require(call.end == CallEnd::NoSpaces, "there is no call without spaces");
        return;
    }
    const Expected expected(input);
    Require(call.status == expected.result, "the status is the result");
    Require((call.end == CallEnd::Done) == (expected.result == 0), "a result refuses");
    Require(handle == expected.handle, "the handle is the one that stands there");
}

} // namespace

void FuzzReply(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return;
    }
    const Input input(data + 1, size - 1);
    if ((data[0] & 1) != 0) {
        CallAsAProxy(input);
    } else {
        CallAsTheLibrary(input);
    }
}

} // namespace vxcio::fuzz
