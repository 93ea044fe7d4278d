#include "Question.h"

#include "Console.h"
#include "Terminal.h"

namespace vxcio::tool {

namespace {

bool IsYes(const std::string& line) {
    std::string word;
    for (const char c : line) {
        if (c != ' ' && c != '\t' && c != '\r') {
            word += c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
        }
    }
    return word == "y" || word == "yes";
}

} // namespace

bool Question::Ask(const std::string& text) {
    const auto [place, isNew] = m_Answers.try_emplace(text, m_bYes);
    if (!isNew || m_bYes || m_bNo) {
        return place->second;
    }
    if (!IsInputTerminal()) {
        m_bNobody = true;
        return false;
    }
    PrintQuestion("vxcio: " + Shown(text) + " [y/N] ");
    std::string line;
    const bool isAnswered = ReadInputLine(line);
    if (!isAnswered) {
        PrintErrorLine("");
    }
    place->second = isAnswered && IsYes(line);
    return place->second;
}

bool Question::AskToOverwrite(const std::string& name) {
    return Ask(OverwriteText(name));
}

const char* Question::WhyNot() const {
    return m_bNobody ? "there is nobody to ask; --yes and --no answer all questions" : "the answer is no";
}

std::string OverwriteText(const std::string& name) {
    return "Do you want to overwrite '" + name + "' ?";
}

std::string ResumeText(const std::string& name) {
    return "Do you want to resume '" + name + "' ?";
}

} // namespace vxcio::tool
