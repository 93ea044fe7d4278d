// The sink's opening and closing.
#include "sinks/WriteFileEx1.h"

#include "frame/InnerSoftDataIO.h"
#include "frame/Log.h"
#include "frame/MD5Check.h"
#include "frame/PlatformTypes.h"
#include "frame/RoundUp.h"
#include "frame/Status.h"
#include "frame/TransferDefaults.h"
#include "platform/SafeCopy.h"
#include "sinks/EthernetDisks.h"
#include "sinks/HandleMoves.h"
#include "sources/DiskProbes.h"

#include <algorithm>
#include <new>

using namespace vxcio;

namespace {

constexpr uint32 kAttributeNormal = 0x80;

// The smallest ring, and its block.
constexpr uint32 kLeastBuffer = 1048576;
constexpr uint32 kBlockOfLeastBuffer = 524288;
constexpr uint32 kBlockOfNone = 1048576; // where the caller gave none
constexpr uint32 kStageCapacity = 1048576;

} // namespace

CWriteFileEx1::~CWriteFileEx1() {
    CloseFile();
}

int CWriteFileEx1::GetMD5_check(uint32 /*type*/, uint8*& digest, int& length) {
    const auto check = m_pInner->MD5State();
    if (!check) {
        return 0;
    }
    uint8* const result = new (std::nothrow) uint8[kDigestSize];
    if (result == nullptr) {
        return 0;
    }
    check->Final(result);
    digest = result;
    length = kDigestSize;
    return 0;
}

uint64 CWriteFileEx1::GetFileSize() {
    return m_pInner->m_qwFileSize;
}

uint32 CWriteFileEx1::OpenFile(const wchar_t* fileName, uint32 bufferBytes, uint32 blockBytes,
                               uint32 openMode, uint32 flagsAndAttributes, uint32 /*reserved1*/,
                               uint32 /*reserved2*/, uint32 /*reserved3*/, uint32 /*reserved4*/,
                               void* /*reserved5*/) {
    try {
        CWriteFileEx1::CloseFile();
        m_pInner->m_strFileName = fileName;
        m_dwBlockSize = blockBytes;
        m_nOpenMode = openMode;
        m_pInner->m_qwFileSize = 0;
        m_nCurPos = 0;
        m_dwSectorSize = kDefaultSectorSize;
        m_bStatusOK = 0;
        if (!TakeCallbacks()) {
            return VXC_STATUS_OPEN_WRITE;
        }
        FixFlags(flagsAndAttributes);
        if (const uint32 status = OpenHandle(); status != VXC_STATUS_OK) {
            return status;
        }
        if (!Prepare(bufferBytes)) {
            LogError(L"CWriteFileEx1::OpenFile(%s): no memory or thread for a ring of %lld bytes",
                     m_pInner->m_strFileName.c_str(), int64{bufferBytes});
            Release();
            return VXC_STATUS_OPEN_WRITE;
        }
        m_nLastOperation = kNone;
        m_bStatusOK = 1;
        return VXC_STATUS_OK;
    } catch (...) {
        m_bStatusOK = 0;
        Release();
        return VXC_STATUS_OPEN_WRITE;
    }
}

// A host may free its table once the file is open, but the close may open the file again: it does so with a
// copy of the table. False when memory lacks.
bool CWriteFileEx1::TakeCallbacks() {
    const CVXCString& name = m_pInner->m_strFileName;
    m_pIOCallbackSet = nullptr;
    m_strReopenName = name;
    const CVXCString plainName = DELVXCIOID(name, &m_pIOCallbackSet);
    if (m_pIOCallbackSet != nullptr) {
        // Where nothing readable lies at that address the open tells.
        CopyFromAnywhere(&m_callbacks, m_pIOCallbackSet, sizeof m_callbacks);
        m_strReopenName = ADDVXCIOID(plainName, &m_callbacks);
    }
    return name.IsEmpty() || (!plainName.IsEmpty() && !m_strReopenName.IsEmpty());
}

void CWriteFileEx1::FixFlags(uint32 flagsAndAttributes) {
    const wchar_t* const name = m_pInner->m_strFileName;
    m_dwFlagsAndAttributes = flagsAndAttributes;
    if (m_pIOCallbackSet != nullptr) {
        return; // a host knows its own files
    }
    if ((m_dwFlagsAndAttributes & 0xFFFF) == 0) {
        m_dwFlagsAndAttributes |= kAttributeNormal;
    }
    if (IsOnEthernetDisk(name)) {
        m_dwFlagsAndAttributes = kAttributeNormal;
        LogMessage(L"%s(EthernetDisk)\n", name);
    }
}

