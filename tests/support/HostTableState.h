// HostTableState.h - files, handles and plans of a host table, behind its functions. Inner header of
// HostTable.
#pragma once

#include "support/HostFile.h"
#include "support/HostTable.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vxcio::test {

// A table's functions get no context beyond the handle, and a failed open leads to calls with the handle -1;
// so each host table has functions of its own out of a stock (HostTable.cpp), which lead here.
//
// Any thread may call everything. A gate is never passed under the mutex. Handles are addresses of Handle
// objects that live as long as the state, so that a closed one is known as such and never met again.
class HostTable::State {
public:
    void* Open(const wchar_t* name, uint32 flags, uint32* errorNumber);
    uint64 Read(void* handle, void* buffer, uint32 bytes, uint32* bytesRead);
    uint32 SetFilePointer(void* handle, uint32 low, int32* high, uint32 method, uint32* errorNumber);
    uint64 GetFileSize(void* handle, uint32* errorNumber);
    uint64 Write(void* handle, const void* buffer, uint32 bytes, uint32* bytesWritten);
    uint64 SetEndofFile(void* handle);
    uint64 CloseFile(void* handle);
    void ErrorText(void* handle, wchar_t* text, uint32 errorNumber);

    struct Rule {
        HostFunction function;
        int nth;
        bool fromThenOn;
        bool afterEffect;
        uint32 error;
        std::shared_ptr<Gate::State> gate; // null: a failure
        int calls = 0;
    };

    struct Handle {
        std::shared_ptr<HostFile> file;
        uint64 position = 0;
        bool open = true;
    };

    mutable std::mutex mutex;
    // Guarded by mutex.
    std::map<std::wstring, std::shared_ptr<HostFile>> files;
    std::vector<std::unique_ptr<Handle>> handles;
    std::vector<Rule> rules;
    std::vector<HostCall> log;
    uint32 mostRead = VXC_INFINITE;
    uint32 mostWritten = VXC_INFINITE;
    uint32 extra = 0;
    int closedInvalid = 0;

private:
    struct Fate {
        bool fail = false;
        bool afterEffect = false;
        uint32 error = 0;
    };

    // Counts the call against the rules and stands at their gates; the lock is given up meanwhile.
    Fate Meet(std::unique_lock<std::mutex>& lock, HostFunction function);
    Handle* Find(void* handle);
    void Note(HostCall call);
};

} // namespace vxcio::test
