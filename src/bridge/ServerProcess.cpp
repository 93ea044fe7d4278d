#include "bridge/ServerProcess.h"

#include "bridge/Messages.h"
#include "bridge/StartCount.h"
#include "bridge/SystemSender.h"
#include "frame/Log.h"
#include "frame/ModuleValues.h"
#include "platform/Process.h"

#include <mutex>

using namespace vxcio;

namespace {

constexpr uint32 kSystemSpaceBytes = 1048576;

// Milliseconds.
constexpr uint32 kQuitTimeOut = 10000;
constexpr uint32 kPlugTimeOut = 5000;

// With its trailing blank, behind which the id follows on the command line.
constexpr const wchar_t* kServerFile = L"\\VXC32\\VXC32ServU.exe ";

// Two first starts at once would both make a sender. Never held where only the sender is asked for.
constinit std::mutex g_startStop;

// The first start is not counted. Guarded by the lock.
constinit StartCount g_starts;

// Others may have the sender since it was made, and use it under its lock: it changes under that alone.
int FailedStart(CVXCInteracterImpl& sender) noexcept {
    const ChannelLock lock(sender);
    RetireSystemSender();
    return -1;
}

int BeginSender(CVXCInteracterImpl& sender, const wchar_t* id) noexcept {
    {
        const ChannelLock lock(sender);
        sender.Assign(0, id, kSystemSpaceBytes, kSystemSpaceBytes);
    }
    LogTrace(L"CreateVXC32ServProcess(): SysSender ID: %s", id);
    const ChannelLock lock(sender);
    return sender.InitSenderFirst();
}

int EndSender(CVXCInteracterImpl& sender) noexcept {
    sender.AwaitReceiver();
    const ChannelLock lock(sender);
    return sender.OpenReplySpace();
}

int StartServer(CVXCInteracterImpl& sender) noexcept {
    CVXCString path(Module().szModuleDirectory);
    path += kServerFile;
    if (VXC_DoesFileExistsW(path) == 0) {
        // The sender stays, with nobody behind it.
        LogError(L"Program %s doesn't exist!", path.c_str());
        return -1;
    }
    LogTrace(L"vxc32.exe path name: %s", path.c_str());
    const int pathLength = path.GetLength();
    path += ProcessIdText();
    if (path.GetLength() <= pathLength) {
        return FailedStart(sender); // no memory for the id, without which no server can do anything
    }
    LogTrace(L"CreateVXC32ServProcess(): Begin CreateProcess() = %s", path.c_str());
    void* const process = Process().start(path);
    if (process == nullptr) {
        CVXCString text;
        text.Format(L"CreateVXC32ServProcess(): CreateProcess failed (%d).\n", VXC_GetLastError());
        LogError(L"%s", text.c_str());
        return FailedStart(sender);
    }
    LogTrace(L"CreateVXC32ServProcess(): End CreateProcess() = %s", path.c_str());
    const int result = EndSender(sender);
    Process().closeProcess(process);
    if (result != 0) {
        FailedStart(sender);
        LogError(L"CreateVXC32ServProcess(): CreateVXC32ServProcess failed : InitSenderEnd return 0x%08x",
                 result);
        return -1;
    }
    return 0;
}

} // namespace

int CreateVXC32ServProcess() noexcept {
    const std::lock_guard lock(g_startStop);
    if (SystemSender() != nullptr) {
        g_starts.Add();
        return 0;
    }
    MakeProcessIdText();
    const CVXCString id = ProcessIdText();
    // Without memory for it the names would be those of any process.
    CVXCInteracterImpl* const sender = id.IsEmpty() ? nullptr : MakeSystemSender();
    if (sender == nullptr) {
        return -1;
    }
    return BeginSender(*sender, id) != 0 ? FailedStart(*sender) : StartServer(*sender);
}

int DestoryVXC32ServProcess() noexcept {
    const std::lock_guard lock(g_startStop);
    CVXCInteracterImpl* const sender = SystemSender();
    if (sender == nullptr) {
        return 0;
    }
    if (g_starts.Take() > 0) {
        return 0;
    }
    // To the end of the release: who waits for the lock finds the spaces gone and not going.
    const ChannelLock channel(*sender);
    const CallResult call = CallServer(*sender, L"Call_QuitVXC32Serv", kQuitTimeOut, NoArguments, NoResults);
    if (call.end != CallEnd::Done) {
        LogFailedCall(L"DestoryVXC32ServProcess", call);
        return call.status;
    }
    RetireSystemSender();
    return 0;
}

unsigned long long RemoteLoadVXC32Plug(const wchar_t* path) noexcept {
    CVXCInteracter* const sender = ObtainSysSender();
    if (sender == nullptr) {
        LogError(L"%s", L"RemoteLoadVXC32Plug failed! ObtainSysSender return NULL");
        return 0;
    }
    const ChannelLock lock(*sender);
    unsigned long long handle = 0;
    const auto write = [path](CVXCSerialize& request) { request << path; };
    const auto read = [&handle](CVXCSerialize& reply) { reply >> handle; };
    const CallResult call = CallServer(*sender, L"Call_LoadPlug", kPlugTimeOut, write, read);
    if (call.end != CallEnd::Done) {
        LogFailedCall(L"RemoteLoadVXC32Plug", call);
        return 0;
    }
    return handle;
}

int RemoteFreeVXC32Plug(unsigned long long handle) noexcept {
    CVXCInteracter* const sender = ObtainSysSender();
    if (sender == nullptr) {
        LogError(L"%s", L"RemoteFreeVXC32Plug failed! ObtainSysSender return NULL");
        return 0;
    }
    const ChannelLock lock(*sender);
    const auto write = [handle](CVXCSerialize& request) { request << handle; };
    const CallResult call = CallServer(*sender, L"Call_FreePlug", kPlugTimeOut, write, NoResults);
    LogFailedCall(L"RemoteFreeVXC32Plug", call);
    return call.status;
}

void vxcio::DetachServerProcess() noexcept {
    const std::unique_lock lock(g_startStop, std::try_to_lock);
    if (lock.owns_lock()) {
        FreeSystemSenders();
        ClearProcessIdText();
    }
}
