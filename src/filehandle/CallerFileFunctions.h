// CallerFileFunctions.h - a host's own file functions under the library, for one file, packed into its name.
//
// A tagged name is the plain name, the address of the table as 16 upper-case hexadecimal digits (8 are
// understood too), and the tag "VXCIO8" ("VXCIO4"):
//
//   clip.mxf 00007FFE12345678 VXCIO8          (without the blanks)
//
// Name and table travel as one string through everything that hands names on; only the file handle takes
// them apart.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"
#include "frame/VXCString.h"

// Eleven functions, in this order. An error number is 0 on success; where it is the result it stands in the
// low 32 bits. They are called one at a time per open file, on the thread that uses the file or on worker
// threads, and must not throw. The table must stay until the file was opened; the functions until it was
// closed. Members that are null fail the operation that needs them; a null pfnErrorText gives empty texts.
struct IOCallbackSet {
    // Opens the plain name with the caller's flags.
    void* (*pfnOpen)(const wchar_t* fileName, uint32 flagsAndAttributes, uint32* errorNumber);
    uint64 (*pfnRead)(void* handle, void* buffer, uint32 bytes, uint32* bytesRead);
    // Gives the low half of the new position, the high half in *high. Methods 0 start, 1 current, 2 end.
    uint32 (*pfnSetFilePointer)(void* handle, uint32 low, int32* high, uint32 method, uint32* errorNumber);
    uint64 (*pfnGetFileSize)(void* handle, uint32* errorNumber);
    uint64 (*pfnWrite)(void* handle, const void* buffer, uint32 bytes, uint32* bytesWritten);
    void* pfnReserved6; // not called
    uint64 (*pfnSetEndofFile)(void* handle);
    uint64 (*pfnCloseFile)(void* handle);
    void* pfnReserved9; // not called
    // Puts the text of an error into a cleared buffer of 512 characters.
    void (*pfnErrorText)(void* handle, wchar_t* text, uint32 errorNumber);
    void* pfnReserved11; // not called
};

// The tagged name for a plain one; empty when memory lacks.
VXCSOFTCODECIO_API CVXCString ADDVXCIOID(const wchar_t* fileName, void* table);

// The plain name of a tagged one; *table, if given, receives the address of the table, or null for a name
// without a tag. The address is not tested.
VXCSOFTCODECIO_API CVXCString DELVXCIOID(const wchar_t* name, void** table);

// The same into a buffer: 1 when the plain name was copied, 0 when it is empty or longer than capacity.
// A name as long as capacity is copied too: buffer has room for capacity + 1 characters.
VXCSOFTCODECIO_API int DELVXCIOID_1(const wchar_t* name, void** table, wchar_t* buffer, uint32 capacity);
