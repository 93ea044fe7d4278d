// WriteToFtp.h - the sinks that write a file on an FTP server (RFC 959): STOR or APPE, each write one send on
// the caller's thread, without a buffer or a thread of their own.
//
// Connect comes before OpenFile, CloseFile and Close before the end: the destructors do neither. One thread
// drives an object. A server that stops reading holds Write, one that does not answer holds CloseFile: they
// have no time-out.
#pragma once

#include "frame/SoftDataIO.h"

#include <memory>

class CWriteToFtpEx1 final : public CQLSoftDataSinkEx1 {
public:
    CWriteToFtpEx1();
    CWriteToFtpEx1(const CWriteToFtpEx1&) = delete;
    CWriteToFtpEx1& operator=(const CWriteToFtpEx1&) = delete;
    ~CWriteToFtpEx1() override;

    // openMode 0 writes the file anew, any other appends; in FTPMODE_EXPLODED it is always written anew. The
    // other arguments are not used. 0 or a status; 0 also where no socket could be made for the data, so that
    // every write fails.
    //
    // In FTPMODE_NORMAL the size that the file has on the server is asked for first, with a RETR that has no
    // data connection, and with ABOR where the server begins to send. Some servers take that to heart and
    // send the old file to where the new one comes from: who writes over files there uses FTPMODE_DELAYED or
    // deletes them first. A reply without a blank behind its "(" ends in std::out_of_range.
    uint32 OpenFile(const wchar_t* fileName, uint32 bufferBytes, uint32 blockBytes, uint32 openMode,
                    uint32 flagsAndAttributes, uint32 reserved1, uint32 reserved2, uint32 reserved3,
                    uint32 reserved4, void* reserved5) override;
    // Ends the transfer and waits for the server's word on it: 0, or 0x80000108 where it is not satisfied.
    // Without an open file 0 at once. After an OpenFile that failed there may be a transfer of which the
    // server never says a word, and this never comes back: Close is for that.
    uint32 CloseFile() override;
    // A server's file has no size here, no positions, and is not read back: 0.
    uint64 GetFileSize() override;
    int64 Seek(int64 offset, uint32 origin) override;
    int ReadBack(uint8* buffer, uint32 bytes) override;
    // One send. What went out, which may be less than `bytes`; -1 after a failure of the connection. 0, with
    // wentOut left alone, where there is nothing to send or no open file; else *wentOut receives 1.
    int Write(const uint8* buffer, uint32 bytes, uint32* wentOut) override;

    // False when memory lacked.
    bool IsComplete() const noexcept { return m_pInner != nullptr; }

private:
    uint32 ProbeSize(const wchar_t* path);
};

// The same behind the other interface, which cannot be connected: Connect reaches this object's own session
// and OpenFile that of the sink within, so OpenFile always gives 0x80000008. Uploads use CWriteToFtpEx1.
class CWriteToFtp final : public CQLSoftDataSink {
public:
    CWriteToFtp();
    CWriteToFtp(const CWriteToFtp&) = delete;
    CWriteToFtp& operator=(const CWriteToFtp&) = delete;
    ~CWriteToFtp() override;

    uint32 OpenFile(const wchar_t* fileName, uint32 bufferBytes, uint32 openMode, uint32 flagsAndAttributes,
                    void* reserved) override;
    uint32 CloseFile() override;
    uint64 GetFileSize() override;
    int64 Seek(int64 offset, uint32 origin) override;
    int Write(const uint8* buffer, uint32 bytes, uint32* wentOut) override;
    int ReadBack(uint8* buffer, uint32 bytes) override;

    // False when memory lacked.
    bool IsComplete() const noexcept { return m_pInner != nullptr && m_pSink && m_pSink->IsComplete(); }

private:
    const std::unique_ptr<CWriteToFtpEx1> m_pSink;
};
