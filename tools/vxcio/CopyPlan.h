// CopyPlan.h - which file a copy reads and which it makes, settled before anything is touched.
#pragma once

#include "LogView.h"
#include "Names.h"
#include "Options.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace vxcio::tool {

struct CopyJob {
    Input input;
    std::string target;  // as it was given, or in the folder that was given
    std::string place;   // the file that is to be there in the end, behind all links; never a bare name
    bool exists = false; // there is a file already
    // A file on a server, of which `place` is the path; null for one of this system.
    std::shared_ptr<const FtpName> ftp = {};
    std::string part = {};     // of such a one: the path that it has until it is whole
    const char* verb = "copy"; // whose complaints are made
    // What stands at `part`, here or on a server, is the start of what is read: it is written on.
    bool goesOn = false;
    uint64 goOnAt = 0; // its bytes
};

struct CopyPlan {
    std::vector<CopyJob> jobs;
    int exitCode = 0;   // not 0: nothing is to be done, and
    std::string reason; // that is why
};

// The names of the command line, the last of which is the target.
CopyPlan MakeCopyPlan(const Options& options, LogView& log);

// The jobs of a target on a server: `inputs` each under the name of the last one, or in the folder of that
// name. False with the exit code and the reason in `plan`.
bool PlanFtpTargets(const std::vector<Input>& inputs, const Options& options, LogView& log, CopyPlan& plan);

// The last part of the name of what is read.
std::string OwnNameOf(const Input& input);

// How long one question about a target may take.
std::chrono::milliseconds TargetLimit(const Options& options);

// "D:\clips\a.mxf" in the folder that the settings give to that letter; any other name as it is. Nothing with
// a reason where it names a drive without a folder, or a share.
bool ToPlace(const std::string& target, std::string& place, std::string& reason);

} // namespace vxcio::tool
