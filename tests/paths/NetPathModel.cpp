#include "paths/NetPathModel.h"

#include "text/FoldCase.h"

namespace vxcio::test {

namespace {

std::wstring Lower(std::wstring text) {
    for (wchar_t& c : text) {
        c = FoldLower(c);
    }
    return text;
}

bool IsSame(const std::wstring& left, const std::wstring& right) {
    if (left.length() != right.length()) {
        return false;
    }
    for (std::size_t i = 0; i < left.length(); ++i) {
        if (FoldUpper(left[i]) != FoldUpper(right[i])) {
            return false;
        }
    }
    return true;
}

std::vector<std::wstring> Pieces(const std::wstring& text) {
    std::vector<std::wstring> pieces;
    std::wstring piece;
    for (const wchar_t c : text + L'\\') {
        if (c != L'\\') {
            piece += c;
        } else if (!piece.empty()) {
            pieces.push_back(piece);
            piece.clear();
        }
    }
    return pieces;
}

// The index of the backslash that ends the host; the length where there is none.
std::size_t EndOfHost(const std::wstring& name) {
    std::size_t i = 2;
    while (i < name.length() && name[i] != L'\\') {
        ++i;
    }
    return i < name.length() ? i : name.length();
}

std::wstring WithoutLeading(std::wstring text) {
    while (!text.empty() && text[0] == L'\\') {
        text.erase(0, 1);
    }
    return text;
}

} // namespace

bool ModelIsAddress(const std::wstring& text) {
    if (text.length() < 7) {
        return false;
    }
    std::vector<std::wstring> groups(1);
    for (const wchar_t c : text) {
        if (c == L'.') {
            groups.emplace_back();
        } else if (c >= L'0' && c <= L'9') {
            groups.back() += c;
        } else {
            return false;
        }
    }
    if (groups.size() != 4 || groups.back().empty()) {
        return false;
    }
    for (std::wstring group : groups) {
        while (!group.empty() && group[0] == L'0') {
            group.erase(0, 1);
        }
        if (group.length() > 3 || (!group.empty() && std::stoi(group) > 255)) {
            return false;
        }
    }
    return true;
}

std::optional<std::wstring> ModelMatch(const std::wstring& path, const std::wstring& root) {
    const std::vector<std::wstring> have = Pieces(path);
    const std::vector<std::wstring> want = Pieces(root);
    for (std::size_t i = 0; i < want.size(); ++i) {
        if (i >= have.size() || !IsSame(have[i], want[i])) {
            return std::nullopt;
        }
    }
    std::wstring suffix;
    for (std::size_t i = want.size(); i < have.size(); ++i) {
        suffix += L"\\" + have[i];
    }
    return suffix;
}

std::optional<std::wstring> ModelFolder(std::vector<uint8> bytes) {
    std::vector<uint32> units;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const uint32 unit = bytes[i] | static_cast<uint32>(bytes[i + 1]) << 8;
        units.push_back(unit == 0 ? L';' : unit);
    }
    std::wstring text;
    for (std::size_t i = 0; i < units.size(); ++i) {
        if constexpr (sizeof(wchar_t) > 2) {
            if (units[i] >= 0xD800 && units[i] < 0xDC00 && i + 1 < units.size() && units[i + 1] >= 0xDC00 &&
                units[i + 1] < 0xE000) {
                text += static_cast<wchar_t>(0x10000 + ((units[i] - 0xD800) << 10) + units[i + 1] - 0xDC00);
                ++i;
                continue;
            }
        }
        text += static_cast<wchar_t>(units[i]);
    }
    const std::size_t key = text.find(L"Path=");
    if (key == std::wstring::npos) {
        return std::nullopt;
    }
    std::wstring folder;
    for (std::size_t i = key + 5; i < text.length() && text[i] != L';'; ++i) {
        folder += text[i];
    }
    while (!folder.empty() && folder.back() == L'\\') {
        folder.pop_back();
    }
    return folder;
}

ModelRecord ModelConnection(const std::wstring& remoteName, const std::wstring& local) {
    const std::wstring host = WithoutLeading(remoteName.substr(0, EndOfHost(remoteName)));
    return ModelIsAddress(host) ? ModelRecord{L"", remoteName, local} : ModelRecord{remoteName, L"", local};
}

std::wstring ModelTable::ToLocal(const std::wstring& path) {
    const std::size_t first = path.find(L'\\');
    if (first == std::wstring::npos) {
        return path;
    }
    if (IsSame(path.substr(0, first), L"Local")) {
        return path.substr(first + 1);
    }
    const std::wstring name = path.substr(first);
    const std::size_t end = EndOfHost(name);
    if (end == name.length()) {
        return path;
    }
    const std::wstring host = name.substr(2, end - 2);
    const bool isAddress = ModelIsAddress(host);
    for (ModelRecord& record : records) {
        std::wstring root;
        std::wstring wanted = name;
        if (isAddress) {
            if (record.ipUNC.empty()) {
                const std::size_t endOfHost = EndOfHost(record.nameUNC);
                const std::wstring its =
                    record.nameUNC.length() < 2 ? std::wstring() : record.nameUNC.substr(2, endOfHost - 2);
                record.ipUNC = L"\\\\" + addressOf(its) + record.nameUNC.substr(endOfHost);
            }
            root = record.ipUNC;
        } else if (record.nameUNC.empty()) {
            const std::wstring address = addressOf(host);
            if (address.empty()) {
                continue;
            }
            wanted = L"\\\\" + address + name.substr(end);
            root = record.ipUNC;
        } else {
            root = record.nameUNC;
            const std::wstring lower = Lower(root);
            if (!workgroup.empty() && lower.find(Lower(workgroup)) == 2) {
                const std::wstring rest = WithoutLeading(lower);
                const std::size_t next = rest.find(L'\\');
                if (next != std::wstring::npos) {
                    root = L"\\" + rest.substr(next);
                }
            }
        }
        if (const auto suffix = ModelMatch(wanted, root)) {
            return record.local + *suffix;
        }
    }
    return path;
}

std::wstring ModelTable::ToUNC(const std::wstring& path) const {
    if (path.empty()) {
        return path;
    }
    for (const ModelRecord& record : records) {
        const auto suffix = ModelMatch(path, record.local);
        if (!suffix) {
            continue;
        }
        if (record.nameUNC.empty()) {
            return workgroup + record.ipUNC + *suffix;
        }
        const std::wstring lower = Lower(record.nameUNC + *suffix);
        if (!workgroup.empty() && lower.substr(0, 2) == L"\\\\" && lower.find(Lower(workgroup)) == 2) {
            std::wstring rest = WithoutLeading(lower);
            const std::size_t next = rest.find(L'\\');
            if (next != std::wstring::npos) {
                rest.insert(next, L"\\");
            }
            return rest;
        }
        return workgroup + record.nameUNC + *suffix;
    }
    return L"Local\\" + path;
}

} // namespace vxcio::test
