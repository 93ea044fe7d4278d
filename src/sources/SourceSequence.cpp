#include "sources/SourceSequence.h"

#include "frame/RoundUp.h"
#include "frame/Status.h"
#include "frame/TransferDefaults.h"
#include "sources/DiskProbes.h"
#include "sources/GrowingArrayRule.h"
#include "sources/HeapText.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace vxcio {

namespace {

struct CloseAndDelete {
    void operator()(CSoftDataSource* source) const {
        source->CloseFile();
        source->Close();
        delete source;
    }
};
using OpenSource = std::unique_ptr<CSoftDataSource, CloseAndDelete>;

} // namespace

SourceSequence::SourceSequence(SequenceManner manner, MakeSource makeSource) noexcept
    : m_manner(manner), m_makeSource(makeSource) {}

SourceSequence::~SourceSequence() {
    ArrayFree(m_elements);
}

// ---- Opening and closing ------------------------------------------------------------------------------

uint32 SourceSequence::Open(const SourceNames& names, uint32 flagsAndAttributes) {
    m_nTotalSize = 0;
    m_nCurPos = 0;
    m_nCurIndex = 0;
    m_dwPreReadSize = 0;
    m_dwMaxReadSize = 0;
    for (int64 i = 0; i < names.first.GetCount(); ++i) {
        const uint32 status = Append(names, i, flagsAndAttributes, m_nTotalSize);
        if (status != VXC_STATUS_OK) {
            return status;
        }
    }
    return VXC_STATUS_OK;
}

// One element more, which starts at `end` and moves it.
uint32 SourceSequence::Append(const SourceNames& names, int64 index, uint32 flagsAndAttributes, uint64& end) {
    const wchar_t* const first = names.first.GetAt(index);
    const wchar_t* const second = names.ArePaired() ? names.second.GetAt(index) : nullptr;
    OpenSource source(m_makeSource(IOWORKMODE_FILE));
    if (!source) {
        return VXC_STATUS_NOT_AVAILABLE;
    }
    const uint32 status = source->OpenFile(first, flagsAndAttributes, second, 0);
    if (status != VXC_STATUS_OK) {
        return status;
    }
    Element element;
    if (!CopyText(element.strFile1, first) ||
        (m_manner.keepsSecondNames && !CopyText(element.strFile2, second)) ||
        !ArraySetCount(m_elements, m_elements.nCount + 1)) {
        return VXC_STATUS_NOT_AVAILABLE;
    }
    element.nStartPos = end;
    element.nSize = source->GetFileSize();
    end += element.nSize;
    element.pSource = source.release();
    m_elements.pData[m_elements.nCount - 1] = std::move(element);
    return VXC_STATUS_OK;
}

// What is open are the first files of the list.
bool SourceSequence::Begins(const SourceNames& names) const noexcept {
    if (names.first.GetCount() < m_elements.nCount) {
        return false;
    }
    for (int i = 0; i < Count(); ++i) {
        if (m_elements.pData[i].strFile1.Compare(names.first.GetAt(i)) != 0) {
            return false;
        }
    }
    return true;
}

uint32 SourceSequence::Extend(const SourceNames& names, uint32 flagsAndAttributes) {
    if (!Begins(names)) {
        return VXC_STATUS_LIST;
    }
    uint64 end = 0;
    if (m_elements.nCount > 0) {
        Element& last = m_elements.pData[m_elements.nCount - 1];
        last.nSize = last.pSource->GetFileSize();
        end = last.nStartPos + last.nSize;
    }
    for (int64 i = m_elements.nCount; i < names.first.GetCount(); ++i) {
        if (Append(names, i, flagsAndAttributes, end) != VXC_STATUS_OK) {
            return VXC_STATUS_LIST;
        }
    }
    return VXC_STATUS_OK;
}

void SourceSequence::Close() {
    for (int i = 0; i < Count(); ++i) {
        CloseAndDelete()(m_elements.pData[i].pSource);
    }
    ArrayFree(m_elements);
    ReleaseJoinBuffer();
}

