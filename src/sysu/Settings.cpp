// The settings store as hosts and the logic see it. Nothing throws from here, and where memory lacks a
// setting counts as absent.
#include "frame/SystemLayer.h"
#include "sysu/HostControl.h"
#include "sysu/SettingsPlaces.h"
#include "sysu/SettingsStore.h"
#include "text/Utf8.h"

#include <algorithm>
#include <cwchar>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

using namespace vxcio;
using namespace vxcio::sysu;

namespace {

// Never destroyed: threads that outlive the program's end may still read settings.
union StoreHolder {
    struct Present {
        std::mutex mutex;
        std::shared_ptr<SettingsStore> store; // guarded by mutex; null before the first use
    } present;
    constexpr StoreHolder() : present() {}
    ~StoreHolder() {}
};
constinit StoreHolder s_holder;

std::shared_ptr<SettingsStore> Store() {
    {
        const std::lock_guard lock(s_holder.present.mutex);
        if (s_holder.present.store) {
            return s_holder.present.store;
        }
    }
    // Outside the lock, as the account's home folder may come from a directory server.
    auto standard =
        std::make_shared<SettingsStore>(MachineSettingsFile(), UserSettingsFile(), MissingFolders::Make);
    const std::lock_guard lock(s_holder.present.mutex);
    if (!s_holder.present.store) {
        s_holder.present.store = std::move(standard);
    }
    return s_holder.present.store;
}

std::string Narrow(const wchar_t* text) {
    return text == nullptr ? std::string() : ToUtf8(text);
}

std::shared_ptr<SettingsStore> MakeStore(const wchar_t* machineFile, const wchar_t* userFile,
                                         MissingFolders missing) {
    return std::make_shared<SettingsStore>(AbsoluteName(Narrow(machineFile)), AbsoluteName(Narrow(userFile)),
                                           missing);
}

// Null for the standard places.
void Replace(std::shared_ptr<SettingsStore> store) {
    const std::lock_guard lock(s_holder.present.mutex);
    s_holder.present.store.swap(store); // the former one is freed after the lock
}

// The heading of a section; an empty path stands for none.
std::string Heading(const wchar_t* path, const wchar_t* section) {
    const std::string front = Narrow(path);
    return front.empty() ? Narrow(section) : front + "\\" + Narrow(section);
}

// Cut to the capacity and terminated; the length of what was copied.
int CopyOut(std::wstring_view text, wchar_t* target, int capacity) noexcept {
    if (target == nullptr || capacity <= 0) {
        return 0;
    }
    const std::size_t length = std::min(text.size(), static_cast<std::size_t>(capacity) - 1);
    std::wmemcpy(target, text.data(), length);
    target[length] = 0;
    return static_cast<int>(length);
}

std::optional<SettingsStore::Value> Find(const std::string& section, const wchar_t* name) {
    if (section.empty() || name == nullptr || *name == 0) {
        return std::nullopt;
    }
    return Store()->Read(section, Narrow(name));
}

// What a failed call inside gave as a number.
template <class Body>
uint32 Guarded(const Body& body) noexcept {
    try {
        return body();
    } catch (...) {
        return VXC_ERROR_NOT_ENOUGH_MEMORY;
    }
}

} // namespace

int VXC_GetGlobalIntW(const wchar_t* path, const wchar_t* section, const wchar_t* name, uint32* value,
                      int /*reserved*/) noexcept {
    if (value == nullptr) {
        return 0;
    }
    try {
        const auto found = Find(Heading(path, section), name);
        return found && ParseSettingNumber(found->text, *value) ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

int VXC_GetGlobalStringW(const wchar_t* path, const wchar_t* section, const wchar_t* name, wchar_t* value,
                         int* size, int /*reserved*/) noexcept {
    if (value == nullptr || size == nullptr || *size <= 0) {
        return 0;
    }
    try {
        const auto found = Find(Heading(path, section), name);
        if (!found) {
            return 0;
        }
        *size = CopyOut(FromUtf8(found->text), value, *size);
        return 1;
    } catch (...) {
        return 0;
    }
}

namespace vxcio {

int UseSettingsFile(const wchar_t* file) noexcept {
    try {
        Replace(file == nullptr ? nullptr : MakeStore(L"", file, MissingFolders::Refuse));
        return 1;
    } catch (...) {
        return 0;
    }
}

int sysu::UseSettingsPlaces(const wchar_t* machineFile, const wchar_t* userFile) noexcept {
    try {
        Replace(MakeStore(machineFile, userFile, MissingFolders::Make));
        return 1;
    } catch (...) {
        return 0;
    }
}

int SettingsFileName(SettingsFile which, wchar_t* name, int characters) noexcept {
    if (which != SETTINGS_FILE_MACHINE && which != SETTINGS_FILE_USER) {
        return 0;
    }
    try {
        const auto store = Store();
        const std::string& own = store->FileName(which);
        // One file for both is kept as the user's.
        const bool isOnlyFile = which == SETTINGS_FILE_MACHINE && own.empty();
        return CopyOut(FromUtf8(isOnlyFile ? store->FileName(SETTINGS_FILE_USER) : own), name, characters);
    } catch (...) {
        return 0;
    }
}

int ReadSettingText(const wchar_t* section, const wchar_t* name, wchar_t* value, int characters,
                    SettingsFile* from) noexcept {
    try {
        const auto found = Find(Narrow(section), name);
        if (!found) {
            return -1;
        }
        const int length = CopyOut(FromUtf8(found->text), value, characters);
        if (from != nullptr) {
            *from = found->from;
        }
        return length;
    } catch (...) {
        return -1;
    }
}

uint32 WriteSettingText(const wchar_t* section, const wchar_t* name, const wchar_t* value) noexcept {
    if (value == nullptr) {
        return VXC_ERROR_INVALID_PARAMETER;
    }
    return Guarded([&] { return Store()->Write(Narrow(section), Narrow(name), ToUtf8(value)); });
}

uint32 RemoveSetting(const wchar_t* section, const wchar_t* name) noexcept {
    return Guarded([&] { return Store()->Remove(Narrow(section), Narrow(name)); });
}

int VisitSettings(SettingVisitor visit, void* context) noexcept {
    if (visit == nullptr) {
        return 0;
    }
    int calls = 0;
    try {
        Store()->Visit([&](const SettingKeyLess::Key& key, const SettingsStore::Value& value) {
            const std::wstring section = FromUtf8(key.first);
            const std::wstring name = FromUtf8(key.second);
            const std::wstring text = FromUtf8(value.text);
            ++calls;
            return visit(context, section.c_str(), name.c_str(), text.c_str(), value.from) != 0;
        });
    } catch (...) {
        return calls;
    }
    return calls;
}

} // namespace vxcio
