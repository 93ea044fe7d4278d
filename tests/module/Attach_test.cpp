#include "module/Attach.h"

#include "FakeFileCache.h"
#include "frame/ModuleValues.h"
#include "platform/ModulePath.h"
#include "support/LogCapture.h"
#include "support/PlatformScope.h"
#include "support/SettingsScope.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using Texts = std::vector<std::wstring>;

namespace {

constexpr const wchar_t* kSection = L"Software\\Norvex\\SoftCodec";

const Texts kOpening = {L"open 40", L"lookup SeIncreaseQuotaPrivilege", L"adjust 2", L"close"};

// The calls of a privilege step that went through, and `more`.
Texts AfterOpening(const Texts& more) {
    Texts calls = kOpening;
    calls.insert(calls.end(), more.begin(), more.end());
    return calls;
}

std::wstring g_modulePath;

int FakeModulePath(wchar_t* path, int characters) {
    const std::size_t length = std::min(g_modulePath.size(), static_cast<std::size_t>(characters) - 1);
    *std::copy_n(g_modulePath.data(), length, path) = 0;
    return static_cast<int>(length);
}

int NoModulePath(wchar_t*, int) {
    return 0;
}

// Attach runs in a fresh state, and what it left is put back.
class AttachTest : public testing::Test {
protected:
    void SetUp() override { Forget(); }
    void TearDown() override {
        for (const LogLine& line : m_log.Lines()) {
            EXPECT_EQ(line.level, INFOTYPE_TRACE) << line;
            EXPECT_EQ(line.module, L"VXCSoftCodecIO") << line;
        }
        Forget();
    }

    static void Forget() {
        Module().szModuleDirectory[0] = 0;
        Module().ReadHandleTimeOut = VXC_INFINITE;
        Module().WriteHandleTimeOut = VXC_INFINITE;
        Module().EnableBitrateInfo = 0;
        Module().FileCachePrivilege = 0;
    }

    // The directory that attach finds for a path.
    static std::wstring DirectoryOf(const std::wstring& path) {
        g_modulePath = path;
        ModulePath().getModulePath = FakeModulePath;
        ModuleAttach();
        return Module().szModuleDirectory;
    }

    PlatformScope m_scope;
    FakeFileCache m_cache;
    SettingsScope m_settings;
    LogCapture m_log;
};

} // namespace

TEST_F(AttachTest, WithoutSettingsEverythingHasItsDefaultAndEachStepIsTraced) {
    ModuleAttach();
    EXPECT_EQ(ReadHandleTimeOut(), 0xFFFFFFFFu);
    EXPECT_EQ(WriteHandleTimeOut(), 0xFFFFFFFFu);
    EXPECT_FALSE(IsBitrateInfoOn());
    EXPECT_EQ(Module().FileCachePrivilege, 1u);
    EXPECT_THAT(m_log.Texts(), ElementsAre(L"VXCSoftDataIO Module--Begin DLL_PROCESS_ATTACH",
                                           L"CQLSoftFileHandle() -- not set Registry for ReadHandleTimeOut)",
                                           L"CQLSoftFileHandle() -- not set Registry for WriteHandleTimeOut)",
                                           L"CQLSoftFileHandle() -- not set Registry for EnableBitrateInfo)",
                                           L"EnablePrivilegeForProcess()-1",
                                           L"EnablePrivilegeForProcess()-return 1(TRUE or FALSE)",
                                           L"SetSystemFileCacheSize(0x100000,0x10000000,Enable) Sucessed"));
    EXPECT_EQ(m_cache.calls, AfterOpening({L"cache 1048576 268435456 1"}));
}

TEST_F(AttachTest, SettingsAreTakenAndTracedInOrder) {
    m_settings.Set(kSection, L"HandleTimeOut", L"2000");
    m_settings.Set(kSection, L"WriteHandleTimeOut", L"3000");
    m_settings.Set(kSection, L"EnableBitrateInfo", L"1");
    m_settings.Set(kSection, L"SetSystemFileCacheSize", L"0x20000000");
    ModuleAttach();
    EXPECT_EQ(ReadHandleTimeOut(), 2000u);
    EXPECT_EQ(WriteHandleTimeOut(), 3000u);
    EXPECT_TRUE(IsBitrateInfoOn());
    EXPECT_THAT(m_log.Texts(), ElementsAre(L"VXCSoftDataIO Module--Begin DLL_PROCESS_ATTACH",
                                           L"CQLSoftFileHandle() -- ReadHandleTimeOut:2000 ms",
                                           L"CQLSoftFileHandle() -- WriteHandleTimeOut:3000 ms",
                                           L"CQLSoftFileHandle() -- Registry for EnableBitrateInfo = 1)",
                                           L"EnablePrivilegeForProcess()-1",
                                           L"EnablePrivilegeForProcess()-return 1(TRUE or FALSE)",
                                           L"SetSystemFileCacheSize(0x100000,0x20000000,Enable) Sucessed"));
    EXPECT_EQ(m_cache.calls, AfterOpening({L"cache 1048576 536870912 1"}));
}

