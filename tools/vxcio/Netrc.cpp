#include "Netrc.h"

#include <algorithm>

namespace vxcio::tool {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

class Words {
public:
    explicit Words(std::string_view text) : m_Text(text) {}

    // The next word; false at the end, and where a quotation mark has no partner.
    bool Take(std::string& word) {
        m_From = std::min(m_Text.find_first_not_of(kBlanks, m_From), m_Text.size());
        word.clear();
        if (m_From == m_Text.size()) {
            return false;
        }
        if (m_Text[m_From] == '"') {
            return TakeQuoted(word);
        }
        const std::size_t end = std::min(m_Text.find_first_of(kBlanks, m_From), m_Text.size());
        for (; m_From < end; ++m_From) {
            if (m_Text[m_From] == '\\' && m_From + 1 < end) {
                ++m_From;
            }
            word += m_Text[m_From];
        }
        return true;
    }
    // Where a word such as "machine" is due.
    bool TakeKey(std::string& key) {
        while (Take(key)) {
            if (!key.starts_with('#')) {
                return true;
            }
            m_From = std::min(m_Text.find('\n', m_From), m_Text.size());
        }
        return false;
    }
    // To the next empty line.
    void SkipMacro() {
        while (m_From < m_Text.size()) {
            const std::size_t end = std::min(m_Text.find('\n', m_From), m_Text.size());
            m_From = std::min(end + 1, m_Text.size());
            const std::string_view next = m_Text.substr(m_From);
            if (next.starts_with('\n') || next.starts_with("\r\n")) {
                return;
            }
        }
    }
    bool IsBroken() const { return m_bBroken; }

private:
    bool TakeQuoted(std::string& word) {
        for (++m_From; m_From < m_Text.size() && m_Text[m_From] != '\n'; ++m_From) {
            if (m_Text[m_From] == '"') {
                ++m_From;
                return true;
            }
            if (m_Text[m_From] == '\\' && m_From + 1 < m_Text.size()) {
                ++m_From;
            }
            word += m_Text[m_From];
        }
        m_bBroken = true;
        return false;
    }

    const std::string_view m_Text;
    std::size_t m_From = 0;
    bool m_bBroken = false;
};

bool IsSameHost(std::string_view one, std::string_view other) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; };
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [&](char a, char b) { return lower(a) == lower(b); });
}

// The value of a word that has one. False where it is missing.
bool TakeValue(Words& words, const std::string& key, std::vector<NetrcEntry>& entries, std::string& reason) {
    std::string value;
    if (!words.Take(value)) {
        reason =
            words.IsBroken() ? "a quotation mark has no partner in its line" : "'" + key + "' has no value";
        return false;
    }
    if (value.find('\r') != std::string::npos || value.find('\n') != std::string::npos ||
        value.find('\0') != std::string::npos) {
        reason = "the value of a '" + key + "' holds a line end or a zero byte";
        return false;
    }
    if (key == "machine") {
        entries.push_back({value, {}, {}});
    } else if (key == "macdef") {
        words.SkipMacro();
    } else if (entries.empty()) {
        reason = "'" + key + "' stands before the first 'machine'";
        return false;
    } else if (key == "login") {
        entries.back().login = value;
    } else if (key == "password") {
        entries.back().password = value;
    }
    return true;
}

} // namespace

std::optional<std::vector<NetrcEntry>> ParseNetrc(std::string_view text, std::string& reason) {
    std::vector<NetrcEntry> entries;
    Words words(text);
    for (std::string key; words.TakeKey(key);) {
        if (key == "default") {
            entries.emplace_back();
        } else if (key == "machine" || key == "login" || key == "password" || key == "account" ||
                   key == "macdef") {
            if (!TakeValue(words, key, entries, reason)) {
                return std::nullopt;
            }
        } else {
            // It is not shown: it may be the second half of a password that holds a blank.
            reason = "a word stands where 'machine', 'default', 'login', 'password', 'account' or 'macdef' "
                     "belongs";
            return std::nullopt;
        }
    }
    if (words.IsBroken()) {
        reason = "a quotation mark has no partner in its line";
        return std::nullopt;
    }
    return entries;
}

const NetrcEntry* FindNetrc(const std::vector<NetrcEntry>& entries, std::string_view host,
                            const std::optional<std::string>& user) {
    for (const NetrcEntry& entry : entries) {
        const bool isHost = !entry.machine || IsSameHost(*entry.machine, host);
        if (isHost && (!user || !entry.login || *entry.login == *user)) {
            return &entry;
        }
        if (!entry.machine) {
            break;
        }
    }
    return nullptr;
}

} // namespace vxcio::tool
