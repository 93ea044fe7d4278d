// StretchReading.h - a stretch of a clip on an XDCAM device, read through the source of the library.
#pragma once

#include "FtpSession.h"
#include "FtpStretch.h"
#include "MxfExtent.h"
#include "Reading.h"

#include <memory>
#include <string>

namespace vxcio::tool {

// One thread. Reads the file that the device sends, from its start to its end. Every wait, also that for
// data, is as long as the limit of the session at the most; for data the library waits a minute.
//
// The end of the data is the end of the file only where the device says so, and where its start does not tell
// of more.
class StretchReading final : public Reading {
public:
    // Null with a reason; else `stretch` knows its first frame.
    static std::unique_ptr<StretchReading> Open(const FtpName& clip, FtpStretch& stretch,
                                                const Options& options, LogView& log, std::string& reason);
    ~StretchReading() override;
    StretchReading(const StretchReading&) = delete;
    StretchReading& operator=(const StretchReading&) = delete;

    // Nobody knows it before the end.
    uint64 Size() override { return 0; }
    // There is no way but on.
    void Seek(uint64 position) override;
    int Read(uint8* buffer, uint32 bytes) override;
    std::string Failure() override { return m_strFailure; }
    bool IsPreRead() override { return false; }
    void Restart(uint64 position) override { Seek(position); }

private:
    explicit StretchReading(LogView& log) : m_Log(log) {}

    std::string Begin(const FtpName& clip, FtpStretch& stretch, const Options& options);
    int ReadPiece(uint8* buffer, uint32 bytes);
    void CheckEnd();

    LogView& m_Log;
    std::unique_ptr<FtpSession> m_pSession; // null when nothing can be read
    bool m_bInHead = true;
    uint64 m_qwPosition = 0;
    MxfStart m_first{};       // as far as it came
    std::string m_strOpening; // what its opening has complained of
    std::string m_strFailure;
};

} // namespace vxcio::tool
