// DecryptHook.h - the loaded decrypt module.
//
// The module is a companion library, VXCDeEncrypt.dll (VXCDeEncrypt.so), in the folder of this library. It
// offers five C functions, none of which throws; those that give an int give 0 for success:
//
//   void* Construct_QlDeEncrypt()                                     a new object; null when it fails
//   int   QlDeEncrypt_SetDecryptKey(void* object, const unsigned char* key, int length)
//   int   QlDeEncrypt_SetDecryptMode(void* object, int mode)
//   int   QlDeEncrypt_Process(void* object, unsigned char* data, int length)   in place
//   void  QlDeEncrypt_Close(void* object)                             frees the object
//
// A module that lacks one of them is not used.
#pragma once

namespace vxcio {

// The record of the module. One thread at a time. The destructor frees the record alone: the module and its
// object stay for the life of the process unless Unload was called before.
class DecryptHook {
public:
    // Loads the module and makes its object. Null, with a log line, when the module is not there, lacks a
    // function or gives no object; null without one when memory lacks. The caller deletes the record.
    static DecryptHook* Load() noexcept;

    // Closes the object and releases the module. Once, as the last call.
    void Unload() noexcept;

    int SetDecryptKey(const unsigned char* key, int length) const {
        return m_pfnSetDecryptKey(m_pObject, key, length);
    }
    int SetDecryptMode(int mode) const { return m_pfnSetDecryptMode(m_pObject, mode); }
    int Process(unsigned char* data, int length) const { return m_pfnProcess(m_pObject, data, length); }

private:
    DecryptHook() = default;
    bool FindFunctions() noexcept;

    void* m_hModule = nullptr;
    void* m_pObject = nullptr;
    void* (*m_pfnConstruct)() = nullptr;
    int (*m_pfnSetDecryptKey)(void*, const unsigned char*, int) = nullptr;
    int (*m_pfnSetDecryptMode)(void*, int) = nullptr;
    int (*m_pfnProcess)(void*, unsigned char*, int) = nullptr;
    void (*m_pfnClose)(void*) = nullptr;
};

} // namespace vxcio
