// FtpTarget.h - the file on an FTP server that a copy makes, through the sink of the library.
//
// It is sent under a name that nobody has, and gets its own when the server tells the size that was sent. So
// a server that goes on with a file which is there, or that answers the library's question for its size by
// sending it, spoils none. Devices take a file under its own name alone: there it is sent under that.
// A part is written on where the job says so; there, too, the size decides.
#pragma once

#include "CopyTarget.h"
#include "FtpSession.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vxcio::tool {

// Why a file to which so many bytes were sent cannot count as whole, of which its server tells this size: 0
// also where it tells none. Empty where it can. `listedLow` asks for the low 32 bits of the size in a
// listing, if there are any; it is called only where they can decide.
std::string SizeTrouble(uint64 sent, uint64 told, const std::function<std::optional<uint32>()>& listedLow);

// One thread; blocks are sent by the thread of the session while the next one is read.
class FtpTarget final : public CopyTarget {
public:
    // Null with a reason.
    static std::unique_ptr<FtpTarget> Open(const CopyJob& job, const Options& options, LogView& log,
                                           std::string& reason);
    ~FtpTarget() override;
    FtpTarget(const FtpTarget&) = delete;
    FtpTarget& operator=(const FtpTarget&) = delete;

    uint64 Start() const override { return 0; }
    const std::string& Name() const override { return m_strName; }
    TargetFile::Pointer File() const override { return nullptr; }
    Input ReadBack() const override;
    bool Write(const uint8* data, uint32 bytes) override;
    std::string Finish() override;
    std::string WriteFailure() const override { return m_strFailure; }
    std::string Digest() override { return {}; }
    std::string Publish() override;
    Leftover Abandon() override;

private:
    // The block that is under way, which the sending thread may hold on to.
    struct Block {
        std::vector<uint8> data;
        int sent = 0;
    };

    FtpTarget(const CopyJob& job, const Options& options, LogView& log);
    std::string OpenSink();
    bool WaitForBlock();
    void CloseSink();
    std::string CheckSize();
    FtpName PartName() const { return m_Job.ftp->At(m_Job.part); }

    const CopyJob m_Job;
    const Options& m_Options;
    LogView& m_Log;
    const std::string m_strName;
    std::unique_ptr<FtpSession> m_pSession; // null when nothing can be sent
    std::shared_ptr<Block> m_pBlock = std::make_shared<Block>();
    std::string m_strFailure;
    uint64 m_qwWritten = 0; // and was there before
    bool m_bToOpen = false; // the sink is opened when there is something to write
    bool m_bEnded = false;  // published or abandoned
};

} // namespace vxcio::tool
