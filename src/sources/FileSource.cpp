#include "sources/FileSource.h"

#include "filehandle/CallerFileFunctions.h"
#include "frame/InnerSoftDataIO.h"
#include "frame/Log.h"
#include "frame/ReadSetting.h"
#include "frame/Status.h"
#include "frame/TransferDefaults.h"
#include "paths/MediumPathRules.h"
#include "platform/DiskQueries.h"
#include "sources/DiskProbes.h"

#include <new>

using namespace vxcio;

namespace {

constexpr uint32 kDefaultReadBlockSize = 0x100000;
constexpr uint32 kFirstDoubleRdThreshold = 200; // milliseconds, until an open with two copies sets it
constexpr int kReadBlockShift = 20;             // the setting counts MiB
constexpr uint64 kLargestReadBlock = 0x40000000;

} // namespace

CFileSource::CFileSource()
    : m_dwSectorSize(kDefaultSectorSize), m_dwDoubleRdThreshold(kFirstDoubleRdThreshold),
      m_dwReadBlockSize(kDefaultReadBlockSize) {}

CFileSource::~CFileSource() {
    CFileSource::CloseFile();
    CFileSource::DisablePreRead(); // it may run without a file
    CSoftDataIO::Close();
}

bool CFileSource::IsUnbuffered() const noexcept {
    return (m_dwFlags & VXC_FILE_FLAG_NO_BUFFERING) != 0;
}

void CFileSource::ReadBlockSizeSetting() {
    uint32 mebibytes = 0;
    if (ReadSetting(L"ReadBlockSize", &mebibytes) == 0) {
        return;
    }
    // Two blocks must fit 32 bits; what does not counts as 0, which leaves the size as it is.
    const uint64 bytes = uint64{mebibytes} << kReadBlockShift;
    if (bytes != 0 && bytes <= kLargestReadBlock) {
        m_dwReadBlockSize = static_cast<uint32>(bytes);
    }
    LogTrace(L"CFileSource::OpenFile()-m_dwReadBlockSize = 0x%x bytes(Register = %d)", m_dwReadBlockSize,
             mebibytes);
}

// Takes over the names. Only names of real paths are looked at; with a host's functions the second name is
// ignored.
void CFileSource::OpenNames(const wchar_t* fileName, const wchar_t* secondFileName) {
    DELVXCIOID(fileName, &m_pIOCallbackSet);
    m_strFile[0] = fileName;
    if (m_pIOCallbackSet != nullptr) {
        return;
    }
    const CVXCString root = m_strFile[0].Left(DiskQueries().rootLength(m_strFile[0]));
    if (VXC_GetDriveTypeW(root) == VXC_DRIVE_CDROM) {
        // The message is all that happens; users of optical drives look for it.
        LogTrace(L"%s",
                 L"CFileSource::OpenFile--This is CDROM Path Name, Change to VXC_FILE_FLAG_SEQUENTIAL_SCAN");
    }
    m_strFile[0] = ApplyMediumPathRules(fileName);
    if (secondFileName != nullptr && secondFileName[0] != 0) {
        m_bTwoHandle = 1;
        m_strFile[1] = ApplyMediumPathRules(secondFileName);
    }
}

uint32 CFileSource::OpenFile(const wchar_t* fileName, uint32 flagsAndAttributes,
                             const wchar_t* secondFileName, uint64 /*extra*/) {
    CFileSource::CloseFile();
    CFileSource::DisablePreRead(); // it may run without a file
    _VXC_LARGE_INTEGER frequency = {};
    VXC_QueryPerformanceFrequency(&frequency);
    m_ReadRate.SetFrequency(static_cast<uint64>(frequency.QuadPart));
    m_pInner->m_qwFileSize = 0;
    m_qwReadPos = 0;
    m_qwFilePos = 0;
    m_bTwoHandle = 0;
    m_bKeepWindow = (flagsAndAttributes & VXC_FILE_FLAG_KEEP_WINDOW) != 0 ? 1 : 0;
    m_dwFlags = flagsAndAttributes;
    ReadBlockSizeSetting();
    OpenNames(fileName == nullptr ? L"" : fileName, secondFileName);

    const uint32 status = OpenHandle(0);
    m_dwSectorSize = kDefaultSectorSize;
    if (status == VXC_STATUS_OK) {
        m_dwSectorSize = GetDiskSectorSize(m_strFile[0]);
    }
    return m_bTwoHandle == 0 ? status : OpenSecondFile(status);
}

// File1 or File2 on its name, in thread mode where there are two.
uint32 CFileSource::OpenHandle(int which) {
    m_pFile[which].reset(new (std::nothrow) CQLSoftFileHandle);
    if (!m_pFile[which]) {
        return VXC_STATUS_OPEN_READ;
    }
    return m_pFile[which]->CreateFile(m_strFile[which], VXC_GENERIC_READ,
                                      VXC_FILE_SHARE_READ | VXC_FILE_SHARE_WRITE, nullptr, VXC_OPEN_EXISTING,
                                      m_dwFlags, nullptr, m_bTwoHandle);
}

void CFileSource::LogClose(const wchar_t* step) const {
    if (m_bTwoHandle == 0) {
        LogTrace(L"this->%x:CFileSource::CloseFile(): SingleHandleMode: File1:%s -- %s", Low32(this),
                 m_strFile[0].c_str(), step);
    } else {
        LogTrace(L"this->%x:CFileSource::CloseFile(): DoubleHandleMode: File1:%s, File2:%s -- %s",
                 Low32(this), m_strFile[0].c_str(), m_strFile[1].c_str(), step);
    }
}

uint32 CFileSource::CloseFile() {
    if (!m_pFile[0]) {
        return VXC_STATUS_OK;
    }
    LogClose(L"Begin");
    m_qwReadPos = 0;
    m_qwFilePos = 0;
    CFileSource::DisablePreRead();
    m_pAlignBuffer.Reset();
    m_pReadAtBuffer.Reset();
    m_pWholeFile.Reset();
    m_qwWholeFileSize = 0;
    m_pTwoHandle.reset();
    for (auto& file : m_pFile) {
        if (file) {
            file->CloseFileHandle();
            file.reset();
        }
    }
    LogClose(L"End");
    return VXC_STATUS_OK;
}

// Only sets flags, so it asks for no copy to be idle.
uint32 CFileSource::SetReadRepeat(uint32 enable) {
    uint32 previous = 0;
    for (auto& file : m_pFile) {
        if (file) {
            previous = file->SetRepeat(enable);
        }
    }
    return previous;
}

int CFileSource::CanSeek() {
    return 1;
}

uint64 CFileSource::GetFileSize() {
    // File1 may be with its reader for as long as its disk hangs. Then the size that is known has to do.
    std::unique_lock lock(m_FileMutex, std::defer_lock);
    if (m_bTwoHandle == 0) {
        lock.lock();
    } else if (!lock.try_lock() || !IsFile1Free(0)) {
        return m_pInner->m_qwFileSize;
    }
    for (auto& file : m_pFile) {
        if (file) {
            m_pInner->m_qwFileSize = file->GetFileSize();
            break;
        }
    }
    return m_pInner->m_qwFileSize;
}
