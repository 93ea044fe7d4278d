#include "Console.h"
#include "ExitCodes.h"
#include "HttpReading.h"
#include "Json.h"
#include "Names.h"
#include "Probe.h"
#include "Sizes.h"
#include "Stream.h"
#include "Terminal.h"
#include "Verbs.h"

#include "sysu/HostControl.h"

namespace vxcio::tool {

namespace {

const char* DriveWord(uint32 type) {
    switch (type) {
    case VXC_DRIVE_NO_ROOT_DIR:
        return "no such root";
    case VXC_DRIVE_REMOVABLE:
        return "removable";
    case VXC_DRIVE_FIXED:
        return "fixed disk";
    case VXC_DRIVE_REMOTE:
        return "network";
    case VXC_DRIVE_CDROM:
        return "optical";
    case VXC_DRIVE_RAMDISK:
        return "memory";
    default:
        return "unknown";
    }
}

std::string DirectWords(const DiskFacts& disk) {
    if (disk.directOffset == 0 && disk.directMemory == 0) {
        return "the file system names no needs";
    }
    return "positions and sizes in " + std::to_string(disk.directOffset) + " bytes, memory in " +
           std::to_string(disk.directMemory);
}

const char* SourceOf(const Input& input) {
    if (!input.joined && input.entries.front().ftp) {
        return "CFtpSource";
    }
    return input.joined ? "CDataSourceArray" : ServingSource(input.entries.front().first);
}

std::string SizeWords(uint64 size) {
    std::string words = WithCommas(size) + " bytes";
    if (size >= 1024) {
        words += " (" + ReadableSize(static_cast<double>(size)) + ")";
    }
    return words;
}

std::string DiskText(const FileFacts& facts, const std::string& indent) {
    return indent + "sector size  " + std::to_string(facts.sectorSize) + " bytes\n" + indent +
           "drive type   " + std::to_string(facts.driveType) + " (" + DriveWord(facts.driveType) + ")\n" +
           indent + "file system  " + facts.disk.fileSystem + "\n" + indent + "direct I/O   " +
           DirectWords(facts.disk) + "\n";
}

void AddDisk(Json& out, const FileFacts& facts) {
    out["sectorSize"] = facts.sectorSize;
    out["driveType"] = facts.driveType;
    out["driveTypeText"] = DriveWord(facts.driveType);
    out["fileSystem"] = facts.disk.fileSystem;
    out["directIO"] = {{"offset", facts.disk.directOffset}, {"memory", facts.disk.directMemory}};
}

// A file that belongs to a larger whole.
std::string PartText(const std::string& title, const std::string& name, const FileFacts& facts) {
    const std::string head = "  " + title + Shown(name) + "\n";
    if (!facts.opened) {
        return head + "    not open     " + facts.reason + "\n";
    }
    return head + "    size         " + SizeWords(facts.size) + "\n" + DiskText(facts, "    ");
}

Json PartJson(const std::string& name, const FileFacts& facts) {
    Json out;
    out["name"] = name;
    if (!facts.opened) {
        out["error"] = facts.reason;
        return out;
    }
    out["size"] = facts.size;
    AddDisk(out, facts);
    return out;
}

// One input that is open, in the form that is wanted.
class Report {
public:
    Report(const Input& input, Stream& stream, const Options& options, LogView& log)
        : m_Input(input), m_Stream(stream), m_Options(options), m_Log(log) {}

    void Make() {
        const Entry& first = m_Input.entries.front();
        m_Json["name"] = m_Input.written;
        m_Json["source"] = SourceOf(m_Input);
        m_Json["size"] = m_Stream.Size();
        m_Text = Shown(m_Input.written) + "\n  source       " + m_Json["source"].get<std::string>() +
                 "\n  size         " + SizeWords(m_Stream.Size()) + "\n";
        TellPreRead();
        if (m_Input.joined) {
            m_Text += "  files        " + WithCommas(m_Input.entries.size()) + "\n";
            TellEntries();
        } else if (!first.second.empty()) {
            m_Json["copies"] = Copies(first, "copy ");
        } else if (first.ftp) {
            TellServer(first.ftp->host, first.ftp->port);
            if (m_Stream.Size() == 0) {
                m_Text += "               (a server that tells no sizes has them all 0)\n";
            }
        } else if (first.url) {
            TellServer(first.url->host, first.url->port);
        } else {
            const FileFacts facts = AskFile(first.first, AskLimit(m_Options));
            m_Text += DiskText(facts, "  ");
            AddDisk(m_Json, facts);
        }
    }

