// DataExtraProcess.h - the switch for what happens to data beside reading and writing it: the MD5 check,
// and the decrypt module.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"

class CSoftDataIO;

// Bits of Enable, Disable and IsEnabled, and types of the other operations.
inline constexpr unsigned int VXC_EXTRA_MD5 = 1;
inline constexpr unsigned int VXC_EXTRA_DECRYPT = 2;

// Made by Construct_ExtraProcess, deleted by the caller before the CSoftDataIO that it was given. One
// thread at a time. Order of a check: Enable(1), SetFileIO(io), data passes through io, GetResult(1, ...),
// Disable(1), delete.
class VXCSOFTCODECIO_API CQLDataExtraProcess {
public:
    CQLDataExtraProcess();
    CQLDataExtraProcess(const CQLDataExtraProcess& other);
    CQLDataExtraProcess& operator=(const CQLDataExtraProcess& other);
    virtual ~CQLDataExtraProcess();

    // Turns bits on. 0, or -1 when the decrypt module is missing.
    virtual int Enable(unsigned int bits) = 0;
    // Turns bits off. 0, or -1 when the MD5 check is asked for and no CSoftDataIO is set.
    virtual int Disable(unsigned int bits) = 0;
    // 1 when every given bit is on.
    virtual int IsEnabled(unsigned int bits) = 0;
    // Type 2 goes to the decrypt module, -1 when it is off. Other types: 0.
    virtual int SetDecryptKey(int type, const unsigned char* key, int length) = 0;
    virtual int SetDecryptMode(int type, int mode) = 0;
    // Type 1: the digest, as CSoftDataIO::GetMD5_check; 0x80000005 when no CSoftDataIO is set. Other
    // types: 0, nothing is set.
    virtual int GetResult(int type, unsigned char*& digest, int& length) = 0;
    // Type 2 goes to the decrypt module, -1 when it is off. Other types: 0.
    virtual int Process(int type, unsigned char* data, int length) = 0;
    // Ends the MD5 check. The decrypt module stays loaded until Disable(2). 0.
    virtual int Close() = 0;
    // Sets the object that is checked; starts the check when its bit is on. Not owned. 0.
    virtual int SetFileIO(CSoftDataIO* io) = 0;
    virtual CSoftDataIO* GetFileIO() = 0;
};

// A new object with everything off; null when memory lacks. The caller deletes it.
VXCSOFTCODECIO_API CQLDataExtraProcess* Construct_ExtraProcess();
