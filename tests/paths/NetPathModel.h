// NetPathModel.h - the rules of names of shares once more, read step by step and without haste, to hold the
// library against.
#pragma once

#include "frame/Types.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vxcio::test {

struct ModelRecord {
    std::wstring nameUNC;
    std::wstring ipUNC;
    std::wstring local;
};

bool ModelIsAddress(const std::wstring& text);
// What MatchPathRoot appends; nothing where it gives 0.
std::optional<std::wstring> ModelMatch(const std::wstring& path, const std::wstring& root);
// The folder in a record of these bytes; nothing where it has none.
std::optional<std::wstring> ModelFolder(std::vector<uint8> bytes);
// The record of a drive or folder that leads to a share.
ModelRecord ModelConnection(const std::wstring& remoteName, const std::wstring& local);

class ModelTable {
public:
    std::vector<ModelRecord> records;
    std::wstring workgroup;
    std::function<std::wstring(const std::wstring& host)> addressOf; // empty: none

    std::wstring ToLocal(const std::wstring& path);
    std::wstring ToUNC(const std::wstring& path) const;
};

} // namespace vxcio::test
