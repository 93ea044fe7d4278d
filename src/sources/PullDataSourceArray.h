// PullDataSourceArray.h - several files, opened one after the other, where one source is expected.
#pragma once

#include "frame/Export.h"
#include "frame/SoftDataIO.h"
#include "frame/Types.h"

namespace vxcio {
class SourceSequence;
struct PullDataSourceArrayInspector; // a door for tests
} // namespace vxcio

// A caller constructs it, calls CloseFile and deletes it; the destructor leaves files open. One thread at a
// time. Nothing throws; where memory lacks, an open gives 0x80000002 and all else 0.
//
// Positions, and what reads over boundaries give, are those of CQLSoftDataSourceArray, with one difference. A
// read with read-ahead that crosses a boundary and comes to its full length leaves the array at the file
// behind the one it ended in, where there is one: what that file has left is passed over, until a seek.
class VXCSOFTCODECIO_API CPullDataSourceArray : public CSoftDataSource {
public:
    CPullDataSourceArray();
    CPullDataSourceArray(const CPullDataSourceArray&) = delete;
    CPullDataSourceArray& operator=(const CPullDataSourceArray&) = delete;
    ~CPullDataSourceArray() override;

    // Opens one file, with a second copy where that name is not null. With a null name, opens all files of
    // `moreFiles`, the address of a SMoreFileToOpenEx (MoreFileToOpen.h), which is not needed any more after
    // the call; second copies are used when every index has one. Without either the array is open and empty.
    // The flags are for each file, those of the record are not looked at. 0, or the status of the file that
    // failed: the ones before it are open then.
    uint32 OpenFile(const wchar_t* fileName, uint32 flagsAndAttributes, const wchar_t* secondFileName,
                    uint64 moreFiles) override;
    uint32 CloseFile() override;
    void EnablePreRead(int blockBytes, int longestRead) override;
    void DisablePreRead() override;
    uint32 IsPreReadMode() override;
    int CanSeek() override;
    int ReadAt(uint64 position, uint8** data, int bytes) override;
    int ReadPtr(uint8** data, int bytes) override;
    // The origins are those of CQLSoftDataSourceArray::Seek: 2 counts backwards, 3 ignores the offset.
    int64 Seek(int64 offset, uint32 origin) override;
    int Read(uint8* buffer, uint32 bytes) override;
    uint64 GetFileSize() override;

private:
    friend struct vxcio::PullDataSourceArrayInspector;

    // An array has neither a digest nor a repeat of reads; both do nothing and give 0.
    int GetMD5_check(uint32 type, uint8*& digest, int& length) override;
    uint32 SetReadRepeat(uint32 enable) override;

    vxcio::SourceSequence* m_pSequence; // owned; null when memory lacked
};
