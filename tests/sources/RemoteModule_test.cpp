// How remote sources come to their companion module: once for the process, from the folder of the library.
#include "sources/RemoteFixture.h"

#include "support/MemoryLack.h"

#include <barrier>
#include <functional>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Inspector = RemoteSourceInspector;

namespace {

using RemoteModuleTest = RemoteSourceFixture;

LogLine CantLoad() {
    return {INFOTYPE_ERROR, L"VXCSoftCodecIO", L"Can't laod dll[" + RemoteCompanion::Path() + L"]"};
}

// What a source without an object gives.
void ExpectNothing(CRemoteSource& source) {
    EXPECT_EQ(source.GetFileSize(), 0U);
    uint8 byte = 7;
    uint8* data = &byte;
    EXPECT_EQ(source.Read(&byte, 1), 0);
    EXPECT_EQ(source.ReadAt(0, &data, 1), 0);
    EXPECT_EQ(source.ReadPtr(&data, 1), 0);
    EXPECT_EQ(data, &byte);
    EXPECT_EQ(byte, 7);
    EXPECT_EQ(source.Seek(700, 1), 700);
    EXPECT_EQ(source.Seek(-1, 3), 699);
    EXPECT_EQ(source.Seek(-9, 2), -9);
    EXPECT_EQ(source.EnableMD5_Check(0), 1);
    EXPECT_EQ(source.BeginMD5_Check(0), 1);
    EXPECT_EQ(source.Seek(10, 1), 10);
    EXPECT_EQ(source.Read(&byte, 1), 0);
    uint8* digest = nullptr;
    int length = 0;
    EXPECT_EQ(source.GetMD5_check(1, digest, length), 0);
    EXPECT_EQ(length, 16);
    EXPECT_NE(digest, nullptr);
    delete[] digest;
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
}

} // namespace

TEST_F(RemoteModuleTest, ItIsLoadedFromTheFolderOfTheLibraryAtTheFirstOpen) {
    FaultPlan plan;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_LoadModuleExW), 1);
    EXPECT_EQ(plan.CallsOn(Op::VXC_LoadModuleExW, RemoteCompanion::Path()), 1);
    EXPECT_EQ(plan.Calls(Op::VXC_GetFunction), 2);
}

TEST_F(RemoteModuleTest, ASecondSourceAndASecondOpenLoadNothing) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FaultPlan plan;
    CRemoteSource other;
    EXPECT_EQ(other.OpenFile(kUrl, 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_EQ(source.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_LoadModuleExW), 0);
    EXPECT_EQ(plan.Calls(Op::VXC_GetFunction), 0);
}

TEST_F(RemoteModuleTest, ItIsNeverReleased) {
    FaultPlan plan;
    {
        CRemoteSource scoped;
        ASSERT_EQ(scoped.OpenFile(kUrl, 0, nullptr, 0), VXC_STATUS_OK);
        scoped.CloseFile();
    }
    EXPECT_EQ(plan.Calls(Op::VXC_CloseModule), 0);
}

TEST_F(RemoteModuleTest, AFailedLoadIsSuccessWithoutAnObjectAndALine) {
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_LoadModuleExW));
    LogCapture log;
    EXPECT_EQ(Open(0x20000000), VXC_STATUS_OK);
    EXPECT_THAT(log.Lines(), ElementsAre(CantLoad()));
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_FALSE(Inspector::HasObject(source));
    EXPECT_EQ(plan.Calls(Op::VXC_GetFunction), 0);
    EXPECT_EQ(plan.Calls(Op::VXC_QueryPerformanceFrequency), 0); // nothing behind it happens
    EXPECT_EQ(Inspector::Flags(source), 0U);
    EXPECT_EQ(Inspector::Name(source), L"");
    ExpectNothing(source);
}

TEST_F(RemoteModuleTest, AFailedLoadIsTriedAgainByTheNextOpen) {
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_LoadModuleExW));
    LogCapture log;
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source.GetFileSize(), 0U);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_LoadModuleExW), 2);
    EXPECT_EQ(log.Count(L"Can't laod dll"), 1U);
    EXPECT_EQ(Read(10), Bytes(0, 10));
}

