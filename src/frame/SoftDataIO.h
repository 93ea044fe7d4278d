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
// Nothing here throws. Operations that open give a status (Status.h), data operations a byte count: 0 is the
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

    // Logs on to an FTP server. 0 or a status.
    virtual int Connect(FTPMODE mode, const wchar_t* host, const wchar_t* user, const wchar_t* password,
                        int port, int unused);
    virtual int SetPASVMode(int passive);
    // Keeps the pair; no operation of the library calls it.
    virtual void SetInfoCallBack(PFN_INFO_CALLBACK callback, void* context);

    // File management, on the FTP server after Connect, else on local names. 1 or 0.
    virtual int SetFindPath(const wchar_t* path);
    virtual int FindNextFile1(void* findData);
    virtual int FindFileClose();
    virtual int IsFileExist(const wchar_t* path);
    virtual int DeleteFile1(const wchar_t* path);
    virtual int RenameFile(const wchar_t* oldPath, const wchar_t* newPath);
    virtual int MakeFolder(const wchar_t* path);
    virtual int DeleteFolder(const wchar_t* path);

    // Ends the FTP session and releases the MD5 state. 1.
    virtual int Close();

    virtual int GetXDCAMMXFInfo(const wchar_t* path, PLUG_VIDEO_TYPE_& type, uint32& length, uint32& audio,
                                uint32& rate, uint32& scale);
    virtual uint64 GetXDCAMFreeSpace();
    // Does nothing; 1.
    virtual int GetXInfo(const wchar_t* path, ENUMIOInfo_TYPE type, SPlugStreamMediaInfo* info);

protected:
    CInnerSoftDataIO* m_pInner; // shared by copies; its reference count decides who frees it. Null when
                                // memory lacked: then every operation above gives its failure
};

// The read interface.
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
    // Opens a stretch of a clip on an XDCAM device. 0x80000002 where the source is no FTP source.
    virtual int OpenXDCAMFtpMXF(const wchar_t* path, uint32& start, uint32& count, const wchar_t* reserved);
    // Closes all that OpenFile opened. Safe to repeat.
    virtual uint32 CloseFile() = 0;
    // Turns the repeat of short reads on or off; the former value.
    virtual uint32 SetReadRepeat(uint32 enable) = 0;
    // Starts and stops read-ahead.
    virtual void EnablePreRead(int bufferBytes, int minimumBytes) = 0;
    virtual void DisablePreRead() = 0;
    // Nonzero while read-ahead is on.
    virtual uint32 IsPreReadMode() = 0;
    // 1 for a source that can seek.
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
class VXCSOFTCODECIO_API CQLSoftDataSink : public CSoftDataIO {
public:
    // IOWORKMODE_FILE or IOWORKMODE_FTP; null for any other value, when memory lacks, or when the kind of
    // sink is not part of this build. The caller deletes it.
    static CQLSoftDataSink* Construct(IOWordkMode mode);

    CQLSoftDataSink();
    CQLSoftDataSink(const CQLSoftDataSink& other) noexcept;
    CQLSoftDataSink& operator=(const CQLSoftDataSink& other) noexcept;
    ~CQLSoftDataSink() override;

    // A sink gives no digest by itself; 0.
    int GetMD5_check(uint32 type, uint8*& digest, int& length) override;

    // Creates or opens the target. bufferBytes: ring of the writer thread, 0 for none. openMode: 0 create,
    // 1 append, 2 update in place. `reserved` is not used. 0 or a status.
    virtual uint32 OpenFile(const wchar_t* fileName, uint32 bufferBytes, uint32 openMode,
                            uint32 flagsAndAttributes, void* reserved) = 0;
    // Flushes and closes; a status.
    virtual uint32 CloseFile() = 0;
    // Bytes written so far.
    virtual uint64 GetFileSize() = 0;
    // Origins as for a source.
    virtual int64 Seek(int64 offset, uint32 origin) = 0;
    // Writes at the current position; wentOut, if given, is set to 1 when bytes went out to the target.
    virtual int Write(const uint8* buffer, uint32 bytes, uint32* wentOut) = 0;
    // Reads back what stands in the target.
    virtual int ReadBack(uint8* buffer, uint32 bytes) = 0;
};

// The write interface with a choice of block size.
class VXCSOFTCODECIO_API CQLSoftDataSinkEx1 : public CSoftDataIO {
public:
    // As CQLSoftDataSink::Construct.
    static CQLSoftDataSinkEx1* Construct(IOWordkMode mode);

    CQLSoftDataSinkEx1();
    CQLSoftDataSinkEx1(const CQLSoftDataSinkEx1& other) noexcept;
    CQLSoftDataSinkEx1& operator=(const CQLSoftDataSinkEx1& other) noexcept;
    ~CQLSoftDataSinkEx1() override;

    int GetMD5_check(uint32 type, uint8*& digest, int& length) override;

    // As CQLSoftDataSink::OpenFile, with the block that the target is written in; the reserved arguments
    // are not used.
    virtual uint32 OpenFile(const wchar_t* fileName, uint32 bufferBytes, uint32 blockBytes, uint32 openMode,
                            uint32 flagsAndAttributes, uint32 reserved1, uint32 reserved2, uint32 reserved3,
                            uint32 reserved4, void* reserved5) = 0;
    virtual uint32 CloseFile() = 0;
    virtual uint64 GetFileSize() = 0;
    virtual int64 Seek(int64 offset, uint32 origin) = 0;
    virtual int Write(const uint8* buffer, uint32 bytes, uint32* wentOut) = 0;
    virtual int ReadBack(uint8* buffer, uint32 bytes) = 0;
};
