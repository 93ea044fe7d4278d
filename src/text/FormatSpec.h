// FormatSpec.h - one directive of a format string, read without taking an argument.
#pragma once

namespace vxcio::text {

// Width of an argument as its directive names it.
enum class ArgumentSize { Default, Char, Short, Long, Bits32, Bits64, Pointer, Wide, LongDouble };

struct FormatSpec {
    bool leftAligned = false;
    bool zeroPadded = false;
    bool plusSign = false;
    bool blankSign = false;
    bool alternate = false;
    bool starWidth = false;
    bool starPrecision = false;
    int width = 0;
    int precision = -1; // -1: not given
    ArgumentSize size = ArgumentSize::Default;
    wchar_t conversion = 0;       // 0: the format ended before it
    const wchar_t* end = nullptr; // behind the directive
};

// Reads the directive whose '%' stands in front of `at`. Numbers too large stop at a limit beyond every
// capacity.
FormatSpec ReadFormatSpec(const wchar_t* at) noexcept;

} // namespace vxcio::text
