#include "bridge/InteracterTesting.h"

#include "bridge/Records.h"
#include "bridge/SystemSender.h"
#include "platform/Process.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace vxcio::test {

namespace {

struct PlanState {
    std::mutex mutex;
    SharedObjectTable real = {};
    int left[5] = {}; // calls until the one that fails; 0: none
    int leftOfAny = 0;
    int fired = 0;
    bool freeNames = false;
    int handles = 0;
    int views = 0;
    int renamed = 0;
    std::vector<void*> given;
    std::vector<SharedObjectsPlan::Unmapping> unmappings;
    std::vector<std::wstring> opened;
};

// The table's functions have no context.
PlanState* g_plan = nullptr;

bool Fails(SharedObjectsPlan::Kind kind) {
    const std::lock_guard lock(g_plan->mutex);
    int& left = g_plan->left[static_cast<int>(kind)];
    const bool byKind = left > 0 && --left == 0;
    const bool byAny = g_plan->leftOfAny > 0 && --g_plan->leftOfAny == 0;
    g_plan->fired += byKind || byAny ? 1 : 0;
    return byKind || byAny;
}

void* NoteHandle(void* handle) {
    if (handle != nullptr) {
        const std::lock_guard lock(g_plan->mutex);
        ++g_plan->handles;
        g_plan->given.push_back(handle);
    }
    return handle;
}

void* CreateMapping(const wchar_t* name, uint32 bytes, int* existed) {
    if (Fails(SharedObjectsPlan::Kind::CreateMapping)) {
        *existed = 0;
        return nullptr;
    }
    void* handle = g_plan->real.createMapping(name, bytes, existed);
    if (handle != nullptr && *existed != 0 && g_plan->freeNames) {
        g_plan->real.closeMapping(handle);
        const std::wstring other = std::wstring(name) + L"_again" + std::to_wstring(++g_plan->renamed);
        handle = g_plan->real.createMapping(other.c_str(), bytes, existed);
    }
    return NoteHandle(handle);
}

void* OpenMapping(const wchar_t* name) {
    {
        const std::lock_guard lock(g_plan->mutex);
        g_plan->opened.emplace_back(name);
    }
    return Fails(SharedObjectsPlan::Kind::OpenMapping) ? nullptr : NoteHandle(g_plan->real.openMapping(name));
}

void* MapView(void* mapping, uint32 least, uint64* bytes) {
    if (Fails(SharedObjectsPlan::Kind::MapView)) {
        return nullptr;
    }
    void* const view = g_plan->real.mapView(mapping, least, bytes);
    const std::lock_guard lock(g_plan->mutex);
    g_plan->views += view != nullptr ? 1 : 0;
    return view;
}

int UnmapView(void* address) {
    const int result = g_plan->real.unmapView(address);
    const std::lock_guard lock(g_plan->mutex);
    g_plan->views -= result != 0 ? 1 : 0;
    g_plan->unmappings.push_back({address, result});
    return result;
}

int CloseMapping(void* mapping) {
    const int result = g_plan->real.closeMapping(mapping);
    const std::lock_guard lock(g_plan->mutex);
    g_plan->handles -= result != 0 ? 1 : 0;
    return result;
}

void* CreateEvent(const wchar_t* name) {
    return Fails(SharedObjectsPlan::Kind::CreateEvent) ? nullptr : g_plan->real.createEvent(name);
}

void* OpenEvent(const wchar_t* name) {
    return Fails(SharedObjectsPlan::Kind::OpenEvent) ? nullptr : g_plan->real.openEvent(name);
}

} // namespace

std::wstring UniqueId(const wchar_t* what) {
    static std::atomic<int> s_number{0};
    return std::wstring(what) + std::to_wstring(Process().processId()) + L"n" + std::to_wstring(++s_number) +
           L"x";
}

SharedObjectsPlan::SharedObjectsPlan() : m_former(SharedObjects()) {
    g_plan = new PlanState;
    g_plan->real = m_former;
    SharedObjectTable& table = SharedObjects();
    table.createMapping = CreateMapping;
    table.openMapping = OpenMapping;
    table.mapView = MapView;
    table.unmapView = UnmapView;
    table.closeMapping = CloseMapping;
    table.createEvent = CreateEvent;
    table.openEvent = OpenEvent;
}

SharedObjectsPlan::~SharedObjectsPlan() {
    SharedObjects() = m_former;
    delete g_plan;
    g_plan = nullptr;
}

void SharedObjectsPlan::Fail(Kind kind, int nth) {
    const std::lock_guard lock(g_plan->mutex);
    g_plan->left[static_cast<int>(kind)] = nth;
}

void SharedObjectsPlan::FailAny(int nth) {
    const std::lock_guard lock(g_plan->mutex);
    g_plan->leftOfAny = nth;
}

int SharedObjectsPlan::Fired() {
    const std::lock_guard lock(g_plan->mutex);
    return g_plan->fired;
}

void SharedObjectsPlan::FreeTakenNames() {
    const std::lock_guard lock(g_plan->mutex);
    g_plan->freeNames = true;
}

std::vector<SharedObjectsPlan::Unmapping> SharedObjectsPlan::Unmappings() {
    const std::lock_guard lock(g_plan->mutex);
    return g_plan->unmappings;
}

