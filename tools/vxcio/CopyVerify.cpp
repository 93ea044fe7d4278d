#include "CopyVerify.h"

#include "Console.h"
#include "DigestSource.h"
#include "Guarded.h"
#include "Reader.h"
#include "Stream.h"
#include "Terminal.h"
#include "Text.h"

#include "frame/PlatformTypes.h"
#include "sysu/HostControl.h"

#include <algorithm>
#include <string_view>

namespace vxcio::tool {

namespace {

constexpr uint64 kSyncRange = 8u << 20;

// The bytes of a stream from a position on.
class Rest final : public Readable {
public:
    Rest(Readable& whole, uint64 start) : m_Whole(whole), m_qwStart(start) {}
    uint64 Size() override {
        const uint64 size = m_Whole.Size();
        return size - std::min(size, m_qwStart);
    }
    void Seek(uint64 position) override { m_Whole.Seek(m_qwStart + position); }
    int Read(uint8* buffer, uint32 bytes) override { return m_Whole.Read(buffer, bytes); }
    std::string Failure() override { return m_Whole.Failure(); }

private:
    Readable& m_Whole;
    const uint64 m_qwStart;
};

std::string WhereFrom(const TargetFile& file) {
    DiskFacts facts{};
    if (QueryDisk(Widen(file.Name()).c_str(), &facts) == 0) {
        return "unknown";
    }
    const std::string_view kind = facts.fileSystem;
    if (facts.driveType == VXC_DRIVE_RAMDISK) {
        return "memory";
    }
    if (facts.driveType == VXC_DRIVE_REMOTE) {
        return "server";
    }
    if (kind.empty() || kind.starts_with("?") || kind.starts_with("fuse")) {
        return "unknown";
    }
    return file.IsReadFromDisk() ? "disk" : "cache";
}

const char* WordsOf(std::string_view from) {
    return from == "server"   ? "from its server, which may have answered from its memory"
           : from == "memory" ? "from memory: its file system has no disk"
           : from == "cache"  ? "from the system's cache, which does not let go of it"
                              : "from a file system that does not tell whether it asked a disk";
}

} // namespace

Checked SyncTarget(const CopyJob& job, const CopyTarget& target, uint64 bytes, const Options& options,
                   CopyReport& report, std::string& reason) {
    const std::chrono::milliseconds limit = TargetLimit(options);
    const auto ask = [&](std::function<std::string()> question) {
        const std::optional<std::string> answer = Within<std::string>(limit, std::move(question));
        reason =
            answer ? *answer : "the disk does not answer within " + std::to_string(limit.count()) + " ms";
        return reason.empty();
    };
    report.Begin(job, "sync", bytes);
    for (uint64 done = 0; done < bytes; done += kSyncRange) {
        if (InterruptWanted()) {
            return Checked::Interrupted;
        }
        const uint64 from = target.Start() + done;
        const uint64 range = std::min(kSyncRange, bytes - done);
        if (!ask([file = target.File(), from, range] { return file->SyncRange(from, range); })) {
            return Checked::Failed;
        }
        report.Reach(done + range);
    }
    return ask([file = target.File()] { return file->Sync(); }) ? Checked::Good : Checked::Failed;
}

Checked VerifyTarget(const CopyJob& job, const CopyTarget& target, uint64 bytes, const std::string& digest,
                     const Options& options, LogView& log, CopyReport& report, std::string& from,
                     std::string& reason) {
    from = "server";
    if (target.File()) {
        from = Within<std::string>(TargetLimit(options), [file = target.File()] {
                   file->DropFromMemory();
                   return WhereFrom(*file);
               }).value_or("unknown");
    }
    Options reading = options;
    reading.unbuffered = true;
    report.Begin(job, "verify", bytes);
    const std::unique_ptr<Stream> stream = Stream::Open(target.ReadBack(), reading, log, reason);
    if (!stream) {
        reason = "it cannot be read back: " + reason;
        return Checked::Failed;
    }
    Rest rest(*stream, target.Start());
    rest.Seek(0);
    const std::unique_ptr<Reading> whole = OpenDigestSource(rest);
    if (!whole) {
        reason = "memory lacks";
        return Checked::Failed;
    }
    whole->Source()->EnableMD5_Check(1);
    whole->Source()->BeginMD5_Check(1);
    uint64 done = 0;
    uint64 shown = 0;
    const ReadEnd end = ReadThrough(
        *whole, ReadJob{0, std::nullopt, options.block}, log, report.Bar(), "verify " + job.target,
        [&](const uint8*, uint32 got) { report.Reach(shown += got); }, done, reason);
    if (end == ReadEnd::Interrupted) {
        return Checked::Interrupted;
    }
    if (end == ReadEnd::Short) {
        reason = "it cannot be read back: " + reason;
        return Checked::Failed;
    }
    if (done != bytes || TakeDigest(*whole->Source()) != digest) {
        reason = "what stands there is not what was written";
        return Checked::Differs;
    }
    if (target.File() && from != "disk") {
        report.End();
        Complain(std::string(job.verb) + ": warning: " + InQuotes(job.target) + " was read back " +
                 WordsOf(from));
    }
    return Checked::Good;
}

} // namespace vxcio::tool
