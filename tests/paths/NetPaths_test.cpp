// The table of the process: what callers see of it, when the library comes and goes, and from many threads.
#include "paths/NetPaths.h"

#include "paths/NetPathFixture.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <string>
#include <thread>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Strings = std::vector<std::wstring>;

namespace {

class NetPathsTest : public ::testing::Test {
protected:
    NetPathsTest() { Forget(); }
    ~NetPathsTest() override { Forget(); }

    static void Forget() {
        NetPathInspector::Forget(NetPathExchange());
        ForgetSpecialDrives();
    }
    // "name|address|local" of each share, up to `most` of them.
    static Strings Visited(int most = 1000) {
        struct Seen {
            Strings all;
            int most;
        } seen{{}, most};
        const int calls = VisitNetPaths(
            [](void* context, const NetPath& path) {
                auto& into = *static_cast<Seen*>(context);
                into.all.push_back(std::wstring(path.nameUNC) + L'|' + path.ipUNC + L'|' + path.local);
                return static_cast<int>(into.all.size()) < into.most ? 1 : 0;
            },
            &seen);
        EXPECT_EQ(static_cast<std::size_t>(calls), seen.all.size());
        return seen.all;
    }
    static Strings VisitedDrives(int most = 1000) {
        struct Seen {
            Strings all;
            int most;
        } seen{{}, most};
        const int calls = VisitSpecialDrives(
            [](void* context, const wchar_t* drive) {
                auto& into = *static_cast<Seen*>(context);
                into.all.emplace_back(drive);
                return static_cast<int>(into.all.size()) < into.most ? 1 : 0;
            },
            &seen);
        EXPECT_EQ(static_cast<std::size_t>(calls), seen.all.size());
        return seen.all;
    }

    FakeNetwork network;
};

// Threads that start together.
class Crowd {
public:
    ~Crowd() { Join(); }
    template <class Work>
    void Add(Work work) {
        m_threads.emplace_back([this, work] {
            m_start.Pass();
            work();
        });
    }
    void Join() {
        m_start.Open();
        for (std::thread& thread : m_threads) {
            thread.join();
        }
        m_threads.clear();
    }

private:
    Gate m_start;
    std::vector<std::thread> m_threads;
};

} // namespace

TEST_F(NetPathsTest, OneObjectServesTheProcess) {
    EXPECT_EQ(&NetPathExchange(), &NetPathExchange());
    network.AddShare(L"clips", L"D:\\clips");
    EXPECT_STREQ(UNC2Local(L"\\\\HOST\\clips\\a"), L"D:\\clips\\a");
    EXPECT_STREQ(Local2UNC(L"D:\\clips\\a"), L"\\\\HOST\\clips\\a");
    EXPECT_EQ(network.Count(L"openShares"), 1U);
}

TEST_F(NetPathsTest, SharesAreVisitedInTheirOrderWithWhatIsKnownOfThem) {
    network.AddShare(L"clips", L"D:\\clips");
    network.drives = {{L"Y:", L"\\\\server\\media"}, {L"Z:", L"\\\\10.0.0.5\\media"}};
    network.mounts = {{L"\\\\nas\\export", L"\\mnt\\nas"}};
    network.SetHost("HOST", 0x0A000001);
    EXPECT_THAT(Visited(), ElementsAre(L"\\\\HOST\\clips||D:\\clips", L"\\\\server\\media||Y:",
                                       L"|\\\\10.0.0.5\\media|Z:", L"\\\\nas\\export||\\mnt\\nas"));
    EXPECT_EQ(network.Count(L"firstAddress"), 0U);
    UNC2Local(L"\\\\10.0.0.1\\clips\\a");
    EXPECT_THAT(Visited(2),
                ElementsAre(L"\\\\HOST\\clips|\\\\10.0.0.1\\clips|D:\\clips", L"\\\\server\\media||Y:"));
    EXPECT_THAT(Visited(1), ElementsAre(L"\\\\HOST\\clips|\\\\10.0.0.1\\clips|D:\\clips"));
}

TEST_F(NetPathsTest, SpecialDrivesAreVisitedInTheirOrder) {
    network.specialDrives = {{L"z", 4, 1}, {L"d", 4, 1}, {L"e", 4, 1}};
    EXPECT_THAT(VisitedDrives(), ElementsAre(L"Z:\\", L"D:\\", L"E:\\"));
    EXPECT_THAT(VisitedDrives(2), ElementsAre(L"Z:\\", L"D:\\"));
    EXPECT_EQ(network.Count(L"openSpecialDrives"), 1U);
}