TEST_F(AttachTest, AReadTimeOutBelowOneSecondBecomesTen) {
    for (const wchar_t* value : {L"999", L"0", L"1"}) {
        m_log.Clear();
        m_settings.Set(kSection, L"HandleTimeOut", value);
        m_settings.Set(kSection, L"WriteHandleTimeOut", L"5000");
        ModuleAttach();
        EXPECT_EQ(ReadHandleTimeOut(), 10000u) << value;
        EXPECT_EQ(WriteHandleTimeOut(), 5000u) << value;
        const Texts texts = m_log.Texts();
        ASSERT_GT(texts.size(), 3u);
        EXPECT_EQ(texts[1], std::wstring(L"CQLSoftFileHandle() -- ReadHandleTimeOut:") + value + L" ms");
        EXPECT_EQ(texts[2], std::wstring(L"CQLSoftFileHandle() -- Modify ReadHandleTimeOut from  ") + value +
                                L" ms to 10s");
        EXPECT_EQ(texts[3], L"CQLSoftFileHandle() -- WriteHandleTimeOut:5000 ms");
    }
}

TEST_F(AttachTest, AReadTimeOutOfOneSecondStays) {
    m_settings.Set(kSection, L"HandleTimeOut", L"1000");
    ModuleAttach();
    EXPECT_EQ(ReadHandleTimeOut(), 1000u);
    EXPECT_EQ(WriteHandleTimeOut(), 1000u) << "not set, so the same";
    EXPECT_EQ(m_log.Count(L"Modify"), 0u);
}

TEST_F(AttachTest, ATimeOutThatLooksNegativeIsALongOne) {
    m_settings.Set(kSection, L"HandleTimeOut", L"0xFFFFFFFE");
    ModuleAttach();
    EXPECT_EQ(ReadHandleTimeOut(), 0xFFFFFFFEu);
    EXPECT_TRUE(m_log.Contains(L"CQLSoftFileHandle() -- ReadHandleTimeOut:-2 ms"));
    EXPECT_EQ(m_log.Count(L"Modify"), 0u);
}

TEST_F(AttachTest, AnAbsentWriteTimeOutFollowsTheReadOneAsItNowStands) {
    m_settings.Set(kSection, L"HandleTimeOut", L"500");
    ModuleAttach();
    EXPECT_EQ(ReadHandleTimeOut(), 10000u);
    EXPECT_EQ(WriteHandleTimeOut(), 10000u);
    EXPECT_EQ(m_log.Count(L"Modify ReadHandleTimeOut"), 1u);
    EXPECT_EQ(m_log.Count(L"Modify WriteHandleTimeOut"), 0u);
    EXPECT_TRUE(m_log.Contains(L"CQLSoftFileHandle() -- not set Registry for WriteHandleTimeOut)"));
}

TEST_F(AttachTest, AWriteTimeOutBelowOneSecondBecomesTen) {
    m_settings.Set(kSection, L"WriteHandleTimeOut", L"999");
    ModuleAttach();
    EXPECT_EQ(ReadHandleTimeOut(), 0xFFFFFFFFu);
    EXPECT_EQ(WriteHandleTimeOut(), 10000u);
    const Texts texts = m_log.Texts();
    ASSERT_GT(texts.size(), 3u);
    EXPECT_EQ(texts[2], L"CQLSoftFileHandle() -- WriteHandleTimeOut:999 ms");
    EXPECT_EQ(texts[3], L"CQLSoftFileHandle() -- Modify WriteHandleTimeOut from  999 ms to 10s");
}

TEST_F(AttachTest, TheBitrateFlagIsOneForEveryValueButZero) {
    const struct {
        const wchar_t* value;
        uint32 flag;
        const wchar_t* text;
    } cases[] = {
        {L"0", 0, L"CQLSoftFileHandle() -- Registry for EnableBitrateInfo = 0)"},
        {L"1", 1, L"CQLSoftFileHandle() -- Registry for EnableBitrateInfo = 1)"},
        {L"7", 1, L"CQLSoftFileHandle() -- Registry for EnableBitrateInfo = 7)"},
        {L"some", 0, L"CQLSoftFileHandle() -- not set Registry for EnableBitrateInfo)"},
    };
    for (const auto& one : cases) {
        m_log.Clear();
        m_settings.Set(kSection, L"EnableBitrateInfo", one.value);
        ModuleAttach();
        EXPECT_EQ(Module().EnableBitrateInfo, one.flag);
        EXPECT_THAT(m_log.Texts(), Contains(one.text));
    }
}

