// LibrarySymbols.h - what the shared libraries define for others to link to.
#pragma once

#include <string>
#include <vector>

namespace vxcio::test {

// What a command of the shell prints. It is a failure of the test when the command fails.
std::string Output(const std::string& command);

// The names, as they stand in the source, that a library in the folder of libraries defines.
std::vector<std::string> DefinedSymbols(const std::string& library);

} // namespace vxcio::test
