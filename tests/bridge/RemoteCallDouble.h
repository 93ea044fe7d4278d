// RemoteCallDouble.h - a channel that is none of the library's own: two blocks of memory, and what the test
// says.
#pragma once

#include "bridge/FakeServer.h"

#include <algorithm>
#include <cstddef>
#include <functional>

namespace vxcio::test {

class ChannelDouble : public CVXCInteracter {
public:
    ChannelDouble(std::size_t requestBytes, std::size_t replyBytes)
        : request(requestBytes), reply(replyBytes) {}

    int Initialize(unsigned long long, const wchar_t*, unsigned int, unsigned int) noexcept override {
        return -1;
    }
    void Release() noexcept override {}
    int GetInteractorID(wchar_t*, unsigned int) noexcept override { return -1; }
    int SetReceiverCallback(PFN_RECEIVER_CALLBACK, void*) noexcept override { return 0; }
    int ObtainSMMSpaceAddress(void** inSpace, unsigned int* inSize, void** outSpace,
                              unsigned int* outSize) noexcept override {
        ++asked;
        *inSpace = noRequest ? nullptr : request.data();
        *inSize = noRequestSize ? 0 : static_cast<unsigned int>(request.size());
        *outSpace = noReply ? nullptr : reply.data();
        *outSize = noReplySize ? 0 : static_cast<unsigned int>(reply.size());
        return status;
    }
    int RemoteCall(unsigned int timeoutMs) noexcept override {
        timeOuts.push_back(timeoutMs);
        if (answer) {
            answer();
        }
        return callStatus;
    }
    int AdjustInSMMSpaceSize(unsigned int) noexcept override { return -1; }
    int AdjustOutSMMSpaceSize(unsigned int) noexcept override { return -1; }
    void Lock() noexcept override { ++locked; }
    void Unlock() noexcept override { --locked; }

    void Answer(const Bytes& bytes) {
        answer = [this, bytes] { std::copy(bytes.begin(), bytes.end(), reply.begin()); };
    }

    Bytes request;
    Bytes reply;
    int status = 0;
    int callStatus = 0;
    bool noRequest = false;
    bool noRequestSize = false;
    bool noReply = false;
    bool noReplySize = false;
    std::function<void()> answer;
    int asked = 0;
    int locked = 0;
    std::vector<unsigned int> timeOuts;
};

} // namespace vxcio::test
