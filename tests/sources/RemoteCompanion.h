// RemoteCompanion.h - the companion module of the tests (module/CompanionModule.cpp), whose objects read one
// file in memory, note what is asked of them and go wrong as they are told.
#pragma once

#include "frame/ModuleValues.h"
#include "frame/SystemLayer.h"
#include "sources/RemoteModule.h"
#include "sources/module/CompanionModule.h"
#include "support/ForwardingLayer.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vxcio::test {

// The library finds it from its construction to its destruction, and loads it anew at the first need. One of
// another variant within its life takes its place. Any thread may use the objects.
class RemoteCompanion {
public:
    // "whole", "no_create", "no_delete"; with any other name there is no module.
    explicit RemoteCompanion(const std::string& variant = "whole") {
        std::copy(std::begin(Module().szModuleDirectory), std::end(Module().szModuleDirectory),
                  std::begin(m_formerDirectory));
        UseDirectory(std::filesystem::path(VXC_TEST_LIBRARY_DIR "/remote/" + variant).wstring());
        ForgetRemoteModule();
        s_current = this;
        // Kept loaded, as the library keeps it.
        if (void* const module = real::VXC_LoadModuleExW(Path().c_str(), 0, 8)) {
            m_hooks =
                reinterpret_cast<CompanionHooksFunction>(real::VXC_GetFunction(module, "Companion_Hooks"))();
            *m_hooks = {Create, Release};
        }
    }
    ~RemoteCompanion() {
        if (m_hooks != nullptr) {
            *m_hooks = {};
        }
        s_current = m_former;
        ForgetRemoteModule();
        std::copy(std::begin(m_formerDirectory), std::end(m_formerDirectory),
                  std::begin(Module().szModuleDirectory));
    }
    RemoteCompanion(const RemoteCompanion&) = delete;
    RemoteCompanion& operator=(const RemoteCompanion&) = delete;

    static void UseDirectory(const std::wstring& folder) {
        *std::copy(folder.begin(), folder.end(), Module().szModuleDirectory) = 0;
    }
    // What the library is to ask the system for.
    static std::wstring Path() { return std::wstring(Module().szModuleDirectory) + L"\\QLRRemoteFileU.dll"; }

    // What the file holds, and the size that is told where it is another.
    std::vector<uint8> content;
    std::optional<uint64> size;
    // The count that a read tells, from what was asked and what was read.
    std::function<uint32(uint32 bytes, uint32 got)> told;
    // What a read that did not fail gives, beside the count.
    int readResult = 1;
    // Also logs what is noted.
    bool talks = false;

    // The n-th question from now on that begins with this word goes wrong, and with `fromThenOn` all behind
    // it: an open, seek, read or creation fails, a size is 0; or it throws. The empty word means every
    // question.
    void Break(std::string word, bool throws, int nth = 1, bool fromThenOn = false) {
        const std::lock_guard lock(m_mutex);
        m_break = {std::move(word), throws, nth, fromThenOn, 0};
    }
    // How many did.
    int Broken() const {
        const std::lock_guard lock(m_mutex);
        const int reached = m_break.nth == 0 ? 0 : std::max(0, m_break.seen - m_break.nth + 1);
        return m_break.fromThenOn ? reached : std::min(reached, 1);
    }

    // "create", "open NAME", "size", "seek 5", "read 10", "close", "destroyed", "given back", in order; and
    // where the reads went to.
    std::vector<std::string> Calls() const {
        const std::lock_guard lock(m_mutex);
        return m_calls;
    }
    std::vector<const uint8*> Targets() const {
        const std::lock_guard lock(m_mutex);
        return m_targets;
    }
    void Clear() {
        const std::lock_guard lock(m_mutex);
        m_calls.clear();
        m_targets.clear();
    }
    // Objects that were not freed.
    int Alive() const {
        const std::lock_guard lock(m_mutex);
        return m_alive;
    }

private:
    struct Fault {
        std::string word;
        bool throws;
        int nth; // 0: none
        bool fromThenOn;
        int seen;
    };

    class File final : public CQLRHttpFile {
    public:
        explicit File(RemoteCompanion& companion) : m_companion(companion) { m_companion.CountObject(1); }
        ~File() override {
            m_companion.Note("destroyed");
            m_companion.CountObject(-1);
        }
        int Open(const wchar_t* name) override {
            m_isOpen = m_companion.Ask("open " + std::filesystem::path(name).string());
            return m_isOpen ? 1 : 0;
        }
        uint64 GetSize() override {
            const bool isTold = m_companion.Ask("size") && m_isOpen;
            return isTold ? m_companion.size.value_or(m_companion.content.size()) : 0;
        }
        int64 Seek(uint64 position) override {
            if (!m_companion.Ask("seek " + std::to_string(position)) || !m_isOpen) {
                return -1;
            }
            m_position = position;
            return static_cast<int64>(position & 0x7FFFFFFFFFFFFFFF);
        }
        int Read(uint8* buffer, uint32 bytes, uint32* got) override {
            m_companion.NoteTarget(buffer);
            if (!m_companion.Ask("read " + std::to_string(bytes)) || !m_isOpen) {
                return 0; // the count is left alone
            }
            const uint64 whole = m_companion.content.size();
            const uint64 from = std::min(m_position, whole);
            const auto count = static_cast<uint32>(std::min<uint64>(bytes, whole - from));
            if (count != 0) {
                std::memcpy(buffer, m_companion.content.data() + from, count);
            }
            m_position += count;
            *got = m_companion.told ? m_companion.told(bytes, count) : count;
            return m_companion.readResult;
        }
        void Close() override { m_companion.Ask("close"); }

    private:
        RemoteCompanion& m_companion;
        uint64 m_position = 0;
        bool m_isOpen = false;
    };

    static CQLRHttpFile* Create() { return s_current->Ask("create") ? new File(*s_current) : nullptr; }
    static void Release(CQLRHttpFile* file) {
        const std::unique_ptr<CQLRHttpFile> owner(file);
        s_current->Ask("given back");
    }

    void Note(const std::string& call) {
        const std::lock_guard lock(m_mutex);
        m_calls.push_back(call);
        if (talks) {
            VXC_OutputW(L"Companion", INFOTYPE_TRACE, L"%S", call.c_str());
        }
    }
    void NoteTarget(const uint8* buffer) {
        const std::lock_guard lock(m_mutex);
        m_targets.push_back(buffer);
    }
    void CountObject(int more) {
        const std::lock_guard lock(m_mutex);
        m_alive += more;
    }

    // False where the question is to fail.
    bool Ask(const std::string& call) {
        Note(call);
        const std::lock_guard lock(m_mutex);
        if (m_break.nth == 0 || !call.starts_with(m_break.word)) {
            return true;
        }
        ++m_break.seen;
        const bool goesWrong =
            m_break.seen == m_break.nth || (m_break.fromThenOn && m_break.seen > m_break.nth);
        if (goesWrong && m_break.throws) {
            throw std::runtime_error(call);
        }
        return !goesWrong;
    }

    static inline RemoteCompanion* s_current = nullptr;

    RemoteCompanion* const m_former = s_current;
    wchar_t m_formerDirectory[std::size(ModuleValues{}.szModuleDirectory)];
    CompanionHooks* m_hooks = nullptr;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_calls; // guarded by m_mutex, as all behind it
    std::vector<const uint8*> m_targets;
    Fault m_break = {};
    int m_alive = 0;
};

} // namespace vxcio::test
