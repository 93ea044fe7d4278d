#include "support/HostTableState.h"

#include "frame/PlatformTypes.h"

#include <algorithm>
#include <cwchar>
#include <utility>

namespace vxcio::test {

HostTable::State::Fate HostTable::State::Meet(std::unique_lock<std::mutex>& lock, HostFunction function) {
    Fate fate;
    std::vector<std::shared_ptr<Gate::State>> gates;
    for (Rule& rule : rules) {
        if (rule.function != function) {
            continue;
        }
        ++rule.calls;
        if (rule.calls != rule.nth && !(rule.fromThenOn && rule.calls > rule.nth)) {
            continue;
        }
        if (rule.gate != nullptr) {
            gates.push_back(rule.gate);
        } else if (!fate.fail) {
            fate = {true, rule.afterEffect, rule.error};
        }
    }
    if (!gates.empty()) {
        lock.unlock();
        for (const auto& gate : gates) {
            Gate::Pass(*gate);
        }
        lock.lock();
    }
    return fate;
}

HostTable::State::Handle* HostTable::State::Find(void* handle) {
    const auto found = std::find_if(handles.begin(), handles.end(),
                                    [&](const auto& known) { return known.get() == handle && known->open; });
    return found == handles.end() ? nullptr : found->get();
}

void HostTable::State::Note(HostCall call) {
    const Handle* known = Find(call.handle);
    call.position = known == nullptr ? 0 : known->position;
    call.thread = std::this_thread::get_id();
    log.push_back(std::move(call));
}

void* HostTable::State::Open(const wchar_t* name, uint32 flags, uint32* errorNumber) {
    std::unique_lock lock(mutex);
    HostCall call{};
    call.function = HostFunction::Open;
    call.name = name == nullptr ? L"" : name;
    call.flags = flags;
    const std::wstring wanted = call.name;
    Note(std::move(call));
    const Fate fate = Meet(lock, HostFunction::Open);
    *errorNumber = fate.error;
    if (fate.fail && !fate.afterEffect) {
        return VXC_INVALID_HANDLE;
    }
    const auto file = files.find(wanted);
    if (file == files.end()) {
        *errorNumber = VXC_ERROR_FILE_NOT_FOUND;
        return VXC_INVALID_HANDLE;
    }
    handles.push_back(std::make_unique<Handle>(Handle{file->second}));
    return handles.back().get();
}

uint64 HostTable::State::Read(void* handle, void* buffer, uint32 bytes, uint32* bytesRead) {
    std::unique_lock lock(mutex);
    HostCall call{};
    call.function = HostFunction::Read;
    call.handle = handle;
    call.bytes = bytes;
    Note(std::move(call));
    const Fate fate = Meet(lock, HostFunction::Read);
    if (fate.fail && !fate.afterEffect) {
        return fate.error;
    }
    Handle* known = Find(handle);
    if (known == nullptr) {
        return VXC_ERROR_INVALID_HANDLE;
    }
    const uint32 moved = known->file->ReadAt(known->position, buffer, std::min(bytes, mostRead));
    known->position += moved;
    *bytesRead = moved + extra;
    return fate.error;
}

uint32 HostTable::State::SetFilePointer(void* handle, uint32 low, int32* high, uint32 method,
                                        uint32* errorNumber) {
    std::unique_lock lock(mutex);
    HostCall call{};
    call.function = HostFunction::SetFilePointer;
    call.handle = handle;
    call.distance = high == nullptr
                        ? static_cast<int64>(static_cast<int32>(low))
                        : static_cast<int64>(uint64{static_cast<uint32>(*high)} << 32 | uint64{low});
    call.method = method;
    const auto distance = static_cast<uint64>(call.distance);
    Note(std::move(call));
    const Fate fate = Meet(lock, HostFunction::SetFilePointer);
    *errorNumber = fate.error;
    if (fate.fail && !fate.afterEffect) {
        return VXC_INVALID_SET_FILE_POINTER;
    }
    Handle* known = Find(handle);
    if (known == nullptr) {
        *errorNumber = VXC_ERROR_INVALID_HANDLE;
        return VXC_INVALID_SET_FILE_POINTER;
    }
    uint64 target = distance;
    if (method == VXC_FILE_CURRENT) {
        target += known->position;
    } else if (method == VXC_FILE_END) {
        target += known->file->Size();
    }
    if (static_cast<int64>(target) < 0) {
        *errorNumber = VXC_ERROR_NEGATIVE_SEEK;
        return VXC_INVALID_SET_FILE_POINTER;
    }
    known->position = target;
    if (high != nullptr) {
        *high = static_cast<int32>(target >> 32);
    }
    return static_cast<uint32>(target);
}

uint64 HostTable::State::GetFileSize(void* handle, uint32* errorNumber) {
    std::unique_lock lock(mutex);
    HostCall call{};
    call.function = HostFunction::GetFileSize;
    call.handle = handle;
    Note(std::move(call));
    const Fate fate = Meet(lock, HostFunction::GetFileSize);
    *errorNumber = fate.error;
    Handle* known = Find(handle);
    if (known == nullptr && !fate.fail) {
        *errorNumber = VXC_ERROR_INVALID_HANDLE;
    }
    return known == nullptr || (fate.fail && !fate.afterEffect) ? 0 : known->file->Size();
}

uint64 HostTable::State::Write(void* handle, const void* buffer, uint32 bytes, uint32* bytesWritten) {
    std::unique_lock lock(mutex);
    HostCall call{};
    call.function = HostFunction::Write;
    call.handle = handle;
    call.bytes = bytes;
    Note(std::move(call));
    const Fate fate = Meet(lock, HostFunction::Write);
    if (fate.fail && !fate.afterEffect) {
        return fate.error;
    }
    Handle* known = Find(handle);
    if (known == nullptr) {
        return VXC_ERROR_INVALID_HANDLE;
    }
    const uint32 moved = std::min(bytes, mostWritten);
    if (!known->file->WriteAt(known->position, buffer, moved)) {
        return VXC_ERROR_IO_DEVICE;
    }
    known->position += moved;
    *bytesWritten = moved + extra;
    return fate.error;
}

uint64 HostTable::State::SetEndofFile(void* handle) {
    std::unique_lock lock(mutex);
    HostCall call{};
    call.function = HostFunction::SetEndofFile;
    call.handle = handle;
    Note(std::move(call));
    const Fate fate = Meet(lock, HostFunction::SetEndofFile);
    if (fate.fail && !fate.afterEffect) {
        return fate.error;
    }
    Handle* known = Find(handle);
    if (known == nullptr) {
        return VXC_ERROR_INVALID_HANDLE;
    }
    return known->file->Resize(known->position) ? fate.error : VXC_ERROR_IO_DEVICE;
}

uint64 HostTable::State::CloseFile(void* handle) {
    std::unique_lock lock(mutex);
    HostCall call{};
    call.function = HostFunction::CloseFile;
    call.handle = handle;
    Note(std::move(call));
    const Fate fate = Meet(lock, HostFunction::CloseFile);
    if (handle == VXC_INVALID_HANDLE) {
        ++closedInvalid;
    }
    if (fate.fail && !fate.afterEffect) {
        return fate.error;
    }
    Handle* known = Find(handle);
    if (known == nullptr) {
        return VXC_ERROR_INVALID_HANDLE;
    }
    known->open = false;
    return fate.error;
}

void HostTable::State::ErrorText(void* handle, wchar_t* text, uint32 errorNumber) {
    std::unique_lock lock(mutex);
    HostCall call{};
    call.function = HostFunction::ErrorText;
    call.handle = handle;
    call.errorNumber = errorNumber;
    Note(std::move(call));
    const Fate fate = Meet(lock, HostFunction::ErrorText);
    if (!fate.fail) {
        const std::wstring whole = L"host error " + std::to_wstring(errorNumber);
        std::wmemcpy(text, whole.c_str(), whole.size() + 1);
    }
}

} // namespace vxcio::test
