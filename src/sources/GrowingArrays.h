// GrowingArrays.h - lists of names and flags that grow: what the source arrays take, and what
// SMoreFileToOpenEx is made of.
//
// Growth: an array without storage gets room for the larger of its count and its step. An array that is full
// gets room for its step more, or, where the step is 0, for an eighth of its count, at least 4 and at most
// 1024. Removing gives no room back, setting the count to 0 gives back all of it.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"
#include "frame/VXCString.h"

namespace vxcio {

// The fields of the arrays. pData is null without storage; it is shared by copies of an array.
struct StringArrayFields {
    CVXCString* pData = nullptr;
    int64 nCount = 0;
    int64 nCapacity = 0;
    int64 nGrowStep = 0;
};
struct FlagsArrayFields {
    uint32* pData = nullptr;
    int64 nCount = 0;
    int64 nCapacity = 0;
    int64 nGrowStep = 0;
};

} // namespace vxcio

// A list of strings.
//
// Copies share their elements until one of them grows out of its room: what one removes or writes below its
// capacity shows in the others, while each has its own count. The last of them frees the elements. One thread
// at a time uses an array and its copies; they may end on any thread. Nothing throws.
class VXCSOFTCODECIO_API CVXCStringArray {
public:
    CVXCStringArray() noexcept;
    CVXCStringArray(const CVXCStringArray& other) noexcept;
    CVXCStringArray& operator=(const CVXCStringArray& other) noexcept;
    ~CVXCStringArray();

    int64 GetCount() const noexcept { return m_fields.nCount; }
    int64 GetCapacity() const noexcept { return m_fields.nCapacity; }
    int64 GetGrowStep() const noexcept { return m_fields.nGrowStep; }

    // Null outside the array. The text stays where it is while the array grows; it goes when the element is
    // removed or written to, or with the last array that shares it.
    const wchar_t* GetAt(int64 index) const noexcept;

    // New elements are empty. A step below 0 leaves the stored one. False for a count below 0 and when memory
    // lacks; the elements are unchanged then.
    bool SetCount(int64 count, int64 growStep = -1) noexcept;
    // Null counts as empty. False when memory lacks; the array is unchanged then.
    bool Add(const wchar_t* text) noexcept;
    // The tail moves down. Nothing for an index outside the array.
    void RemoveAt(int64 index) noexcept;
    // Gives all room back.
    void RemoveAll() noexcept;

private:
    vxcio::StringArrayFields m_fields;
};
