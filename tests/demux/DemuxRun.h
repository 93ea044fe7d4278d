// DemuxRun.h - runs demux_ts in a folder of the test's own.
#pragma once

#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace vxcio::test {

class DemuxRun : public testing::Test {
protected:
    TempFolder m_Folder;

    Outcome Demux(std::vector<std::string> names) const {
        names.insert(names.begin(), VXC_TEST_PROGRAM_DIR "/demux_ts");
        return RunProgram(names, {.folder = m_Folder.Path().string(), .obeyPermissions = true});
    }

    std::set<std::string> Files() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_Folder.Path())) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

    // The stream is refused with this text, and neither result is left, nor is one that was there touched.
    void ExpectRefused(const std::string& stream, const std::string& text) const {
        m_Folder.Write("in.ts", stream);
        for (const char* name : {"v", "a"}) {
            std::filesystem::remove(m_Folder.Name(name));
        }
        Outcome outcome = Demux({"in.ts", "v", "a"});
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_EQ(outcome.error, "demux_ts: in.ts is refused: " + text + "\n");
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(Files(), std::set<std::string>({"in.ts"}));
        m_Folder.Write("v", "old video");
        m_Folder.Write("a", "old audio");
        outcome = Demux({"in.ts", "v", "a"});
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_EQ(m_Folder.Read("v"), "old video");
        EXPECT_EQ(m_Folder.Read("a"), "old audio");
        EXPECT_EQ(Files(), std::set<std::string>({"in.ts", "v", "a"}));
        EXPECT_EQ(m_Folder.Read("in.ts"), stream);
    }
};

} // namespace vxcio::test
