#include "platform/SharedObjects.h"

#include "frame/SystemLayer.h"
#include "platform/Process.h"
#include "support/PlatformScope.h"

#include <gtest/gtest.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

std::wstring OwnName(const wchar_t* what) {
    return L"vxctest-platform-" + std::to_wstring(Process().processId()) + what;
}

} // namespace

TEST(SharedObjectsTest, TheTableLeadsToSectionsOfTheSystem) {
    const SharedObjectTable& shared = SharedObjects();
    const std::wstring name = OwnName(L"section");
    EXPECT_EQ(shared.openMapping(name.c_str()), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_FILE_NOT_FOUND);
    int existed = 1;
    void* const made = shared.createMapping(name.c_str(), 100, &existed);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(existed, 0);
    void* const opened = shared.openMapping(name.c_str());
    ASSERT_NE(opened, nullptr);
    uint64 bytes = 0;
    auto* const one = static_cast<char*>(shared.mapView(made, 0, &bytes));
    auto* const two = static_cast<char*>(shared.mapView(opened, 10'000, nullptr));
    ASSERT_TRUE(one != nullptr && two != nullptr);
    EXPECT_EQ(bytes, 100u);
    one[99] = 'x';
    EXPECT_EQ(two[99], 'x');
    EXPECT_EQ(two[9'999], 0);
    EXPECT_EQ(shared.unmapView(made), 0); // no address, though somebody takes it for one
    EXPECT_NE(shared.unmapView(one), 0);
    EXPECT_NE(shared.unmapView(two), 0);
    EXPECT_NE(shared.closeMapping(made), 0);
    EXPECT_NE(shared.closeMapping(opened), 0);
    EXPECT_EQ(shared.closeMapping(opened), 0);
    EXPECT_EQ(shared.openMapping(name.c_str()), nullptr);
}

TEST(SharedObjectsTest, TheTableLeadsToAutoResetEventsThatBeginUnsignalled) {
    const SharedObjectTable& shared = SharedObjects();
    const std::wstring name = OwnName(L"event");
    EXPECT_EQ(shared.openEvent(name.c_str()), nullptr);
    void* const made = shared.createEvent(name.c_str());
    void* const opened = shared.openEvent(name.c_str());
    ASSERT_TRUE(made != nullptr && opened != nullptr);
    EXPECT_EQ(VXC_WaitForSingleObject(opened, 0), VXC_WAIT_TIMEOUT);
    EXPECT_EQ(VXC_SetEvent(made), 1);
    void* const again = shared.createEvent(name.c_str()); // as it stands
    EXPECT_EQ(VXC_WaitForSingleObject(again, 0), VXC_WAIT_OBJECT_0);
    EXPECT_EQ(VXC_WaitForSingleObject(opened, 0), VXC_WAIT_TIMEOUT);
    for (void* const handle : {made, opened, again}) {
        EXPECT_EQ(VXC_CloseHandle(handle), 1);
    }
    EXPECT_EQ(shared.openEvent(name.c_str()), nullptr);
}

TEST(SharedObjectsTest, AReplacedEntryIsBackAfterItsScope) {
    {
        const PlatformScope platform;
        platform.Shared().openMapping = [](const wchar_t*) -> void* { return &SharedObjects(); };
        EXPECT_EQ(SharedObjects().openMapping(L""), &SharedObjects());
    }
    EXPECT_EQ(SharedObjects().openMapping(OwnName(L"none").c_str()), nullptr);
}
