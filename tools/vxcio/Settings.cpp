#include "Console.h"
#include "ExitCodes.h"
#include "Json.h"
#include "Text.h"
#include "Verbs.h"

#include "frame/Settings.h"
#include "frame/SystemLayer.h"
#include "frame/VXCString.h"
#include "sysu/HostControl.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <span>
#include <vector>

namespace vxcio::tool {

namespace {

struct Place {
    std::wstring section;
    std::wstring name;
    const KnownSetting* known = nullptr; // null when the library does not know it
};

struct Value {
    std::wstring text;
    SettingsFile from = SETTINGS_FILE_USER;
};

std::span<const KnownSetting> Known() {
    int count = 0;
    const KnownSetting* const table = KnownSettings(&count);
    return {table, static_cast<std::size_t>(count)};
}

// As the settings store compares names: case does not matter.
bool Same(const std::wstring& left, const wchar_t* right) {
    return CVXCString(left.c_str()).Compare(right) == 0;
}

std::wstring LastPart(const std::wstring& section) {
    const std::size_t cut = section.rfind(L'\\');
    return cut == std::wstring::npos ? section : section.substr(cut + 1);
}

const KnownSetting* Find(const std::wstring& section, const std::wstring& name) {
    for (const KnownSetting& setting : Known()) {
        if (Same(section, setting.section) && (setting.name == nullptr || Same(name, setting.name))) {
            return &setting;
        }
    }
    return nullptr;
}

// "DriveMap" means the known section of that last part; anything else is taken as a whole path.
std::wstring WholeSection(const std::wstring& section) {
    for (const KnownSetting& setting : Known()) {
        if (Same(section, setting.section) || Same(section, LastPart(setting.section).c_str())) {
            return setting.section;
        }
    }
    return section;
}

// Where a setting stands that a person named; nothing where that is not known.
std::optional<Place> Locate(const Options& options) {
    const std::wstring text = Widen(options.setting);
    Place place;
    const std::size_t cut = text.find_last_of(L"\\/");
    if (options.section) {
        place = {Widen(*options.section), text, nullptr};
    } else if (cut != std::wstring::npos) {
        std::wstring section = text.substr(0, cut);
        std::replace(section.begin(), section.end(), L'/', L'\\');
        place = {WholeSection(section), text.substr(cut + 1), nullptr};
    } else {
        for (const KnownSetting& setting : Known()) {
            if (setting.name != nullptr && Same(text, setting.name)) {
                return Place{setting.section, setting.name, &setting};
            }
        }
        Complain("settings: no setting of the library is named '" + Shown(options.setting) +
                 "' (see 'vxcio settings list'); for another one name its section with --section");
        return std::nullopt;
    }
    place.known = Find(place.section, place.name);
    return place;
}

std::optional<Value> Read(const std::wstring& section, const std::wstring& name) {
    Value value;
    std::vector<wchar_t> buffer(256);
    for (;;) {
        const int length = ReadSettingText(section.c_str(), name.c_str(), buffer.data(),
                                           static_cast<int>(buffer.size()), &value.from);
        if (length < 0) {
            return std::nullopt;
        }
        if (static_cast<std::size_t>(length) < buffer.size()) {
            value.text.assign(buffer.data(), static_cast<std::size_t>(length));
            return value;
        }
        buffer.resize(static_cast<std::size_t>(length) + 1);
    }
}

const char* FileWord(SettingsFile file) {
    return file == SETTINGS_FILE_MACHINE ? "machine" : "user";
}

std::string FileName(SettingsFile which) {
    std::vector<wchar_t> name(4096);
    SettingsFileName(which, name.data(), static_cast<int>(name.size()));
    return Narrow(name.data());
}

bool IsNumber(std::string_view text) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        base = 16;
    }
    uint32 number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    return error == std::errc{} && stop == end && !text.empty();
}

struct ListEntry {
    std::wstring section;
    std::wstring name;
    std::optional<Value> value;
    const KnownSetting* known = nullptr;
};

int Collect(void* context, const wchar_t* section, const wchar_t* name, const wchar_t* value,
            SettingsFile from) {
    try {
        static_cast<std::vector<ListEntry>*>(context)->push_back(
            {section, name, Value{value, from}, Find(section, name)});
        return 1;
    } catch (...) {
        return 0;
    }
}

// What the library knows first, in its order, with the entries of a map behind it; then the rest.
std::vector<ListEntry> AllEntries() {
    std::vector<ListEntry> set;
    VisitSettings(Collect, &set);
    std::vector<ListEntry> out;
    for (const KnownSetting& setting : Known()) {
        const std::size_t before = out.size();
        for (ListEntry& entry : set) {
            if (entry.known == &setting) {
                out.push_back(entry);
            }
        }
        if (out.size() == before) {
            out.push_back(
                {setting.section, setting.name == nullptr ? L"" : setting.name, std::nullopt, &setting});
        }
    }
    for (ListEntry& entry : set) {
        if (entry.known == nullptr) {
            out.push_back(entry);
        }
    }
    return out;
}

