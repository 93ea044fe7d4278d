#include "xdcam/device/posix/Session.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cctype>
#include <charconv>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <utility>
#include <vector>

namespace xdcam {

namespace {

constexpr std::chrono::seconds kConnectLimit(10);

std::string Upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

// The first word of a text, and what stands behind one blank.
std::pair<std::string, std::string> FirstWord(const std::string& text) {
    const std::size_t blank = text.find(' ');
    return {text.substr(0, blank), blank == std::string::npos ? std::string() : text.substr(blank + 1)};
}

// The last word of a text, and what stands before its blank.
std::pair<std::string, std::string> LastWord(const std::string& text) {
    const std::size_t blank = text.rfind(' ');
    return blank == std::string::npos ? std::pair(text, std::string())
                                      : std::pair(text.substr(blank + 1), text.substr(0, blank));
}

// A number in decimal digits and nothing else.
template <typename Number>
std::optional<Number> NumberIn(const std::string& text) {
    Number number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    return failure == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

// As it can stand in a reply.
std::string Shown(std::string name) {
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return c < ' '; }, '?');
    return name;
}

DataReader ReaderOf(std::vector<std::uint8_t> data) {
    return [data = std::move(data), at = std::size_t(0)](char* buffer, std::size_t bytes) mutable {
        const std::size_t count = std::min(bytes, data.size() - at);
        std::memcpy(buffer, data.data() + at, count);
        at += count;
        return count;
    };
}

// h1,h2,h3,h4,p1,p2
std::optional<sockaddr_in> AddressIn(std::string text) {
    std::array<std::uint8_t, 6> bytes{};
    text += ',';
    for (std::uint8_t& byte : bytes) {
        const std::size_t comma = text.find(',');
        const std::optional<std::uint8_t> number =
            comma == std::string::npos ? std::nullopt : NumberIn<std::uint8_t>(text.substr(0, comma));
        if (!number) {
            return std::nullopt;
        }
        byte = *number;
        text.erase(0, comma + 1);
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    std::memcpy(&address.sin_addr, bytes.data(), 4);
    std::memcpy(&address.sin_port, bytes.data() + 4, 2);
    return text.empty() ? std::optional(address) : std::nullopt;
}

std::string TextOf(const sockaddr_in& address) {
    std::array<std::uint8_t, 6> bytes{};
    std::memcpy(bytes.data(), &address.sin_addr, 4);
    std::memcpy(bytes.data() + 4, &address.sin_port, 2);
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += text.empty() ? "" : ",";
        text += std::to_string(byte);
    }
    return text;
}

} // namespace

struct Session::Command {
    const char* name;
    void (Session::*deed)(const std::string& argument);
    bool isForAll; // also for those who have not logged on
};

const Session::Command* Session::Known(const std::string& name) {
    static constexpr Command kCommands[] = {
        {"USER", &Session::User, true},       {"PASS", &Session::Pass, true},
        {"QUIT", &Session::Quit, true},       {"SYST", &Session::System, true},
        {"NOOP", &Session::Done, true},       {"TYPE", &Session::Type, false},
        {"PORT", &Session::Port, false},      {"PASV", &Session::Passive, false},
        {"PWD", &Session::Here, false},       {"CWD", &Session::Enter, false},
        {"CDUP", &Session::Up, false},        {"SIZE", &Session::Size, false},
        {"REST", &Session::Restart, false},   {"RETR", &Session::Retrieve, false},
        {"LIST", &Session::ListLong, false},  {"NLST", &Session::ListNames, false},
        {"STAT", &Session::Status, false},    {"ABOR", &Session::Abort, false},
        {"SITE-DF", &Session::Space, false},  {"SITE-REPF", &Session::Stretch, false},
        {"STOR", &Session::Protected, false}, {"APPE", &Session::Protected, false},
        {"DELE", &Session::Protected, false}, {"RNFR", &Session::Protected, false},
        {"RNTO", &Session::Protected, false}, {"MKD", &Session::Protected, false},
        {"RMD", &Session::Protected, false},
    };
    const auto* const found = std::find_if(std::begin(kCommands), std::end(kCommands),
                                           [&](const Command& command) { return name == command.name; });
    return found == std::end(kCommands) ? nullptr : found;
}

Session::Session(Socket socket, const SessionPlace& place)
    : m_place(place), m_control(std::move(socket), place.ending, place.heard, place.said) {}

void Session::Run() {
    m_trouble = m_place.troubleOf("CONNECT");
    if (!Pause(m_trouble.delay, m_place.ending)) {
        return;
    }
    if (m_trouble.refusal) {
        Refuse(*m_trouble.refusal);
    } else {
        Say("220 XDCAM device ready");
    }
    while (!m_bOver) {
        const std::optional<std::string> line = m_control.Next();
        if (!line) {
            break;
        }
        Obey(*line);
    }
}