uint32 CWriteFileEx1::OpenHandle() {
    m_pMediaFile.reset(new (std::nothrow) CQLSoftFileHandle);
    if (!m_pMediaFile) {
        return VXC_STATUS_OPEN_WRITE;
    }
    if (m_nOpenMode > kModeUpdate) {
        return VXC_STATUS_OK; // the handle stays without a file
    }
    const uint32 status = m_pMediaFile->CreateFile(
        m_pInner->m_strFileName, VXC_GENERIC_READ | VXC_GENERIC_WRITE, VXC_FILE_SHARE_READ, nullptr,
        m_nOpenMode == kModeCreate ? VXC_CREATE_ALWAYS : VXC_OPEN_ALWAYS, m_dwFlagsAndAttributes, nullptr, 0);
    if (status != VXC_STATUS_OK) {
        m_pMediaFile->CloseFileHandle();
        m_pMediaFile->CloseFileHandle();
        m_pMediaFile.reset();
        return status;
    }
    if (m_nOpenMode != kModeCreate) {
        m_pInner->m_qwFileSize = m_pMediaFile->GetFileSize();
    }
    m_qwSizeAtOpen = m_pInner->m_qwFileSize;
    return VXC_STATUS_OK;
}

// What lies between the caller and the open file. False when something lacks; Release undoes the rest.
bool CWriteFileEx1::Prepare(uint32 bufferBytes) {
    m_dwWriteMode = (bufferBytes != 0 ? kThreaded : 0u) |
                    ((m_dwFlagsAndAttributes & VXC_FILE_FLAG_NO_BUFFERING) != 0 ? kUnbuffered : 0u) |
                    (m_nOpenMode == kModeAppend ? kAppend : 0u);
    m_dwSectorSize = GetDiskSectorSize(m_pInner->m_strFileName);
    if (IsThreaded() && !FixSizes(bufferBytes)) {
        return false;
    }
    if ((m_dwWriteMode & kAppend) != 0) {
        m_pInner->m_qwFileSize = m_pMediaFile->GetFileSize();
        m_nCurPos = m_pInner->m_qwFileSize;
    }
    return MakeBuffers();
}

// False when the sizes do not fit 32 bits once they are rounded.
bool CWriteFileEx1::FixSizes(uint32 bufferBytes) {
    uint32 wanted = m_dwBlockSize == 0 ? kBlockOfNone : m_dwBlockSize;
    if (bufferBytes <= kLeastBuffer) {
        bufferBytes = kLeastBuffer;
        wanted = kBlockOfLeastBuffer;
    }
    const uint64 block = RoundUp(wanted, m_dwSectorSize);
    const uint64 buffer = RoundUp(bufferBytes, block);
    if (buffer > 0xFFFFFFFFu) { // which is never less than the block
        return false;
    }
    m_dwBlockSize = static_cast<uint32>(block);
    m_dwBufferSize = static_cast<uint32>(buffer);
    LogMessage(L"WriteFile-BufferSize:%d\uff0c BlockSize:%d\n", m_dwBufferSize, m_dwBlockSize);
    return true;
}

bool CWriteFileEx1::MakeBuffers() {
    if (IsUnbuffered()) {
        // Before the ring: its thread pads with the staging area.
        m_pStageBuffer = AlignedBuffer(std::max(kStageCapacity, m_dwSectorSize), kTransferAlignment);
        m_pSectorBuffer = AlignedBuffer(m_dwSectorSize, kTransferAlignment);
        if (!m_pStageBuffer || !m_pSectorBuffer) {
            return false;
        }
    }
    m_dwStageFill = 0;
    if (!IsThreaded()) {
        return true;
    }
    const WriterSetup setup = {m_pMediaFile.get(), IsUnbuffered() ? &m_pStageBuffer : nullptr,
                               m_dwSectorSize};
    m_pWriteRing = WriteBufferRing::Start(setup, m_dwBlockSize, m_dwBufferSize / m_dwBlockSize);
    return m_pWriteRing != nullptr;
}

// Lets go of all that an open has made, without a word.
void CWriteFileEx1::Release() {
    m_pWriteRing.reset();
    m_pStageBuffer.Reset();
    m_pSectorBuffer.Reset();
    m_pMediaFile.reset();
}

