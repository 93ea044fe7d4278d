#include "pairing/Bridge.h"

#include "bridge/SystemSender.h"
#include "frame/ModuleValues.h"
#include "pairing/Processes.h"
#include "platform/Process.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <iterator>
#include <string_view>
#include <thread>

namespace vxcio::test {

namespace {

std::wstring Wide(const char* text) {
    return std::wstring(text, text + std::string_view(text).size());
}

// What the servers of this process report lies in a folder of its own.
class Reports : public testing::Environment {
    void SetUp() override {
        BeAHostWhereAsked();
        CollectSanitizerReports();
    }
    void TearDown() override { DropSanitizerReports(); }
};
[[maybe_unused]] testing::Environment* const g_reports = testing::AddGlobalTestEnvironment(new Reports);

using Channels = std::vector<std::unique_ptr<Channel>>;

Channels& KeptChannels() {
    static auto* const s_kept = new Channels;
    return *s_kept;
}

} // namespace

int ServerBits() {
    const char* const told = std::getenv("VXC_TEST_SERVER");
    return told == nullptr ? VXC_TEST_SERVER_BITS : std::atoi(told);
}

std::wstring ServerFolder() {
    return Wide(ServerBits() == 64 ? VXC_TEST_SERVER64_DIR : VXC_TEST_SERVER32_DIR);
}

std::wstring PlugPath(const wchar_t* name) {
    return Wide(ServerBits() == 64 ? VXC_TEST_PLUGS64_DIR : VXC_TEST_PLUGS32_DIR) + L"/" + name + L".so";
}

void PauseBriefly() {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

std::wstring UniqueId(const wchar_t* part) {
    static std::atomic<int> s_number{0};
    return std::to_wstring(Process().processId()) + L"_" + part + L"_" + std::to_wstring(++s_number);
}

bool Channel::Works(unsigned int limit) {
    uint32 sum = 0;
    uint32 width = 0;
    const uint32 result = Call(
        L"Add", [](CVXCSerialize& request) { request << 40u << 2u; },
        [&](CVXCSerialize& reply) { reply >> sum >> width; }, limit);
    return result == 0 && sum == 42 && width == static_cast<uint32>(ServerBits()) / 8;
}

void BridgeTest::SetUp() {
    const std::wstring folder = ServerFolder();
    auto& directory = Module().szModuleDirectory;
    ASSERT_LT(folder.size(), std::size(directory));
    *std::copy(folder.begin(), folder.end(), directory) = 0;
}

void BridgeTest::TearDown() {
    if (ObtainSysSender() != nullptr) {
        Stop();
    }
    EXPECT_TRUE(Eventually([] { return ServersOf(OwnProcess()).empty(); })) << "the server still runs";
    FreeSystemSenders(); // as when the library is unloaded
    if (KeptChannels().empty()) {
        EXPECT_TRUE(Eventually([] { return NamesOf(OwnProcess()).empty(); }))
            << testing::PrintToString(NamesOf(OwnProcess()));
    }
    EXPECT_EQ(SanitizerReports(), "");
}

void BridgeTest::Start() {
    ASSERT_TRUE(Eventually([] { return CreateVXC32ServProcess() == 0; }));
}

unsigned long long BridgeTest::Load(const wchar_t* name) {
    const unsigned long long handle = RemoteLoadVXC32Plug(PlugPath(name).c_str());
    EXPECT_NE(handle, 0u);
    return handle;
}

Channel& BridgeTest::Kept(unsigned long long plug) {
    KeptChannels().push_back(std::make_unique<Channel>(plug));
    return *KeptChannels().back();
}

void BridgeTest::Stop() {
    EXPECT_EQ(DestoryVXC32ServProcess(), 0);
}

} // namespace vxcio::test
