#include "frame/SoftDataIO.h"

#include "frame/Counted.h"
#include "frame/InnerSoftDataIO.h"
#include "frame/Status.h"

#include <new>

// ---- CSoftDataIO --------------------------------------------------------------------------------------

CSoftDataIO::CSoftDataIO() : m_pInner(new (std::nothrow) CInnerSoftDataIO(this)) {}

CSoftDataIO::CSoftDataIO(const CSoftDataIO& other) noexcept : m_pInner(nullptr) {
    vxcio::ShareInto(m_pInner, other.m_pInner);
}

CSoftDataIO& CSoftDataIO::operator=(const CSoftDataIO& other) noexcept {
    if (this != &other) {
        vxcio::ShareInto(m_pInner, other.m_pInner);
    }
    return *this;
}

CSoftDataIO::~CSoftDataIO() {
    vxcio::ShareInto<CInnerSoftDataIO>(m_pInner, nullptr);
}

int CSoftDataIO::EnableMD5_Check(uint32 reserved) {
    return m_pInner == nullptr ? 0 : m_pInner->EnableMD5_Check(reserved);
}

int CSoftDataIO::BeginMD5_Check(uint32 reserved) {
    return m_pInner == nullptr ? 0 : m_pInner->BeginMD5_Check(reserved);
}

int CSoftDataIO::StopMD5_Check(uint32 reserved) {
    return m_pInner == nullptr ? 0 : m_pInner->StopMD5_Check(reserved);
}

int CSoftDataIO::GetMD5_check(uint32 /*type*/, uint8*& /*digest*/, int& /*length*/) {
    return 0;
}

int CSoftDataIO::Connect(FTPMODE mode, const wchar_t* host, const wchar_t* user, const wchar_t* password,
                         int port, int unused) {
    return m_pInner == nullptr ? static_cast<int>(VXC_STATUS_NOT_AVAILABLE)
                               : m_pInner->Connect(mode, host, user, password, port, unused);
}

int CSoftDataIO::SetPASVMode(int passive) {
    return m_pInner == nullptr ? 0 : m_pInner->SetPASVMode(passive);
}

void CSoftDataIO::SetInfoCallBack(PFN_INFO_CALLBACK callback, void* context) {
    if (m_pInner != nullptr) {
        m_pInner->SetInfoCallBack(callback, context);
    }
}

int CSoftDataIO::SetFindPath(const wchar_t* path) {
    return m_pInner == nullptr ? 0 : m_pInner->SetFindPath(path);
}

int CSoftDataIO::FindNextFile1(void* findData) {
    return m_pInner == nullptr ? 0 : m_pInner->FindNextFile1(findData);
}

int CSoftDataIO::FindFileClose() {
    return m_pInner == nullptr ? 0 : m_pInner->FindFileClose();
}

int CSoftDataIO::IsFileExist(const wchar_t* path) {
    return m_pInner == nullptr ? 0 : m_pInner->IsFileExist(path);
}

int CSoftDataIO::DeleteFile1(const wchar_t* path) {
    return m_pInner == nullptr ? 0 : m_pInner->DeleteFile1(path);
}

int CSoftDataIO::RenameFile(const wchar_t* oldPath, const wchar_t* newPath) {
    return m_pInner == nullptr ? 0 : m_pInner->RenameFile(oldPath, newPath);
}

int CSoftDataIO::MakeFolder(const wchar_t* path) {
    return m_pInner == nullptr ? 0 : m_pInner->MakeFolder(path);
}

int CSoftDataIO::DeleteFolder(const wchar_t* path) {
    return m_pInner == nullptr ? 0 : m_pInner->DeleteFolder(path);
}

int CSoftDataIO::Close() {
    return m_pInner == nullptr ? 0 : m_pInner->Close();
}

int CSoftDataIO::GetXDCAMMXFInfo(const wchar_t* path, PLUG_VIDEO_TYPE_& type, uint32& length, uint32& audio,
                                 uint32& rate, uint32& scale) {
    return m_pInner == nullptr ? 0 : m_pInner->GetXDCAMMXFInfo(path, type, length, audio, rate, scale);
}

uint64 CSoftDataIO::GetXDCAMFreeSpace() {
    return m_pInner == nullptr ? 0 : m_pInner->GetXDCAMFreeSpace();
}

int CSoftDataIO::GetXInfo(const wchar_t* path, ENUMIOInfo_TYPE type, SPlugStreamMediaInfo* info) {
    return m_pInner == nullptr ? 0 : m_pInner->GetXInfo(path, type, info);
}

// ---- CSoftDataSource ----------------------------------------------------------------------------------

CSoftDataSource::CSoftDataSource() = default;
CSoftDataSource::CSoftDataSource(const CSoftDataSource& other) noexcept = default;
CSoftDataSource& CSoftDataSource::operator=(const CSoftDataSource& other) noexcept = default;
CSoftDataSource::~CSoftDataSource() = default;

int CSoftDataSource::OpenXDCAMFtpMXF(const wchar_t* /*path*/, uint32& /*start*/, uint32& /*end*/,
                                     const wchar_t* /*reserved*/) {
    return static_cast<int>(VXC_STATUS_NOT_AVAILABLE);
}

uint64 CSoftDataSource::GetFileSize() {
    return m_pInner == nullptr ? 0 : m_pInner->m_qwFileSize;
}

// ---- CQLSoftDataSink, CQLSoftDataSinkEx1 --------------------------------------------------------------

CQLSoftDataSink::CQLSoftDataSink() = default;
CQLSoftDataSink::CQLSoftDataSink(const CQLSoftDataSink& other) noexcept = default;
CQLSoftDataSink& CQLSoftDataSink::operator=(const CQLSoftDataSink& other) noexcept = default;
CQLSoftDataSink::~CQLSoftDataSink() = default;

int CQLSoftDataSink::GetMD5_check(uint32 /*type*/, uint8*& /*digest*/, int& /*length*/) {
    return 0;
}

uint64 CQLSoftDataSink::GetFileSize() {
    return 0;
}

CQLSoftDataSinkEx1::CQLSoftDataSinkEx1() = default;
CQLSoftDataSinkEx1::CQLSoftDataSinkEx1(const CQLSoftDataSinkEx1& other) noexcept = default;
CQLSoftDataSinkEx1& CQLSoftDataSinkEx1::operator=(const CQLSoftDataSinkEx1& other) noexcept = default;
CQLSoftDataSinkEx1::~CQLSoftDataSinkEx1() = default;

int CQLSoftDataSinkEx1::GetMD5_check(uint32 /*type*/, uint8*& /*digest*/, int& /*length*/) {
    return 0;
}

uint64 CQLSoftDataSinkEx1::GetFileSize() {
    return 0;
}
