// WriteFileEx1.h - the sink for local and network files: writes of any size at any position become large
// blocks, written by a thread of their own (WriteBufferRing.h), and past the cache only whole sectors.
//
//   not threaded, cached      each write goes to the file
//   not threaded, unbuffered  bytes gather in the staging area, whole sectors go out at once
//   threaded                  bytes gather in the ring; full nodes go out, partial ones with a flush
//   threaded, unbuffered      as before; the node's start and padded end are kept on sectors
//
// Past the cache the file on the disk is up to a sector too long until CloseFile cuts it.
//
// One thread at a time drives it. Failures of Seek, Write and ReadBack are kept: from the first one on Write
// and ReadBack give 0, nothing is flushed, and CloseFile leaves the file as it stands.
#pragma once

#include "filehandle/CallerFileFunctions.h"
#include "filehandle/SoftFileHandle.h"
#include "frame/AlignedBlock.h"
#include "frame/SoftDataIO.h"
#include "sinks/WriteBufferRing.h"

#include <memory>

namespace vxcio {
struct WriteFileInspector; // a door for tests
}

class CWriteFileEx1 final : public CQLSoftDataSinkEx1 {
public:
    CWriteFileEx1() = default;
    CWriteFileEx1(const CWriteFileEx1&) = delete;
    CWriteFileEx1& operator=(const CWriteFileEx1&) = delete;
    ~CWriteFileEx1() override;

    int GetMD5_check(uint32 type, uint8*& digest, int& length) override;

    uint32 OpenFile(const wchar_t* fileName, uint32 bufferBytes, uint32 blockBytes, uint32 openMode,
                    uint32 flagsAndAttributes, uint32 reserved1, uint32 reserved2, uint32 reserved3,
                    uint32 reserved4, void* reserved5) override;
    uint32 CloseFile() override;
    uint64 GetFileSize() override;
    int64 Seek(int64 offset, uint32 origin) override;
    int Write(const uint8* buffer, uint32 bytes, uint32* wentOut) override;
    int ReadBack(uint8* buffer, uint32 bytes) override;

    // False when memory lacked for the inner object.
    bool IsComplete() const noexcept { return m_pInner != nullptr; }

private:
    friend struct vxcio::WriteFileInspector;

    // Bits of m_dwWriteMode.
    static constexpr uint32 kThreaded = 1;
    static constexpr uint32 kUnbuffered = 2;
    static constexpr uint32 kAppend = 4;

    // Values of m_nOpenMode; with any other no file is open.
    static constexpr uint32 kModeCreate = 0;
    static constexpr uint32 kModeAppend = 1;
    static constexpr uint32 kModeUpdate = 2;

    // Values of m_nLastOperation.
    enum LastOperation : int32 { kNone, kWrite, kRead, kSeek };

    bool IsThreaded() const noexcept { return (m_dwWriteMode & kThreaded) != 0; }
    bool IsUnbuffered() const noexcept { return (m_dwWriteMode & kUnbuffered) != 0; }

    bool TakeCallbacks();
    void FixFlags(uint32 flagsAndAttributes);
    uint32 OpenHandle();
    bool Prepare(uint32 bufferBytes);
    bool FixSizes(uint32 bufferBytes);
    bool MakeBuffers();
    void Release();

    uint32 WriteThrough(const uint8* buffer, uint32 bytes, uint32& wentOut, bool resync);
    uint32 WriteStaged(const uint8* buffer, uint32 bytes, uint32& wentOut, bool resync);
    uint32 WriteThreaded(const uint8* buffer, uint32 bytes, uint32& wentOut, bool resync);
    bool ResyncStage();
    bool ResyncNode();
    bool GrowStage(uint64 bytes);
    void FeedDigest(const uint8* data, uint32 bytes);
    void RaiseSize();
    void Flush();
    void FlushStage();
    bool PadStage(uint32 rem);

    void SwitchReadCache(uint32 command);
    void ReadUnbuffered(uint8* buffer, uint32 bytes);
    void ReadOrdinary(uint8* buffer, uint32 bytes);
    bool IsForReadCache(uint32 offset, uint32 bytes) const;
    void FillReadCache(uint64 position);
    uint32 ReadInto(uint8* target, uint32 bytes);

    void CutToSize();
    bool IsPadAllThereIs();

    std::unique_ptr<CQLSoftFileHandle> m_pMediaFile; // null while no file is open
    uint64 m_nCurPos = 0;
    uint64 m_qwSizeAtOpen = 0;            // also where it could not be told
    vxcio::AlignedBuffer m_pSectorBuffer; // one sector, unbuffered only
    uint32 m_dwSectorSize = 512;
    uint32 m_dwFlagsAndAttributes = 0;
    uint32 m_dwBufferSize = 1048576; // bytes of the ring
    uint32 m_dwBlockSize = 0;        // bytes of one node
    uint32 m_dwWriteMode = 0;
    std::unique_ptr<vxcio::WriteBufferRing> m_pWriteRing;
    vxcio::AlignedBuffer m_pStageBuffer; // unbuffered only
    uint32 m_dwStageFill = 0;
    int32 m_nLastOperation = kNone;
    uint32 m_bStatusOK = 1; // cleared by the first failure, set by an open
    uint32 m_nOpenMode = 0;
    void* m_pIOCallbackSet = nullptr;  // a host's functions found in the name
    IOCallbackSet m_callbacks = {};    // a copy of them
    CVXCString m_strReopenName;        // the file's name, with the copy instead of the host's table
    vxcio::AlignedBuffer m_pReadCache; // empty unless it is switched on
    uint64 m_nReadCachePos = 0;        // of its first byte
    uint32 m_dwReadCacheFill = 0;      // bytes of its last fill
};
