#include "sources/MoreFileToOpen.h"

#include "sources/GrowingArrayRule.h"
#include "sources/HeapText.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

using namespace vxcio;

namespace {

constexpr int kFirst = 0;
constexpr int kSecond = 1;

template <class Fields>
bool Has(const Fields& array, int index) noexcept {
    return index >= 0 && index < array.nCount;
}

// A file and its flags stand in two arrays that grow one after the other.
bool Append(StringArrayFields& files, CVXCString&& file, FlagsArrayFields& allFlags, uint32 flags) noexcept {
    const int64 count = files.nCount;
    if (!ArrayAppend(files, std::move(file))) {
        return false;
    }
    if (!ArrayAppend(allFlags, std::move(flags))) {
        ArrayRemoveAt(files, count);
        return false;
    }
    return true;
}

} // namespace

SMoreFileToOpenEx::SMoreFileToOpenEx(int /*reserved*/) noexcept {}

SMoreFileToOpenEx::SMoreFileToOpenEx(const SMoreFileToOpenEx& other) noexcept {
    *this = other;
}

SMoreFileToOpenEx& SMoreFileToOpenEx::operator=(const SMoreFileToOpenEx& other) noexcept {
    ArrayShare(m_firstFiles, other.m_firstFiles);
    ArrayShare(m_secondFiles, other.m_secondFiles);
    ArrayShare(m_firstFlags, other.m_firstFlags);
    ArrayShare(m_secondFlags, other.m_secondFlags);
    return *this;
}

SMoreFileToOpenEx::~SMoreFileToOpenEx() {
    ClearFile();
}

void SMoreFileToOpenEx::AddFile(const wchar_t* file, uint32 flags, const wchar_t* secondFile,
                                uint32 secondFlags) {
    CVXCString first;
    CVXCString second;
    if (!CopyText(first, file) || !CopyText(second, secondFile) ||
        !Append(m_firstFiles, std::move(first), m_firstFlags, flags)) {
        throw std::bad_alloc();
    }
    if (secondFile != nullptr && !Append(m_secondFiles, std::move(second), m_secondFlags, secondFlags)) {
        ArrayRemoveAt(m_firstFiles, m_firstFiles.nCount - 1);
        ArrayRemoveAt(m_firstFlags, m_firstFlags.nCount - 1);
        throw std::bad_alloc();
    }
}

const wchar_t* SMoreFileToOpenEx::GetFile(int index, int which) const noexcept {
    if (which != kFirst && which != kSecond) {
        return nullptr;
    }
    const StringArrayFields& files = which == kFirst ? m_firstFiles : m_secondFiles;
    return Has(files, index) ? files.pData[index].c_str() : nullptr;
}

uint32 SMoreFileToOpenEx::GetFileFlagsAndAttributes(int index, int which) const noexcept {
    if (which != kFirst && which != kSecond) {
        return 0;
    }
    const FlagsArrayFields& flags = which == kFirst ? m_firstFlags : m_secondFlags;
    return Has(flags, index) ? flags.pData[index] : 0;
}

int SMoreFileToOpenEx::GetFilesCount() const noexcept {
    return static_cast<int>(std::min<int64>(m_firstFiles.nCount, std::numeric_limits<int>::max()));
}

void SMoreFileToOpenEx::RemoveFile(int index) noexcept {
    ArrayRemoveAt(m_firstFiles, index);
    ArrayRemoveAt(m_firstFlags, index);
    ArrayRemoveAt(m_secondFiles, index);
    ArrayRemoveAt(m_secondFlags, index);
}

void SMoreFileToOpenEx::ClearFile() noexcept {
    ArraySetCount(m_firstFiles, 0);
    ArraySetCount(m_secondFiles, 0);
    ArraySetCount(m_firstFlags, 0);
    ArraySetCount(m_secondFlags, 0);
}

void SMoreFileToOpenEx::RemoveFile(const wchar_t* /*file*/) noexcept {}

void SMoreFileToOpenEx::SetFileInfo(const wchar_t* /*file*/, int /*type*/, uint32 /*value*/) noexcept {}

uint32 SMoreFileToOpenEx::GetFileInfo(const wchar_t* /*file*/, int /*type*/) const noexcept {
    return 0;
}
