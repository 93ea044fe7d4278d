// HostTable.h - a host's own file functions, as the library meets them in a tagged name: they count, fail,
// come up short, claim too much and hang as a test tells them.
//
//   HostTable host(L"clip.mxf", Pattern(100'000, 1));
//   source.OpenFile(host.Tagged().c_str(), ...);
//   EXPECT_EQ(host.Calls(HostFunction::Read), 1);
#pragma once

#include "filehandle/CallerFileFunctions.h"
#include "support/Gate.h"

#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace vxcio::test {

enum class HostFunction : int {
    Open,
    Read,
    SetFilePointer,
    GetFileSize,
    Write,
    SetEndofFile,
    CloseFile,
    ErrorText
};
const char* HostFunctionName(HostFunction function);

// One call of one function, as it came in. What a function does not take is 0 or empty.
struct HostCall {
    HostFunction function;
    void* handle;       // null for Open
    std::wstring name;  // Open
    uint32 flags;       // Open
    uint32 bytes;       // Read, Write
    uint64 position;    // where the file stood when the call came
    int64 distance;     // SetFilePointer
    uint32 method;      // SetFilePointer
    uint32 errorNumber; // ErrorText
    std::thread::id thread;
};

// The files lie in memory or on a disk. A host table may go while the library still has calls in flight or
// handles open: those then fail with error 6. At most 32 are alive at one time. Any thread may call the
// functions below.
class HostTable {
public:
    class State; // its inner side (HostTableState.h)

    // The table knows one file in memory, or one on the disk under the name `name`.
    explicit HostTable(const std::wstring& name = L"host.mxf", std::vector<uint8> content = {});
    HostTable(const std::wstring& name, const std::filesystem::path& file);
    ~HostTable();
    HostTable(const HostTable&) = delete;
    HostTable& operator=(const HostTable&) = delete;

    // One file more. Opening any other name gives error 2.
    void AddFile(const std::wstring& name, std::vector<uint8> content);
    void AddFile(const std::wstring& name, const std::filesystem::path& file);

    // The table to pack into a name; its members may be changed before the library copies it.
    IOCallbackSet& Table() { return *m_table; }
    // Frees the table itself, as a host may do after the open; the functions go on.
    void FreeTable() { m_table.reset(); }
    // Name + address of the table as 16 upper-case digits + VXCIO8. The first file's name, or another.
    std::wstring Tagged() const;
    std::wstring Tagged(const std::wstring& name) const;

    // The n-th call from now on, counted from 1 (and all that follow, where `fromThenOn`), does nothing and
    // gives this error. pfnErrorText's text of it is "host error <number>". Open gives the handle -1 then,
    // SetFilePointer 0xFFFFFFFF, the counts are 0.
    void Fail(HostFunction function, uint32 error, int nth = 1, bool fromThenOn = false);
    // The same, and the work is done all the same: the file moves, the count tells, the open file stays open
    // and its handle is given.
    void FailAfterEffect(HostFunction function, uint32 error, int nth = 1, bool fromThenOn = false);
    // The n-th call from now on stands at the gate before it does anything.
    void Hold(HostFunction function, const Gate& gate, int nth = 1, bool fromThenOn = false);
    // From now on a read, or a write, moves at most so many bytes; VXC_INFINITE ends that.
    void ShortenReads(uint32 most);
    void ShortenWrites(uint32 most);
    // From now on the counts that reads and writes tell are so much bigger than what was moved.
    void ClaimMore(uint32 extra);

    int Calls(HostFunction function) const;
    std::vector<HostCall> Log() const;
    // The functions of Log() alone, without ErrorText.
    std::vector<HostFunction> Order() const;
    void ClearLog();

    // Handles that were opened and not closed, and closings of -1, which a failed open leads to.
    int OpenHandles() const;
    int ClosedInvalid() const;

    // What stands in the file; empty where there is none of that name.
    std::vector<uint8> Content() const;
    std::vector<uint8> Content(const std::wstring& name) const;

private:
    const std::wstring m_name;
    const std::shared_ptr<State> m_state; // calls in flight hold it too
    const int m_slot;
    std::unique_ptr<IOCallbackSet> m_table;
};

} // namespace vxcio::test
