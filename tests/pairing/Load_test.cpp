// Loading and freeing plug-ins in the server.
#include "pairing/Bridge.h"

#include "support/LogCapture.h"

using namespace vxcio;
using namespace vxcio::test;

namespace {

class LoadTest : public BridgeTest {
protected:
    void SetUp() override {
        BridgeTest::SetUp();
        Start();
    }
};

} // namespace

TEST_F(LoadTest, APlugInIsLoadedAndFreedOnce) {
    const unsigned long long plug = Load();
    EXPECT_EQ(plug >> 48, 1u); // a plug-in's, no address
    EXPECT_EQ(RemoteFreeVXC32Plug(plug), 0);
    EXPECT_EQ(static_cast<uint32>(RemoteFreeVXC32Plug(plug)), kUnknown);
}

TEST_F(LoadTest, LoadedTwiceItHasTwoHandlesAndLivesOnBehindTheOther) {
    const unsigned long long first = Load();
    const unsigned long long second = Load();
    EXPECT_NE(first, second);
    EXPECT_EQ(RemoteFreeVXC32Plug(first), 0);
    Channel channel(second);
    EXPECT_TRUE(channel.Works());
}

TEST_F(LoadTest, AModuleThatIsNotThereGivesNoHandleAndTheServerServesOn) {
    const LogCapture log;
    for (const wchar_t* path : {L"", L"/nowhere/at/all.so", L"/dev/null", L"X:\\nowhere.dll"}) {
        EXPECT_EQ(RemoteLoadVXC32Plug(path), 0u);
    }
    EXPECT_EQ(RemoteLoadVXC32Plug(nullptr), 0u);
    EXPECT_EQ(RemoteLoadVXC32Plug(std::wstring(5000, L'x').c_str()), 0u);
    EXPECT_EQ(log.Count(L"RemoteLoadVXC32Plug failed : RemoteCall result 0x80000100"), 6u);
    Channel channel(Load());
    EXPECT_TRUE(channel.Works());
}

TEST_F(LoadTest, AModuleWithoutTheEntryPointIsNotTaken) {
    const LogCapture log;
    EXPECT_EQ(RemoteLoadVXC32Plug(PlugPath(L"NoCallPlug").c_str()), 0u);
    EXPECT_TRUE(log.Contains(L"RemoteLoadVXC32Plug failed : RemoteCall result 0x80000100"));
}

TEST_F(LoadTest, APathWithoutItsEndingOrWithThatOfWindowsIsFound) {
    const std::wstring path = PlugPath(L"TestPlug");
    const std::wstring stem = path.substr(0, path.size() - 3);
    EXPECT_NE(RemoteLoadVXC32Plug((stem + L".dll").c_str()), 0u);
}

TEST_F(LoadTest, MadeUpHandlesAreRefused) {
    for (const unsigned long long handle :
         {0ull, 1ull, 0x0001000100000001ull, 0x0002000100000001ull, 0x7FFFFFFFE000ull, ~0ull}) {
        EXPECT_EQ(static_cast<uint32>(RemoteFreeVXC32Plug(handle)), kUnknown) << handle;
    }
}

TEST_F(LoadTest, FreeingAPlugInEndsItsChannelsAndTheirReleaseIsStillGood) {
    const LogCapture log;
    const unsigned long long other = Load();
    const unsigned long long plug = Load();
    Channel kept(other);
    Channel first(plug);
    Channel second(plug);
    EXPECT_TRUE(first.Works());
    EXPECT_EQ(RemoteFreeVXC32Plug(plug), 0);
    EXPECT_EQ(first.Call(L"Empty", 50), kTimeOut); // nobody there
    first.Release();
    second.Release();
    EXPECT_FALSE(log.Contains(L"Release() failed"));
    uint32 opened = 0;
    uint32 closed = 0;
    kept.Call(
        L"Who", [](CVXCSerialize&) {},
        [&](CVXCSerialize& reply) {
            CVXCString id;
            unsigned long long handle = 0;
            uint32 calls = 0;
            reply >> id >> handle >> calls >> opened >> closed;
        });
    EXPECT_EQ(opened, 2u); // that of the second one was never asked for
    EXPECT_EQ(closed, 1u);
}
