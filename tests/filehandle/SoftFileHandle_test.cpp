// Opening and closing a file handle, and what its status stops.
#include "filehandle/ThreadFixture.h"

#include <gmock/gmock.h>

#include <filesystem>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

using SoftFileHandleTest = HandleTest;
using Inspector = SoftFileHandleInspector;

} // namespace

TEST_F(SoftFileHandleTest, OpensReadsAndClosesAFile) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    std::vector<uint8> buffer(100);
    uint32 got = 0;
    EXPECT_EQ(handle.ReadFile(buffer.data(), 100, &got, nullptr), VXC_STATUS_OK);
    EXPECT_EQ(got, 100U);
    EXPECT_EQ(buffer, Bytes(0, 100));
    EXPECT_EQ(handle.GetFileSize(), kSize);
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
}

TEST_F(SoftFileHandleTest, FailedOpenGivesTheCodeOfItsAccess) {
    const std::wstring missing = folder.Wide("no/such");
    const auto open = [&](uint32 access) {
        return handle.CreateFile(missing.c_str(), access, 3, nullptr, VXC_OPEN_EXISTING, 0, nullptr, 0);
    };
    EXPECT_EQ(open(VXC_GENERIC_READ), 0x80000100U);
    EXPECT_EQ(open(VXC_GENERIC_WRITE), 0x80000104U);
    EXPECT_EQ(open(VXC_GENERIC_READ | VXC_GENERIC_WRITE), 0x80000104U);
}

TEST_F(SoftFileHandleTest, FailedOpenLeavesARecordThatIsClosedLikeAnOpenOne) {
    FaultPlan plan;
    ASSERT_EQ(OpenRead(handle, folder.Wide("missing")), VXC_STATUS_OPEN_READ);
    ASSERT_NE(Inspector::Record(handle), nullptr);
    EXPECT_EQ(Inspector::Record(handle)->hFile, VXC_INVALID_HANDLE);
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1);
    EXPECT_EQ(Inspector::Record(handle), nullptr);
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1);
}

TEST_F(SoftFileHandleTest, OpenPassesEverythingButThePrivateFlagToTheSystem) {
    ASSERT_EQ(OpenRead(handle, Clip(), 0x08100080), VXC_STATUS_OK);
    const SCreateFile& record = *Inspector::Record(handle);
    EXPECT_EQ(record.dwFlagsAndAttributes, 0x08000080U);
    EXPECT_EQ(record.dwDesiredAccess, VXC_GENERIC_READ);
    EXPECT_EQ(record.dwShareMode, 3U);
    EXPECT_EQ(record.dwCreationDisposition, VXC_OPEN_EXISTING);
    EXPECT_EQ(record.szFileName, Clip());
    EXPECT_EQ(record.qwPosition, kUnknownPosition);
    EXPECT_EQ(record.lpSecurityAttributes, nullptr);
    EXPECT_EQ(record.hTemplateFile, nullptr);

    int security = 0;
    int templateFile = 0;
    handle.CreateFile(folder.Wide("missing").c_str(), VXC_GENERIC_READ, 1, &security, 3, 0, &templateFile, 0);
    const SCreateFile& other = *Inspector::Record(handle);
    EXPECT_EQ(other.dwShareMode, 1U);
    EXPECT_EQ(static_cast<void*>(other.lpSecurityAttributes), &security);
    EXPECT_EQ(other.hTemplateFile, &templateFile);
}

TEST_F(SoftFileHandleTest, TheShareModeReachesTheSystem) {
    const auto open = [&](CQLSoftFileHandle& one, uint32 share) {
        return one.CreateFile(Clip().c_str(), VXC_GENERIC_WRITE, share, nullptr, 3, 0, nullptr, 0);
    };
    CQLSoftFileHandle other;
    ASSERT_EQ(open(handle, VXC_FILE_SHARE_READ), VXC_STATUS_OK);
    EXPECT_EQ(open(other, VXC_FILE_SHARE_READ), VXC_STATUS_OPEN_WRITE);
    handle.CloseFileHandle();
    EXPECT_EQ(open(other, VXC_FILE_SHARE_READ), VXC_STATUS_OK);
}

TEST_F(SoftFileHandleTest, OpeningAgainClosesFirst) {
    FaultPlan plan;
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateFileW), 2);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1);
}

TEST_F(SoftFileHandleTest, DestructionCloses) {
    FaultPlan plan;
    {
        CQLSoftFileHandle scoped;
        ASSERT_EQ(OpenRead(scoped, Clip()), VXC_STATUS_OK);
    }
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1);
}

