#include "extra/DataExtraProcess.h"

#include "frame/ModuleValues.h"
#include "frame/SoftDataIO.h"
#include "module/DecryptModule.h"
#include "support/FaultPlan.h"
#include "support/LogCapture.h"
#include "support/MemoryLack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr const wchar_t* kMissing = L"Can't find Encrypt Module---QLDeEncryptD.dll!!!!!!\n";

// Only the StopMD5_Check calls matter here.
class CountingIO final : public CSoftDataIO {
public:
    int StopMD5_Check(uint32) override { return ++stops; }
    int stops = 0;
};

std::string FileOf(const std::string& variant) {
    return std::string(VXC_TEST_LIBRARY_DIR "/decrypt/") + variant + "/VXCDeEncrypt.so";
}

bool IsLoaded(const std::string& variant) {
    void* const module = dlopen(FileOf(variant).c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (module != nullptr) {
        dlclose(module);
    }
    return module != nullptr;
}

// Keeps a module loaded and looks into it.
class ModuleView {
public:
    explicit ModuleView(const std::string& variant) : m_module(dlopen(FileOf(variant).c_str(), RTLD_NOW)) {
        if (m_module != nullptr) {
            const auto facts =
                reinterpret_cast<const DecryptModuleFacts* (*)()>(dlsym(m_module, "DecryptModule_Facts"));
            m_facts = facts();
        }
    }
    ~ModuleView() {
        if (m_module != nullptr) {
            dlclose(m_module);
        }
    }
    ModuleView(const ModuleView&) = delete;
    ModuleView& operator=(const ModuleView&) = delete;
    const DecryptModuleFacts& operator*() const { return *m_facts; }
    const DecryptModuleFacts* operator->() const { return m_facts; }

private:
    void* m_module;
    const DecryptModuleFacts* m_facts = nullptr;
};

class DecryptHookTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(m_extra, nullptr);
        UseModule("whole");
    }
    void TearDown() override {
        m_extra->Disable(2);
        Module().szModuleDirectory[0] = 0;
    }

    // The module directory for the next Enable(2).
    static void UseModule(const std::string& variant) {
        const std::wstring folder =
            std::filesystem::path(VXC_TEST_LIBRARY_DIR "/decrypt/" + variant).wstring();
        ASSERT_LT(folder.size(), std::size(Module().szModuleDirectory));
        *std::copy(folder.begin(), folder.end(), Module().szModuleDirectory) = 0;
    }

    // What all operations of the hook give without one.
    void ExpectOff() {
        unsigned char byte = 1;
        EXPECT_EQ(m_extra->IsEnabled(2), 0);
        EXPECT_EQ(m_extra->SetDecryptKey(2, &byte, 1), -1);
        EXPECT_EQ(m_extra->SetDecryptMode(2, 1), -1);
        EXPECT_EQ(m_extra->Process(2, &byte, 1), -1);
        EXPECT_EQ(byte, 1);
    }

    std::unique_ptr<CQLDataExtraProcess> m_extra{Construct_ExtraProcess()};
};

} // namespace

TEST_F(DecryptHookTest, WithoutEnableTheOperationsFail) {
    ExpectOff();
}

TEST_F(DecryptHookTest, AMissingModuleIsAFailureAndALine) {
    UseModule("nowhere");
    LogCapture log;
    EXPECT_EQ(m_extra->Enable(2), -1);
    EXPECT_THAT(log.Texts(), ElementsAre(kMissing));
    EXPECT_EQ(log.Lines()[0].level, INFOTYPE_TRACE);
    ExpectOff();
}

TEST_F(DecryptHookTest, AMissingModuleLeavesTheCheckOn) {
    UseModule("nowhere");
    EXPECT_EQ(m_extra->Enable(3), -1);
    EXPECT_EQ(m_extra->IsEnabled(1), 1);
    EXPECT_EQ(m_extra->IsEnabled(2), 0);
    EXPECT_EQ(m_extra->IsEnabled(3), 0);
}

