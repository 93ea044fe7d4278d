// The bridge as a host, a proxy and a server use it: by the shared libraries and the public headers alone.
#include "bridge/ChannelSpaces.h"
#include "frame/SystemLayer.h"
#include "module/VXCSoftCodecIO.h"
#include "sysu/NamedObjects.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

namespace {

std::wstring ProcessText() {
    char text[16];
    std::snprintf(text, sizeof text, "%08u", vxcio::ProcessNumber());
    const std::string narrow(text);
    return {narrow.begin(), narrow.end()};
}

// A proxy's channel to a far end in its own process.
class LoopChannel : public CVXCInteracter {
public:
    int Initialize(unsigned long long, const wchar_t*, unsigned int, unsigned int) noexcept override {
        return 0;
    }
    void Release() noexcept override {}
    int GetInteractorID(wchar_t*, unsigned int) noexcept override { return -1; }
    int SetReceiverCallback(PFN_RECEIVER_CALLBACK, void*) noexcept override { return 0; }
    int ObtainSMMSpaceAddress(void** inSpace, unsigned int* inSize, void** outSpace,
                              unsigned int* outSize) noexcept override {
        *inSpace = m_request;
        *inSize = sizeof m_request;
        *outSpace = m_reply;
        *outSize = sizeof m_reply;
        return 0;
    }
    int RemoteCall(unsigned int) noexcept override {
        CVXCSerialize request;
        request.m_pBuffer = m_request;
        request.m_dwCapacity = sizeof m_request;
        SInParamLeader head;
        unsigned int number = 0;
        request >> head >> number;
        CVXCSerialize reply;
        reply.m_pBuffer = m_reply;
        reply.m_dwCapacity = sizeof m_reply;
        reply.m_nDirection = VXC_SERIALIZE_STORE;
        SOutParamLeader answer = {head.size, head.commandString.Compare(L"Square") == 0 ? 0U : 1U, 0};
        reply << answer << number * number;
        return 0;
    }
    int AdjustInSMMSpaceSize(unsigned int) noexcept override { return -1; }
    int AdjustOutSMMSpaceSize(unsigned int) noexcept override { return -1; }
    void Lock() noexcept override {}
    void Unlock() noexcept override {}

private:
    unsigned char m_request[200] = {};
    unsigned char m_reply[200] = {};
};

} // namespace

TEST(PublicBridgeTest, WithoutAServerNothingIsDone) {
    EXPECT_EQ(ObtainSysSender(), nullptr);
    EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 0U);
    EXPECT_EQ(RemoteFreeVXC32Plug(1), 0);
    EXPECT_EQ(DestoryVXC32ServProcess(), 0);
    CVXCInteracter* const sender = ConstructVXCInteratcter(VXC_INTERACTER_SENDER);
    ASSERT_NE(sender, nullptr);
    EXPECT_EQ(sender->Initialize(1, L"some id", 100, 100), -1);
    EXPECT_EQ(DeleteVXCInteratcter(sender), 0);
    EXPECT_EQ(DeleteVXCInteratcter(nullptr), 0);
}

TEST(PublicBridgeTest, AServerUnderWhoseNameSomebodyElseStandsIsNotStarted) {
    int existed = 0;
    void* const taken = vxcio::CreateNamedSection((ProcessText() + L"_InMap").c_str(), 1, &existed);
    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(CreateVXC32ServProcess(), -1);
    EXPECT_EQ(ObtainSysSender(), nullptr);
    vxcio::CloseSection(taken);
}

TEST(PublicBridgeTest, AnIdIsMadeAndTakenApart) {
    wchar_t id[80] = {};
    ASSERT_EQ(CreateVXCInteractorID(PLUG_TYPE_SPLITTER, 12, id, sizeof id), 0);
    EXPECT_EQ(std::wstring(id).substr(0, 16), ProcessText() + L"_SP_012_");
    ENUM_PLUG_TYPE type = PLUG_TYPE_MUXER;
    unsigned int index = 0;
    EXPECT_EQ(ParseVXCInteractorID(id, &type, &index), 0);
    EXPECT_EQ(type, PLUG_TYPE_SPLITTER);
    EXPECT_EQ(index, 12U);
}

