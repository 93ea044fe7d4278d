// SoftDataSourceArray.h - several files, opened one after the other, read as one stream.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"
#include "sources/GrowingArrays.h"

// Made by ConstructDataSourceArray, deleted by the caller, who calls CloseFiles first: the destructor leaves
// files open. One thread at a time. Nothing throws. The order of the operations is the binary interface.
//
// Positions and sizes are in bytes. The position is exact after a seek, after a read with read-ahead and
// after a read over a boundary; a plain read inside one file does not move it. A position that no file holds
// makes reads give 0 until a seek finds one; with a single file every position is that file's.
class VXCSOFTCODECIO_API CQLSoftDataSourceArray {
public:
    CQLSoftDataSourceArray() = default;
    CQLSoftDataSourceArray(const CQLSoftDataSourceArray&) = delete;
    CQLSoftDataSourceArray& operator=(const CQLSoftDataSourceArray&) = delete;
    virtual ~CQLSoftDataSourceArray();

    // Opens all files, after CloseFiles. 'name1*name2' names two copies of one file; the second names are
    // used when all strings have one. The flags are those of CSoftDataSource::OpenFile, for each file. 0, or
    // the status of the file that failed: the ones before it are open then, and the caller closes. 0x80000002
    // where memory lacks.
    virtual uint32 OpenFiles(const CVXCStringArray& files, uint32 flagsAndAttributes) = 0;
    // 0.
    virtual uint32 CloseFiles() = 0;
    // Turns read-ahead on for the files in use, with a block of the larger of both values rounded up to whole
    // sectors; longestRead is the longest read that the caller will make. Nothing happens for a block of 0.
    virtual void EnablePreRead(int blockBytes, int longestRead) = 0;
    virtual void DisablePreRead() = 0;
    // 1 or 0.
    virtual uint32 IsPreReadMode() = 0;
    // 1.
    virtual int CanSeek() = 0;
    // With read-ahead, else 0: gives out the address of `bytes` bytes, valid until the next call. The
    // position is handed to the file that holds it as it is, so it is exact in the first file only.
    virtual int ReadAt(uint64 position, uint8** data, int bytes) = 0;
    // With read-ahead, else 0: the same for the bytes that follow.
    virtual int ReadPtr(uint8** data, uint32 bytes) = 0;
    // Origin 1: from the start. 2: so many bytes before the end. 3: the current position, the offset is
    // ignored. The position sought, also where no file holds it; 0 for any other origin.
    virtual uint64 Seek(uint64 offset, uint32 origin) = 0;
    // Bytes; fewer than asked at the end of all files or after a failure, and in front of an empty file.
    virtual int Read(uint8* buffer, uint32 bytes) = 0;
    // The sum of the sizes as they are now. Where a file has grown, the ones behind it keep their positions.
    virtual int64 GetFileSize() = 0;
    // Opens what the list has more than the files that are open, whose names must be its beginning. 0 or
    // 0x80000009; files opened before the failure stay. GetFileSize brings the size up to date.
    virtual uint32 AddFiles(const CVXCStringArray& files) = 0;
};

// A new empty array; null when memory lacks. The caller deletes it.
VXCSOFTCODECIO_API CQLSoftDataSourceArray* ConstructDataSourceArray();
