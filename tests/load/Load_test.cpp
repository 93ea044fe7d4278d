// What a host sees when it loads and unloads the library at run time. This program links the system layer
// alone, so that it can listen before.
#include "frame/PlatformTypes.h"
#include "frame/Types.h"
#include "module/EntryProbe.h"
#include "support/LogCapture.h"
#include "support/SettingsScope.h"

#include <gmock/gmock.h>

#include <dlfcn.h>
#include <string>
#include <thread>
#include <vector>

using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

constexpr const char* kLibrary = VXC_TEST_LIBRARY_DIR "/libVXCSoftCodecIO.so.3";
constexpr const char* kProbe = VXC_TEST_LIBRARY_DIR "/load/EntryProbe.so";

// Loaded for its scope.
class Loaded {
public:
    explicit Loaded(const char* file = kLibrary) : m_library(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
        if (m_library == nullptr) {
            ADD_FAILURE() << dlerror();
        }
    }
    ~Loaded() {
        if (m_library != nullptr) {
            dlclose(m_library);
        }
    }
    Loaded(const Loaded&) = delete;
    Loaded& operator=(const Loaded&) = delete;

    void* Find(const char* name) const { return dlsym(m_library, name); }

private:
    void* m_library;
};

} // namespace

TEST(LoadTest, AttachLogsItsStepsInOrderWhenTheLibraryIsLoaded) {
    const SettingsScope settings({{L"HandleTimeOut", L"999"}, {L"EnableBitrateInfo", L"7"}});
    LogCapture log;
    {
        const Loaded library;
        EXPECT_THAT(log.Texts(),
                    ElementsAre(L"VXCSoftDataIO Module--Begin DLL_PROCESS_ATTACH",
                                L"CQLSoftFileHandle() -- ReadHandleTimeOut:999 ms",
                                L"CQLSoftFileHandle() -- Modify ReadHandleTimeOut from  999 ms to 10s",
                                L"CQLSoftFileHandle() -- not set Registry for WriteHandleTimeOut)",
                                L"CQLSoftFileHandle() -- Registry for EnableBitrateInfo = 7)",
                                L"EnablePrivilegeForProcess()-1",
                                L"The token does not have the specified privilege.",
                                L"EnablePrivilegeForProcess()-return 0(TRUE or FALSE)"));
        for (const LogLine& line : log.Lines()) {
            EXPECT_EQ(line.level, INFOTYPE_TRACE);
            EXPECT_EQ(line.module, L"VXCSoftCodecIO");
        }
        log.Clear();
    }
    // The privilege was not held, so nothing is given back.
    EXPECT_TRUE(log.Lines().empty());
}

TEST(LoadTest, LoadingAgainReadsTheSettingsAgain) {
    LogCapture log;
    {
        const SettingsScope settings({{L"HandleTimeOut", L"1000"}});
        const Loaded library;
        EXPECT_TRUE(log.Contains(L"ReadHandleTimeOut:1000 ms"));
        EXPECT_FALSE(log.Contains(L"Modify"));
    }
    log.Clear();
    const SettingsScope none;
    const Loaded library;
    EXPECT_TRUE(log.Contains(L"CQLSoftFileHandle() -- not set Registry for ReadHandleTimeOut)"));
}

TEST(LoadTest, ThreadsThatComeAndGoLogNothing) {
    const Loaded library;
    LogCapture log;
    std::thread([] {}).join();
    EXPECT_TRUE(log.Lines().empty());
}

TEST(LoadTest, AGarbageSettingsFileIsNoObstacle) {
    SettingsScope settings;
    std::string garbage = "[Software\\Norvex\\SoftCodec\nHandleTimeOut = \xFF\xFE\n=\n[[]]\n";
    garbage += std::string(1000, '\0') + "\nHandleTimeOut = many\n";
    settings.WriteRaw(garbage);
    LogCapture log;
    const Loaded library;
    EXPECT_TRUE(log.Contains(L"CQLSoftFileHandle() -- not set Registry for ReadHandleTimeOut)"));
    EXPECT_TRUE(log.Contains(L"EnablePrivilegeForProcess()-return 0(TRUE or FALSE)"));
}

TEST(LoadTest, TheLoaderAttachesOnceAndDetachesOnce) {
    EntryProbeCounts counts = {};
    {
        const Loaded probe(kProbe);
        const auto keep = reinterpret_cast<EntryProbeKeep>(probe.Find("EntryProbe_Keep"));
        ASSERT_NE(keep, nullptr);
        keep(&counts);
        EXPECT_EQ(counts.attached, 1);
        EXPECT_EQ(counts.detached, 0);
        EXPECT_STREQ(counts.order, "TM");
    }
    EXPECT_EQ(counts.attached, 1);
    EXPECT_EQ(counts.detached, 1);
    EXPECT_STREQ(counts.order, "TMmt"); // the table of shares is there for as long as all else
}