uint64 SourceSequence::GetFileSize() {
    m_nTotalSize = 0;
    for (int i = 0; i < Count(); ++i) {
        Element& element = m_elements.pData[i];
        element.nSize = element.pSource->GetFileSize();
        m_nTotalSize += element.nSize;
    }
    return m_nTotalSize;
}

// ---- Positions ----------------------------------------------------------------------------------------

int SourceSequence::Find(uint64 position) const noexcept {
    if (Count() == 1) {
        return 0; // any position, also one past the end
    }
    for (int i = 0; i < Count(); ++i) {
        const Element& element = m_elements.pData[i];
        if (element.nStartPos <= position && position - element.nStartPos < element.nSize) {
            return i;
        }
    }
    return -1;
}

uint64 SourceSequence::Seek(uint64 offset, uint32 origin) {
    uint64 target = 0; // sums wrap
    switch (origin) {
    case kFromStart:
        target = offset;
        break;
    case kFromEnd:
        target = m_nTotalSize - offset;
        break;
    case kFromCurrent:
        target = m_nCurPos; // whatever the offset
        break;
    default:
        return 0;
    }
    m_nCurIndex = Find(target);
    if (m_nCurIndex < 0) {
        return target;
    }
    const Element& element = m_elements.pData[m_nCurIndex];
    const int64 inElement = element.pSource->Seek(static_cast<int64>(target - element.nStartPos), kFromStart);
    m_nCurPos = element.nStartPos + static_cast<uint64>(inElement);
    return m_nCurPos;
}

// ---- Read-ahead ---------------------------------------------------------------------------------------

void SourceSequence::EnablePreRead(int blockBytes, int longestRead) {
    if (blockBytes == 0) {
        return;
    }
    m_dwSectorSize =
        IsAtElement() ? GetDiskSectorSize(m_elements.pData[m_nCurIndex].strFile1) : kDefaultSectorSize;
    const int larger = std::max(blockBytes, longestRead);
    const uint64 size = static_cast<uint32>(larger);
    const uint64 rounded = RoundUp(size, m_dwSectorSize);
    // The elements take an int, whose sign has a meaning of its own: rounding must not turn it around.
    const uint64 limit = larger < 0 ? std::numeric_limits<uint32>::max() : std::numeric_limits<int32>::max();
    if (rounded > limit) {
        return;
    }
    const auto maxReadSize = static_cast<uint32>(longestRead);
    if (rounded == m_dwPreReadSize && maxReadSize == m_dwMaxReadSize) {
        return;
    }
    m_dwPreReadSize = static_cast<uint32>(rounded);
    m_dwMaxReadSize = maxReadSize;
    ReleaseJoinBuffer();
    if (longestRead > 0) {
        GrowJoinBuffer(maxReadSize); // a read that needs it tries again where memory lacks now
    }
}

void SourceSequence::DisablePreRead() noexcept {
    m_dwPreReadSize = 0;
    ReleaseJoinBuffer();
}

// Each element is told when it is read the next time.
void SourceSequence::MakeReady(CSoftDataSource& source) const {
    if (m_dwPreReadSize > 0) {
        source.EnablePreRead(static_cast<int>(m_dwPreReadSize), static_cast<int>(m_dwMaxReadSize));
    } else {
        source.DisablePreRead();
    }
}

bool SourceSequence::GrowJoinBuffer(uint32 bytes) noexcept {
    if (m_dwJoinSize >= bytes) {
        return true;
    }
    m_pJoinBuffer.reset(new (std::nothrow) uint8[bytes]);
    m_dwJoinSize = m_pJoinBuffer ? bytes : 0;
    return m_dwJoinSize != 0;
}

void SourceSequence::ReleaseJoinBuffer() noexcept {
    m_pJoinBuffer.reset();
    m_dwJoinSize = 0;
}

} // namespace vxcio
