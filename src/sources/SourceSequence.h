// SourceSequence.h - sources read one after the other as one stream: the elements of a source array, all its
// arithmetic of positions, and the buffer in which a read over a boundary is put together.
//
//   element        0             1       2                3
//   stream   |-------------|---------|-------------------|------|
//            nStartPos 0   nSize 0   nStartPos 2 ...     nTotalSize at the end
//
// Both arrays stand on it. One thread at a time. Nothing throws. The odd rules of positions are what callers
// of the arrays have come to rely on:
//
// - a plain read inside one element does not move the position, every other read and each seek does;
// - ReadAt hands the position to the element as it is, and leaves the sequence at the element that gave
//   nothing, or behind the last one;
// - the start positions stay when sizes are asked again.
#pragma once

#include "frame/SoftDataIO.h"
#include "frame/Types.h"
#include "frame/VXCString.h"
#include "sources/GrowingArrays.h"

#include <memory>

namespace vxcio {

struct SourceSequenceInspector; // a door for tests

// Makes the source of an element; null when it cannot.
using MakeSource = CSoftDataSource* (*)(IOWordkMode mode);

// In what the two arrays differ.
struct SequenceManner {
    // The name of the second copy stays with the element.
    bool keepsSecondNames;
    // ReadPtr, going on in the next element, reads from that one's start and stops the read-ahead of the one
    // two places back. Without it the element is read where it stands, and nothing is stopped.
    bool takesNextFromItsStart;
    // ReadPtr ends where it has the whole length. Without it a read that is complete still asks the next
    // element for 0 bytes, and leaves the sequence there.
    bool endsWhenComplete;
};

// Second names go to the sources when there are as many of them as first ones, else none does.
struct SourceNames {
    CVXCStringArray first;
    CVXCStringArray second;

    bool ArePaired() const noexcept { return first.GetCount() == second.GetCount(); }
};

class SourceSequence {
public:
    SourceSequence(SequenceManner manner, MakeSource makeSource) noexcept;
    SourceSequence(const SourceSequence&) = delete;
    SourceSequence& operator=(const SourceSequence&) = delete;
    // Leaves the sources as they are, with their threads: whoever wants them closed calls Close.
    ~SourceSequence();

    // Opens a source for each name; what was open before was closed by Close. 0, or the status of the source
    // that failed; the ones before it stay. 0x80000002 when memory lacks.
    uint32 Open(const SourceNames& names, uint32 flagsAndAttributes);
    // Opens sources for the names behind those that are open, which must be the first of the list. 0 or
    // 0x80000009. The total size stays until it is asked for.
    uint32 Extend(const SourceNames& names, uint32 flagsAndAttributes);
    // Closes and frees all sources. The position, the total size and the sizes of read-ahead stay.
    void Close();

    void EnablePreRead(int blockBytes, int longestRead);
    void DisablePreRead() noexcept;
    bool IsPreReadMode() const noexcept { return m_dwPreReadSize > 0; }

    // As the operations of CQLSoftDataSourceArray.
    int ReadAt(uint64 position, uint8** data, int bytes);
    int ReadPtr(uint8** data, uint32 bytes);
    uint64 Seek(uint64 offset, uint32 origin);
    int Read(uint8* buffer, uint32 bytes);
    uint64 GetFileSize();

    int Count() const noexcept { return static_cast<int>(m_elements.nCount); }

private:
    friend struct SourceSequenceInspector;

    struct Element {
        CSoftDataSource* pSource = nullptr; // owned
        CVXCString strFile1;
        CVXCString strFile2;
        uint64 nStartPos = 0; // of its first byte in the stream
        uint64 nSize = 0;

        Element() = default;
        Element(Element&&) = default;
        Element& operator=(Element&&) = default;
    };
    struct ElementFields {
        Element* pData = nullptr;
        int64 nCount = 0;
        int64 nCapacity = 0;
        int64 nGrowStep = 0;
    };

    // The index may be the position of no element: -1, or the count.
    bool IsAtElement() const noexcept { return m_nCurIndex >= 0 && m_nCurIndex < Count(); }
    CSoftDataSource& SourceAt(int index) const noexcept { return *m_elements.pData[index].pSource; }
    int Find(uint64 position) const noexcept;
    void MakeReady(CSoftDataSource& source) const;
    uint32 Append(const SourceNames& names, int64 index, uint32 flagsAndAttributes, uint64& end);
    bool Begins(const SourceNames& names) const noexcept;
    uint32 ReadPtrOfNext(uint8** data, uint32 bytes);
    bool GrowJoinBuffer(uint32 bytes) noexcept;
    void ReleaseJoinBuffer() noexcept;
    uint32 Join(uint32 count, const uint8* data, uint32 bytes) noexcept;

    const SequenceManner m_manner;
    MakeSource m_makeSource;
    ElementFields m_elements;
    uint64 m_nTotalSize = 0;
    uint64 m_nCurPos = 0;
    int32 m_nCurIndex = 0;
    uint32 m_dwSectorSize = 0;  // of the current element's disk when read-ahead was enabled last
    uint32 m_dwPreReadSize = 0; // 0: off
    uint32 m_dwMaxReadSize = 0; // the longest read announced
    std::unique_ptr<uint8[]> m_pJoinBuffer;
    uint32 m_dwJoinSize = 0; // 0 without a buffer; grows past m_dwMaxReadSize when a longer read comes
};

} // namespace vxcio
