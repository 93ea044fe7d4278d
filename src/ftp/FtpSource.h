// FtpSource.h - the source for files on an FTP server (RFC 959): one transfer as a stream, received on a
// thread of its own.
//
//   Read       a request to the receive thread (FtpReceiver.h), with a time-out; or, with read-ahead on, out
//              of two blocks that a second thread fills (FtpPreRead.h)
//   Seek       a little back out of the back buffer, a little on by reading, else by a new transfer
//   OpenXDCAMFtpMXF  in FTPMODE_XDCAM the stream is a stretch of a clip, an MXF file of its own
//
// A read that gets no data in time, or meets an error of the socket, is the last of its transfer: it gives 0
// and so do all that follow, until the file is opened anew. The socket stays open, as does its thread where
// it hangs. The end of the data is no such fault.
//
// Made by CSoftDataSource::Construct. The destructor ends the session without CloseFile, which the caller
// calls before: the closing reply of the transfer is read only there.
#pragma once

#include "frame/Counted.h"
#include "frame/SoftDataIO.h"
#include "ftp/FtpPreRead.h"
#include "ftp/FtpReceiver.h"
#include "ftp/XdcamHead.h"

#include <memory>

namespace vxcio {
class MD5Check;
struct FtpSourceInspector; // a door for tests
} // namespace vxcio

class CFtpSource final : public CSoftDataSource, private vxcio::FtpPreReadFeed {
public:
    CFtpSource();
    CFtpSource(const CFtpSource&) = delete;
    CFtpSource& operator=(const CFtpSource&) = delete;
    ~CFtpSource() override;

    // The operations of the session wait until the read-ahead rests, as it uses the session too.
    int Connect(FTPMODE mode, const wchar_t* host, const wchar_t* user, const wchar_t* password, int port,
                int unused) override;
    int SetPASVMode(int passive) override;
    int SetFindPath(const wchar_t* path) override;
    int FindNextFile1(void* findData) override;
    int IsFileExist(const wchar_t* path) override;
    int DeleteFile1(const wchar_t* path) override;
    int RenameFile(const wchar_t* oldPath, const wchar_t* newPath) override;
    int MakeFolder(const wchar_t* path) override;
    int DeleteFolder(const wchar_t* path) override;
    int Close() override;
    int GetXDCAMMXFInfo(const wchar_t* path, PLUG_VIDEO_TYPE_& type, uint32& length, uint32& audio,
                        uint32& rate, uint32& scale) override;
    uint64 GetXDCAMFreeSpace() override;
    int GetMD5_check(uint32 type, uint8*& digest, int& length) override;

    uint32 OpenFile(const wchar_t* fileName, uint32 flagsAndAttributes, const wchar_t* secondFileName,
                    uint64 extra) override;
    int OpenXDCAMFtpMXF(const wchar_t* path, uint32& start, uint32& end, const wchar_t* reserved) override;
    uint32 CloseFile() override;
    uint32 SetReadRepeat(uint32 enable) override;
    void EnablePreRead(int bufferBytes, int minimumBytes) override;
    void DisablePreRead() override;
    uint32 IsPreReadMode() override;
    int CanSeek() override;
    int ReadAt(uint64 position, uint8** data, int bytes) override;
    int ReadPtr(uint8** data, int bytes) override;
    int64 Seek(int64 offset, uint32 origin) override;
    int Read(uint8* buffer, uint32 bytes) override;
    uint64 GetFileSize() override;

    // False when memory lacked for the inner object or the back buffer.
    bool IsComplete() const noexcept { return m_pInner != nullptr && m_pBack != nullptr; }

    // What vxcio::StretchHead gives.
    int CopyStretchHead(uint64 position, uint8* buffer, uint32 bytes) const noexcept;

private:
    friend struct vxcio::FtpSourceInspector;

    // Ends what a former open has left.
    void ForgetTransfer() noexcept;
    // Begins the transfer at a position. 0 or a status.
    uint32 SetStartPos(uint64 position) noexcept;
    uint32 AskForSize() noexcept;
    // The data connection and the preliminary reply. 0 or a status; 0 without *isUp where no socket could be
    // made for it.
    uint32 OpenChannel(bool* isUp) noexcept;
    uint32 OpenStretch(uint32& start, uint32 end) noexcept;
    // Takes the MXF header off the stream of a stretch, and corrects its start by what it says.
    void ReadStretchHead(uint32& start) noexcept;
    void SetFileSize(uint64 size) noexcept;
    // Takes the next bytes of the stream. Bytes; 0 at the end or after a fault.
    int ReadDataFromFtpSocket(uint8* buffer, int size) noexcept;
    // One request to the receive thread. False after a fault, with which the transfer is lost.
    bool Fetch(uint8* target, int bytes, const wchar_t* errorText, int* got) noexcept;
    void LoseTransfer(bool isStuck, const wchar_t* errorText) noexcept;
    // Feeds the digest what the stream has jumped over, by a transfer of its own, and goes on to where it
    // was.
    bool CatchUpMD5(vxcio::MD5Check& check) noexcept;
    void FinishMD5(vxcio::MD5Check& check, uint64 size) noexcept;
    // Brings the stream to where the digest stands, with the read-ahead at rest. One try where the server
    // refuses.
    void MoveToMD5(const vxcio::MD5Check& check, uint64 size) noexcept;
    // Read into a buffer that has more room than the request.
    int ReadInto(uint8* buffer, int bytes, int room) noexcept;
    // isRefused: a new transfer was needed, and did not come about.
    int64 SeekTo(uint64 target, bool* isRefused) noexcept;
    int64 ReadOn(int bytes) noexcept;
    int TakeAhead(uint64 position, uint8** data, int bytes) noexcept;
    void CopyBack() noexcept;
    // Begins a new transfer; where that fails caller and stream stand at 0.
    bool SeekFar(uint64 target) noexcept;
    void RestPreRead() const noexcept;
    void DropReceiver() noexcept;

    // FtpPreReadFeed.
    int FetchAhead(uint8* target, int bytes) noexcept override {
        return ReadDataFromFtpSocket(target, bytes);
    }
    uint64 StreamPosition() const noexcept override { return m_qwStreamPos; }

    // The back buffer: the last bytes that were asked for, and how many of them, at its head by then, a seek
    // has put up to be read again.
    std::unique_ptr<uint8[]> m_pBack;
    int m_nBackSize = 0;
    int m_nBackValid = 0;
    int m_nBackPending = 0;
    // Where the valid bytes lie while they have not been copied to the back buffer yet: in a block of the
    // read-ahead, until the next ReadAt. Null: they have been.
    const uint8* m_pBackNoted = nullptr;
    uint64 m_qwPos = 0; // the position that the caller sees
    // While read-ahead is on, the thread that is at work has these: its own, or while it rests the caller's.
    uint64 m_qwStreamPos = 0;                      // position of the next byte of the stream
    vxcio::Ref<vxcio::FtpReceiver> m_pReceiver;    // none: no transfer can be read
    uint32 m_nTimeOut;                             // milliseconds
    std::unique_ptr<vxcio::FtpPreRead> m_pPreRead; // while read-ahead is on
    std::unique_ptr<vxcio::XdcamHead> m_pHead;     // of a stretch of a device, else null
};
