#include "sysu/FileTesting.h"

#include "support/TempFolder.h"

#include <filesystem>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int64 kFourGiB = int64{1} << 32;

class FileTransferTest : public testing::Test {
protected:
    std::wstring Clip(std::string_view content) {
        m_folder.Write("clip", content);
        return m_folder.Wide("clip");
    }

    TempFolder m_folder;
};

// Every operation on a handle fails with error 6.
void ExpectNoHandle(void* handle) {
    unsigned long done = 7;
    char byte = 'x';
    int32 high = 0;
    uint32 sizeHigh = 0;
    EXPECT_EQ(VXC_ReadFile(handle, &byte, 1, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_HANDLE);
    EXPECT_EQ(done, 0u);
    done = 7;
    EXPECT_EQ(VXC_WriteFile(handle, &byte, 1, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_HANDLE);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(VXC_DeleteFileW(L""), 0); // another error in between
    EXPECT_EQ(VXC_SetFilePointer(handle, 0, &high, VXC_FILE_BEGIN), VXC_INVALID_SET_FILE_POINTER);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_HANDLE);
    EXPECT_EQ(VXC_DeleteFileW(L""), 0);
    EXPECT_EQ(VXC_GetFileSize(handle, &sizeHigh), 0xFFFFFFFFu);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_HANDLE);
    EXPECT_EQ(VXC_DeleteFileW(L""), 0);
    EXPECT_EQ(VXC_SetEndOfFile(handle), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_HANDLE);
    EXPECT_EQ(VXC_DeleteFileW(L""), 0);
    EXPECT_EQ(VXC_CloseFile(handle), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_HANDLE);
}

} // namespace

TEST_F(FileTransferTest, WhatIsNoFileHandleIsRefused) {
    ExpectNoHandle(nullptr);
    ExpectNoHandle(VXC_INVALID_HANDLE);
    void* const event = VXC_CreateEventW(nullptr, 1, 0, nullptr);
    ExpectNoHandle(event);
    EXPECT_NE(VXC_CloseHandle(event), 0);
    alignas(16) char odd[64] = {};
    ExpectNoHandle(odd + 1);
}

TEST_F(FileTransferTest, ReadsFromThePositionAndShortAtTheEnd) {
    const OpenFile file(Clip("0123456789"));
    EXPECT_EQ(file.Read(4), "0123");
    EXPECT_EQ(file.Read(100), "456789");
    EXPECT_EQ(file.Read(100), "");
    EXPECT_EQ(file.Seek(2), 2);
    EXPECT_EQ(file.Read(1), "2");
    EXPECT_EQ(file.Seek(100), 100);
    EXPECT_EQ(file.Read(1), "");
}

TEST_F(FileTransferTest, WritesWhatIsReadBack) {
    const OpenFile file(Clip(""), kReadWrite);
    file.Write("0123456789");
    EXPECT_EQ(file.Seek(3), 3);
    file.Write("xy");
    EXPECT_EQ(m_folder.Read("clip"), "012xy56789");
    EXPECT_EQ(file.Read(2), "56");
}

TEST_F(FileTransferTest, NothingToMoveIsSuccess) {
    const OpenFile file(Clip("content"), kReadWrite);
    unsigned long done = 7;
    EXPECT_EQ(VXC_ReadFile(file.Handle(), nullptr, 0, &done, nullptr), 1);
    EXPECT_EQ(done, 0u);
    done = 7;
    EXPECT_EQ(VXC_WriteFile(file.Handle(), nullptr, 0, &done, nullptr), 1);
    EXPECT_EQ(done, 0u);
}

TEST_F(FileTransferTest, TheCountNeedNotBeAskedFor) {
    const OpenFile file(Clip("content"), kReadWrite);
    char text[3] = {};
    EXPECT_EQ(VXC_ReadFile(file.Handle(), text, 3, nullptr, nullptr), 1);
    EXPECT_EQ(std::string_view(text, 3), "con");
    EXPECT_EQ(VXC_WriteFile(file.Handle(), "T", 1, nullptr, nullptr), 1);
    EXPECT_EQ(m_folder.Read("clip"), "conTent");
}

