#include "buffers/StreamBuffer.h"

#include "buffers/InnerStreamBuffer.h"
#include "frame/Status.h"

#include <new>

namespace {

// A get where there is not even an inner object.
int NeverAnything(PLUG_STREAMSTATE_* state) noexcept {
    if (state != nullptr) {
        *state = PLUG_STREAMSTATE_DATA;
    }
    return -1;
}

} // namespace

CSoftStreamBuffer::CSoftStreamBuffer() noexcept : CSoftStreamBuffer(1) {}

CSoftStreamBuffer::CSoftStreamBuffer(int blocking) noexcept
    : m_pInner(new (std::nothrow) CInnerSoftStreamBuffer(blocking != 0)) {}

CSoftStreamBuffer::CSoftStreamBuffer(const CSoftStreamBuffer& other) noexcept : m_pInner(nullptr) {
    vxcio::ShareInto(m_pInner, other.m_pInner);
}

CSoftStreamBuffer& CSoftStreamBuffer::operator=(const CSoftStreamBuffer& other) noexcept {
    if (this != &other) {
        vxcio::ShareInto(m_pInner, other.m_pInner);
    }
    return *this;
}

CSoftStreamBuffer::~CSoftStreamBuffer() {
    vxcio::ShareInto<CInnerSoftStreamBuffer>(m_pInner, nullptr);
}

int CSoftStreamBuffer::Init(int size) noexcept {
    if (m_pInner != nullptr) {
        m_pInner->Init(size);
    }
    return 0;
}

int CSoftStreamBuffer::Close() noexcept {
    if (m_pInner != nullptr) {
        m_pInner->Close();
    }
    return 0;
}

int CSoftStreamBuffer::PutData(unsigned char* data, int size, PLUG_STREAMSTATE_ state) noexcept {
    return m_pInner == nullptr ? static_cast<int>(VXC_STATUS_PUT_AFTER_END)
                               : m_pInner->PutData(data, size, state);
}

int CSoftStreamBuffer::GetData(unsigned char*& data, int size, PLUG_STREAMSTATE_* state) noexcept {
    return m_pInner == nullptr ? NeverAnything(state) : m_pInner->GetData(data, size, state);
}

int CSoftStreamBuffer::ShowData(unsigned char*& data, int size, PLUG_STREAMSTATE_* state) noexcept {
    return m_pInner == nullptr ? NeverAnything(state) : m_pInner->ShowData(data, size, state);
}

void CSoftStreamBuffer::SetEndOfInput() noexcept {
    if (m_pInner != nullptr) {
        m_pInner->SetEndOfInput();
    }
}

void CSoftStreamBuffer::ReSetEndOfInput() noexcept {
    if (m_pInner != nullptr) {
        m_pInner->ReSetEndOfInput();
    }
}
