#include "sources/PullDataSourceArray.h"

#include "frame/Status.h"
#include "sources/MoreFileToOpen.h"
#include "sources/SourceSequence.h"

#include <cstdint>
#include <new>

using namespace vxcio;

namespace {

constexpr SequenceManner kManner = {
    .keepsSecondNames = false,
    .takesNextFromItsStart = false,
    .endsWhenComplete = false,
};

bool AddNames(SourceNames& names, const wchar_t* first, const wchar_t* second) {
    return names.first.Add(first) && (second == nullptr || names.second.Add(second));
}

bool AddNames(SourceNames& names, const SMoreFileToOpenEx& files) {
    for (int i = 0; i < files.GetFilesCount(); ++i) {
        if (!AddNames(names, files.GetFile(i, 0), files.GetFile(i, 1))) {
            return false;
        }
    }
    return true;
}

} // namespace

CPullDataSourceArray::CPullDataSourceArray()
    : m_pSequence(new (std::nothrow) SourceSequence(kManner, &CSoftDataSource::Construct)) {}

CPullDataSourceArray::~CPullDataSourceArray() {
    delete m_pSequence;
}

uint32 CPullDataSourceArray::OpenFile(const wchar_t* fileName, uint32 flagsAndAttributes,
                                      const wchar_t* secondFileName, uint64 moreFiles) {
    CPullDataSourceArray::CloseFile();
    const auto* const record =
        reinterpret_cast<const SMoreFileToOpenEx*>(static_cast<std::uintptr_t>(moreFiles));
    SourceNames names;
    bool isWhole = true;
    if (fileName != nullptr) {
        isWhole = AddNames(names, fileName, secondFileName);
    } else if (record != nullptr) {
        isWhole = AddNames(names, *record);
    }
    return m_pSequence != nullptr && isWhole ? m_pSequence->Open(names, flagsAndAttributes)
                                             : VXC_STATUS_NOT_AVAILABLE;
}

uint32 CPullDataSourceArray::CloseFile() {
    if (m_pSequence != nullptr) {
        m_pSequence->Close();
    }
    return VXC_STATUS_OK;
}

void CPullDataSourceArray::EnablePreRead(int blockBytes, int longestRead) {
    if (m_pSequence != nullptr) {
        m_pSequence->EnablePreRead(blockBytes, longestRead);
    }
}

void CPullDataSourceArray::DisablePreRead() {
    if (m_pSequence != nullptr) {
        m_pSequence->DisablePreRead();
    }
}

uint32 CPullDataSourceArray::IsPreReadMode() {
    return m_pSequence != nullptr && m_pSequence->IsPreReadMode() ? 1 : 0;
}

int CPullDataSourceArray::CanSeek() {
    return 1;
}

int CPullDataSourceArray::ReadAt(uint64 position, uint8** data, int bytes) {
    return m_pSequence != nullptr ? m_pSequence->ReadAt(position, data, bytes) : 0;
}

int CPullDataSourceArray::ReadPtr(uint8** data, int bytes) {
    // A count below 0 is more than any read can give.
    return m_pSequence != nullptr ? m_pSequence->ReadPtr(data, static_cast<uint32>(bytes)) : 0;
}

int64 CPullDataSourceArray::Seek(int64 offset, uint32 origin) {
    return m_pSequence != nullptr ? static_cast<int64>(m_pSequence->Seek(static_cast<uint64>(offset), origin))
                                  : 0;
}

int CPullDataSourceArray::Read(uint8* buffer, uint32 bytes) {
    return m_pSequence != nullptr ? m_pSequence->Read(buffer, bytes) : 0;
}

uint64 CPullDataSourceArray::GetFileSize() {
    return m_pSequence != nullptr ? m_pSequence->GetFileSize() : 0;
}

int CPullDataSourceArray::GetMD5_check(uint32 /*type*/, uint8*& /*digest*/, int& /*length*/) {
    return 0;
}

uint32 CPullDataSourceArray::SetReadRepeat(uint32 /*enable*/) {
    return 0;
}
