// demux_ts on streams that it takes: what it writes and what it tells.
#include "demux/DemuxRun.h"
#include "demux/TsMuxer.h"

#include <gmock/gmock.h>

using namespace vxcio::test;
using testing::HasSubstr;
using testing::Not;

namespace {

class DemuxTest : public DemuxRun {
protected:
    // All went well, and these are the two results.
    Outcome ExpectTaken(const std::string& stream, const std::string& video, const std::string& audio) const {
        m_Folder.Write("in.ts", stream);
        const Outcome outcome = Demux({"in.ts", "v", "a"});
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.error, "");
        EXPECT_EQ(Files(), std::set<std::string>({"in.ts", "v", "a"}));
        if (outcome.exitCode == 0) {
            EXPECT_TRUE(m_Folder.Read("v") == video) << "the video differs";
            EXPECT_TRUE(m_Folder.Read("a") == audio) << "the audio differs";
        }
        return outcome;
    }
};

constexpr std::size_t kRoom = TsMuxer::kRoom;
const std::string kDroppedOne = "  dropped      1 that a jump has broken off\n";

} // namespace

TEST_F(DemuxTest, PayloadsAndAccountAreThoseOfTheStream) {
    const Sample sample = Sample::Good();
    const Outcome outcome = ExpectTaken(sample.muxer.Bytes(), sample.video, sample.audio);
    EXPECT_EQ(outcome.out,
              "  program      1, whose map is PID 256, in " + std::to_string(sample.muxer.packets.size()) +
                  " packets\n"
                  "  sections     2, each with the right CRC\n"
                  "  video        PID 512, type 2: 3 PES packets, 7183 bytes, PTS 100000 to 105183\n"
                  "  audio        PID 513, type 3: 3 PES packets, 3591 bytes, PTS 200000 to 202591\n");
}

