// Prompts.h - answers to the library's questions, given by a test.
#pragma once

#include "sysu/HostControl.h"

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace vxcio::test {

struct Question {
    std::wstring text;
    std::wstring caption;
    uint32 kind;

    bool operator==(const Question&) const = default;
};
// For the messages of failed expectations.
inline std::ostream& operator<<(std::ostream& out, const Question& question) {
    return out << '"' << std::string(question.text.begin(), question.text.end()) << "\" (" << question.kind
               << ')';
}

// Gets all questions while it lives; one at a time, used by one thread. Each answer is given once, in order;
// behind the last one all are no.
class Prompts {
public:
    explicit Prompts(std::vector<int> answers = {}) : m_answers(std::move(answers)) {
        SetPrompt(Answer, this);
    }
    ~Prompts() { SetPrompt(nullptr, nullptr); }
    Prompts(const Prompts&) = delete;
    Prompts& operator=(const Prompts&) = delete;

    void SetAnswers(std::vector<int> answers) {
        m_answers = std::move(answers);
        m_asked.clear();
    }
    // Called within each question.
    std::function<void()> onQuestion;
    const std::vector<Question>& Asked() const { return m_asked; }

private:
    static int Answer(void* context, const wchar_t* text, const wchar_t* caption, uint32 kind) {
        Prompts& self = *static_cast<Prompts*>(context);
        self.m_asked.push_back({text, caption, kind});
        if (self.onQuestion) {
            self.onQuestion();
        }
        return self.m_asked.size() <= self.m_answers.size() ? self.m_answers[self.m_asked.size() - 1]
                                                            : kPromptNo;
    }

    std::vector<int> m_answers;
    std::vector<Question> m_asked;
};

} // namespace vxcio::test
