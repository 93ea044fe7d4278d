#include "FtpTalk.h"

#include "Console.h"

#include <algorithm>

namespace vxcio::tool {

namespace {

thread_local FtpTalk* t_pTalk = nullptr;

constexpr std::size_t kNumber = 3; // digits in front of a reply
constexpr std::string_view kGoodbye = "421";
constexpr std::string_view kCut = "CFTPSocket:: recv() err";

} // namespace

FtpTalk::Hearing::Hearing(FtpTalk& talk) {
    t_pTalk = &talk;
}

FtpTalk::Hearing::~Hearing() {
    t_pTalk = nullptr;
}

void FtpTalk::HearReply(const std::string& line) {
    if (t_pTalk == nullptr || line.size() <= kNumber) {
        return;
    }
    FtpTalk& talk = *t_pTalk;
    const std::string number = line.substr(0, kNumber);
    if (talk.m_strOpen.empty()) {
        talk.Current().lines = 0;
        if (line[kNumber] == '-') {
            talk.m_strOpen = number;
            return;
        }
    } else if (line[kNumber] == '-' || (talk.m_strOpen != number && number != kGoodbye)) {
        ++talk.Current().lines; // the library breaks off any reply at a goodbye
        return;
    }
    talk.m_strOpen.clear();
    talk.Current().reply = line;
}

// A command is logged with the line end that it has on its way, a line of a reply with a plain one.
void FtpTalk::HearOther(std::string_view line) {
    if (t_pTalk == nullptr) {
        return;
    }
    if (line.starts_with(kCut)) {
        t_pTalk->m_bCut = true;
    } else if (!t_pTalk->m_strOpen.empty()) {
        t_pTalk->Current().lines += line.ends_with('\n') ? 1 : 0;
    } else if (line.ends_with("\r\n")) {
        t_pTalk->m_exchanges.push_back({std::string(line.substr(0, line.find_first_of(" \r"))), ""});
    }
}

FtpTalk::Exchange& FtpTalk::Current() {
    return m_exchanges.empty() ? m_exchanges.emplace_back() : m_exchanges.back();
}

const FtpTalk::Exchange* FtpTalk::Last(std::string_view command) const {
    const auto found = std::find_if(m_exchanges.rbegin(), m_exchanges.rend(),
                                    [command](const Exchange& one) { return one.command == command; });
    return found == m_exchanges.rend() ? nullptr : &*found;
}

std::string FtpTalk::ReplyTo(std::string_view command) const {
    const Exchange* const last = Last(command);
    return last == nullptr ? std::string() : last->reply;
}

std::size_t FtpTalk::LinesOfReplyTo(std::string_view command) const {
    const Exchange* const last = Last(command);
    return last == nullptr ? 0 : last->lines;
}

std::string FtpTalk::LastReply() const {
    return m_exchanges.empty() ? std::string() : m_exchanges.back().reply;
}

std::string FtpTalk::Words() const {
    const std::string reply = LastReply();
    const bool isFailure = reply.starts_with('4') || reply.starts_with('5');
    return reply.empty()
               ? "the server does not answer"
               : (isFailure ? "the server says '" : "the server says no more than '") + Shown(reply) + "'";
}

bool IsRefusal(const std::string& reply) {
    return (reply.starts_with('4') || reply.starts_with('5')) && !reply.starts_with(kGoodbye);
}

} // namespace vxcio::tool
