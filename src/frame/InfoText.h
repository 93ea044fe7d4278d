// InfoText.h - the last status or reply text of a session. A read-ahead thread may set it beside the caller.
#pragma once

#include "frame/VXCString.h"

#include <mutex>

namespace vxcio {

// Any thread may call. Nothing throws.
class InfoText {
public:
    InfoText& operator=(const wchar_t* text) noexcept {
        CVXCString fresh(text);
        const std::lock_guard lock(m_lock);
        m_text = static_cast<CVXCString&&>(fresh);
        return *this;
    }
    // A copy.
    CVXCString Text() const noexcept {
        const std::lock_guard lock(m_lock);
        return m_text;
    }

private:
    mutable std::mutex m_lock;
    CVXCString m_text; // guarded by m_lock
};

} // namespace vxcio
