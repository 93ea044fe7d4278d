// PullDataSource.h - what CSoftDataSource::Construct gives for a file or URL: a thin shell that decides at
// open which real source serves the name, and hands everything on to it.
//
// The operations of the FTP session and file management act on the shell's own inner object. Before a
// successful open, data operations give 0 and leave their outputs alone. Opening again closes and frees the
// former source.
#pragma once

#include "frame/SoftDataIO.h"

#include <memory>

class CPullDataSource final : public CSoftDataSource {
public:
    CPullDataSource();
    CPullDataSource(const CPullDataSource&) = delete;
    CPullDataSource& operator=(const CPullDataSource&) = delete;
    ~CPullDataSource() override;

    int EnableMD5_Check(uint32 reserved) override;
    int BeginMD5_Check(uint32 reserved) override;
    int StopMD5_Check(uint32 reserved) override;
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
    std::unique_ptr<CSoftDataSource> m_pSource;
};
