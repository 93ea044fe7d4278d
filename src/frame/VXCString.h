// VXCString.h - the wide string of the interface.
//
// A value: copies are independent. Returned by value across the interface. One object is used by one thread
// at a time. Nothing throws: where memory lacks, the result is empty. A null const wchar_t* counts as empty.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"

class VXCSOFTCODECIO_API CVXCString {
public:
    CVXCString() noexcept;
    CVXCString(const wchar_t* text) noexcept;
    CVXCString(const wchar_t* text, int characters) noexcept;
    CVXCString(const CVXCString& other) noexcept;
    CVXCString(CVXCString&& other) noexcept;
    ~CVXCString();
    CVXCString& operator=(const CVXCString& other) noexcept;
    CVXCString& operator=(CVXCString&& other) noexcept;
    CVXCString& operator=(const wchar_t* text) noexcept;

    // Never null; valid until the string changes or ends.
    const wchar_t* c_str() const noexcept;
    operator const wchar_t*() const noexcept { return c_str(); }
    int GetLength() const noexcept { return m_nLength; }
    bool IsEmpty() const noexcept { return m_nLength == 0; }
    // 0 outside the string.
    wchar_t GetAt(int index) const noexcept;

    // Parts of the string. Positions and counts out of range are clamped, negative ones count as 0.
    CVXCString Left(int count) const noexcept;
    CVXCString Right(int count) const noexcept;
    CVXCString Mid(int position, int count) const noexcept;
    CVXCString Mid(int position) const noexcept;

    CVXCString& operator+=(const wchar_t* text) noexcept;
    // Puts text in front of what is there.
    CVXCString& InsertFront(const wchar_t* text) noexcept;

    // printf-style, with the Windows meaning of %s (wide) and %S (narrow); cut at 8191 characters.
    void Format(const wchar_t* format, ...) noexcept;

    // Position of the last such character, or -1.
    int ReverseFind(wchar_t character) const noexcept;

    // The order by which all names and path parts are compared: the longer string is greater; of equal
    // length, the characters decide, with case ignored. Below 0, 0, above 0.
    int Compare(const wchar_t* other) const noexcept;

private:
    void Assign(const wchar_t* text, int characters) noexcept;

    wchar_t* m_pText; // null when empty
    int m_nLength;
};

VXCSOFTCODECIO_API CVXCString operator+(const CVXCString& left, const wchar_t* right) noexcept;
