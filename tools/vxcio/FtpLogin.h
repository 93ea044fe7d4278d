// FtpLogin.h - as whom the tool logs on to an FTP server, and in which way it transfers.
#pragma once

#include "FtpName.h"
#include "Options.h"

#include "frame/Types.h"

#include <chrono>
#include <optional>
#include <string>

namespace vxcio::tool {

struct FtpLogin {
    std::string user;
    std::string password;
};

// The user is that of the name, else that of the netrc file, else anonymous. The password is that of the
// name; else, for a user that the name tells, that of the environment; else that of the netrc file; else
// none. A netrc file that others can read is left alone with one warning, as is one that makes no sense.
// Nothing with a reason where the file of --netrc is missing, or what the environment holds cannot be a
// password.
std::optional<FtpLogin> LoginFor(const FtpName& name, const Options& options, std::string& reason);

struct FtpWay {
    FTPMODE mode;
    bool isPassive; // where the mode allows it
};

// --active is a way of its own, as a source asks for passive transfers in FTPMODE_NORMAL whatever is set, and
// FTPMODE_DELAYED lets 300 ms pass before each reply.
FtpWay WayOf(const Options& options);

// How long one question to a server may take.
std::chrono::milliseconds FtpLimit(const Options& options);

} // namespace vxcio::tool
