// SystemLayer.h - the operations on which the whole library stands; the only system calls it knows beside
// the few of platform/.
//
// They keep the semantics of the like-named Windows calls on every system: handles are opaque pointers,
// waits take milliseconds with VXC_INFINITE for no limit, a wait gives the index of the object that was
// signalled or VXC_WAIT_TIMEOUT, and VXC_GetLastError tells the error of the calling thread in Windows
// numbers (PlatformTypes.h). All operations may be called from any thread; none throws. What the names,
// flags and numbers mean on Linux stands in docs/linux.md.
//
//   files    VXC_ReadFile and VXC_WriteFile give nonzero on success; *done may be short at the end of the
//            file, and tells on failure what was moved before. VXC_SetFilePointer gives the low half of the
//            new position and puts the high half into *high, which may be null; 0xFFFFFFFF is a failure
//            when VXC_GetLastError is nonzero as well. VXC_CloseFile ends a handle of VXC_CreateFileW.
//   events   VXC_CloseHandle ends a handle of VXC_CreateEventW or VXC_CreateThread; a wait that goes on
//            with it keeps what it waits for. An auto-reset event with a name is shared by all processes of
//            the user that name it, whatever their width; last error 183 tells that it was there already.
//            A wait for all of several objects takes none of those, and a manual-reset one cannot have a
//            name: error 87.
//   threads  the handle is signalled when the entry function has returned; its exit code is
//            VXC_STILL_ACTIVE until then. A thread is never ended by force.
//   settings VXC_GetGlobalStringW takes in *size the room of value in characters and gives the length.
#pragma once

#include "frame/Export.h"
#include "frame/PlatformTypes.h"
#include "frame/Types.h"

extern "C" {

#define VXC_OPERATION(result, name, failure, blocks, parameters, arguments)                                  \
    VXCSOFTCODECSYSU_API result name parameters noexcept;
#define VXC_OPERATION_VOID(name, blocks, parameters, arguments)                                              \
    VXCSOFTCODECSYSU_API void name parameters noexcept;
#include "frame/SystemLayer.def"
#undef VXC_OPERATION
#undef VXC_OPERATION_VOID

// A log line, formatted with the Windows meaning of the directives (%s is wide, %S narrow) and cut at 8191
// characters; not formatted at all when nobody listens at its level.
VXCSOFTCODECSYSU_API void VXC_OutputW(const wchar_t* module, INFOTYPE level, const wchar_t* format,
                                      ...) noexcept;
// The same with the place in the source.
VXCSOFTCODECSYSU_API void VXC_Output_FromW(const wchar_t* module, const char* file, int line, INFOTYPE level,
                                           const wchar_t* format, ...) noexcept;
// A plain line of the trace (level 8), and of an error (level 1).
VXCSOFTCODECSYSU_API void VXCMSGW(const wchar_t* module, const wchar_t* text) noexcept;
VXCSOFTCODECSYSU_API void VXCERRORW(const wchar_t* module, const wchar_t* text) noexcept;

} // extern "C"
