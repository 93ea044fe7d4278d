// SoftDataIO.h - the public class family: sources that read and sinks that write media data, whatever lies
// behind the name.
//
// Call order: a factory, Connect for FTP, OpenFile, data operations, CloseFile, delete. Objects are made by
// the static Construct operations, used by pointer and freed by their virtual destructor, on any thread. One
// thread at a time drives one object; the threads that an object starts are its own business.
//
// The order of the virtual operations is the binary interface that plug-ins depend on: nothing is inserted,
// moved or removed.
//
// Nothing here throws, except that CQLSoftDataSinkEx1::OpenFile on an FTP server may (see there). Operations
// that open give a status (Status.h), data operations a byte count: 0 is the
// end of the data or a failure, and the reason is in the log. File management gives 1 or 0.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"

class CInnerSoftDataIO;

// Base of all sources and sinks: the MD5 check, the FTP session and file management.
//
// Copies share one inner object, which the last of them frees.
class VXCSOFTCODECIO_API CSoftDataIO {
public:
    CSoftDataIO();
    CSoftDataIO(const CSoftDataIO& other) noexcept;
    CSoftDataIO& operator=(const CSoftDataIO& other) noexcept;
    virtual ~CSoftDataIO();

    // Starts a new MD5 state at position 0; an earlier one is discarded. The argument is ignored. 1.
    virtual int EnableMD5_Check(uint32 reserved);
    // From here on the bytes that pass are fed; 1.
    virtual int BeginMD5_Check(uint32 reserved);
    // No byte is fed any more; 1.
    virtual int StopMD5_Check(uint32 reserved);
    // The digest of the whole file, from its start, each byte once: `digest` receives 16 bytes that the
    // caller frees with delete[], `length` 16. 0. Without an MD5 state both are left alone.
    virtual int GetMD5_check(uint32 type, uint8*& digest, int& length);

    // Logs on to an FTP server (RFC 959); docs/formats/ftp-dialogue.md tells what is said. From now on the
    // operations below work on the server, also after a failure. Connecting again begins a new session. IPv4
    // only. The last argument is not used.
    //
    // 0 or a status: VXC_STATUS_FTP_CONNECT, _USER, _PASSWORD, _SOCKET, _SEND, _REPLY.
    virtual int Connect(FTPMODE mode, const wchar_t* host, const wchar_t* user, const wchar_t* password,
                        int port, int unused);
    // Who makes the data connections: with 1 this side (passive), with 0 the server, as after each Connect.
    // 1; in any mode but FTPMODE_NORMAL the server always makes them, and asking for the other gives 0. A
    // server that refuses passive transfers ends them for the session.
    virtual int SetPASVMode(int passive);
    // Keeps the pair; no operation of the library calls it.
    virtual void SetInfoCallBack(PFN_INFO_CALLBACK callback, void* context);

    // Folders and files, on the FTP server after the first Connect, else on local names. 1 or 0; the reason
    // is in the log. Paths go to the server as they are: one with CR or LF in it is more than one command.
    // Each reply is waited for up to 15 s. The closing reply of a listing or transfer is read only by the
    // next transfer; a command in between takes it for its own reply: see the dialogue.
    //
    // Begins a listing of a folder of the server; there are none of local folders. A session that does not
    // answer is begun again.
    virtual int SetFindPath(const wchar_t* path);
    // The next entry, into a WIN32_FIND_DATAW (FindData.h), whose former content is gone in any case: also
    // "." and ".." where the server sends them, no links. Sizes have 32 bits. 0 at the end, and at a line
    // that cannot be read, after which the next call goes on. Waits for the server without a limit.
    virtual int FindNextFile1(void* findData);
    // Does nothing; 1.
    virtual int FindFileClose();
    // On a server: whether the file can be renamed to its own name, so that one that may only be read is not
    // there. A local disk that does not answer within the setting "HandleTimeOut" is marked as dead.
    virtual int IsFileExist(const wchar_t* path);
    // A local disk has ten seconds.
    virtual int DeleteFile1(const wchar_t* path);
    // Local: deletes what has the new name, renames, and gives 1 in any case. To rename a local file to its
    // own name deletes it.
    virtual int RenameFile(const wchar_t* oldPath, const wchar_t* newPath);
    virtual int MakeFolder(const wchar_t* path);
    // Removes a folder of the server. Of local folders it makes one, as MakeFolder does.
    virtual int DeleteFolder(const wchar_t* path);

    // Ends the FTP session, with QUIT where there is one, and releases the MD5 state. 1. A server that does
    // not answer costs 15 s. Who frees the object without it leaves the connections open.
    virtual int Close();

