#include "filehandle/SoftFileHandle.h"

#include "frame/Log.h"
#include "frame/ModuleValues.h"
#include "frame/Status.h"
#include "platform/SafeCopy.h"

using namespace vxcio;

namespace {

constexpr uint32 kReadRepeats = 10;
constexpr uint32 kRepeatPause = 1000;   // milliseconds
constexpr uint32 kBitratePeriod = 1000; // milliseconds

// Gives the record its own copy of a host's table. False when nothing readable lies at that address.
bool TakeCallbacks(SCreateFile& record, const void* table) {
    if (table == nullptr) {
        return true;
    }
    if (CopyFromAnywhere(&record.callbacks, table, sizeof record.callbacks) == 0) {
        LogError(L"CQLSoftFileHandle::CreateFile(%s): no file functions at 0x%x", record.szFileName.c_str(),
                 Low32(table));
        return false;
    }
    record.hasCallbacks = true;
    return true;
}

} // namespace

// All four waits begin with the time-out of reads; write access changes only that of opening.
CQLSoftFileHandle::CQLSoftFileHandle() noexcept
    : m_dwOpenWait(ReadHandleTimeOut()), m_dwWriteWait(m_dwOpenWait), m_dwReadWait(m_dwOpenWait),
      m_dwSeekWait(m_dwOpenWait) {}

CQLSoftFileHandle::~CQLSoftFileHandle() {
    CloseFileHandle();
}

uint32 CQLSoftFileHandle::CreateFile(const wchar_t* fileName, uint32 dwDesiredAccess, uint32 dwShareMode,
                                     void* lpSecurityAttributes, uint32 dwCreationDisposition,
                                     uint32 dwFlagsAndAttributes, void* hTemplateFile,
                                     uint32 threadMode) noexcept {
    CloseFileHandle();
    if (fileName == nullptr) {
        fileName = L"";
    }
    void* table = nullptr;
    const CVXCString plainName = DELVXCIOID(fileName, &table);

    bFileHandle_Thread_Mode = threadMode;
    m_dwOpenWait = ReadHandleTimeOut();
    if ((dwDesiredAccess & VXC_GENERIC_WRITE) != 0 && WriteHandleTimeOut() != VXC_INFINITE) {
        bFileHandle_Thread_Mode = 1;
        m_dwOpenWait = WriteHandleTimeOut();
    }
    if (bFileHandle_Thread_Mode != 0) {
        LogTrace(L"CQLSoftFileHandle::CreateFile(%s) is Double Thread Mode", plainName.c_str());
    }

    SCreateFile* const record =
        NewRecord(plainName.c_str(), dwDesiredAccess, dwShareMode, lpSecurityAttributes,
                  dwCreationDisposition, dwFlagsAndAttributes, hTemplateFile);
    if (record == nullptr) {
        return OpenFailureStatus(dwDesiredAccess);
    }
    m_pSCreateFile = record;
    const bool tableIsGood = TakeCallbacks(*record, table);
    if (bFileHandle_Thread_Mode != 0) {
        const uint32 lacking = CreateByWorker(tableIsGood);
        if (lacking != VXC_STATUS_OK) {
            return lacking;
        }
    } else {
        const uint32 opened = tableIsGood ? record->Open() : OpenFailureStatus(dwDesiredAccess);
        if (opened != VXC_STATUS_OK) {
            m_nStatus = opened; // a success leaves what an earlier use left
        }
    }

    m_qwBitrateBytes = 0;
    m_qwBitrateBusy = 0;
    m_qwBitrateStart = 0;
    if (IsBitrateInfoOn()) {
        LogTrace(L"this->0x%x, CQLSoftFileHandle::CreateFile(FileName[%s], dwFlagsAndAttributes[0x%x], "
                 L"bFileHandle_Thread_Mode[%d] End)",
                 Low32(this), fileName, record->dwFlagsAndAttributes, bFileHandle_Thread_Mode);
    }
    return m_nStatus;
}

SCreateFile* CQLSoftFileHandle::NewRecord(const wchar_t* plainName, uint32 dwDesiredAccess,
                                          uint32 dwShareMode, void* lpSecurityAttributes,
                                          uint32 dwCreationDisposition, uint32 dwFlagsAndAttributes,
                                          void* hTemplateFile) noexcept {
    SCreateFile* const record = SCreateFile::Make(plainName);
    if (record != nullptr) {
        record->dwDesiredAccess = dwDesiredAccess;
        record->dwShareMode = dwShareMode;
        record->lpSecurityAttributes = static_cast<VXC_SECURITY_ATTRIBUTES*>(lpSecurityAttributes);
        record->dwCreationDisposition = dwCreationDisposition;
        record->dwFlagsAndAttributes = dwFlagsAndAttributes & ~VXC_FILE_FLAG_KEEP_WINDOW;
        record->hTemplateFile = hTemplateFile;
    }
    return record;
}

