// DigestSource.h - the library's digest over bytes that do not come from one file.
#pragma once

#include "Readable.h"
#include "Reading.h"

#include <memory>
#include <string>

namespace vxcio::tool {

// A source of the library whose file is a stream of the tool, put under it by a table of file functions. What
// is read from it is what the stream delivers, without a copy between, and the library's digest rides on
// these reads: the digest of the bytes as they came, whichever copy they came from. The stream outlives it.
// Null when it cannot be opened.
std::unique_ptr<Reading> OpenDigestSource(Readable& stream);

// The digest that the library has made, as digits; empty where it has none.
std::string TakeDigest(CSoftDataIO& from);

} // namespace vxcio::tool