TEST_F(SoftFileHandleTest, CloseLogsItsBeginAndEndWithTheAddressOfTheHandle) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    LogCapture log;
    handle.CloseFileHandle();
    wchar_t address[16];
    std::swprintf(address, 16, L"%x", static_cast<uint32>(reinterpret_cast<std::uintptr_t>(&handle)));
    const std::wstring text = L"CQLSoftFileHandle::CloseFileHandle(ptr->0x" + std::wstring(address) +
                              L")--CloseHandle(),not thread mode,";
    EXPECT_THAT(log.Texts(), ElementsAre(text + L"begin", text + L"end"));
    EXPECT_EQ(log.Texts(INFOTYPE_TRACE).size(), 2U);
}

TEST_F(SoftFileHandleTest, EmptyAndNullNamesFailWithoutHarm) {
    EXPECT_EQ(OpenRead(handle, L""), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(handle.CreateFile(nullptr, VXC_GENERIC_READ, 3, nullptr, 3, 0, nullptr, 0),
              VXC_STATUS_OPEN_READ);
}

TEST_F(SoftFileHandleTest, NamesOf259CharactersAndMoreWork) {
    const std::string folderName = folder.Name("");
    ASSERT_LT(folderName.size(), 200U);
    for (const std::size_t length : {259U, 260U, 400U}) {
        std::string relative;
        while (folderName.size() + relative.size() + 100 < length) {
            relative += std::string(99, 'd') + "/";
        }
        relative += std::string(length - folderName.size() - relative.size(), 'f');
        const std::string name = folder.Write(relative, "x");
        ASSERT_EQ(name.size(), length);
        EXPECT_EQ(OpenRead(handle, folder.Wide(relative)), VXC_STATUS_OK) << length;
        EXPECT_EQ(handle.GetFileSize(), 1U);
    }
    EXPECT_EQ(OpenRead(handle, folder.Wide(std::string(5000, 'n'))), VXC_STATUS_OPEN_READ);
}

TEST_F(SoftFileHandleTest, WithoutAnOpenFileEveryOperationAnswersWithoutHarm) {
    FaultPlan plan;
    LogCapture log;
    uint8 byte = 0;
    uint32 count = 9;
    EXPECT_EQ(handle.ReadFile(&byte, 1, &count, nullptr), VXC_STATUS_READ);
    EXPECT_EQ(count, 0U);
    count = 9;
    EXPECT_EQ(handle.WriteFile(&byte, 1, &count, nullptr), VXC_STATUS_WRITE);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(handle.SetFilePointer(5, 0), -1);
    EXPECT_EQ(handle.GetFileSize(), 0U);
    handle.SetEndofFile();
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(), 0);
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(SoftFileHandleTest, TransfersOfNothingNeedNoOpenFile) {
    uint32 count = 9;
    EXPECT_EQ(handle.ReadFile(nullptr, 0, &count, nullptr), VXC_STATUS_OK);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(handle.WriteFile(nullptr, 0, &count, nullptr), VXC_STATUS_OK);
    Inspector::SetStatus(handle, VXC_STATUS_WRITE); // as a close that told of an earlier error
    EXPECT_EQ(handle.ReadFile(nullptr, 0, &count, nullptr), VXC_STATUS_WRITE);
    EXPECT_EQ(handle.WriteFile(nullptr, 0, &count, nullptr), VXC_STATUS_OK);
}

TEST_F(SoftFileHandleTest, AllWaitsBeginWithTheTimeOutOfReads) {
    const TimeOuts scope(1234, 5678);
    const CQLSoftFileHandle fresh;
    EXPECT_EQ(Inspector::OpenWait(fresh), 1234U);
    EXPECT_EQ(Inspector::WriteWait(fresh), 1234U);
    EXPECT_EQ(Inspector::ReadWait(fresh), 1234U);
    EXPECT_EQ(Inspector::SeekWait(fresh), 1234U);
}

TEST_F(SoftFileHandleTest, WriteAccessWithAWriteTimeOutAsksForWorkers) {
    const TimeOuts scope(VXC_INFINITE, 5678);
    LogCapture log;
    CQLSoftFileHandle fresh;
    EXPECT_EQ(OpenReadWrite(fresh, Clip()), VXC_STATUS_OK);
    EXPECT_EQ(log.Count(L"CQLSoftFileHandle::CreateFile(" + Clip() + L") is Double Thread Mode"), 1U);
    EXPECT_EQ(log.Lines().at(0).level, INFOTYPE_TRACE);
    EXPECT_EQ(Inspector::OpenWait(fresh), 5678U);
    // Reading is not touched by it.
    EXPECT_EQ(OpenRead(fresh, Clip()), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::OpenWait(fresh), VXC_INFINITE);
}

TEST_F(SoftFileHandleTest, WriteAccessWithoutAWriteTimeOutStaysDirect) {
    const TimeOuts scope(5000, VXC_INFINITE);
    EXPECT_EQ(OpenReadWrite(handle, Clip()), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::OpenWait(handle), 5000U);
}

TEST_F(SoftFileHandleTest, ATimeOutStopsTransfersAndSeeksUntilTheClose) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    Inspector::SetStatus(handle, VXC_STATUS_TIME_OUT);
    FaultPlan plan;
    uint8 byte = 0;
    uint32 count = 9;
    EXPECT_EQ(handle.ReadFile(&byte, 1, &count, nullptr), VXC_STATUS_TIME_OUT);
    EXPECT_EQ(count, 0U);
    count = 9;
    EXPECT_EQ(handle.WriteFile(&byte, 1, &count, nullptr), VXC_STATUS_TIME_OUT);
    EXPECT_EQ(count, 9U);
    EXPECT_EQ(handle.SetFilePointer(5, 0), -1);
    EXPECT_EQ(handle.GetFileSize(), 0U);
    handle.SetEndofFile();
    EXPECT_EQ(plan.Calls(), 0);
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
}

