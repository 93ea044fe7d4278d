#include "filehandle/CallerFileFunctions.h"

#include "frame/Log.h"
#include "text/FoldCase.h"

#include <cwchar>

namespace {

constexpr int kTagLength = 6;
constexpr const wchar_t* kTag4 = L"VXCIO4";
constexpr const wchar_t* kTag8 = L"VXCIO8";
constexpr int kDigits4 = 8;
constexpr int kDigits8 = 16;

// Lower-case digits and everything else read as 0.
uint64 DigitValue(wchar_t digit) {
    if (digit >= L'0' && digit <= L'9') {
        return static_cast<uint64>(digit - L'0');
    }
    if (digit >= L'A' && digit <= L'F') {
        return static_cast<uint64>(digit - L'A' + 10);
    }
    return 0;
}

uint64 ParseDigits(const wchar_t* digits, int count) {
    uint64 value = 0;
    for (int i = 0; i < count; ++i) {
        value = (value << 4) | DigitValue(digits[i]);
    }
    return value;
}

// Where the tag takes `digits` digits, the plain name needs at least `least` characters in all.
struct TagShape {
    int digits = 0;
    int least = 0;
};

// Compared in place: where memory lacks, a tagged name must not pass for a plain one.
bool EndsWith(const CVXCString& name, const wchar_t* tag) {
    const wchar_t* const end = name.c_str() + name.GetLength() - kTagLength;
    for (int i = 0; i < kTagLength; ++i) {
        if (vxcio::AsciiUpper(end[i]) != tag[i]) {
            return false;
        }
    }
    return true;
}

bool FindTag(const CVXCString& name, TagShape& shape) {
    if (name.GetLength() <= kTagLength) {
        return false;
    }
    if (EndsWith(name, kTag4)) {
        shape = {kDigits4, kDigits4 + kTagLength + 1};
        return true;
    }
    if (EndsWith(name, kTag8)) {
        shape = {kDigits8, kDigits8 + kTagLength + 1};
        return true;
    }
    return false;
}

} // namespace

CVXCString ADDVXCIOID(const wchar_t* fileName, void* table) {
    const auto address = static_cast<uint64>(reinterpret_cast<std::uintptr_t>(table));
    wchar_t suffix[kDigits8 + kTagLength + 1] = {};
    for (int i = 0; i < kDigits8; ++i) {
        suffix[kDigits8 - 1 - i] = L"0123456789ABCDEF"[(address >> (4 * i)) & 0xF];
    }
    std::wmemcpy(suffix + kDigits8, kTag8, kTagLength);
    CVXCString name(fileName);
    name += suffix;
    // Where memory lacks, half a name would be that of another file.
    const std::size_t length = (fileName == nullptr ? 0 : std::wcslen(fileName)) + kDigits8 + kTagLength;
    return static_cast<std::size_t>(name.GetLength()) == length ? name : CVXCString();
}

CVXCString DELVXCIOID(const wchar_t* name, void** table) {
    if (table != nullptr) {
        *table = nullptr;
    }
    CVXCString whole(name);
    TagShape shape;
    if (!FindTag(whole, shape)) {
        return whole;
    }
    const int length = whole.GetLength();
    if (length < shape.least) {
        vxcio::LogError(L"%s", L"IOCallBack fileName length < 14 error");
        return whole;
    }
    const int plain = length - kTagLength - shape.digits;
    if (table != nullptr) {
        const uint64 address = ParseDigits(whole.c_str() + plain, shape.digits);
        *table = reinterpret_cast<void*>(static_cast<std::uintptr_t>(address));
    }
    return whole.Left(plain);
}

int DELVXCIOID_1(const wchar_t* name, void** table, wchar_t* buffer, uint32 capacity) {
    const CVXCString plain = DELVXCIOID(name, table);
    if (plain.IsEmpty() || static_cast<uint32>(plain.GetLength()) > capacity || buffer == nullptr) {
        return 0;
    }
    std::wmemcpy(buffer, plain.c_str(), static_cast<std::size_t>(plain.GetLength()) + 1);
    return 1;
}
