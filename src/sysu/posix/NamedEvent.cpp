#include "sysu/posix/NamedEvent.h"

#include "frame/PlatformTypes.h"
#include "sysu/LastError.h"
#include "sysu/posix/Futex.h"
#include "sysu/posix/WithMemory.h"

#include <cerrno>
#include <new>
#include <optional>
#include <sys/mman.h>
#include <unistd.h>

namespace vxcio::sysu {

namespace {

bool WriteFirstWords(int descriptor, bool signalled) noexcept {
    const uint32 words[] = {kSharedEventMagic, kSharedEventVersion, signalled ? 1U : 0U, 0};
    return pwrite(descriptor, words, sizeof words, 0) == static_cast<ssize_t>(sizeof words);
}

bool BeginSignalled(int descriptor) noexcept {
    return WriteFirstWords(descriptor, true);
}

bool BeginClear(int descriptor) noexcept {
    return WriteFirstWords(descriptor, false);
}

// The handle of an open file.
void* Take(std::optional<SharedFile>&& file) {
    if (!file.has_value()) {
        return nullptr;
    }
    if (file->bytes < sizeof(SharedEventWords)) {
        SetLastError(VXC_ERROR_INVALID_HANDLE);
        return nullptr;
    }
    void* const memory =
        mmap(nullptr, sizeof(SharedEventWords), PROT_READ | PROT_WRITE, MAP_SHARED, file->Descriptor(), 0);
    if (memory == MAP_FAILED) {
        SetLastSystemError(errno);
        return nullptr;
    }
    auto& words = *static_cast<SharedEventWords*>(memory);
    NamedEvent* event = nullptr;
    const bool whole = words.magic.load() == kSharedEventMagic && words.version.load() == kSharedEventVersion;
    if (whole) {
        event = new (std::nothrow) NamedEvent(std::move(*file), words);
    }
    if (event == nullptr) {
        munmap(memory, sizeof(SharedEventWords));
        SetLastError(whole ? VXC_ERROR_NOT_ENOUGH_MEMORY : VXC_ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return event;
}

// Sets the last error of a success.
void* Succeeded(void* handle, uint32 error) noexcept {
    if (handle != nullptr) {
        SetLastError(error);
    }
    return handle;
}

} // namespace

constinit thread_local PartnerGuess t_partner;

NamedEvent::~NamedEvent() {
    munmap(&words, sizeof words);
}

void* MakeNamedEvent(const wchar_t* name, bool signalled) noexcept {
    return WithMemory([&] {
        std::optional<SharedFile> file =
            CreateShared(name, SharedKind::Event, kSharedEventBytes, signalled ? BeginSignalled : BeginClear);
        const bool existed = file.has_value() && file->existed;
        return Succeeded(Take(std::move(file)), existed ? VXC_ERROR_ALREADY_EXISTS : VXC_ERROR_SUCCESS);
    });
}

void* OpenEventOf(const wchar_t* name) noexcept {
    return WithMemory(
        [&] { return Succeeded(Take(OpenShared(name, SharedKind::Event)), VXC_ERROR_SUCCESS); });
}

void SignalNamed(NamedEvent& event) noexcept {
    // Who is freed by the signal may close the handle before the waiters are looked at.
    AddReference(event);
    event.words.state.exchange(1);
    const bool sleepers = event.words.waiters.load() != 0;
    t_partner.HasSignalled(sleepers);
    if (sleepers) {
        FutexWakeOne(&event.words.state, FutexScope::Machine);
    }
    DropReference(event);
}

void UnsignalNamed(NamedEvent& event) noexcept {
    event.words.state.exchange(0);
}

} // namespace vxcio::sysu
