// FtpReading.h - a file on an FTP server, read through the source of the library.
#pragma once

#include "FtpSession.h"
#include "Reading.h"

#include <memory>
#include <string>

namespace vxcio::tool {

// One thread. A read waits at most as long as the setting "FtpTimeOut" tells, everything else as long as the
// limit of the session.
class FtpReading final : public Reading {
public:
    // Null with a reason. `isMissing`: the server has said that there is no such file.
    static std::unique_ptr<FtpReading> Open(const FtpName& name, const Options& options, LogView& log,
                                            std::string& reason, bool* isMissing = nullptr);
    ~FtpReading() override;
    FtpReading(const FtpReading&) = delete;
    FtpReading& operator=(const FtpReading&) = delete;

    // 0 as well where the server does not tell it.
    uint64 Size() override { return m_qwSize; }
    // Elsewhere than where the last read ended it costs a new transfer, on a new session where one was read.
    void Seek(uint64 position) override;
    int Read(uint8* buffer, uint32 bytes) override;
    std::string Failure() override { return m_strFailure; }
    bool IsPreRead() override { return m_bPreRead; }
    void Restart(uint64 position) override;

private:
    FtpReading(const FtpName& name, const Options& options, LogView& log)
        : m_Name(name), m_Options(options), m_Log(log) {}

    std::string Begin();
    void Close();
    void CheckEnd();
    CSoftDataSource& Reader() const { return static_cast<CSoftDataSource&>(*m_pSession->Io()); }

    const FtpName m_Name;
    const Options& m_Options;
    LogView& m_Log;
    std::unique_ptr<FtpSession> m_pSession; // null when nothing can be read
    uint64 m_qwSize = 0;
    uint64 m_qwPosition = 0;
    bool m_bTouched = false; // bytes were read since the transfer began
    bool m_bPreRead = false;
    bool m_bMissing = false;
    std::string m_strFailure;
};

// Ends a transfer of a source whose data has ended. Empty where the server says that it has sent all; else
// why that is not known, and the session is not to be used any more.
std::string EndTransfer(FtpSession& session);

// Breaks a transfer of a source off, where there is one, and ends its session within a moment.
void BreakTransfer(FtpSession& session);

// The exact size of a file on a server, as it tells it; 0 as well where it does not. Nothing with a reason
// where the file cannot be opened, `isMissing` where the server has said that there is none.
std::optional<uint64> FtpSizeOf(const FtpName& name, const Options& options, LogView& log,
                                std::string& reason, bool* isMissing = nullptr);

} // namespace vxcio::tool
