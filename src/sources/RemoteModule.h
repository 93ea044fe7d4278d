// RemoteModule.h - the companion module that reads URLs, once for the process. It is loaded at the first need
// and never released. Any thread.
#pragma once

#include "sources/RemoteFile.h"

namespace vxcio {

// Asks the module or an object of it. Nothing thrown comes out of the library: who throws has failed.
template <class Result, class Question>
Result AskModule(Result failure, Question question) noexcept {
    try {
        return question();
    } catch (...) {
        return failure;
    }
}

// Loads the module if that has not been done; threads that come at once may each load it, and one of them
// stays. False, with a line in the log, where it cannot be had; the next call tries again.
bool LoadRemoteModule() noexcept;

// A new object of the module; null where it offers no such function, or memory lacks.
CQLRHttpFile* CreateRemoteFile() noexcept;
// Gives an object back to the module; one that does not take it back has it destroyed.
void DeleteRemoteFile(CQLRHttpFile* file) noexcept;

// For tests: the next need loads it anew.
void ForgetRemoteModule() noexcept;

} // namespace vxcio
