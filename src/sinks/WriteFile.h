// WriteFile.h - the sink for files whose block size is a setting; all else is CWriteFileEx1.
#pragma once

#include "frame/SoftDataIO.h"
#include "sinks/WriteFileEx1.h"

// Its MD5 operations reach an inner object that no byte passes: digests need a CWriteFileEx1.
class CWriteFile final : public CQLSoftDataSink {
public:
    CWriteFile();
    CWriteFile(const CWriteFile&) = delete;
    CWriteFile& operator=(const CWriteFile&) = delete;
    ~CWriteFile() override;

    // The block size is the setting "WriteBlockSize".
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
    const std::unique_ptr<CWriteFileEx1> m_pSink;
};
