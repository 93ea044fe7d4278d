#include "support/HostTable.h"

#include "frame/PlatformTypes.h"
#include "support/HostTableState.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace vxcio::test {

namespace {

using State = HostTable::State;

// ---- the stock of functions -----------------------------------------------------------------------------

constexpr int kSlots = 32;

// Which host table stands behind which functions. Never destroyed: a stuck thread of the library may come
// back when everything else has ended.
struct Slots {
    std::mutex mutex;
    std::array<std::shared_ptr<State>, kSlots> states; // guarded by mutex
    int next = 0;                                      // guarded by mutex
};

Slots& TheSlots() {
    static Slots* const slots = new Slots;
    return *slots;
}

std::shared_ptr<State> At(int slot) {
    Slots& slots = TheSlots();
    const std::lock_guard lock(slots.mutex);
    return slots.states[static_cast<std::size_t>(slot)];
}

// The slot after the one that was taken last, so that a late call through functions of a table that is gone
// meets another table as late as possible.
int Take(const std::shared_ptr<State>& state) {
    Slots& slots = TheSlots();
    const std::lock_guard lock(slots.mutex);
    for (int tries = 0; tries < kSlots; ++tries) {
        const int slot = slots.next;
        slots.next = (slot + 1) % kSlots;
        if (slots.states[static_cast<std::size_t>(slot)] == nullptr) {
            slots.states[static_cast<std::size_t>(slot)] = state;
            return slot;
        }
    }
    std::fprintf(stderr, "more than %d host tables are alive\n", kSlots);
    std::abort();
}

void Leave(int slot) {
    Slots& slots = TheSlots();
    const std::lock_guard lock(slots.mutex);
    slots.states[static_cast<std::size_t>(slot)] = nullptr;
}

template <int slot>
IOCallbackSet TableOf() {
    IOCallbackSet table{};
    table.pfnOpen = [](const wchar_t* fileName, uint32 flags, uint32* errorNumber) -> void* {
        const auto state = At(slot);
        if (state == nullptr) {
            *errorNumber = VXC_ERROR_INVALID_HANDLE;
            return VXC_INVALID_HANDLE;
        }
        return state->Open(fileName, flags, errorNumber);
    };
    table.pfnRead = [](void* handle, void* buffer, uint32 bytes, uint32* bytesRead) -> uint64 {
        const auto state = At(slot);
        *bytesRead = 0;
        return state == nullptr ? VXC_ERROR_INVALID_HANDLE : state->Read(handle, buffer, bytes, bytesRead);
    };
    table.pfnSetFilePointer = [](void* handle, uint32 low, int32* high, uint32 method,
                                 uint32* errorNumber) -> uint32 {
        const auto state = At(slot);
        if (state == nullptr) {
            *errorNumber = VXC_ERROR_INVALID_HANDLE;
            return VXC_INVALID_SET_FILE_POINTER;
        }
        return state->SetFilePointer(handle, low, high, method, errorNumber);
    };
    table.pfnGetFileSize = [](void* handle, uint32* errorNumber) -> uint64 {
        const auto state = At(slot);
        if (state == nullptr) {
            *errorNumber = VXC_ERROR_INVALID_HANDLE;
            return 0;
        }
        return state->GetFileSize(handle, errorNumber);
    };
    table.pfnWrite = [](void* handle, const void* buffer, uint32 bytes, uint32* bytesWritten) -> uint64 {
        const auto state = At(slot);
        *bytesWritten = 0;
        return state == nullptr ? VXC_ERROR_INVALID_HANDLE
                                : state->Write(handle, buffer, bytes, bytesWritten);
    };
    table.pfnSetEndofFile = [](void* handle) -> uint64 {
        const auto state = At(slot);
        return state == nullptr ? VXC_ERROR_INVALID_HANDLE : state->SetEndofFile(handle);
    };
    table.pfnCloseFile = [](void* handle) -> uint64 {
        const auto state = At(slot);
        return state == nullptr ? VXC_ERROR_INVALID_HANDLE : state->CloseFile(handle);
    };
    table.pfnErrorText = [](void* handle, wchar_t* text, uint32 errorNumber) {
        if (const auto state = At(slot)) {
            state->ErrorText(handle, text, errorNumber);
        }
    };
    return table;
}

template <int... slots>
IOCallbackSet TableOf(int slot, std::integer_sequence<int, slots...>) {
    using Make = IOCallbackSet (*)();
    constexpr Make kMake[] = {&TableOf<slots>...};
    return kMake[slot]();
}

} // namespace

