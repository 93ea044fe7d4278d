// Starting and stopping the server.
#include "pairing/Bridge.h"
#include "pairing/Processes.h"

#include "bridge/SystemSender.h"
#include "frame/ModuleValues.h"
#include "support/LogCapture.h"
#include "text/Utf8.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

class LifecycleTest : public BridgeTest {
protected:
    static std::wstring Id() { return ProcessIdText().c_str(); }
    static void UseFolder(const std::wstring& folder) {
        *std::copy(folder.begin(), folder.end(), Module().szModuleDirectory) = 0;
    }
};

// A folder of the test's own in which the server lies as it is installed; removed at its end.
class OddFolder {
public:
    explicit OddFolder(const std::string& name)
        : m_root(std::filesystem::temp_directory_path() / ("vxc odd " + std::to_string(OwnProcess()))),
          m_folder(m_root / name) {
        const std::filesystem::path from = ToUtf8(ServerFolder());
        std::filesystem::create_directories(m_folder / "VXC32");
        // A copy finds its libraries where it was built; a link in its place would be another file by name
        // alone.
        std::filesystem::copy_file(from / "VXC32/VXC32ServU.exe", m_folder / "VXC32/VXC32ServU.exe");
    }
    ~OddFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_root, ignored);
    }
    OddFolder(const OddFolder&) = delete;
    OddFolder& operator=(const OddFolder&) = delete;

    std::wstring Path() const { return FromUtf8(m_folder.string()); }
    std::string Server() const { return (m_folder / "VXC32/VXC32ServU.exe").string(); }

private:
    const std::filesystem::path m_root;
    const std::filesystem::path m_folder;
};

} // namespace

TEST_F(LifecycleTest, AStartedServerHasItsWidthItsWordsAndItsNames) {
    Start();
    const std::vector<uint32> servers = ServersOf(OwnProcess());
    ASSERT_THAT(servers, SizeIs(1));
    EXPECT_EQ(BitsOf(servers[0]), ServerBits());
    const std::vector<std::string> words = CommandLineOf(servers[0]);
    ASSERT_THAT(words, SizeIs(2));
    EXPECT_THAT(words[1], SizeIs(8));
    EXPECT_EQ(std::wstring(words[1].begin(), words[1].end()), Id());
    EXPECT_TRUE(HasName(Id() + L"_InMap", 'm'));
    EXPECT_TRUE(HasName(Id() + L"_OutMap", 'm'));
    EXPECT_TRUE(HasName(Id() + L"_EvtBegin", 'e'));
    EXPECT_TRUE(HasName(Id() + L"_EvtEnd", 'e'));
    EXPECT_THAT(NamesOf(OwnProcess()), SizeIs(4));
}

TEST_F(LifecycleTest, AStopLeavesNeitherProcessNorNameNorZombie) {
    Start();
    Stop();
    EXPECT_EQ(ObtainSysSender(), nullptr);
    EXPECT_TRUE(Eventually([] { return ServersOf(OwnProcess()).empty(); }));
    EXPECT_TRUE(Eventually([] { return NamesOf(OwnProcess()).empty(); }));
    EXPECT_TRUE(Eventually([] { return Zombies().empty(); }));
}

TEST_F(LifecycleTest, AStopWithChannelsUpEndsTheServerAllTheSame) {
    Start();
    const unsigned long long plug = Load();
    Channel& first = Kept(plug);
    Channel& second = Kept(plug);
    EXPECT_TRUE(first.Works());
    EXPECT_TRUE(second.Works());
    Stop();
    EXPECT_TRUE(Eventually([] { return ServersOf(OwnProcess()).empty(); }));
}

TEST_F(LifecycleTest, StartsFollowStops) {
    for (int i = 0; i < 10; ++i) {
        Start();
        EXPECT_THAT(ServersOf(OwnProcess()), testing::Not(IsEmpty()));
        EXPECT_NE(Load(), 0u);
        Stop();
    }
}

TEST_F(LifecycleTest, TheServerStartsFromAFolderWithBlanks) {
    const OddFolder folder("a dir/x y");
    UseFolder(folder.Path());
    Start();
    const std::vector<uint32> servers = ServersOf(OwnProcess());
    ASSERT_THAT(servers, SizeIs(1));
    EXPECT_EQ(CommandLineOf(servers[0])[0], folder.Server());
    Channel channel(Load());
    EXPECT_TRUE(channel.Works());
}

TEST_F(LifecycleTest, TheServerStartsFromAFolderWithOddCharacters) {
    for (const char* name :
         {"\"quoted\" ", "%41 $(x) ;&", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\xAC", " 00000001 "}) {
        const OddFolder folder(name);
        UseFolder(folder.Path());
        Start();
        EXPECT_THAT(ServersOf(OwnProcess()), SizeIs(1)) << name;
        EXPECT_NE(Load(), 0u) << name;
        Stop();
        EXPECT_TRUE(Eventually([] { return ServersOf(OwnProcess()).empty(); }));
    }
}

TEST_F(LifecycleTest, WithoutTheProgramTheStartFailsAndNothingRuns) {
    LogCapture log;
    UseFolder(L"/nowhere/at/all");
    EXPECT_EQ(CreateVXC32ServProcess(), -1);
    EXPECT_TRUE(log.Contains(L"doesn't exist!"));
    EXPECT_THAT(ServersOf(OwnProcess()), IsEmpty());
    EXPECT_EQ(CreateVXC32ServProcess(), 0); // nobody behind it
    EXPECT_EQ(RemoteLoadVXC32Plug(PlugPath(L"TestPlug").c_str()), 0u);
    FreeSystemSenders();
}