Json AsJson(const ListEntry& entry) {
    Json out;
    out["section"] = Narrow(entry.section);
    out["name"] =
        entry.name.empty() ? Json(nullptr) : Json(Narrow(entry.name)); // null: a map without entries
    out["value"] = entry.value ? Json(Narrow(entry.value->text)) : Json(nullptr);
    out["from"] = entry.value ? Json(FileWord(entry.value->from)) : Json(nullptr);
    if (entry.known != nullptr) {
        out["default"] = entry.known->defaultText == nullptr ? "" : Narrow(entry.known->defaultText);
        out["meaning"] = Narrow(entry.known->meaning);
        out["number"] = entry.known->isNumber != 0;
    }
    return out;
}

std::string AsText(const ListEntry& entry) {
    const std::string name = entry.name.empty() ? "(any name)" : Shown(Narrow(entry.name));
    std::string out = name;
    if (entry.value) {
        out += " = " + Shown(Narrow(entry.value->text)) + "   (" + FileWord(entry.value->from) + ")";
    } else {
        out += "   not set";
    }
    out += '\n';
    if (entry.known == nullptr) {
        return out + "    not known to the library\n";
    }
    const std::string standard = entry.known->defaultText == nullptr ? "" : Narrow(entry.known->defaultText);
    out += "    " + Narrow(entry.known->meaning) + "\n";
    return standard.empty() ? out : out + "    default: " + standard + "\n";
}

int List(const Options& options) {
    const std::string machine = FileName(SETTINGS_FILE_MACHINE);
    const std::string user = FileName(SETTINGS_FILE_USER);
    const std::vector<ListEntry> entries = AllEntries();
    if (options.json) {
        Json out;
        out["machineFile"] = machine;
        out["userFile"] = user;
        out["settings"] = Json::array();
        for (const ListEntry& entry : entries) {
            out["settings"].push_back(AsJson(entry));
        }
        PrintJson(out);
        return kExitOk;
    }
    std::string out;
    if (options.settingsFile) {
        out += "file: " + Shown(user) + "\n";
    } else {
        out += "machine: " + Shown(machine) + "\nuser:    " + Shown(user) + "\n";
    }
    std::wstring section;
    for (const ListEntry& entry : entries) {
        if (section != entry.section) {
            section = entry.section;
            out += "\n[" + Shown(Narrow(section)) + "]\n";
        }
        out += AsText(entry);
    }
    Print(out);
    return kExitOk;
}

int Get(const Options& options, const Place& place) {
    const std::optional<Value> value = Read(place.section, place.name);
    if (options.json) {
        PrintJson(AsJson(ListEntry{place.section, place.name, value, place.known}));
    } else if (value) {
        Print(Narrow(value->text) + "\n");
    }
    if (!value) {
        Complain("settings: '" + Shown(Narrow(place.name)) + "' is not set");
        return kExitFailed;
    }
    return kExitOk;
}

// The result of a change of the store as exit code, with its complaint.
int Changed(const char* what, const Place& place, uint32 error) {
    if (error == VXC_ERROR_SUCCESS) {
        return kExitOk;
    }
    const std::string start =
        std::string("settings: cannot ") + what + " '" + Shown(Narrow(place.name)) + "': ";
    if (error == VXC_ERROR_INVALID_PARAMETER) {
        Complain(start + "names and values have no line ends, and names are neither empty nor hold '='");
        return kExitUsage;
    }
    std::string reason = "error " + std::to_string(error);
    if (error == VXC_ERROR_FILE_NOT_FOUND) {
        reason = "it is not set there";
    } else if (error == VXC_ERROR_ACCESS_DENIED) {
        reason = "no permission";
    } else if (error == VXC_ERROR_DISK_FULL) {
        reason = "the disk is full";
    }
    Complain(start + reason + " (" + Shown(FileName(SETTINGS_FILE_USER)) + ")");
    return kExitFailed;
}

int Set(const Options& options, const Place& place) {
    if (place.known != nullptr && place.known->isNumber != 0 && !IsNumber(options.value)) {
        Complain("settings: '" + Shown(Narrow(place.name)) + "' is a number of 32 bits, decimal or 0x; '" +
                 Shown(options.value) + "' is not");
        return kExitUsage;
    }
    return Changed("set", place,
                   WriteSettingText(place.section.c_str(), place.name.c_str(), Widen(options.value).c_str()));
}

} // namespace

int RunSettings(const Options& options) {
    if (options.verb == Verb::SettingsList) {
        return List(options);
    }
    const std::optional<Place> place = Locate(options);
    if (!place) {
        return kExitUsage;
    }
    switch (options.verb) {
    case Verb::SettingsGet:
        return Get(options, *place);
    case Verb::SettingsSet:
        return Set(options, *place);
    default:
        return Changed("unset", *place, RemoveSetting(place->section.c_str(), place->name.c_str()));
    }
}

} // namespace vxcio::tool
