#include "CopyWatch.h"

#include "Console.h"

#include <optional>
#include <utility>

namespace vxcio::tool {

namespace {

constexpr std::string_view kReadError = "ReadFile(nNumberOfBytes=";
constexpr std::string_view kSeekError = "SetFilePointer(";
constexpr std::string_view kNothingRead = "ReadFileWithTwoHandle():";

// What stands between `begin`, wherever it is, and the last `end` behind it.
std::optional<std::string_view> Between(std::string_view text, std::string_view begin, std::string_view end) {
    const std::size_t from = text.find(begin);
    if (from == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t to = text.rfind(end);
    if (to == std::string_view::npos || to < from + begin.size()) {
        return std::nullopt;
    }
    return text.substr(from + begin.size(), to - from - begin.size());
}

// "this->0x1f40:..." and "this->1f40:..." are of the same source.
std::string_view Owner(std::string_view text) {
    static constexpr std::string_view kThis = "this->";
    if (!text.starts_with(kThis)) {
        return {};
    }
    text.remove_prefix(kThis.size());
    if (text.starts_with("0x")) {
        text.remove_prefix(2);
    }
    return text.substr(0, text.find(':'));
}

// "1(name" and "2(name": the copy's number, from 0, and its name.
struct Copy {
    int index;
    std::string words; // "copy 1 'name'"
};

std::optional<Copy> CopyOf(std::optional<std::string_view> text) {
    if (!text || text->size() < 2 || (text->front() != '1' && text->front() != '2') || (*text)[1] != '(') {
        return std::nullopt;
    }
    return Copy{text->front() - '1',
                std::string("copy ") + text->front() + " '" + Shown(text->substr(2)) + "'"};
}

std::string FirstCopy(std::string_view name) {
    return "copy 1 '" + Shown(name) + "'";
}

} // namespace

CopyWatch::CopyWatch(std::function<void(const std::string&)> tell) : m_fnTell(std::move(tell)) {}

void CopyWatch::Tell(const std::string& sentence) const {
    if (m_fnTell) {
        m_fnTell(sentence);
    }
}

std::vector<LostCopy> CopyWatch::TakeLost() {
    const std::lock_guard lock(m_Mutex);
    return std::exchange(m_Lost, {});
}

bool CopyWatch::TakeTrouble() {
    const std::lock_guard lock(m_Mutex);
    return std::exchange(m_bTrouble, false);
}

// The copy in use was too slow, and perhaps the other as well.
bool CopyWatch::TakeTimeOut(Copies& copies, std::string_view text) {
    const std::optional<Copy> slow =
        CopyOf(Between(text, "ReadFileWithTwoHandle()--Read File", ") time out(wait "));
    if (slow) {
        const std::string_view wait = Between(text, ") time out(wait ", "ms)").value_or("?");
        copies.givenUp[slow->index] = true;
        Tell(slow->words + " did not answer within " + std::string(wait) + " ms: given up until it does");
        return true;
    }
    const std::optional<Copy> other =
        CopyOf(Between(text, "ReadFileWithTwoHandle()--Begin Change to File", ") Read"));
    if (other) {
        Tell("reading goes on from " + other->words);
        return true;
    }
    const std::optional<Copy> both =
        CopyOf(Between(text, "ReadFileWithTwoHandle()--Change to File", ") Time out!!!"));
    if (both) {
        copies.givenUp[both->index] = true;
        Tell(both->words + " did not answer within 10 s either: given up until it does");
        m_bTrouble = true;
        return true;
    }
    return false;
}

// An error of copy 1, which the library opens again.
bool CopyWatch::TakeReopening(Copies& copies, std::string_view text) {
    if (const auto name = Between(text, "ReadFile0ByThread -- Begin VXC_CloseHandle(", ")")) {
        copies.givenUp[0] = true;
        Tell(FirstCopy(*name) + " failed: given up until it can be opened again");
        m_bTrouble = true;
        return true;
    }
    if (const auto name = Between(text, "ReadFileByThread Re CreateFile(", ") OK")) {
        copies.givenUp[0] = false;
        Tell(FirstCopy(*name) + " is back: it was opened again");
        return true;
    }
    return false;
}

bool CopyWatch::TakeChange(Copies& copies, std::string_view text) {
    const auto number = Between(text, "ReadFileWithTwoHandle--Change to File", " Read");
    if (!number || (*number != "1" && *number != "2")) {
        return false;
    }
    const int index = number->front() - '1';
    const std::string words = "copy " + std::string(*number);
    if (copies.givenUp[index]) {
        copies.givenUp[index] = false;
        Tell(words + " is back: reading goes on from it");
    } else if (copies.givenUp[1 - index]) {
        Tell("reading goes on from " + words);
    }
    return true;
}

void CopyWatch::Lose(int number, std::string_view name) {
    m_Lost.push_back({number, std::string(name), m_TimedOut.contains(name)});
}

bool CopyWatch::TakeOpening(std::string_view text) {
    static constexpr std::string_view kOneIsGood = "two file but only one is OK: File1:";
    if (const auto name = Between(text, kOneIsGood, "(Error), File2:")) {
        Lose(1, *name);
        return true;
    }
    if (const auto name = Between(text, "(OK), File2:", "(error)")) {
        Lose(2, *name);
        return true;
    }
    if (text.find("--Two File Size not same") != std::string_view::npos) {
        Tell("the two copies differ in size");
        return true;
    }
    return false;
}

void CopyWatch::Take(INFOTYPE level, std::string_view text) {
    const std::lock_guard lock(m_Mutex);
    const std::string_view owner = Owner(text);
    if (!owner.empty()) {
        Copies& copies = m_Sources[std::string(owner)];
        if (TakeTimeOut(copies, text) || TakeReopening(copies, text) || TakeChange(copies, text) ||
            TakeOpening(text)) {
            return;
        }
    }
    if (const auto name = Between(text, "CQLSoftFileHandle::CreateFile(", ") Time Out!!!")) {
        m_TimedOut.emplace(*name);
    }
    // At the end of a file a read of nothing is logged as well.
    const bool isError = level <= INFOTYPE_ERROR && !text.starts_with(kNothingRead);
    if (isError || text.starts_with(kReadError) ||
        (text.find(kSeekError) != std::string_view::npos && text.find("error") != std::string_view::npos)) {
        m_bTrouble = true;
    }
}

} // namespace vxcio::tool
