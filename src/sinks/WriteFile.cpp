#include "sinks/WriteFile.h"

#include "frame/ReadSetting.h"

#include <new>

namespace {
constexpr uint32 kDefaultBlockSize = 1048576;
}

CWriteFile::CWriteFile() : m_pSink(new (std::nothrow) CWriteFileEx1) {}

CWriteFile::~CWriteFile() = default;

uint32 CWriteFile::OpenFile(const wchar_t* fileName, uint32 bufferBytes, uint32 openMode,
                            uint32 flagsAndAttributes, void* reserved) {
    uint32 blockSize = kDefaultBlockSize;
    if (vxcio::ReadSetting(L"WriteBlockSize", &blockSize) == 0 || blockSize == 0) {
        blockSize = kDefaultBlockSize;
    }
    return m_pSink->OpenFile(fileName, bufferBytes, blockSize, openMode, flagsAndAttributes, 0, 0, 0, 0,
                             reserved);
}

uint32 CWriteFile::CloseFile() {
    return m_pSink->CloseFile();
}

uint64 CWriteFile::GetFileSize() {
    return m_pSink->GetFileSize();
}

int64 CWriteFile::Seek(int64 offset, uint32 origin) {
    return m_pSink->Seek(offset, origin);
}

int CWriteFile::Write(const uint8* buffer, uint32 bytes, uint32* wentOut) {
    return m_pSink->Write(buffer, bytes, wentOut);
}

int CWriteFile::ReadBack(uint8* buffer, uint32 bytes) {
    return m_pSink->ReadBack(buffer, bytes);
}
