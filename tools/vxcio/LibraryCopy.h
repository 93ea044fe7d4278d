// LibraryCopy.h - a download by the library's own file copy, from a server that may stand still at any
// moment.
#pragma once

#include "CopyReport.h"
#include "LogView.h"
#include "Options.h"
#include "Question.h"

#include <string>

namespace vxcio::tool {

struct LibraryCopyEnd {
    enum class Kind {
        Ended,         // as many bytes came as are told below
        Declined,      // by the answer to a question
        SourceRefused, // nothing was touched
        SourceLost,    // the server does not answer, or nothing goes on
        TargetLost,    // it could not be opened or written
        Interrupted
    };
    Kind kind = Kind::SourceLost;
    uint64 total = 0;       // of the source, as the server told it; 0 where it did not
    uint64 done = 0;        // bytes that came
    bool isAllSent = false; // by the server's last word on the transfer
    bool isBegun = false;   // something was written, or was about to be
    std::string reply;      // that word; empty where none came
    std::string reason;     // of all kinds but the first
};

// Copies the one source of the job, a file on a server, to its place, by way of the place's name with
// kLibraryPart behind it where `byPart` is set. The work is done on a thread of its own: one that gets no
// further within the limit for questions to servers is left behind. The library's questions go to `question`.
LibraryCopyEnd CopyByLibrary(const CopyJob& job, bool byPart, const Options& options, LogView& log,
                             CopyReport& report, Question& question);

inline constexpr const char* kLibraryPart = ".qlqlql";

} // namespace vxcio::tool
