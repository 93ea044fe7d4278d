#include "bridge/FakeServer.h"

#include "bridge/ChannelSpaces.h"
#include "frame/SystemLayer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace vxcio::test {

namespace {

FakeServer* g_server = nullptr;

template <class Value>
void Append(Bytes& bytes, Value value) {
    for (std::size_t i = 0; i < sizeof value; ++i) {
        bytes.push_back(static_cast<uint8>(value >> (8 * i)));
    }
}

uint32 Load32(const Bytes& bytes, std::size_t at) {
    uint32 value = 0;
    for (std::size_t i = 0; i < 4 && at + i < bytes.size(); ++i) {
        value |= static_cast<uint32>(bytes[at + i]) << (8 * i);
    }
    return value;
}

// Of ASCII characters, as all names of calls are.
std::wstring NameIn(const Bytes& bytes) {
    std::wstring name;
    const uint32 length = Load32(bytes, 12);
    for (std::size_t at = 22; at < std::min<std::size_t>(22 + std::size_t{length}, bytes.size()); at += 2) {
        name += static_cast<wchar_t>(bytes[at]);
    }
    return name;
}

} // namespace

Bytes L32(uint32 value) {
    Bytes bytes = {0x6C};
    Append(bytes, value);
    return bytes;
}

Bytes Q64(uint64 value) {
    Bytes bytes = {0x71};
    Append(bytes, value);
    return bytes;
}

Bytes Text(std::u16string_view text) {
    const auto count = static_cast<uint32>(text.size() * 2);
    Bytes bytes = Message({{0x73}, L32(count)});
    if (count != 0) {
        bytes = Message({bytes, {0x62}, L32(count)});
        for (const char16_t unit : text) {
            Append(bytes, static_cast<uint16>(unit));
        }
    }
    return bytes;
}

Bytes Message(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

Bytes RequestHead(uint32 size, uint32 command, std::u16string_view name) {
    return Message({L32(size), L32(command), Text(name)});
}

Bytes ReplyHead(uint32 result) {
    return Message({L32(0xFFFFFFFFu), L32(result), L32(0xABCD0123u)});
}

Bytes Cleared(Bytes reply) {
    reply.resize(reply.size() + 16);
    return reply;
}

FakeServer::FakeServer() : m_table(Process()) {
    m_gate.Open();
    g_server = this;
    Process().start = StartProgram;
    Process().closeProcess = CloseProgram;
}

FakeServer::~FakeServer() {
    End();
    Process() = m_table;
    g_server = nullptr;
}

void FakeServer::ComeUpWithMarker(std::string_view marker) {
    m_marker = marker;
}

void FakeServer::On(const wchar_t* name, FakeAnswer answer) {
    const std::lock_guard lock(m_mutex);
    m_answers[name] = std::move(answer);
}

void FakeServer::On(const wchar_t* name, Bytes reply) {
    On(name, [reply = std::move(reply)](const FakeRequest&) { return reply; });
}

void FakeServer::End() {
    m_gate.Open();
    if (m_receiver != nullptr) {
        m_receiver->Release(); // its thread looks at it until then
    }
    DeleteVXCInteratcter(std::exchange(m_receiver, nullptr));
}

std::vector<std::wstring> FakeServer::CommandLines() const {
    const std::lock_guard lock(m_mutex);
    return m_commandLines;
}

std::vector<FakeRequest> FakeServer::Requests() const {
    const std::lock_guard lock(m_mutex);
    return m_requests;
}

std::vector<std::wstring> FakeServer::Names() const {
    std::vector<std::wstring> names;
    for (const FakeRequest& request : Requests()) {
        names.push_back(request.name);
    }
    return names;
}

void* FakeServer::StartProgram(const wchar_t* commandLine) {
    return g_server->Started(commandLine);
}

void FakeServer::CloseProgram(void* process) {
    EXPECT_EQ(process, g_server);
    ++g_server->m_closed;
}

void* FakeServer::Started(const std::wstring& commandLine) {
    {
        const std::lock_guard lock(m_mutex);
        m_commandLines.push_back(commandLine);
    }
    if (m_within) {
        m_within();
    }
    if (m_start == Start::Fails) {
        VXC_DeleteFileW(L"/no such folder/no such file"); // sets the last error
        return nullptr;
    }
    if (m_start == Start::Dead) {
        return this;
    }
    ComeUpNow(commandLine.substr(commandLine.rfind(L' ') + 1));
    return this;
}

void FakeServer::ComeUpNow(const std::wstring& id) {
    EXPECT_EQ(m_receiver, nullptr);
    m_receiver = ConstructVXCInteratcter(VXC_INTERACTER_RECEIVER);
    m_receiver->SetReceiverCallback(Receive, this);
    EXPECT_EQ(m_receiver->Initialize(0, id.c_str(), 1048576, m_replyBytes), 0);
    if (!m_marker.empty()) {
        std::memcpy(UsableSpaces(*m_receiver).reply, m_marker.data(), m_marker.size());
    }
}

int FakeServer::Receive(void* server) {
    static_cast<FakeServer*>(server)->Serve();
    return 0;
}

void FakeServer::Serve() {
    const ChannelSpaces spaces = UsableSpaces(*m_receiver);
    FakeRequest request;
    request.bytes.assign(spaces.request, spaces.request + std::min<uint32>(spaces.requestBytes, 4096));
    request.bytes.resize(std::min<std::size_t>(Load32(request.bytes, 1), request.bytes.size()));
    request.command = Load32(request.bytes, 6);
    request.name = NameIn(request.bytes);
    FakeAnswer answer = [](const FakeRequest&) { return Cleared(ReplyHead(0)); };
    {
        const std::lock_guard lock(m_mutex);
        m_requests.push_back(request);
        if (const auto found = m_answers.find(request.name); found != m_answers.end()) {
            answer = found->second;
        }
    }
    m_gate.Pass();
    if (const std::optional<Bytes> reply = answer(request); reply.has_value() && !reply->empty()) {
        std::memcpy(spaces.reply, reply->data(), std::min<std::size_t>(reply->size(), spaces.replyBytes));
    }
}

} // namespace vxcio::test
