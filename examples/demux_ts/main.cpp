// demux_ts STREAM VIDEO AUDIO - takes an MPEG-2 transport stream apart with the tools for plug-ins.
//
//   CSoftStreamBuffer  between the thread that reads the file and the one that finds the packets
//   CBitsStream        reads the headers and tables, and checks the CRC of each table
//   CSoftEsBuffer      holds the frames, each with its PTS, until they are written
//
// The first MPEG video of the first program is written to VIDEO and its first MPEG audio to AUDIO. The exit
// code is 0 only when the CRC of every section was right, the continuity counters have no gap and the payload
// of each PES packet came out of the queue as it went in; otherwise it is 1, with the reason. Both are
// written as VIDEO.part and AUDIO.part, and get their names only when all is well: until then files of these
// names stay as they are. What a jump that the stream announces has broken off is dropped, and told.
#include "../common/ShownName.h"
#include "Demuxer.h"
#include "FrameQueue.h"
#include "Malformed.h"
#include "OutFile.h"
#include "PacketFeed.h"

#include <cstdio>
#include <exception>
#include <string>

namespace {

void TellStream(const char* title, const StreamEntry& entry, const FrameQueue::Told& told) {
    std::printf("  %-12s PID %u, type %u: %u PES packets, %llu bytes", title, entry.pid, entry.type,
                told.packets, told.bytes);
    if (told.firstPts && told.lastPts) {
        std::printf(", PTS %llu to %llu", *told.firstPts, *told.lastPts);
    }
    std::printf("\n");
}

void Run(const std::string& stream, const std::string& video, const std::string& audio) {
    PacketFeed feed(stream);
    CheckNames(stream, video, audio);
    FrameQueue frames(video, audio);
    Demuxer demuxer(frames);
    while (unsigned char* const bytes = feed.Next()) {
        try {
            demuxer.Add(ParsePacket(bytes));
        } catch (const Malformed& error) {
            throw Malformed(error.what() + (" (packet at byte " + std::to_string(feed.Position()) + ")"));
        }
    }
    demuxer.Finish();
    frames.Finish();
    std::printf("  %-12s %u, whose map is PID %u, in %u packets\n", "program", demuxer.Program().program,
                demuxer.Program().pid, demuxer.Packets());
    if (feed.Skipped() > 0) {
        std::printf("  %-12s %llu bytes ahead of the first packet\n", "skipped", feed.Skipped());
    }
    std::printf("  %-12s %u, each with the right CRC\n", "sections", demuxer.Sections());
    TellStream("video", demuxer.Entry(Demuxer::kVideo), frames.Of(Demuxer::kVideo));
    TellStream("audio", demuxer.Entry(Demuxer::kAudio), frames.Of(Demuxer::kAudio));
    if (demuxer.OtherStreams() > 0) {
        std::printf("  %-12s %u more streams\n", "not taken", demuxer.OtherStreams());
    }
    if (demuxer.Dropped() > 0) {
        std::printf("  %-12s %u that a jump has broken off\n", "dropped", demuxer.Dropped());
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: demux_ts STREAM VIDEO AUDIO\n");
        return 2;
    }
    try {
        Run(argv[1], argv[2], argv[3]);
        return 0;
    } catch (const Malformed& error) {
        std::fprintf(stderr, "demux_ts: %s is refused: %s\n", ShownName(argv[1]).c_str(), error.what());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "demux_ts: %s\n", error.what());
    }
    return 1;
}
