#include "Console.h"
#include "ExitCodes.h"
#include "Names.h"
#include "Progress.h"
#include "Reader.h"
#include "Stream.h"
#include "Verbs.h"

namespace vxcio::tool {

int RunCat(const Options& options, LogView& log) {
    std::string reason;
    const std::optional<std::vector<Input>> inputs = ReadNames(options.names, options.join, reason);
    if (!inputs) {
        Complain("cat: " + reason);
        return kExitFailed;
    }
    const Input& input = inputs->front();
    const std::string& name = input.written;
    const std::unique_ptr<Stream> stream = Stream::Open(input, options, log, reason);
    if (!stream) {
        Complain("cat: cannot open '" + Shown(name) + "': " + reason);
        return kExitFailed;
    }
    Progress progress;
    uint64 done = 0;
    const ReadJob job{options.offset, options.length, options.block};
    const ReadEnd end = ReadThrough(
        *stream, job, log, progress, name, [](const uint8* data, uint32 bytes) { PrintBytes(data, bytes); },
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
