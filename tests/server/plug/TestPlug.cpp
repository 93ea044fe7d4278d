// A plug-in for tests: gives back what it gets, counts what is done with it, and misbehaves where it is asked
// to.
#include "bridge/Records.h"
#include "bridge/VXC32Plug.h"
#include "frame/SystemLayer.h"

#include "EchoRecords.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using vxcio::test::WithEchoRecord;

struct Instance {
    std::wstring channelId;
    uint64 plugHandle;
    uint32 calls = 0;
};

std::atomic<uint32> g_opened{0};
std::atomic<uint32> g_closed{0};

// Results of the plug-in's own.
constexpr int kUnknownName = 1001;
constexpr int kBadArguments = 1002;

void WaitFor(const std::wstring& name) {
    void* const event = VXC_CreateEventW(nullptr, 0, 0, name.c_str());
    VXC_WaitForSingleObject(event, VXC_INFINITE);
    VXC_CloseHandle(event);
}

void Signal(const std::wstring& name) {
    void* const event = VXC_CreateEventW(nullptr, 0, 0, name.c_str());
    VXC_SetEvent(event);
    VXC_CloseHandle(event);
}

bool Has(const std::wstring& text, std::wstring_view part) {
    return text.find(part) != std::wstring::npos;
}

void EchoScalars(CVXCSerialize& request, CVXCSerialize& reply) {
    signed char a = 0;
    unsigned char b = 0;
    short c = 0;
    unsigned short d = 0;
    int e = 0;
    unsigned int f = 0;
    long long g = 0;
    unsigned long long h = 0;
    float i = 0;
    double j = 0;
    CVXCString k;
    request >> a >> b >> c >> d >> e >> f >> g >> h >> i >> j >> k;
    reply << a << b << c << d << e << f << g << h << i << j << k;
}

void FreeAttachment(void*) {}
void FreeAttachment(SPlugAppendInfo_T* record) {
    SerilizeFree(record->data);
}
void FreeAttachment(SPlugStreamInfo* record) {
    SerilizeFree(record->append.data);
}
void FreeAttachment(SPlugFRAMEINFO* record) {
    SerilizeFree(record->append.data);
}

int EchoRecord(CVXCSerialize& request, CVXCSerialize& reply) {
    uint32 number = 0;
    request >> number;
    const bool known = WithEchoRecord(number, [&](auto& record) {
        request >> record;
        reply << record;
        FreeAttachment(&record);
    });
    return known ? 0 : kBadArguments;
}

// Of a description of type 2, whose room is the plug-in's.
int EchoDescription(CVXCSerialize& request, CVXCSerialize& reply) {
    std::vector<unsigned char> room(request.m_dwCapacity);
    SMediaDescript record = {};
    record.data = room.data();
    request >> record;
    if (request.m_nError == VXC_SERIALIZE_OK) {
        reply << record;
    }
    if (record.type == 3) {
        SerilizeFree(reinterpret_cast<SMediaDescriptExtra*>(record.data)->extra);
    }
    if (record.type == 1 || record.type == 3) {
        SerilizeFree(record.data);
    }
    return 0;
}

int EchoBlock(CVXCSerialize& request, CVXCSerialize& reply) {
    unsigned char* bytes = nullptr;
    unsigned int count = 0;
    if (request.ReadBlock(bytes, count, 0) == 0) {
        return kBadArguments;
    }
    reply.WriteBlock(bytes, count);
    return 0;
}

// Says that it has come, and stays until it is told.
void Hang(CVXCSerialize& request, CVXCSerialize& reply) {
    CVXCString come;
    CVXCString go;
    uint32 number = 0;
    request >> come >> go >> number;
    Signal(come.c_str());
    WaitFor(go.c_str());
    reply << number;
}

void Fill(CVXCSerialize& reply) {
    while (reply.m_nError == VXC_SERIALIZE_OK) {
        reply << 0x7171717171717171ull;
    }
}

volatile std::uintptr_t g_nowhere = 8;
volatile int g_sink = 0;
volatile int g_deepest = 0x7FFFFFFF; // further than any stack goes

int Deeper(volatile char* above, int depth) {
    if (depth == g_deepest) {
        return 0;
    }
    volatile char here[4096];
    here[0] = static_cast<char>(depth);
    g_sink = above[0] + here[0];
    return Deeper(here, depth + 1) + here[0];
}

void Crash(std::wstring_view how) {
    if (how == L"NullWrite") {
        *reinterpret_cast<volatile int*>(g_nowhere) = 1;
    } else if (how == L"Abort") {
        std::abort();
    } else if (how == L"Exit0") {
        std::exit(0);
    } else if (how == L"StackOverflow") {
        volatile char first = 0;
        g_sink = Deeper(&first, 0);
    }
}

int Act(Instance& instance, std::wstring_view name, CVXCSerialize& request, CVXCSerialize& reply) {
    if (name == L"Empty") {
        return 0;
    }
    if (name == L"Add") {
        uint32 a = 0;
        uint32 b = 0;
        request >> a >> b;
        reply << a + b << static_cast<uint32>(sizeof(void*));
        return request.m_nError == VXC_SERIALIZE_OK ? 0 : kBadArguments;
    }
    if (name == L"EchoScalars") {
        EchoScalars(request, reply);
        return 0;
    }
    if (name == L"EchoRecord") {
        return EchoRecord(request, reply);
    }
    if (name == L"EchoDescription") {
        return EchoDescription(request, reply);
    }
    if (name == L"EchoBlock") {
        return EchoBlock(request, reply);
    }
    if (name == L"Who") {
        reply << instance.channelId.c_str() << static_cast<unsigned long long>(instance.plugHandle)
              << instance.calls << g_opened.load() << g_closed.load();
        return 0;
    }
    if (name == L"Hang") {
        Hang(request, reply);
        return 0;
    }
    if (name == L"Throw") {
        reply << 1ull << 2ull;
        throw std::runtime_error("as it was asked to");
    }
    if (name == L"ThrowNumber") {
        throw 5;
    }
    if (name == L"Overflow") {
        Fill(reply);
        return 0;
    }
    if (name == L"OddStream") {
        reply.m_pBuffer = nullptr;
        reply.m_nDirection = VXC_SERIALIZE_LOAD;
        reply.m_dwPosition = 0xFFFFFFFFu;
        return 0;
    }
    Crash(name);
    return kUnknownName;
}

} // namespace

VXC32PLUG_EXPORT int VXC32PlugCall(void* instance, uint32 command, const wchar_t* commandString,
                                   CVXCSerialize& request, CVXCSerialize& reply) {
    auto& own = *static_cast<Instance*>(instance);
    ++own.calls;
    if (command != 0) {
        reply << command;
        return 0;
    }
    return Act(own, commandString, request, reply);
}

VXC32PLUG_EXPORT void* VXC32PlugOpen(uint64 plugHandle, const wchar_t* channelId) {
    if (Has(channelId, L"OpenThrows")) {
        throw std::runtime_error("as its name says");
    }
    ++g_opened;
    return new Instance{channelId, plugHandle};
}

VXC32PLUG_EXPORT void VXC32PlugClose(void* instance) {
    auto* const own = static_cast<Instance*>(instance);
    const std::wstring id = own->channelId;
    delete own;
    if (Has(id, L"CloseHangs")) {
        WaitFor(id + L"_go");
    }
    ++g_closed;
    if (Has(id, L"CloseThrows")) {
        throw std::runtime_error("as its name says");
    }
}
