#include "frame/InnerSoftDataIO.h"

#include <new>

namespace {
constexpr int kScratchSize = 102400;
}

CInnerSoftDataIO::CInnerSoftDataIO(CSoftDataIO* /*outer*/) noexcept
    : m_pScratch(new (std::nothrow) uint8[kScratchSize]) {
    m_nScratchSize = m_pScratch ? kScratchSize : 0;
}

void CInnerSoftDataIO::ReleaseMD5() noexcept {
    m_bMD5Running.store(0, std::memory_order_relaxed);
    std::shared_ptr<vxcio::MD5Check> old;
    {
        const std::lock_guard lock(m_MD5Lock);
        old.swap(m_pMD5);
    }
}

std::shared_ptr<vxcio::MD5Check> CInnerSoftDataIO::MD5State() noexcept {
    const std::lock_guard lock(m_MD5Lock);
    return m_pMD5;
}

std::shared_ptr<vxcio::MD5Check> CInnerSoftDataIO::RunningMD5State() noexcept {
    if (m_bMD5Running.load(std::memory_order_relaxed) == 0) {
        return nullptr;
    }
    const std::lock_guard lock(m_MD5Lock);
    // Looked at again: a new check may have taken the place of the one that ran.
    return m_bMD5Running.load(std::memory_order_relaxed) != 0 ? m_pMD5 : nullptr;
}

void CInnerSoftDataIO::DropMD5() noexcept {
    ReleaseMD5();
    StopMD5_Check(1);
}

int CInnerSoftDataIO::EnableMD5_Check(uint32 /*reserved*/) {
    ReleaseMD5();
    auto check = vxcio::MD5Check::Make();
    if (!check) {
        return 0;
    }
    const std::lock_guard lock(m_MD5Lock);
    m_pMD5 = std::move(check);
    return 1;
}

int CInnerSoftDataIO::BeginMD5_Check(uint32 /*reserved*/) {
    m_bMD5Running.store(1, std::memory_order_relaxed);
    return 1;
}

int CInnerSoftDataIO::StopMD5_Check(uint32 /*reserved*/) {
    m_bMD5Running.store(0, std::memory_order_relaxed);
    return 1;
}

void CInnerSoftDataIO::SetInfoCallBack(PFN_INFO_CALLBACK callback, void* context) {
    m_pfnInfoCallBack = callback;
    m_pInfoCallBackContext = context;
}

int CInnerSoftDataIO::FindFileClose() {
    return 1;
}

int CInnerSoftDataIO::GetXInfo(const wchar_t* /*path*/, ENUMIOInfo_TYPE /*type*/,
                               SPlugStreamMediaInfo* /*info*/) {
    return 1;
}
