// Thread mode of the file handle: what the caller does while a worker is at the file.
#include "filehandle/SoftFileHandle.h"

#include "filehandle/DiskFaultTable.h"
#include "frame/Log.h"
#include "frame/Status.h"
#include "frame/TransferDefaults.h"

#include <cstring>
#include <utility>

using namespace vxcio;

namespace {

// The size of a transfer buffer that `bytes` fit into: the next whole MiB, one more when that is what they
// are.
constexpr uint64 TransferSize(uint32 bytes) {
    return ((uint64{bytes} >> 20) + 1) << 20;
}

// False when memory lacks; there is no buffer then.
bool GrowTransferBuffer(AlignedBuffer& buffer, uint32 bytes) noexcept {
    if (bytes > buffer.Size()) {
        buffer.Reset(); // first, so that two never live side by side
        buffer = AlignedBuffer(static_cast<std::size_t>(TransferSize(bytes)), kTransferAlignment);
    }
    return bytes <= buffer.Size();
}

} // namespace

// What a worker's answer leaves.
void CQLSoftFileHandle::TakeStatus(uint32 status) noexcept {
    m_pSCreateFile->dwStatus = status;
    m_nStatus = status;
}

// What every time-out leaves, beside its log line.
void CQLSoftFileHandle::MarkTimeOut() noexcept {
    StayForStuckThreads();
    m_nStatus = VXC_STATUS_TIME_OUT;
    SetDiskError(m_pSCreateFile->Drive());
}

// The status of a handle that is open, or failed to open, in m_nStatus, and 0. When the thread or the event
// lacks, the handle is closed again and this is the error to give.
uint32 CQLSoftFileHandle::CreateByWorker(bool tableIsGood) noexcept {
    SCreateFile& record = *m_pSCreateFile;
    const uint32 failed = OpenFailureStatus(record.dwDesiredAccess);
    OneShotAnswer answer;
    if (!tableIsGood) {
        TakeStatus(failed);
    } else {
        switch (m_createWorker.Run(record, m_dwOpenWait, answer)) {
        case OneShotWorker::Result::NotStarted:
            LogError(L"CQLSoftFileHandle::CreateFile(%s): no thread", record.szFileName.c_str());
            record.Release();
            m_pSCreateFile = nullptr;
            m_nStatus = VXC_STATUS_OK;
            return failed;
        case OneShotWorker::Result::InTime:
            TakeStatus(answer.dwStatus);
            break;
        case OneShotWorker::Result::TimedOut:
            LogError(L"CQLSoftFileHandle::CreateFile(%s) Time Out!!!, WaitTime: %d ms\n",
                     record.szFileName.c_str(), m_dwOpenWait);
            // hFile is the worker's until a close has seen it end; nothing reads it before.
            MarkTimeOut();
            break;
        }
    }
    m_hQuitEvent = SharedEvent::Make(true);
    if (!m_hQuitEvent) {
        LogError(L"CQLSoftFileHandle::CreateFile(%s): no event", record.szFileName.c_str());
        return CloseFileHandle() == VXC_STATUS_TIME_OUT ? VXC_STATUS_TIME_OUT : failed;
    }
    return VXC_STATUS_OK;
}

// False when memory, events or the thread lack; the block or the buffer is still there.
bool CQLSoftFileHandle::SendRead(const ReadTarget& target, uint32 bytes) noexcept {
    SCreateFile& record = *m_pSCreateFile;
    if (!m_readWorker.IsStarted() && !m_readWorker.Start(record, m_hQuitEvent)) {
        return false;
    }
    AlignedBuffer& memory = target.block == nullptr ? record.transferBuffer : *target.block;
    if (target.block == nullptr && !GrowTransferBuffer(memory, bytes)) {
        return false;
    }
    WorkerLink& link = m_readWorker.Link();
    link.memory = std::move(memory);
    link.dwBytesRequested = bytes;
    if (!m_readWorker.Send()) {
        memory = std::move(link.memory);
        return false;
    }
    return true;
}

void CQLSoftFileHandle::ReadByWorker(const ReadTarget& target, uint32 bytes, bool isLast,
                                     uint32* done) noexcept {
    SCreateFile& record = *m_pSCreateFile;
    // A read that an earlier round gave no answer is still under way: it is waited for again.
    if (!m_readWorker.IsUnderWay() && !SendRead(target, bytes)) {
        LogError(L"CQLSoftFileHandle::ReadFile(%s): no thread or memory for %d bytes",
                 record.szFileName.c_str(), bytes);
        TakeStatus(VXC_STATUS_READ);
        return;
    }
    const auto waiting =
        bytes < AnswerLook::kLargeTransfer ? FileWorker::Waiting::Plain : FileWorker::Waiting::LookFirst;
    if (!m_readWorker.Await(m_dwReadWait, waiting) && (!isLast || m_readWorker.Abandon())) {
        LogError(L"CQLSoftFileHandle::ReadFile(%s) Time out, WaitTime is %d ms !!!",
                 record.szFileName.c_str(), m_dwReadWait);
        record.dwStatus = VXC_STATUS_TIME_OUT;
        MarkTimeOut();
        return;
    }
    WorkerLink& link = m_readWorker.Link();
    TakeStatus(link.dwStatus);
    *done = link.dwBytesDone;
    if (target.block != nullptr) {
        *target.block = std::move(link.memory);
    } else {
        record.transferBuffer = std::move(link.memory);
        std::memcpy(target.buffer, record.transferBuffer.Data(), *done);
    }
    if (record.qwPosition != kUnknownPosition) {
        record.qwPosition += *done;
    }
}

