// StallRules.h - which operations of the file system wait or fail, and how often files are read.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace stallfs {

enum class Operation { Stat, Open, Read, Write, Truncate, Close };

// Any thread may call everything.
class StallRules {
public:
    // Carries out one order and gives the answer, one line without its end:
    //
    //   stall OPERATION NAME [AFTER]   the operation waits from now on            "ok"
    //   fail OPERATION NAME [AFTER]    it fails with an input/output error        "ok"
    //   release                        no rule holds any more, who waits goes on  "ok"
    //   wait COUNT                     answers when so many operations wait       "ok"
    //   standing                       how many wait now                          "COUNT"
    //   reads NAME                     what was delivered of a file so far        "COUNT BYTES"
    //
    // OPERATION is stat, open, read, write, truncate or close, where making a file counts as opening it; NAME
    // is the name below the mount without a slash in front, or '*' for all. AFTER concerns reads and writes
    // alone: those that reach beyond that many bytes of the file.
    // Anything else is answered with "error" and the reason.
    std::string Order(const std::string& line);

    enum class Passed { Goes, Fails, Interrupted };

    // What one operation has to pass: waits while a rule says so, unless `interrupted`, which is asked again
    // and again, says that nobody wants the answer any more. For reads and writes, `end` is the first byte
    // behind the range.
    Passed Pass(Operation operation, const std::string& name, std::uint64_t end, bool (*interrupted)());

    void CountRead(const std::string& name, std::uint64_t bytes);

private:
    struct Rule {
        Operation operation;
        std::string name;
        std::uint64_t after;
        bool fails;
        bool Takes(Operation what, const std::string& which, std::uint64_t end) const;
    };
    struct Reads {
        std::uint64_t count = 0;
        std::uint64_t bytes = 0;
    };

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
