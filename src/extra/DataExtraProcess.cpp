#include "extra/DataExtraProcess.h"

#include "extra/DecryptHook.h"
#include "frame/Log.h"
#include "frame/SoftDataIO.h"
#include "frame/Status.h"

#include <memory>
#include <new>

using namespace vxcio;

namespace {

constexpr int kFailed = -1;

// Types of the operations have the values of the bits.
constexpr int kTypeMD5 = static_cast<int>(VXC_EXTRA_MD5);
constexpr int kTypeDecrypt = static_cast<int>(VXC_EXTRA_DECRYPT);

class CQLDataExtraProcessImpl final : public CQLDataExtraProcess {
public:
    CQLDataExtraProcessImpl() = default;
    CQLDataExtraProcessImpl(const CQLDataExtraProcessImpl&) = delete;
    CQLDataExtraProcessImpl& operator=(const CQLDataExtraProcessImpl&) = delete;
    ~CQLDataExtraProcessImpl() override { End(); }

    int Enable(unsigned int bits) override;
    int Disable(unsigned int bits) override { return TurnOff(bits); }
    int IsEnabled(unsigned int bits) override { return IsOn(bits) ? 1 : 0; }
    int SetDecryptKey(int type, const unsigned char* key, int length) override;
    int SetDecryptMode(int type, int mode) override;
    int GetResult(int type, unsigned char*& digest, int& length) override;
    int Process(int type, unsigned char* data, int length) override;
    int Close() override { return End(); }
    int SetFileIO(CSoftDataIO* io) override;
    CSoftDataIO* GetFileIO() override { return m_pFileIO; }

private:
    bool IsOn(unsigned int bits) const { return (m_dwEnabled & bits) == bits; }
    int TurnOff(unsigned int bits);
    int End();

    // The record alone is owned: without Disable(2) the module stays loaded.
    std::unique_ptr<DecryptHook> m_pHook;
    CSoftDataIO* m_pFileIO = nullptr; // not owned
    uint32 m_dwEnabled = 0;
};

int CQLDataExtraProcessImpl::Enable(unsigned int bits) {
    if ((bits & VXC_EXTRA_MD5) != 0) {
        if (IsOn(VXC_EXTRA_MD5)) {
            return 0; // the decrypt bit beside it is not looked at either
        }
        m_dwEnabled |= VXC_EXTRA_MD5;
    }
    if ((bits & VXC_EXTRA_DECRYPT) == 0 || IsOn(VXC_EXTRA_DECRYPT)) {
        return 0;
    }
    m_pHook.reset(DecryptHook::Load());
    if (m_pHook == nullptr) {
        return kFailed;
    }
    m_dwEnabled |= VXC_EXTRA_DECRYPT;
    return 0;
}

int CQLDataExtraProcessImpl::TurnOff(unsigned int bits) {
    if ((bits & VXC_EXTRA_MD5) != 0) {
        if (m_pFileIO == nullptr) {
            return kFailed;
        }
        m_pFileIO->StopMD5_Check(1);
        m_dwEnabled &= ~VXC_EXTRA_MD5;
        m_pFileIO = nullptr;
    }
    if ((bits & VXC_EXTRA_DECRYPT) != 0) {
        if (m_pHook != nullptr) {
            m_pHook->Unload();
            m_pHook.reset();
        }
        m_dwEnabled &= ~VXC_EXTRA_DECRYPT;
    }
    return 0;
}

// For the decrypt bit the MD5 check is ended as well, and nothing else: the module may be in use by data
// that was handed on, so only Disable(2) lets it go.
int CQLDataExtraProcessImpl::End() {
    if (IsOn(VXC_EXTRA_MD5)) {
        TurnOff(VXC_EXTRA_MD5);
    }
    if (IsOn(VXC_EXTRA_DECRYPT)) {
        TurnOff(VXC_EXTRA_MD5);
    }
    return 0;
}

int CQLDataExtraProcessImpl::SetDecryptKey(int type, const unsigned char* key, int length) {
    if (type != kTypeDecrypt) {
        return 0;
    }
    return m_pHook == nullptr ? kFailed : m_pHook->SetDecryptKey(key, length);
}

int CQLDataExtraProcessImpl::SetDecryptMode(int type, int mode) {
    if (type != kTypeDecrypt) {
        return 0;
    }
    return m_pHook == nullptr ? kFailed : m_pHook->SetDecryptMode(mode);
}

int CQLDataExtraProcessImpl::Process(int type, unsigned char* data, int length) {
    if (type != kTypeDecrypt) {
        return 0;
    }
    return m_pHook == nullptr ? kFailed : m_pHook->Process(data, length);
}

int CQLDataExtraProcessImpl::GetResult(int type, unsigned char*& digest, int& length) {
    if (type != kTypeMD5) {
        return 0;
    }
    if (m_pFileIO == nullptr) {
        LogTrace(L"%s", L"In CQLDataExtraProcessImpl m_pFileIO  is VXC_NULL!");
        return static_cast<int>(VXC_STATUS_NO_FILE_IO);
    }
    return m_pFileIO->GetMD5_check(VXC_EXTRA_MD5, digest, length);
}

int CQLDataExtraProcessImpl::SetFileIO(CSoftDataIO* io) {
    m_pFileIO = io;
    if (io != nullptr && IsOn(VXC_EXTRA_MD5)) {
        io->EnableMD5_Check(1);
        io->BeginMD5_Check(1);
    }
    return 0;
}

} // namespace

CQLDataExtraProcess::CQLDataExtraProcess() = default;
CQLDataExtraProcess::CQLDataExtraProcess(const CQLDataExtraProcess& other) = default;
CQLDataExtraProcess& CQLDataExtraProcess::operator=(const CQLDataExtraProcess& other) = default;
CQLDataExtraProcess::~CQLDataExtraProcess() = default;

CQLDataExtraProcess* Construct_ExtraProcess() {
    return new (std::nothrow) CQLDataExtraProcessImpl;
}
