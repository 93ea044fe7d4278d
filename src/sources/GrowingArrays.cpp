#include "sources/GrowingArrays.h"

#include "sources/GrowingArrayRule.h"
#include "sources/HeapText.h"

#include <utility>

using namespace vxcio;

CVXCStringArray::CVXCStringArray() noexcept = default;

CVXCStringArray::CVXCStringArray(const CVXCStringArray& other) noexcept {
    ArrayShare(m_fields, other.m_fields);
}

CVXCStringArray& CVXCStringArray::operator=(const CVXCStringArray& other) noexcept {
    ArrayShare(m_fields, other.m_fields);
    return *this;
}

CVXCStringArray::~CVXCStringArray() {
    ArrayFree(m_fields);
}

const wchar_t* CVXCStringArray::GetAt(int64 index) const noexcept {
    return index < 0 || index >= m_fields.nCount ? nullptr : m_fields.pData[index].c_str();
}

bool CVXCStringArray::SetCount(int64 count, int64 growStep) noexcept {
    return ArraySetCount(m_fields, count, growStep);
}

bool CVXCStringArray::Add(const wchar_t* text) noexcept {
    CVXCString string;
    return CopyText(string, text) && ArrayAppend(m_fields, std::move(string));
}

void CVXCStringArray::RemoveAt(int64 index) noexcept {
    ArrayRemoveAt(m_fields, index);
}

void CVXCStringArray::RemoveAll() noexcept {
    ArraySetCount(m_fields, 0);
}
