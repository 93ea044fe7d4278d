#include "ResumeRecord.h"

#include "CopyPlan.h"
#include "Guarded.h"
#include "TargetFile.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <utility>

namespace vxcio::tool {

namespace {

constexpr std::string_view kFirstLine = "vxcio part 1";
constexpr std::size_t kMostBytes = 65536; // of a file that can be a record

std::string RecordName(const std::string& part) {
    return part + ".from";
}

// The rest of the next line, which begins with `key`.
std::optional<std::string_view> TakeLine(std::string_view& text, std::string_view key) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos || !text.starts_with(key)) {
        return std::nullopt;
    }
    const std::string_view rest = text.substr(0, end).substr(key.size());
    text.remove_prefix(end + 1);
    return rest;
}

bool TakeNumber(std::string_view& text, std::string_view key, uint64& number) {
    const std::optional<std::string_view> digits = TakeLine(text, key);
    if (!digits) {
        return false;
    }
    const auto [end, error] = std::from_chars(digits->data(), digits->data() + digits->size(), number);
    return error == std::errc() && end == digits->data() + digits->size();
}

std::optional<std::string> ReadText(const std::string& name) {
    if (LookAt(name).kind != NameKind::File) {
        return std::nullopt;
    }
    std::FILE* const file = std::fopen(name.c_str(), "rb");
    if (file == nullptr) {
        return std::nullopt;
    }
    std::string text(kMostBytes + 1, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), file));
    std::fclose(file);
    return text.size() > kMostBytes ? std::nullopt : std::optional<std::string>(std::move(text));
}

// A file of its own, whatever the name leads to now.
std::string WriteText(const std::string& name, const std::string& text) {
    std::remove(name.c_str());
    std::FILE* const file = std::fopen(name.c_str(), "wbx");
    if (file == nullptr) {
        return std::strerror(errno);
    }
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    const int error = errno;
    if (std::fclose(file) == 0 && isWritten) {
        return {};
    }
    std::remove(name.c_str());
    return std::strerror(isWritten ? errno : error);
}

} // namespace

std::string FormatRecord(const ResumeRecord& record) {
    return std::string(kFirstLine) + "\nfrom " + record.from + "\nsize " + std::to_string(record.size) +
           "\ntime " + std::to_string(record.time) + "\nbytes " + std::to_string(record.bytes) + "\n";
}

std::optional<ResumeRecord> ParseRecord(std::string_view text) {
    ResumeRecord record;
    const std::optional<std::string_view> first = TakeLine(text, kFirstLine);
    const std::optional<std::string_view> from = first && first->empty() ? TakeLine(text, "from ") : first;
    if (!first || !first->empty() || !from) {
        return std::nullopt;
    }
    record.from = *from;
    if (TakeNumber(text, "size ", record.size) && TakeNumber(text, "time ", record.time) &&
        TakeNumber(text, "bytes ", record.bytes) && text.empty()) {
        return record;
    }
    return std::nullopt;
}

std::optional<ResumeRecord> ReadRecord(const std::string& part, const Options& options) {
    const std::string name = RecordName(part);
    using Text = std::optional<std::string>;
    const std::optional<Text> text = Within<Text>(TargetLimit(options), [name] { return ReadText(name); });
    return text && *text ? ParseRecord(**text) : std::nullopt;
}

std::string WriteRecord(const std::string& part, const ResumeRecord& record, const Options& options) {
    const std::string name = RecordName(part);
    const std::string text = FormatRecord(record);
    const std::optional<std::string> reason =
        Within<std::string>(TargetLimit(options), [name, text] { return WriteText(name, text); });
    return reason ? *reason : "the disk does not answer in time";
}

void RemoveRecord(const std::string& part, const Options& options) {
    Within<int>(TargetLimit(options), [name = RecordName(part)] {
        // Nothing else that may have this name is the tool's to remove.
        return LookAt(name).kind == NameKind::File ? std::remove(name.c_str()) : 0;
    });
}

} // namespace vxcio::tool
