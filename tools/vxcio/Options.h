// Options.h - the command line, understood.
#pragma once

#include "frame/Types.h"

#include <optional>
#include <string>
#include <vector>

namespace vxcio::tool {

enum class Verb {
    Info,
    Cat,
    Md5,
    Copy,
    List,
    Exists,
    Remove,
    Move,
    MakeFolder,
    RemoveFolder,
    Get,
    Put,
    Path,
    Shares,
    SettingsList,
    SettingsGet,
    SettingsSet,
    SettingsUnset,
    PlugLoad,
    PlugCall,
    PlugBench,
    XdcamInfo,
    XdcamSpace,
    XdcamFetch
};

struct Options {
    Verb verb = Verb::Info;

    // Of every verb.
    bool verbose = false;
    std::optional<std::string> logFile;
    INFOTYPE logLevel = INFOTYPE_TRACE;
    std::optional<std::string> settingsFile;
    bool json = false;
    std::optional<uint32> timeOut; // of file handles, milliseconds

    // Of FTP names, and of URLs.
    std::optional<uint32> ftpTimeOut; // what --time-out asks for, milliseconds

    // Of FTP names.
    bool active = false;
    std::optional<int> ftpMode;             // FTPMODE_..., or any other number
    std::optional<std::string> netrcFile;   // nothing: the one of the home folder, if it is there
    std::optional<std::string> ftpPassword; // of the environment

    // Of ls.
    bool isLong = false;

    // Of info, cat, md5, path and copy, whose last name is the target.
    std::vector<std::string> names;
    bool unbuffered = false;
    uint64 offset = 0;
    std::optional<uint64> length;
    uint32 block = 1u << 20;
    bool check = false;
    std::optional<uint32> preRead; // bytes of read-ahead
    bool isPreReadAsked = true;    // it is no default
    bool join = false;             // all names are one stream

    // Of copy; `unbuffered`, `block` and `preRead` are those of its reading.
    bool targetUnbuffered = false;
    uint32 targetBuffer = 32u << 20; // bytes of the ring in front of the writer thread; 0 for none
    uint32 targetBlock = 1u << 20;
    bool append = false;
    bool verify = false;
    bool sync = false;
    bool discard = false;

    // Of get and put, beside `names`, `verify` and `json`.
    bool yes = false;
    bool no = false;
    bool resume = false;

    // Of plug; the file of call is the one of `names`.
    std::optional<std::string> plug; // without one it is the plug-in that is installed
    uint32 callTimeOut = 2000;       // of one call, milliseconds
    uint32 width = 0;
    uint32 height = 0;
    uint32 format = 420; // or 422
    uint32 framesPerSecond = 25;
    std::optional<uint32> calls; // of each kind, for bench

    // Of xdcam fetch, whose target has the options of copy.
    uint32 fromFrame = 0;
    uint32 toFrame = 0; // the first that is not wanted

    // Of settings.
    std::string setting;
    std::string value;
    std::optional<std::string> section;
};

// Fills `options`. A result is the exit code to end with: help or version was printed, or the arguments make
// no sense, which has been said.
std::optional<int> ParseOptions(int argc, char** argv, Options& options);

} // namespace vxcio::tool
