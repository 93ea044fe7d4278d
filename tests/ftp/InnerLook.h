// InnerLook.h - what stands in the inner object of a source or sink.
#pragma once

#include "frame/InnerSoftDataIO.h"
#include "frame/SoftDataIO.h"

#include <string>

namespace vxcio::test {

// Shares the inner object of `io`, and so sees what that sees.
class InnerLook : public CSoftDataIO {
public:
    explicit InnerLook(const CSoftDataIO& io) : CSoftDataIO(io) {}

    CInnerSoftDataIO& Inner() const { return *m_pInner; }
    CInnerSoftDataIO* operator->() const { return m_pInner; }
    std::wstring Info() const { return m_pInner->m_strInfo.Text().c_str(); }
    std::wstring Reply() const { return m_pInner->m_retmsg.c_str(); }
};

} // namespace vxcio::test
