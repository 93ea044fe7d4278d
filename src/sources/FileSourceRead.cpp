// The plain read path of CFileSource: from the caller's read down to the file handle; and its digest.
#include "sources/FileSource.h"

#include "frame/BulkCopy.h"
#include "frame/InnerSoftDataIO.h"
#include "frame/Log.h"
#include "frame/MD5Check.h"
#include "sources/PlainReading.h"

#include <algorithm>

using namespace vxcio;

uint32 CFileSource::ReadWholeFile(uint8* buffer, uint32 bytes) {
    // A position outside the file has nothing behind it.
    const auto pos = static_cast<uint64>(m_qwFilePos.load(std::memory_order_relaxed));
    const uint64 left = pos < m_qwWholeFileSize ? m_qwWholeFileSize - pos : 0;
    const uint32 count = static_cast<uint32>(std::min<uint64>(bytes, left));
    CopyBulk(buffer, m_pWholeFile.Data() + (count == 0 ? 0 : pos), count);
    m_qwFilePos.store(static_cast<int64>(pos + count), std::memory_order_relaxed);
    return count;
}

// File1 as plain reading sees it.
class CFileSource::File1Reading final : public PlainFile {
public:
    explicit File1Reading(CFileSource& source) : m_source(source) {}

    bool SeekTo(uint64 position) override {
        return m_source.m_pFile[0]->SetFilePointer(position, VXC_FILE_BEGIN) >= 0;
    }
    uint32 ReadSome(uint8* buffer, uint32 bytes) override { return m_source.ReadFile1(buffer, bytes); }
    void NoteEmptyRead(const PlainRequest& request) override {
        const ErrorText error = LastErrorText();
        LogError(L"ReadFileWithTwoHandle(): pos = %lld, want %d bytes, return %d bytes(%s)",
                 static_cast<int64>(request.pos), request.want, 0, static_cast<const wchar_t*>(error.text));
    }

private:
    CFileSource& m_source;
};

uint32 CFileSource::ReadFile1(uint8* buffer, uint32 bytes) {
    uint32 got = 0;
    m_pFile[0]->ReadFile(buffer, bytes, &got, nullptr); // the count tells; the status may be an old one
    return got;
}

PlainShape CFileSource::Shape() const noexcept {
    return {IsUnbuffered(), m_dwSectorSize};
}

uint32 CFileSource::ReadFileWithTwoHandle(uint8* buffer, uint32 bytes) {
    if (m_pWholeFile) {
        return ReadWholeFile(buffer, bytes);
    }
    const std::lock_guard lock(m_FileMutex);
    return m_bTwoHandle == 0 ? ReadOneFile(buffer, bytes) : ReadTwoFiles(buffer, bytes);
}

uint32 CFileSource::ReadOneFile(uint8* buffer, uint32 bytes) {
    if (!m_pFile[0]) {
        return 0;
    }
    File1Reading file(*this);
    const auto check = m_pInner->RunningMD5State();
    const auto pos = static_cast<uint64>(m_qwFilePos.load(std::memory_order_relaxed));
    const uint32 got = ReadPlain(file, Shape(), m_pAlignBuffer, check.get(), pos, buffer, bytes);
    m_qwFilePos.fetch_add(got, std::memory_order_relaxed);
    return got;
}

bool CFileSource::FinishMD5(MD5Check& check, uint64 size) {
    const std::lock_guard lock(m_FileMutex);
    if (!m_pFile[0] || !IsFile1Free(kFile1Wait)) {
        return false;
    }
    File1Reading file(*this);
    return FeedRest(file, Shape(), check, size);
}

int CFileSource::GetMD5_check(uint32 /*type*/, uint8*& digest, int& length) {
    const auto check = m_pInner->MD5State();
    if (!check) {
        return 0;
    }
    CFileSource::DisablePreRead();
    if (!MakeDigest(digest, length)) {
        return 0;
    }
    const uint64 size = CFileSource::GetFileSize();
    if (check->Position() < size && !FinishMD5(*check, size)) {
        return 0;
    }
    check->Final(digest);
    return 0;
}
