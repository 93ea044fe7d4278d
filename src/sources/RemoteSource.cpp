#include "sources/RemoteSource.h"

#include "frame/InnerSoftDataIO.h"
#include "frame/Log.h"
#include "frame/MD5Check.h"
#include "frame/Status.h"
#include "frame/TransferDefaults.h"
#include "sources/RemoteModule.h"

#include <algorithm>
#include <utility>

using namespace vxcio;

namespace {

// A piece of nothing may have cost the wait for a server that does not answer; the next would cost it again.
constexpr uint32 kEmptyPieces = 1;

// The object of the module as plain reading sees it.
class ObjectReading final : public PlainFile {
public:
    explicit ObjectReading(CQLRHttpFile& file) : m_file(file) {}

    bool SeekTo(uint64 position) override {
        return AskModule<int64>(-1, [&] { return m_file.Seek(position); }) >= 0;
    }
    uint32 ReadSome(uint8* buffer, uint32 bytes) override {
        const auto read = [&] {
            uint32 got = 0;
            m_file.Read(buffer, bytes, &got); // the count alone tells
            return got;
        };
        return std::min(AskModule<uint32>(0, read), bytes);
    }

private:
    CQLRHttpFile& m_file;
};

} // namespace

CRemoteSource::CRemoteSource() = default;

CRemoteSource::~CRemoteSource() {
    if (m_pRemoteFile != nullptr) {
        DeleteRemoteFile(std::exchange(m_pRemoteFile, nullptr));
    }
    CRemoteSource::CloseFile();
    CSoftDataIO::Close();
}

uint32 CRemoteSource::OpenFile(const wchar_t* fileName, uint32 flagsAndAttributes,
                               const wchar_t* /*secondFileName*/, uint64 /*extra*/) {
    if (!LoadRemoteModule()) {
        return VXC_STATUS_OK;
    }
    const wchar_t* const name = fileName == nullptr ? L"" : fileName;
    _VXC_LARGE_INTEGER frequency = {};
    VXC_QueryPerformanceFrequency(&frequency);
    m_ReadRate.SetFrequency(static_cast<uint64>(frequency.QuadPart));
    m_pInner->m_qwFileSize = 0;
    m_qwReadPos = 0;
    m_qwFilePos = 0;
    m_bPreRead = 0;
    FreeRemoteFile();
    m_pRemoteFile = CreateRemoteFile();
    LogTrace(L"CRemoteSource::OpenFile(%s) begin!", name);
    if (m_pRemoteFile == nullptr || AskModule(0, [&] { return m_pRemoteFile->Open(name); }) == 0) {
        LogError(L"CRemoteSource::OpenFile(%s) error!", name);
        return VXC_STATUS_OPEN_READ;
    }
    LogTrace(L"CRemoteSource::OpenFile(%s) end!", name);
    m_dwFlags = flagsAndAttributes;
    m_strFile = name;
    m_pInner->m_qwFileSize = AskModule<uint64>(0, [&] { return m_pRemoteFile->GetSize(); });
    return VXC_STATUS_OK;
}

// Closes the object, if there is one, and frees it by its own destructor.
void CRemoteSource::FreeRemoteFile() {
    if (m_pRemoteFile == nullptr) {
        return;
    }
    AskModule(0, [&] {
        m_pRemoteFile->Close();
        return 0;
    });
    delete std::exchange(m_pRemoteFile, nullptr);
}

void CRemoteSource::LogClose(int step) const {
    LogTrace(L"this->%x:CRemoteSource::CloseFile(): SingleHandleMode: File1:%s --%d", Low32(this),
             m_strFile.c_str(), step);
}

uint32 CRemoteSource::CloseFile() {
    LogClose(1);
    m_qwReadPos = 0;
    m_qwFilePos = 0;
    LogTrace(L"this->%x:CRemoteSource::CloseFile() -- DisablePreRead() -1", Low32(this));
    CRemoteSource::DisablePreRead();
    LogTrace(L"this->%x:CRemoteSource::CloseFile() -- DisablePreRead() -2", Low32(this));
    m_pAlignBuffer.Reset();
    m_pReadAtBuffer.Reset();
    if (m_pRemoteFile != nullptr) {
        LogTrace(L"this->%x:CRemoteSource::Close(%s) -1", Low32(this), m_strFile.c_str());
        FreeRemoteFile();
        LogTrace(L"this->%x:CRemoteSource::Close(%s) -2", Low32(this), m_strFile.c_str());
    }
    LogClose(2);
    return VXC_STATUS_OK;
}

uint32 CRemoteSource::SetReadRepeat(uint32 /*enable*/) {
    return 1;
}

void CRemoteSource::EnablePreRead(int /*bufferBytes*/, int /*minimumBytes*/) {}

void CRemoteSource::DisablePreRead() {}

uint32 CRemoteSource::IsPreReadMode() {
    return m_bPreRead;
}

int CRemoteSource::CanSeek() {
    return 1;
}

int CRemoteSource::ReadAt(uint64 /*position*/, uint8** /*data*/, int /*bytes*/) {
    return 0;
}

int CRemoteSource::ReadPtr(uint8** /*data*/, int /*bytes*/) {
    return 0;
}

uint64 CRemoteSource::GetFileSize() {
    return m_pInner->m_qwFileSize;
}

int64 CRemoteSource::Seek(int64 offset, uint32 origin) {
    // Sums wrap instead of overflowing.
    auto position = static_cast<uint64>(m_qwFilePos);
    if (origin == kFromStart) {
        position = static_cast<uint64>(offset);
    } else if (origin == kFromEnd) {
        position = CRemoteSource::GetFileSize() + static_cast<uint64>(offset);
    } else if (origin == kFromCurrent) {
        position += static_cast<uint64>(offset);
    }
    m_qwFilePos = static_cast<int64>(position);
    m_qwReadPos = m_qwFilePos;
    return m_qwReadPos;
}

PlainShape CRemoteSource::Shape() const noexcept {
    return {(m_dwFlags & VXC_FILE_FLAG_NO_BUFFERING) != 0, m_dwSectorSize, kEmptyPieces};
}

uint32 CRemoteSource::ReadFileWithTwoHandle(uint8* buffer, uint32 bytes) {
    if (m_pRemoteFile == nullptr) {
        return 0;
    }
    ObjectReading file(*m_pRemoteFile);
    const auto check = m_pInner->RunningMD5State();
    const uint32 got = ReadPlain(file, Shape(), m_pAlignBuffer, check.get(), static_cast<uint64>(m_qwFilePos),
                                 buffer, bytes);
    m_qwFilePos = static_cast<int64>(static_cast<uint64>(m_qwFilePos) + got);
    return got;
}

int CRemoteSource::Read(uint8* buffer, uint32 bytes) {
    const uint32 got = ReadFileWithTwoHandle(buffer, bytes);
    m_qwReadPos = static_cast<int64>(static_cast<uint64>(m_qwReadPos) + got);
    return static_cast<int>(got);
}

int CRemoteSource::GetMD5_check(uint32 /*type*/, uint8*& digest, int& length) {
    const auto check = m_pInner->MD5State();
    if (!check) {
        return 0;
    }
    CRemoteSource::DisablePreRead();
    if (!MakeDigest(digest, length)) {
        return 0;
    }
    const uint64 size = CRemoteSource::GetFileSize();
    if (check->Position() < size) {
        if (m_pRemoteFile == nullptr) {
            return 0;
        }
        ObjectReading file(*m_pRemoteFile);
        if (!FeedRest(file, Shape(), *check, size)) {
            return 0;
        }
    }
    check->Final(digest);
    return 0;
}
