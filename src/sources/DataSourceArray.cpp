#include "sources/DataSourceArray.h"

#include "frame/SoftDataIO.h"
#include "frame/Status.h"

#include <cwchar>

using namespace vxcio;

namespace {

constexpr SequenceManner kManner = {
    .keepsSecondNames = true,
    .takesNextFromItsStart = true,
    .endsWhenComplete = true,
};

// 'name1*name2' is two names. A star in front belongs to the name.
bool Split(const CVXCStringArray& files, SourceNames& names) {
    for (int64 i = 0; i < files.GetCount(); ++i) {
        const wchar_t* const text = files.GetAt(i);
        const wchar_t* const star = std::wcschr(text, L'*');
        if (star == nullptr || star == text) {
            if (!names.first.Add(text)) {
                return false;
            }
            continue;
        }
        const CVXCString first(text, static_cast<int>(star - text));
        if (first.IsEmpty() || !names.first.Add(first) || !names.second.Add(star + 1)) {
            return false;
        }
    }
    return true;
}

} // namespace

CQLSoftDataSourceArray::~CQLSoftDataSourceArray() = default;

CDataSourceArray::CDataSourceArray() noexcept : m_sequence(kManner, &CSoftDataSource::Construct) {}

uint32 CDataSourceArray::OpenFiles(const CVXCStringArray& files, uint32 flagsAndAttributes) {
    m_sequence.Close();
    m_dwFlagsAndAttributes = flagsAndAttributes;
    SourceNames names;
    return Split(files, names) ? m_sequence.Open(names, flagsAndAttributes) : VXC_STATUS_NOT_AVAILABLE;
}

uint32 CDataSourceArray::CloseFiles() {
    m_sequence.Close();
    return VXC_STATUS_OK;
}

void CDataSourceArray::EnablePreRead(int blockBytes, int longestRead) {
    m_sequence.EnablePreRead(blockBytes, longestRead);
}

void CDataSourceArray::DisablePreRead() {
    m_sequence.DisablePreRead();
}

uint32 CDataSourceArray::IsPreReadMode() {
    return m_sequence.IsPreReadMode() ? 1 : 0;
}

int CDataSourceArray::CanSeek() {
    return 1;
}

int CDataSourceArray::ReadAt(uint64 position, uint8** data, int bytes) {
    return m_sequence.ReadAt(position, data, bytes);
}

int CDataSourceArray::ReadPtr(uint8** data, uint32 bytes) {
    return m_sequence.ReadPtr(data, bytes);
}

uint64 CDataSourceArray::Seek(uint64 offset, uint32 origin) {
    return m_sequence.Seek(offset, origin);
}

int CDataSourceArray::Read(uint8* buffer, uint32 bytes) {
    return m_sequence.Read(buffer, bytes);
}

int64 CDataSourceArray::GetFileSize() {
    return static_cast<int64>(m_sequence.GetFileSize());
}

uint32 CDataSourceArray::AddFiles(const CVXCStringArray& files) {
    SourceNames names;
    return Split(files, names) ? m_sequence.Extend(names, m_dwFlagsAndAttributes) : VXC_STATUS_LIST;
}
