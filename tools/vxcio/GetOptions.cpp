#include "GetOptions.h"

#include "Console.h"
#include "FtpName.h"

#include <CLI/CLI.hpp>

#include <string>

namespace vxcio::tool {

namespace {

constexpr uint32 kPutPreRead = 8u << 20;

constexpr const char* kQuestionsFooter =
    "Before a file that is there is lost there is a question: asked on standard error, answered on\n"
    "standard input where that is a terminal. --yes or --no answers all. No answer, and any but y or\n"
    "yes, means no: then nothing is touched, and the exit code is 1.\n";

constexpr const char* kGetFooter =
    "LOCAL is one file, or a folder that is there, which gets the file under its own name; left out it\n"
    "is the folder in which the tool runs. In mode normal the file is written as LOCAL.qlqlql and gets\n"
    "its name when it is whole; a LOCAL that was there goes, after the question, before the transfer\n"
    "begins. With --active, and in other modes, it is written under its own name at once, and\n"
    "LOCAL.qlqlql removed.\n"
    "All is well only if as many bytes came as the server tells, and stand in the file. --verify reads\n"
    "the source over the network once more for its digest, forces the file to the disk, and reads it\n"
    "back from there.\n"
    "A get that ends early leaves LOCAL.qlqlql and, where the server lists the source as older than two\n"
    "days, LOCAL.qlqlql.from, which tells what the part was made from. --resume goes on with such a\n"
    "part once it is known to be the start of the source: where that file matches the part, and the\n"
    "source as it is now, the first and the last MiB of the part and 14 places between are read again\n"
    "and compared; else all of it. A part that differs, or is larger than the source, is not gone on\n"
    "with: after a question, the file is fetched anew.\n";

constexpr const char* kPutFooter =
    "The URL names one file, or a folder that is there. The file is sent as NAME.qlqlql and renamed\n"
    "when the server tells the size that was sent; where the server refuses that because of the former\n"
    "file, that one is deleted first. In the modes exploded and xdcam it is sent under its own name at\n"
    "once. --verify reads it back from the server. The md5 goes to standard output, for md5sum -c. The\n"
    "exit code is 4 where the target could not be written.\n"
    "--resume goes on with a NAME.qlqlql that is there, once all of it was read from the server and is\n"
    "the start of LOCAL. A part that differs, or is larger than LOCAL, is not gone on with: after a\n"
    "question, the file is sent anew. In mode normal some servers spoil what is added to a file, which\n"
    "ends with exit code 4, under the name of the part; with --active they do not.\n";

CLI::App* Add(CLI::App& app, Options& options, const char* name, Verb which, const char* help,
              const std::string& footer) {
    CLI::App* const verb = app.add_subcommand(name, help);
    verb->fallthrough();
    CLI::Option* const yes = verb->add_flag("--yes", options.yes, "Answer all questions with yes");
    verb->add_flag("--no", options.no, "Answer all questions with no")->excludes(yes);
    verb->add_flag("--json", options.json,
                   "Print one JSON object a line: progress, and what became of the file");
    verb->footer(footer);
    verb->callback([&options, which] {
        options.verb = which;
        if (which == Verb::Put) {
            options.preRead = kPutPreRead;
            options.isPreReadAsked = false;
        }
    });
    return verb;
}

void Refuse(const char* which, const char* why) {
    throw CLI::ValidationError(which, why);
}

} // namespace

void AddGetVerbs(CLI::App& app, Options& options, const char* footer) {
    CLI::App* const get = Add(app, options, "get", Verb::Get, "Fetch one file from an FTP server",
                              std::string(kGetFooter) + kQuestionsFooter + footer);
    get->add_flag("--resume", options.resume, "Go on with LOCAL.qlqlql, if it is the start of the source");
    get->add_flag("--verify", options.verify, "Read source and file once more, and compare (exit code 3)");
    get->add_option("NAME", options.names, "URL [LOCAL]")->required()->type_name("");
    CLI::App* const put = Add(app, options, "put", Verb::Put, "Send one file to an FTP server",
                              std::string(kPutFooter) + kQuestionsFooter + footer);
    put->add_flag("--resume", options.resume, "Go on with NAME.qlqlql, if it is the start of LOCAL");
    put->add_flag("--verify", options.verify, "Read the file back and compare (exit code 3)");
    put->add_option("NAME", options.names, "LOCAL URL; LOCAL: file, FIRST*SECOND or @FILE")
        ->required()
        ->type_name("");
}

void CheckGetOptions(const Options& options) {
    const bool isNormal = !options.ftpMode || *options.ftpMode == FTPMODE_NORMAL;
    if (options.verb == Verb::Get) {
        if (options.names.size() > 2) {
            Refuse("get", "takes a URL, and a file or folder of this system behind it");
        }
        if (!IsFtpName(options.names.front())) {
            Refuse("get", "takes an ftp:// URL as its first name");
        }
        if (options.names.size() == 2 && IsFtpName(options.names.back())) {
            Refuse("get", "takes a file or folder of this system as its second name");
        }
        if (options.resume && (!isNormal || options.active)) {
            Refuse("--resume", "there are parts to go on with in passive transfers of mode normal only");
        }
    }
    if (options.verb == Verb::Put) {
        if (options.names.size() != 2 || !IsFtpName(options.names.back())) {
            Refuse("put", "takes a file of this system and an ftp:// URL");
        }
        if (IsFtpName(options.names.front())) {
            Refuse("put", "takes a file of this system as its first name");
        }
        if (options.resume && !isNormal &&
            (*options.ftpMode == FTPMODE_EXPLODED || *options.ftpMode == FTPMODE_XDCAM)) {
            Refuse("--resume", "a device takes a file in one piece");
        }
    }
}

} // namespace vxcio::tool
