// A file handle over a host's own file functions.
#include "filehandle/HandleFixture.h"

#include "support/HostTable.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cwchar>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

class CallbackHandleTest : public ::testing::Test {
protected:
    static constexpr uint32 kSize = 1000;

    uint32 Open(uint32 access = VXC_GENERIC_READ, uint32 flags = 0) {
        return handle.CreateFile(host.Tagged().c_str(), access, 3, nullptr, VXC_OPEN_EXISTING, flags, nullptr,
                                 0);
    }
    uint32 Read(uint32 bytes, uint32* count) { return handle.ReadFile(buffer.data(), bytes, count, nullptr); }
    std::wstring HandleText() const {
        wchar_t text[16];
        std::swprintf(text, 16, L"0x%08x",
                      static_cast<uint32>(
                          reinterpret_cast<std::uintptr_t>(SoftFileHandleInspector::Record(handle)->hFile)));
        return text;
    }

    HostTable host{L"host.mxf", Pattern(kSize, 5)};
    CQLSoftFileHandle handle;
    std::vector<uint8> buffer = std::vector<uint8>(2 * kSize);
};

} // namespace

TEST_F(CallbackHandleTest, OpensThePlainNameWithTheClearedFlagsAndLogsBothEnds) {
    LogCapture log;
    ASSERT_EQ(Open(VXC_GENERIC_READ, 0x08100080), VXC_STATUS_OK);
    ASSERT_EQ(host.Calls(HostFunction::Open), 1);
    EXPECT_EQ(host.Log().at(0).name, L"host.mxf");
    EXPECT_EQ(host.Log().at(0).flags, 0x08000080U);
    EXPECT_THAT(log.Texts(),
                ElementsAre(L"will IOCallbackSet->pfnOpen(host.mxf, 134217856)",
                            L"end  IOCallbackSet->pfnOpen() return " + HandleText() + L" ErrorNo = 0"));
    EXPECT_EQ(log.Texts(INFOTYPE_TRACE).size(), 2U);
}

