// FileCopyFixture.h - copies of one file from and to a server that speaks by a script.
#pragma once

#include "frame/Status.h"
#include "ftp/FileCopyReports.h"
#include "platform/Sockets.h"
#include "support/FaultPlan.h"
#include "support/FtpScript.h"
#include "support/LeakChecks.h"
#include "support/Prompts.h"
#include "support/SettingsScope.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vxcio::test {

inline constexpr int64 kMiB = 1 << 20;

// The script begins with a logon; the local file is "clip" of a folder of its own. Nothing may be left of a
// copy, unless a test says that it loses its socket and what stands in it.
class FileCopyFixture : public ::testing::Test {
protected:
    explicit FileCopyFixture(bool losesSocket = false, TempFolder::Kind kind = TempFolder::Kind::Memory)
        : folder(kind), m_losesSocket(losesSocket) {
        if (!losesSocket) {
            m_leaks.emplace();
        }
        m_tokens = OpenSocketCount();
        ftp.emplace();
        copy.local = folder.Wide("clip");
        temporary = copy.local + L".qlqlql";
    }
    ~FileCopyFixture() override {
        ftp.reset();
        EXPECT_EQ(OpenSocketCount() - m_tokens, m_losesSocket ? 1 : 0);
    }

    FtpScript& Logon() { return ftp->Logon("u", "p"); }
    // A transfer of "/f" in passive mode up to its data.
    FtpScript& Transfer(int64 size) {
        ftp->Passive().Expect("SIZE /f").Say("213 " + std::to_string(size));
        return ftp->Expect("RETR /f").AcceptData().Say("150 here");
    }
    // The whole of it, and the end of the session.
    FtpScript& Serve(int64 size) {
        Transfer(size).DSendPattern(static_cast<uint64>(size)).DFin().Say("226 done");
        return Quit();
    }
    FtpScript& Quit() { return ftp->Expect("QUIT").Say("221 bye"); }
    uint32 Copy() {
        copy.host = ftp->Host();
        copy.port = ftp->Port();
        return copy.Run();
    }
    // What the control connection was sent between the logon and QUIT.
    std::vector<std::string> Asked() const {
        std::vector<std::string> lines = ftp->Lines();
        EXPECT_TRUE(lines.size() >= 3 && lines.back() == "QUIT");
        return lines.size() < 3 ? lines : std::vector<std::string>(lines.begin() + 2, lines.end() - 1);
    }
    // The script is done, and so much time of the clock has passed since its start.
    void Finish(int64 spent = 0) {
        EXPECT_EQ(ftp->Spent(), spent);
        ftp->Finish();
    }

    bool IsThere(const char* file) const { return std::filesystem::exists(folder.Path() / file); }
    bool HasPattern(const char* file, int64 bytes) const {
        return folder.Read(file) == FtpScript::Pattern(static_cast<uint64>(bytes));
    }
    Question Overwrite() const { return {L"Do you want to overwrite '" + Target() + L"' ?", kCaption, 4}; }
    Question Resume() const { return {L"Do you want to resume '" + Target() + L"' ?", kCaption, 4}; }
    const std::wstring& Target() const { return copy.upload != 0 ? copy.remote : copy.local; }

    static constexpr const wchar_t* kCaption = L"Prunikupige";

    SettingsScope settings;
    TempFolder folder;

private:
    const bool m_losesSocket;
    int m_tokens = 0;
    std::optional<NoLeakScope> m_leaks;

protected:
    std::optional<FtpScript> ftp;
    Prompts prompts;
    CopyCall copy;
    std::wstring temporary;
};

} // namespace vxcio::test
