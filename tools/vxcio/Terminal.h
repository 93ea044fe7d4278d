// Terminal.h - what the tool asks of the system around it: its standard streams, its environment and the wish
// to stop.
#pragma once

#include <cstddef>
#include <string>

namespace vxcio::tool {

enum class Sent {
    Whole,
    ClosedPipe,  // nobody reads any more
    Interrupted, // the wish to stop came while the stream took nothing
    Failed,
};

// Writes all bytes to standard output, whatever pieces it takes them in. After Failed, `reason` tells why.
Sent WriteStandardOutput(const void* data, std::size_t bytes, std::string& reason);

bool IsErrorTerminal();
bool IsOutputTerminal();
bool IsInputTerminal();

// A line of standard input without its end, cut where it is longer than an answer can be. False at the end of
// the input, and when the wish to stop comes.
bool ReadInputLine(std::string& line);

// Columns of the terminal on standard error, 80 where it does not tell.
int ErrorColumns();

// Takes a variable out of the environment of this process and of those that it starts.
void ForgetVariable(const char* name);

// From now on the first Ctrl-C or SIGTERM only sets the flag that InterruptWanted reads, and the second one
// ends the process. A closed pipe and a file size limit become ordinary errors of the writing call.
void PrepareSignals();

// May be asked from any thread.
bool InterruptWanted();

} // namespace vxcio::tool