    const std::string& Text() const { return m_Text; }
    const Json& AsJson() const { return m_Json; }

private:
    void TellPreRead() {
        if (!m_Options.preRead) {
            return;
        }
        const bool on = m_Stream.IsPreRead();
        m_Json["readAhead"] = {{"asked", *m_Options.preRead}, {"on", on}};
        m_Text += "  read-ahead   " +
                  (on                       ? "on, at least " + SizeWords(*m_Options.preRead)
                   : CountUrls(m_Input) > 0 ? std::string("off: URLs know none")
                                            : std::string("off: the library refused it")) +
                  "\n";
    }

    void TellServer(const std::string& host, std::uint16_t port) {
        m_Json["server"] = {{"host", host}, {"port", port}};
        m_Text += "  server       " + Shown(host) + ", port " + std::to_string(port) + "\n";
    }

    Json Copies(const Entry& entry, const std::string& title) {
        Json copies = Json::array();
        for (const std::string* const name : {&entry.first, &entry.second}) {
            const FileFacts facts = AskFile(*name, AskLimit(m_Options));
            m_Text += PartText(title + std::to_string(copies.size() + 1) + "  ", *name, facts);
            copies.push_back(PartJson(*name, facts));
        }
        return copies;
    }

    Json TellUrl(const HttpName& name, const std::string& title) {
        std::string reason;
        const std::unique_ptr<HttpReading> reading = HttpReading::Open(name, m_Options, m_Log, reason);
        m_Text += "  " + title + "  " + Shown(name.shown) + "\n";
        Json out;
        out["name"] = name.shown;
        if (!reading) {
            out["error"] = reason;
            m_Text += "    not open     " + reason + "\n";
            return out;
        }
        out["size"] = reading->Size();
        out["server"] = {{"host", name.host}, {"port", name.port}};
        m_Text += "    size         " + SizeWords(reading->Size()) + "\n    server       " +
                  Shown(name.host) + ", port " + std::to_string(name.port) + "\n";
        return out;
    }

    void TellEntries() {
        m_Json["files"] = Json::array();
        for (std::size_t i = 0; i < m_Input.entries.size() && !InterruptWanted(); ++i) {
            const Entry& entry = m_Input.entries[i];
            const std::string title = "file " + WithCommas(i + 1);
            if (!entry.second.empty()) {
                m_Json["files"].push_back({{"copies", Copies(entry, title + ", copy ")}});
                continue;
            }
            if (entry.url) {
                m_Json["files"].push_back(TellUrl(*entry.url, title));
                continue;
            }
            const FileFacts facts = AskFile(entry.first, AskLimit(m_Options));
            m_Text += PartText(title + "  ", entry.first, facts);
            m_Json["files"].push_back(PartJson(entry.first, facts));
        }
    }

    const Input& m_Input;
    Stream& m_Stream;
    const Options& m_Options;
    LogView& m_Log;
    std::string m_Text;
    Json m_Json;
};

} // namespace

int RunInfo(const Options& options, LogView& log) {
    std::string reason;
    const std::optional<std::vector<Input>> inputs = ReadNames(options.names, options.join, reason);
    if (!inputs) {
        Complain("info: " + reason);
        return kExitFailed;
    }
    int code = kExitOk;
    Json all = Json::array();
    for (const Input& input : *inputs) {
        if (InterruptWanted()) {
            return kExitInterrupted;
        }
        const std::unique_ptr<Stream> stream = Stream::Open(input, options, log, reason);
        if (!stream) {
            Complain("info: cannot open '" + Shown(input.written) + "': " + reason);
            all.push_back({{"name", input.written}, {"source", SourceOf(input)}, {"error", reason}});
            code = kExitFailed;
            continue;
        }
        Report report(input, *stream, options, log);
        report.Make();
        if (options.json) {
            all.push_back(report.AsJson());
        } else {
            Print(report.Text());
        }
    }
    if (options.json) {
        PrintJson(all);
    }
    return code;
}

} // namespace vxcio::tool
