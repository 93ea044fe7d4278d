#include "support/HostTable.h"

#include "frame/PlatformTypes.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <memory>
#include <optional>
#include <string>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using testing::ElementsAre;

namespace {

constexpr auto kStart = VXC_FILE_BEGIN;

// Calls the functions as the library does.
class User {
public:
    explicit User(HostTable& host) : m_table(host.Table()) {}

    void* Open(const wchar_t* name = L"host.mxf", uint32 flags = 0) {
        error = 99;
        handle = m_table.pfnOpen(name, flags, &error);
        return handle;
    }
    std::string Read(uint32 bytes) {
        std::string buffer(bytes + 16, '.');
        count = 99;
        error = static_cast<uint32>(m_table.pfnRead(handle, buffer.data(), bytes, &count));
        return buffer.substr(0, std::min<std::size_t>(count, buffer.size()));
    }
    void Write(const std::string& text) {
        count = 99;
        error = static_cast<uint32>(
            m_table.pfnWrite(handle, text.data(), static_cast<uint32>(text.size()), &count));
    }
    int64 Seek(int64 distance, uint32 method = kStart) {
        auto high = static_cast<int32>(distance >> 32);
        error = 99;
        const uint32 low =
            m_table.pfnSetFilePointer(handle, static_cast<uint32>(distance), &high, method, &error);
        return error == 0 ? static_cast<int64>(uint64{static_cast<uint32>(high)} << 32 | low) : -1;
    }
    uint64 Size() {
        error = 99;
        return m_table.pfnGetFileSize(handle, &error);
    }
    void Cut() { error = static_cast<uint32>(m_table.pfnSetEndofFile(handle)); }
    void Close() { error = static_cast<uint32>(m_table.pfnCloseFile(handle)); }
    std::wstring Text(uint32 number) {
        wchar_t text[512] = {};
        m_table.pfnErrorText(handle, text, number);
        return text;
    }

