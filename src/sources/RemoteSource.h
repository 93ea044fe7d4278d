// RemoteSource.h - the source for files that are reached by a URL. The companion module reads them
// (RemoteFile.h); here are only positions, the bounce buffer of unbuffered reading and the digest.
//
// Made by CPullDataSource at open; one thread at a time drives it. There is no reading ahead and no second
// copy. Nothing bounds a call of the module in time but the module itself. A failed open leaves its object in
// place until CloseFile. Without a module a source opens with success and reads nothing. Opening again frees
// the former object.
#pragma once

#include "frame/AlignedBlock.h"
#include "frame/SoftDataIO.h"
#include "frame/VXCString.h"
#include "sources/PlainReading.h"
#include "sources/ReadRate.h"
#include "sources/RemoteFile.h"

namespace vxcio {
struct RemoteSourceInspector; // doors for tests
}

class CRemoteSource final : public CSoftDataSource {
public:
    CRemoteSource();
    CRemoteSource(const CRemoteSource&) = delete;
    CRemoteSource& operator=(const CRemoteSource&) = delete;
    ~CRemoteSource() override;

    int GetMD5_check(uint32 type, uint8*& digest, int& length) override;

    // The second name and the last argument are ignored.
    uint32 OpenFile(const wchar_t* fileName, uint32 flagsAndAttributes, const wchar_t* secondFileName,
                    uint64 extra) override;
    uint32 CloseFile() override;
    uint32 SetReadRepeat(uint32 enable) override; // 1
    void EnablePreRead(int bufferBytes, int minimumBytes) override;
    void DisablePreRead() override;
    uint32 IsPreReadMode() override;
    int CanSeek() override;
    // Without reading ahead there is nothing to point at: 0, and *data is left alone.
    int ReadAt(uint64 position, uint8** data, int bytes) override;
    int ReadPtr(uint8** data, int bytes) override;
    int64 Seek(int64 offset, uint32 origin) override;
    int Read(uint8* buffer, uint32 bytes) override;
    // As it was told at the open.
    uint64 GetFileSize() override;

    // False when memory lacked for the inner object.
    bool IsComplete() const noexcept { return m_pInner != nullptr; }

private:
    friend struct vxcio::RemoteSourceInspector;

    uint32 ReadFileWithTwoHandle(uint8* buffer, uint32 bytes);
    vxcio::PlainShape Shape() const noexcept;
    void FreeRemoteFile();
    void LogClose(int step) const;

    vxcio::SReadRate m_ReadRate;
    CQLRHttpFile* m_pRemoteFile = nullptr; // who frees it depends on who comes first: see CloseFile
    int64 m_qwReadPos = 0;
    int64 m_qwFilePos = 0;
    uint32 m_bPreRead = 0;
    uint32 m_dwFlags = 0;
    uint32 m_dwSectorSize = 1; // every position and size is aligned
    CVXCString m_strFile;
    vxcio::AlignedBuffer m_pAlignBuffer; // for callers' memory that is not aligned, in unbuffered reading
    vxcio::AlignedBuffer m_pReadAtBuffer;
};
