// demux_ts and its files: nothing that was there is lost, and no half result is left.
#include "demux/DemuxRun.h"
#include "demux/TsMuxer.h"
#include "support/OddHttpServer.h"

#include "OutFile.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace fs = std::filesystem;
using namespace vxcio::test;

namespace {

class DemuxFilesTest : public DemuxRun {
protected:
    const Sample m_sample = Sample::Good();
    const std::string m_stream = m_sample.muxer.Bytes();

    void SetUp() override { m_Folder.Write("in.ts", m_stream); }

    // Refused with this text, while all that is there stays as it is.
    void ExpectLeftAlone(const std::vector<std::string>& names, const std::string& text) const {
        const std::set<std::string> before = Files();
        const Outcome outcome = Demux(names);
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_EQ(outcome.error, "demux_ts: " + text + "\n");
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(Files(), before);
        EXPECT_EQ(m_Folder.Read("in.ts"), m_stream);
    }
    void ExpectResults(const std::string& video, const std::string& audio) const {
        const Outcome outcome = Demux({"in.ts", video, audio});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
        EXPECT_TRUE(m_Folder.Read(video) == m_sample.video);
        EXPECT_TRUE(m_Folder.Read(audio) == m_sample.audio);
    }
};

} // namespace

TEST_F(DemuxFilesTest, AWrongCallIsToldTheUsage) {
    for (const std::vector<std::string>& names :
         {std::vector<std::string>{}, {"in.ts", "v"}, {"in.ts", "v", "a", "b"}}) {
        const Outcome outcome = Demux(names);
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.error, "usage: demux_ts STREAM VIDEO AUDIO\n");
    }
    EXPECT_EQ(Files(), std::set<std::string>({"in.ts"}));
}

TEST_F(DemuxFilesTest, AnOutputThatIsTheInputIsRefused) {
    fs::create_hard_link(m_Folder.Name("in.ts"), m_Folder.Name("hard"));
    fs::create_symlink("in.ts", m_Folder.Name("soft"));
    for (const char* name : {"in.ts", "./in.ts", "hard", "soft"}) {
        ExpectLeftAlone({"in.ts", name, "a"}, std::string(name) + " is the input");
        ExpectLeftAlone({"in.ts", "v", name}, std::string(name) + " is the input");
    }
    ExpectLeftAlone({"soft", "in.ts", "a"}, "in.ts is the input");
}

TEST_F(DemuxFilesTest, OutputsThatMeetAreRefused) {
    ExpectLeftAlone({"in.ts", "x", "x"}, "x and x cannot both be written");
    ExpectLeftAlone({"in.ts", "x", "./x"}, "x and ./x cannot both be written");
    ExpectLeftAlone({"in.ts", "x", "x.part"}, "x and x.part cannot both be written");
    ExpectLeftAlone({"in.ts", "x.part", "x"}, "x.part and x cannot both be written");
    m_Folder.Write("old", "old");
    fs::create_hard_link(m_Folder.Name("old"), m_Folder.Name("hard"));
    ExpectLeftAlone({"in.ts", "old", "hard"}, "old and hard cannot both be written");
    EXPECT_EQ(m_Folder.Read("old"), "old");
}

TEST_F(DemuxFilesTest, AnInputThatIsNotThereCostsNothing) {
    m_Folder.Write("old.v", "old video");
    m_Folder.Write("old.a", "old audio");
    ExpectLeftAlone({"nosuch", "old.v", "old.a"}, "nosuch cannot be opened");
    ExpectLeftAlone({"nosuch", "v", "a"}, "nosuch cannot be opened");
    EXPECT_EQ(m_Folder.Read("old.v"), "old video");
    EXPECT_EQ(m_Folder.Read("old.a"), "old audio");
}

