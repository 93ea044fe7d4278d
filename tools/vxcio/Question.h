// Question.h - questions about files that are there already, to whoever sits at the terminal.
#pragma once

#include "Options.h"

#include <map>
#include <string>

namespace vxcio::tool {

// One thread. Shown on standard error and answered on standard input where that is a terminal, or once for
// all by --yes or --no. All but "y" and "yes" means no, and so do the end of the input and nobody to ask. A
// text that was asked before has its answer.
class Question {
public:
    explicit Question(const Options& options) : m_bYes(options.yes), m_bNo(options.no) {}

    bool Ask(const std::string& text);
    // Whether `name` may be lost.
    bool AskToOverwrite(const std::string& name);
    // From now on that is the answer to this text.
    void Settle(const std::string& text, bool answer) { m_Answers[text] = answer; }

    // How a no came about, as the end of a sentence.
    const char* WhyNot() const;

private:
    const bool m_bYes;
    const bool m_bNo;
    bool m_bNobody = false; // was there to ask
    std::map<std::string, bool> m_Answers;
};

// As the library asks, of the name of a target.
std::string OverwriteText(const std::string& name);
std::string ResumeText(const std::string& name);

} // namespace vxcio::tool
