// SinkScenario.h - what the sweeps do with a sink, and how it ended.
#pragma once

#include "sinks/SinkFixture.h"

#include <string>
#include <vector>

namespace vxcio::test {

// How one run of the scenario ended.
struct SinkOutcome {
    uint32 status = 0;          // of the open
    bool allWritten = true;     // each write gave its length
    bool wasGood = true;        // the sink had told of no failure when it was closed
    bool isGood = true;         // nor did the close find one
    bool cameBack = false;      // a write gave more than 0 after one that gave 0
    bool wrongRead = false;     // bytes that a good sink read back are not what was written
    std::vector<uint8> content; // of the file, which the caller looks at
};

// Opens a file that is there, writes over its middle and beyond its end, goes back and patches what was
// written, reads it back, appends more than the ring holds, and closes. All places are odd.
//
// A write error of the ring's thread shows when the caller meets a node that went out behind it, which the
// last part of the scenario makes sure of: all that was flushed before it has then been reported as good.
class SinkScenario {
public:
    explicit SinkScenario(const WritePath& path);

    // What must be in the file before each run.
    const std::vector<uint8>& Before() const { return m_before; }
    // What is in it after a run in which nothing failed.
    const std::vector<uint8>& After() const { return m_after; }

    // All but the content. `sink` is new.
    SinkOutcome Run(CWriteFileEx1& sink, const std::wstring& name) const;

    // Empty when the outcome is one that a failure may have, else what is wrong with it.
    std::string Judge(const SinkOutcome& outcome) const;
    // The same where nothing failed.
    std::string JudgeClean(const SinkOutcome& outcome) const;

private:
    bool IsMade(const std::vector<uint8>& content) const;
    bool IsWhole(const std::vector<uint8>& content) const;

    const WritePath m_path;
    const std::vector<uint8> m_before;
    const std::vector<uint8> m_body;
    const std::vector<uint8> m_patch;
    const std::vector<uint8> m_tail;
    std::vector<uint8> m_flushed; // the file as it is flushed before the tail comes
    std::vector<uint8> m_after;
};

} // namespace vxcio::test
