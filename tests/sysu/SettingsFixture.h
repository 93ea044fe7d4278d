// SettingsFixture.h - a settings file of each test's own, and short ways to look at it.
#pragma once

#include "frame/SystemLayer.h"
#include "support/TempFolder.h"
#include "sysu/HostControl.h"
#include "sysu/SettingsPlaces.h"
#include "text/Utf8.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vxcio::test {

inline constexpr const wchar_t* kSection = L"Software\\Norvex\\SoftCodec";

class SettingsFixture : public testing::Test {
protected:
    SettingsFixture() { Use("one.conf"); }
    ~SettingsFixture() override { UseSettingsFile(nullptr); }

    void Use(const std::string& file) { ASSERT_EQ(UseSettingsFile(m_folder.Wide(file).c_str()), 1); }

    void Write(const std::string& text) { m_folder.Write("one.conf", text); }

    // Two files, as on a machine with a user.
    void UseTwo(const std::string& machine, const std::string& user) {
        m_folder.Write("machine.conf", machine);
        m_folder.Write("user.conf", user);
        ASSERT_EQ(sysu::UseSettingsPlaces(m_folder.Wide("machine.conf").c_str(),
                                          m_folder.Wide("user.conf").c_str()),
                  1);
    }

    // The value, or 12345 when there is none; then the variable was left alone.
    static uint32 Int(const wchar_t* name, int* found = nullptr) {
        uint32 value = 12345;
        const int result = VXC_GetGlobalIntW(L"Software\\Norvex", L"SoftCodec", name, &value, 1);
        if (found != nullptr) {
            *found = result;
        } else {
            EXPECT_EQ(result != 0, value != 12345) << ToUtf8(name);
        }
        return value;
    }

    // The text, or L"-" when there is none.
    static std::wstring Text(const wchar_t* section, const wchar_t* name) {
        wchar_t value[600];
        const int length = ReadSettingText(section, name, value, 600, nullptr);
        return length < 0 ? L"-" : std::wstring(value, static_cast<std::size_t>(length));
    }

    std::string File() { return m_folder.Read("one.conf"); }

    TempFolder m_folder{TempFolder::Kind::Memory};
};

inline std::vector<std::wstring> Listed() {
    std::vector<std::wstring> all;
    VisitSettings(
        [](void* context, const wchar_t* section, const wchar_t* name, const wchar_t* value,
           SettingsFile from) {
            static_cast<std::vector<std::wstring>*>(context)->push_back(
                std::wstring(section) + L"|" + name + L"|" + value +
                (from == SETTINGS_FILE_USER ? L"|user" : L"|machine"));
            return 1;
        },
        &all);
    return all;
}

inline constexpr const char* kHead = "[Software\\Norvex\\SoftCodec]\n";

} // namespace vxcio::test
