// StallRules.h - which operations of the file system wait or fail, and how often files are read.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <istream>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace stallfs {

enum class Operation { Stat, Open, Read, Write, Truncate, Sync, Close };

// Any thread may call everything.
class StallRules {
public:
    // Carries out one order and gives the answer, one line without its end:
    //
    //   stall OPERATION NAME [AFTER]   the operation waits from now on            "ok"
    //   fail OPERATION NAME [AFTER]    it fails with an input/output error        "ok"
    //   fill OPERATION NAME [AFTER]    it fails as on a full disk                 "ok"
    //   spoil write NAME AFTER         the byte at that place is stored wrong     "ok"
    //   release                        no rule holds any more, who waits goes on  "ok"
    //   wait COUNT                     answers when so many operations wait       "ok"
    //   standing                       how many wait now                          "COUNT"
    //   reads NAME                     what was delivered of a file so far        "COUNT BYTES"
    //
    // OPERATION is stat, open, read, write, truncate, sync or close, where making a file counts as opening
    // it; NAME is the name below the mount without a slash in front, or '*' for all. AFTER concerns reads and
    // writes alone: those that reach beyond that many bytes of the file. Anything else is answered with
    // "error" and the reason.
    std::string Order(const std::string& line);

    enum class Passed { Goes, Fails, Full, Interrupted };

    // What one operation has to pass: waits while a rule says so, unless `interrupted`, which is asked again
    // and again, says that nobody wants the answer any more. For reads and writes, `end` is the first byte
    // behind the range.
    Passed Pass(Operation operation, const std::string& name, std::uint64_t end, bool (*interrupted)());

    // Changes the bytes of a write that are to be stored wrong. `data` goes to `from` of the file.
    void Spoil(const std::string& name, std::uint64_t from, std::vector<char>& data);

    void CountRead(const std::string& name, std::uint64_t bytes);

private:
    enum class Deed { Stall, Fail, Fill, Spoil };
    struct Rule {
        Operation operation;
        std::string name;
        std::uint64_t after;
        Deed deed;
        bool Takes(Operation what, const std::string& which, std::uint64_t end) const;
    };
    struct Reads {
        std::uint64_t count = 0;
        std::uint64_t bytes = 0;
    };

    std::string AddRule(const std::string& verb, std::istream& words);
    const Rule* Find(Operation operation, const std::string& name, std::uint64_t end) const;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    // Guarded by m_mutex.
    std::vector<Rule> m_rules;
    std::map<std::string, Reads> m_reads;
    std::uint64_t m_standing = 0;
    std::uint64_t m_releases = 0;
};

} // namespace stallfs
