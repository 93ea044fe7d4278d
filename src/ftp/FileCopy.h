// FileCopy.h - copies of one file between a local path and an FTP server (RFC 959), with questions to the
// user and reports.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"

// The codes of the reports. `total` and `done` are 0 where nothing else is said.
inline constexpr int VXC_COPY_STATUS = 21; // a line of text for the user
inline constexpr int VXC_COPY_PROGRESS =
    23;                                     // a block is through; total is the size of the source, text empty
inline constexpr int VXC_COPY_REFUSED = 24; // the copy cannot begin; text tells why
inline constexpr int VXC_COPY_ENDED = 25;   // the copy has ended, with total and done; text may be empty
inline constexpr int VXC_COPY_BEGINS = 26;  // the transfer begins; text empty

// Copies `remotePath` to `localPath`, or with `upload` other than 0 the other way; on the calling thread, in
// blocks of 1 MiB. mode to port are those of CSoftDataIO::Connect.
//
//   cancel    may be null. Another thread sets the int to anything but 0: before its next block the copy ends
//             with a report and the result 0. Read as an atomic
//   callback  may be null; called on this thread with `context`. What it throws comes through, with
//             everything closed
//   resume    in FTPMODE_NORMAL alone: the data goes to the target's name with ".qlqlql" behind it, and is
//             renamed when it is whole, else stays. A file of that name is written anew all the same
//   passive   is told to the session by SetPASVMode; the source of a download is passive in FTPMODE_NORMAL
//             whatever is asked
//
// A target that exists is asked about, and so is a file of the temporary name (SetPrompt in HostControl.h,
// caption "Prunikupige"); a no to the first ends the copy with nothing changed, a no to the second deletes
// the temporary file. The target is deleted before anything is written.
//
// 0 for a copy that has ended, also one that was cancelled or is short: the last report tells, where done is
// total for a whole one. A server that tells no size makes total 0. 1 where the user does not want to
// overwrite; the status of Connect, OpenFile or the sink's CloseFile; 0x80000107 after a failed read;
// 0x80000100 where memory lacks. Whole means that the sink took all bytes: a disk that fails behind the last
// write, as it may with unbuffered files, shows nowhere here. Who must know looks at the file.
//
// Uploads end with 0x80000008, after the questions and the deletion of the target: CQLSoftDataSink does not
// write to servers. Who uploads uses CQLSoftDataSinkEx1.
VXCSOFTCODECIO_API int QLFileCopy(int upload, const wchar_t* localPath, const wchar_t* remotePath,
                                  FTPMODE mode, const wchar_t* host, const wchar_t* user,
                                  const wchar_t* password, int port, int* cancel, PFN_INFO_CALLBACK callback,
                                  void* context, int resume, int passive);