TEST_F(AttachTest, ACacheSizeOfZeroLeavesTheCacheAlone) {
    m_settings.Set(kSection, L"SetSystemFileCacheSize", L"0");
    ModuleAttach();
    EXPECT_EQ(m_cache.calls, kOpening);
    EXPECT_EQ(m_log.Texts().back(), L"EnablePrivilegeForProcess()-return 1(TRUE or FALSE)");
    EXPECT_EQ(Module().FileCachePrivilege, 1u);
    m_cache.calls.clear();
    ModuleDetach();
    EXPECT_EQ(m_cache.calls, Texts{L"cache 0 0 2"});
}

TEST_F(AttachTest, ACacheThatRefusesIsTraced) {
    m_cache.cacheResult = 0;
    ModuleAttach();
    EXPECT_EQ(m_log.Texts().back(),
              L"SetSystemFileCacheSize(0x100000,0x10000000,Enable) Failed(no such thing)");
    EXPECT_EQ(Module().FileCachePrivilege, 1u);
}

TEST_F(AttachTest, AVeryLongErrorTextIsCut) {
    m_cache.cacheResult = 0;
    m_cache.errorText.assign(2000, L'e');
    ModuleAttach();
    EXPECT_EQ(m_log.Texts().back(),
              L"SetSystemFileCacheSize(0x100000,0x10000000,Enable) Failed(" + std::wstring(511, L'e') + L")");
}

TEST_F(AttachTest, WithoutATokenThereIsNoPrivilege) {
    m_cache.openResult = 0;
    m_cache.error = 0xAB;
    ModuleAttach();
    EXPECT_EQ(m_cache.calls, Texts{L"open 40"});
    EXPECT_EQ(Module().FileCachePrivilege, 0u);
    const Texts texts = m_log.Texts();
    EXPECT_EQ(Texts(texts.end() - 3, texts.end()),
              (Texts{L"EnablePrivilegeForProcess()-1", L"OpenProcessToken failed with error code 0xAB!",
                     L"EnablePrivilegeForProcess()-return 0(TRUE or FALSE)"}));
}

TEST_F(AttachTest, APrivilegeThatIsNotKnownIsNotHeld) {
    m_cache.lookupResult = 0;
    ModuleAttach();
    EXPECT_EQ(m_cache.calls, (Texts{L"open 40", L"lookup SeIncreaseQuotaPrivilege", L"close"}));
    EXPECT_EQ(Module().FileCachePrivilege, 0u);
    const Texts texts = m_log.Texts();
    EXPECT_EQ(Texts(texts.end() - 3, texts.end()),
              (Texts{L"EnablePrivilegeForProcess()-1", L"LookupPrivilegeValue error: no such thing",
                     L"EnablePrivilegeForProcess()-return 0(TRUE or FALSE)"}));
}

TEST_F(AttachTest, AnAdjustingThatFailsIsTracedAndTheTokenClosed) {
    m_cache.adjustResult = 0;
    m_cache.error = 1300; // not looked at
    ModuleAttach();
    EXPECT_EQ(m_cache.calls, kOpening);
    EXPECT_EQ(Module().FileCachePrivilege, 0u);
    const Texts texts = m_log.Texts();
    EXPECT_EQ(Texts(texts.end() - 3, texts.end()),
              (Texts{L"EnablePrivilegeForProcess()-1", L"AdjustTokenPrivileges error: no such thing",
                     L"EnablePrivilegeForProcess()-return 0(TRUE or FALSE)"}));
}

TEST_F(AttachTest, AnAdjustingThatGaveNothingIsNoPrivilege) {
    m_cache.error = 1300;
    ModuleAttach();
    EXPECT_EQ(m_cache.calls, kOpening);
    EXPECT_EQ(Module().FileCachePrivilege, 0u);
    const Texts texts = m_log.Texts();
    EXPECT_EQ(Texts(texts.end() - 3, texts.end()),
              (Texts{L"EnablePrivilegeForProcess()-1", L"The token does not have the specified privilege.",
                     L"EnablePrivilegeForProcess()-return 0(TRUE or FALSE)"}));
}

TEST_F(AttachTest, AnotherLastErrorDoesNotTakeThePrivilege) {
    m_cache.error = 5;
    ModuleAttach();
    EXPECT_EQ(Module().FileCachePrivilege, 1u);
}

TEST_F(AttachTest, ThePrivilegeOfAnEarlierAttachIsForgotten) {
    ModuleAttach();
    m_cache.error = 1300;
    ModuleAttach();
    EXPECT_EQ(Module().FileCachePrivilege, 0u);
}