void CQLSoftFileHandle::ReadOnce(const ReadTarget& target, uint32 bytes, uint32* done) noexcept {
    SCreateFile& record = *m_pSCreateFile;
    void* const buffer = target.block == nullptr ? target.buffer : target.block->Data();
    if (record.Read(buffer, bytes, done, target.overlapped)) {
        if (record.qwPosition != kUnknownPosition) {
            record.qwPosition += *done;
        }
        return;
    }
    const ErrorText error = LastErrorText();
    LogError(L"ReadFile(nNumberOfBytes=%d) error, FileName is[%s], Description is[%s], lpBuffer is[0x%x]",
             bytes, record.szFileName.c_str(), static_cast<const wchar_t*>(error.text), Low32(buffer));
    m_nStatus = VXC_STATUS_READ;
    record.qwPosition = kUnknownPosition;
}

uint32 CQLSoftFileHandle::ReadInto(const ReadTarget& target, uint32 bytes, uint32* bytesRead) noexcept {
    const bool measured = IsBitrateInfoOn();
    uint32 started = 0;
    if (measured) {
        started = VXC_GetTickCount();
        if (m_qwBitrateStart == 0) {
            m_qwBitrateStart = started;
        }
    }
    uint32 ignored = 0;
    uint32& done = bytesRead == nullptr ? ignored : *bytesRead;
    done = 0;
    if (m_nStatus == VXC_STATUS_TIME_OUT) {
        return m_nStatus;
    }
    if (bytes == 0) {
        return m_nStatus;
    }
    if (m_pSCreateFile == nullptr) {
        return VXC_STATUS_READ;
    }
    if (target.block != nullptr && target.block->Size() < bytes) {
        return VXC_STATUS_READ; // memory that lacked
    }
    const bool threaded = bFileHandle_Thread_Mode != 0;
    const bool repeat = m_bReadRepeat != 0; // turned on later, it has no position to go back to
    const uint64 position = repeat ? static_cast<uint64>(SetFilePointer(0, VXC_FILE_CURRENT)) : 0;
    for (uint32 repeats = 0;; ++repeats) {
        // A read under way is waited for again; but none is begun behind a seek that hangs.
        if (threaded && m_nStatus == VXC_STATUS_TIME_OUT && !m_readWorker.IsUnderWay()) {
            done = 0;
            break;
        }
        done = 0;
        if (threaded) {
            const bool isLast = !repeat || m_bReadRepeat == 0 || repeats == kReadRepeats;
            ReadByWorker(target, bytes, isLast, &done);
        } else {
            ReadOnce(target, bytes, &done);
        }
        if (done == bytes || !repeat || m_bReadRepeat == 0 || repeats == kReadRepeats) {
            break;
        }
        VXC_Sleep(kRepeatPause);
        SetFilePointer(position, VXC_FILE_BEGIN);
        VXCMSGW(kModuleName, L"CQLSoftFileHandle::ReadFile() Repeat!\n");
    }
    if (m_readWorker.IsUnderWay()) {
        m_readWorker.Abandon(); // the repeat was turned off during the last wait
    }
    if (measured) {
        LogBitrate(bytes, started);
    }
    return m_nStatus;
}

uint32 CQLSoftFileHandle::ReadFile(void* buffer, uint32 bytes, uint32* bytesRead,
                                   _VXC_OVERLAPPED* overlapped) noexcept {
    return ReadInto({buffer, nullptr, overlapped}, bytes, bytesRead);
}

uint32 CQLSoftFileHandle::ReadBlock(AlignedBuffer& block, uint32 bytes, uint32* bytesRead) noexcept {
    return ReadInto({nullptr, &block, nullptr}, bytes, bytesRead);
}

void CQLSoftFileHandle::LogBitrate(uint32 requested, uint32 started) noexcept {
    const uint32 now = VXC_GetTickCount();
    m_qwBitrateBytes += requested;
    m_qwBitrateBusy += static_cast<uint32>(now - started); // the tick count wraps after 49 days
    const uint32 period = now - static_cast<uint32>(m_qwBitrateStart);
    if (period <= kBitratePeriod) {
        return;
    }
    const uint64 rate = m_qwBitrateBusy == 0 ? 0 : m_qwBitrateBytes * 8000 / m_qwBitrateBusy;
    const uint64 average = m_qwBitrateBytes * 8000 / period;
    LogTrace(L"this->0x%x:CQLSoftFileHandle::ReadFile():Bitrate = %4.2f Mbps, AvergeBitrate = %4.2f Mbps",
             Low32(this), static_cast<double>(static_cast<float>(rate) / 1000000),
             static_cast<double>(static_cast<float>(average) / 1000000));
    m_qwBitrateBytes = 0;
    m_qwBitrateBusy = 0;
    m_qwBitrateStart = 0;
}

