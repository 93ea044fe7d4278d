#include "Probe.h"

#include "Console.h"
#include "Guarded.h"
#include "HttpName.h"
#include "Reading.h"
#include "Text.h"

#include "frame/SystemLayer.h"
#include "module/VXCSoftCodecIO.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <string_view>

namespace vxcio::tool {

namespace {

// Enough for a disk that has to spin up first.
constexpr std::chrono::milliseconds kKindLimit{3000};

std::optional<std::filesystem::file_type> KindOf(const std::string& name) {
    return Within<std::filesystem::file_type>(kKindLimit, [name] {
        std::error_code ignored;
        return std::filesystem::status(name, ignored).type();
    });
}

FileFacts Look(const std::string& name) {
    FileFacts facts;
    const std::wstring wide = Widen(name);
    const SourcePointer source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    if (!source) {
        facts.reason = "memory lacks";
        return facts;
    }
    const uint32 status = source->OpenFile(wide.c_str(), VXC_FILE_FLAG_SEQUENTIAL_SCAN, nullptr, 0);
    if (status != VXC_STATUS_OK) {
        const uint32 error = VXC_GetLastError();
        facts.reason = OpenReason(name, status, error, LastErrorWords(), {});
        return facts;
    }
    facts.opened = true;
    facts.size = source->GetFileSize();
    facts.sectorSize = GetDiskSectorSize(wide.c_str());
    facts.driveType = GetDiskDriveType(wide.c_str());
    QueryDisk(wide.c_str(), &facts.disk);
    return facts;
}

} // namespace

const char* ServingSource(const std::string& name) {
    return IsTakenForUrl(name) ? "CRemoteSource" : "CFileSource";
}

std::string LastErrorWords() {
    std::array<wchar_t, 512> text{};
    VXC_GetLastErrorStringW(text.data(), static_cast<int>(text.size()));
    return Narrow(text.data());
}

std::string OpenReason(const std::string& name, uint32 status, uint32 error, const std::string& errorText,
                       const std::string& failure) {
    std::array<char, 64> numbers{};
    std::snprintf(numbers.data(), numbers.size(), "(status 0x%08X, error %u)", status, error);
    std::string words;
    if (name.empty()) {
        words = "the name is empty";
    } else if (KindOf(name) == std::filesystem::file_type::directory) {
        words = "it is a folder";
    } else if (status == VXC_STATUS_TIME_OUT) {
        words = "the disk does not answer";
    } else if (error == VXC_ERROR_FILENAME_EXCED_RANGE) {
        words = "the name is too long";
    } else {
        words = error != VXC_ERROR_SUCCESS ? errorText : "the library could not open it";
    }
    if (!failure.empty()) {
        words += "; log: " + Shown(failure);
    }
    return words + " " + numbers.data();
}

std::string ReasonAgainst(const std::string& name) {
    void* table = nullptr;
    const CVXCString plain = DELVXCIOID(Widen(name).c_str(), &table);
    if (table != nullptr) {
        return "the name ends in the tag of a host's own file functions, which only a program can supply";
    }
    if (IsTakenForUrl(name)) {
        return NoUrlWords(name);
    }
    const std::optional<std::filesystem::file_type> kind = KindOf(name);
    if (kind == std::filesystem::file_type::fifo || kind == std::filesystem::file_type::socket) {
        return "it is a pipe or socket, and sources read by position";
    }
    return {};
}

FileFacts AskFile(const std::string& name, std::chrono::milliseconds limit) {
    FileFacts facts;
    facts.reason = ReasonAgainst(name);
    if (!facts.reason.empty()) {
        return facts;
    }
    const std::optional<FileFacts> found = Within<FileFacts>(limit, [name] { return Look(name); });
    if (!found) {
        facts.reason = "the disk does not answer within " + std::to_string(limit.count()) + " ms";
        return facts;
    }
    return *found;
}

} // namespace vxcio::tool
