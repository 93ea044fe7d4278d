// CopyReport.h - how copies tell how they go: a bar for people, lines of JSON for programs.
#pragma once

#include "CopyPlan.h"
#include "CopyTarget.h"
#include "Progress.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace vxcio::tool {

// What became of one whole copy.
struct CopyFacts {
    uint64 start = 0; // bytes that were there before
    uint64 bytes = 0; // that were written
    double seconds = 0;
    std::string digest;       // of what was written; empty where none was made
    std::string verifiedFrom; // where it was read back from; empty without --verify
    uint64 resumed = 0;       // bytes of them that an earlier copy had left
};

// One thread. What it prints throws OutputLost as all printing does.
class CopyReport {
public:
    using Clock = std::chrono::steady_clock;

    CopyReport(const Options& options, std::function<Clock::time_point()> now);

    // A new work on this copy: "copy", "compare", "digest", "sync" or "verify".
    void Begin(const CopyJob& job, const char* work, uint64 total);
    void Reach(uint64 bytes);
    void End();

    void Tell(const CopyJob& job, const CopyFacts& facts);
    // `left` is null where nothing was begun.
    void TellFailure(const CopyJob& job, const std::string& reason, int exitCode, const Leftover* left);

    // The bar for who draws it by himself.
    Progress& Bar() { return m_Progress; }

private:
    const bool m_bJson;
    const std::function<Clock::time_point()> m_fnNow;
    Progress m_Progress;
    const CopyJob* m_pJob = nullptr;
    const char* m_pszWork = "";
    uint64 m_qwTotal = 0;
    Clock::time_point m_tBegin;
    Clock::time_point m_tTold;
};

} // namespace vxcio::tool
