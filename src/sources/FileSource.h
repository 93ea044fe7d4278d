// FileSource.h - the source for local and network files: plain reading at any position and size, unbuffered
// where asked, with the digest riding on the reads; read-ahead through a ring of blocks (PreReadRing.h); and
// reading from two copies of one file (TwoHandleReading.h).
//
// Made by CPullDataSource at open; one thread at a time drives it. A failed open leaves its handle in place
// until CloseFile. Opening again closes first.
#pragma once

#include "filehandle/SoftFileHandle.h"
#include "frame/AlignedBlock.h"
#include "frame/SoftDataIO.h"
#include "frame/VXCString.h"
#include "sources/PlainReading.h"
#include "sources/PreReadRing.h"
#include "sources/ReadRate.h"
#include "sources/TwoHandleReading.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace vxcio {
struct FileSourceInspector; // doors for tests
struct FileSourceTwoInspector;
} // namespace vxcio

class CFileSource final : public CSoftDataSource, private vxcio::RingFeed {
public:
    CFileSource();
    CFileSource(const CFileSource&) = delete;
    CFileSource& operator=(const CFileSource&) = delete;
    ~CFileSource() override;

    int GetMD5_check(uint32 type, uint8*& digest, int& length) override;

    uint32 OpenFile(const wchar_t* fileName, uint32 flagsAndAttributes, const wchar_t* secondFileName,
                    uint64 extra) override;
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

    // False when memory lacked for the inner object.
    bool IsComplete() const noexcept { return m_pInner != nullptr; }

private:
    friend struct vxcio::FileSourceInspector;
    friend struct vxcio::FileSourceTwoInspector;

    class File1Reading;

    // Takes data from the file at m_qwFilePos and moves it. Bytes; 0 at the end or a failure. Despite its
    // name it serves one file as well.
    uint32 ReadFileWithTwoHandle(uint8* buffer, uint32 bytes);
    uint32 ReadWholeFile(uint8* buffer, uint32 bytes);
    uint32 ReadOneFile(uint8* buffer, uint32 bytes);
    uint32 ReadTwoFiles(uint8* buffer, uint32 bytes);
    bool TakeFromCopies(uint8* buffer, uint32 bytes, uint32& count);
    // The same into a block that makes no copy: the memory in it afterwards may be other memory than before,
    // or none where nothing came. Only with two copies; takes m_FileMutex.
    uint32 ReadTwoFilesInto(vxcio::AlignedBuffer& block, uint32 bytes);
    bool IsAligned(uint32 bytes) const noexcept;
    // How long who has to read File1 itself waits for a reader that has it; milliseconds.
    static constexpr uint32 kFile1Wait = 10000;
    // Whether the calling thread may use File1: it waits at most so long for the reader that has it. Under
    // m_FileMutex.
    bool IsFile1Free(uint32 milliseconds) const;
    vxcio::PlainShape Shape() const noexcept;
    uint32 ReadFile1(uint8* buffer, uint32 bytes);
    bool FinishMD5(vxcio::MD5Check& check, uint64 size);
    bool IsUnbuffered() const noexcept;
    void ReadBlockSizeSetting();
    void OpenNames(const wchar_t* fileName, const wchar_t* secondFileName);
    uint32 OpenHandle(int which);
    uint32 OpenSecondFile(uint32 firstStatus);
    uint64 SizeOfCopy(int which, uint32& status);
    uint32 Decide(uint32 first, uint32 second);
    bool ShapeOfRing(int bufferBytes, int minimumBytes, vxcio::RingShape& shape) const;
    void LoadWholeFile();
    void ForgetWholeFile();
    bool ReadFromStart(uint8* buffer, uint64 bytes, uint32 most, uint64& done);
    uint32 FetchAhead(uint64 position, uint8* target, uint32 bytes);
    int64 SeekAhead(int64 offset, uint32 origin);
    void LogClose(const wchar_t* step) const;

    // RingFeed.
    int64 FeedPosition() noexcept override;
    void SetFeedPosition(int64 position) noexcept override;
    uint32 Fill(vxcio::AlignedBuffer& block, uint32 bytes) noexcept override;

    uint32 m_bKeepWindow = 0;
    vxcio::SReadRate m_ReadRate;
    // File1 and File2. While read-ahead runs its thread reads them too, so each use of File1 in one-file
    // reading holds m_FileMutex; with two copies their readers own them (TwoHandleReading.h).
    std::unique_ptr<CQLSoftFileHandle> m_pFile[2];
    std::mutex m_FileMutex;
    int64 m_qwReadPos = 0;             // the position that callers see
    std::atomic<int64> m_qwFilePos{0}; // next position to read from the file
    uint32 m_dwFlags = 0;
    uint32 m_dwSectorSize;
    CVXCString m_strFile[2];
    uint32 m_bTwoHandle = 0;
    std::unique_ptr<vxcio::TwoHandleReading> m_pTwoHandle; // while two copies are in use
    uint32 m_dwDoubleRdThreshold;                          // milliseconds
    std::unique_ptr<vxcio::PreReadRing> m_pRing;           // while read-ahead is on
    uint32 m_dwReadBlockSize;
    vxcio::AlignedBuffer m_pAlignBuffer;  // bounce buffer of unbuffered reads
    vxcio::AlignedBuffer m_pReadAtBuffer; // what the last ReadAt gave out
    void* m_pIOCallbackSet = nullptr;     // only as a flag: the name goes to a host's functions
    vxcio::AlignedBuffer m_pWholeFile;    // the whole file in memory, or empty
    uint64 m_qwWholeFileSize = 0;
};
