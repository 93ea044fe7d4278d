#include "frame/VXCString.h"

#include "text/FoldCase.h"
#include "text/WideFormat.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cwchar>
#include <memory>
#include <new>
#include <utility>

namespace {

// Longer texts do not fit the length and count as memory that lacks.
constexpr std::size_t kMaximumLength = INT_MAX - 1;

std::size_t Length(const wchar_t* text) noexcept {
    return text == nullptr ? 0 : std::wcslen(text);
}

// The two texts one behind the other in new memory; null when that lacks or both are empty.
wchar_t* Join(const wchar_t* first, std::size_t firstLength, const wchar_t* second,
              std::size_t secondLength) noexcept {
    if (firstLength > kMaximumLength || secondLength > kMaximumLength - firstLength ||
        firstLength + secondLength == 0) {
        return nullptr;
    }
    auto* const text = new (std::nothrow) wchar_t[firstLength + secondLength + 1];
    if (text != nullptr) {
        wchar_t* const end = std::copy_n(second, secondLength, std::copy_n(first, firstLength, text));
        *end = 0;
    }
    return text;
}

} // namespace

CVXCString::CVXCString() noexcept : m_pText(nullptr), m_nLength(0) {}

CVXCString::CVXCString(const wchar_t* text) noexcept : CVXCString() {
    *this = text;
}

CVXCString::CVXCString(const wchar_t* text, int characters) noexcept : CVXCString() {
    int length = 0;
    while (text != nullptr && length < characters && text[length] != 0) {
        ++length;
    }
    Assign(text, length);
}

CVXCString::CVXCString(const CVXCString& other) noexcept : CVXCString() {
    Assign(other.m_pText, other.m_nLength);
}

CVXCString::CVXCString(CVXCString&& other) noexcept
    : m_pText(std::exchange(other.m_pText, nullptr)), m_nLength(std::exchange(other.m_nLength, 0)) {}

CVXCString::~CVXCString() {
    delete[] m_pText;
}

CVXCString& CVXCString::operator=(const CVXCString& other) noexcept {
    if (this != &other) {
        Assign(other.m_pText, other.m_nLength);
    }
    return *this;
}

CVXCString& CVXCString::operator=(CVXCString&& other) noexcept {
    if (this != &other) {
        delete[] m_pText;
        m_pText = std::exchange(other.m_pText, nullptr);
        m_nLength = std::exchange(other.m_nLength, 0);
    }
    return *this;
}

CVXCString& CVXCString::operator=(const wchar_t* text) noexcept {
    const std::size_t length = Length(text);
    Assign(text, length > kMaximumLength ? 0 : static_cast<int>(length));
    return *this;
}

const wchar_t* CVXCString::c_str() const noexcept {
    return m_pText == nullptr ? L"" : m_pText;
}

wchar_t CVXCString::GetAt(int index) const noexcept {
    return index < 0 || index >= m_nLength ? L'\0' : m_pText[index];
}

CVXCString CVXCString::Left(int count) const noexcept {
    return Mid(0, count);
}

CVXCString CVXCString::Right(int count) const noexcept {
    const int kept = std::clamp(count, 0, m_nLength);
    return Mid(m_nLength - kept, kept);
}

CVXCString CVXCString::Mid(int position, int count) const noexcept {
    const int from = std::clamp(position, 0, m_nLength);
    CVXCString part;
    part.Assign(c_str() + from, std::clamp(count, 0, m_nLength - from));
    return part;
}

CVXCString CVXCString::Mid(int position) const noexcept {
    return Mid(position, m_nLength);
}

CVXCString& CVXCString::operator+=(const wchar_t* text) noexcept {
    const std::size_t length = Length(text);
    if (length != 0) {
        // The old text goes last: `text` may lie in it.
        const std::unique_ptr<wchar_t[]> old(m_pText);
        m_pText = Join(old.get(), static_cast<std::size_t>(m_nLength), text, length);
        m_nLength = m_pText == nullptr ? 0 : m_nLength + static_cast<int>(length);
    }
    return *this;
}

CVXCString& CVXCString::InsertFront(const wchar_t* text) noexcept {
    const std::size_t length = Length(text);
    if (length != 0) {
        const std::unique_ptr<wchar_t[]> old(m_pText);
        m_pText = Join(text, length, old.get(), static_cast<std::size_t>(m_nLength));
        m_nLength = m_pText == nullptr ? 0 : m_nLength + static_cast<int>(length);
    }
    return *this;
}

void CVXCString::Format(const wchar_t* format, ...) noexcept {
    // Too large for the stack of a small thread.
    const std::unique_ptr<wchar_t[]> buffer(new (std::nothrow) wchar_t[vxcio::kFormatCapacity]);
    std::size_t length = 0;
    if (buffer != nullptr && format != nullptr) {
        va_list arguments;
        va_start(arguments, format);
        length = vxcio::FormatWideV(buffer.get(), vxcio::kFormatCapacity, format, arguments);
        va_end(arguments);
    }
    Assign(buffer.get(), static_cast<int>(length));
}

int CVXCString::ReverseFind(wchar_t character) const noexcept {
    int index = m_nLength - 1;
    while (index >= 0 && m_pText[index] != character) {
        --index;
    }
    return index;
}

int CVXCString::Compare(const wchar_t* other) const noexcept {
    const std::size_t otherLength = Length(other);
    const auto length = static_cast<std::size_t>(m_nLength);
    if (length != otherLength) {
        return length < otherLength ? -1 : 1;
    }
    for (std::size_t i = 0; i < length; ++i) {
        // wchar_t has a sign on some systems; the order has none.
        const auto mine = static_cast<char32_t>(vxcio::FoldUpper(m_pText[i]));
        const auto theirs = static_cast<char32_t>(vxcio::FoldUpper(other[i]));
        if (mine != theirs) {
            return mine < theirs ? -1 : 1;
        }
    }
    return 0;
}

// `text` may lie in the string's own memory.
void CVXCString::Assign(const wchar_t* text, int characters) noexcept {
    wchar_t* const copy = Join(text, static_cast<std::size_t>(characters), nullptr, 0);
    delete[] m_pText;
    m_pText = copy;
    m_nLength = copy == nullptr ? 0 : characters;
}

CVXCString operator+(const CVXCString& left, const wchar_t* right) noexcept {
    CVXCString sum(left);
    sum += right;
    return sum;
}