TEST(PublicBridgeTest, AProxyCallsOverAChannelOfItsOwn) {
    LoopChannel channel;
    CVXCSerialize request;
    CVXCSerialize reply;
    channel.Lock();
    ASSERT_EQ(RemoteCall_In(&channel, VXC32_RCALL_NAMED, L"Square", L"Proxy", request), 0);
    request << 12U;
    EXPECT_EQ(RemoteCall_Out(&channel, 100, L"Proxy", request, reply), 0);
    unsigned int square = 0;
    reply >> square;
    channel.Unlock();
    EXPECT_EQ(square, 144U);
    EXPECT_EQ(reply.m_nError, VXC_SERIALIZE_OK);
    const vxcio::ChannelSpaces spaces = vxcio::UsableSpaces(channel);
    EXPECT_EQ(spaces.request, request.m_pBuffer);
    EXPECT_EQ(spaces.requestBytes, 200U);
}

TEST(PublicBridgeTest, AReceiverServesAHostOfItsOwn) {
    // The host's half, by hand.
    const std::wstring id = ProcessText() + L"_api";
    int existed = 0;
    void* const space = vxcio::CreateNamedSection((id + L"_InMap").c_str(), 64, &existed);
    auto* const view = static_cast<unsigned char*>(vxcio::MapSection(space, 64, nullptr));
    void* const begin = VXC_CreateEventW(nullptr, 0, 0, (id + L"_EvtBegin").c_str());
    void* const end = VXC_CreateEventW(nullptr, 0, 0, (id + L"_EvtEnd").c_str());
    ASSERT_TRUE(view != nullptr && begin != nullptr && end != nullptr);
    std::memcpy(view, "C\0R\0E\0A\0T\0E\0S\0M\0M\0\0", 20);

    CVXCInteracter* const receiver = ConstructVXCInteratcter(VXC_INTERACTER_RECEIVER);
    receiver->SetReceiverCallback(
        [](void* channel) {
            const vxcio::ChannelSpaces spaces = vxcio::UsableSpaces(**static_cast<CVXCInteracter**>(channel));
            std::reverse_copy(spaces.request, spaces.request + 3, spaces.reply);
            return 0;
        },
        const_cast<CVXCInteracter**>(&receiver));
    ASSERT_EQ(receiver->Initialize(5, id.c_str(), 0, 32), 0);
    EXPECT_EQ(VXC_WaitForSingleObject(end, 10'000), VXC_WAIT_OBJECT_0);
    std::memcpy(view, "abc", 3);
    VXC_SetEvent(begin);
    EXPECT_EQ(VXC_WaitForSingleObject(end, 10'000), VXC_WAIT_OBJECT_0);
    void* const replySpace = vxcio::OpenNamedSection((id + L"_OutMap").c_str());
    void* const reply = vxcio::MapSection(replySpace, 32, nullptr);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(std::memcmp(reply, "cba", 3), 0);
    wchar_t name[32] = {};
    EXPECT_EQ(receiver->GetInteractorID(name, sizeof name), 0);
    EXPECT_EQ(name, id);
    receiver->Release();
    DeleteVXCInteratcter(receiver);
    VXC_CloseHandle(begin);
    VXC_CloseHandle(end);
    vxcio::UnmapSection(reply);
    vxcio::CloseSection(replySpace);
    vxcio::UnmapSection(view);
    vxcio::CloseSection(space);
}

TEST(PublicBridgeTest, RecordsGoOutAndComeBack) {
    std::vector<unsigned char> bytes(4096);
    CVXCSerialize out;
    out.m_pBuffer = bytes.data();
    out.m_dwCapacity = static_cast<unsigned int>(bytes.size());
    out.m_nDirection = VXC_SERIALIZE_STORE;
    unsigned char payload[] = {1, 2, 3};
    SPlugAppendInfo_T attachment = {EPlugValue{4}, payload, 3};
    out << attachment << L"end";
    ASSERT_EQ(out.m_nError, VXC_SERIALIZE_OK);
    CVXCSerialize in;
    in.m_pBuffer = bytes.data();
    in.m_dwCapacity = out.m_dwPosition;
    SPlugAppendInfo_T back = {};
    CVXCString text;
    in >> back >> text;
    ASSERT_EQ(in.m_nError, VXC_SERIALIZE_OK);
    ASSERT_EQ(back.size, 3U);
    EXPECT_EQ(std::memcmp(back.data, payload, 3), 0);
    EXPECT_STREQ(text.c_str(), L"end");
    SerilizeFree(back.data);
    unsigned char* const memory = SerilizeMalloc(0);
    EXPECT_NE(memory, nullptr);
    SerilizeFree(memory);
}