std::vector<std::wstring> SharedObjectsPlan::Opened() {
    const std::lock_guard lock(g_plan->mutex);
    return g_plan->opened;
}

int SharedObjectsPlan::Handles() {
    const std::lock_guard lock(g_plan->mutex);
    return g_plan->handles;
}

int SharedObjectsPlan::Views() {
    const std::lock_guard lock(g_plan->mutex);
    return g_plan->views;
}

std::vector<void*> SharedObjectsPlan::Given() {
    const std::lock_guard lock(g_plan->mutex);
    return g_plan->given;
}

ChannelPair::ChannelPair(std::function<void()> callback, uint32 inSize, uint32 outSize)
    : m_callback(std::move(callback)) {
    sender.Assign(0, id.c_str(), inSize, outSize);
    receiver.SetReceiverCallback(&ChannelPair::Call, this);
    m_isUp = sender.InitSenderFirst() == 0 && receiver.Initialize(0, id.c_str(), 0, outSize) == 0 &&
             sender.InitSenderEnd() == 0;
}

ChannelPair::~ChannelPair() {
    sender.Release();
    receiver.Release();
}

int ChannelPair::Call(void* context) {
    const auto& self = *static_cast<const ChannelPair*>(context);
    if (self.m_callback) {
        self.m_callback();
    }
    return 1; // without a meaning
}

PlayedServer::PlayedServer(bool complete) {
    CVXCInteracterImpl* const sender = MakeSystemSender();
    sender->Assign(0, id.c_str(), kSpaceBytes, kSpaceBytes);
    sender->InitSenderFirst();
    if (complete) {
        m_receiver.SetReceiverCallback(&PlayedServer::Call, this);
        m_receiver.Initialize(0, id.c_str(), kSpaceBytes, kSpaceBytes);
        sender->InitSenderEnd();
    }
}

PlayedServer::~PlayedServer() {
    m_receiver.Release();
    for (const auto& [handle, channel] : m_channels) {
        DeleteVXCInteratcter(channel);
    }
    FreeSystemSenders();
}

void PlayedServer::AnswerBy(Answer answer) {
    const std::lock_guard lock(m_mutex);
    m_answer = std::move(answer);
}

std::vector<PlayedServer::Request> PlayedServer::Requests() const {
    const std::lock_guard lock(m_mutex);
    return m_requests;
}

int PlayedServer::Channels() const {
    const std::lock_guard lock(m_mutex);
    return static_cast<int>(m_channels.size());
}

int PlayedServer::Call(void* context) {
    static_cast<PlayedServer*>(context)->Run();
    return 0;
}

int PlayedServer::Ignore(void*) {
    return 0;
}

void PlayedServer::Run() {
    const ChannelSpaces spaces = UsableSpaces(m_receiver);
    CVXCSerialize stream;
    SetUp(stream, spaces.request, spaces.requestBytes, VXC_SERIALIZE_LOAD);
    SInParamLeader leader;
    stream >> leader;
    Request request;
    request.command = leader.commandString.c_str();
    stream >> request.handle;
    if (request.command == L"Call_InitInteractor") {
        CVXCString name;
        stream >> name >> request.outSize;
        request.id = name.c_str();
    }
    request.bytes.assign(spaces.request, spaces.request + std::min(leader.size, spaces.requestBytes));
    std::memset(spaces.reply, 0, spaces.replyBytes);
    CVXCSerialize reply;
    SetUp(reply, spaces.reply, spaces.replyBytes, VXC_SERIALIZE_STORE);
    Answer answer;
    {
        const std::lock_guard lock(m_mutex);
        m_requests.push_back(request);
        answer = m_answer;
    }
    if (answer) {
        answer(request, reply);
    } else {
        Serve(request, reply);
    }
}

void PlayedServer::Serve(const Request& request, CVXCSerialize& reply) {
    const std::lock_guard lock(m_mutex);
    if (request.command == L"Call_InitInteractor") {
        CVXCInteracter* const channel = ConstructVXCInteratcter(VXC_INTERACTER_RECEIVER);
        channel->SetReceiverCallback(&PlayedServer::Ignore, nullptr);
        const int result = channel->Initialize(request.handle, request.id.c_str(), 0, request.outSize);
        m_channels[++m_lastHandle] = channel;
        WriteLeader(reply, static_cast<uint32>(result));
        reply << m_lastHandle;
    } else {
        const auto found = m_channels.find(request.handle);
        // One that has gone before is no error: the host may not have heard of it.
        WriteLeader(reply, request.handle > m_lastHandle ? 0x80000002u : 0u);
        if (found != m_channels.end()) {
            DeleteVXCInteratcter(found->second);
            m_channels.erase(found);
        }
    }
}

PlayedServer::Answer PlayedServer::Refusal(uint32 result, unsigned long long handle) {
    return [result, handle](const Request&, CVXCSerialize& reply) {
        WriteLeader(reply, result);
        reply << handle;
    };
}

PlayedServer::Answer PlayedServer::LeaderOnly(uint32 result) {
    return [result](const Request&, CVXCSerialize& reply) { WriteLeader(reply, result); };
}

void WriteLeader(CVXCSerialize& reply, uint32 result) {
    SOutParamLeader leader = {15, result, 0};
    reply << leader;
}

} // namespace vxcio::test
