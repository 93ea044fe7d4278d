// DigestList.h - lists of digests, one file a line, in the forms that are in use.
#pragma once

#include <istream>
#include <optional>
#include <string>
#include <string_view>

namespace vxcio::tool {

struct DigestLine {
    std::string digest;  // 32 lower-case digits
    std::string name;    // of the file
    std::string printed; // the name as messages about it write it
};

// "digest  name", "digest *name", the same behind a backslash when the name is escaped, and
// "MD5 (name) = digest". Nothing for any other line.
std::optional<DigestLine> ParseDigestLine(std::string_view line);

// The line for a digest, without its end.
std::string FormatDigestLine(const std::string& digest, const std::string& name);

// The next line, without its end, into `line`; false behind the last. What is longer than any name could
// make a line is cut, so that no file can fill the memory.
bool NextLine(std::istream& in, std::string& line);

} // namespace vxcio::tool