TEST_F(CallbackHandleTest, SystemIsNeverAsked) {
    FaultPlan plan;
    ASSERT_EQ(Open(VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    uint32 count = 0;
    handle.SetFilePointer(0, 0);
    Read(10, &count);
    handle.WriteFile(buffer.data(), 10, &count, nullptr);
    handle.GetFileSize();
    handle.SetEndofFile();
    handle.CloseFileHandle();
    // Only for the last error, which the rule of a failed seek looks at.
    EXPECT_EQ(plan.Calls(), plan.Calls(Op::VXC_GetLastError) + plan.Calls(Op::VXC_GetLastErrorStringW));
    EXPECT_THAT(host.Order(), ElementsAre(HostFunction::Open, HostFunction::SetFilePointer,
                                          HostFunction::Read, HostFunction::Write, HostFunction::GetFileSize,
                                          HostFunction::SetEndofFile, HostFunction::CloseFile));
}

TEST_F(CallbackHandleTest, TableMayGoAsSoonAsTheFileIsOpen) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    host.FreeTable();
    uint32 count = 0;
    EXPECT_EQ(Read(100, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 100U);
    EXPECT_EQ(handle.GetFileSize(), kSize);
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_EQ(host.OpenHandles(), 0);
}

TEST_F(CallbackHandleTest, FailedOpenIsLoggedWithItsTextAndGivesTheCodeOfItsAccess) {
    host.Fail(HostFunction::Open, 42, 1, true);
    LogCapture log;
    EXPECT_EQ(Open(), VXC_STATUS_OPEN_READ);
    EXPECT_THAT(log.Texts(), ElementsAre(L"will IOCallbackSet->pfnOpen(host.mxf, 0)",
                                         L"end  IOCallbackSet->pfnOpen() return 0xffffffff ErrorNo = 42",
                                         L"IOCallbackSet->pfnOpen return Err host error 42"));
    EXPECT_EQ(log.Lines().back().level, INFOTYPE_ERROR);
    EXPECT_EQ(Open(VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OPEN_WRITE);
}

TEST_F(CallbackHandleTest, AnErrorNumberOfOpenCountsEvenWithAHandle) {
    host.FailAfterEffect(HostFunction::Open, 42);
    EXPECT_EQ(Open(), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(SoftFileHandleInspector::Record(handle)->hFile, VXC_INVALID_HANDLE);
}

TEST_F(CallbackHandleTest, AFailedOpenIsClosedWithMinusOne) {
    host.Fail(HostFunction::Open, 42);
    Open();
    handle.CloseFileHandle();
    EXPECT_EQ(host.ClosedInvalid(), 1);
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_EQ(host.ClosedInvalid(), 1);
}

TEST_F(CallbackHandleTest, CloseIsLoggedWithTheHandle) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    const std::wstring file = HandleText();
    LogCapture log;
    handle.CloseFileHandle();
    EXPECT_THAT(log.Texts(), ElementsAre(L"will IOCallbackSet->pfnCloseFile(" + file + L")",
                                         L"end  IOCallbackSet->pfnCloseFile(" + file + L") ErrorNo = 0"));
}

TEST_F(CallbackHandleTest, AFailedCloseIsLoggedAndForgotten) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    host.Fail(HostFunction::CloseFile, 9);
    LogCapture log;
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_EQ(log.Texts(INFOTYPE_ERROR).at(0), L"IOCallbackSet->pfnCloseFile() return Err host error 9");
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_EQ(host.Calls(HostFunction::CloseFile), 1);
}

TEST_F(CallbackHandleTest, AFailedReadIsLoggedTwiceAndKeepsItsCount) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    host.FailAfterEffect(HostFunction::Read, 5);
    LogCapture log;
    uint32 count = 0;
    EXPECT_EQ(Read(100, &count), VXC_STATUS_READ);
    EXPECT_EQ(count, 100U);
    const auto errors = log.Texts(INFOTYPE_ERROR);
    ASSERT_EQ(errors.size(), 2U);
    EXPECT_EQ(errors[0], L"IOCallbackSet->pfnRead return Err host error 5");
    EXPECT_EQ(
        errors[1].rfind(L"ReadFile(nNumberOfBytes=100) error, FileName is[host.mxf], Description is[", 0),
        0U);
}

TEST_F(CallbackHandleTest, CountsAboveTheRequestAreCutToIt) {
    ASSERT_EQ(Open(VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    host.ClaimMore(0x10000000);
    handle.SetFilePointer(0, 0);
    uint32 count = 0;
    EXPECT_EQ(Read(100, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 100U);
    EXPECT_EQ(handle.WriteFile(buffer.data(), 100, &count, nullptr), VXC_STATUS_OK);
    EXPECT_EQ(count, 100U);
    EXPECT_EQ(SoftFileHandleInspector::Record(handle)->qwPosition, 200U);
}

TEST_F(CallbackHandleTest, AFailedWriteIsLoggedTwice) {
    ASSERT_EQ(Open(VXC_GENERIC_WRITE), VXC_STATUS_OK);
    host.Fail(HostFunction::Write, 7);
    LogCapture log;
    uint32 count = 9;
    EXPECT_EQ(handle.WriteFile(buffer.data(), 100, &count, nullptr), VXC_STATUS_WRITE);
    EXPECT_EQ(count, 0U);
    const auto errors = log.Texts(INFOTYPE_ERROR);
    ASSERT_EQ(errors.size(), 2U);
    EXPECT_EQ(errors[0], L"IOCallbackSet->pfnWrite return Err host error 7");
    EXPECT_EQ(
        errors[1].rfind(L"WriteFile(nNumberOfBytesToWrite[100] != nNumberOfBytesWritten[0]) error--", 0), 0U);
}

TEST_F(CallbackHandleTest, AShortWriteOfTheHostIsAFailure) {
    ASSERT_EQ(Open(VXC_GENERIC_WRITE), VXC_STATUS_OK);
    host.ShortenWrites(30);
    uint32 count = 0;
    EXPECT_EQ(handle.WriteFile(buffer.data(), 100, &count, nullptr), VXC_STATUS_WRITE);
    EXPECT_EQ(count, 30U);
}

TEST_F(CallbackHandleTest, EverySeekReachesTheHost) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(handle.SetFilePointer(100, 0), 100);
    EXPECT_EQ(handle.SetFilePointer(100, 0), 100);
    EXPECT_EQ(handle.SetFilePointer(0, 1), 100);
    EXPECT_EQ(handle.SetFilePointer(static_cast<uint64>(-1), 2), int64{kSize - 1});
    EXPECT_EQ(host.Calls(HostFunction::SetFilePointer), 4);
    EXPECT_EQ(host.Log().back().method, 2U);
    EXPECT_EQ(handle.SetFilePointer(uint64{3} << 32 | 1, 0), int64{3} << 32 | 1);
}

TEST_F(CallbackHandleTest, AnErrorNumberOfASeekIsLoggedAndItsPositionTaken) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FaultPlan plan;
    plan.Add(Answer(Op::VXC_GetLastError, 0).FromThenOn());
    host.FailAfterEffect(HostFunction::SetFilePointer, 3);
    LogCapture log;
    EXPECT_EQ(handle.SetFilePointer(100, 0), 100);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR),
                ElementsAre(L"IOCallbackSet->pfnSetFilePointer return Err host error 3"));
}

