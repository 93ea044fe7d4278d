// CrashReport.h - what is left to do when a plug-in has wrecked the process: say so and end with a code that
// tells the signal, 128 and its number. The system lets go of everything that is shared.
#pragma once

namespace vxcserver {

// For the whole process; to be called once, at its start. Signals that end programs of a terminal are ignored
// from here on: the server ends with its host.
void BeginCrashReports() noexcept;

// For the calling thread, which may have run out of its stack; again is harmless.
void PrepareForCrashes() noexcept;

// Ends the process at once, with nothing said and nothing cleaned up.
[[noreturn]] void EndAtOnce(int code) noexcept;

} // namespace vxcserver