TEST_F(DemuxFilesTest, NoMessageShowsThePasswordOfAUrl) {
    // Nobody listens there.
    const char* const shown = "http://norvex@127.0.0.1:9/a:b@c.ts cannot be opened";
    ExpectLeftAlone({"http://norvex:s3cr:et@127.0.0.1:9/a:b@c.ts", "v", "a"}, shown);
    ExpectLeftAlone({"http://norvex@127.0.0.1:9/a:b@c.ts", "v", "a"}, shown);
    ExpectLeftAlone({"http://127.0.0.1:9/a:b@c.ts", "v", "a"},
                    "http://127.0.0.1:9/a:b@c.ts cannot be opened");
    const OddHttpServer server(ServeFiles({{"/a.ts", {.bytes = "no stream"}}}));
    const Outcome refused = Demux({server.Address("/a.ts", "norvex:s3cret"), "v", "a"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.error,
                testing::StartsWith("demux_ts: " + server.Address("/a.ts", "norvex") + " is refused: "));
}

TEST_F(DemuxFilesTest, AnOutputInAFolderThatIsNotThereOrProtectedIsRefused) {
    m_Folder.Write("old", "old");
    fs::create_directory(m_Folder.Name("closed"), m_Folder.Path());
    fs::permissions(m_Folder.Name("closed"), fs::perms::owner_read | fs::perms::owner_exec);
    ExpectLeftAlone({"in.ts", "old", "no/a"}, "no/a cannot be written: No such file or directory");
    ExpectLeftAlone({"in.ts", "no/v", "old"}, "no/v cannot be written: No such file or directory");
    ExpectLeftAlone({"in.ts", "old", "closed/a"}, "closed/a cannot be written: Permission denied");
    ExpectLeftAlone({"in.ts", "closed/v", "old"}, "closed/v cannot be written: Permission denied");
    EXPECT_EQ(m_Folder.Read("old"), "old");
}

TEST_F(DemuxFilesTest, WhatIsNoFileOrProtectedIsNotReplaced) {
    fs::create_directory(m_Folder.Name("folder"));
    fs::create_symlink("/dev/null", m_Folder.Name("device"));
    m_Folder.Write("kept", "kept");
    fs::permissions(m_Folder.Name("kept"), fs::perms::owner_read);
    ExpectLeftAlone({"in.ts", "v", "folder"}, "folder is no file");
    ExpectLeftAlone({"in.ts", "device", "a"}, "device is no file");
    ExpectLeftAlone({"in.ts", "v", "kept"}, "kept cannot be written: Permission denied");
    EXPECT_EQ(m_Folder.Read("kept"), "kept");
}

TEST_F(DemuxFilesTest, APartOfAnotherRunIsNotTouched) {
    m_Folder.Write("a.part", "of another run");
    ExpectLeftAlone({"in.ts", "v", "a"}, "a.part is there already");
    EXPECT_EQ(m_Folder.Read("a.part"), "of another run");
}

TEST_F(DemuxFilesTest, GoodResultsReplaceOldOnes) {
    m_Folder.Write("v", std::string(100'000, 'o'));
    m_Folder.Write("real", "old");
    fs::create_symlink("real", m_Folder.Name("a"));
    ExpectResults("v", "a");
    EXPECT_TRUE(fs::is_symlink(m_Folder.Name("a")));
    EXPECT_EQ(Files(), std::set<std::string>({"in.ts", "v", "a", "real"}));
    ExpectResults("v", "a");
}

TEST_F(DemuxFilesTest, WhereTheSecondCannotGetItsNameTheFirstIsNotLeftEither) {
    {
        std::array<OutFile, 2> files{OutFile(m_Folder.Name("v")), OutFile(m_Folder.Name("a"))};
        EXPECT_EQ(Files(), std::set<std::string>({"in.ts", "v.part", "a.part"}));
        files[0].Write(std::array<unsigned char, 3>{1, 2, 3});
        fs::create_directory(m_Folder.Name("a")); // comes between
        EXPECT_THROW(OutFile::Keep(files), std::runtime_error);
    }
    EXPECT_EQ(Files(), std::set<std::string>({"in.ts", "a"}));
    EXPECT_TRUE(fs::is_directory(m_Folder.Name("a")));
}
