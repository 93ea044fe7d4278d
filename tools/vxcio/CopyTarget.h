// CopyTarget.h - what a copy makes: a file on this system or on a server, whole or not at all.
#pragma once

#include "CopyPlan.h"
#include "LogView.h"
#include "Names.h"
#include "Options.h"
#include "TargetFile.h"

#include <memory>
#include <string>

namespace vxcio::tool {

// What an unfinished copy has left.
struct Leftover {
    std::string words; // a sentence without its end
    std::string name;  // empty: nothing stands there
    uint64 bytes = 0;
};

// One thread. The destructor of one that was neither published nor abandoned tells what it left.
class CopyTarget {
public:
    // Null with a reason, and nothing left behind.
    static std::unique_ptr<CopyTarget> Open(const CopyJob& job, const Options& options, LogView& log,
                                            std::string& reason);
    virtual ~CopyTarget() = default;

    // Bytes that were there before the first write, more than 0 only where a file is written on.
    virtual uint64 Start() const = 0;
    // The name under which it stands now.
    virtual const std::string& Name() const = 0;
    // Null where it is no file of this system.
    virtual TargetFile::Pointer File() const = 0;
    // It as something to read, when it is finished.
    virtual Input ReadBack() const = 0;

    // False after a failure that is known by now.
    virtual bool Write(const uint8* data, uint32 bytes) = 0;
    // Brings all out and closes. Empty, or why the copy is not whole.
    virtual std::string Finish() = 0;
    // The last failure of a write in words; empty without one.
    virtual std::string WriteFailure() const = 0;
    // The library's digest of all that was written, as digits; empty where its sink makes none.
    virtual std::string Digest() = 0;

    // Gives it its name. Empty, or why not.
    virtual std::string Publish() = 0;
    // Ends an unfinished one.
    virtual Leftover Abandon() = 0;
};

// Whether the digest of a copy to it is to be made while it is read, as its sink makes none.
inline bool NeedsDigest(const CopyJob& job, const CopyTarget& target) {
    return job.ftp != nullptr || target.Start() > 0;
}

} // namespace vxcio::tool
