// ServerPrograms.h - where the programs of real servers lie.
#pragma once

#include <string>
#include <string_view>

namespace vxcio::test {

// The whole name of a program: among the servers that scripts/test has unpacked for the tests, or installed.
// Empty where it is in neither.
std::string ServerProgram(std::string_view name);

} // namespace vxcio::test
