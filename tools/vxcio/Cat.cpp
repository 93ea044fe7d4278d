#include "Console.h"
#include "ExitCodes.h"
#include "Progress.h"
#include "Reader.h"
#include "Verbs.h"

namespace vxcio::tool {

int RunCat(const Options& options, LogView& log) {
    const std::string& name = options.names.front();
    std::string reason;
    const SourcePointer source = OpenForReading(name, options.unbuffered, log, reason);
    if (!source) {
        Complain("cat: cannot open '" + Shown(name) + "': " + reason);
        return kExitFailed;
    }
    Progress progress;
    uint64 done = 0;
    const ReadJob job{options.offset, options.length, options.block};
    const ReadEnd end = ReadThrough(
        *source, job, log, progress, name, [](const uint8* data, uint32 bytes) { PrintBytes(data, bytes); },
        done, reason);
    progress.End();
    switch (end) {
    case ReadEnd::Whole:
        return kExitOk;
    case ReadEnd::Interrupted:
        return kExitInterrupted;
    case ReadEnd::Short:
        break;
    }
    Complain("cat: '" + Shown(name) + "': " + reason);
    return kExitFailed;
}

} // namespace vxcio::tool
