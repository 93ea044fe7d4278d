// Stream.h - what the tool reads: one file, two copies of one, or a list of files, as one stream of bytes.
#pragma once

#include "LogView.h"
#include "Names.h"
#include "Options.h"
#include "Reading.h"

#include <chrono>
#include <memory>
#include <string>

namespace vxcio::tool {

class CopyWatch;

// An open stream. One thread uses it.
//
// The library tells a failed read of one of several copies, or of a file within a list, by nothing but its
// count, and the next read may succeed. So where there is more than one file a read that may have failed is
// made again at the same place, until it succeeds or the patience ends.
class Stream final : public Readable {
public:
    ~Stream() override;
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    // Null when it could not be opened; then `reason` tells which file of it and why, as the end of a
    // sentence. A second copy that is missing costs a warning.
    static std::unique_ptr<Stream> Open(const Input& input, const Options& options, LogView& log,
                                        std::string& reason);

    uint64 Size() override;
    void Seek(uint64 position) override;
    int Read(uint8* buffer, uint32 bytes) override;
    std::string Failure() override { return m_pReading->Failure(); }
    bool IsPreRead();

    // The source itself where it is a single file of this system, so that the library's digest rides on its
    // reads; else null.
    CSoftDataSource* Single() const;

private:
    Stream(std::unique_ptr<Reading> reading, LogView& log, std::shared_ptr<CopyWatch> watch, bool joined);

    int ReadTimed(uint8* buffer, uint32 bytes);

    const std::unique_ptr<Reading> m_pReading;
    LogView& m_Log;
    const std::shared_ptr<CopyWatch> m_pWatch; // null for a single file
    const bool m_bJoined;
    uint64 m_qwPosition = 0;
    uint64 m_qwReads = 0;
    uint64 m_qwSlowestAt = 0;
    std::chrono::steady_clock::duration m_tSlowest{};
    const uint64 m_qwSize; // as it was at open
};

// How long to wait for answers about single files of a stream.
std::chrono::milliseconds AskLimit(const Options& options);

} // namespace vxcio::tool
