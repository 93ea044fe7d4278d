// SambaFixture.h - a configuration of Samba of a test's own, in the place of this machine's.
#pragma once

#include "platform/posix/SambaShares.h"
#include "support/SettingsScope.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio::test {

// The settings name the file "smb.conf" of a folder in memory, which is not there at first; the folder
// "users" beside it, empty at first, is that of users' shares for a text that Configure writes.
class SambaFixture : public testing::Test {
protected:
    SambaFixture() {
        std::filesystem::create_directory(m_folder.Name("users"));
        m_settings.Set(L"SambaConfiguration", m_folder.Wide("smb.conf"));
    }

    void Configure(const std::string& text) {
        m_folder.Write("smb.conf", "[global]\nusershare path = " + m_folder.Name("users") + "\n" + text);
    }

    // The file counts as written long ago.
    void Age(std::string_view file, int hours = 1) {
        std::filesystem::last_write_time(m_folder.Path() / file, m_start - std::chrono::hours(hours));
    }

    static std::vector<std::string> Names() {
        std::vector<std::string> names;
        const auto samba = OwnSamba();
        for (const SambaShare& share : samba->shares) {
            names.push_back(share.name);
        }
        return names;
    }

    const TempFolder m_folder{TempFolder::Kind::Memory};
    SettingsScope m_settings;

private:
    const std::filesystem::file_time_type m_start = std::filesystem::file_time_type::clock::now();
};

} // namespace vxcio::test
