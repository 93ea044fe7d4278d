#include "Console.h"
#include "DigestList.h"
#include "DigestSource.h"
#include "ExitCodes.h"
#include "Json.h"
#include "Names.h"
#include "Progress.h"
#include "Reader.h"
#include "Stream.h"
#include "Terminal.h"
#include "Text.h"
#include "Verbs.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace vxcio::tool {

namespace {

enum class DigestEnd { Made, Failed, Interrupted };

// Everything of one run: the options, and where the bar goes.
struct Run {
    const Options& options;
    LogView& log;
    Progress& progress;
};

// The digest of a stream, made by the library from the bytes as they pass. Failed has been said.
DigestEnd MakeDigest(Run& run, const Input& input, std::string& digits, uint64& bytes, std::string& reason) {
    const std::unique_ptr<Stream> stream = Stream::Open(input, run.options, run.log, reason);
    if (!stream) {
        reason = "cannot open it: " + reason;
        return DigestEnd::Failed;
    }
    // The library's digest rides on the reads of a single file. Of anything else it knows none, or makes one
    // from the first copy alone, so the stream is put under a source as its file.
    std::unique_ptr<Reading> whole;
    CSoftDataSource* source = stream->Single();
    if (source == nullptr) {
        whole = OpenDigestSource(*stream);
        source = whole ? whole->Source() : nullptr;
    }
    if (source == nullptr) {
        reason = "memory lacks";
        return DigestEnd::Failed;
    }
    source->EnableMD5_Check(1);
    source->BeginMD5_Check(1);
    const auto ignore = [](const uint8*, uint32) {};
    Readable& readable = whole ? static_cast<Readable&>(*whole) : *stream;
    const ReadJob job{0, std::nullopt, run.options.block};
    const ReadEnd end =
        ReadThrough(readable, job, run.log, run.progress, input.written, ignore, bytes, reason);
    if (end != ReadEnd::Whole) {
        return end == ReadEnd::Interrupted ? DigestEnd::Interrupted : DigestEnd::Failed;
    }
    digits = TakeDigest(*source);
    // The library reads on by itself where the file grew meanwhile; only its log would tell a failure.
    // Of several files it tells what another copy has made good long ago.
    const std::string failure = whole ? std::string() : run.log.LastFailure();
    if (digits.empty() || !failure.empty()) {
        reason = failure.empty() ? "the library gave no digest" : Shown(failure);
        return DigestEnd::Failed;
    }
    return DigestEnd::Made;
}

int PrintDigests(Run& run) {
    int code = kExitOk;
    Json all = Json::array();
    std::string reason;
    const std::optional<std::vector<Input>> inputs = ReadNames(run.options.names, run.options.join, reason);
    if (!inputs) {
        Complain("md5: " + reason);
        return kExitFailed;
    }
    for (const Input& input : *inputs) {
        const std::string& name = input.written;
        std::string digits;
        uint64 bytes = 0;
        switch (InterruptWanted() ? DigestEnd::Interrupted : MakeDigest(run, input, digits, bytes, reason)) {
        case DigestEnd::Interrupted:
            return kExitInterrupted;
        case DigestEnd::Failed:
            Complain("md5: '" + Shown(name) + "': " + reason);
            all.push_back({{"name", name}, {"error", reason}});
            code = kExitFailed;
            break;
        case DigestEnd::Made:
            all.push_back({{"name", name}, {"size", bytes}, {"md5", digits}});
            run.progress.End();
            if (!run.options.json) {
                Print(FormatDigestLine(digits, name) + "\n");
            }
            break;
        }
    }
    run.progress.End();
    if (run.options.json) {
        PrintJson(all);
    }
    return code;
}

struct CheckCounts {
    uint64 formatted = 0;
    uint64 unformatted = 0;
    uint64 unreadable = 0;
    uint64 mismatched = 0;
};

// One line of a list. Interrupted, or not.
DigestEnd CheckLine(Run& run, const DigestLine& line, CheckCounts& counts, Json& all) {
    std::string digits;
    std::string reason;
    uint64 bytes = 0;
    const Input input = PlainInput(line.name);
    // Of an FTP name what may be shown.
    const bool isPlain = input.written == line.name;
    const DigestEnd end = MakeDigest(run, input, digits, bytes, reason);
    run.progress.End();
    if (end == DigestEnd::Interrupted) {
        return end;
    }
    const char* verdict = "OK";
    if (end == DigestEnd::Failed) {
        Complain("md5: '" + Shown(input.written) + "': " + reason);
        verdict = "FAILED open or read";
        ++counts.unreadable;
    } else if (digits != line.digest) {
        verdict = "FAILED";
        ++counts.mismatched;
    }
    if (run.options.json) {
        all.push_back({{"name", input.written}, {"result", verdict}, {"expected", line.digest}});
        if (end == DigestEnd::Made) {
            all.back()["md5"] = digits;
        }
    } else {
        Print((isPlain ? line.printed : input.written) + ": " + verdict + "\n");
    }
    return end;
}

void Warn(uint64 count, const char* one, const char* many) {
    if (count > 0) {
        Complain("WARNING: " + std::to_string(count) + (count == 1 ? one : many));
    }
}

int Verdict(const CheckCounts& counts, const std::string& list) {
    if (counts.formatted == 0) {
        Complain(Shown(list) + ": no properly formatted MD5 checksum lines found");
        return kExitFailed;
    }
    Warn(counts.unformatted, " line is improperly formatted", " lines are improperly formatted");
    Warn(counts.unreadable, " listed file could not be read", " listed files could not be read");
    Warn(counts.mismatched, " computed checksum did NOT match", " computed checksums did NOT match");
    if (counts.mismatched > 0) {
        return kExitMismatch;
    }
    return counts.unreadable > 0 ? kExitFailed : kExitOk;
}

int CheckList(Run& run, const std::string& list, Json& all) {
    std::ifstream file;
    std::error_code ignored;
    const bool isStandard = list == "-";
    if (!isStandard) {
        errno = 0;
        file.open(list, std::ios::binary);
        const bool isFolder = std::filesystem::is_directory(list, ignored);
        if (!file || isFolder) {
            Complain("md5: cannot open the list '" + Shown(list) +
                     "': " + (isFolder ? "it is a folder" : std::strerror(errno)));
            return kExitFailed;
        }
    }
    std::istream& in = isStandard ? std::cin : file;
    CheckCounts counts;
    for (std::string line; NextLine(in, line);) {
        if (InterruptWanted()) {
            return kExitInterrupted;
        }
        if (line.starts_with('#')) {
            continue;
        }
        const std::optional<DigestLine> entry = ParseDigestLine(line);
        if (!entry) {
            ++counts.unformatted;
            continue;
        }
        ++counts.formatted;
        if (CheckLine(run, *entry, counts, all) == DigestEnd::Interrupted) {
            return kExitInterrupted;
        }
    }
    return Verdict(counts, list);
}

int CheckLists(Run& run) {
    int code = kExitOk;
    Json all = Json::array();
    for (const std::string& list : run.options.names) {
        const int one = CheckList(run, list, all);
        if (one == kExitInterrupted) {
            return one;
        }
        // A difference is worse news than a file that could not be read.
        code = std::max(code, one);
    }
    if (run.options.json) {
        PrintJson(all);
    }
    return code;
}

} // namespace

int RunMd5(const Options& options, LogView& log) {
    Progress progress;
    Run run{options, log, progress};
    return options.check ? CheckLists(run) : PrintDigests(run);
}

} // namespace vxcio::tool