    // What an XDCAM device tells of a clip, after Connect in FTPMODE_XDCAM: kind of video, frames, channels
    // of sound in the upper 16 bits with the bits of a sample in the lower ones, and `rate` frames in `scale`
    // seconds. 1; 0 where a line does not come within 15 s, or none can be sent. What the device does not
    // tell is left alone, also where the result is 1: all of it where its answer has one line, as a refusal
    // has. In every other mode nothing is asked, and the results are 6, 2904, 4, 25 and 1.
    virtual int GetXDCAMMXFInfo(const wchar_t* path, PLUG_VIDEO_TYPE_& type, uint32& length, uint32& audio,
                                uint32& rate, uint32& scale);
    // The space that the device tells, in its own unit; 0 where it tells none or the transfer of its report
    // fails. 0x80000708, which no size can be told from, where the question could not be sent. The report is
    // waited for without a limit. The next transfer of the session begins 15 s later.
    virtual uint64 GetXDCAMFreeSpace();
    // Does nothing; 1.
    virtual int GetXInfo(const wchar_t* path, ENUMIOInfo_TYPE type, SPlugStreamMediaInfo* info);

protected:
    CInnerSoftDataIO* m_pInner; // shared by copies; its reference count decides who frees it. Null when
                                // memory lacked: then every operation above gives its failure
};

// The read interface. Where the source is one for FTP:
//
//   The file is one stream over the network. A read that gets no data within the setting "FtpTimeOut", or
//   meets an error of its connection, gives 0, and so does every read after it until the file is opened
//   anew; what came late is never written into the caller's buffer. No code tells this from the end.
//
//   OpenFile looks at the name alone, sends it as it stands, and asks for a passive transfer where the mode
//   allows one. What it has opened stays to be closed when it fails. CloseFile reads the closing reply, up to
//   2 seconds for each line; to open again after it takes 15 seconds more, so a new object is quicker. To
//   delete the object without CloseFile ends the session alone.
//
//   Seek: origin 1 is from the start, 2 from the end, 3 from the current position, any other as 1. Up to
//   4194304 bytes on are read; up to the length of the last read back, at most 1 MiB, are served again, and
//   the position does not move meanwhile; else a new transfer begins. Where that is refused the position is
//   0 and there is no data. Distances count with 32 bits. A read of a part of what a seek back has put up
//   also gives, over the head of its buffer, the bytes that follow the part: read all of it at once.
//
//   CanSeek asks the server, and leaves it at position 100: the next transfer that begins at 0 is subject to
//   that on most servers. Open first and do not ask then, or ask over a session of its own.
//
//   EnablePreRead(bufferBytes, minimumBytes) makes two blocks of bufferBytes, or of a little more than
//   minimumBytes twice where two of them would be smaller than that. A request gives at most what the two
//   blocks hold. Who jumps back into a block by a new transfer reads what the block had. DisablePreRead goes
//   on where the stream stands, which is ahead of the reader. The digest's operations and those of the
//   session wait until the read-ahead rests.
class VXCSOFTCODECIO_API CSoftDataSource : public CSoftDataIO {
public:
    // IOWORKMODE_FTP gives an FTP source, any other value a source for files and URLs. Null when memory
    // lacks, or when the kind of source is not part of this build. The caller deletes it.
    static CSoftDataSource* Construct(IOWordkMode mode);

    CSoftDataSource();
    CSoftDataSource(const CSoftDataSource& other) noexcept;
    CSoftDataSource& operator=(const CSoftDataSource& other) noexcept;
    ~CSoftDataSource() override;

    int GetMD5_check(uint32 type, uint8*& digest, int& length) override = 0;

