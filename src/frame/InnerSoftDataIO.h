// InnerSoftDataIO.h - what every source and sink has inside: the MD5 state, the size and name of its file,
// and the FTP session with its file management.
//
// Made by the constructor of CSoftDataIO, shared by its copies, freed by the last of them. The thread that
// drives the object calls; the MD5 state and its running flag may be looked at from the threads that read
// for it.
#pragma once

#include "frame/Counted.h"
#include "frame/InfoText.h"
#include "frame/MD5Check.h"
#include "frame/Types.h"
#include "frame/VXCString.h"

#include <atomic>
#include <memory>
#include <mutex>

class CFTPSocket;
class CSoftDataIO;

// It has virtual operations and no virtual destructor, so it is final and only ever deleted by its own type.
class CInnerSoftDataIO final : public vxcio::Counted<CInnerSoftDataIO> {
public:
    explicit CInnerSoftDataIO(CSoftDataIO* outer) noexcept;
    CInnerSoftDataIO(const CInnerSoftDataIO&) = delete;
    CInnerSoftDataIO& operator=(const CInnerSoftDataIO&) = delete;

    // The operations of CSoftDataIO, in its order.
    virtual int EnableMD5_Check(uint32 reserved);
    virtual int BeginMD5_Check(uint32 reserved);
    virtual int StopMD5_Check(uint32 reserved);
    virtual int Connect(FTPMODE mode, const wchar_t* host, const wchar_t* user, const wchar_t* password,
                        int port, int unused);
    virtual int SetPASVMode(int passive);
    virtual void SetInfoCallBack(PFN_INFO_CALLBACK callback, void* context);
    virtual int SetFindPath(const wchar_t* path);
    virtual int FindNextFile1(void* findData);
    virtual int FindFileClose();
    virtual int IsFileExist(const wchar_t* path);
    virtual int DeleteFile1(const wchar_t* path);
    virtual int RenameFile(const wchar_t* oldPath, const wchar_t* newPath);
    virtual int MakeFolder(const wchar_t* path);
    virtual int DeleteFolder(const wchar_t* path);
    virtual int Close();
    virtual int GetXDCAMMXFInfo(const wchar_t* path, PLUG_VIDEO_TYPE_& type, uint32& length, uint32& audio,
                                uint32& rate, uint32& scale);
    virtual uint64 GetXDCAMFreeSpace();
    virtual int GetXInfo(const wchar_t* path, ENUMIOInfo_TYPE type, SPlugStreamMediaInfo* info);

    // The MD5 state, or null when none was enabled. Any thread.
    std::shared_ptr<vxcio::MD5Check> MD5State() noexcept;
    // The MD5 state if it is to be fed now, else null. Costs one load while no check runs.
    std::shared_ptr<vxcio::MD5Check> RunningMD5State() noexcept;
    // Ends a check that has become worthless: there is no state any more, and none runs.
    void DropMD5() noexcept;

    // The FTP session (RFC 959), for the FTP source and sink. The thread that drives the object calls; the
    // read-ahead thread of a source may while that one waits for it.
    //
    // One reply line, and one whole reply: 1, or 0 when none came within the time of each line or when the
    // server says 421. `reply` holds the last line; its first digit is m_nReplyClass.
    int ReadLine(CVXCString& reply, uint32 timeoutMs) noexcept;
    int ReadStr(CVXCString& reply, uint32 timeoutMs) noexcept;
    // Sends one command; 1 or 0. The text is emptied.
    int WriteStr(CVXCString& command) noexcept;
    int SendCommand(const wchar_t* command, const wchar_t* argument = L"") noexcept;
    // A command and its reply: 1 for a reply of class 2. The text is emptied; one that is empty sends
    // nothing.
    int FTPCommand(CVXCString& command) noexcept;
    // Sets up a data channel for one transfer, after the closing reply of the former one. 0 or a status.
    uint32 CreateDataChannel() noexcept;
    // The data connection of a passive transfer: 0 only where no socket could be made; where it does not come
    // about the first transfer tells. That of an active one, after the reply to its command: 1 or 0.
    int ConnectDataChannel() noexcept;
    int AcceptDataChannel() noexcept;
    // Closes and frees one of the sockets; null is left alone.
    static void DropSocket(CFTPSocket*& socket) noexcept;
    uint32 Logon() noexcept;
    void Quit() noexcept;
    // The name of a file for the commands that open, create and delete it: with the device's prefix in
    // FTPMODE_EXPLODED. Empty where memory lacked.
    CVXCString RemotePath(const wchar_t* path) const noexcept;
    // Receives a listing until the buffer is full or the server has finished. Bytes; a failure counts as -1
    // byte.
    int ReadListData(uint8* buffer, int size) noexcept;

    uint64 m_qwFileSize = 0;  // the size that GetFileSize reports
    CVXCString m_strFileName; // name of the open file
    PFN_INFO_CALLBACK m_pfnInfoCallBack = nullptr;
    void* m_pInfoCallBackContext = nullptr;
    std::unique_ptr<uint8[]> m_pScratch; // the buffer of listings
    int m_nScratchSize = 0;

    // Owned until Close; an object that is freed without it leaves its connections as they are.
    CFTPSocket* m_Ctrlsok = nullptr;     // the control channel
    CFTPSocket* m_SockSvr = nullptr;     // listens in active transfers
    CFTPSocket* m_DataChannel = nullptr; // null also after a fatal fault of a source
    vxcio::InfoText m_strInfo;
    int m_bFtp = 0; // 1 from the first Connect on
    CVXCString m_strHost;
    int m_nPort = 0;
    CVXCString m_strUser;
    CVXCString m_strPassword;
    CVXCString m_strFindPath;
    int m_nFtpMode = FTPMODE_NORMAL;
    int m_nReplyClass = 0;
    CVXCString m_retmsg; // the last reply of operations that take none
    int m_bPASV = 1;
    CVXCString m_strPasvHost;
    int m_nPasvPort = 0;
    uint32 m_nReplyDelay = 0; // milliseconds in front of each reply
    int m_nListFilled = 0;    // bytes in m_pScratch, and the next one to parse
    int m_nListPos = 0;

private:
    friend class vxcio::Counted<CInnerSoftDataIO>;
    ~CInnerSoftDataIO() = default;
    void ReleaseMD5() noexcept;
    uint32 LogonWalk() noexcept;
    int AskPassive() noexcept;
    uint32 AnnouncePort() noexcept;
    int Ask(const wchar_t* command, const wchar_t* argument, int wantedClass) noexcept;
    int CreateFolder(const wchar_t* path) noexcept;
    int AskFolder(const wchar_t* command, const wchar_t* path) noexcept;
    bool TakeListLine(char* line, int& length) noexcept;

    std::mutex m_MD5Lock; // guards m_pMD5 alone; never held while a state is fed
    std::shared_ptr<vxcio::MD5Check> m_pMD5;
    std::atomic<uint32> m_bMD5Running{0};
};
