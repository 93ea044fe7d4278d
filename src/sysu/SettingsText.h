// SettingsText.h - the text of one settings file: what its lines mean, and how one line is changed while all
// others stay as they are.
//
// Plain values; nothing here touches a disk. Functions may throw std::bad_alloc.
#pragma once

#include "frame/Types.h"

#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace vxcio::sysu {

// The order of sections and names: bytes, with the case of A to Z ignored.
struct SettingKeyLess {
    using Key = std::pair<std::string, std::string>; // section, name
    bool operator()(const Key& left, const Key& right) const noexcept;
};
using SettingsMap = std::map<SettingKeyLess::Key, std::string, SettingKeyLess>;

bool EqualsIgnoringCase(std::string_view left, std::string_view right) noexcept;

// All values of a file. Lines that are neither heading, comment nor "name = value" are skipped, so are
// values before the first heading and below a heading without its bracket. Of a name that stands twice in
// a section, the last value counts.
SettingsMap ParseSettings(const std::string& text);

// The text with one value set: in the last line that sets it, else below the last line of the section's last
// part, else in a new section at the end. All other bytes stay.
std::string WithSetting(std::string_view text, std::string_view section, std::string_view name,
                        std::string_view value);

// The text without the lines that set the name; all other bytes stay.
std::string WithoutSetting(std::string_view text, std::string_view section, std::string_view name);

// Whether a heading or a line with these texts reads back as what it was made from.
bool IsSectionWritable(std::string_view section) noexcept;
bool IsNameWritable(std::string_view name) noexcept;
bool IsValueWritable(std::string_view value) noexcept;

// A whole number: decimal or 0x and hexadecimal, up to 0xFFFFFFFF, or with '-' in front down to
// -0x80000000, which gives its 32-bit pattern. Blanks around it are ignored. False for anything else, and
// `value` is left alone.
bool ParseSettingNumber(std::string_view text, uint32& value) noexcept;

} // namespace vxcio::sysu