uint32 CWriteFileEx1::CloseFile() {
    if (!m_pMediaFile) {
        return VXC_STATUS_OK;
    }
    const wchar_t* const name = m_pInner->m_strFileName;
    Flush();
    if (m_pWriteRing) {
        m_pWriteRing->AskToEnd();
        LogMessage(
            L"CWriteFileEx1::CloseFile()--VXC_WaitForSingleObject(m_hWriteThread, VXC_INFINITE ) Begin\n");
        m_pWriteRing->WaitForEnd();
        LogMessage(
            L"CWriteFileEx1::CloseFile()--VXC_WaitForSingleObject(m_hWriteThread, VXC_INFINITE ) ENd\n");
    }
    if (IsUnbuffered() && m_pInner->m_qwFileSize % m_dwSectorSize != 0) {
        CutToSize();
    }
    m_pStageBuffer.Reset();
    m_dwStageFill = 0;
    m_pSectorBuffer.Reset();
    LogTrace(L"CWriteFileEx1::CloseFile(%s) m_pMediaFile->CloseFileHandle() - 1", name);
    m_pMediaFile->CloseFileHandle();
    m_pMediaFile->CloseFileHandle();
    m_pMediaFile.reset();
    LogTrace(L"CWriteFileEx1::CloseFile(%s) m_pMediaFile->CloseFileHandle() - 2", name);
    if (m_pWriteRing) {
        m_pWriteRing->CloseThread();
    }
    LogTrace(L"CWriteFileEx1::CloseFile(%s) Clear m_pWriteBufferNod - 1", name);
    m_pWriteRing.reset();
    LogTrace(L"CWriteFileEx1::CloseFile(%s) Clear m_pWriteBufferNod - 2", name);
    m_pReadCache.Reset();
    m_dwReadCacheFill = 0;
    m_nReadCachePos = 0;
    LogTrace(L"CWriteFileEx1::CloseFile(%s) Finish", name);
    return VXC_STATUS_OK;
}

// Past the cache a file ends with a whole sector, so it is opened once more, through the cache, and cut.
void CWriteFileEx1::CutToSize() {
    const wchar_t* const name = m_pInner->m_strFileName;
    LogTrace(L"CWriteFileEx1::CloseFile()--VXC_CloseHandle(%s) Begin", name);
    if (m_pMediaFile->CloseFileHandle() != VXC_STATUS_OK) {
        m_bStatusOK = 0;
    }
    LogTrace(L"CWriteFileEx1::CloseFile()--VXC_CloseHandle(%s) End", name);
    if (m_bStatusOK == 0 || m_nOpenMode > kModeUpdate) {
        return; // of a mode that opened no file there is none to cut
    }
    LogTrace(L"CWriteFileEx1::CloseFile(%s) Modify NoBuffer Mode FileSize - 1", name);
    // Cut only where the move succeeded: a file cut at the wrong place would lose what was written.
    if (m_pMediaFile->CreateFile(m_strReopenName, VXC_GENERIC_WRITE, VXC_FILE_SHARE_READ, nullptr,
                                 VXC_OPEN_ALWAYS, kAttributeNormal, nullptr, 0) == VXC_STATUS_OK &&
        IsPadAllThereIs() && MoveTo(*m_pMediaFile, m_pInner->m_qwFileSize)) {
        m_pMediaFile->SetEndofFile();
    }
    LogTrace(L"CWriteFileEx1::CloseFile(%s) Modify NoBuffer Mode FileSize - 2", name);
}

// Whether the file ends with the pad of what was written. One that had no size when it was opened may have
// had one that could not be told, and then more stands behind.
bool CWriteFileEx1::IsPadAllThereIs() {
    return m_nOpenMode == kModeCreate || m_qwSizeAtOpen != 0 ||
           m_pMediaFile->GetFileSize() <= RoundUp(m_pInner->m_qwFileSize, m_dwSectorSize);
}

int64 CWriteFileEx1::Seek(int64 offset, uint32 origin) {
    uint64 target = static_cast<uint64>(offset);
    if (origin == kFromEnd) {
        target += m_pInner->m_qwFileSize;
    } else if (origin == kFromCurrent) {
        target += m_nCurPos;
    }
    if (target != m_nCurPos) {
        m_nCurPos = target;
        m_nLastOperation = kSeek;
        m_pInner->m_qwFileSize = std::max(m_pInner->m_qwFileSize, target);
        Flush();
    }
    return static_cast<int64>(m_nCurPos);
}

// Brings out what lies between the caller and the file, unless an earlier failure stands in the way.
void CWriteFileEx1::Flush() {
    if (m_bStatusOK == 0 || (m_nLastOperation != kWrite && m_nLastOperation != kSeek)) {
        return;
    }
    if (m_pWriteRing) {
        if (!m_pWriteRing->Flush()) {
            m_bStatusOK = 0;
        }
    } else if (m_dwStageFill > 0) {
        FlushStage();
    }
}
