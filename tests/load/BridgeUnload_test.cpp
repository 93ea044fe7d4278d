// Unloading the library while its bridge is up. Each test has copies of the library in a folder of its own,
// so that what lies there is the server program.
#include "bridge/Interacter.h"
#include "frame/Types.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "sysu/NamedObjects.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdio>
#include <dlfcn.h>
#include <filesystem>
#include <string>
#include <thread>

using namespace vxcio::test;

namespace {

class BridgeUnloadTest : public ::testing::Test {
protected:
    void* Load(const char* name) {
        const std::string file = folder.Name(name);
        std::filesystem::copy_file(VXC_TEST_LIBRARY_DIR "/libVXCSoftCodecIO.so.3", file);
        void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
        EXPECT_NE(library, nullptr) << dlerror();
        return library;
    }
    template <class Function>
    static Function* Find(void* library, const char* name) {
        void* const found = dlsym(library, name);
        EXPECT_NE(found, nullptr) << name;
        return reinterpret_cast<Function*>(found);
    }
    static bool IsThere(const wchar_t* suffix) {
        char id[16];
        std::snprintf(id, sizeof id, "%08u", vxcio::ProcessNumber());
        const std::string narrow(id);
        const std::wstring name = std::wstring(narrow.begin(), narrow.end()) + suffix;
        void* const section = vxcio::OpenNamedSection(name.c_str());
        vxcio::CloseSection(section);
        return section != nullptr;
    }

    LogCapture log;
    const TempFolder folder;
};

} // namespace

TEST_F(BridgeUnloadTest, WithoutAServerItsNamesGoWithTheLibrary) {
    void* const library = Load("host.so");
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(Find<int()>(library, "_Z22CreateVXC32ServProcessv")(), -1);
    EXPECT_TRUE(log.Contains(L"Program " + folder.Path().wstring()));
    EXPECT_TRUE(log.Contains(L"VXC32ServU.exe  doesn't exist!"));
    EXPECT_NE(Find<void*()>(library, "_Z15ObtainSysSenderv")(), nullptr);
    EXPECT_TRUE(IsThere(L"_InMap"));
    dlclose(library);
    EXPECT_EQ(dlopen(folder.Name("host.so").c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr);
    EXPECT_FALSE(IsThere(L"_InMap"));

    // Loaded anew it knows of nothing.
    void* const again = dlopen(folder.Name("host.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(Find<void*()>(again, "_Z15ObtainSysSenderv")(), nullptr);
    EXPECT_EQ(Find<int()>(again, "_Z23DestoryVXC32ServProcessv")(), 0);
    dlclose(again);
}

TEST_F(BridgeUnloadTest, AServerThatIsUpIsNotToldToQuit) {
    folder.Write("VXC32/placeholder", "");
    std::filesystem::copy_file("/bin/true", folder.Path() / "VXC32/VXC32ServU.exe");
    void* const host = Load("host.so");
    // Plays the server, which this process is as well as the host.
    void* const far = Load("far.so");
    ASSERT_NE(host, nullptr);
    ASSERT_NE(far, nullptr);
    auto* const makeFar = Find<CVXCInteracter*(int)>(far, "_Z23ConstructVXCInteratcteri");
    CVXCInteracter* const receiver = makeFar(VXC_INTERACTER_RECEIVER);
    std::atomic<int> requests{0};
    receiver->SetReceiverCallback([](void* count) { return ++*static_cast<std::atomic<int>*>(count); },
                                  &requests);
    int result = -5;
    std::thread start([&] { result = Find<int()>(host, "_Z22CreateVXC32ServProcessv")(); });
    EXPECT_TRUE(log.WaitFor(L"End CreateProcess()"));
    char id[16];
    std::snprintf(id, sizeof id, "%08u", vxcio::ProcessNumber());
    const std::string narrow(id);
    EXPECT_EQ(receiver->Initialize(0, std::wstring(narrow.begin(), narrow.end()).c_str(), 1048576, 1048576),
              0);
    start.join();
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(IsThere(L"_OutMap"));
    dlclose(host);
    receiver->Release(); // after the request that is under way, were there one
    EXPECT_EQ(requests.load(), 0);
    EXPECT_FALSE(IsThere(L"_InMap"));
    EXPECT_FALSE(IsThere(L"_OutMap"));
    Find<int(CVXCInteracter*)>(far, "_Z20DeleteVXCInteratcterP14CVXCInteracter")(receiver);
    dlclose(far);
}
