#include "fuzz/SambaInput.h"

#include "fuzz/Require.h"
#include "platform/posix/SambaShares.h"

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio::fuzz {

namespace {

constexpr std::size_t kParts = 3;

std::string Lowered(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return name;
}

void CheckShare(const SambaShare& share) {
    static const std::set<std::string> s_special = {"global", "globals", "homes", "printers", "print$"};
    Require(!share.name.empty() && s_special.count(Lowered(share.name)) == 0, "the section is a share");
    Require(share.path.starts_with('/') && share.path.find('%') == std::string::npos,
            "the path is whole and the same for everybody");
    for (const std::string* text : {&share.name, &share.path}) {
        Require(text->find('\n') == std::string::npos, "a text is of one line");
    }
}

void CheckShares(const std::vector<SambaShare>& shares) {
    std::set<std::string> names;
    for (const SambaShare& share : shares) {
        CheckShare(share);
        Require(names.insert(Lowered(share.name)).second, "a name stands once");
    }
}

bool IsSame(const SambaConfiguration& left, const SambaConfiguration& right) {
    const auto isSameShare = [](const SambaShare& a, const SambaShare& b) {
        return a.name == b.name && a.path == b.path;
    };
    return left.netbiosName == right.netbiosName && left.workgroup == right.workgroup &&
           left.usershareFolder == right.usershareFolder && left.skippedLines == right.skippedLines &&
           std::equal(left.shares.begin(), left.shares.end(), right.shares.begin(), right.shares.end(),
                      isSameShare);
}

} // namespace

void FuzzSamba(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    std::string parts[kParts];
    std::size_t start = 0;
    for (std::size_t i = 0; i < kParts && start <= size; ++i) {
        // The last one has the zeros that are left over.
        const std::size_t end = i + 1 < kParts ? std::min(bytes.find('\0', start), size) : size;
        parts[i] = bytes.substr(start, end - start);
        start = end + 1;
    }
    int includes = 0;
    const ReadIncluded read = [&](const std::string&) {
        ++includes;
        return std::optional<std::string>(parts[1]);
    };
    SambaConfiguration samba = ParseSamba(parts[0], read);
    Require(includes <= kMostIncludes, "the number of files is bounded");
    CheckShares(samba.shares);

    // What ends each line with a carriage return as well says the same.
    const bool isPlain = parts[0].find('\r') == std::string::npos && parts[1].find('\r') == std::string::npos;
    if (isPlain) {
        for (std::string* text : {&parts[0], &parts[1]}) {
            for (std::size_t at = text->find('\n'); at != std::string::npos; at = text->find('\n', at + 2)) {
                text->insert(at, 1, '\r');
            }
        }
        Require(IsSame(ParseSamba(parts[0], read), samba), "the kind of line ends does not matter");
    }

    const std::size_t own = samba.shares.size();
    std::vector<SambaShare> users;
    for (const char* file : {"media", "MEDIA", "homes"}) {
        if (auto share = ParseUserShare(file, parts[2])) {
            CheckShare(*share);
            users.push_back(std::move(*share));
        }
    }
    AddUserShares(samba, users);
    CheckShares(samba.shares);
    Require(samba.shares.size() <= own + users.size(), "each share stands once");
}

} // namespace vxcio::fuzz