TEST_F(NetPathsTest, OnAnEmptyMachineNothingIsVisited) {
    EXPECT_THAT(Visited(), IsEmpty());
    EXPECT_THAT(VisitedDrives(), IsEmpty());
}

TEST_F(NetPathsTest, WhereMemoryLacksNothingIsVisitedAndTheNextCallBuilds) {
    network.AddShare(L"clips", L"D:\\clips");
    network.specialDrives = {{L"d", 4, 1}};
    network.LackMemoryAt(L"mountedShares");
    EXPECT_THAT(Visited(), IsEmpty());
    network.LackMemoryAt(L"mountedShares");
    EXPECT_THAT(VisitedDrives(), IsEmpty());
    EXPECT_THAT(VisitedDrives(), ElementsAre(L"D:\\"));
    EXPECT_THAT(Visited(), ElementsAre(L"\\\\HOST\\clips||D:\\clips"));
}

TEST_F(NetPathsTest, AVisitorMayConvertNames) {
    network.AddShare(L"clips", L"D:\\clips");
    std::wstring local;
    VisitNetPaths(
        [](void* context, const NetPath&) {
            *static_cast<std::wstring*>(context) = UNC2Local(L"\\\\10.0.0.1\\x\\y").c_str();
            return 1;
        },
        &local);
    EXPECT_EQ(local, L"\\\\10.0.0.1\\x\\y");
}

TEST_F(NetPathsTest, UnloadingEndsTheSocketsAndLeavesTheTable) {
    network.AddShare(L"clips", L"D:\\clips");
    NetPathAttach();
    UNC2Local(L"\\\\HOST\\clips\\a");
    network.ClearCalls();
    NetPathDetach();
    EXPECT_THAT(network.Calls(), ElementsAre(L"cleanup"));
    EXPECT_STREQ(UNC2Local(L"\\\\HOST\\clips\\a"), L"D:\\clips\\a"); // for who is in a conversion yet
    NetPathAttach();
    EXPECT_EQ(network.Count(L"startup"), 0U);
}

// ---- threads ----------------------------------------------------------------------------------------

TEST_F(NetPathsTest, TheFirstConversionsOfManyThreadsBuildTheTableOnce) {
    network.AddShare(L"clips", L"D:\\clips");
    network.specialDrives = {{L"e", 4, 1}};
    Gate building;
    network.HoldCall(L"mountedShares", building);
    std::atomic<int> wrong{0};
    Crowd crowd;
    for (int i = 0; i < 4; ++i) {
        crowd.Add([&] {
            wrong += std::wstring(UNC2Local(L"\\\\HOST\\clips\\a").c_str()) == L"D:\\clips\\a" ? 0 : 1;
        });
        crowd.Add([&] {
            wrong += std::wstring(Local2UNC(L"D:\\clips\\a").c_str()) == L"\\\\HOST\\clips\\a" ? 0 : 1;
        });
        crowd.Add([&] { wrong += VisitedDrives().size() == 1 ? 0 : 1; });
    }
    std::thread opener([&] {
        EXPECT_TRUE(building.WaitUntilReached());
        building.Open();
    });
    crowd.Join();
    opener.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(network.Count(L"openShares"), 1U);
    EXPECT_EQ(network.Count(L"mountedShares"), 1U);
    EXPECT_EQ(network.StillOpen(), 0);
}

TEST_F(NetPathsTest, WhileOneHostIsLookedForOtherNamesAreConverted) {
    network.drives = {{L"Y:", L"\\\\slow\\media"}, {L"Z:", L"\\\\10.0.0.5\\media"}};
    network.SetHost("slow", 0x0A000009);
    Gate lookup;
    network.HoldHost("slow", lookup);
    auto byAddress = std::async(std::launch::async,
                                [] { return std::wstring(UNC2Local(L"\\\\10.0.0.9\\media\\x").c_str()); });
    EXPECT_TRUE(lookup.WaitUntilReached());
    EXPECT_STREQ(UNC2Local(L"\\\\slow\\media\\x"), L"Y:\\x");
    EXPECT_STREQ(Local2UNC(L"Z:\\x"), L"\\\\10.0.0.5\\media\\x");
    EXPECT_THAT(Visited(), ElementsAre(L"\\\\slow\\media||Y:", L"|\\\\10.0.0.5\\media|Z:"));
    auto byName =
        std::async(std::launch::async, [] { return std::wstring(UNC2Local(L"\\\\slow\\other\\x").c_str()); });
    EXPECT_TRUE(lookup.WaitUntilReached(2)); // nor does one lookup wait for the other
    lookup.Open();
    EXPECT_EQ(byAddress.get(), L"Y:\\x");
    EXPECT_EQ(byName.get(), L"\\\\slow\\other\\x");
}

