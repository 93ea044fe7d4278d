// FtpCommands.h - what is done to files of servers without a transfer.
#pragma once

#include "FtpName.h"
#include "FtpSession.h"
#include "FtpTalk.h"
#include "LogView.h"
#include "Options.h"

#include <functional>
#include <memory>
#include <string>

namespace vxcio::tool {

// One thread. Commands in a row to one server go over one session. Each gives an empty text, or why it
// failed.
class FtpCommands {
public:
    FtpCommands(const Options& options, LogView& log) : m_Options(options), m_Log(log) {}

    std::string Delete(const FtpName& name);
    // Two names of one server. `isTargetRefused`: the server has the file and does not give it this name, and
    // it has said so; without that nobody knows what it has done.
    std::string Rename(const FtpName& from, const FtpName& to, bool* isTargetRefused = nullptr);
    std::string MakeFolder(const FtpName& name);
    std::string RemoveFolder(const FtpName& name);
    // Any other, which gives 0 where it has failed and owns what it uses beside its argument. `talk` gets
    // what was said in it.
    std::string Do(const FtpName& name, std::function<int(CSoftDataIO&)> command, FtpTalk* talk = nullptr);

private:
    const Options& m_Options;
    LogView& m_Log;
    std::unique_ptr<FtpSession> m_pSession; // null, or one that answered its last command
};

} // namespace vxcio::tool