uint32 CQLSoftFileHandle::WriteFile(const void* buffer, uint32 bytes, uint32* bytesWritten,
                                    _VXC_OVERLAPPED* overlapped) noexcept {
    if (m_nStatus == VXC_STATUS_TIME_OUT) {
        return m_nStatus;
    }
    if (bytes == 0) {
        return VXC_STATUS_OK;
    }
    uint32 ignored = 0;
    uint32& done = bytesWritten == nullptr ? ignored : *bytesWritten;
    if (m_pSCreateFile == nullptr) {
        done = 0;
        return VXC_STATUS_WRITE;
    }
    if (bFileHandle_Thread_Mode != 0) {
        WriteByWorker(buffer, bytes, &done);
        return m_nStatus;
    }
    SCreateFile& record = *m_pSCreateFile;
    const bool written = record.Write(buffer, bytes, &done, overlapped);
    if (written && done == bytes) {
        if (record.qwPosition != kUnknownPosition) {
            record.qwPosition += done;
        }
        return m_nStatus;
    }
    const ErrorText error = LastErrorText();
    LogError(L"WriteFile(nNumberOfBytesToWrite[%d] != nNumberOfBytesWritten[%d]) error--%s", bytes, done,
             static_cast<const wchar_t*>(error.text));
    m_nStatus = VXC_STATUS_WRITE;
    record.qwPosition = kUnknownPosition;
    return m_nStatus;
}

int64 CQLSoftFileHandle::SetFilePointer(uint64 position, uint32 method) noexcept {
    if (m_nStatus == VXC_STATUS_TIME_OUT || m_pSCreateFile == nullptr) {
        return -1;
    }
    if (bFileHandle_Thread_Mode != 0) {
        return SeekByWorker(position, method);
    }
    SCreateFile& record = *m_pSCreateFile;
    // A seek to 0 always reaches the system, and a host always hears of every seek.
    if (!record.hasCallbacks && method == VXC_FILE_BEGIN && position != 0 && position != kUnknownPosition &&
        position == record.qwPosition) {
        return static_cast<int64>(position);
    }
    uint32 errorNumber = 0;
    const uint64 moved = record.Move(position, method, &errorNumber);
    if (record.LacksSeek() ||
        (static_cast<uint32>(moved) == VXC_INVALID_SET_FILE_POINTER && VXC_GetLastError() != 0)) {
        const ErrorText error = LastErrorText();
        LogError(L":SetFilePointer(%s) error, pos is %lld", static_cast<const wchar_t*>(error.text),
                 static_cast<int64>(position));
        record.qwPosition = kUnknownPosition;
        return -1;
    }
    record.qwPosition = moved;
    return static_cast<int64>(moved);
}

void CQLSoftFileHandle::SetEndofFile() noexcept {
    if (m_nStatus != VXC_STATUS_OK || m_pSCreateFile == nullptr) {
        return;
    }
    if (bFileHandle_Thread_Mode != 0) {
        CutByWorker();
        return;
    }
    m_pSCreateFile->Cut();
    m_nStatus = VXC_STATUS_OK;
    m_pSCreateFile->qwPosition = kUnknownPosition;
}

uint64 CQLSoftFileHandle::GetFileSize() noexcept {
    if (m_nStatus != VXC_STATUS_OK || m_pSCreateFile == nullptr) {
        return 0;
    }
    return bFileHandle_Thread_Mode != 0 ? SizeByWorker() : m_pSCreateFile->Size();
}

uint32 CQLSoftFileHandle::CloseFileHandle() noexcept {
    if (m_pSCreateFile == nullptr) {
        return VXC_STATUS_OK;
    }
    if (bFileHandle_Thread_Mode != 0) {
        CloseByWorkers();
    } else {
        CloseDirectly();
    }
    m_pSCreateFile = nullptr;
    return m_nStatus;
}

void CQLSoftFileHandle::CloseDirectly() noexcept {
    if (m_pSCreateFile->hasCallbacks) {
        m_pSCreateFile->CloseByCallbacks();
    } else {
        LogTrace(L"CQLSoftFileHandle::CloseFileHandle(ptr->0x%x)--CloseHandle(),not thread mode,begin",
                 Low32(this));
        VXC_CloseFile(m_pSCreateFile->hFile);
        LogTrace(L"CQLSoftFileHandle::CloseFileHandle(ptr->0x%x)--CloseHandle(),not thread mode,end",
                 Low32(this));
    }
    m_pSCreateFile->Release();
    m_nStatus = VXC_STATUS_OK;
}

uint32 CQLSoftFileHandle::SetRepeat(uint32 enable) noexcept {
    return m_bReadRepeat.exchange(enable);
}
