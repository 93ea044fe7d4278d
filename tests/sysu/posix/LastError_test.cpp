// The numbers and texts of the last error.
#include "sysu/FileTesting.h"

#include "support/TempFolder.h"
#include "sysu/posix/CallHooks.h"
#include "text/Utf8.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;

namespace {

// Leaves the last error of an open that the system refuses.
void FailAsSystem(int error) {
    CallHooks hooks;
    hooks.open = [=](const char*, int, mode_t) {
        errno = error;
        return -1;
    };
    const HookScope scope(hooks);
    EXPECT_FALSE(OpenFile(L"/any").IsOpen());
}

std::wstring LastErrorText() {
    wchar_t text[512] = L"#";
    const int length = VXC_GetLastErrorStringW(text, 512);
    EXPECT_EQ(std::wstring(text).size(), static_cast<std::size_t>(length));
    return text;
}

std::wstring SystemText(int error) {
    return FromUtf8(std::strerror(error));
}

} // namespace

TEST(LastErrorTest, TheTextIsThatOfTheSystemsOwnError) {
    // Errors that share a number keep their own text.
    for (const int error : {ENOSPC, EDQUOT, EACCES, EPERM, EIO, ENXIO, ENOENT, EFBIG, EMFILE, EPROTO}) {
        FailAsSystem(error);
        EXPECT_EQ(LastErrorText(), SystemText(error));
    }
}

TEST(LastErrorTest, AnErrorWithoutANumberIsAGeneralFailure) {
    FailAsSystem(EPROTO);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_GEN_FAILURE);
}

TEST(LastErrorTest, ErrorsOfTheLayerHaveTextsOfTheirOwn) {
    const TempFolder folder;
    folder.Write("clip", "content");
    const std::wstring clip = folder.Wide("clip");
    EXPECT_EQ(OpenFile(clip, VXC_GENERIC_READ, kShareAll, 0).Error(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(LastErrorText(), L"Invalid parameter");
    EXPECT_EQ(OpenFile(L"").Error(), VXC_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(LastErrorText(), L"The path or drive is not there");
    EXPECT_EQ(OpenFile(L"\\\\nobody\\share\\clip").Error(), VXC_ERROR_BAD_NETPATH);
    EXPECT_EQ(LastErrorText(), L"The network path is not mapped");
    EXPECT_EQ(OpenFile(clip, VXC_GENERIC_WRITE, 0, VXC_CREATE_NEW).Error(), VXC_ERROR_FILE_EXISTS);
    EXPECT_EQ(LastErrorText(), L"The file exists");
    {
        const OpenFile writer(clip, VXC_GENERIC_WRITE, 0);
        EXPECT_EQ(OpenFile(clip, VXC_GENERIC_WRITE, 0).Error(), VXC_ERROR_SHARING_VIOLATION);
        EXPECT_EQ(LastErrorText(), L"The file is in use");
    }
    const OpenFile file(clip);
    EXPECT_EQ(LastErrorText(), L"Success");
    EXPECT_EQ(file.Seek(-1), -1);
    EXPECT_EQ(LastErrorText(), L"The position lies before the start of the file");
    EXPECT_EQ(VXC_LoadModuleExW(folder.Wide("missing.dll").c_str(), 0, 8), nullptr);
    EXPECT_EQ(LastErrorText(), L"The module was not found");
    EXPECT_EQ(VXC_GetFunction(nullptr, "x"), nullptr);
    EXPECT_EQ(LastErrorText(), L"The function was not found");
}

TEST(LastErrorTest, ANumberOfTheLayerThatTheSystemHasTooTakesTheSystemsText) {
    const TempFolder folder;
    EXPECT_EQ(OpenFile(folder.Wide("")).Error(), VXC_ERROR_ACCESS_DENIED);
    EXPECT_EQ(LastErrorText(), SystemText(EACCES));
    EXPECT_EQ(VXC_CloseFile(nullptr), 0);
    EXPECT_EQ(LastErrorText(), SystemText(EBADF));
}

TEST(LastErrorTest, TheTextIsCutToItsRoomAndTerminated) {
    EXPECT_FALSE(OpenFile(L"/any", VXC_GENERIC_READ, kShareAll, 0).IsOpen());
    wchar_t text[8];
    std::fill(text, text + 8, L'#');
    EXPECT_EQ(VXC_GetLastErrorStringW(text, 5), 4);
    EXPECT_STREQ(text, L"Inva");
    EXPECT_EQ(text[5], L'#');
    std::fill(text, text + 8, L'#');
    EXPECT_EQ(VXC_GetLastErrorStringW(text, 1), 0);
    EXPECT_EQ(text[0], 0);
    EXPECT_EQ(text[1], L'#');
    std::fill(text, text + 8, L'#');
    EXPECT_EQ(VXC_GetLastErrorStringW(text, 0), 0);
    EXPECT_EQ(VXC_GetLastErrorStringW(text, -1), 0);
    EXPECT_EQ(VXC_GetLastErrorStringW(nullptr, 8), 0);
    EXPECT_EQ(text[0], L'#');
}

TEST(LastErrorTest, AskingForTheTextKeepsTheError) {
    FailAsSystem(EIO);
    EXPECT_EQ(LastErrorText(), LastErrorText());
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_IO_DEVICE);
}

TEST(LastErrorTest, EachThreadHasItsOwn) {
    FailAsSystem(EIO);
    std::thread([] {
        EXPECT_EQ(VXC_GetLastError(), 0u);
        FailAsSystem(ENOSPC);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_DISK_FULL);
    }).join();
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_IO_DEVICE);
    EXPECT_EQ(LastErrorText(), SystemText(EIO));
}
