// DiskFaultEntry.h - the entries of the disk fault table as they lie. Inner header of DiskFaultTable; tests
// make a drive healthy again through it.
#pragma once

#include <atomic>

namespace vxcio {

// 0 for a healthy drive. Null for what is no letter.
std::atomic<unsigned char>* DiskFaultEntry(wchar_t letter) noexcept;

} // namespace vxcio