TEST_F(AttachTest, TheModuleDirectoryEndsBeforeTheLastSeparator) {
    EXPECT_EQ(DirectoryOf(L"C:\\Program Files\\codec\\VXCSoftCodecIO.dll"), L"C:\\Program Files\\codec");
    EXPECT_EQ(DirectoryOf(L"/usr/lib/codec/libVXCSoftCodecIO.so"), L"/usr/lib/codec");
    EXPECT_EQ(DirectoryOf(L"C:/mixed\\a/b.dll"), L"C:/mixed\\a");
    EXPECT_EQ(DirectoryOf(L"C:/mixed/a\\b.dll"), L"C:/mixed/a");
    EXPECT_EQ(DirectoryOf(L"/lib.so"), L"");
}

TEST_F(AttachTest, APathWithoutASeparatorGivesAnEmptyDirectory) {
    EXPECT_EQ(DirectoryOf(L"/usr/lib/a.so"), L"/usr/lib");
    EXPECT_EQ(DirectoryOf(L"VXCSoftCodecIO.dll"), L"");
    EXPECT_EQ(DirectoryOf(L"/usr/lib/a.so"), L"/usr/lib");
    EXPECT_EQ(DirectoryOf(L""), L"");
}

TEST_F(AttachTest, APathThatIsNotToldGivesAnEmptyDirectory) {
    EXPECT_EQ(DirectoryOf(L"/usr/lib/a.so"), L"/usr/lib");
    ModulePath().getModulePath = NoModulePath;
    ModuleAttach();
    EXPECT_STREQ(Module().szModuleDirectory, L"");
}

TEST_F(AttachTest, APathIsCutAt260Characters) {
    // 260 characters with the separator as the last one; what is behind it is not seen.
    const std::wstring directory = L"/" + std::wstring(258, L'd');
    EXPECT_EQ(DirectoryOf(directory + L"/name"), directory);
    EXPECT_EQ(DirectoryOf(L"/a/" + std::wstring(400, L'd') + L"/name"), L"/a");
}

TEST_F(AttachTest, ValuesAreStoredBetweenTheLinesTheyBelongTo) {
    // A listener that looks at the values tells when they were stored.
    g_modulePath = L"/usr/lib/a.so";
    ModulePath().getModulePath = FakeModulePath;
    static std::vector<std::wstring> directories;
    static std::vector<uint32> privileges;
    directories.clear();
    privileges.clear();
    SetLogReceiver(
        [](void*, INFOTYPE, const wchar_t*, const wchar_t*) {
            directories.emplace_back(Module().szModuleDirectory);
            privileges.push_back(Module().FileCachePrivilege);
        },
        nullptr, INFOTYPE_TRACE);
    ModuleAttach();
    SetLogReceiver(nullptr, nullptr, INFOTYPE_TRACE);
    ASSERT_EQ(directories.size(), 7u);
    EXPECT_EQ(directories[0], L"");
    EXPECT_EQ(directories[1], L"/usr/lib");
    EXPECT_THAT(privileges, ElementsAre(0u, 0u, 0u, 0u, 0u, 1u, 1u));
}

TEST_F(AttachTest, DetachGivesTheCacheBack) {
    ModuleAttach();
    m_log.Clear();
    m_cache.calls.clear();
    ModuleDetach();
    EXPECT_EQ(m_cache.calls, Texts{L"cache 0 0 2"});
    EXPECT_THAT(m_log.Texts(), ElementsAre(L"SetSystemFileCacheSize(Disable) Sucessed\n"));
}

TEST_F(AttachTest, ADetachThatFailsIsTraced) {
    ModuleAttach();
    m_log.Clear();
    m_cache.cacheResult = 0;
    ModuleDetach();
    EXPECT_THAT(m_log.Texts(), ElementsAre(L"SetSystemFileCacheSize(Disable) Failed(no such thing)\n"));
}

TEST_F(AttachTest, DetachWithoutThePrivilegeDoesNothing) {
    m_cache.error = 1300;
    ModuleAttach();
    m_log.Clear();
    m_cache.calls.clear();
    ModuleDetach();
    EXPECT_THAT(m_cache.calls, IsEmpty());
    EXPECT_THAT(m_log.Texts(), IsEmpty());
}

// With the calls of this system.
TEST(AttachHereTest, ThePrivilegeIsNotHeldAndTheDirectoryIsThatOfTheProgram) {
    const SettingsScope settings;
    LogCapture log;
    ModuleAttach();
    EXPECT_EQ(std::wstring(Module().szModuleDirectory),
              std::filesystem::path(VXC_TEST_PROGRAM_DIR).wstring().substr(0, 260));
    EXPECT_EQ(Module().FileCachePrivilege, 0u);
    EXPECT_THAT(log.Texts(), Contains(L"The token does not have the specified privilege."));
    EXPECT_EQ(log.Texts().back(), L"EnablePrivilegeForProcess()-return 0(TRUE or FALSE)");
    log.Clear();
    ModuleDetach();
    EXPECT_THAT(log.Texts(), IsEmpty());
}