TEST_F(FileTransferTest, OverlappedTransfersAreInvalid) {
    const OpenFile file(Clip("content"), kReadWrite);
    char text[3] = {};
    unsigned long done = 7;
    auto* const overlapped = reinterpret_cast<_VXC_OVERLAPPED*>(text);
    EXPECT_EQ(VXC_ReadFile(file.Handle(), text, 3, &done, overlapped), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(VXC_DeleteFileW(L""), 0);
    EXPECT_EQ(VXC_WriteFile(file.Handle(), text, 3, &done, overlapped), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(m_folder.Read("clip"), "content");
}

TEST_F(FileTransferTest, AccessThatWasNotAskedForIsDenied) {
    const std::wstring name = Clip("content");
    char byte = 'x';
    unsigned long done = 7;
    const OpenFile reader(name, VXC_GENERIC_READ);
    EXPECT_EQ(VXC_WriteFile(reader.Handle(), &byte, 1, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_ACCESS_DENIED);
    EXPECT_EQ(VXC_DeleteFileW(L""), 0);
    EXPECT_EQ(VXC_SetEndOfFile(reader.Handle()), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_ACCESS_DENIED);
    const OpenFile writer(name, VXC_GENERIC_WRITE);
    EXPECT_EQ(VXC_DeleteFileW(L""), 0);
    EXPECT_EQ(VXC_ReadFile(writer.Handle(), &byte, 1, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_ACCESS_DENIED);
    const OpenFile nothing(name, 0);
    EXPECT_EQ(nothing.Size(), 7u);
    EXPECT_EQ(VXC_ReadFile(nothing.Handle(), &byte, 1, &done, nullptr), 0);
    const OpenFile all(name, 0x10000000u);
    EXPECT_EQ(all.Read(1), "c");
    all.Write("O");
    EXPECT_EQ(m_folder.Read("clip"), "cOntent");
}

// ---- positions ----------------------------------------------------------------------------------------

TEST_F(FileTransferTest, PositionsAroundFourGiBAreExact) {
    const OpenFile file(Clip(""), kReadWrite);
    for (const int64 position : {kFourGiB - 1, kFourGiB, kFourGiB + 1}) {
        EXPECT_EQ(file.Seek(position), position);
        file.Write(std::to_string(position - kFourGiB + 5));
    }
    EXPECT_EQ(file.Size(), static_cast<uint64>(kFourGiB + 2));
    EXPECT_EQ(file.Seek(kFourGiB - 2), kFourGiB - 2);
    EXPECT_EQ(file.Read(10), std::string("\0", 1) + "456");
    EXPECT_EQ(file.Seek(0, VXC_FILE_CURRENT), kFourGiB + 2);
    EXPECT_EQ(file.Seek(-kFourGiB, VXC_FILE_END), 2);
    EXPECT_EQ(file.Seek(kFourGiB, VXC_FILE_CURRENT), kFourGiB + 2);
    EXPECT_EQ(file.Seek(-1, VXC_FILE_CURRENT), kFourGiB + 1);
    EXPECT_EQ(file.Read(10), "6");
}

TEST_F(FileTransferTest, ALowHalfOfAllOnesIsNoFailure) {
    const OpenFile file(Clip(""), kReadWrite);
    EXPECT_EQ(VXC_DeleteFileW(L""), 0); // an older error
    int32 high = 0;
    EXPECT_EQ(VXC_SetFilePointer(file.Handle(), -1, &high, VXC_FILE_BEGIN), 0xFFFFFFFFu);
    EXPECT_EQ(VXC_GetLastError(), 0u);
    EXPECT_EQ(high, 0);
    EXPECT_NE(VXC_SetEndOfFile(file.Handle()), 0);
    EXPECT_EQ(VXC_DeleteFileW(L""), 0);
    uint32 sizeHigh = 7;
    EXPECT_EQ(VXC_GetFileSize(file.Handle(), &sizeHigh), 0xFFFFFFFFu);
    EXPECT_EQ(VXC_GetLastError(), 0u);
    EXPECT_EQ(sizeHigh, 0u);
}

TEST_F(FileTransferTest, MovesBeforeTheStartAreRefused) {
    const OpenFile file(Clip("content"));
    EXPECT_EQ(file.Seek(5), 5);
    EXPECT_EQ(file.Seek(-1, VXC_FILE_BEGIN), -1);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_NEGATIVE_SEEK);
    EXPECT_EQ(VXC_DeleteFileW(L""), 0);
    EXPECT_EQ(file.Seek(-6, VXC_FILE_CURRENT), -1);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_NEGATIVE_SEEK);
    EXPECT_EQ(VXC_DeleteFileW(L""), 0);
    EXPECT_EQ(file.Seek(-8, VXC_FILE_END), -1);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_NEGATIVE_SEEK);
    EXPECT_EQ(file.Seek(0, VXC_FILE_CURRENT), 5);
}

TEST_F(FileTransferTest, MovesBeyondAllPositionsAndUnknownMethodsAreInvalid) {
    const OpenFile file(Clip("content"));
    EXPECT_EQ(file.Seek(5), 5);
    EXPECT_EQ(file.Seek(INT64_MAX, VXC_FILE_BEGIN), -1);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(VXC_DeleteFileW(L""), 0);
    EXPECT_EQ(file.Seek(INT64_MAX, VXC_FILE_CURRENT), -1);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(VXC_DeleteFileW(L""), 0);
    EXPECT_EQ(file.Seek(0, 3), -1);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(file.Seek(0, VXC_FILE_CURRENT), 5);
}

TEST_F(FileTransferTest, WithoutAHighHalfTheLowOneIsSigned) {
    const OpenFile file(Clip("content"));
    EXPECT_EQ(VXC_SetFilePointer(file.Handle(), -3, nullptr, VXC_FILE_END), 4u);
    EXPECT_EQ(file.Read(10), "ent");
    uint32 size = VXC_GetFileSize(file.Handle(), nullptr);
    EXPECT_EQ(size, 7u);
}

TEST_F(FileTransferTest, WithoutAHighHalfNoPositionIsCutShort) {
    const OpenFile file(Clip(""), kReadWrite);
    EXPECT_EQ(file.Seek(kFourGiB - 1), kFourGiB - 1);
    EXPECT_EQ(VXC_SetFilePointer(file.Handle(), 0, nullptr, VXC_FILE_CURRENT), 0xFFFFFFFFu);
    EXPECT_EQ(VXC_GetLastError(), 0u);
    EXPECT_EQ(VXC_SetFilePointer(file.Handle(), 1, nullptr, VXC_FILE_CURRENT), 0xFFFFFFFFu);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(file.Seek(0, VXC_FILE_CURRENT), kFourGiB - 1);
}

TEST_F(FileTransferTest, TheEndIsSetAtThePosition) {
    const OpenFile file(Clip("content"), kReadWrite);
    EXPECT_EQ(file.Seek(3), 3);
    EXPECT_EQ(VXC_SetEndOfFile(file.Handle()), 1);
    EXPECT_EQ(m_folder.Read("clip"), "con");
    EXPECT_EQ(file.Seek(kFourGiB + 1), kFourGiB + 1);
    EXPECT_EQ(VXC_SetEndOfFile(file.Handle()), 1);
    EXPECT_EQ(std::filesystem::file_size(m_folder.Name("clip")), static_cast<uint64>(kFourGiB + 1));
}