TEST_F(RemoteModuleTest, EachOpenWithoutAModuleSaysSo) {
    const RemoteCompanion nowhere("nowhere");
    LogCapture log;
    CRemoteSource lonely;
    EXPECT_EQ(lonely.OpenFile(kUrl, 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_EQ(lonely.OpenFile(kUrl, 0, nullptr, 0), VXC_STATUS_OK);
    EXPECT_THAT(log.Lines(), ElementsAre(CantLoad(), CantLoad()));
    ExpectNothing(lonely);
}

TEST_F(RemoteModuleTest, TheLongestFolderIsUsedWholeAlsoWhereMemoryLacks) {
    const std::wstring folder(260, L'd');
    RemoteCompanion::UseDirectory(folder);
    for (int nth = 1; nth < 10; ++nth) {
        FaultPlan plan;
        const auto rule = plan.Add(
            Fail(Op::VXC_LoadModuleExW).FromThenOn().OnFile(folder.substr(100) + L"\\QLRRemoteFileU.dll"));
        LogCapture log;
        {
            const MemoryLack lack(nth);
            EXPECT_EQ(Open(), VXC_STATUS_OK);
        }
        EXPECT_EQ(plan.Fired(rule), 1) << nth;
        EXPECT_THAT(log.Lines(), ElementsAre(CantLoad())) << nth;
    }
}

// ---- A module that lacks what it should have ----

TEST_F(RemoteModuleTest, WithoutTheFirstFunctionTheOpenFails) {
    const RemoteCompanion bare("no_create");
    LogCapture log;
    CRemoteSource scoped;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(scoped.OpenFile(kUrl, 0, nullptr, 0), VXC_STATUS_OPEN_READ);
        EXPECT_THAT(log.Texts(), ElementsAre(L"CRemoteSource::OpenFile(http://host/clip.mxf) begin!",
                                             L"CRemoteSource::OpenFile(http://host/clip.mxf) error!"));
        EXPECT_EQ(log.Lines()[1].level, INFOTYPE_ERROR);
        log.Clear();
    }
    EXPECT_FALSE(Inspector::HasObject(scoped));
    ExpectNothing(scoped);
}

TEST_F(RemoteModuleTest, AFunctionThatIsNotFoundCountsAsNone) {
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_GetFunction).FromThenOn());
    EXPECT_EQ(Open(), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(plan.Calls(Op::VXC_GetFunction), 2);
    EXPECT_THAT(Calls(), IsEmpty());
    ExpectNothing(source);
}

TEST_F(RemoteModuleTest, WithoutTheSecondFunctionObjectsAreDestroyed) {
    RemoteCompanion lame("no_delete");
    lame.content = content;
    {
        CRemoteSource scoped;
        ASSERT_EQ(scoped.OpenFile(kUrl, 0, nullptr, 0), VXC_STATUS_OK);
        EXPECT_EQ(scoped.GetFileSize(), kSize);
        lame.Clear();
    }
    EXPECT_THAT(lame.Calls(), ElementsAre("destroyed"));
    EXPECT_EQ(lame.Alive(), 0);
}

TEST_F(RemoteModuleTest, AModuleThatGivesNoObjectFailsTheOpen) {
    companion.Break("create", false);
    LogCapture log;
    EXPECT_EQ(Open(), VXC_STATUS_OPEN_READ);
    EXPECT_THAT(log.Texts(), ElementsAre(L"CRemoteSource::OpenFile(http://host/clip.mxf) begin!",
                                         L"CRemoteSource::OpenFile(http://host/clip.mxf) error!"));
    EXPECT_THAT(Calls(), ElementsAre("create"));
    ExpectNothing(source);
    EXPECT_EQ(Open(), VXC_STATUS_OK); // the next one may have more luck
    EXPECT_EQ(Read(10), Bytes(0, 10));
}

// ---- Several threads ----

TEST_F(RemoteModuleTest, ThreadsThatOpenAtOnceAllReadAndOneLoadStays) {
    constexpr int kThreads = 8;
    FaultPlan plan;
    std::barrier start(kThreads);
    std::vector<uint32> statuses(kThreads, 1);
    std::vector<std::vector<uint8>> bytes(kThreads, std::vector<uint8>(kSize));
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            CRemoteSource mine;
            start.arrive_and_wait();
            statuses[i] = mine.OpenFile(kUrl, 0, nullptr, 0);
            mine.Read(bytes[i].data(), kSize);
            if (i % 2 == 0) {
                mine.CloseFile();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_GE(plan.Calls(Op::VXC_LoadModuleExW), 1);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseModule), plan.Calls(Op::VXC_LoadModuleExW) - 1);
    EXPECT_EQ(statuses, std::vector<uint32>(kThreads, VXC_STATUS_OK));
    EXPECT_EQ(bytes, std::vector<std::vector<uint8>>(kThreads, content));
    EXPECT_EQ(companion.Alive(), 0);
}

