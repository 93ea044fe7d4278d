// Console.h - everything the tool says. Results go to standard output; complaints, log lines and the
// progress bar share standard error without cutting each other up. Any thread may call.
#pragma once

#include <string>
#include <string_view>

namespace vxcio::tool {

// Thrown when standard output takes no more; whoever catches it ends the tool with this code. What there is
// to say has been said.
struct OutputLost {
    int exitCode;
};

// Writes to standard output, whole. Throws OutputLost.
void Print(std::string_view text);
void PrintBytes(const void* data, std::size_t bytes);

// One line "vxcio: text" on standard error.
void Complain(std::string_view text);

// One line on standard error as it is.
void PrintErrorLine(std::string_view text);

// The text of a question on standard error, behind which the answer is typed.
void PrintQuestion(std::string_view text);

// Shows `bar` as the last line of standard error, in place of the bar before; an empty one removes it.
void ShowBar(std::string_view bar);

// A name for people: control characters, which would move the cursor about, become '?'.
std::string Shown(std::string_view name);
std::string InQuotes(std::string_view name);

} // namespace vxcio::tool
