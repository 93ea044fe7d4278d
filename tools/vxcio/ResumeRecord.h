// ResumeRecord.h - what a download that ended early notes about its part, for who goes on with it.
//
// A text file beside the part, one fact a line:
//
//     vxcio part 1
//     from ftp://norvex@host:2121/clip.mxf
//     size 3000001
//     time 134087461200000000
//     bytes 1048576
//
// A record in any other form, or with anything else in it, is none.
#pragma once

#include "Options.h"

#include "frame/Types.h"

#include <optional>
#include <string>
#include <string_view>

namespace vxcio::tool {

struct ResumeRecord {
    std::string from; // the source's name, as it may be shown
    uint64 size = 0;  // of the source, as its server told it
    uint64 time = 0;  // of the source, as the server listed it: 100 ns since the start of 1601
    uint64 bytes = 0; // of the part

    bool operator==(const ResumeRecord&) const = default;
};

std::string FormatRecord(const ResumeRecord& record);
std::optional<ResumeRecord> ParseRecord(std::string_view text);

// The record of the part of this name. A disk that does not answer, and anything but an ordinary file, has
// none.
std::optional<ResumeRecord> ReadRecord(const std::string& part, const Options& options);
// In place of a former one; empty, or why not.
std::string WriteRecord(const std::string& part, const ResumeRecord& record, const Options& options);
void RemoveRecord(const std::string& part, const Options& options);

} // namespace vxcio::tool