void Session::Obey(const std::string& line) {
    auto [name, argument] = FirstWord(line);
    name = Upper(name);
    if (name == "SITE") {
        const auto [site, rest] = FirstWord(argument);
        name.append("-").append(Upper(site));
        argument = rest;
    }
    m_trouble = m_place.troubleOf(name);
    if (!Pause(m_trouble.delay, m_place.ending)) {
        m_bOver = true;
    } else if (m_trouble.refusal) {
        Refuse(*m_trouble.refusal);
    } else {
        try {
            Do(name, argument);
        } catch (const std::exception& failure) {
            Say("451 " + Shown(failure.what()));
        }
    }
}

void Session::Do(const std::string& name, const std::string& argument) {
    const Command* const command = Known(name);
    if (command == nullptr) {
        Say("500 What is that?");
    } else if (!m_bLoggedOn && !command->isForAll) {
        Say("530 Not logged on");
    } else {
        (this->*command->deed)(argument);
    }
}

void Session::Refuse(const std::string& reply) {
    Say(reply);
    m_bOver = reply.starts_with("421");
}

void Session::User(const std::string& name) {
    m_user = name;
    m_bLoggedOn = false;
    Say("331 Password?");
}

void Session::Pass(const std::string& password) {
    const DeviceOptions& options = m_place.options;
    m_bLoggedOn = options.user.empty() || (m_user == options.user && password == options.password);
    Say(m_bLoggedOn ? "230 Logged on" : "530 Unknown user or wrong password");
}

void Session::Quit(const std::string& /*argument*/) {
    Say("221 Bye");
    m_bOver = true;
}

void Session::Type(const std::string& type) {
    const std::string kind = Upper(type);
    Say(kind == "I" || kind == "A" || kind == "A N" || kind == "L 8" ? "200 Done" : "504 No such type");
}

void Session::Port(const std::string& address) {
    const std::optional<sockaddr_in> there = AddressIn(address);
    m_listener.Close();
    m_port.reset();
    if (!there) {
        Say("501 No address");
    } else if (there->sin_addr.s_addr != PeerAddress(m_control.Connection()).sin_addr.s_addr ||
               there->sin_port == 0) {
        Say("500 Not to others"); // nobody makes a device connect to a third party
    } else {
        m_port = there;
        Say("200 Done");
    }
}

void Session::Passive(const std::string& /*argument*/) {
    if (!m_place.options.passive) {
        Say("502 Active transfers only");
        return;
    }
    m_port.reset();
    sockaddr_in own = OwnAddress(m_control.Connection());
    std::array<char, INET_ADDRSTRLEN> text{};
    m_listener = ListenAt(::inet_ntop(AF_INET, &own.sin_addr, text.data(), text.size()), 0);
    own.sin_port = OwnAddress(m_listener).sin_port;
    Say("227 Entering Passive Mode (" + TextOf(own) + ")");
}

void Session::Here(const std::string& /*argument*/) {
    std::string name;
    for (const char character : m_folder) {
        name += character == '"' ? "\"\"" : std::string(1, character);
    }
    Say("257 \"" + name + "\"");
}

void Session::Enter(const std::string& folder) {
    const std::optional<std::string> found = m_place.folder.Folder(m_folder, folder);
    m_folder = found.value_or(m_folder);
    Say(found ? "250 Done" : "550 No such folder");
}

void Session::Up(const std::string& /*argument*/) {
    Enter("..");
}

void Session::Size(const std::string& file) {
    const auto found = m_place.folder.File(m_folder, file);
    Say(found ? "213 " + std::to_string(std::filesystem::file_size(*found)) : "550 No such clip");
}

void Session::Restart(const std::string& place) {
    const std::optional<std::uint64_t> number = NumberIn<std::uint64_t>(place);
    m_qwRestart = number.value_or(m_qwRestart);
    Say(number ? "350 From there on" : "501 No number");
}

void Session::Retrieve(const std::string& file) {
    const std::uint64_t first = std::exchange(m_qwRestart, 0);
    const auto found = m_place.folder.File(m_folder, file);
    const auto stream =
        std::make_shared<std::ifstream>(found.value_or(std::filesystem::path()), std::ios::binary);
    if (!found || !*stream || first > std::filesystem::file_size(*found)) {
        Say("550 No such clip");
        return;
    }
    stream->seekg(static_cast<std::streamoff>(first));
    Send([stream](char* buffer, std::size_t bytes) {
        stream->read(buffer, static_cast<std::streamsize>(bytes));
        return static_cast<std::size_t>(stream->gcount());
    });
}

