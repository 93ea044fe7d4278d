// Closing a file handle in thread mode: its workers end, or are left behind with all they hold.
#include "filehandle/SoftFileHandle.h"

#include "filehandle/DiskFaultTable.h"
#include "frame/Log.h"
#include "frame/Status.h"

using namespace vxcio;

bool CQLSoftFileHandle::IsAnyWorkerLeft() const noexcept {
    return m_createWorker.IsStuck() || m_setEndWorker.IsStuck() || m_getSizeWorker.IsStuck() ||
           m_writeWorker.IsStarted() || m_readWorker.IsStarted() || m_seekWorker.IsStarted();
}

// What a worker found after its time-out becomes the record's status, as if it had written it there.
void CQLSoftFileHandle::StopWorkers() noexcept {
    uint32& status = m_pSCreateFile->dwStatus;
    const bool told = m_hQuitEvent && m_hQuitEvent->Signal();
    OneShotAnswer answer;
    if (m_createWorker.IsStuck() && m_createWorker.Join(m_dwOpenWait, answer)) {
        status = answer.dwStatus;
    }
    if (m_setEndWorker.IsStuck() && m_setEndWorker.Join(m_dwReadWait, answer)) {
        status = answer.dwStatus;
    }
    if (m_getSizeWorker.IsStuck()) {
        m_getSizeWorker.Join(m_dwReadWait, answer); // asking for the size changes no status
    }
    if (!told) {
        return; // no worker would leave
    }
    if (m_writeWorker.IsStarted()) {
        m_writeWorker.End(m_dwWriteWait, &status);
    }
    if (m_readWorker.IsStarted()) {
        m_readWorker.End(m_dwReadWait, &status);
    }
    if (m_seekWorker.IsStarted()) {
        m_seekWorker.End(m_dwSeekWait, &status);
    }
}

void CQLSoftFileHandle::CloseRecordByWorker() noexcept {
    SCreateFile& record = *m_pSCreateFile;
    OneShotWorker worker(OneShotWorker::Kind::Close);
    OneShotAnswer answer;
    switch (worker.Run(record, m_dwOpenWait, answer)) {
    case OneShotWorker::Result::NotStarted:
        // Better to close here than to keep the file open for ever: the disk has answered so far.
        LogError(L"CQLSoftFileHandle::CloseFileHandle(%s): no thread", record.szFileName.c_str());
        answer.dwStatus = record.dwStatus;
        CloseFileWork(record, answer);
        TakeStatus(answer.dwStatus);
        break;
    case OneShotWorker::Result::InTime:
        TakeStatus(answer.dwStatus); // not cleared by the close: the code of an operation that failed before
        break;
    case OneShotWorker::Result::TimedOut:
        MarkTimeOut();
        LogError(L"CQLSoftFileHandle::CloseFileHandle(%s)--CloseHandle() Time out !!!, WaitTime:%d ms",
                 record.szFileName.c_str(), m_dwOpenWait);
        worker.LeaveBehind();
        break;
    }
}

void CQLSoftFileHandle::CloseByWorkers() noexcept {
    SCreateFile& record = *m_pSCreateFile;
    if (GetDiskStatus(record.Drive()) != 0) {
        StopWorkers();
    }
    if (!m_readWorker.IsStarted() && !m_writeWorker.IsStarted()) {
        record.transferBuffer.Reset();
    }
    if (IsAnyWorkerLeft()) {
        VXCMSGW(kModuleName, L"CQLSoftFileHandle::CloseFileHandle()--Not All Thread Quit!!!\n");
        m_nStatus = VXC_STATUS_TIME_OUT;
        // Each keeps its references; the file stays open, as one of them may be inside it.
        for (OneShotWorker* const worker : {&m_createWorker, &m_setEndWorker, &m_getSizeWorker}) {
            if (worker->IsStuck()) {
                worker->LeaveBehind();
            }
        }
        for (FileWorker* const worker : {&m_writeWorker, &m_readWorker, &m_seekWorker}) {
            if (worker->IsStarted()) {
                worker->LeaveBehind();
            }
        }
        record.Release();
    } else {
        m_nStatus = VXC_STATUS_OK;
        VXCMSGW(kModuleName, L"CQLSoftFileHandle::CloseFileHandle()--All Thread Quit\n");
        if (record.hFile != nullptr) {
            CloseRecordByWorker();
        }
        LogTrace(L"CQLSoftFileHandle::CloseFileHandle(this->0x%x)--delete m_pSCreateFile begin", Low32(this));
        record.Release(); // a close that hangs still holds it
        LogTrace(L"CQLSoftFileHandle::CloseFileHandle(this->0x%x)--delete m_pSCreateFile end", Low32(this));
    }
    m_hQuitEvent.Reset();
}
