// HttpReading.h - a file behind a URL, read through the source of the library.
#pragma once

#include "HttpName.h"
#include "LogView.h"
#include "Options.h"
#include "Reading.h"
#include "TimedThread.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vxcio::tool {

// One thread. Each call of the library runs on a thread of its own and has a limit, so that a server that
// stands still, or a name server, keeps nobody from ending. The library's source tells of a failure but that
// it failed; why stands in the log of the companion module, and whether there is one as well.
class HttpReading final : public Reading {
public:
    // Null with a reason.
    static std::unique_ptr<HttpReading> Open(const HttpName& name, const Options& options, LogView& log,
                                             std::string& reason);
    ~HttpReading() override;
    HttpReading(const HttpReading&) = delete;
    HttpReading& operator=(const HttpReading&) = delete;

    uint64 Size() override { return m_qwSize; }
    void Seek(uint64 position) override { m_qwPosition = position; }
    int Read(uint8* buffer, uint32 bytes) override;
    // Set by the read that gave less than there should be; what it gave is good, and all later ones give 0.
    std::string Failure() override { return m_strFailure; }
    bool IsPreRead() override { return false; } // the source knows none
    void Restart(uint64 position) override;

private:
    HttpReading(const HttpName& name, const Options& options, LogView& log);

    std::string Begin();
    std::string NoAnswer(std::chrono::milliseconds limit) const;
    std::chrono::milliseconds LimitFor(uint64 bytes) const;

    const HttpName m_Name;
    LogView& m_Log;
    const std::chrono::milliseconds m_Silence;
    std::shared_ptr<CSoftDataSource> m_pSource;
    std::shared_ptr<std::vector<uint8>> m_pBlock; // of the thread while it reads
    TimedThread m_Thread;
    uint64 m_qwSize = 0;
    uint64 m_qwPosition = 0;
    std::string m_strFailure;
};

} // namespace vxcio::tool