TEST_F(RemoteModuleTest, NobodySeesTheModuleBeforeItsFunctions) {
    for (const int held : {1, 2}) { // the first function, the second
        ForgetRemoteModule();
        Gate gate;
        FaultPlan plan;
        plan.Add(Hold(Op::VXC_GetFunction, gate).Nth(held));
        std::thread first([&] { EXPECT_EQ(Open(), VXC_STATUS_OK); });
        EXPECT_TRUE(gate.WaitUntilReached());
        {
            CRemoteSource other; // does not wait for the first
            EXPECT_EQ(other.OpenFile(kUrl, 0, nullptr, 0), VXC_STATUS_OK);
            EXPECT_EQ(other.GetFileSize(), kSize);
            companion.Clear();
        }
        EXPECT_THAT(companion.Calls(), ElementsAre("given back", "destroyed"));
        EXPECT_EQ(plan.Calls(Op::VXC_LoadModuleExW), 2);
        EXPECT_EQ(plan.Calls(Op::VXC_CloseModule), 0);
        gate.Open();
        first.join();
        EXPECT_EQ(plan.Calls(Op::VXC_CloseModule), 1); // the one that came too late
        EXPECT_EQ(Read(10), Bytes(0, 10));
    }
}

TEST_F(RemoteModuleTest, WhoComesTooLateUsesTheModuleThatStays) {
    Gate gate;
    FaultPlan plan;
    plan.Add(Hold(Op::VXC_LoadModuleExW, gate).AfterEffect());
    plan.Add(Fail(Op::VXC_GetFunction).Nth(3).FromThenOn()); // those of the late one
    std::thread first([&] { EXPECT_EQ(Open(), VXC_STATUS_OK); });
    EXPECT_TRUE(gate.WaitUntilReached());
    CRemoteSource other;
    EXPECT_EQ(other.OpenFile(kUrl, 0, nullptr, 0), VXC_STATUS_OK);
    gate.Open();
    first.join();
    EXPECT_EQ(plan.Calls(Op::VXC_GetFunction), 4);
    EXPECT_EQ(Read(10), Bytes(0, 10));
}

TEST_F(RemoteModuleTest, AFailedLoadOfOneThreadIsTriedByTheOther) {
    Gate gate;
    FaultPlan plan;
    plan.Add(Hold(Op::VXC_LoadModuleExW, gate));
    plan.Add(Fail(Op::VXC_LoadModuleExW));
    std::thread first([&] { EXPECT_EQ(Open(), VXC_STATUS_OK); });
    EXPECT_TRUE(gate.WaitUntilReached());
    CRemoteSource other;
    EXPECT_EQ(other.OpenFile(kUrl, 0, nullptr, 0), VXC_STATUS_OK);
    gate.Open();
    first.join();
    EXPECT_EQ(plan.Calls(Op::VXC_LoadModuleExW), 2);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseModule), 0);
    EXPECT_EQ(source.GetFileSize(), 0U);
    EXPECT_EQ(other.GetFileSize(), kSize);
}

// ---- A host that uses the library in the function that receives its log ----

namespace {

// Opens a URL within the first line that it receives.
class OpeningHost {
public:
    explicit OpeningHost(INFOTYPE level) { SetLogReceiver(Receive, this, level); }
    ~OpeningHost() { SetLogReceiver(nullptr, nullptr, INFOTYPE_ERROR); }
    OpeningHost(const OpeningHost&) = delete;
    OpeningHost& operator=(const OpeningHost&) = delete;

    std::function<void()> before = [] {};
    CRemoteSource source;
    std::vector<std::wstring> lines;
    uint32 status = 1;

private:
    static void Receive(void* context, INFOTYPE /*level*/, const wchar_t* /*module*/, const wchar_t* text) {
        auto& self = *static_cast<OpeningHost*>(context);
        self.lines.emplace_back(text);
        if (self.lines.size() == 1) {
            self.before();
            self.status = self.source.OpenFile(kUrl, 0, nullptr, 0);
        }
    }
};

} // namespace

TEST_F(RemoteModuleTest, AUrlIsOpenedWithinTheLineOfAFailedLoad) {
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_LoadModuleExW));
    OpeningHost host(INFOTYPE_ERROR);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_THAT(host.lines, ElementsAre(CantLoad().text));
    EXPECT_EQ(host.status, VXC_STATUS_OK);
    EXPECT_EQ(host.source.GetFileSize(), kSize);
}

TEST_F(RemoteModuleTest, AUrlIsOpenedWithinTheSystemsTraceOfALoad) {
    const TempFolder folder;
    folder.Write("QLRRemoteFileU.so", "no library");
    const std::wstring whole(Module().szModuleDirectory);
    RemoteCompanion::UseDirectory(folder.Path().wstring());
    OpeningHost host(INFOTYPE_TRACE);
    host.before = [&] { RemoteCompanion::UseDirectory(whole); };
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    ASSERT_FALSE(host.lines.empty());
    EXPECT_THAT(host.lines.front(), ::testing::HasSubstr(L"VXC_LoadModuleExW("));
    EXPECT_EQ(host.status, VXC_STATUS_OK);
    EXPECT_EQ(host.source.GetFileSize(), kSize);
    EXPECT_EQ(source.GetFileSize(), 0U); // its own load failed
}