    void* handle = nullptr;
    uint32 error = 0;
    uint32 count = 0;

private:
    const IOCallbackSet m_table; // as the library keeps its own copy
};

std::vector<uint8> Bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

TEST(HostTableTest, AFileInMemoryIsReadWrittenMovedAndCut) {
    HostTable host(L"host.mxf", Bytes("0123456789"));
    User user(host);
    EXPECT_NE(user.Open(), VXC_INVALID_HANDLE);
    EXPECT_EQ(user.error, 0u);
    EXPECT_EQ(user.Size(), 10u);
    EXPECT_EQ(user.Read(4), "0123");
    EXPECT_EQ(user.Seek(2, VXC_FILE_CURRENT), 6);
    EXPECT_EQ(user.Read(100), "6789");
    EXPECT_EQ(user.Read(1), "");
    EXPECT_EQ(user.error, 0u);
    EXPECT_EQ(user.Seek(-2, VXC_FILE_END), 8);
    user.Write("XYZ");
    EXPECT_EQ(user.count, 3u);
    EXPECT_EQ(host.Content(), Bytes("01234567XYZ"));
    EXPECT_EQ(user.Seek(3), 3);
    user.Cut();
    EXPECT_EQ(host.Content(), Bytes("012"));
    EXPECT_EQ(host.OpenHandles(), 1);
    user.Close();
    EXPECT_EQ(user.error, 0u);
    EXPECT_EQ(host.OpenHandles(), 0);
}

TEST(HostTableTest, PositionsAreOf64Bits) {
    HostTable host;
    User user(host);
    user.Open();
    EXPECT_EQ(user.Seek(0x1'2345'6789), 0x1'2345'6789);
    EXPECT_EQ(user.Seek(-1, VXC_FILE_CURRENT), 0x1'2345'6788);
    EXPECT_EQ(user.Seek(-1), -1);
    EXPECT_EQ(user.error, VXC_ERROR_NEGATIVE_SEEK);
    EXPECT_EQ(user.Seek(0, VXC_FILE_CURRENT), 0x1'2345'6788);
}

TEST(HostTableTest, AFileOnTheDiskIsServedToo) {
    TempFolder folder;
    const std::string name = folder.Write("disk.bin", "0123456789");
    HostTable host(L"host.mxf", std::filesystem::path(name));
    User user(host);
    user.Open();
    EXPECT_EQ(user.Size(), 10u);
    EXPECT_EQ(user.Seek(5), 5);
    EXPECT_EQ(user.Read(100), "56789");
    user.Write("AB");
    EXPECT_EQ(folder.Read("disk.bin"), "0123456789AB");
    EXPECT_EQ(host.Content(), Bytes("0123456789AB"));
    EXPECT_EQ(user.Seek(1), 1);
    user.Cut();
    EXPECT_EQ(folder.Read("disk.bin"), "0");
    host.AddFile(L"new", folder.Path() / "new.bin");
    EXPECT_NE(user.Open(L"new"), VXC_INVALID_HANDLE);
    EXPECT_EQ(user.Size(), 0u);
    user.Write("first");
    EXPECT_EQ(folder.Read("new.bin"), "first");
}

TEST(HostTableTest, OtherNamesAreNotFound) {
    HostTable host(L"a", Bytes("A"));
    host.AddFile(L"b", Bytes("B"));
    User user(host);
    user.Open(L"b");
    EXPECT_EQ(user.Read(1), "B");
    EXPECT_EQ(user.Open(L"c"), VXC_INVALID_HANDLE);
    EXPECT_EQ(user.error, VXC_ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(host.Content(L"c").empty());
}

TEST(HostTableTest, TheTaggedNameCarriesTheAddressOfTheTable) {
    HostTable host(L"clip.mxf");
    const std::wstring tagged = host.Tagged();
    ASSERT_EQ(tagged.size(), 8u + 16 + 6);
    EXPECT_EQ(tagged.substr(0, 8), L"clip.mxf");
    EXPECT_EQ(tagged.substr(24), L"VXCIO8");
    const std::wstring digits = tagged.substr(8, 16);
    EXPECT_EQ(digits.find_first_not_of(L"0123456789ABCDEF"), std::wstring::npos);
    EXPECT_EQ(std::wcstoull(digits.c_str(), nullptr, 16), reinterpret_cast<std::uintptr_t>(&host.Table()));
    EXPECT_EQ(host.Tagged(L"x"), L"x" + digits + L"VXCIO8");
}

TEST(HostTableTest, CallsAreCountedAndKeptInOrder) {
    HostTable host(L"host.mxf", Bytes("0123456789"));
    User user(host);
    user.Open(L"host.mxf", 0x20000000);
    user.Seek(4);
    user.Read(3);
    user.Text(5);
    std::thread([&] { user.Close(); }).join();
    EXPECT_EQ(host.Calls(HostFunction::Read), 1);
    EXPECT_EQ(host.Calls(HostFunction::Write), 0);
    EXPECT_THAT(host.Order(), ElementsAre(HostFunction::Open, HostFunction::SetFilePointer,
                                          HostFunction::Read, HostFunction::CloseFile));
    const std::vector<HostCall> log = host.Log();
    ASSERT_EQ(log.size(), 5u);
    EXPECT_EQ(log[0].name, L"host.mxf");
    EXPECT_EQ(log[0].flags, 0x20000000u);
    EXPECT_EQ(log[1].distance, 4);
    EXPECT_EQ(log[1].method, kStart);
    EXPECT_EQ(log[2].bytes, 3u);
    EXPECT_EQ(log[2].position, 4u);
    EXPECT_EQ(log[2].handle, user.handle);
    EXPECT_EQ(log[2].thread, std::this_thread::get_id());
    EXPECT_EQ(log[3].errorNumber, 5u);
    EXPECT_NE(log[4].thread, std::this_thread::get_id());
    host.ClearLog();
    EXPECT_EQ(host.Calls(HostFunction::Read), 0);
    EXPECT_STREQ(HostFunctionName(HostFunction::ErrorText), "pfnErrorText");
}

TEST(HostTableTest, EveryFunctionCanFailAtItsNthCall) {
    HostTable host(L"host.mxf", Bytes("0123456789"));
    User user(host);
    host.Fail(HostFunction::Open, 5, 2);
    EXPECT_NE(user.Open(), VXC_INVALID_HANDLE);
    void* const open = user.handle;
    EXPECT_EQ(user.Open(), VXC_INVALID_HANDLE);
    EXPECT_EQ(user.error, 5u);
    user.handle = open;
    host.Fail(HostFunction::Read, 23, 2);
    EXPECT_EQ(user.Read(2), "01");
    EXPECT_EQ(user.Read(2), "");
    EXPECT_EQ(user.error, 23u);
    EXPECT_EQ(user.Read(2), "23");
    host.Fail(HostFunction::SetFilePointer, 24);
    EXPECT_EQ(user.Seek(9), -1);
    EXPECT_EQ(user.error, 24u);
    host.Fail(HostFunction::GetFileSize, 25);
    EXPECT_EQ(user.Size(), 0u);
    EXPECT_EQ(user.error, 25u);
    host.Fail(HostFunction::Write, 26);
    user.Write("X");
    EXPECT_EQ(user.error, 26u);
    EXPECT_EQ(user.count, 0u);
    host.Fail(HostFunction::SetEndofFile, 27);
    user.Cut();
    EXPECT_EQ(user.error, 27u);
    EXPECT_EQ(host.Content(), Bytes("0123456789"));
    host.Fail(HostFunction::ErrorText, 1);
    EXPECT_EQ(user.Text(3), L"");
    host.Fail(HostFunction::CloseFile, 28);
    user.Close();
    EXPECT_EQ(user.error, 28u);
    EXPECT_EQ(host.OpenHandles(), 1);
    user.Close();
    EXPECT_EQ(user.error, 0u);
}

TEST(HostTableTest, FailuresCanGoOnForEver) {
    HostTable host(L"host.mxf", Bytes("0123456789"));
    User user(host);
    user.Open();
    user.Read(1);
    host.Fail(HostFunction::Read, 23, 2, true); // counted from here
    EXPECT_EQ(user.Read(1), "1");
    for (int i = 0; i < 3; ++i) {
        user.Read(1);
        EXPECT_EQ(user.error, 23u);
    }
}

TEST(HostTableTest, AFailureCanComeAfterTheWork) {
    HostTable host(L"host.mxf", Bytes("0123456789"));
    User user(host);
    host.FailAfterEffect(HostFunction::Open, 5);
    EXPECT_NE(user.Open(), VXC_INVALID_HANDLE);
    EXPECT_EQ(user.error, 5u);
    host.FailAfterEffect(HostFunction::Read, 23);
    EXPECT_EQ(user.Read(2), "01");
    EXPECT_EQ(user.error, 23u);
    host.FailAfterEffect(HostFunction::CloseFile, 28);
    user.Close();
    EXPECT_EQ(user.error, 28u);
    EXPECT_EQ(host.OpenHandles(), 0);
}

TEST(HostTableTest, TheTextOfAnErrorNamesItsNumber) {
    HostTable host;
    User user(host);
    host.Fail(HostFunction::Open, 5);
    user.Open();
    EXPECT_EQ(user.Text(5), L"host error 5"); // the handle is -1 here
    user.Close();
    EXPECT_EQ(host.ClosedInvalid(), 1);
}

TEST(HostTableTest, TransfersComeUpShort) {
    HostTable host(L"host.mxf", Bytes("0123456789"));
    User user(host);
    user.Open();
    host.ShortenReads(3);
    EXPECT_EQ(user.Read(8), "012");
    EXPECT_EQ(user.Read(2), "34");
    host.ShortenReads(VXC_INFINITE);
    EXPECT_EQ(user.Read(5), "56789");
    host.ShortenWrites(1);
    user.Write("ABC");
    EXPECT_EQ(user.count, 1u);
    EXPECT_EQ(host.Content(), Bytes("0123456789A"));
}

TEST(HostTableTest, CountsCanClaimMoreThanWasMoved) {
    HostTable host(L"host.mxf", Bytes("0123456789"));
    User user(host);
    user.Open();
    host.ClaimMore(7);
    EXPECT_EQ(user.Read(2), "01.......");
    EXPECT_EQ(user.count, 9u);
    user.Write("A");
    EXPECT_EQ(user.count, 8u);
    EXPECT_EQ(host.Content(), Bytes("01A3456789"));
}

TEST(HostTableTest, ACallStandsAtTheGateWhileOthersGoOn) {
    HostTable host(L"host.mxf", Bytes("0123456789"));
    User user(host);
    user.Open();
    Gate gate;
    host.Hold(HostFunction::Read, gate);
    std::thread thread([&] { EXPECT_EQ(user.Read(2), "01"); });
    ASSERT_TRUE(gate.WaitUntilReached());
    EXPECT_EQ(host.Calls(HostFunction::Read), 1);
    User other(host);
    other.Open();
    EXPECT_EQ(other.Read(1), "0");
    gate.Open();
    thread.join();
}

TEST(HostTableTest, TwoTablesWithOneNameAreKeptApart) {
    HostTable first(L"host.mxf", Bytes("1"));
    HostTable second(L"host.mxf", Bytes("2"));
    User one(first);
    User two(second);
    one.Open();
    two.Open();
    EXPECT_EQ(one.Read(1), "1");
    EXPECT_EQ(two.Read(1), "2");
    EXPECT_EQ(first.Calls(HostFunction::Open), 1);
    two.handle = one.handle;
    two.Size();
    EXPECT_EQ(two.error, VXC_ERROR_INVALID_HANDLE);
}

TEST(HostTableTest, LateCallsFailWhenTheTableIsGone) {
    Gate gate;
    std::thread thread;
    std::optional<User> user;
    {
        HostTable host(L"host.mxf", Bytes("0123456789"));
        user.emplace(host);
        user->Open();
        host.Hold(HostFunction::GetFileSize, gate);
        thread = std::thread([late = *user]() mutable { EXPECT_EQ(late.Size(), 10u); });
        ASSERT_TRUE(gate.WaitUntilReached());
    }
    gate.Open();
    thread.join(); // it held what it needs
    EXPECT_EQ(user->Read(1), std::string());
    EXPECT_EQ(user->error, VXC_ERROR_INVALID_HANDLE);
    EXPECT_EQ(user->Seek(0), -1);
    EXPECT_EQ(user->Size(), 0u);
    user->Write("x");
    EXPECT_EQ(user->error, VXC_ERROR_INVALID_HANDLE);
    user->Cut();
    EXPECT_EQ(user->error, VXC_ERROR_INVALID_HANDLE);
    user->Close();
    EXPECT_EQ(user->error, VXC_ERROR_INVALID_HANDLE);
    EXPECT_EQ(user->Open(), VXC_INVALID_HANDLE);
    EXPECT_EQ(user->Text(6), L"");
}

TEST(HostTableTest, TheTableMayGoBeforeTheFunctions) {
    HostTable host(L"host.mxf", Bytes("0"));
    User user(host);
    host.FreeTable();
    user.Open();
    EXPECT_EQ(user.Read(1), "0");
}

} // namespace
