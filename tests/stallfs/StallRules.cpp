#include "StallRules.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <sstream>

namespace stallfs {

namespace {

constexpr std::chrono::milliseconds kLookForInterrupt{20};

std::optional<Operation> OperationOf(const std::string& word) {
    if (word == "stat") {
        return Operation::Stat;
    }
    if (word == "open") {
        return Operation::Open;
    }
    if (word == "read") {
        return Operation::Read;
    }
    if (word == "write") {
        return Operation::Write;
    }
    if (word == "truncate") {
        return Operation::Truncate;
    }
    if (word == "sync") {
        return Operation::Sync;
    }
    if (word == "close") {
        return Operation::Close;
    }
    return std::nullopt;
}

} // namespace

bool StallRules::Rule::Takes(Operation what, const std::string& which, std::uint64_t end) const {
    const bool hasPlace = what == Operation::Read || what == Operation::Write;
    return operation == what && (name == "*" || name == which) && (!hasPlace || end > after);
}

const StallRules::Rule* StallRules::Find(Operation operation, const std::string& name,
                                         std::uint64_t end) const {
    const auto found = std::find_if(m_rules.begin(), m_rules.end(), [&](const Rule& rule) {
        return rule.deed != Deed::Spoil && rule.Takes(operation, name, end);
    });
    return found == m_rules.end() ? nullptr : &*found;
}

// Under the mutex.
std::string StallRules::AddRule(const std::string& verb, std::istream& words) {
    std::string operation;
    std::string name;
    std::uint64_t after = 0;
    words >> operation >> name;
    if (!words || !OperationOf(operation)) {
        return "error: " + verb + " wants stat, open, read, write, truncate, sync or close, and a name";
    }
    if (!(words >> after)) {
        after = 0;
    }
    const Deed deed = verb == "stall"  ? Deed::Stall
                      : verb == "fail" ? Deed::Fail
                      : verb == "fill" ? Deed::Fill
                                       : Deed::Spoil;
    m_rules.push_back({*OperationOf(operation), name, after, deed});
    return "ok";
}

std::string StallRules::Order(const std::string& line) {
    std::istringstream words(line);
    std::string verb;
    words >> verb;
    std::unique_lock lock(m_mutex);
    if (verb == "stall" || verb == "fail" || verb == "fill" || verb == "spoil") {
        return AddRule(verb, words);
    }
    if (verb == "release") {
        m_rules.clear();
        ++m_releases;
        m_changed.notify_all();
        return "ok";
    }
    if (verb == "wait") {
        std::uint64_t count = 0;
        if (!(words >> count)) {
            return "error: wait wants a number";
        }
        m_changed.wait(lock, [&] { return m_standing >= count; });
        return "ok";
    }
    if (verb == "standing") {
        return std::to_string(m_standing);
    }
    if (verb == "reads") {
        std::string name;
        words >> name;
        const Reads& reads = m_reads[name];
        return std::to_string(reads.count) + " " + std::to_string(reads.bytes);
    }
    return "error: no such order: " + verb;
}

StallRules::Passed StallRules::Pass(Operation operation, const std::string& name, std::uint64_t end,
                                    bool (*interrupted)()) {
    std::unique_lock lock(m_mutex);
    const Rule* const rule = Find(operation, name, end);
    if (rule == nullptr) {
        return Passed::Goes;
    }
    if (rule->deed != Deed::Stall) {
        return rule->deed == Deed::Fill ? Passed::Full : Passed::Fails;
    }
    // Who waits goes on at the next release, also where a new rule follows at once.
    const std::uint64_t releases = m_releases;
    const auto released = [&] { return m_releases != releases; };
    ++m_standing;
    m_changed.notify_all();
    // A process that is killed meanwhile could not end before its operation does.
    while (!m_changed.wait_for(lock, kLookForInterrupt, released) && !interrupted()) {
    }
    --m_standing;
    return released() ? Passed::Goes : Passed::Interrupted;
}

void StallRules::Spoil(const std::string& name, std::uint64_t from, std::vector<char>& data) {
    const std::lock_guard lock(m_mutex);
    for (const Rule& rule : m_rules) {
        if (rule.deed == Deed::Spoil && (rule.name == "*" || rule.name == name) && rule.after >= from &&
            rule.after - from < data.size()) {
            char& byte = data[static_cast<std::size_t>(rule.after - from)];
            byte = static_cast<char>(byte ^ 1);
        }
    }
}

void StallRules::CountRead(const std::string& name, std::uint64_t bytes) {
    const std::lock_guard lock(m_mutex);
    Reads& reads = m_reads[name];
    ++reads.count;
    reads.bytes += bytes;
}

} // namespace stallfs
