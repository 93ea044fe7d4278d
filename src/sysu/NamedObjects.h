// NamedObjects.h - memory that processes share by name, and programs that they start; for the library above,
// which calls them through its platform tables.
//
// All functions may be called from any thread and never throw. Failures set the last error.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"

namespace vxcio {

// A name lives as long as some process has a handle or a view of it. Names are those of one user: another
// user has others, and no way to these.

// Makes a section of zeroed memory, which is there to the last byte, or opens the one that has the name
// (*existed is 1 then). The handle, or null: 87 for no bytes, 112 where shared memory is full, 5 where
// something of another owner stands in the way.
VXCSOFTCODECSYSU_API void* CreateNamedSection(const wchar_t* name, uint32 bytes, int* existed) noexcept;
// Null with last error 2 where the name is not there.
VXCSOFTCODECSYSU_API void* OpenNamedSection(const wchar_t* name) noexcept;
// The whole section, with zeros of this process behind it up to `least` bytes. *bytes, unless null, gets the
// length of the section. Null for a section without bytes, with *bytes 0, and where addresses lack.
VXCSOFTCODECSYSU_API void* MapSection(void* section, uint32 least, uint64* bytes) noexcept;
// 1 while somebody else, in this process or another one, has opened the section; 0 when this handle and its
// views are all there is, and for what is no handle.
VXCSOFTCODECSYSU_API int SectionHasOthers(void* section) noexcept;
// 1, or 0 for an address that is not the start of a view.
VXCSOFTCODECSYSU_API int UnmapSection(void* address) noexcept;
// 1, or 0 for what is no handle of a section. Views stay.
VXCSOFTCODECSYSU_API int CloseSection(void* section) noexcept;

// Opens an auto-reset event of VXC_CreateEventW with a name. Null with last error 2 where it is not there.
VXCSOFTCODECSYSU_API void* OpenNamedEvent(const wchar_t* name) noexcept;

// Starts the program of a command line: the longest beginning that ends ahead of a blank, or at the end, and
// is a file; or the quoted first word. The other words, split at blanks, are its arguments. It gets this
// process's environment and folder, its standard streams, and no other descriptor. It is waited for, so that
// nothing is left of it when it ends. 1, or 0: 2 where no such file is there, 5 for one that may not be run,
// 193 for one that is no program this system can start.
VXCSOFTCODECSYSU_API int StartProgram(const wchar_t* commandLine, uint32* processId) noexcept;

// The kernel's number of the calling thread, and of the process.
VXCSOFTCODECSYSU_API uint32 ThreadNumber() noexcept;
VXCSOFTCODECSYSU_API uint32 ProcessNumber() noexcept;

} // namespace vxcio