TEST_F(CallbackHandleTest, LowHalfOfAllOnesWithAStandingErrorOfTheThreadIsAFailedSeek) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    {
        FaultPlan plan;
        plan.Add(Answer(Op::VXC_GetLastError, 0).FromThenOn());
        EXPECT_EQ(handle.SetFilePointer(0xFFFFFFFFU, 0), int64{0xFFFFFFFF});
    }
    FaultPlan plan;
    plan.Add(Answer(Op::VXC_GetLastError, VXC_ERROR_IO_DEVICE).FromThenOn());
    EXPECT_EQ(handle.SetFilePointer(0xFFFFFFFFU, 0), -1);
    EXPECT_EQ(SoftFileHandleInspector::Record(handle)->qwPosition, kUnknownPosition);
}

TEST_F(CallbackHandleTest, SizeIsTakenWholeAndItsErrorLogged) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(handle.GetFileSize(), kSize);
    host.FailAfterEffect(HostFunction::GetFileSize, 8);
    LogCapture log;
    EXPECT_EQ(handle.GetFileSize(), kSize);
    EXPECT_THAT(log.Texts(), ElementsAre(L"IOCallbackSet->pfnGetFileSize return Err host error 8"));
}

TEST_F(CallbackHandleTest, AFailedCutIsLoggedAndLeavesNoStatus) {
    ASSERT_EQ(Open(VXC_GENERIC_WRITE), VXC_STATUS_OK);
    host.Fail(HostFunction::SetEndofFile, 6);
    LogCapture log;
    handle.SetEndofFile();
    EXPECT_THAT(log.Texts(), ElementsAre(L"IOCallbackSet->pfnSetEndofFile return Err host error 6"));
    EXPECT_EQ(handle.GetFileSize(), kSize);
}