void Session::ListLong(const std::string& folder) {
    List(folder, true);
}

void Session::ListNames(const std::string& folder) {
    List(folder, false);
}

void Session::List(const std::string& folder, bool withDetails) {
    const bool isOption = folder.starts_with('-');
    const auto found = m_place.folder.Folder(m_folder, isOption ? FirstWord(folder).second : folder);
    if (found) {
        SendText(m_place.folder.List(*found, withDetails));
    } else {
        Say("550 No such folder");
    }
}

void Session::Status(const std::string& clip) {
    const auto found = m_place.folder.File(m_folder, clip);
    if (clip.empty()) {
        Say("211 XDCAM device, ready");
        return;
    }
    std::shared_ptr<const MxfClip> facts;
    try {
        facts = found ? m_place.folder.Clip(*found) : nullptr;
    } catch (const std::exception&) { // a file that is no clip
    }
    if (!facts) {
        Say("550 No such clip");
        return;
    }
    // A line that begins with the number of the reply and a blank would end it: no number stands first.
    Say("213-Status of the clip\r\n"
        "  Name  " +
        Shown(found->filename().string()) + "\r\n" + "  Bytes  " +
        std::to_string(std::filesystem::file_size(*found)) + "\r\n" + "  Codec  " + facts->Codec() + "\r\n" +
        "  Rate  " + facts->Rate() + "\r\n" + " " + std::to_string(facts->Channels()) +
        " channels of sound\r\n" + " " + std::to_string(facts->Frames()) + " frames\r\n" + "213 end");
}

void Session::Stretch(const std::string& argument) {
    const auto [countText, rest] = LastWord(argument);
    const auto [firstText, name] = LastWord(rest);
    const std::optional<std::uint32_t> first = NumberIn<std::uint32_t>(firstText);
    const std::optional<std::uint32_t> count = NumberIn<std::uint32_t>(countText);
    if (!first || !count || name.empty()) {
        Say("501 SITE REPF clip first count");
        return;
    }
    const auto found = m_place.folder.File(m_folder, name);
    if (!found) {
        Say("550 No such clip");
        return;
    }
    std::vector<std::uint8_t> bytes;
    try {
        bytes = m_place.folder.Clip(*found)->Cut(*first, *count).bytes;
    } catch (const std::out_of_range&) {
        Say("550 No such frames");
        return;
    } catch (const std::exception&) {
        Say("550 No clip to take frames from");
        return;
    }
    Send(ReaderOf(std::move(bytes)));
}

void Session::Space(const std::string& /*argument*/) {
    const ClipFolder::Space disk = m_place.folder.Disk();
    const std::uint64_t free = m_place.options.space.value_or(disk.free);
    SendText("total " + std::to_string(std::max(disk.total, free)) + " others " + std::to_string(free) +
             " bytes\r\n");
}

void Session::Done(const std::string& /*argument*/) {
    Say("200 Done");
}

void Session::System(const std::string& /*argument*/) {
    Say("215 UNIX Type: L8");
}

void Session::Abort(const std::string& /*argument*/) {
    Say("226 Nothing is under way");
}

void Session::Protected(const std::string& /*argument*/) {
    Say("550 The disc is write-protected");
}

void Session::SendText(const std::string& text) {
    Send(ReaderOf({text.begin(), text.end()}));
}

Socket Session::DataConnection() {
    if (m_listener.IsOpen()) {
        const Socket listener = std::move(m_listener);
        return AcceptAt(listener, m_place.ending, kConnectLimit);
    }
    if (const std::optional<sockaddr_in> there = std::exchange(m_port, std::nullopt)) {
        return Dial(OwnAddress(m_control.Connection()), *there, m_place.ending, kConnectLimit);
    }
    return Socket();
}

void Session::Send(const DataReader& reader) {
    if (!m_port && !m_listener.IsOpen()) {
        Say("425 Where to?");
        return;
    }
    Say("150 Here it comes");
    Socket data = DataConnection();
    if (!data.IsOpen()) {
        Say("425 Nobody takes it");
        return;
    }
    const Sent sent = SendData(std::move(data), reader, m_trouble, m_control, m_place.ending);
    if (sent == Sent::Ended) {
        m_bOver = true;
        return;
    }
    Say(m_trouble.closing.value_or(sent == Sent::Whole ? "226 Done" : "426 The transfer has broken off"));
    if (sent == Sent::Aborted) {
        Say("226 Aborted");
    }
}

} // namespace xdcam
