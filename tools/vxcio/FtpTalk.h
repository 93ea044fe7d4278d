// FtpTalk.h - what the library and a server said to each other in one piece of work.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio::tool {

// Commands and their replies as the library's log shows them. A value; what is said by other threads, to
// other servers or behind a piece of work that was left, is in none but their own.
class FtpTalk {
public:
    // As long as it lives, `talk` gets what is said on this thread. One at a time on a thread.
    class Hearing {
    public:
        explicit Hearing(FtpTalk& talk);
        ~Hearing();
        Hearing(const Hearing&) = delete;
        Hearing& operator=(const Hearing&) = delete;
    };
    // For the log: a line of a reply with its number, as it may be shown, and any other line.
    static void HearReply(const std::string& line);
    static void HearOther(std::string_view line);

    // The whole reply to the last command of this name, by its last line; empty where none came, or not to
    // its end, or there was no such command.
    std::string ReplyTo(std::string_view command) const;
    // The reply to the last command of all, in the same way.
    std::string LastReply() const;
    // How many lines the reply to the last command of this name has between its first and its last one.
    std::size_t LinesOfReplyTo(std::string_view command) const;
    // The last reply as the reason of a failure.
    std::string Words() const;
    // Whether a transfer was cut on its connection.
    bool IsCut() const { return m_bCut; }

private:
    struct Exchange {
        std::string command; // without its argument
        std::string reply;
        std::size_t lines = 0; // within it
    };

    const Exchange* Last(std::string_view command) const;
    Exchange& Current();

    std::vector<Exchange> m_exchanges;
    std::string m_strOpen; // the number of a reply of several lines that has not ended
    bool m_bCut = false;
};

// Whether a reply is a refusal, after which the session goes on: neither one that is only the first of two,
// nor the end of the session.
bool IsRefusal(const std::string& reply);

} // namespace vxcio::tool
