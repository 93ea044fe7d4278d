#include "sources/PullDataSource.h"

#include "frame/Status.h"
#include "sources/FileSource.h"
#include "sources/RemoteSource.h"
#include "text/FoldCase.h"

#include <new>
#include <string_view>

namespace {

// Compares in place: where memory lacks, a URL must not go to the local files.
bool IsUrl(const wchar_t* name) {
    for (const wchar_t letter : std::wstring_view(L"HTTP")) {
        if (vxcio::AsciiUpper(*name++) != letter) { // at the end of the name too
            return false;
        }
    }
    return true;
}

// An object whose inner object could not be made is no object.
template <class Kind>
std::unique_ptr<CSoftDataSource> Make() {
    std::unique_ptr<Kind> source(new (std::nothrow) Kind);
    if (source && !source->IsComplete()) {
        return nullptr;
    }
    return source;
}

// The source that serves a name; null where memory lacks.
std::unique_ptr<CSoftDataSource> MakeSource(const wchar_t* fileName) {
    if (IsUrl(fileName)) {
        return Make<CRemoteSource>();
    }
    return Make<CFileSource>();
}

} // namespace

CPullDataSource::CPullDataSource() = default;

CPullDataSource::~CPullDataSource() {
    if (m_pSource) {
        m_pSource->Close();
    }
}

uint32 CPullDataSource::OpenFile(const wchar_t* fileName, uint32 flagsAndAttributes,
                                 const wchar_t* secondFileName, uint64 extra) {
    CloseFile();
    if (fileName != nullptr) {
        m_pSource = MakeSource(fileName);
    }
    if (!m_pSource) {
        return VXC_STATUS_NOT_AVAILABLE;
    }
    return m_pSource->OpenFile(fileName, flagsAndAttributes, secondFileName, extra);
}

uint32 CPullDataSource::CloseFile() {
    if (!m_pSource) {
        return VXC_STATUS_OK;
    }
    const uint32 status = m_pSource->CloseFile();
    m_pSource->Close();
    m_pSource.reset();
    return status;
}

int CPullDataSource::EnableMD5_Check(uint32 reserved) {
    return m_pSource ? m_pSource->EnableMD5_Check(reserved) : 0;
}

int CPullDataSource::BeginMD5_Check(uint32 reserved) {
    return m_pSource ? m_pSource->BeginMD5_Check(reserved) : 0;
}

int CPullDataSource::StopMD5_Check(uint32 reserved) {
    return m_pSource ? m_pSource->StopMD5_Check(reserved) : 0;
}

int CPullDataSource::GetMD5_check(uint32 type, uint8*& digest, int& length) {
    return m_pSource ? m_pSource->GetMD5_check(type, digest, length) : 0;
}

uint32 CPullDataSource::SetReadRepeat(uint32 enable) {
    return m_pSource ? m_pSource->SetReadRepeat(enable) : 0;
}

void CPullDataSource::EnablePreRead(int bufferBytes, int minimumBytes) {
    if (m_pSource) {
        m_pSource->EnablePreRead(bufferBytes, minimumBytes);
    }
}

void CPullDataSource::DisablePreRead() {
    if (m_pSource) {
        m_pSource->DisablePreRead();
    }
}

uint32 CPullDataSource::IsPreReadMode() {
    return m_pSource ? m_pSource->IsPreReadMode() : 0;
}

int CPullDataSource::CanSeek() {
    return 1;
}

int CPullDataSource::ReadAt(uint64 position, uint8** data, int bytes) {
    return m_pSource ? m_pSource->ReadAt(position, data, bytes) : 0;
}

int CPullDataSource::ReadPtr(uint8** data, int bytes) {
    return m_pSource ? m_pSource->ReadPtr(data, bytes) : 0;
}

int64 CPullDataSource::Seek(int64 offset, uint32 origin) {
    return m_pSource ? m_pSource->Seek(offset, origin) : 0;
}

int CPullDataSource::Read(uint8* buffer, uint32 bytes) {
    return m_pSource ? m_pSource->Read(buffer, bytes) : 0;
}

uint64 CPullDataSource::GetFileSize() {
    return m_pSource ? m_pSource->GetFileSize() : 0;
}