// ---- the host table -------------------------------------------------------------------------------------

const char* HostFunctionName(HostFunction function) {
    constexpr const char* kNames[] = {"pfnOpen",  "pfnRead",         "pfnSetFilePointer", "pfnGetFileSize",
                                      "pfnWrite", "pfnSetEndofFile", "pfnCloseFile",      "pfnErrorText"};
    return kNames[static_cast<int>(function)];
}

HostTable::HostTable(const std::wstring& name, std::vector<uint8> content)
    : m_name(name), m_state(std::make_shared<State>()), m_slot(Take(m_state)),
      m_table(std::make_unique<IOCallbackSet>(TableOf(m_slot, std::make_integer_sequence<int, kSlots>()))) {
    AddFile(name, std::move(content));
}

HostTable::HostTable(const std::wstring& name, const std::filesystem::path& file) : HostTable(name) {
    AddFile(name, file);
}

HostTable::~HostTable() {
    Leave(m_slot);
}

void HostTable::AddFile(const std::wstring& name, std::vector<uint8> content) {
    const std::lock_guard lock(m_state->mutex);
    m_state->files[name] = MakeMemoryFile(std::move(content));
}

void HostTable::AddFile(const std::wstring& name, const std::filesystem::path& file) {
    const std::lock_guard lock(m_state->mutex);
    m_state->files[name] = MakeDiskFile(file);
}

std::wstring HostTable::Tagged() const {
    return Tagged(m_name);
}

std::wstring HostTable::Tagged(const std::wstring& name) const {
    constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    auto address = static_cast<uint64>(reinterpret_cast<std::uintptr_t>(m_table.get()));
    std::wstring digits(16, L'0');
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
        *digit = kDigits[address % 16];
        address /= 16;
    }
    return name + digits + L"VXCIO8";
}

void HostTable::Fail(HostFunction function, uint32 error, int nth, bool fromThenOn) {
    const std::lock_guard lock(m_state->mutex);
    m_state->rules.push_back({function, nth, fromThenOn, false, error, nullptr});
}

void HostTable::FailAfterEffect(HostFunction function, uint32 error, int nth, bool fromThenOn) {
    const std::lock_guard lock(m_state->mutex);
    m_state->rules.push_back({function, nth, fromThenOn, true, error, nullptr});
}

void HostTable::Hold(HostFunction function, const Gate& gate, int nth, bool fromThenOn) {
    const std::lock_guard lock(m_state->mutex);
    m_state->rules.push_back({function, nth, fromThenOn, false, 0, gate.Share()});
}

void HostTable::ShortenReads(uint32 most) {
    const std::lock_guard lock(m_state->mutex);
    m_state->mostRead = most;
}

void HostTable::ShortenWrites(uint32 most) {
    const std::lock_guard lock(m_state->mutex);
    m_state->mostWritten = most;
}

void HostTable::ClaimMore(uint32 extra) {
    const std::lock_guard lock(m_state->mutex);
    m_state->extra = extra;
}

int HostTable::Calls(HostFunction function) const {
    const std::lock_guard lock(m_state->mutex);
    return static_cast<int>(std::count_if(m_state->log.begin(), m_state->log.end(),
                                          [&](const HostCall& call) { return call.function == function; }));
}

std::vector<HostCall> HostTable::Log() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->log;
}

std::vector<HostFunction> HostTable::Order() const {
    std::vector<HostFunction> order;
    for (const HostCall& call : Log()) {
        if (call.function != HostFunction::ErrorText) {
            order.push_back(call.function);
        }
    }
    return order;
}

void HostTable::ClearLog() {
    const std::lock_guard lock(m_state->mutex);
    m_state->log.clear();
}

int HostTable::OpenHandles() const {
    const std::lock_guard lock(m_state->mutex);
    return static_cast<int>(std::count_if(m_state->handles.begin(), m_state->handles.end(),
                                          [](const auto& handle) { return handle->open; }));
}

int HostTable::ClosedInvalid() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->closedInvalid;
}

std::vector<uint8> HostTable::Content() const {
    return Content(m_name);
}

std::vector<uint8> HostTable::Content(const std::wstring& name) const {
    const std::lock_guard lock(m_state->mutex);
    const auto file = m_state->files.find(name);
    if (file == m_state->files.end()) {
        return {};
    }
    std::vector<uint8> content(file->second->Size());
    content.resize(file->second->ReadAt(0, content.data(), static_cast<uint32>(content.size())));
    return content;
}

} // namespace vxcio::test
