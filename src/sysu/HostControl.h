// HostControl.h - what a host decides about the system layer: who reads the log, where settings are kept;
// and what it may ask it about disks.
//
// All functions may be called from any thread, also before VXCSoftCodecIO is loaded, and never throw.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"

namespace vxcio {

// ---- the log ------------------------------------------------------------------------------------------

// Gets one whole formatted line; no line end is added, but some texts carry one. Called on the thread that
// logs, several at a time, also from threads that were abandoned on a dead disk; it must not throw. What it
// logs itself is dropped. The texts live only for the call.
using LogReceiver = void (*)(void* context, INFOTYPE level, const wchar_t* module, const wchar_t* text);

// Makes `receiver` the one listener of all lines of level `highest` and below; null ends listening. The
// log is silent until the first call. When this returns, the former receiver does not run any more and
// will not be called again, unless the call came from within it.
VXCSOFTCODECSYSU_API void SetLogReceiver(LogReceiver receiver, void* context, INFOTYPE highest) noexcept;

// Nonzero when somebody listens at this level.
VXCSOFTCODECSYSU_API int IsLogRead(INFOTYPE level) noexcept;

// ---- settings -----------------------------------------------------------------------------------------

// Settings stand in two text files, the machine's and the user's; where both have a value, the user's
// wins. docs/formats/settings.md tells the format and the places.

enum SettingsFile : int {
    SETTINGS_FILE_MACHINE = 0,
    SETTINGS_FILE_USER = 1,
};

// From now on `file` is the only settings file, for reading and writing (SettingsFileName names it for
// both); null goes back to the two standard ones. The name is copied. 1, or 0 when memory lacks.
VXCSOFTCODECSYSU_API int UseSettingsFile(const wchar_t* file) noexcept;

// The file in use. The length of the name, which is cut to `characters` with its terminating zero; 0 when
// there is none (a user without a home folder).
VXCSOFTCODECSYSU_API int SettingsFileName(SettingsFile which, wchar_t* name, int characters) noexcept;

// One value as text. `section` is the whole path of the section, "Software\Norvex\SoftCodec". The text is
// cut to `characters` with its terminating zero; its length as it was copied, or -1 when there is no such
// value; then `value` is left alone. `from`, if not null, tells which file gave it.
VXCSOFTCODECSYSU_API int ReadSettingText(const wchar_t* section, const wchar_t* name, wchar_t* value,
                                         int characters, SettingsFile* from) noexcept;

// Sets or removes one value in the user's file (or the one of UseSettingsFile); other lines and comments of
// the file stay. The new file replaces the old one whole or not at all. 0 on success, otherwise a
// last-error number; removing what is not there gives 2. Folders are made for the user's file alone: 3 where
// that of a named file is missing. What would not read back as it was set gives 87:
// line ends, an empty section or name, blanks at the end of one, ']' in a section, '=' in a name or '[', ';'
// or '#' at its start. Blanks around a value are lost.
VXCSOFTCODECSYSU_API uint32 WriteSettingText(const wchar_t* section, const wchar_t* name,
                                             const wchar_t* value) noexcept;
VXCSOFTCODECSYSU_API uint32 RemoveSetting(const wchar_t* section, const wchar_t* name) noexcept;

// Calls `visit` for each value that is set, with the winning file, until it returns 0. The number of calls.
using SettingVisitor = int (*)(void* context, const wchar_t* section, const wchar_t* name,
                               const wchar_t* value, SettingsFile from);
VXCSOFTCODECSYSU_API int VisitSettings(SettingVisitor visit, void* context) noexcept;

// ---- questions to the user ----------------------------------------------------------------------------

// Answers a question to the user as a message box would: kind 4 is one with yes and no, the answers to which
// are 6 and 7. Called on the thread that asks, which waits for the answer; it may take any time.
using PromptFunction = int (*)(void* context, const wchar_t* text, const wchar_t* caption, uint32 kind);

inline constexpr int kPromptYes = 6;
inline constexpr int kPromptNo = 7;

// From now on `answer` gets all questions of the library; null takes it away. Without one they are asked in a
// message box where the system has windows, and answered with no where it has none. It may be called for a
// question that came before, until that has its answer.
VXCSOFTCODECSYSU_API void SetPrompt(PromptFunction answer, void* context) noexcept;

// Asks such a question.
VXCSOFTCODECSYSU_API int AskUser(const wchar_t* text, const wchar_t* caption, uint32 kind);

// ---- disks --------------------------------------------------------------------------------------------

// What lies under a name. Sizes in bytes; 0 where the system does not tell.
struct DiskFacts {
    uint32 driveType;    // VXC_DRIVE_...
    uint32 sectorSize;   // what positions and sizes of unbuffered transfers must divide by
    uint32 directMemory; // alignment of memory that direct transfer asks for
    uint32 directOffset; // alignment of positions and sizes that direct transfer asks for
    char fileSystem[16]; // short name of the kind of file system, "ext4"; "?" when not known
};

// Asks about the file, or where it is not there the nearest folder above it. 1, or 0 with *facts zeroed
// when there is no such root (a drive or share that is mapped nowhere). May block on a dead disk.
VXCSOFTCODECSYSU_API int QueryDisk(const wchar_t* name, DiskFacts* facts) noexcept;

// ---- shares of other machines ------------------------------------------------------------------------

// The share that a drive letter leads to, "\\server\share": the one that the settings name for it, else the
// mounted share on which the folder of the letter lies. The length of the name, which is cut to `characters`
// with its terminating zero; 0 when it leads to none, and `name` is left alone.
VXCSOFTCODECSYSU_API int DriveShareName(wchar_t letter, wchar_t* name, int characters) noexcept;

// Calls `visit` for each mounted share, "\\server\share", and the folder where it is mounted, until it
// returns 0. The number of calls.
using ShareMountVisitor = int (*)(void* context, const wchar_t* share, const wchar_t* folder);
VXCSOFTCODECSYSU_API int VisitShareMounts(ShareMountVisitor visit, void* context) noexcept;

} // namespace vxcio
