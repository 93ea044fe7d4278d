// NetworkNames.h - what this machine shares, which shares its drives and folders lead to, and what its
// network is called, behind a table that tests replace.
//
// Texts that come out are cut to the room, with their terminating zero; nothing of them counts where the call
// fails. Any thread; the calls that may wait for a disk or the network are marked.
#pragma once

#include "frame/Types.h"

namespace vxcio {

// Receives names one by one; the text lives only for the call.
using TakeRemoteName = void (*)(void* context, const wchar_t* remoteName);
using TakeSharedFolder = void (*)(void* context, const wchar_t* remoteName, const wchar_t* localName);

// The kinds of a value that matter here.
inline constexpr uint32 kValueString = 1;
inline constexpr uint32 kValueNumber = 4;

struct NetworkNameTable {
    // Name of this machine. Its length; 0 on failure.
    int (*computerName)(wchar_t* name, int characters);

    // The shares of a computer ("\\NAME"). Null where they cannot be listed. Each call of nextShares gives
    // some remote names ("\\NAME\share") to `take`; not 0 when there are no more of them, or it failed.
    void* (*openShares)(const wchar_t* computer);                        // may wait
    int (*nextShares)(void* shares, TakeRemoteName take, void* context); // may wait
    void (*closeShares)(void* shares);

    // How this machine's shares are set up. The record of a share is a list of texts "Name=value" of 16-bit
    // units, low byte first, each with a zero behind it; *bytes is the room in `record` and receives the
    // length. 0 for success; what does not fit fails.
    void* (*openShareRecords)(); // may wait; null where there are none
    int (*shareRecord)(void* records, const wchar_t* share, uint8* record, uint32* bytes);
    void (*closeShareRecords)(void* records);

    // The share that a drive ("Z:") leads to. The length of its name; 0 for a drive that leads to none.
    int (*driveConnection)(const wchar_t* drive, wchar_t* remoteName, int characters); // may wait

    // Shares that lead to folders and have no drive letter.
    void (*mountedShares)(TakeSharedFolder take, void* context); // may wait

    // The drives that are local whatever they lead to: named values, by their number from 0 on. 0 for
    // success, not 0 at the end; `type` and the first four bytes of the value, low byte first, as `number`.
    void* (*openSpecialDrives)(); // may wait; null where there are none
    int (*specialDrive)(void* drives, uint32 index, wchar_t* name, int characters, uint32* type,
                        uint32* number);
    void (*closeSpecialDrives)(void* drives);

    // The network that a workstation belongs to: the name that it has there, the list of providers, the name
    // of the one for the kind 0x20000, and what stands above a computer ("\\NAME") there. Lengths; 0 on
    // failure. openProviders: null where there are none.
    int (*workstationName)(wchar_t* name, int characters); // may wait
    void* (*openProviders)();                              // may wait
    int (*providerName)(void* providers, wchar_t* name, int characters);
    int (*resourceParent)(void* providers, const wchar_t* computer, const wchar_t* provider, wchar_t* parent,
                          int characters); // may wait
    void (*closeProviders)(void* providers);
};

NetworkNameTable& NetworkNames() noexcept;

} // namespace vxcio
