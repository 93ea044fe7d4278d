// InnerSoftDataIO.h - what every source and sink has inside: the MD5 state, the size and name of its file,
// and the FTP session with its file management.
//
// Made by the constructor of CSoftDataIO, shared by its copies, freed by the last of them. The thread that
// drives the object calls; the MD5 state and its running flag may be looked at from the threads that read
// for it.
#pragma once

#include "frame/Counted.h"
#include "frame/MD5Check.h"
#include "frame/Types.h"
#include "frame/VXCString.h"

#include <atomic>
#include <memory>
#include <mutex>

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

    uint64 m_qwFileSize = 0;  // the size that GetFileSize reports
    CVXCString m_strFileName; // name of the open file
    PFN_INFO_CALLBACK m_pfnInfoCallBack = nullptr;
    void* m_pInfoCallBackContext = nullptr;
    std::unique_ptr<uint8[]> m_pScratch; // work memory of the FTP session
    int m_nScratchSize = 0;

private:
    friend class vxcio::Counted<CInnerSoftDataIO>;
    ~CInnerSoftDataIO() = default;
    void ReleaseMD5() noexcept;

    std::mutex m_MD5Lock; // guards m_pMD5 alone; never held while a state is fed
    std::shared_ptr<vxcio::MD5Check> m_pMD5;
    std::atomic<uint32> m_bMD5Running{0};
};
