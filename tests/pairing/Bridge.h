// Bridge.h - a host of the plug-in server, for the tests that run with all widths of both.
//
// The environment variable VXC_TEST_SERVER says which server the program starts, 32 or 64; without it the one
// that the library itself would start.
#pragma once

#include "bridge/Interacter.h"
#include "bridge/RemoteCall.h"
#include "bridge/Serialize.h"
#include "bridge/ServerProcess.h"
#include "frame/Types.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace vxcio::test {

inline constexpr uint32 kTimeOut = 0x8000000Du;
inline constexpr uint32 kUnknown = 0x80000002u;

// Far beyond what any answer takes on a busy machine; only what is meant to hang comes near it.
inline constexpr unsigned int kPatience = 30000;

// Of the server that is under test.
int ServerBits();
std::wstring ServerFolder();                // holds VXC32/VXC32ServU.exe
std::wstring PlugPath(const wchar_t* name); // of a plug-in as wide as it

// True when `holds` came true within the limit. Looks again and again: what it looks at are other processes.
void PauseBriefly();
template <class Holds>
bool Eventually(Holds holds, std::chrono::milliseconds limit = std::chrono::seconds(5)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    bool result = holds();
    while (!result && std::chrono::steady_clock::now() < end) {
        PauseBriefly();
        result = holds();
    }
    return result;
}

// A text that no other channel of any process has.
std::wstring UniqueId(const wchar_t* part = L"test");

// One channel to a plug-in.
class Channel {
public:
    explicit Channel(unsigned long long plug, const std::wstring& id = UniqueId(),
                     unsigned int inSize = 65536, unsigned int outSize = 65536)
        : m_end(ConstructVXCInteratcter(VXC_INTERACTER_SENDER)),
          m_result(m_end->Initialize(plug, id.c_str(), inSize, outSize)) {}

    int Result() const { return m_result; }
    CVXCInteracter& End() { return *m_end; }
    void Release() { m_end->Release(); }

    // What the server answered; `write` puts arguments, `read` takes results.
    template <class Write, class Read>
    uint32 Call(const wchar_t* name, Write write, Read read, unsigned int limit = kPatience) {
        m_end->Lock();
        CVXCSerialize request;
        CVXCSerialize reply;
        uint32 result =
            static_cast<uint32>(RemoteCall_In(m_end.get(), VXC32_RCALL_NAMED, name, nullptr, request));
        if (result == 0) {
            write(request);
            EXPECT_EQ(request.m_nError, VXC_SERIALIZE_OK) << "the request does not fit";
            result = static_cast<uint32>(RemoteCall_Out(m_end.get(), limit, nullptr, request, reply));
            if (result == 0) {
                read(reply);
            }
        }
        m_end->Unlock();
        return result;
    }
    uint32 Call(const wchar_t* name, unsigned int limit = kPatience) {
        return Call(
            name, [](CVXCSerialize&) {}, [](CVXCSerialize&) {}, limit);
    }
    // Whether the plug-in adds as it should.
    bool Works(unsigned int limit = kPatience);

private:
    struct Deleter {
        void operator()(CVXCInteracter* end) const { DeleteVXCInteratcter(end); }
    };
    const std::unique_ptr<CVXCInteracter, Deleter> m_end;
    const int m_result;
};

// Knows where the server lies. At the end the server is stopped, unless it is gone or the test says so, and
// then there is neither a process nor a name of it left, nor a report of a sanitizer.
class BridgeTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Another server's end may have to be waited for.
    void Start();
    unsigned long long Load(const wchar_t* name = L"TestPlug");
    void Stop();
    // A channel that is still there when the server is gone, so that it cannot be told of its release: it is
    // never ended, as the library would not end it either. Names of the test's own channels are not looked at
    // then.
    static Channel& Kept(unsigned long long plug);
};

} // namespace vxcio::test
