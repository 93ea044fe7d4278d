// MoreFileToOpen.h - a host's list of files to open together, each with a second copy if wanted, for
// CPullDataSourceArray.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"
#include "sources/GrowingArrays.h"

namespace vxcio {
struct MoreFileToOpenInspector; // a door for tests
} // namespace vxcio

// The host makes it, fills it on one thread before it hands it on, and frees it after the open.
//
// First and second files are lists of their own, as are the flags of both. A file that is added without a
// second one adds nothing there, so the second copy of a later file then stands at a lower index: files that
// belong together should all have a second copy, or the last ones lack it.
//
// Copies share their arrays until one of them grows out of its room, as CVXCStringArray does; they and the
// record may end in any order.
//
// AddFile may throw std::bad_alloc, and leaves the record as it was then. Nothing else here throws.
struct VXCSOFTCODECIO_API SMoreFileToOpenEx {
public:
    // Empty. The argument is not used.
    explicit SMoreFileToOpenEx(int reserved = 16) noexcept;
    SMoreFileToOpenEx(const SMoreFileToOpenEx& other) noexcept;
    SMoreFileToOpenEx& operator=(const SMoreFileToOpenEx& other) noexcept;
    ~SMoreFileToOpenEx();

    // Appends a file and its flags, and a second file and its flags where secondFile is not null. The texts
    // are copied.
    void AddFile(const wchar_t* file, uint32 flags, const wchar_t* secondFile, uint32 secondFlags);

    // `which` 0: the first files, 1: the second files. Null or 0 for an index outside the list and for any
    // other `which`. A text stays where it is while the record grows, and goes as that of CVXCStringArray.
    const wchar_t* GetFile(int index, int which) const noexcept;
    uint32 GetFileFlagsAndAttributes(int index, int which) const noexcept;
    // Count of first files.
    int GetFilesCount() const noexcept;

    // Removes what stands at the index in each of the four lists; nothing from a list that is not so long.
    void RemoveFile(int index) noexcept;
    // Empties the record.
    void ClearFile() noexcept;

    // These do nothing and give 0.
    void RemoveFile(const wchar_t* file) noexcept;
    void SetFileInfo(const wchar_t* file, int type, uint32 value) noexcept;
    uint32 GetFileInfo(const wchar_t* file, int type) const noexcept;

private:
    friend struct vxcio::MoreFileToOpenInspector;

    vxcio::StringArrayFields m_firstFiles;
    vxcio::StringArrayFields m_secondFiles;
    vxcio::FlagsArrayFields m_firstFlags;
    vxcio::FlagsArrayFields m_secondFlags;
};