TEST_F(DecryptHookTest, OperationsReachTheModuleWithTheirArguments) {
    LogCapture log;
    const ModuleView module("whole");
    const int before = module->objects;
    ASSERT_EQ(m_extra->Enable(2), 0);
    EXPECT_EQ(m_extra->IsEnabled(2), 1);
    EXPECT_EQ(module->objects, before + 1);
    const unsigned char key[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(m_extra->SetDecryptKey(2, key, 8), 11);
    EXPECT_EQ(module->lastKeyLength, 8);
    EXPECT_THAT(module->lastKey, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
    EXPECT_EQ(m_extra->SetDecryptMode(2, 5), 12);
    unsigned char data[3] = {10, 20, 30};
    EXPECT_EQ(m_extra->Process(2, data, 2), 13);
    EXPECT_THAT(data, ElementsAre(15, 25, 30));
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(DecryptHookTest, BothBitsAreOnTogether) {
    EXPECT_EQ(m_extra->Enable(3), 0);
    EXPECT_EQ(m_extra->IsEnabled(3), 1);
    EXPECT_EQ(m_extra->IsEnabled(1), 1);
    EXPECT_EQ(m_extra->IsEnabled(2), 1);
}

TEST_F(DecryptHookTest, EnableOfBothDoesNotLoadWhenTheCheckIsOn) {
    m_extra->Enable(1);
    EXPECT_EQ(m_extra->Enable(3), 0);
    EXPECT_EQ(m_extra->IsEnabled(2), 0);
    EXPECT_FALSE(IsLoaded("whole"));
}

TEST_F(DecryptHookTest, EnableAgainMakesNoSecondObject) {
    const ModuleView module("whole");
    const int before = module->objects;
    EXPECT_EQ(m_extra->Enable(2), 0);
    EXPECT_EQ(m_extra->Enable(2), 0);
    EXPECT_EQ(module->objects, before + 1);
}

TEST_F(DecryptHookTest, DisableClosesTheObjectAndReleasesTheModule) {
    ASSERT_EQ(m_extra->Enable(2), 0);
    EXPECT_TRUE(IsLoaded("whole"));
    {
        const ModuleView module("whole");
        const int before = module->closed;
        EXPECT_EQ(m_extra->Disable(2), 0);
        EXPECT_EQ(module->closed, before + 1);
        EXPECT_EQ(m_extra->Disable(2), 0);
        EXPECT_EQ(module->closed, before + 1);
    }
    EXPECT_FALSE(IsLoaded("whole"));
    ExpectOff();
}

TEST_F(DecryptHookTest, DisableOfBothWithoutAnObjectDoesNotReachTheHook) {
    ASSERT_EQ(m_extra->Enable(2), 0);
    EXPECT_EQ(m_extra->Disable(3), -1);
    EXPECT_EQ(m_extra->IsEnabled(2), 1);
}

TEST_F(DecryptHookTest, CloseEndsTheCheckButKeepsTheModule) {
    ASSERT_EQ(m_extra->Enable(3), 0);
    CountingIO io;
    m_extra->SetFileIO(&io);
    EXPECT_EQ(m_extra->Close(), 0);
    EXPECT_EQ(io.stops, 1);
    EXPECT_EQ(m_extra->IsEnabled(1), 0);
    EXPECT_EQ(m_extra->IsEnabled(2), 1);
    EXPECT_EQ(m_extra->SetDecryptMode(2, 1), 12);
}

TEST_F(DecryptHookTest, CloseWithTheHookAloneStopsTheObject) {
    ASSERT_EQ(m_extra->Enable(2), 0);
    CountingIO io;
    m_extra->SetFileIO(&io);
    EXPECT_EQ(m_extra->Close(), 0);
    EXPECT_EQ(io.stops, 1);
    EXPECT_EQ(m_extra->GetFileIO(), nullptr);
}

TEST_F(DecryptHookTest, TheDestructorLeavesTheModuleLoaded) {
    UseModule("kept");
    const std::unique_ptr<CQLDataExtraProcess> other(Construct_ExtraProcess());
    {
        const std::unique_ptr<CQLDataExtraProcess> extra(Construct_ExtraProcess());
        ASSERT_EQ(extra->Enable(2), 0);
    }
    ASSERT_TRUE(IsLoaded("kept"));
    const ModuleView module("kept");
    EXPECT_EQ(module->closed, 0);
    // Another object makes and closes one of its own.
    ASSERT_EQ(other->Enable(2), 0);
    EXPECT_EQ(module->objects, 2);
    EXPECT_EQ(other->Disable(2), 0);
    EXPECT_EQ(module->closed, 1);
    EXPECT_TRUE(IsLoaded("kept"));
}

// A module that is there but of no use.
class BrokenModuleTest : public DecryptHookTest, public testing::WithParamInterface<const char*> {};

TEST_P(BrokenModuleTest, IsReleasedAndCountsAsOff) {
    UseModule(GetParam());
    LogCapture log;
    EXPECT_EQ(m_extra->Enable(2), -1);
    EXPECT_FALSE(IsLoaded(GetParam()));
    EXPECT_EQ(log.Count(kMissing), 0u) << "it was found";
    ExpectOff();
    const ModuleView module(GetParam());
    EXPECT_EQ(module->objects, 0);
}

INSTANTIATE_TEST_SUITE_P(All, BrokenModuleTest,
                         testing::Values("no_construct", "no_key", "no_mode", "no_process", "no_close",
                                         "construct_fails"));

TEST_F(DecryptHookTest, TheMissingFunctionIsNamed) {
    UseModule("no_mode");
    LogCapture log;
    EXPECT_EQ(m_extra->Enable(2), -1);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR),
                ElementsAre(L"The decrypt module has no QlDeEncrypt_SetDecryptMode"));
}

TEST_F(DecryptHookTest, AModuleThatGivesNoObjectIsNoted) {
    UseModule("construct_fails");
    LogCapture log;
    EXPECT_EQ(m_extra->Enable(2), -1);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), ElementsAre(L"The decrypt module gives no object"));
}

TEST_F(DecryptHookTest, WithoutMemoryForItsRecordNothingIsLoaded) {
    LogCapture log;
    const MemoryLack lack(1);
    EXPECT_EQ(m_extra->Enable(2), -1);
    EXPECT_TRUE(lack.Came());
    EXPECT_THAT(log.Texts(), IsEmpty());
    EXPECT_FALSE(IsLoaded("whole"));
    ExpectOff();
}

TEST_F(DecryptHookTest, TheLongestDirectoryIsUsedWhole) {
    const std::wstring folder(260, L'd');
    *std::copy(folder.begin(), folder.end(), Module().szModuleDirectory) = 0;
    FaultPlan plan;
    const auto rule =
        plan.Add(Fail(Op::VXC_LoadModuleExW).FromThenOn().OnFile(folder.substr(100) + L"\\VXCDeEncrypt.dll"));
    EXPECT_EQ(m_extra->Enable(2), -1);
    EXPECT_EQ(plan.Fired(rule), 1);
}