// As SendRead.
bool CQLSoftFileHandle::SendWrite(const void* buffer, uint32 bytes) noexcept {
    SCreateFile& record = *m_pSCreateFile;
    if ((!m_writeWorker.IsStarted() && !m_writeWorker.Start(record, m_hQuitEvent)) ||
        !GrowTransferBuffer(record.transferBuffer, bytes)) {
        return false;
    }
    std::memcpy(record.transferBuffer.Data(), buffer, bytes);
    WorkerLink& link = m_writeWorker.Link();
    link.memory = std::move(record.transferBuffer);
    link.dwBytesRequested = bytes;
    if (!m_writeWorker.Send()) {
        record.transferBuffer = std::move(link.memory);
        return false;
    }
    return true;
}

void CQLSoftFileHandle::WriteByWorker(const void* buffer, uint32 bytes, uint32* done) noexcept {
    SCreateFile& record = *m_pSCreateFile;
    *done = 0;
    if (!SendWrite(buffer, bytes)) {
        LogError(L"CQLSoftFileHandle::WriteFile(%s): no thread or memory for %d bytes",
                 record.szFileName.c_str(), bytes);
        TakeStatus(VXC_STATUS_WRITE);
        return;
    }
    if (!m_writeWorker.Await(m_dwWriteWait) && m_writeWorker.Abandon()) {
        record.dwStatus = VXC_STATUS_TIME_OUT;
        MarkTimeOut();
        LogError(L"CQLSoftFileHandle::WriteFile(%s) Time out !!!(wait time:%d ms)", record.szFileName.c_str(),
                 m_dwWriteWait);
        return;
    }
    WorkerLink& link = m_writeWorker.Link();
    record.transferBuffer = std::move(link.memory);
    TakeStatus(link.dwStatus);
    *done = link.dwBytesDone;
    // The known position stays that of the last seek or read: seeks compare with it.
}

int64 CQLSoftFileHandle::SeekByWorker(uint64 position, uint32 method) noexcept {
    SCreateFile& record = *m_pSCreateFile;
    // Made even when the seek turns out to need none.
    bool ready = m_seekWorker.IsStarted() || m_seekWorker.Start(record, m_hQuitEvent);
    if (ready && method == VXC_FILE_BEGIN && position != 0 && position != kUnknownPosition &&
        position == record.qwPosition) {
        m_nStatus = VXC_STATUS_OK;
        return static_cast<int64>(position);
    }
    if (ready) {
        record.qwPosition = position;
        m_seekWorker.Link().qwPosition = position;
        m_seekWorker.Link().dwMoveMethod = method;
        ready = m_seekWorker.Send();
    }
    if (!ready) {
        LogError(L"CQLSoftFileHandle::SetFilePointer(%s): no thread", record.szFileName.c_str());
        TakeStatus(VXC_STATUS_READ);
        record.qwPosition = kUnknownPosition;
        return -1;
    }
    if (!m_seekWorker.Await(m_dwSeekWait) && m_seekWorker.Abandon()) {
        record.dwStatus = VXC_STATUS_TIME_OUT;
        MarkTimeOut();
        LogError(L"CQLSoftFileHandle::SetFilePointer(%s) Time out, Pos is:%lld !!!",
                 record.szFileName.c_str(), static_cast<int64>(position));
        return static_cast<int64>(position);
    }
    TakeStatus(m_seekWorker.Link().dwStatus);
    record.qwPosition = m_seekWorker.Link().qwPosition;
    return static_cast<int64>(record.qwPosition);
}

void CQLSoftFileHandle::CutByWorker() noexcept {
    SCreateFile& record = *m_pSCreateFile;
    OneShotAnswer answer;
    switch (m_setEndWorker.Run(record, m_dwOpenWait, answer)) {
    case OneShotWorker::Result::NotStarted:
        LogError(L"CQLSoftFileHandle::SetEndofFile(%s): no thread", record.szFileName.c_str());
        TakeStatus(VXC_STATUS_WRITE);
        break;
    case OneShotWorker::Result::InTime:
        TakeStatus(answer.dwStatus);
        if (answer.clearsPosition) {
            record.qwPosition = 0;
        }
        break;
    case OneShotWorker::Result::TimedOut:
        record.dwStatus = VXC_STATUS_TIME_OUT;
        MarkTimeOut();
        LogError(L"CQLSoftFileHandle::SetEndofFile(%s) Time out !!!, WaitTime is :%d ms",
                 record.szFileName.c_str(), m_dwOpenWait);
        break;
    }
}

uint64 CQLSoftFileHandle::SizeByWorker() noexcept {
    SCreateFile& record = *m_pSCreateFile;
    OneShotAnswer answer;
    switch (m_getSizeWorker.Run(record, m_dwOpenWait, answer)) {
    case OneShotWorker::Result::NotStarted:
        LogError(L"CQLSoftFileHandle::GetFileSize(%s): no thread", record.szFileName.c_str());
        TakeStatus(VXC_STATUS_READ);
        break;
    case OneShotWorker::Result::InTime:
        TakeStatus(answer.dwStatus);
        break;
    case OneShotWorker::Result::TimedOut:
        record.dwStatus = VXC_STATUS_TIME_OUT;
        MarkTimeOut();
        LogError(L"CQLSoftFileHandle::GetFileSize(%s) Time out !!!, WaitTime is %d ms",
                 record.szFileName.c_str(), m_dwOpenWait);
        break;
    }
    return answer.qwFileSize;
}
