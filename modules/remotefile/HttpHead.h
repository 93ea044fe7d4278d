// HttpHead.h - how a response begins (RFC 9110).
#pragma once

#include "frame/Types.h"

#include <optional>
#include <string>
#include <string_view>

namespace vxcio {

struct HttpHead {
    int status = 0;
    std::optional<uint64> length; // of the body
    bool hasRange = false;        // a Content-Range that says so:
    uint64 rangeFirst = 0;
    uint64 rangeLast = 0;
    std::optional<uint64> total; // of the file
    std::string tag;             // ETag
    std::string date;            // Last-Modified
    std::string address;         // where redirects have led
    bool isEncoded = false;      // the body is not the bytes of the file
    bool leadsElsewhere = false; // there is a Location
};

// Takes a line of the header in. May throw std::bad_alloc.
void TakeHeaderLine(std::string_view line, HttpHead& head);

// Takes "bytes first-last/total" or "bytes */total" in; false for anything else.
bool ParseContentRange(std::string_view text, HttpHead& head);

// Whether two answers may be about one file. What only one of them tells, and weak tags, tell nothing.
bool IsSameFile(const HttpHead& one, const HttpHead& other);

} // namespace vxcio
