#include "text/FormatSpec.h"

#include <algorithm>

namespace vxcio::text {

namespace {

constexpr int kLargest = 0x3FFFFFFF;

int ReadNumber(const wchar_t*& at) noexcept {
    long long number = 0;
    for (; *at >= L'0' && *at <= L'9'; ++at) {
        number = std::min<long long>(number * 10 + (*at - L'0'), kLargest);
    }
    return static_cast<int>(number);
}

bool ReadFlag(wchar_t c, FormatSpec& spec) noexcept {
    switch (c) {
    case L'-':
        spec.leftAligned = true;
        return true;
    case L'0':
        spec.zeroPadded = true;
        return true;
    case L'+':
        spec.plusSign = true;
        return true;
    case L' ':
        spec.blankSign = true;
        return true;
    case L'#':
        spec.alternate = true;
        return true;
    default:
        return false;
    }
}

ArgumentSize ReadSize(const wchar_t*& at) noexcept {
    const auto take = [&](int characters, ArgumentSize size) {
        at += characters;
        return size;
    };
    switch (*at) {
    case L'h':
        return at[1] == L'h' ? take(2, ArgumentSize::Char) : take(1, ArgumentSize::Short);
    case L'l':
        return at[1] == L'l' ? take(2, ArgumentSize::Bits64) : take(1, ArgumentSize::Long);
    case L'I':
        if (at[1] == L'6' && at[2] == L'4') {
            return take(3, ArgumentSize::Bits64);
        }
        if (at[1] == L'3' && at[2] == L'2') {
            return take(3, ArgumentSize::Bits32);
        }
        return take(1, ArgumentSize::Pointer);
    case L'z':
    case L't':
        return take(1, ArgumentSize::Pointer);
    case L'j':
        return take(1, ArgumentSize::Bits64);
    case L'w':
        return take(1, ArgumentSize::Wide);
    case L'L':
        return take(1, ArgumentSize::LongDouble);
    default:
        return ArgumentSize::Default;
    }
}

} // namespace

FormatSpec ReadFormatSpec(const wchar_t* at) noexcept {
    FormatSpec spec;
    while (ReadFlag(*at, spec)) {
        ++at;
    }
    if (*at == L'*') {
        spec.starWidth = true;
        ++at;
    } else {
        spec.width = ReadNumber(at);
    }
    if (*at == L'.') {
        ++at;
        if (*at == L'*') {
            spec.starPrecision = true;
            ++at;
        } else if (*at == L'-') {
            ++at; // a negative precision counts as none
            ReadNumber(at);
        } else {
            spec.precision = ReadNumber(at);
        }
    }
    spec.size = ReadSize(at);
    spec.conversion = *at;
    spec.end = *at == 0 ? at : at + 1;
    return spec;
}

} // namespace vxcio::text