TEST_F(SoftFileHandleTest, ADirectOpenDoesNotClearTheStatusOfAnEarlierUse) {
    Inspector::SetStatus(handle, VXC_STATUS_TIME_OUT); // left by a use that was given up
    EXPECT_EQ(OpenRead(handle, Clip()), VXC_STATUS_TIME_OUT);
    EXPECT_NE(Inspector::Record(handle)->hFile, VXC_INVALID_HANDLE);
    EXPECT_EQ(handle.GetFileSize(), 0U);
}

TEST_F(SoftFileHandleTest, SizeOfAFileThatTheSystemDoesNotTellIsZero) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_GetFileSize).WithError(VXC_ERROR_IO_DEVICE));
    EXPECT_EQ(handle.GetFileSize(), 0U);
    EXPECT_EQ(handle.GetFileSize(), kSize); // and the status did not change
}

TEST_F(SoftFileHandleTest, SizeWhoseLowHalfIsAllOnesIsNoFailure) {
    folder.Write("large", "");
    std::filesystem::resize_file(folder.Path() / "large", 0x1FFFFFFFFU);
    ASSERT_EQ(OpenRead(handle, folder.Wide("large")), VXC_STATUS_OK);
    EXPECT_EQ(handle.GetFileSize(), 0x1FFFFFFFFU);
}

TEST_F(SoftFileHandleTest, AnOlderErrorOfTheThreadDoesNotHideTheSize) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    FaultPlan plan;
    plan.Add(Answer(Op::VXC_GetLastError, VXC_ERROR_IO_DEVICE).FromThenOn());
    EXPECT_EQ(handle.GetFileSize(), kSize);
}

TEST_F(SoftFileHandleTest, BitrateInfoLogsTheOpenWithTheNameAsGiven) {
    const std::wstring given = ADDVXCIOID(Clip().c_str(), nullptr).c_str();
    Module().EnableBitrateInfo = 1;
    LogCapture log;
    EXPECT_EQ(OpenRead(handle, given, 0x00100080), VXC_STATUS_OK);
    Module().EnableBitrateInfo = 0;
    wchar_t address[16];
    std::swprintf(address, 16, L"%x", static_cast<uint32>(reinterpret_cast<std::uintptr_t>(&handle)));
    EXPECT_EQ(log.Texts(INFOTYPE_TRACE).back(),
              L"this->0x" + std::wstring(address) + L", CQLSoftFileHandle::CreateFile(FileName[" + given +
                  L"], dwFlagsAndAttributes[0x80], bFileHandle_Thread_Mode[0] End)");
}

TEST_F(SoftFileHandleTest, RecordOutlivesTheHandleForWhoHoldsIt) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    auto* const record = const_cast<SCreateFile*>(Inspector::Record(handle));
    record->AddReference();
    handle.CloseFileHandle();
    EXPECT_EQ(record->szFileName, Clip());
    record->Release();
}