TEST_F(NetPathsTest, OfTwoLookupsForOneRecordTheFirstAnswerIsKept) {
    network.drives = {{L"Z:", L"\\\\server\\media"}};
    network.SetHost("server", 0x0A000005);
    Gate lookup;
    network.HoldHost("server", lookup);
    const auto convert = [] { return std::wstring(UNC2Local(L"\\\\10.0.0.5\\media\\x").c_str()); };
    auto first = std::async(std::launch::async, convert);
    auto second = std::async(std::launch::async, convert);
    EXPECT_TRUE(lookup.WaitUntilReached(2));
    lookup.Open();
    EXPECT_EQ(first.get(), L"Z:\\x");
    EXPECT_EQ(second.get(), L"Z:\\x");
    EXPECT_THAT(Visited(), ElementsAre(L"\\\\server\\media|\\\\10.0.0.5\\media|Z:"));
    EXPECT_EQ(convert(), L"Z:\\x");
    EXPECT_EQ(network.Count(L"firstAddress"), 2U);
}

TEST_F(NetPathsTest, WhileTheWorkGroupIsAskedForOtherNamesAreConverted) {
    network.SetWorkgroup(L"group");
    network.drives = {{L"Y:", L"\\\\group\\server\\media"}, {L"Z:", L"\\\\10.0.0.5\\media"}};
    Gate question;
    network.HoldCall(L"resourceParent", question);
    auto held = std::async(std::launch::async,
                           [] { return std::wstring(UNC2Local(L"\\\\server\\media\\x").c_str()); });
    EXPECT_TRUE(question.WaitUntilReached());
    EXPECT_STREQ(UNC2Local(L"\\\\10.0.0.5\\media\\x"), L"Z:\\x");
    EXPECT_STREQ(UNC2Local(L"\\\\server\\media\\x"), L"Y:\\x"); // asks by itself
    question.Open();
    EXPECT_EQ(held.get(), L"Y:\\x");
    EXPECT_EQ(NetPathInspector::Workgroup(NetPathExchange()), L"group");
}

TEST_F(NetPathsTest, ManyThreadsConvertWhileAddressesAndTheWorkGroupComeIn) {
    network.AddShare(L"clips", L"D:\\clips");
    network.drives = {
        {L"X:", L"\\\\group\\server\\media"}, {L"Y:", L"\\\\other\\media"}, {L"Z:", L"\\\\10.0.0.5\\media"}};
    network.SetHost("HOST", 0x0A000001);
    network.SetHost("other", 0x0A000007);
    network.SetHost("five", 0x0A000005);
    struct Pair {
        const wchar_t* path;
        const wchar_t* local;
    };
    const Pair pairs[] = {{L"\\\\HOST\\clips\\a", L"D:\\clips\\a"},
                          {L"\\\\10.0.0.1\\clips\\a", L"D:\\clips\\a"},
                          {L"\\\\other\\media\\a", L"Y:\\a"},
                          {L"\\\\10.0.0.7\\media\\a", L"Y:\\a"},
                          {L"\\\\five\\media\\a", L"Z:\\a"},
                          {L"\\\\10.0.0.5\\media\\a", L"Z:\\a"},
                          {L"\\\\nobody\\media\\a", L"\\\\nobody\\media\\a"}};
    constexpr int kRounds = 50;
    for (int round = 0; round < kRounds; ++round) {
        Forget();
        network.SetWorkgroup(L"");
        std::atomic<int> wrong{0};
        Crowd crowd;
        for (int i = 0; i < 4; ++i) {
            crowd.Add([&, i] {
                for (std::size_t n = 0; n < 2 * std::size(pairs); ++n) {
                    const Pair& pair = pairs[(n + static_cast<std::size_t>(i)) % std::size(pairs)];
                    wrong += std::wstring(UNC2Local(pair.path).c_str()) == pair.local ? 0 : 1;
                    wrong += Visited().size() == 4 ? 0 : 1;
                    Local2UNC(L"X:\\a");
                }
            });
        }
        crowd.Add([&] { network.SetWorkgroup(L"group"); });
        crowd.Join();
        ASSERT_EQ(wrong, 0) << round;
        ASSERT_STREQ(UNC2Local(L"\\\\server\\media\\a"), L"X:\\a");
        ASSERT_STREQ(Local2UNC(L"X:\\a"), L"group\\\\server\\media\\a");
    }
    EXPECT_EQ(network.Count(L"openShares"), static_cast<std::size_t>(kRounds));
}