    // Opens a file for reading. `fileName` may carry a host's file functions (CallerFileFunctions.h).
    // flagsAndAttributes: VXC_FILE_FLAG_...; unbuffered reading may be asked at any position and size.
    // secondFileName, if neither null nor empty, is a mirrored copy. `extra` is used by arrays only. 0 or a
    // status; CloseFile is called after a failure as well.
    virtual uint32 OpenFile(const wchar_t* fileName, uint32 flagsAndAttributes, const wchar_t* secondFileName,
                            uint64 extra) = 0;
    // Opens the frames from `start` up to but not including `end` of a clip on an XDCAM device, in place of
    // OpenFile. The device sends them as an MXF file of their own (SMPTE 377M), which may begin some frames
    // earlier, where a picture can be decoded: then `start` comes back as the frame it does begin with. `end`
    // is left alone. The MXF header has been read when this returns, and Read goes on behind it;
    // StretchHead.h gives what was read. GetFileSize tells nothing of a stretch, and a far Seek begins the
    // whole clip. In any other mode than FTPMODE_XDCAM the whole file is opened. 0, or a status as from
    // OpenFile; 0x80000002 where the source is no FTP source.
    virtual int OpenXDCAMFtpMXF(const wchar_t* path, uint32& start, uint32& end, const wchar_t* reserved);
    // Closes all that OpenFile opened. Safe to repeat.
    virtual uint32 CloseFile() = 0;
    // Turns the repeat of short reads on or off; the former value.
    virtual uint32 SetReadRepeat(uint32 enable) = 0;
    // Starts and stops read-ahead.
    virtual void EnablePreRead(int bufferBytes, int minimumBytes) = 0;
    virtual void DisablePreRead() = 0;
    // Nonzero while read-ahead is on.
    virtual uint32 IsPreReadMode() = 0;
    // 1 for a source that can seek. An FTP source asks its server.
    virtual int CanSeek() = 0;
    // With read-ahead: reads at a position into a buffer of the source and gives out its address, valid
    // until the next call. Bytes; 0 at the end of the file. Without read-ahead 0, and *data stays alone.
    virtual int ReadAt(uint64 position, uint8** data, int bytes) = 0;
    // ReadAt at the current position.
    virtual int ReadPtr(uint8** data, int bytes) = 0;
    // Origin 1 is from the start, 2 from the end, 3 from the current position; any other leaves the
    // position. The new position. No file is touched. With read-ahead on, 2 means the same as 3 and any
    // other the same as 1, and the file is read where the position lies outside the ring.
    virtual int64 Seek(int64 offset, uint32 origin) = 0;
    // Reads at the current position and moves it. Bytes, short at the end of the file, 0 at a failure.
    virtual int Read(uint8* buffer, uint32 bytes) = 0;
    // Size of the open file, 0 when none is open.
    virtual uint64 GetFileSize() = 0;
};

// The write interface.
//
// On an FTP server a file is written from its start or at its end, in a row: see CQLSoftDataSinkEx1. This
// class cannot write there, and OpenFile of its FTP sink always gives 0x80000008.
//
// Files are written at any position, in any size; what was written can be read back and written anew. Where
// the target is a file:
//
//   Seek, Write and ReadBack give no codes. The first failure in one of them is kept: from then on Write and
//   ReadBack give 0, and CloseFile leaves the file as it stands. With a ring a write is carried out later,
//   and its failure is met when the caller comes round to that block again, so that some writes after it
//   still give their length; one in the last blocks is told by the log alone. Who must know reads the file.
//
//   Each operation on the file is bounded by the time-outs of the settings and fails when they pass; the sink
//   has none of its own.
class VXCSOFTCODECIO_API CQLSoftDataSink : public CSoftDataIO {
public:
    // IOWORKMODE_FILE or IOWORKMODE_FTP; null for any other value, when memory lacks, or when the kind of
    // sink is not part of this build. The caller deletes it.
    static CQLSoftDataSink* Construct(IOWordkMode mode);

    CQLSoftDataSink();
    CQLSoftDataSink(const CQLSoftDataSink& other) noexcept;
    CQLSoftDataSink& operator=(const CQLSoftDataSink& other) noexcept;
    ~CQLSoftDataSink() override;

    // A sink gives no digest by itself; 0. Of the file sinks CQLSoftDataSinkEx1 gives one.
    int GetMD5_check(uint32 type, uint8*& digest, int& length) override;