TEST_F(DemuxTest, ALongStreamIsTakenWhole) {
    Sample sample;
    sample.muxer.AddTables();
    for (std::size_t i = 0; i < 60; ++i) {
        sample.AddVideo(40'000 + i * 777);
        sample.AddAudio(3'000 + i);
    }
    ExpectTaken(sample.muxer.Bytes(), sample.video, sample.audio);
}

TEST_F(DemuxTest, BytesAheadOfTheFirstPacketAreSkipped) {
    const Sample sample = Sample::Good();
    for (const std::size_t bytes : {1u, 187u, 188u, 1000u}) {
        // One of them looks like the begin of a packet, but has none behind it.
        const Outcome outcome =
            ExpectTaken(std::string(bytes, 'x').replace(bytes / 2, 1, "\x47") + sample.muxer.Bytes(),
                        sample.video, sample.audio);
        EXPECT_THAT(outcome.out, HasSubstr("  skipped      " + std::to_string(bytes) +
                                           " bytes ahead of the first packet\n"));
    }
}

TEST_F(DemuxTest, APacketSentTwiceCountsOnce) {
    Sample sample = Sample::Good();
    std::vector<std::string>& packets = sample.muxer.packets;
    for (const unsigned pid : {kAssociationPid, kMapPid, kVideoPid, kAudioPid}) {
        const std::size_t at = sample.muxer.Find(pid, 0);
        packets.insert(packets.begin() + static_cast<std::ptrdiff_t>(at), packets[at]);
    }
    const Outcome outcome = ExpectTaken(sample.muxer.Bytes(), sample.video, sample.audio);
    EXPECT_THAT(outcome.out, HasSubstr("  sections     2,"));
}

TEST_F(DemuxTest, APacketSentTwiceMayDifferInItsClock) {
    Sample sample = Sample::Good();
    const std::string pes = VideoPes(1, std::string(150, 'p'));
    sample.muxer.AddPart(kVideoPid, true, pes, Clock(1000));
    sample.muxer.packets.push_back(sample.muxer.packets.back());
    sample.muxer.packets.back().replace(6, 6, Clock(0x12345678).substr(1));
    ExpectTaken(sample.muxer.Bytes(), sample.video + std::string(150, 'p'), sample.audio);
}

TEST_F(DemuxTest, ASectionMayEndWhereAnotherBegins) {
    Sample sample;
    const std::string map = Map(200);
    sample.muxer.AddSection(kAssociationPid, Association());
    sample.muxer.AddPart(kMapPid, true, std::string(1, '\0') + map.substr(0, kRoom - 1));
    const std::string rest = map.substr(kRoom - 1);
    sample.muxer.AddPart(kMapPid, true, static_cast<char>(rest.size()) + rest + Map());
    sample.AddVideo(600);
    sample.AddAudio(600);
    const Outcome outcome = ExpectTaken(sample.muxer.Bytes(), sample.video, sample.audio);
    EXPECT_THAT(outcome.out, HasSubstr("  sections     3,"));
}

TEST_F(DemuxTest, AnAnnouncedJumpBetweenPesPacketsCostsNothing) {
    Sample sample = Sample::Good();
    sample.muxer.Skip(kVideoPid, 5);
    sample.muxer.AddPart(kVideoPid, true, VideoPes(1, "vvvv"), kJump);
    sample.muxer.Skip(kAudioPid, 7);
    sample.muxer.AddPart(kAudioPid, true, AudioPes(1, "aaaa"), kJump);
    const Outcome outcome = ExpectTaken(sample.muxer.Bytes(), sample.video + "vvvv", sample.audio + "aaaa");
    EXPECT_THAT(outcome.out, Not(HasSubstr("dropped")));
}

TEST_F(DemuxTest, AJumpAnnouncedInAPacketWithoutPayloadIsOne) {
    Sample sample = Sample::Good();
    for (const unsigned missing : {6u, 15u}) { // of 15 the counter is the last one again
        sample.muxer.AddEmpty(kVideoPid, kJump);
        sample.muxer.Skip(kVideoPid, missing);
        sample.AddVideo(500);
    }
    const Outcome outcome = ExpectTaken(sample.muxer.Bytes(), sample.video, sample.audio);
    EXPECT_THAT(outcome.out, Not(HasSubstr("dropped")));
}

TEST_F(DemuxTest, BehindAnAnnouncementTheSameBytesAreNoRepetition) {
    Sample sample = Sample::Good();
    sample.muxer.AddPes(kVideoPid, VideoPes(1, "vvvv"));
    sample.muxer.AddEmpty(kVideoPid, kJump);
    sample.muxer.Skip(kVideoPid, 15);
    sample.muxer.AddPes(kVideoPid, VideoPes(1, "vvvv"));
    ExpectTaken(sample.muxer.Bytes(), sample.video + "vvvvvvvv", sample.audio);
}

TEST_F(DemuxTest, AnAnnouncementIsNoJumpWhereTheCounterGoesOn) {
    Sample sample = Sample::Good();
    const std::string payload(300, 'p');
    const std::string pes = VideoPes(1, payload);
    sample.muxer.AddPart(kVideoPid, true, pes.substr(0, kRoom));
    sample.muxer.AddPart(kVideoPid, false, pes.substr(kRoom), kJump);
    const Outcome outcome = ExpectTaken(sample.muxer.Bytes(), sample.video + payload, sample.audio);
    EXPECT_THAT(outcome.out, Not(HasSubstr("dropped")));
}

TEST_F(DemuxTest, APesPacketThatAJumpBreaksOffIsDropped) {
    for (const unsigned pid : {kVideoPid, kAudioPid}) {
        Sample sample = Sample::Good();
        const std::string payload(500, 'p');
        const std::string pes = pid == kVideoPid ? VideoPes(1, payload) : AudioPes(1, payload);
        sample.muxer.AddPart(pid, true, pes.substr(0, kRoom));
        sample.muxer.Skip(pid, 1);
        sample.muxer.AddPart(pid, false, pes.substr(2 * kRoom), kJump);
        sample.AddVideo(300);
        sample.AddAudio(300);
        const Outcome outcome = ExpectTaken(sample.muxer.Bytes(), sample.video, sample.audio);
        EXPECT_THAT(outcome.out, HasSubstr(kDroppedOne));
    }
}

TEST_F(DemuxTest, ASizedPesPacketThatIsNotWholeBeforeAJumpIsDropped) {
    Sample sample = Sample::Good();
    sample.muxer.AddPart(kAudioPid, true, AudioPes(1, std::string(500, 'p')).substr(0, kRoom));
    sample.muxer.Skip(kAudioPid, 2);
    sample.muxer.AddPart(kAudioPid, true, AudioPes(1, "aaaa"), kJump);
    const Outcome outcome = ExpectTaken(sample.muxer.Bytes(), sample.video, sample.audio + "aaaa");
    EXPECT_THAT(outcome.out, HasSubstr(kDroppedOne));
}

TEST_F(DemuxTest, ASectionThatAJumpBreaksOffIsDropped) {
    Sample sample = Sample::Good();
    const std::string map = Map(400);
    sample.muxer.AddPart(kMapPid, true, std::string(1, '\0') + map.substr(0, kRoom - 1));
    sample.muxer.Skip(kMapPid, 1);
    sample.muxer.AddPart(kMapPid, false, std::string(100, 'x'), kJump);
    sample.muxer.AddSection(kMapPid, Map());
    const Outcome outcome = ExpectTaken(sample.muxer.Bytes(), sample.video, sample.audio);
    EXPECT_THAT(outcome.out, HasSubstr(kDroppedOne));
    EXPECT_THAT(outcome.out, HasSubstr("  sections     3,"));
}
