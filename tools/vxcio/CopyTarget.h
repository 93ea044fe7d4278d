// CopyTarget.h - the file that a copy makes, through a sink of the library.
//
// Until it is whole it has a name of its own beside the target, or, where a file is written on, its old size
// is known. A sink tells a write that failed a lap of its ring later, and of the last lap nothing; so here a
// write counts as failed when the sink says so, when the library's log does, or when the size on the disk is
// not what was written.
#pragma once

#include "CopyPlan.h"
#include "LogView.h"
#include "Options.h"
#include "TargetFile.h"

#include "module/VXCSoftCodecIO.h"

#include <memory>
#include <string>

namespace vxcio::tool {

// What an unfinished copy has left.
struct Leftover {
    std::string words; // a sentence without its end
    std::string name;  // empty: nothing stands there
    uint64 bytes = 0;
};

// One thread.
class CopyTarget {
public:
    // Null with a reason, and nothing left behind.
    static std::unique_ptr<CopyTarget> Open(const CopyJob& job, const Options& options, LogView& log,
                                            std::string& reason);
    // Of one that was neither published nor abandoned tells what it left.
    ~CopyTarget();
    CopyTarget(const CopyTarget&) = delete;
    CopyTarget& operator=(const CopyTarget&) = delete;

    // Bytes that were there before the first write, more than 0 only where a file is written on.
    uint64 Start() const { return m_qwStart; }
    // The name under which it stands now.
    const std::string& Name() const { return m_pFile->Name(); }
    const TargetFile::Pointer& File() const { return m_pFile; }

    // False after a failure that the sink knows of.
    bool Write(const uint8* data, uint32 bytes);
    // Brings all out and closes. Empty, or why the copy is not whole.
    std::string Finish();
    // What the library says of the last failure of a write; empty without one.
    std::string WriteFailure() const;
    // The library's digest of all that was written, for one that began as an empty file; digits.
    std::string Digest();

    // Gives it its name. Empty, or why not.
    std::string Publish();
    // Ends an unfinished one.
    Leftover Abandon();

private:
    CopyTarget(const CopyJob& job, const Options& options, LogView& log, TargetFile::Pointer file,
               uint64 start);

    std::string OpenSink(const Options& options);
    std::string CheckFile() const;
    std::string ShownName() const;
    template <class Result, class Function>
    std::optional<Result> Ask(Function function) const;

    const std::string m_strTarget; // for messages
    const std::string m_strPlace;
    const bool m_bInPlace;
    const bool m_bDiscard;
    const std::chrono::milliseconds m_Limit;
    LogView& m_Log;
    const TargetFile::Pointer m_pFile;
    const uint64 m_qwStart;
    std::unique_ptr<CQLSoftDataSinkEx1> m_pSink;
    bool m_bOpen = false;  // the sink is
    bool m_bEnded = false; // published or abandoned
    uint64 m_qwWritten = 0;
};

// Why a write failed, of the library's words.
std::string WriteReason(const std::string& failure);

} // namespace vxcio::tool
