// Processes.h - what can be seen of servers and their names from outside.
#pragma once

#include "frame/Types.h"

#include <string>
#include <vector>

namespace vxcio::test {

uint32 OwnProcess();

// The servers, by number, that were started for that host and have not ended.
std::vector<uint32> ServersOf(uint32 host);
// 32 or 64; 0 where it cannot be seen any more.
int BitsOf(uint32 process);
// As it was given to the process.
std::vector<std::string> CommandLineOf(uint32 process);
bool IsAlive(uint32 process); // a zombie is not
// Children of this process that nobody has taken the status of.
std::vector<uint32> Zombies();

// The files of shared names that begin with the number of the host, with or without zeros in front.
std::vector<std::string> NamesOf(uint32 host);
bool HasName(const std::wstring& name, char kind);

void Kill(uint32 process);

// Where the environment asks for it this process is nothing but a host that others kill (posix/KilledHost.h).
void BeAHostWhereAsked();

// Where sanitizers of processes that are started from here leave their reports; what stands in those that
// came.
void CollectSanitizerReports();
std::string SanitizerReports();
// A report without what the search for leaks says of threads that ended, or were killed, under it.
std::string FindingsOf(const std::string& report);
void DropSanitizerReports();

} // namespace vxcio::test
