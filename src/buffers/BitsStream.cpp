#include "buffers/BitsStream.h"

#include "buffers/InnerBitsStream.h"

#include <new>

CBitsStream::CBitsStream() noexcept : m_pInner(new (std::nothrow) CInnerBitsStream) {}

CBitsStream::CBitsStream(const CBitsStream& other) noexcept : m_pInner(nullptr) {
    vxcio::ShareInto(m_pInner, other.m_pInner);
}

CBitsStream& CBitsStream::operator=(const CBitsStream& other) noexcept {
    if (this != &other) {
        vxcio::ShareInto(m_pInner, other.m_pInner);
    }
    return *this;
}

CBitsStream::~CBitsStream() {
    vxcio::ShareInto<CInnerBitsStream>(m_pInner, nullptr);
}

int CBitsStream::InitBuffer(unsigned char* buffer, unsigned int size) noexcept {
    if (m_pInner != nullptr) {
        m_pInner->InitBuffer(buffer, size);
    }
    return 1;
}

int CBitsStream::ReFill() noexcept {
    return 1;
}

void CBitsStream::Flush() noexcept {
    if (m_pInner != nullptr) {
        m_pInner->Flush();
    }
}

int CBitsStream::GetBit(int* bit) noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->GetBit(bit);
}

int CBitsStream::GetBits(unsigned int* value, int count) noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->GetBits(value, count);
}

int CBitsStream::GetBYTE(unsigned char* value) noexcept {
    unsigned int bits = 0;
    const int result = GetBits(&bits, 8);
    if (result != 0 && value != nullptr) {
        *value = static_cast<unsigned char>(bits);
    }
    return result;
}

int CBitsStream::GetWORD(unsigned short* value) noexcept {
    unsigned int bits = 0;
    const int result = GetBits(&bits, 16);
    if (result != 0 && value != nullptr) {
        *value = static_cast<unsigned short>(bits);
    }
    return result;
}

int CBitsStream::GetDWORD(unsigned int* value) noexcept {
    return GetBits(value, 32);
}

int CBitsStream::PutBit(int bit) noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->PutBit(bit != 0);
}

int CBitsStream::PutBits(unsigned int value, int count) noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->PutBits(value, count);
}

int CBitsStream::PutBYTE(unsigned char value) noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->PutByte(value);
}

int CBitsStream::PutWORD(unsigned short value) noexcept {
    return PutBits(value, 16);
}

int CBitsStream::PutDWORD(unsigned int value) noexcept {
    return PutBits(value, 32);
}

unsigned char* CBitsStream::GetCurBytePtr() noexcept {
    return m_pInner == nullptr ? nullptr : m_pInner->GetCurBytePtr();
}

unsigned char* CBitsStream::GetBytePtr(int index) noexcept {
    return m_pInner == nullptr ? nullptr : m_pInner->GetBytePtr(index);
}

unsigned int CBitsStream::GetCurBytesPos() noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->GetCurBytesPos();
}

long long CBitsStream::GetCurBitsPos() noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->GetCurBitsPos();
}

unsigned int CBitsStream::GetBufferSize() noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->GetBufferSize();
}

int CBitsStream::SeekBytePtr(int delta) noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->SeekBytePtr(delta);
}

int CBitsStream::SetBytePtrPos(int index) noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->SetBytePtrPos(index);
}

int CBitsStream::SeekBitsPtr(int delta) noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->SeekBitsPtr(delta);
}

int CBitsStream::SetBitsPtr(unsigned int position) noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->SetBitsPtr(position);
}

void CBitsStream::AlignCurBytes() noexcept {
    if (m_pInner != nullptr) {
        m_pInner->AlignCurBytes();
    }
}

int CBitsStream::IsAligned() noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->IsAligned();
}

void CBitsStream::StartCRC() noexcept {
    if (m_pInner != nullptr) {
        m_pInner->StartCRC();
    }
}

void CBitsStream::StopCRC() noexcept {
    if (m_pInner != nullptr) {
        m_pInner->StopCRC();
    }
}

unsigned int CBitsStream::GetCRCResult() noexcept {
    return m_pInner == nullptr ? 0 : m_pInner->GetCRCResult();
}
