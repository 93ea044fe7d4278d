#include "CopyTarget.h"

#include "FileTarget.h"
#include "FtpTarget.h"

namespace vxcio::tool {

std::unique_ptr<CopyTarget> CopyTarget::Open(const CopyJob& job, const Options& options, LogView& log,
                                             std::string& reason) {
    if (job.ftp) {
        return FtpTarget::Open(job, options, log, reason);
    }
    return FileTarget::Open(job, options, log, reason);
}

} // namespace vxcio::tool