    // Creates or opens the target. `fileName` may carry a host's file functions (CallerFileFunctions.h).
    //
    //   bufferBytes   0: each write goes to the target on the caller's thread. More: a ring of blocks that a
    //                 thread writes; up to 1 MiB gives two blocks of 512 KiB, more is rounded up to whole
    //                 blocks, whose size is the setting "WriteBlockSize"
    //   openMode      0 creates the file, or empties the one that is there; 1 goes to the end of the file, 2
    //                 to its start, and both create it where there is none. Any other opens nothing, gives 0,
    //                 and the writes fail
    //   flagsAndAttributes  VXC_FILE_FLAG_..., VXC_FILE_ATTRIBUTE_...; with VXC_FILE_FLAG_NO_BUFFERING the
    //                 disk gets whole sectors only, and until CloseFile has cut it the file may be up to a
    //                 sector too long. The disks of the setting "DiskArray" are written through the cache
    //   reserved      not used
    //
    // 0 or a status; after a failure nothing is open. A sink that is open is closed first.
    virtual uint32 OpenFile(const wchar_t* fileName, uint32 bufferBytes, uint32 openMode,
                            uint32 flagsAndAttributes, void* reserved) = 0;
    // Brings out what is buffered, gives the file its size and closes it. Safe to repeat; the destructor of a
    // file sink calls it. A file sink gives 0, whatever became of the writes.
    virtual uint32 CloseFile() = 0;
    // The size that the file is to have: the highest position that was written or sought to, at least that of
    // the file that was opened. It stays after CloseFile.
    virtual uint64 GetFileSize() = 0;
    // Origin 2 is from the size, 3 from the current position, any other from the start. The new position. To
    // go elsewhere brings out what is buffered; beyond the size it raises the size at once.
    virtual int64 Seek(int64 offset, uint32 origin) = 0;
    // Writes at the current position and moves it. `bytes`, or 0 after a failure. *wentOut, where it is
    // given, receives 1 when bytes left the sink in this call, else 0; without an open file and after a
    // failure it is left alone.
    virtual int Write(const uint8* buffer, uint32 bytes, uint32* wentOut) = 0;
    // Reads what stands at the current position and moves it; what is buffered is brought out first. Gives
    // `bytes` even where less was there, or where the read failed: the caller stays inside the file, and the
    // next call tells of the failure. Beyond the end the position moves by what came, or by `bytes` where the
    // file is written past the cache or the cache below is on. 0 after an earlier failure.
    //
    // With a null buffer 0xFFFFFFFF switches a cache of 512 KiB on, or empties it, and 0xFFFFFFFE switches it
    // off; both give 0. It serves small reads near each other and knows nothing of writes after it was
    // filled: empty it after them.
    virtual int ReadBack(uint8* buffer, uint32 bytes) = 0;
};

// The write interface with a choice of block size, and with a digest of files.
//
// An FTP sink sends each write at once, on the caller's thread, and waits for a server that does not take it
// without a limit. Connect comes first, then OpenFile: openMode 0 writes the file anew (STOR), any other
// appends (APPE), and the other arguments are not used. Write gives what was sent, which may be less than
// asked, or -1. CloseFile ends the upload and waits for the server's word: 0, or 0x80000108 where it is not
// satisfied; the destructor does not call it. GetFileSize, Seek, ReadBack and GetMD5_check give 0.
//
// In FTPMODE_NORMAL the size of a file that is there already is asked for before, with a transfer that is
// broken off. That costs 15 s, and there are servers on which it destroys the upload: delete the file first,
// or use FTPMODE_DELAYED. A server's text without a blank behind its "(" ends OpenFile in std::out_of_range.
class VXCSOFTCODECIO_API CQLSoftDataSinkEx1 : public CSoftDataIO {
public:
    // As CQLSoftDataSink::Construct.
    static CQLSoftDataSinkEx1* Construct(IOWordkMode mode);

    CQLSoftDataSinkEx1();
    CQLSoftDataSinkEx1(const CQLSoftDataSinkEx1& other) noexcept;
    CQLSoftDataSinkEx1& operator=(const CQLSoftDataSinkEx1& other) noexcept;
    ~CQLSoftDataSinkEx1() override;

    // The digest of the bytes that were written in a row from the start of the file, each once, since
    // EnableMD5_Check and while it ran: `digest` receives 16 bytes that the caller frees with delete[],
    // `length` 16. 0. Who writes such bytes anew ends the check: both are left alone then, as without one.
    int GetMD5_check(uint32 type, uint8*& digest, int& length) override;

    // As CQLSoftDataSink::OpenFile, with the size of a block in place of the setting, rounded up to whole
    // sectors; 0 means 1 MiB. Where bufferBytes is 1 MiB or less it is not looked at. The reserved arguments
    // are not used.
    virtual uint32 OpenFile(const wchar_t* fileName, uint32 bufferBytes, uint32 blockBytes, uint32 openMode,
                            uint32 flagsAndAttributes, uint32 reserved1, uint32 reserved2, uint32 reserved3,
                            uint32 reserved4, void* reserved5) = 0;
    // As those of CQLSoftDataSink.
    virtual uint32 CloseFile() = 0;
    virtual uint64 GetFileSize() = 0;
    virtual int64 Seek(int64 offset, uint32 origin) = 0;
    virtual int Write(const uint8* buffer, uint32 bytes, uint32* wentOut) = 0;
    virtual int ReadBack(uint8* buffer, uint32 bytes) = 0;
};