TEST_F(CallbackHandleTest, TheTextOfEveryErrorIsAskedForTheHandleAndItsNumber) {
    ASSERT_EQ(Open(VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    void* const file = SoftFileHandleInspector::Record(handle)->hFile;
    uint32 count = 0;
    const auto expectText = [&](uint32 number) {
        EXPECT_EQ(host.Log().back().function, HostFunction::ErrorText);
        EXPECT_EQ(host.Log().back().handle, file) << number;
        EXPECT_EQ(host.Log().back().errorNumber, number);
    };
    host.FailAfterEffect(HostFunction::GetFileSize, 11);
    handle.GetFileSize();
    expectText(11);
    host.FailAfterEffect(HostFunction::SetEndofFile, 12);
    handle.SetEndofFile();
    expectText(12);
    host.FailAfterEffect(HostFunction::SetFilePointer, 13);
    handle.SetFilePointer(1, 0);
    expectText(13);
    host.FailAfterEffect(HostFunction::Read, 14);
    Read(10, &count);
    expectText(14);
    host.FailAfterEffect(HostFunction::Write, 15);
    handle.WriteFile(buffer.data(), 10, &count, nullptr);
    expectText(15);
    host.FailAfterEffect(HostFunction::CloseFile, 16);
    handle.CloseFileHandle();
    expectText(16);
    host.FailAfterEffect(HostFunction::Open, 17);
    Open();
    EXPECT_EQ(host.Log().back().errorNumber, 17U);
    EXPECT_NE(host.Log().back().handle, VXC_INVALID_HANDLE) << "the handle that came with the error";
}

TEST_F(CallbackHandleTest, OpeningAgainTakesTheNewNamesTable) {
    HostTable other(L"other.mxf", Pattern(50, 6));
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ASSERT_EQ(handle.CreateFile(other.Tagged().c_str(), VXC_GENERIC_READ, 3, nullptr, 3, 0, nullptr, 0), 0U);
    EXPECT_EQ(handle.GetFileSize(), 50U);
    EXPECT_EQ(host.OpenHandles(), 0);
    const TempFolder folder(TempFolder::Kind::Memory);
    folder.Write("plain", "abc");
    ASSERT_EQ(OpenRead(handle, folder.Wide("plain")), 0U); // and none for a plain name
    EXPECT_EQ(handle.GetFileSize(), 3U);
    EXPECT_EQ(other.OpenHandles(), 0);
}

TEST_F(CallbackHandleTest, ATextThatFillsTheWholeBufferIsEnded) {
    host.Table().pfnErrorText = [](void*, wchar_t* text, uint32) { std::fill_n(text, 512, L'e'); };
    host.Fail(HostFunction::Open, 42);
    LogCapture log;
    Open();
    EXPECT_EQ(log.Texts().back(), L"IOCallbackSet->pfnOpen return Err " + std::wstring(511, L'e'));
}

TEST_F(CallbackHandleTest, TheTextBufferComesClearedAndMayStayEmpty) {
    host.Table().pfnErrorText = [](void*, wchar_t* text, uint32) {
        if (std::any_of(text, text + 512, [](wchar_t c) { return c != 0; })) {
            std::wcscpy(text, L"not cleared");
        }
    };
    host.Fail(HostFunction::Open, 42);
    LogCapture log;
    Open();
    EXPECT_EQ(log.Texts().back(), L"IOCallbackSet->pfnOpen return Err ");
}

TEST_F(CallbackHandleTest, WithoutATextFunctionTextsAreEmpty) {
    host.Table().pfnErrorText = nullptr;
    host.Fail(HostFunction::Open, 42);
    LogCapture log;
    EXPECT_EQ(Open(), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(log.Texts().back(), L"IOCallbackSet->pfnOpen return Err ");
}

TEST_F(CallbackHandleTest, FunctionsThatAreMissingFailTheirOperation) {
    const IOCallbackSet whole = host.Table();
    uint32 count = 9;
    host.Table().pfnOpen = nullptr;
    EXPECT_EQ(Open(), VXC_STATUS_OPEN_READ);

    host.Table() = whole;
    host.Table().pfnRead = nullptr;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(10, &count), VXC_STATUS_READ);
    EXPECT_EQ(count, 0U);

    host.Table() = whole;
    host.Table().pfnWrite = nullptr;
    host.Table().pfnSetFilePointer = nullptr;
    host.Table().pfnGetFileSize = nullptr;
    host.Table().pfnSetEndofFile = nullptr;
    host.Table().pfnCloseFile = nullptr;
    ASSERT_EQ(Open(VXC_GENERIC_WRITE), VXC_STATUS_OK);
    EXPECT_EQ(handle.GetFileSize(), 0U);
    handle.SetEndofFile();
    LogCapture log;
    EXPECT_EQ(handle.SetFilePointer(100, 0), -1);
    EXPECT_EQ(SoftFileHandleInspector::Record(handle)->qwPosition, kUnknownPosition);
    EXPECT_EQ(log.Count(L"IOCallbackSet->pfnSetFilePointer return Err "), 1U);
    count = 9;
    EXPECT_EQ(handle.WriteFile(buffer.data(), 10, &count, nullptr), VXC_STATUS_WRITE);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_EQ(log.Count(L"IOCallbackSet->pfnCloseFile() return Err "), 1U);
}

TEST_F(CallbackHandleTest, DigitsThatPointNowhereAreAFailedOpen) {
    LogCapture log;
    const auto open = [&](std::uintptr_t address, uint32 access) {
        const CVXCString name = ADDVXCIOID(L"clip", reinterpret_cast<void*>(address));
        return handle.CreateFile(name, access, 3, nullptr, 3, 0, nullptr, 0);
    };
    EXPECT_EQ(open(1, VXC_GENERIC_READ), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(open(0xFFFFFFFFFFFFFFF8U, VXC_GENERIC_WRITE), VXC_STATUS_OPEN_WRITE);
    EXPECT_EQ(open(0x7FFFFFFFFFFFFFF0U, VXC_GENERIC_READ), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(log.Texts(INFOTYPE_ERROR).at(0),
              L"CQLSoftFileHandle::CreateFile(clip): no file functions at 0x1");
}

TEST_F(CallbackHandleTest, DigitsOfZeroMeanNoTable) {
    const TempFolder folder(TempFolder::Kind::Memory);
    folder.Write("plain", "abc");
    ASSERT_EQ(OpenRead(handle, ADDVXCIOID(folder.Wide("plain").c_str(), nullptr).c_str()), VXC_STATUS_OK);
    EXPECT_EQ(handle.GetFileSize(), 3U);
}

TEST_F(CallbackHandleTest, OnlyTheThreadThatCallsTheHandleCallsTheHost) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    uint32 count = 0;
    Read(10, &count);
    handle.CloseFileHandle();
    for (const HostCall& call : host.Log()) {
        EXPECT_EQ(call.thread, std::this_thread::get_id());
    }
}
