// DataSourceArray.h - what ConstructDataSourceArray gives: an array of files opened from a list of names.
#pragma once

#include "sources/SoftDataSourceArray.h"
#include "sources/SourceSequence.h"

class CDataSourceArray : public CQLSoftDataSourceArray {
public:
    CDataSourceArray() noexcept;

    uint32 OpenFiles(const CVXCStringArray& files, uint32 flagsAndAttributes) override;
    uint32 CloseFiles() override;
    void EnablePreRead(int blockBytes, int longestRead) override;
    void DisablePreRead() override;
    uint32 IsPreReadMode() override;
    int CanSeek() override;
    int ReadAt(uint64 position, uint8** data, int bytes) override;
    int ReadPtr(uint8** data, uint32 bytes) override;
    uint64 Seek(uint64 offset, uint32 origin) override;
    int Read(uint8* buffer, uint32 bytes) override;
    int64 GetFileSize() override;
    uint32 AddFiles(const CVXCStringArray& files) override;

private:
    friend struct vxcio::SourceSequenceInspector;

    vxcio::SourceSequence m_sequence;
    uint32 m_dwFlagsAndAttributes = 0; // for each file
};
