// RemoteFile.h - what the library asks of the companion module that reads files by their URL. The module is
// "QLRRemoteFileU.dll" ("QLRRemoteFileU.so" on Linux) beside the library; it is loaded at the first open of a
// URL and stays.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"

// One remote file. Made by the module and freed by it: by its destructor on the usual way, by
// DeleteQLRHttpFile where nobody closed it. One thread at a time drives it. The order of the operations is
// that of the table of virtual functions and stays. None of them throws.
class CQLRHttpFile {
public:
    virtual ~CQLRHttpFile() = default;

    // Opens by the URL. Not 0 on success. Closes what was open before.
    virtual int Open(const wchar_t* name) = 0;
    // Bytes of the file, as they were told at the open; 0 where nothing is open.
    virtual uint64 GetSize() = 0;
    // The position of the next read, counted from the start. The position, or a negative number.
    virtual int64 Seek(uint64 position) = 0;
    // Reads up to so many bytes and waits for them; *got receives how many came, which are fewer at the end
    // of the file and where the connection failed. Not 0 on success; the count alone tells.
    virtual int Read(uint8* buffer, uint32 bytes, uint32* got) = 0;
    virtual void Close() = 0;

protected:
    CQLRHttpFile() = default;
    CQLRHttpFile(const CQLRHttpFile&) = default;
    CQLRHttpFile& operator=(const CQLRHttpFile&) = default;
};

// The two functions that the module offers, under the names "CreateQLRHttpFile" and "DeleteQLRHttpFile". The
// first gives a new object, or null where memory lacks.
using CreateQLRHttpFileFunction = CQLRHttpFile* (*)();
using DeleteQLRHttpFileFunction = void (*)(CQLRHttpFile* file);
