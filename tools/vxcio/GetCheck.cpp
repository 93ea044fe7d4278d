#include "GetCheck.h"

#include "ComparePart.h"
#include "Console.h"
#include "CopyVerify.h"
#include "DigestSource.h"
#include "FtpListing.h"
#include "FtpReading.h"
#include "FtpTarget.h"
#include "Guarded.h"
#include "Reader.h"
#include "Sizes.h"
#include "Stream.h"

#include <memory>
#include <optional>
#include <utility>

namespace vxcio::tool {

namespace {

// A file that is there, to be read back.
class CameDown final : public CopyTarget {
public:
    explicit CameDown(TargetFile::Pointer file) : m_pFile(std::move(file)) {}

    uint64 Start() const override { return 0; }
    const std::string& Name() const override { return m_pFile->Name(); }
    TargetFile::Pointer File() const override { return m_pFile; }
    Input ReadBack() const override { return PlainInput(Name()); }
    bool Write(const uint8*, uint32) override { return false; }
    std::string Finish() override { return {}; }
    std::string WriteFailure() const override { return {}; }
    std::string Digest() override { return {}; }
    std::string Publish() override { return {}; }
    Leftover Abandon() override { return {}; }

private:
    const TargetFile::Pointer m_pFile;
};

std::string WhyShort(const LibraryCopyEnd& end, LogView& log) {
    const std::string failure = log.LastFailure();
    const bool isBroken = end.reply.starts_with('4') || end.reply.starts_with('5');
    return isBroken               ? "the server says '" + Shown(end.reply) + "'"
           : !failure.empty()     ? Shown(failure)
           : !end.isAllSent       ? "the connection broke off"
           : end.done < end.total ? "the file ended early"
                                  : "the file goes on behind its end";
}

Arrived DigestSource(const CopyJob& job, const Options& options, LogView& log, CopyReport& report,
                     uint64 bytes, std::string& digest, std::string& reason) {
    const std::unique_ptr<Stream> stream = Stream::Open(job.input, options, log, reason);
    if (!stream) {
        return Arrived::SourceFailed;
    }
    const std::unique_ptr<Reading> whole = OpenDigestSource(*stream);
    if (!whole) {
        reason = "memory lacks";
        return Arrived::SourceFailed;
    }
    whole->Source()->EnableMD5_Check(1);
    whole->Source()->BeginMD5_Check(1);
    report.Begin(job, "digest", bytes);
    uint64 done = 0;
    uint64 shown = 0;
    const ReadEnd end = ReadThrough(
        *whole, ReadJob{0, std::nullopt, options.block}, log, report.Bar(), "digest " + job.target,
        [&](const uint8*, uint32 got) { report.Reach(shown += got); }, done, reason);
    if (end != ReadEnd::Whole) {
        return end == ReadEnd::Interrupted ? Arrived::Interrupted : Arrived::SourceFailed;
    }
    digest = TakeDigest(*whole->Source());
    return Arrived::Whole;
}

Arrived Verify(const CopyJob& job, const TargetFile::Pointer& file, const Options& options, LogView& log,
               CopyReport& report, CopyFacts& facts, std::string& reason) {
    const Arrived source = DigestSource(job, options, log, report, facts.bytes, facts.digest, reason);
    if (source != Arrived::Whole) {
        return source;
    }
    const CameDown target(file);
    Checked checked = SyncTarget(job, target, facts.bytes, options, report, reason);
    if (checked == Checked::Good) {
        checked = VerifyTarget(job, target, facts.bytes, facts.digest, options, log, report,
                               facts.verifiedFrom, reason);
    }
    switch (checked) {
    case Checked::Good:
        return Arrived::Whole;
    case Checked::Differs:
        return Arrived::Differs;
    case Checked::Interrupted:
        return Arrived::Interrupted;
    case Checked::Failed:
        break;
    }
    return Arrived::TargetFailed;
}

} // namespace

std::string TroubleWith(const LibraryCopyEnd& end, const FtpName& source, const Options& options,
                        LogView& log) {
    if (end.total > 0) {
        return end.done == end.total ? std::string()
                                     : WithCommas(end.done) + " of " + WithCommas(end.total) +
                                           " bytes came: " + WhyShort(end, log);
    }
    if (end.done == 0) {
        return IsProvenEmpty(source, options, log) ? std::string()
                                                   : "nothing came, and the server has more to tell of it";
    }
    if (!end.isAllSent) {
        return "only " + WithCommas(end.done) + " bytes came: " + WhyShort(end, log);
    }
    // Where the server tells no size, its listing may.
    std::string trouble = SizeTrouble(end.done, 0, [&]() -> std::optional<uint32> {
        std::string ignored;
        const std::optional<FtpEntry> entry = ListedEntry(source, options, log, ignored);
        return entry ? std::optional<uint32>(entry->sizeLow) : std::nullopt;
    });
    return trouble.empty() ? trouble : "whether all of it came cannot be known: " + trouble;
}

Arrived CheckDownload(const CopyJob& job, const TargetFile::Pointer& file, uint64 size,
                      const Options& options, LogView& log, CopyReport& report, CopyFacts& facts,
                      std::string& reason) {
    const auto standing = Within<TargetFile::Standing>(TargetLimit(options), [file] { return file->Look(); });
    if (!standing || !standing->isKnown || !standing->isThere) {
        reason = "the disk does not tell what became of it";
        return Arrived::TargetFailed;
    }
    if (standing->bytes != facts.bytes) {
        reason =
            "the disk holds " + WithCommas(standing->bytes) + " bytes instead of " + WithCommas(facts.bytes);
        return Arrived::TargetFailed;
    }
    const std::optional<uint64> told = FtpSizeOf(*job.input.entries.front().ftp, options, log, reason);
    if (!told) {
        reason = "its size cannot be asked for once more: " + reason;
        return Arrived::SourceFailed;
    }
    if (*told != size || (size > 0 && size != facts.bytes)) {
        reason = WithCommas(facts.bytes) + " bytes came, and the server tells " + WithCommas(*told) + " now";
        return Arrived::SourceFailed;
    }
    return options.verify ? Verify(job, file, options, log, report, facts, reason) : Arrived::Whole;
}

} // namespace vxcio::tool
