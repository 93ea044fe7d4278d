// FileTarget.h - the file on this system that a copy makes, through a sink of the library.
//
// Until it is whole it has a name of its own beside the target, or, where a file is written on, its old size
// is known. A sink tells a write that failed a lap of its ring later, and of the last lap nothing; so here a
// write counts as failed when the sink says so, when the library's log does, or when the size on the disk is
// not what was written.
#pragma once

#include "CopyTarget.h"
#include "LogView.h"
#include "Options.h"
#include "TargetFile.h"

#include "module/VXCSoftCodecIO.h"

#include <memory>
#include <string>

namespace vxcio::tool {

// One thread.
class FileTarget final : public CopyTarget {
public:
    // Null with a reason, and nothing left behind.
    static std::unique_ptr<FileTarget> Open(const CopyJob& job, const Options& options, LogView& log,
                                            std::string& reason);
    // Of one that was neither published nor abandoned tells what it left.
    ~FileTarget() override;
    FileTarget(const FileTarget&) = delete;
    FileTarget& operator=(const FileTarget&) = delete;

    uint64 Start() const override { return m_qwStart; }
    const std::string& Name() const override { return m_pFile->Name(); }
    TargetFile::Pointer File() const override { return m_pFile; }
    Input ReadBack() const override { return PlainInput(Name()); }
    bool Write(const uint8* data, uint32 bytes) override;
    std::string Finish() override;
    std::string WriteFailure() const override;
    // Of one that began as an empty file.
    std::string Digest() override;
    std::string Publish() override;
    Leftover Abandon() override;

private:
    FileTarget(const CopyJob& job, const Options& options, LogView& log, TargetFile::Pointer file,
               uint64 start);

    std::string OpenSink(const Options& options);
    std::string CheckFile() const;
    std::string ShownName() const;
    template <class Result, class Function>
    std::optional<Result> Ask(Function function) const;

    const std::string m_strTarget; // for messages
    const std::string m_strPlace;
    const char* const m_pszVerb;
    const bool m_bInPlace;
    const bool m_bGoesOn; // with a part
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
