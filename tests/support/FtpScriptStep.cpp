#include "support/FtpScriptStep.h"

#include <cstdio>

namespace vxcio::test::script {

namespace {

constexpr std::size_t kLongestQuote = 200;

const char* NameOf(StepKind kind) {
    switch (kind) {
    case StepKind::AcceptControl:
        return "AcceptControl";
    case StepKind::Expect:
        return "Expect";
    case StepKind::ExpectAny:
        return "ExpectAny";
    case StepKind::ExpectPort:
        return "ExpectPort";
    case StepKind::ExpectClosed:
        return "ExpectClosed";
    case StepKind::Say:
        return "Say";
    case StepKind::SayPort:
        return "SayPort";
    case StepKind::After:
        return "After";
    case StepKind::Quiet:
        return "Quiet";
    case StepKind::UntilTold:
        return "UntilTold";
    case StepKind::Fin:
        return "Fin";
    case StepKind::Rst:
        return "Rst";
    case StepKind::Listen:
        return "Listen";
    case StepKind::RefuseData:
        return "RefuseData";
    case StepKind::AcceptData:
        return "AcceptData";
    case StepKind::DataIsThere:
        return "DataIsThere";
    case StepKind::NoDataYet:
        return "NoDataYet";
    case StepKind::Dial:
        return "Dial";
    case StepKind::DSend:
        return "DSend";
    case StepKind::DSendPattern:
        return "DSendPattern";
    case StepKind::DReceive:
        return "DReceive";
    case StepKind::DFin:
        return "DFin";
    case StepKind::DRst:
        return "DRst";
    case StepKind::DHold:
        return "DHold";
    case StepKind::DExpectNothing:
        return "DExpectNothing";
    case StepKind::DExpectClosed:
        return "DExpectClosed";
    }
    return "";
}

} // namespace

std::string Quote(std::string_view bytes) {
    std::string quoted = "\"";
    for (const char c : bytes.substr(0, kLongestQuote)) {
        if (c == '\r') {
            quoted += "\\r";
        } else if (c == '\n') {
            quoted += "\\n";
        } else if (c >= ' ' && c <= '~') {
            quoted += c;
        } else {
            char number[8] = {};
            std::snprintf(number, sizeof number, "\\x%02X", static_cast<unsigned char>(c));
            quoted += number;
        }
    }
    return quoted + (bytes.size() > kLongestQuote ? "\"..." : "\"");
}

std::string Pattern(uint64 bytes, uint32 seed, uint64 from) {
    std::string pattern(static_cast<std::size_t>(bytes), '\0');
    for (char& byte : pattern) {
        byte = static_cast<char>(PatternByte(from++, seed));
    }
    return pattern;
}

std::string Describe(const Step& step) {
    std::string text = NameOf(step.kind);
    if (!step.text.empty()) {
        text += " " + Quote(step.text);
    }
    return text;
}

} // namespace vxcio::test::script
